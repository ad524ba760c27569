#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/fir/WindowFunctions.h>
#include <RZFilterFunc/fir/WindowsFilter.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "FirTestData.h"

namespace {

const double kPi = 3.14159265358979323846;
const float kSentinel = -7.0f;

int Design(WindowsFilter& f, int band, double fs, double f1, double f2, int window, int length) {
    f.m_nBandType = band;
    f.m_dSampleFreq = fs;
    f.m_dFreq1 = f1;
    f.m_dFreq2 = f2;
    f.m_nWindowType = window;
    return f.DesignFIR(length);
}

}  // namespace

// Records: code n beta w[0..n-1], from scipy.signal.windows (symmetric), and
// x I0(x) from scipy.special.i0 (the series stops at an absolute 1e-8 term).
TEST(WindowFunctions, MatchScipy) {
    for (const auto& r : ReadFirTable("windows.txt", 68)) {
        const int code = int(r[0]), n = int(r[1]);
        std::vector<float> w(n, kSentinel);
        ASSERT_TRUE(r.size() == n + 3u && rzf::MakeWindow(w.data(), n, code, r[2], 1, 1, -3));
        for (int k = 0; k < n; ++k) {
            EXPECT_NEAR(w[k], r[3 + k], 6e-8) << "code " << code << " n " << n << " k " << k;
            EXPECT_EQ(w[k], w[n - 1 - k]) << "code " << code << " n " << n << " k " << k;
        }
    }
    for (const auto& r : ReadFirTable("bessel_i0.txt", 9))
        EXPECT_NEAR(rzf::BesselI0(r[0]), r[1], 1e-8 + 1e-14 * r[1]) << r[0];
    EXPECT_EQ(rzf::BesselI0(1e-4), 1.0 + 5e-5 * 5e-5);  // first term below the threshold
    EXPECT_TRUE(std::isnan(rzf::BesselI0(NAN)));
}

// Short windows by hand, written into a buffer of 10 sentinels; a refused
// window leaves it untouched. One point: cosine sums and the Kaiser window
// divide 0 by 0, the Hann without end points is the middle of a 3-point Hann.
TEST(WindowFunctions, ShortWindowsAndRefusals) {
    const float nan = NAN;
    // clang-format off
    const struct { int code, n; double from, to, span; bool ok; std::vector<float> w; } cases[] = {
        {0, 3, 0, 1, 1, true, {1, 1, 1}}, {-1, 2, 0, 1, 1, true, {1, 1}},
        {10, 2, 0, 1, 1, true, {1, 1}}, {0, -4, 0, 1, 1, true, {}},  // nothing to fill
        {2, 1, 0, 1, 1, true, {nan}}, {3, 1, 0, 1, 1, true, {nan}}, {5, 1, 0, 1, 1, true, {nan}},
        {8, 1, 0, 1, 1, true, {nan}}, {9, 1, 5, 1, 1, true, {nan}}, {1, 1, 0, 1, 1, true, {1}},
        {4, 1, 0, 1, 1, true, {1}}, {7, 8, 0.25, 0.75, 1, true, {0, 0, 1, 1, 1, 1, 0, 0}},
        // Segment [2, 7) falling three decades over its 5 points.
        {6, 10, 0.2, 0.7, 1, true,
         {0, 0, 1, 0.251188643f, 0.0630957344f, 0.0158489319f, 0.00398107171f, 0, 0, 0}},
        {2, 0, 0, 1, 1, false, {}}, {2, -4, 0, 1, 1, false, {}},  // no negative window
        {6, 10, 0.2, 0.7, 0, false, {}}, {6, 10, 0, 1.5, 1, false, {}},
        {7, 10, -0.5, 1, 1, false, {}}, {7, 10, nan, 1, 1, false, {}}};
    // clang-format on
    for (const auto& c : cases) {
        std::vector<float> w(10, kSentinel);
        EXPECT_EQ(rzf::MakeWindow(w.data(), c.n, c.code, c.from, c.to, c.span, -3), c.ok);
        for (size_t k = 0; k < w.size(); ++k) {
            const float e = k < c.w.size() ? c.w[k] : kSentinel;
            EXPECT_TRUE(std::isnan(e) ? std::isnan(w[k])
                                      : std::fabs(w[k] - e) <= 1e-6f * std::fabs(e))
                << "code " << c.code << " n " << c.n << " k " << k << ": " << w[k];
        }
    }
    std::vector<float> w(50001, kSentinel);  // codes 4 and 0 are not cosine sums
    EXPECT_FALSE(rzf::MakeCosineWindow(w.data(), 4, 4) || rzf::MakeCosineWindow(w.data(), 4, 0) ||
                 rzf::MakeWindow(nullptr, 5, 0, 0, 1, 1, -3) || w[0] != kSentinel);
    // (n-1)^2 no longer fits 32 bits here; the centre is still exactly 1.
    ASSERT_TRUE(rzf::MakeWindow(w.data(), 50001, 9, 5.0, 1, 1, -3));
    EXPECT_TRUE(w[25000] == 1.0f && w[0] == w[50000]);
}

