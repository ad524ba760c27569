#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/fir/CFilter.h>
#include <RZFilterFunc/fir/CKaiserFilter.h>
#include <RZFilterFunc/fir/WindowFunctions.h>
#include <RZFilterFunc/fir/WindowsFilter.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "ReferenceData.h"

namespace {

// The records of tests/data/fir/<name>, checked to number as expected.
std::vector<std::vector<double>> ReadFirTable(const std::string& name, size_t records) {
    std::vector<std::vector<double>> rows = rzf::test::ReadNumberRows("fir/" + name);
    EXPECT_EQ(rows.size(), records) << name;
    return rows;
}

// Uniform noise in [-1000, 1000).
std::vector<float> Noise(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1000.0f, 1000.0f);
    std::vector<float> v(n);
    std::generate(v.begin(), v.end(), [&] { return dist(gen); });
    return v;
}

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

// Second-order low-pass section, a[0] = 1.
const std::vector<double> kA = {1.0, -1.1429805025399011, 0.41280159809618866};
const std::vector<double> kB = {0.067455273889071896, 0.13491054777814379, 0.067455273889071896};

// Takes over an array handed out by the static designs.
std::vector<double> Taken(double* taps, int n) {
    std::unique_ptr<double[]> owner(taps);
    return std::vector<double>(taps, taps + n);
}

// A Kaiser low-pass as callers use it: 1 kHz sampling, 100 Hz edge, 60 dB.
std::vector<double> KaiserLowPass() {
    double* taps = nullptr;
    const int n = CFilter::DesignFilter(taps, 1000.0f, 1, 100.0f, 0.0f, 60, 0.1);
    return Taken(taps, n);
}

// Loads FIR taps, or IIR feedback a and feed-forward b (b empty: FIR).
void Load(CFilter& f, std::vector<double> a, std::vector<double> b = {}) {
    const int n = static_cast<int>(a.size());
    b.empty() ? f.SetFIRCoief(n, a.data()) : f.SetIIRCoief(n, a.data(), b.data());
}

template <typename T>
std::vector<T> Block(CFilter& f, std::vector<T> x) {
    EXPECT_TRUE(f.FilterData(x.data(), static_cast<int>(x.size()), 1, 0));
    return x;
}

}  // namespace

// Records: code n beta w[0..n-1], from scipy.signal.windows (symmetric).
TEST(WindowFunctions, MatchScipyAndAreSymmetric) {
    for (const auto& r : ReadFirTable("windows.txt", 68)) {
        const int code = int(r[0]), n = int(r[1]);
        SCOPED_TRACE(::testing::Message() << "code " << code << " n " << n);
        std::vector<float> w(n, kSentinel);
        ASSERT_EQ(r.size(), n + 3u);
        ASSERT_TRUE(rzf::MakeWindow(w.data(), n, code, r[2], 1, 1, -3));
        for (int k = 0; k < n; ++k) {
            EXPECT_NEAR(w[k], r[3 + k], 6e-8) << "k " << k;
            EXPECT_EQ(w[k], w[n - 1 - k]) << "k " << k;  // exactly symmetric
        }
    }
}

// Records: x I0(x) from scipy.special.i0 (the series stops at an absolute 1e-8
// term); a first term below the threshold ends the series at once.
TEST(WindowFunctions, BesselI0MatchesScipy) {
    for (const auto& r : ReadFirTable("bessel_i0.txt", 9))
        EXPECT_NEAR(rzf::BesselI0(r[0]), r[1], 1e-8 + 1e-14 * r[1]) << r[0];
    EXPECT_EQ(rzf::BesselI0(1e-4), 1.0 + 5e-5 * 5e-5);
    EXPECT_TRUE(std::isnan(rzf::BesselI0(NAN)));
}

