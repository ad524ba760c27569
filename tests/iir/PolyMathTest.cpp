#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "RZFilterFunc/iir/PolyMath.h"

namespace {

using Roots = std::vector<std::complex<double>>;

// Matches each expected root with the nearest unused computed root and returns
// the largest distance.
double MatchedDistance(const Roots& expected, Roots computed) {
    double worst = 0.0;
    for (const auto& e : expected) {
        std::size_t best = 0;
        double bestDist = INFINITY;
        for (std::size_t j = 0; j < computed.size(); ++j) {
            const double d = std::abs(computed[j] - e);
            if (d < bestDist) {
                bestDist = d;
                best = j;
            }
        }
        if (computed.empty()) {
            return INFINITY;
        }
        worst = std::max(worst, bestDist);
        computed.erase(computed.begin() + static_cast<std::ptrdiff_t>(best));
    }
    return worst;
}

// Largest |p(r)| / sum |c_i| max(|r|, 1)^i over the computed roots: how far
// each root is from being an exact root of a slightly perturbed polynomial.
double BackwardError(const std::vector<double>& c, const Roots& roots) {
    double worst = 0.0;
    for (const auto& r : roots) {
        std::complex<double> value = 0.0;
        double scale = 0.0;
        for (std::size_t i = c.size(); i-- > 0;) {
            value = value * r + c[i];
            scale = scale * std::max(std::abs(r), 1.0) + std::fabs(c[i]);
        }
        worst = std::max(worst, std::abs(value) / scale);
    }
    return worst;
}

Roots SolvePoly(const std::vector<double>& c, int* rc) {
    const int n = static_cast<int>(c.size()) - 1;
    std::vector<double> re(n, 0.0);
    std::vector<double> im(n, 0.0);
    *rc = rzf::PolyRoots(c.data(), n, re.data(), im.data(), 1e-30);
    Roots out;
    for (int i = 0; i < n; ++i) {
        out.emplace_back(re[i], im[i]);
    }
    return out;
}

}  // namespace

TEST(FallingFactorial, IntegerAndRealVariants) {
    EXPECT_EQ(rzf::FallingFactorial(5, 2), 20);
    EXPECT_EQ(rzf::FallingFactorial(5, 0), 1);
    EXPECT_EQ(rzf::FallingFactorial(3, 4), 0);
    EXPECT_EQ(rzf::FallingFactorial(-1, 0), 0);
    EXPECT_EQ(rzf::FallingFactorial(4, -1), 0);
    EXPECT_EQ(rzf::FallingFactorial(6, 6), 720);
    EXPECT_EQ(rzf::FallingFactorial(100, 50), INT32_MAX);  // saturates instead of overflowing
    EXPECT_EQ(rzf::FallingFactorialReal(5, 2), 20.0);
    EXPECT_EQ(rzf::FallingFactorialReal(5, 0), 1.0);
    EXPECT_EQ(rzf::FallingFactorialReal(5, -3), 1.0);
    EXPECT_EQ(rzf::FallingFactorialReal(3, 4), 0.0);   // the factor 0 appears
    EXPECT_EQ(rzf::FallingFactorialReal(-2, 2), 6.0);  // (-2)(-3)
}

TEST(BilinearSection, FirstOrderAndRefusals) {
    const double b[3] = {1.0, 0.0, 0.0};
    const double a[3] = {1.0, 1.0, 0.0};
    double d[4] = {9, 9, 9, 9};
    double e[4] = {9, 9, 9, 9};
    ASSERT_EQ(rzf::BilinearSection(b, a, 3, 4, d, e), 0);
    EXPECT_DOUBLE_EQ(d[0], 0.5);
    EXPECT_DOUBLE_EQ(d[1], 0.5);
    EXPECT_DOUBLE_EQ(e[0], 1.0);
    EXPECT_DOUBLE_EQ(e[1], 0.0);
    EXPECT_EQ(d[2], 0.0);
    EXPECT_EQ(e[3], 0.0);

    const double tiny[3] = {1e-10, -1e-10, 5e-11};
    double keep[3] = {7, 7, 7};
    double keep2[3] = {7, 7, 7};
    EXPECT_EQ(rzf::BilinearSection(tiny, tiny, 3, 3, keep, keep2), 1);
    EXPECT_EQ(keep[0], 7.0);
    EXPECT_EQ(keep2[2], 7.0);

    // s - 1 maps to a denominator whose constant term vanishes.
    const double one[2] = {1.0, 0.0};
    const double sMinus1[2] = {-1.0, 1.0};
    EXPECT_EQ(rzf::BilinearSection(one, sMinus1, 2, 2, keep, keep2), 2);
}