// An even length designs one tap more; one tap of a cosine sum is NaN, of the
// open Hann 1.0 times w1 = 0.2. A bad specification changes nothing.
TEST(WindowsFilter, LengthsAndBadSpecifications) {
    // clang-format off
    const double cases[][7] = {  // band fs f1 f2 window length -> taps (0: refused)
        {1, 1000, 100, -1, 0, 50, 51}, {1, 1000, 100, -1, 0, 51, 51}, {1, 1000, 100, -1, 0, 0, 1},
        {1, 1000, 100, -1, 0, 2, 3}, {1, 1000, 100, -1, 1, 1, 1}, {1, 1000, 100, -1, 2, 1, 1},
        {1, 1000, 100, -1, 3, 1, 1}, {1, 1000, 100, -1, 5, 1, 1}, {1, 1000, 100, -1, 8, 1, 1},
        {3, 1000, 100, 0, 0, 21, 0}, {4, 1000, 100, -1, 0, 21, 0}, {1, 1000, 0, 300, 0, 21, 0},
        {1, 0, 100, 300, 0, 21, 0}, {1, 1000, NAN, 0, 0, 21, 0}, {0, 1000, 100, 300, 0, 21, 0},
        {5, 1000, 100, 300, 0, 21, 0}, {1, 1000, 100, 300, 0, -3, 0}};
    // clang-format on
    for (const auto& c : cases) {
        WindowsFilter f;
        const int taps = int(c[6]);
        ASSERT_EQ(Design(f, int(c[0]), c[1], c[2], c[3], int(c[4]), int(c[5])), taps > 0 ? 0 : -1)
            << c[0] << " " << c[2] << " " << c[3] << " " << c[5];
        EXPECT_TRUE(f.m_nLength == std::max(taps, 1) && (f.m_pCoef != nullptr) == (taps > 0));
        EXPECT_EQ(f.m_dFreqScale, taps > 0 ? 1.0 : 0.0);
        EXPECT_EQ(f.m_dFreq2, taps > 0 ? c[3] / 500 : c[3]);  // normalised to Nyquist
        EXPECT_TRUE(f.GetNumerator() == f.m_pCoef && f.GetCoefCount() == 0);
        EXPECT_TRUE(taps != 1 || (c[4] <= 1 ? f.m_pCoef[0] == 0.2 : std::isnan(f.m_pCoef[0])));
    }
}