// Short windows by hand, written into a buffer of 10 sentinels; a refused
// window, or one of no points, leaves it untouched. One point: the Kaiser
// window divides 0 by 0 (as do the cosine sums, see the one-tap designs), the
// Hann without end points is the middle of a 3-point Hann.
TEST(WindowFunctions, ShortWindowsByHand) {
    const float nan = NAN;
    // clang-format off
    const struct { int code, n; double from, to, span; bool ok; std::vector<float> w; } cases[] = {
        {0, 3, 0, 1, 1, 1, {1, 1, 1}}, {-1, 2, 0, 1, 1, 1, {1, 1}}, {0, -4, 0, 1, 1, 1, {}},
        {10, 2, 0, 1, 1, 1, {1, 1}}, {9, 1, 5, 1, 1, 1, {nan}}, {1, 1, 0, 1, 1, 1, {1}},
        {4, 1, 0, 1, 1, 1, {1}}, {7, 8, 0.25, 0.75, 1, 1, {0, 0, 1, 1, 1, 1, 0, 0}},
        // Segment [2, 7) falling three decades over its 5 points.
        {6, 10, 0.2, 0.7, 1, 1,
         {0, 0, 1, 0.251188643f, 0.0630957344f, 0.0158489319f, 0.00398107171f, 0, 0, 0}},
        {2, 0, 0, 1, 1, 0, {}}, {2, -4, 0, 1, 1, 0, {}},  // no negative window
        {6, 10, 0.2, 0.7, 0, 0, {}}, {6, 10, 0, 1.5, 1, 0, {}},
        {7, 10, -0.5, 1, 1, 0, {}}, {7, 10, nan, 1, 1, 0, {}}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "code " << c.code << " n " << c.n);
        std::vector<float> w(10, kSentinel);
        EXPECT_EQ(rzf::MakeWindow(w.data(), c.n, c.code, c.from, c.to, c.span, -3), c.ok);
        for (size_t k = 0; k < w.size(); ++k) {
            const float e = k < c.w.size() ? c.w[k] : kSentinel, v = w[k];
            if (std::isnan(e)) {
                EXPECT_TRUE(std::isnan(v)) << "k " << k << ": " << v;
            } else {
                EXPECT_NEAR(v, e, 1e-6f * std::fabs(e)) << "k " << k;
            }
        }
    }
}

// Codes 4 and 0 are not cosine sums; no buffer, no window.
TEST(WindowFunctions, RefusalsLeaveTheBuffer) {
    std::vector<float> w(5, kSentinel);
    EXPECT_FALSE(rzf::MakeCosineWindow(w.data(), 4, 4));
    EXPECT_FALSE(rzf::MakeCosineWindow(w.data(), 4, 0));
    EXPECT_FALSE(rzf::MakeWindow(nullptr, 5, 0, 0, 1, 1, -3));
    EXPECT_EQ(w[0], kSentinel);
}

// (n-1)^2 no longer fits 32 bits here; the centre is still exactly 1.
TEST(WindowFunctions, LongKaiserWindowKeepsItsCentre) {
    std::vector<float> w(50001, kSentinel);
    ASSERT_TRUE(rzf::MakeWindow(w.data(), 50001, 9, 5.0, 1, 1, -3));
    EXPECT_EQ(w[25000], 1.0f);
    EXPECT_EQ(w[0], w[50000]);
}

// An even length designs one tap more; one tap of a cosine sum is NaN, of the
// open Hann 1.0 times w1 = 0.2. A bad parameter set changes nothing; band types
// without an ideal response (0, 5) still design, with zero taps.
namespace {

struct WindowLengthCase {
    int band;
    double fs, f1, f2;
    int window, length;
    int taps;  // 0: refused
};

std::ostream& operator<<(std::ostream& os, const WindowLengthCase& c) {
    return os << "band " << c.band << " fs " << c.fs << " f1 " << c.f1 << " f2 " << c.f2
              << " window " << c.window << " length " << c.length;
}

const WindowLengthCase kWindowLengthCases[] = {
    {1, 1000, 100, -1, 0, 50, 51},  {1, 1000, 100, -1, 0, 51, 51}, {1, 1000, 100, -1, 0, 0, 1},
    {1, 1000, 100, -1, 0, 2, 3},    {1, 1000, 100, -1, 1, 1, 1},   {1, 1000, 100, -1, 2, 1, 1},
    {1, 1000, 100, -1, 3, 1, 1},    {1, 1000, 100, -1, 5, 1, 1},   {1, 1000, 100, -1, 8, 1, 1},
    {3, 1000, 100, 0, 0, 21, 0},    {4, 1000, 100, -1, 0, 21, 0},  {1, 1000, 0, 300, 0, 21, 0},
    {1, 0, 100, 300, 0, 21, 0},     {1, 1000, NAN, 0, 0, 21, 0},   {0, 1000, 100, 300, 0, 21, 21},
    {5, 1000, 100, 300, 0, 21, 21}, {1, 1000, 100, 300, 0, -3, 0}};

}  // namespace

