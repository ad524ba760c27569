#include <gtest/gtest.h>

#include <RZFilterFunc/fir/CFilter.h>
#include <RZFilterFunc/fir/CKaiserFilter.h>

#include <cmath>
#include <memory>
#include <vector>

#include "FirTestData.h"

namespace {

// Designs a 1 kHz low-pass with its edge at 100 Hz.
int DesignLowPass(CKaiserFilter& k, double atten, double transition, double fs = 1000.0) {
    k.m_nBandType = 1;
    k.m_dFreq1 = 100.0;
    k.m_dNyquist = fs * 0.5;
    k.m_dAtten = atten;
    k.m_dTransition = transition;
    return k.Design();
}

}  // namespace

// Length 2n + 1 and beta at and around the 21 and 50 dB boundaries; the centre
// tap is 16384 (g + c1) since its window value is exactly 1.
TEST(KaiserDesign, LengthAndBetaWorkedExamples) {
    const double cases[][4] = {
        {60, 0.1, 75, 0.1102 * 51.3},                                 // 52.05 / 1.436 + 1 = 37.2
        {50, 0.1, 61, 0.1102 * 41.3},                                 // 42.05 / 1.436 + 1 = 30.3
        {45, 0.08, 67, 0.5842 * std::pow(24.0, 0.4) + 0.07886 * 24},  // 37.05 / 1.1488 + 1
        {22, 0.1, 21, 0.5842 + 0.07886},                              // 14.05 / 1.436 + 1 = 10.8
        {21, 0.1, 21, 0.0},                                           // 0.9222 / 0.1 + 1 = 10.2
        {10, 0.05, 39, 0.0}};                                         // 0.9222 / 0.05 + 1
    for (const auto& c : cases) {
        CKaiserFilter k;
        ASSERT_EQ(DesignLowPass(k, c[0], c[1]), int(c[2])) << c[0];
        EXPECT_TRUE(k.m_nLength == int(c[2]) && k.m_dNyquist == 1.0 && k.m_dFreq1 == 100.0 / 500);
        EXPECT_DOUBLE_EQ(k.m_dBeta, c[3]) << c[0];
        EXPECT_EQ(k.m_pCoef[k.m_nLength / 2], 16384.0 * (c[1] / 2 + 0.2)) << c[0];
    }
}

// Records: attenuation beta, from scipy.signal.kaiser_beta.
TEST(KaiserDesign, BetaMatchesScipy) {
    const auto rows = ReadFirTable("kaiser_beta.txt");
    ASSERT_EQ(rows.size(), 9u);
    for (const auto& row : rows) {
        CKaiserFilter k;
        ASSERT_GT(DesignLowPass(k, row[0], 0.1), 0);
        EXPECT_NEAR(k.m_dBeta, row[1], 1e-12) << row[0];
    }
}

// Records: band fs f1 f2 atten transition numtaps taps*16384, from
// scipy.signal.firwin with a Kaiser window and scale=False.
TEST(KaiserDesign, DesignsMatchScipyFirwin) {
    const auto rows = ReadFirTable("kaiser_designs.txt");
    ASSERT_EQ(rows.size(), 9u);
    for (const auto& r : rows) {
        double* taps = nullptr;
        const int n = CFilter::DesignFilter(taps, float(r[1]), int(r[0]), float(r[2]), float(r[3]),
                                            int(r[4]), r[5]);
        std::unique_ptr<double[]> owner(taps);
        ASSERT_TRUE(n == int(r[6]) && r.size() == n + 7u) << "band " << r[0] << " " << r[4];
        for (int k = 0; k < n; ++k)  // I0 here ends at an absolute 1e-8 term threshold
            EXPECT_NEAR(taps[k], r[7 + k], 1e-6) << "band " << r[0] << " k " << k;
    }
}

// Four edges (pass, stop, stop, pass) design as two edges with the narrower
// single-precision gap 2 (50 / 1000) as transition; badly ordered edges, a
// transition that is not positive (or too narrow to design) and band types
// outside 1..4 give no taps.
TEST(KaiserDesign, FourEdgesAndRefusals) {
    const double t = 2.0 * static_cast<double>(50.0f / 1000.0f);
    // clang-format off
    const struct { int band; float f1, f2, f3, f4; double transition; bool four; int taps; } cases[] = {
        {3, 200, 150, 400, 300, 0, true, 75}, {3, 200, 300, 0, 0, t, false, 75},
        {2, 250, 200, 0, 0, 0, true, 75}, {2, 250, 0, 0, 0, t, false, 75},
        {4, 100, 150, 250, 400, 0, true, 75}, {4, 100, 400, 0, 0, t, false, 75},
        {1, 150, 100, 0, 0, 0, true, 0}, {1, 100, 100, 0, 0, 0, true, 0},
        {2, 100, 150, 0, 0, 0, true, 0}, {3, 150, 200, 400, 300, 0, true, 0},
        {3, 200, 150, 300, 400, 0, true, 0}, {4, 150, 100, 300, 400, 0, true, 0},
        {4, 100, 150, 400, 300, 0, true, 0}, {1, 100, 0, 0, 0, 0.0, false, 0},
        {1, 100, 0, 0, 0, -0.1, false, 0}, {1, 100, 0, 0, 0, NAN, false, 0},
        {1, 100, 0, 0, 0, 1e-12, false, 0}, {0, 100, 300, 0, 0, 0.1, false, 0},
        {5, 100, 300, 0, 0, 0.1, false, 0}, {-1, 100, 300, 0, 0, 0.1, false, 0},
        {0, 100, 150, 250, 300, 0, true, 0}, {5, 100, 150, 250, 300, 0, true, 0}};
    // clang-format on
    std::vector<double> previous;
    for (const auto& c : cases) {
        double dummy = 0.0, *taps = &dummy;
        const int n =
            c.four ? CFilter::DesignFilter(taps, 1000.0f, c.band, c.f1, c.f2, c.f3, c.f4, 60)
                   : CFilter::DesignFilter(taps, 1000.0f, c.band, c.f1, c.f2, 60, c.transition);
        std::unique_ptr<double[]> owner(n > 0 ? taps : nullptr);
        ASSERT_EQ(n, c.taps) << c.band << " " << c.f1 << " " << c.f2 << " " << c.transition;
        EXPECT_EQ(taps, n > 0 ? owner.get() : nullptr);
        const std::vector<double> h(taps, taps + n);
        // A two-edge design repeats the four-edge row before it.
        EXPECT_TRUE(c.four || n == 0 || h == previous) << c.band;
        previous = h;
    }
}

// The sampling frequency only scales the edges and is not checked: at 0 Hz
// the edge 100 / 0 is infinite, the length still follows 60 dB and 0.1.
TEST(KaiserDesign, SamplingFrequencyIsNotChecked) {
    CKaiserFilter k;
    ASSERT_EQ(DesignLowPass(k, 60.0, 0.1, 0.0), 75);
    EXPECT_TRUE(k.m_pCoef[37] == HUGE_VAL && std::isnan(k.m_pCoef[0]));  // 16384 (g + inf)
    // Four edges: an infinite transition truncates 52.05 / inf + 1 to 1.
    double* taps = nullptr;
    EXPECT_EQ(CFilter::DesignFilter(taps, 0.0f, 1, 100, 150, 0, 0, 60), 3);
    std::unique_ptr<double[]> owner(taps);
}
