// Section designs, their streaming kernel and the pole radius against
// gen_sections.py's references (tests/data/iir/): scipy's sections, and scipy's
// sosfilt, numpy's and mpmath's roots of the library's own (library_sections.txt).
#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterUser.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <fstream>
#include <random>
#include <utility>
#include <vector>

#include "IirReference.h"
#include "RZFilterFunc/iir/PoleRadius.h"
#include "RZFilterFunc/iir/SectionDesign.h"
#include "RZFilterFunc/iir/SectionKernel.h"
#include "RZFilterFunc/platform/MathConst.h"

namespace {

using V = std::vector<double>;
using Floats = std::vector<float>;

// library_sections.txt's designs (method, band, fs, f1..f4, Ap, As); the first
// eight have single transfer functions with poles outside the unit circle.
const V kStreamed[] = {
    {0, 3, 360, 0.1, 0.5, 40, 60, 1, 30},      {1, 3, 360, 0.1, 0.5, 40, 60, 1, 30},
    {2, 3, 360, 0.1, 0.5, 40, 60, 1, 30},      {0, 3, 10000, 90, 100, 110, 120, 1, 40},
    {0, 4, 10000, 9, 10, 11, 12, 1, 40},       {0, 4, 10000, 9, 10, 11, 12, 0.5, 30},
    {1, 3, 10000, 45, 50, 52, 57, 1, 40},      {2, 4, 10000, 9, 10, 11, 12, 1, 40},
    {0, 1, 1000, 100, 200, 300, 400, 0.3, 40}, {1, 2, 1000, 100, 200, 300, 400, 0.5, 40},
    {2, 3, 1000, 100, 150, 250, 300, 1, 40},   {2, 2, 2000, 150, 300, 400, 500, 1, 50}};
constexpr std::size_t kUnstableTransfers = 8;
// sections.txt's designs with well-conditioned transfer functions (all types).
const std::size_t kWellConditioned[] = {10, 13, 14, 16, 17, 19, 20, 21, 22,
                                        24, 26, 28, 29, 31, 33, 35, 36};

// The front end's sections of a design that must succeed.
rzf::SectionSet Sections(FilterUser& u, const V& h) {
    if (!rzf::test::DesignRow(u, h) || !u.GetIsStability() || u.GetSectionCount() < 1) {
        ADD_FAILURE() << "no sections for method " << h[0] << " band " << h[1] << " f " << h[3];
        return {};
    }
    return {V(u.GetSections(), u.GetSections() + 6 * u.GetSectionCount())};
}

class SectionCase : public ::testing::TestWithParam<std::size_t> {
protected:
    void SetUp() override {
        static const auto cases = rzf::test::LoadIirBlocks("sections.txt");
        ASSERT_EQ(cases.size(), 37u);
        ref = &cases[GetParam()];
        sections = Sections(user, ref->at("case")[0]);
        ASSERT_EQ(user.m_nIIROrder, int(ref->at("case")[0][9]));
        ASSERT_EQ(sections.Count(), (user.m_nIIROrder + 1) / 2);
    }
    const rzf::test::Block* ref = nullptr;
    FilterUser user;
    rzf::SectionSet sections;
};
class WellConditionedCase : public SectionCase {};

}  // namespace

// Within 1e-6 of scipy's sections at the library's order and pre-warped edges.
TEST_P(SectionCase, MagnitudeMatchesScipySections) {
    for (const V& m : ref->at("mag")) {
        ASSERT_NEAR(std::abs(rzf::SectionResponse(sections, m[0])), m[1], 1e-6) << m[0];
    }
}

// Each section is stable, they run from the poles farthest from the unit
// circle to the nearest, and every partial cascade peaks between 0.5 and 1.05
// (the whole filter peaks at 1) on a dense uniform and a logarithmic grid.
TEST_P(SectionCase, StableSectionsBoundedPartialGains) {
    V grid;
    for (int i = 0; i <= 8192; ++i) {
        grid.push_back(rzf::kPi * i / 8192.0);
        grid.push_back(rzf::kPi * std::pow(10.0, -5.0 + 5.0 * i / 8192.0));
    }
    std::vector<std::complex<double>> partial(grid.size(), 1.0);
    double previous = 0.0;
    for (int j = 0; j < sections.Count(); ++j) {
        const double* r = sections.rows.data() + 6 * j;
        const rzf::SectionSet one{V(r, r + 6)};
        ASSERT_EQ(r[3], 1.0);
        const std::complex<double> d = std::sqrt(std::complex<double>(r[4] * r[4] - 4 * r[5]));
        const double radius = std::max(std::abs(-r[4] + d), std::abs(-r[4] - d)) / 2;
        EXPECT_LT(radius, 1.0) << "section " << j;
        EXPECT_GE(radius, previous - 1e-12) << "section " << j;
        previous = radius;
        double peak = 0.0;
        for (std::size_t i = 0; i < grid.size(); ++i) {
            partial[i] *= rzf::SectionResponse(one, grid[i]);
            peak = std::max(peak, std::abs(partial[i]));
        }
        EXPECT_LT(peak, 1.05) << "section " << j;
        EXPECT_GT(peak, 0.5) << "section " << j;
    }
}