class WindowLength : public ::testing::TestWithParam<WindowLengthCase> {};

TEST_P(WindowLength, DesignsItsTapsOrRefuses) {
    const WindowLengthCase& c = GetParam();
    WindowsFilter f;
    ASSERT_EQ(Design(f, c.band, c.fs, c.f1, c.f2, c.window, c.length), c.taps > 0 ? 0 : -1);
    EXPECT_EQ(f.m_nLength, std::max(c.taps, 1));
    EXPECT_EQ(f.m_pCoef != nullptr, c.taps > 0);
    EXPECT_EQ(f.m_dFreqScale, c.taps > 0 ? 1.0 : 0.0);
    if (c.taps > 0) {
        EXPECT_EQ(f.m_dFreq1, 0.2);
    }
    EXPECT_EQ(f.m_dFreq2, c.taps > 0 ? c.f2 / 500 : c.f2);  // normalised to Nyquist
    EXPECT_EQ(f.GetNumerator(), f.m_pCoef);
    EXPECT_EQ(f.GetCoefCount(), 0);
    if (c.taps == 1) {
        if (c.window <= 1) {
            EXPECT_EQ(f.m_pCoef[0], 0.2);
        } else {
            EXPECT_TRUE(std::isnan(f.m_pCoef[0])) << f.m_pCoef[0];
        }
    }
}

INSTANTIATE_TEST_SUITE_P(WindowsFilter, WindowLength, ::testing::ValuesIn(kWindowLengthCases));

// Records: band code fs f1 f2 length taps, from scipy.signal.firwin(scale=False).
// Codes 6, 7 and 9 have no parameters here and design rectangular, also when
// the same object designs again with its edges reloaded in Hz.
TEST(WindowsFilter, DesignsMatchScipy) {
    WindowsFilter f;
    for (const auto& r : ReadFirTable("window_designs.txt", 56)) {
        const int band = int(r[0]), code = int(r[1]), length = int(r[5]);
        for (int as : code == 0 ? std::vector<int>{0, 6, 7, 9} : std::vector<int>{code}) {
            ASSERT_EQ(Design(f, band, r[2], r[3], r[4], as, length), 0);
            ASSERT_EQ(f.m_nLength, length);
            ASSERT_EQ(r.size(), length + 6u);
            for (int k = 0; k < length; ++k)  // window held in float: half an ulp of 1 is 3e-8
                EXPECT_NEAR(f.m_pCoef[k], r[6 + k], 6e-8) << band << " " << as << " " << k;
        }
    }
}

