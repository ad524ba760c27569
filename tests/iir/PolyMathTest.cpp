#include "IirTestUtil.h"

using iirtest::Roots;

TEST(PolyMath, FallingFactorialBothVariants) {
    const int cases[][3] = {{5, 2, 20}, {5, 0, 1},   {3, 4, 0},           {-1, 0, 0},
                            {4, -1, 0}, {6, 6, 720}, {100, 50, INT32_MAX}};  // saturates
    for (const auto& c : cases) {
        EXPECT_EQ(rzf::FallingFactorial(c[0], c[1]), c[2]) << c[0] << " " << c[1];
    }
    // The real variant has no range checks: the product runs through 0 or negatives.
    const double real[][3] = {{5, 2, 20}, {5, 0, 1}, {5, -3, 1}, {3, 4, 0}, {-2, 2, 6}};
    for (const auto& c : real) {
        EXPECT_EQ(rzf::FallingFactorialReal(int(c[0]), int(c[1])), c[2]) << c[0] << " " << c[1];
    }
}

TEST(PolyMath, BilinearSectionHandExpansions) {
    // s = (1 - x)/(1 + x), x = z^-1. 1/(s + 1) -> (1 + x)/2; (s^2 + 2s + 3)/(s^2 + s + 1)
    // times (1 + x)^2 -> (6 + 4x + 2x^2)/(3 + x^2).
    const double b1[3] = {1, 0, 0}, a1[3] = {1, 1, 0}, b2[3] = {3, 2, 1}, a2[3] = {1, 1, 1};
    const double want[2][2][4] = {{{0.5, 0.5, 0, 0}, {1, 0, 0, 0}},
                                  {{2, 4.0 / 3, 2.0 / 3, 0}, {1, 0, 1.0 / 3, 0}}};
    for (int c = 0; c < 2; ++c) {
        double d[4] = {9, 9, 9, 9}, e[4] = {9, 9, 9, 9};
        ASSERT_EQ(rzf::BilinearSection(c ? b2 : b1, c ? a2 : a1, 3, 4, d, e), 0);
        for (int j = 0; j < 4; ++j) {
            EXPECT_NEAR(d[j], want[c][0][j], 1e-15) << c << " " << j;
            EXPECT_NEAR(e[j], want[c][1][j], 1e-15) << c << " " << j;
        }
    }
    // Coefficients within 1e-10 count as absent: nothing is written.
    const double tiny[3] = {1e-10, -1e-10, 5e-11};
    double keep[3] = {7, 7, 7}, keep2[3] = {7, 7, 7};
    EXPECT_EQ(rzf::BilinearSection(tiny, tiny, 3, 3, keep, keep2), 1);
    EXPECT_EQ(keep[0], 7.0);
    EXPECT_EQ(keep2[2], 7.0);
    // s - 1 maps to a denominator with a zero constant term.
    const double one[2] = {1, 0}, sMinus1[2] = {-1, 1};
    EXPECT_EQ(rzf::BilinearSection(one, sMinus1, 2, 2, keep, keep2), 2);

    // (1 + 2x)(3 + 4x + 5x^2) = 3 + 10x + 13x^2 + 10x^3, written over b.
    const double a[2] = {1, 2};
    double b[4] = {3, 4, 5, 99};
    rzf::PolyMultiply(a, 2, b, 4, b);
    EXPECT_EQ(std::vector<double>(b, b + 4), (std::vector<double>{3, 10, 13, 10}));
}

// tests/data/iir/roots.txt: numpy.roots of real, paired, repeated, clustered and
// zero roots up to degree 32 and of two designed denominators, each with its
// tolerance. Beyond the distance to numpy, every computed root must be an exact
// root of a polynomial within 1e-11 relative of the input (backward error).
TEST(PolyMath, PolyRootsAgreesWithNumpy) {
    const auto blocks = iirtest::LoadBlocks("roots.txt");
    ASSERT_EQ(blocks.size(), 14u);
    for (const auto& blk : blocks) {
        SCOPED_TRACE(blk.head[0]);
        const std::vector<double>& c = blk.rows.at("coef")[0];
        Roots want;
        for (const auto& r : blk.rows.at("root")) {
            want.emplace_back(r[0], r[1]);
        }
        int rc = 0;
        const Roots got = iirtest::Solve(c, &rc);
        EXPECT_EQ(rc, 1);
        EXPECT_LT(iirtest::MatchedDistance(want, got), blk.At(2));
        if (blk.head[0] == "real_pair") {
            EXPECT_EQ(got[0].imag(), 0.0);  // a real pair stays exactly real
        }
        for (const auto& r : got) {
            std::complex<double> value = 0.0;
            double scale = 0.0;
            for (std::size_t i = c.size(); i-- > 0;) {
                value = value * r + c[i];
                scale = scale * std::max(std::abs(r), 1.0) + std::fabs(c[i]);
            }
            EXPECT_LT(std::abs(value) / scale, 1e-11) << r;
        }
    }
}

TEST(PolyMath, PolyRootsReportsNonConvergenceAndEmptyInput) {
    // z^3 - 1: the companion matrix is a cyclic permutation, on which the
    // trailing-block shifts make no progress.
    double re[3], im[3];
    const double cyclic[4] = {-1, 0, 0, 1}, withNan[4] = {NAN, 1, 0.5, 1}, zeroLead[3] = {1, 2, 0};
    EXPECT_EQ(rzf::PolyRoots(cyclic, 3, re, im, 1e-30), -1);
    EXPECT_EQ(rzf::PolyRoots(withNan, 3, re, im, 1e-30), -1);
    EXPECT_EQ(rzf::PolyRoots(zeroLead, 2, re, im, 1e-30), -1);
    EXPECT_EQ(rzf::PolyRoots(nullptr, 0, re, im, 1e-30), 1);
    EXPECT_EQ(rzf::HessenbergQR(nullptr, 0, re, im, 1e-30), 1);
}