TEST(BilinearSection, SecondOrderMatchesHandExpansion) {
    // (s^2 + 2s + 3) / (s^2 + s + 1): with s = (1-x)/(1+x), x = z^-1, times (1+x)^2:
    // numerator (1-x)^2 + 2(1-x^2) + 3(1+x)^2 = 6 + 4x + 2x^2,
    // denominator (1-x)^2 + (1-x^2) + (1+x)^2 = 3 + 0x + 1x^2.
    const double b[3] = {3.0, 2.0, 1.0};
    const double a[3] = {1.0, 1.0, 1.0};
    double d[3];
    double e[3];
    ASSERT_EQ(rzf::BilinearSection(b, a, 3, 3, d, e), 0);
    EXPECT_DOUBLE_EQ(d[0], 2.0);
    EXPECT_DOUBLE_EQ(d[1], 4.0 / 3.0);
    EXPECT_DOUBLE_EQ(d[2], 2.0 / 3.0);
    EXPECT_DOUBLE_EQ(e[0], 1.0);
    EXPECT_DOUBLE_EQ(e[1], 0.0);
    EXPECT_DOUBLE_EQ(e[2], 1.0 / 3.0);
}

TEST(PolyMultiply, ConvolutionInPlace) {
    // (1 + 2x)(3 + 4x + 5x^2) = 3 + 10x + 13x^2 + 10x^3
    const double a[2] = {1.0, 2.0};
    double b[4] = {3.0, 4.0, 5.0, 99.0};
    rzf::PolyMultiply(a, 2, b, 4, b);
    EXPECT_EQ(b[0], 3.0);
    EXPECT_EQ(b[1], 10.0);
    EXPECT_EQ(b[2], 13.0);
    EXPECT_EQ(b[3], 10.0);
}

TEST(PolyRoots, SmallExamples) {
    int rc = 0;
    Roots r = SolvePoly({0.5, -1.5, 1.0}, &rc);
    EXPECT_EQ(rc, 1);
    EXPECT_LT(MatchedDistance({{1.0, 0.0}, {0.5, 0.0}}, r), 1e-14);
    EXPECT_EQ(r[0].imag(), 0.0);

    r = SolvePoly({1.0, 0.0, 1.0}, &rc);
    EXPECT_EQ(rc, 1);
    EXPECT_LT(MatchedDistance({{0.0, 1.0}, {0.0, -1.0}}, r), 1e-15);

    double re[1];
    double im[1];
    EXPECT_EQ(rzf::HessenbergQR(nullptr, 0, re, im, 1e-30), 1);
    EXPECT_EQ(rzf::PolyRoots(nullptr, 0, re, im, 1e-30), 1);
}

TEST(PolyRoots, AgreesWithNumpyReference) {
    const char* dir = std::getenv("RZF_TEST_DATA");
    ASSERT_NE(dir, nullptr);
    std::ifstream in(std::string(dir) + "/iir/roots.txt");
    ASSERT_TRUE(in.good());
    std::string line;
    std::string name;
    double tol = 0.0;
    std::vector<double> coef;
    Roots expected;
    int blocks = 0;
    while (std::getline(in, line)) {
        std::istringstream ls(line);
        std::string tag;
        ls >> tag;
        if (tag == "poly") {
            int degree = 0;
            ls >> name >> degree >> tol;
            coef.clear();
            expected.clear();
        } else if (tag == "coef") {
            double v;
            while (ls >> v) {
                coef.push_back(v);
            }
        } else if (tag == "root") {
            double re;
            double im;
            ls >> re >> im;
            expected.emplace_back(re, im);
        } else if (tag == "end") {
            int rc = 0;
            const Roots got = SolvePoly(coef, &rc);
            EXPECT_EQ(rc, 1) << name;
            EXPECT_LT(MatchedDistance(expected, got), tol) << name;
            EXPECT_LT(BackwardError(coef, got), 1e-11) << name;
            ++blocks;
        }
    }
    EXPECT_EQ(blocks, 14);
}

TEST(PolyRoots, ReportsNonConvergence) {
    // z^3 - 1: the companion matrix is a cyclic permutation, on which shifts
    // from the trailing block make no progress.
    double re[3];
    double im[3];
    const double c[4] = {-1.0, 0.0, 0.0, 1.0};
    EXPECT_EQ(rzf::PolyRoots(c, 3, re, im, 1e-30), -1);

    const double withNan[4] = {NAN, 1.0, 0.5, 1.0};
    EXPECT_EQ(rzf::PolyRoots(withNan, 3, re, im, 1e-30), -1);
    const double zeroLead[3] = {1.0, 2.0, 0.0};
    EXPECT_EQ(rzf::PolyRoots(zeroLead, 2, re, im, 1e-30), -1);
}