// Records: band code fs f1 f2 length points |H|/max|H| phase, from
// scipy.signal.freqz on the grid k * 3.1415926 / points.
TEST(WindowsFilter, ResponsesMatchScipy) {
    for (const auto& r : ReadFirTable("responses.txt", 2)) {
        const int points = int(r[6]);
        WindowsFilter fresh;
        int count = -1, phaseCount = -1;  // without taps only the amplitude writes its count
        EXPECT_EQ(fresh.GetPhaseResponse(&phaseCount), nullptr);
        EXPECT_EQ(fresh.GetAmplitudeResponse(&count), nullptr);
        EXPECT_EQ(count, points);
        EXPECT_EQ(phaseCount, -1);
        ASSERT_EQ(Design(fresh, int(r[0]), r[2], r[3], r[4], int(r[1]), int(r[5])), 0);
        const double* amp = fresh.GetAmplitudeResponse(&count);
        const double* phase = fresh.GetPhaseResponse(&phaseCount);
        ASSERT_NE(amp, nullptr);
        ASSERT_NE(phase, nullptr);
        ASSERT_EQ(count, points);
        ASSERT_EQ(phaseCount, points);
        ASSERT_EQ(r.size(), 7u + 2u * points);
        EXPECT_EQ(*std::max_element(amp, amp + points), 0.0);
        for (int k = 0; k < points; ++k) {  // phase compared where the response is not tiny
            EXPECT_NEAR(std::pow(10.0, amp[k] / 20.0), r[7 + k], 1e-7) << k;
            EXPECT_DOUBLE_EQ(fresh.m_pFreqAxis[k], k * r[2] / (2.0 * points));
            const bool tiny = r[7 + k] <= 1e-3;
            EXPECT_NEAR(phase[k], tiny ? 0.0 : r[7 + points + k], tiny ? kPi / 2 : 1e-6) << k;
        }
        EXPECT_EQ(fresh.GetAmplitudeResponse(&count), amp);  // kept
        fresh.m_nRespCount = 0;
        count = phaseCount = -1;  // with no response points nothing is returned or counted
        EXPECT_EQ(fresh.GetAmplitudeResponse(&count), nullptr);
        EXPECT_EQ(fresh.GetPhaseResponse(&phaseCount), nullptr);
        EXPECT_EQ(count, -1);
        EXPECT_EQ(phaseCount, -1);
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
    ASSERT_NE(fir, nullptr);
    EXPECT_EQ(fir->m_nWindowType, 0);
    ASSERT_EQ(fir->m_nLength, 21);
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

// Length 2n + 1 with n = trunc((A - 7.95) / (14.36 D) + 1) above 21 dB, else
// trunc(0.9222 / D + 1): 60 dB at 0.1 gives 37, 50 dB 30, 45 dB at 0.08 33,
// 22 and 21 dB 10, 10 dB at 0.05 19. Beta follows its three formulas, and
// scipy.signal.kaiser_beta (taps unchecked there). The centre tap is
// 16384 (g + c1), its window value being 1; the sampling rate only scales the
// edge, so at 0 Hz it is infinite and at -1000 Hz it flips sign.
TEST(KaiserDesign, LengthAndBeta) {
    // clang-format off
    std::vector<std::vector<double>> rows = {  // attenuation beta transition fs taps
        {60, 0.1102 * 51.3, 0.1, 1000, 75}, {50, 0.1102 * 41.3, 0.1, 1000, 61},
        {45, 0.5842 * std::pow(24.0, 0.4) + 0.07886 * 24, 0.08, 1000, 67},
        {22, 0.5842 + 0.07886, 0.1, 1000, 21}, {21, 0, 0.1, 1000, 21}, {10, 0, 0.05, 1000, 39},
        {60, 0.1102 * 51.3, 0.1, -1000, 75}};
    // clang-format on
    for (const auto& r : ReadFirTable("kaiser_beta.txt", 9))  // taps unchecked
        rows.push_back({r[0], r[1], 0.1, 1000, 0});
    for (const auto& r : rows) {
        CKaiserFilter k;
        k.m_nBandType = 1;
        k.m_dFreq1 = 100.0;
        k.m_dNyquist = r[3] * 0.5;
        k.m_dAtten = r[0];
        k.m_dTransition = r[2];
        const int n = k.Design();
        const double c1 = 100.0 / (r[3] * 0.5);
        SCOPED_TRACE(::testing::Message() << "attenuation " << r[0] << " fs " << r[3]);
        ASSERT_GT(n, 0);
        if (r[4] != 0) {
            EXPECT_EQ(n, r[4]);
        }
        EXPECT_EQ(k.m_nLength, n);
        EXPECT_NEAR(k.m_dBeta, r[1], 2e-15 * r[1]) << r[0];
        EXPECT_EQ(k.m_dNyquist, 1.0);
        EXPECT_EQ(k.m_dFreq1, c1);
        EXPECT_EQ(k.m_pCoef[n / 2], 16384.0 * (r[2] / 2 + c1));
    }
    // At fs 0 the edge is infinite and no tap would be finite: refused.
    CKaiserFilter atZero;
    atZero.m_nBandType = 1;
    atZero.m_dFreq1 = 100.0;
    atZero.m_dNyquist = 0.0;
    atZero.m_dAtten = 60;
    atZero.m_dTransition = 0.1;
    EXPECT_TRUE(atZero.Design() == 0 && atZero.m_nLength == 0 && atZero.m_pCoef == nullptr);
}

// Records: band fs f1 f2 atten transition numtaps taps*16384, from
// scipy.signal.firwin with a Kaiser window and scale=False.
TEST(KaiserDesign, DesignsMatchScipy) {
    for (const auto& r : ReadFirTable("kaiser_designs.txt", 9)) {
        double* taps = nullptr;
        const int n = CFilter::DesignFilter(taps, float(r[1]), int(r[0]), float(r[2]), float(r[3]),
                                            int(r[4]), r[5]);
        const auto h = Taken(taps, n);
        ASSERT_EQ(n, int(r[6])) << "band " << r[0] << " " << r[4];
        ASSERT_EQ(r.size(), n + 7u);
        for (int k = 0; k < n; ++k)  // I0 here ends at an absolute 1e-8 term threshold
            EXPECT_NEAR(h[k], r[7 + k], 1e-6) << "band " << r[0] << " k " << k;
    }
}

// Four edges (pass, stop, stop, pass) design as two edges with the narrower
// single-precision gap 2 (50 / 1000) as transition; badly ordered edges, a
// transition that is not positive (or too narrow to design) and band types
// outside 1..4 give no taps.
TEST(KaiserDesign, FourEdgesDesignAsTwoOrAreRefused) {
    const double t = 2.0 * static_cast<double>(50.0f / 1000.0f);
    // clang-format off
    const struct { int band; float f1, f2, f3, f4; double t; bool four; } cases[] = {  // 6 designs
        {3, 200, 150, 400, 300, 0, 1}, {3, 200, 300, 0, 0, t, 0}, {2, 250, 200, 0, 0, 0, 1},
        {2, 250, 0, 0, 0, t, 0}, {4, 100, 150, 250, 400, 0, 1}, {4, 100, 400, 0, 0, t, 0},
        {1, 150, 100, 0, 0, 0, 1}, {1, 100, 100, 0, 0, 0, 1}, {2, 100, 150, 0, 0, 0, 1},
        {3, 150, 200, 400, 300, 0, 1}, {3, 200, 150, 300, 400, 0, 1}, {4, 150, 100, 300, 400, 0, 1},
        {4, 100, 150, 400, 300, 0, 1}, {0, 100, 150, 250, 300, 0, 1}, {5, 100, 150, 250, 300, 0, 1},
        {1, 100, 0, 0, 0, 0.0, 0}, {1, 100, 0, 0, 0, -0.1, 0}, {1, 100, 0, 0, 0, NAN, 0},
        {1, 100, 0, 0, 0, 1e-12, 0}, {0, 100, 300, 0, 0, 0.1, 0}, {5, 100, 300, 0, 0, 0.1, 0},
        {-1, 100, 300, 0, 0, 0.1, 0}};
    // clang-format on
    std::vector<double> fourEdge;
    for (const auto& c : cases) {
        double dummy = 0.0, *taps = &dummy;
        const int n = c.four
                          ? CFilter::DesignFilter(taps, 1000.0f, c.band, c.f1, c.f2, c.f3, c.f4, 60)
                          : CFilter::DesignFilter(taps, 1000.0f, c.band, c.f1, c.f2, 60, c.t);
        ASSERT_EQ(n, &c < cases + 6 ? 75 : 0) << c.band << " " << c.t;
        ASSERT_EQ(n > 0, taps != nullptr) << c.band << " " << c.t;
        const auto h = Taken(taps, n);
        if (!c.four && n > 0) {
            EXPECT_EQ(h, fourEdge) << c.band;  // as the row before
        }
        fourEdge = h;
    }
    // At 0 Hz the transition 2 (50 / 0) is infinite and no tap would be finite:
    // refused, as every rate that is not positive and finite.
    for (const float fs : {0.0f, -1000.0f, HUGE_VALF, NAN}) {
        double held = 0.0, *taps = &held;
        EXPECT_EQ(CFilter::DesignFilter(taps, fs, 1, 100, 150, 0, 0, 60), 0) << fs;
        EXPECT_EQ(taps, nullptr);
    }
}

TEST(CFilter, BlockArgumentsAreCheckedBeforeAnySample) {
    CFilter f;
    float data[4] = {1, 2, 3, 4}, *none = nullptr;
    EXPECT_FALSE(f.IsPrePare());
    EXPECT_FALSE(f.IsIIRFilter());
    EXPECT_FALSE(f.FilterData(data, 2, 1, 0));  // nothing loaded
    f.SetDelCount(-5);
    EXPECT_EQ(f.GetDelCount(), 0);
    f.SetDelCount(7);
    Load(f, {32768.0});  // gain 2
    EXPECT_TRUE(f.IsPrePare());
    EXPECT_EQ(f.GetDelCount(), 7);  // kept across loads
    // An empty block is done whatever the buffer: nothing to read or write.
    EXPECT_TRUE(f.FilterData(none, 0, 1, 0));
    EXPECT_TRUE(f.FilterData(data, -3, 1, 0));
    EXPECT_TRUE(f.FilterData(static_cast<short*>(nullptr), -1, 1, 0));
    EXPECT_TRUE(f.FilterData(static_cast<int*>(nullptr), 0, 1, -5));
    // A null buffer, or an index below 0.
    EXPECT_FALSE(f.FilterData(none, 4, 1, 0));
    EXPECT_FALSE(f.FilterData(data, 2, 1, -1));
    EXPECT_FALSE(f.FilterData(data, 3, -2, 2));
    EXPECT_EQ(std::vector<float>(data, data + 4), (std::vector<float>{1, 2, 3, 4}));
    EXPECT_TRUE(f.FilterData(data, 2, -2, 2));  // walking backwards inside the buffer
    EXPECT_EQ(std::vector<float>(data, data + 4), (std::vector<float>{2, 2, 6, 4}));
}

// Invalid loads leave the engine unprepared, with no arrays; it then passes
// samples through unchanged.
TEST(CFilter, InvalidLoadsLeaveItUnprepared) {
    CFilter f;
    Load(f, {32768.0});
    double one = 1.0;
    f.SetFIRCoief(0, &one);
    EXPECT_FALSE(f.IsPrePare());
    EXPECT_EQ(f.m_pCoefA, nullptr);
    f.SetIIRCoief(2, &one, nullptr);
    EXPECT_FALSE(f.IsPrePare());
    EXPECT_TRUE(f.IsIIRFilter());
    EXPECT_EQ(f.m_nCoefCount, 2);
    EXPECT_EQ(f.m_pState, nullptr);
    f.Reset();
    EXPECT_EQ(f.FilterFIRData(3.5f), 3.5f);
    EXPECT_EQ(f.FilterIIRData(3.5f), 3.5f);
}

// FIR taps are scaled by 16384 and the newest sample meets the last tap (taps
// 0.5, 0.25 give 0.25 * 8 + 0.5 * 4 = 4); an IIR engine takes a[0] as 1
// whatever it holds, and one coefficient is a gain.
TEST(CFilter, HandWorkedSamples) {
    const std::vector<float> impulse = {1, 0, 0, 0, 0}, halving = {1, 0.5f, 0.25f, 0.125f, 0.0625f};
    // clang-format off
    const struct { std::vector<double> a, b; std::vector<float> in, out; } cases[] = {
        {{16384}, {}, {1.5f, -2.25f, 1e6f, -3e-3f}, {1.5f, -2.25f, 1e6f, -3e-3f}},
        {{16384, 0}, {}, {1, 2, 3, 4}, {0, 1, 2, 3}}, {{8192, 4096}, {}, {4, 8}, {1, 4}},
        {{1, -0.5}, {1, 0}, impulse, halving}, {{4, -0.5}, {1, 0}, impulse, halving},
        {{1}, {0.5}, {4, -2, 1}, {2, -1, 0.5f}}};
    // clang-format on
    CFilter f;
    for (const auto& c : cases) {
        Load(f, c.a, c.b);
        EXPECT_EQ(Block(f, c.in), c.out) << c.a[0];
        EXPECT_EQ(f.IsIIRFilter(), !c.b.empty());
        EXPECT_EQ(f.m_dLastOutput, c.out.back() * (c.b.empty() ? 16384.0 : 1.0));  // unscaled
    }
    Load(f, KaiserLowPass());  // unity pass-band gain (60 dB: ripple about 0.1 %)
    EXPECT_NEAR(Block(f, std::vector<float>(200, 1000.0f)).back(), 1000.0f, 1.0f);
    // Integer results truncate toward zero; 16-bit samples keep the low 16 bits,
    // and a value outside 32 bits (or NaN) becomes the integer-indefinite INT32_MIN.
    // clang-format off
    const struct { double tap; short in, out16; int out32; } integers[] = {
        {32768, 20000, -25536, 40000}, {32768, -3, -6, -6}, {32768, 16383, 32766, 32766},
        {1638.4, -17, -1, -1}, {1638.4, 17, 1, 1}, {NAN, 5, 0, INT32_MIN}};
    // clang-format on
    for (const auto& c : integers) {
        Load(f, {c.tap});
        EXPECT_EQ(Block<short>(f, {c.in})[0], c.out16) << c.tap << " " << c.in;
        EXPECT_EQ(Block<int>(f, {c.in})[0], c.out32) << c.tap << " " << c.in;
    }
    EXPECT_EQ(Block<int>(f, {2000000000, -2000000000}), (std::vector<int>{INT32_MIN, INT32_MIN}));
}

// One channel of an interleaved pair, fed in blocks split at random points,
// equals one call, which follows the direct convolution (FIR, exactly) or the
// difference equation (IIR). Copies made mid-stream share the history; Reset
// and a reload from the engine's own arrays start afresh.
TEST(CFilter, StreamsInBlocksThroughCopies) {
    const auto x = Noise(1000, 23);
    std::mt19937 gen(17);
    for (const auto& a : {KaiserLowPass(), kA}) {
        const auto& b = a.size() == 3 ? kB : std::vector<double>();
        const size_t n = a.size();
        CFilter whole, f;
        Load(whole, a, b);
        Load(f, a, b);
        const auto one = Block(whole, x);
        std::vector<double> ref(x.size());
        std::vector<float> stereo(2000, -7.0f);
        for (size_t i = 0; i < x.size(); ++i) {
            stereo[2 * i + 1] = x[i];
            for (size_t k = 0; k <= i && k < n; ++k)  // FIR: the newest sample meets the last tap
                ref[i] += b.empty() ? a[n - 1 - k] * x[i - k]
                                    : b[k] * x[i - k] - (k > 0 ? a[k] * ref[i - k] : 0.0);
            ref[i] /= b.empty() ? 16384.0 : 1.0;
            EXPECT_NEAR(one[i], static_cast<float>(ref[i]), b.empty() ? 0.0 : 1e-3) << n << i;
        }
        for (int at = 0, len = 0; at < 1000; at += len) {
            len = std::min(1000 - at, static_cast<int>(gen() % 97));
            ASSERT_TRUE(f.FilterData(stereo.data(), len, 2, 2 * at + 1));
        }
        for (int i = 0; i < 1000; ++i)
            ASSERT_EQ(stereo[2 * i + 1], one[i]) << n << " " << i;
        for (int i = 0; i < 1000; ++i)
            ASSERT_EQ(stereo[2 * i], -7.0f) << n << " " << i;  // the other channel untouched
        f.Reset();
        Block<float>(f, {x.begin(), x.begin() + 20});
        {
            CFilter copy(f), assigned;
            assigned = f;
            EXPECT_EQ(copy.m_pState, f.m_pState);
            EXPECT_EQ(Block<float>(copy, {x[20]})[0], one[20]);
            EXPECT_EQ(Block<float>(assigned, {x[21]})[0], one[21]);
            Load(copy, {16384.0});  // leaves the others' arrays alive
        }
        EXPECT_EQ(Block<float>(f, {x.begin() + 22, x.end()}),
                  decltype(x)(one.begin() + 22, one.end()));
        b.empty() ? f.SetFIRCoief(f.m_nCoefCount, f.m_pCoefA)  // from its own arrays
                  : f.SetIIRCoief(f.m_nCoefCount, f.m_pCoefA, f.m_pCoefB);
        EXPECT_EQ(Block(f, x), one) << n;
    }
}