// Complex responses (sign and phase included) agree within 1e-9.
TEST_P(WellConditionedCase, EqualsTheTransferFunction) {
    const double *b = user.m_pFilter->GetNumerator(), *a = user.m_pFilter->GetDenominator();
    for (int i = 0; i < 4096; ++i) {
        const double w = rzf::kPi * i / 4096.0;
        ASSERT_LE(std::abs(rzf::SectionResponse(sections, w) -
                           rzf::test::Transfer(b, a, user.m_nIIROrder, w)),
                  1e-9)
            << i;
    }
}

INSTANTIATE_TEST_SUITE_P(SectionDesign, SectionCase, ::testing::Range<std::size_t>(0, 37));
INSTANTIATE_TEST_SUITE_P(SectionDesign, WellConditionedCase, ::testing::ValuesIn(kWellConditioned));

// One row per check of a request that admits no design.
TEST(SectionDesign, RefusedRequestsGiveNoSections) {
    const rzf::SectionRequest good{rzf::IirFamily::kChebyshevI, 3, 8, 1000, 100, 150, 250, 300, 40};
    ASSERT_EQ(rzf::DesignSections(good).Count(), 4);
    const auto refused = [&](auto change) {
        rzf::SectionRequest r = good;
        change(r);
        return rzf::DesignSections(r).Count() == 0;
    };
    EXPECT_TRUE(refused([](auto& r) { r.bandType = 0; }));
    EXPECT_TRUE(refused([](auto& r) { r.bandType = 5; }));
    EXPECT_TRUE(refused([](auto& r) { r.filterOrder = 0; }));
    EXPECT_TRUE(refused([](auto& r) { r.filterOrder = 7; }));  // band orders are even
    EXPECT_TRUE(refused([](auto& r) { r.sampleFreq = 0.0; }));
    EXPECT_TRUE(refused([](auto& r) { r.freq3 = 500.0; }));  // at fs/2
    EXPECT_TRUE(refused([](auto& r) { r.freq2 = 260.0; }));  // pass edges reversed
    EXPECT_TRUE(refused([](auto& r) { r.freq1 = std::nan(""); }));
    EXPECT_TRUE(refused([](auto& r) { r.stopAtten = 0.0; }));
    EXPECT_TRUE(refused([](auto& r) { r.freq1 = 200.0; }));  // stop edge inside the pass band
}

// The library's sections stream like scipy's sosfilt of them within a float
// ulp, in random pieces (empty ones too), every other one in place.
TEST(SectionKernel, StreamMatchesScipySosfilt) {
    const auto blocks = rzf::test::LoadIirBlocks("sosfilt.txt");
    ASSERT_EQ(blocks.size(), std::size(kStreamed) + 1);
    const Floats x(blocks[0].at("x")[0].begin(), blocks[0].at("x")[0].end());
    std::mt19937 rng(17);
    for (std::size_t i = 0; i < std::size(kStreamed); ++i) {
        FilterUser u;
        const rzf::SectionSet sections = Sections(u, kStreamed[i]);
        const auto& y = blocks[i + 1].at("y");
        ASSERT_EQ(y.size(), x.size());
        V state(2 * sections.Count());
        ASSERT_TRUE(rzf::InitSectionCascade(sections.rows.data(), sections.Count(), state.data()));
        Floats out = x;
        for (int pos = 0, len = 0, piece = 0; pos < int(x.size()); pos += len, ++piece) {
            len = std::min(std::uniform_int_distribution<int>(0, 700)(rng), int(x.size()) - pos);
            rzf::RunSectionCascade(sections.rows.data(), sections.Count(), state.data(),
                                   (piece % 2 ? out : x).data() + pos, out.data() + pos, len);
        }
        for (std::size_t n = 0; n < y.size(); ++n) {
            const double ulp = std::ldexp(1.0, std::ilogb(y[n][0]) - 23);
            ASSERT_LE(std::fabs(out[n] - y[n][0]), ulp + 1e-30) << "case " << i << " sample " << n;
        }
    }
}