// Records: band code fs f1 f2 length taps, from scipy.signal.firwin(scale=False).
// Codes 6, 7 and 9 have no parameters here and design rectangular, also when
// the same object designs again with its edges reloaded in Hz.
TEST(WindowsFilter, DesignsMatchScipyFirwin) {
    WindowsFilter f;
    for (const auto& r : ReadFirTable("window_designs.txt", 56)) {
        const int band = int(r[0]), code = int(r[1]), length = int(r[5]);
        for (int as : code == 0 ? std::vector<int>{0, 6, 7, 9} : std::vector<int>{code}) {
            ASSERT_EQ(Design(f, band, r[2], r[3], r[4], as, length), 0);
            ASSERT_TRUE(f.m_nLength == length && r.size() == length + 6u);
            for (int k = 0; k < length; ++k)  // window held in float: half an ulp of 1 is 3e-8
                EXPECT_NEAR(f.m_pCoef[k], r[6 + k], 6e-8) << band << " " << as << " " << k;
        }
    }
}

// Records: band code fs f1 f2 length points |H|/max|H| phase, from
// scipy.signal.freqz on the grid k * 3.1415926 / points.
TEST(WindowsFilter, ResponseMatchesScipyFreqz) {
    for (const auto& r : ReadFirTable("responses.txt", 2)) {
        const int points = int(r[6]);
        WindowsFilter f;
        int count = -1, phaseCount = -1;  // without taps only the amplitude writes its count
        EXPECT_TRUE(!f.GetPhaseResponse(&phaseCount) && !f.GetAmplitudeResponse(&count) &&
                    count == points && phaseCount == -1);
        ASSERT_EQ(Design(f, int(r[0]), r[2], r[3], r[4], int(r[1]), int(r[5])), 0);
        const double *amp = f.GetAmplitudeResponse(&count),
                     *phase = f.GetPhaseResponse(&phaseCount);
        ASSERT_TRUE(amp && phase && count == points && phaseCount == points &&
                    r.size() == 7u + 2u * points && f.GetAmplitudeResponse(&count) == amp);
        EXPECT_EQ(*std::max_element(amp, amp + points), 0.0);
        for (int k = 0; k < points; ++k) {  // phase compared where the response is not tiny
            EXPECT_NEAR(std::pow(10.0, amp[k] / 20.0), r[7 + k], 1e-7) << k;
            EXPECT_DOUBLE_EQ(f.m_pFreqAxis[k], k * r[2] / (2.0 * points));
            const bool tiny = r[7 + k] <= 1e-3;
            EXPECT_NEAR(phase[k], tiny ? 0.0 : r[7 + points + k], tiny ? kPi / 2 : 1e-6) << k;
        }
    }
}

// The designer's window path: selector 3 designs rectangular, an even length
// grows to odd, and each product is rounded to float before it is summed.
TEST(WindowsFilter, DesignerWindowPath) {
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_WINDOW_FIR, 100, 140, 160, 200, 1000, 20, 0.3, 40, 0);
    user.setWindowType(3);
    ASSERT_TRUE(user.DesignFilter());
    auto* fir = dynamic_cast<WindowsFilter*>(user.m_pFilter);
    ASSERT_TRUE(fir != nullptr && fir->m_nWindowType == 0 && fir->m_nLength == 21);
    const double* h = fir->m_pCoef;
    for (int m = -10; m <= 10; ++m)
        EXPECT_NEAR(h[10 + m], m == 0 ? 0.2 : std::sin(0.2 * kPi * m) / (kPi * m), 1e-16) << m;
    auto x = Noise(300, 41), y = x;
    user.FilterData(x.data(), y.data(), 300);
    EXPECT_EQ(user.m_nFIRLength, 21);
    int visible = 0;
    for (int n = 0; n < 300; ++n) {
        double rounded = 0.0, exact = 0.0;
        for (int k = 0; k <= std::min(n, 20); ++k) {  // the newest sample meets the last tap
            rounded += static_cast<float>(h[20 - k] * x[n - k]);
            exact += h[20 - k] * x[n - k];
        }
        EXPECT_EQ(y[n], static_cast<float>(rounded)) << n;
        visible += static_cast<float>(exact) != y[n];
    }
    EXPECT_GT(visible, 0);
}