// Within 1e-9 of the roots in multiple precision, and of numpy's where well
// conditioned; where not, numpy's still lie on the same side of 1.
TEST(PoleRadius, MatchesMultiplePrecisionRoots) {
    const auto blocks = rzf::test::LoadIirBlocks("sosfilt.txt");
    ASSERT_EQ(blocks.size(), std::size(kStreamed) + 1);
    for (std::size_t i = 0; i < std::size(kStreamed); ++i) {
        FilterUser u;
        ASSERT_TRUE(rzf::test::DesignRow(u, kStreamed[i]));
        const double ours = rzf::PoleRadius(u.m_pFilter->GetDenominator(), u.m_nIIROrder);
        const double numpy = blocks[i + 1].at("radius")[0][0];
        EXPECT_NEAR(ours, blocks[i + 1].at("exact")[0][0], 1e-9) << i;
        EXPECT_EQ(ours >= 1.0, numpy >= 1.0) << i << ": " << ours << " vs " << numpy;
        EXPECT_EQ(ours > 1.0, i < kUnstableTransfers) << i << ": " << ours;
        if (i >= kUnstableTransfers) {
            EXPECT_NEAR(ours, numpy, 1e-9) << i;
        }
    }
}

// Largest pole magnitudes by hand: (1 - 0.5/z)(1 + 0.8/z): 0.8; 1 + 1.21/z^2
// with trailing zeros (poles at the origin): 1.1; only poles at the origin: 0.
// No figure (-1) without a degree, a denominator, a leading coefficient, finite
// coefficients or convergence (z^3 - 1: a cyclic companion matrix).
TEST(PoleRadius, HandDerivedDenominators) {
    const V a = {1, 0.3, -0.4}, b = {1, 0, 1.21, 0, 0}, origin = {1, 0, 0}, zeroLead = {0, 1, 0.5},
            nan = {1, NAN, 0.5}, cyclic = {1, 0, 0, -1};
    EXPECT_NEAR(rzf::PoleRadius(a.data(), 2), 0.8, 1e-15);
    EXPECT_NEAR(rzf::PoleRadius(b.data(), 4), 1.1, 1e-15);
    EXPECT_EQ(rzf::PoleRadius(origin.data(), 2), 0.0);
    EXPECT_EQ(rzf::PoleRadius(a.data(), 0), -1.0);
    EXPECT_EQ(rzf::PoleRadius(nullptr, 2), -1.0);
    EXPECT_EQ(rzf::PoleRadius(zeroLead.data(), 2), -1.0);
    EXPECT_EQ(rzf::PoleRadius(nan.data(), 2), -1.0);
    EXPECT_EQ(rzf::PoleRadius(cyclic.data(), 3), -1.0);
}

// A cascade needs rows, state, finite coefficients and every a0 exactly 1.
TEST(SectionKernel, InitRefusesUnusableCascades) {
    V rows = {0.5, 0.5, 0.0, 1.0, -0.2, 0.0, 1.0, 2.0, 1.0, 1.0, 0.1, 0.3}, state(4, 7.0);
    EXPECT_TRUE(rzf::InitSectionCascade(rows.data(), 2, state.data()));
    EXPECT_EQ(state, V(4, 0.0));
    EXPECT_FALSE(rzf::InitSectionCascade(rows.data(), 0, state.data()));
    EXPECT_FALSE(rzf::InitSectionCascade(nullptr, 2, state.data()));
    EXPECT_FALSE(rzf::InitSectionCascade(rows.data(), 2, nullptr));
    const std::pair<int, double> changes[] = {{9, 0.5}, {7, NAN}, {7, HUGE_VAL}};
    for (const auto& [index, value] : changes) {
        V bad = rows;
        bad[index] = value;
        EXPECT_FALSE(rzf::InitSectionCascade(bad.data(), 2, state.data())) << index << " " << value;
    }
}

// Writes library_sections.txt, gen_sections.py's input; run when designs change.
TEST(SectionReference, DISABLED_WriteLibrarySections) {
    std::ofstream out(rzf::test::ReferencePath("iir/library_sections.txt"));
    ASSERT_TRUE(out);
    out.precision(17);
    for (std::size_t i = 0; i < std::size(kStreamed); ++i) {
        FilterUser u;
        const rzf::SectionSet sections = Sections(u, kStreamed[i]);
        out << "case " << i << " " << sections.Count() << "\nden";
        for (int k = 0; k <= u.m_nIIROrder; ++k) {
            out << " " << u.m_pFilter->GetDenominator()[k];
        }
        for (std::size_t k = 0; k < sections.rows.size(); ++k) {
            out << (k % 6 == 0 ? "\nsos " : " ") << sections.rows[k];
        }
        out << "\nend\n";
    }
}
