#include <gtest/gtest.h>

#include <RZFilterFunc/fir/CFilter.h>
#include <RZFilterFunc/fir/CKaiserFilter.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "FirTestData.h"

namespace {

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
    if (b.empty())
        f.SetFIRCoief(static_cast<int>(a.size()), a.data());
    else
        f.SetIIRCoief(static_cast<int>(a.size()), a.data(), b.data());
}

template <typename T>
std::vector<T> Block(CFilter& f, std::vector<T> x) {
    EXPECT_TRUE(f.FilterData(x.data(), static_cast<int>(x.size()), 1, 0));
    return x;
}

std::vector<float> Part(const std::vector<float>& v, size_t from, size_t to) {
    return std::vector<float>(v.begin() + from, v.begin() + to);
}

}  // namespace

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
        {60, 0.1102 * 51.3, 0.1, 0, 75}, {60, 0.1102 * 51.3, 0.1, -1000, 75}};
    // clang-format on
    for (auto r : ReadFirTable("kaiser_beta.txt", 9)) {
        r.insert(r.end(), {0.1, 1000, 0});
        rows.push_back(r);
    }
    for (const auto& r : rows) {
        CKaiserFilter k;
        k.m_nBandType = 1;
        k.m_dFreq1 = 100.0;
        k.m_dNyquist = r[3] * 0.5;
        k.m_dAtten = r[0];
        k.m_dTransition = r[2];
        const int n = k.Design();
        const double c1 = 100.0 / (r[3] * 0.5);
        ASSERT_TRUE(n > 0 && (r[4] == 0 || n == r[4]) && k.m_nLength == n) << r[0];
        EXPECT_NEAR(k.m_dBeta, r[1], 2e-15 * r[1]) << r[0];
        EXPECT_TRUE(k.m_dNyquist == 1.0 && k.m_dFreq1 == c1) << r[0] << " " << r[3];
        EXPECT_EQ(k.m_pCoef[n / 2], 16384.0 * (r[2] / 2 + c1)) << r[0] << " " << r[3];
    }
}

// Records: band fs f1 f2 atten transition numtaps taps*16384, from
// scipy.signal.firwin with a Kaiser window and scale=False.
TEST(KaiserDesign, DesignsMatchScipyFirwin) {
    for (const auto& r : ReadFirTable("kaiser_designs.txt", 9)) {
        double* taps = nullptr;
        const int n = CFilter::DesignFilter(taps, float(r[1]), int(r[0]), float(r[2]), float(r[3]),
                                            int(r[4]), r[5]);
        const auto h = Taken(taps, n);
        ASSERT_TRUE(n == int(r[6]) && r.size() == n + 7u) << "band " << r[0] << " " << r[4];
        for (int k = 0; k < n; ++k)  // I0 here ends at an absolute 1e-8 term threshold
            EXPECT_NEAR(h[k], r[7 + k], 1e-6) << "band " << r[0] << " k " << k;
    }
}

// Four edges (pass, stop, stop, pass) design as two edges with the narrower
// single-precision gap 2 (50 / 1000) as transition; badly ordered edges, a
// transition that is not positive (or too narrow to design) and band types
// outside 1..4 give no taps.
TEST(KaiserDesign, FourEdgesAndRefusals) {
    const double t = 2.0 * static_cast<double>(50.0f / 1000.0f);
    // clang-format off
    const struct { int band; float f1, f2, f3, f4; double t; bool four; int taps; } cases[] = {
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
    std::vector<double> fourEdge;
    for (const auto& c : cases) {
        double dummy = 0.0, *taps = &dummy;
        const int n = c.four
                          ? CFilter::DesignFilter(taps, 1000.0f, c.band, c.f1, c.f2, c.f3, c.f4, 60)
                          : CFilter::DesignFilter(taps, 1000.0f, c.band, c.f1, c.f2, 60, c.t);
        ASSERT_TRUE(n == c.taps && (n > 0) == (taps != nullptr)) << c.band << " " << c.f1 << c.t;
        const auto h = Taken(taps, n);
        EXPECT_TRUE(c.four || n == 0 || h == fourEdge) << c.band;  // as the row before
        fourEdge = h;
    }
}

TEST(CFilter, LoadingAndBadArguments) {
    CFilter f;
    float data[4] = {1, 2, 3, 4}, *none = nullptr;
    EXPECT_FALSE(f.IsPrePare() || f.IsIIRFilter() || f.FilterData(data, 2, 1, 0));
    f.SetDelCount(-5);
    EXPECT_EQ(f.GetDelCount(), 0);
    f.SetDelCount(7);
    Load(f, {32768.0});                                  // gain 2
    EXPECT_TRUE(f.IsPrePare() && f.GetDelCount() == 7);  // kept across loads
    // An empty block is done whatever the buffer: nothing to read or write.
    EXPECT_TRUE(f.FilterData(none, 0, 1, 0) && f.FilterData(data, -3, 1, 0) &&
                f.FilterData(static_cast<short*>(nullptr), -1, 1, 0) &&
                f.FilterData(static_cast<int*>(nullptr), 0, 1, -5));
    EXPECT_FALSE(f.FilterData(none, 4, 1, 0) || f.FilterData(data, 2, 1, -1) ||
                 f.FilterData(data, 3, -2, 2));  // null, or an index below 0
    EXPECT_EQ(std::vector<float>(data, data + 4), (std::vector<float>{1, 2, 3, 4}));
    EXPECT_TRUE(f.FilterData(data, 2, -2, 2));  // walking backwards inside the buffer
    EXPECT_EQ(std::vector<float>(data, data + 4), (std::vector<float>{2, 2, 6, 4}));
    // Invalid loads leave the engine unprepared, with no arrays.
    double one = 1.0;
    f.SetFIRCoief(0, &one);
    EXPECT_TRUE(!f.IsPrePare() && f.m_pCoefA == nullptr);
    f.SetIIRCoief(2, &one, nullptr);
    EXPECT_TRUE(!f.IsPrePare() && f.IsIIRFilter() && f.m_nCoefCount == 2 && !f.m_pState);
    f.Reset();
    EXPECT_TRUE(f.FilterFIRData(3.5f) == 3.5f && f.FilterIIRData(3.5f) == 3.5f);  // unchanged
}

// FIR taps are scaled by 16384 and the newest sample meets the last tap; an
// IIR engine takes a[0] as 1 whatever it holds, and one coefficient is a gain.
TEST(CFilter, HandWorkedResponses) {
    const std::vector<float> impulse = {1, 0, 0, 0, 0}, halving = {1, 0.5f, 0.25f, 0.125f, 0.0625f};
    // clang-format off
    const struct { std::vector<double> a, b; std::vector<float> in, out; } cases[] = {
        {{16384}, {}, {1.5f, -2.25f, 1e6f, -3e-3f}, {1.5f, -2.25f, 1e6f, -3e-3f}},
        {{16384, 0}, {}, {1, 2, 3, 4}, {0, 1, 2, 3}},
        {{8192, 4096}, {}, {4, 8}, {1, 4}},  // 0.25 * 8 + 0.5 * 4
        {{1, -0.5}, {1, 0}, impulse, halving}, {{4, -0.5}, {1, 0}, impulse, halving},
        {{1}, {0.5}, {4, -2, 1}, {2, -1, 0.5f}}};
    // clang-format on
    for (const auto& c : cases) {
        CFilter f;
        Load(f, c.a, c.b);
        EXPECT_EQ(Block(f, c.in), c.out) << c.a[0];
        EXPECT_TRUE(f.IsIIRFilter() == !c.b.empty() &&
                    f.m_dLastOutput == c.out.back() * (c.b.empty() ? 16384.0 : 1.0));  // unscaled
    }
    CFilter f;  // a Kaiser design has unity pass-band gain (60 dB: ripple about 0.1 %)
    Load(f, KaiserLowPass());
    EXPECT_NEAR(Block(f, std::vector<float>(200, 1000.0f)).back(), 1000.0f, 1.0f);
}

// Results truncate toward zero; 16-bit samples keep the low 16 bits, and a
// value outside 32 bits (or NaN) becomes the integer-indefinite INT32_MIN.
TEST(CFilter, IntegerSamplesTruncateAndWrap) {
    // clang-format off
    const struct { double tap; short in, out16; int out32; } cases[] = {
        {32768, 20000, -25536, 40000}, {32768, -3, -6, -6}, {32768, 16383, 32766, 32766},
        {1638.4, -17, -1, -1}, {1638.4, 17, 1, 1}, {NAN, 5, 0, INT32_MIN}};
    // clang-format on
    CFilter f;
    for (const auto& c : cases) {
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
TEST(CFilter, StreamSplitsCopiesAndReset) {
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
        for (size_t i = 0; i < x.size(); ++i) {
            for (size_t k = 0; k <= i && k < n; ++k)  // FIR: the newest sample meets the last tap
                ref[i] += b.empty() ? a[n - 1 - k] * x[i - k]
                                    : b[k] * x[i - k] - (k > 0 ? a[k] * ref[i - k] : 0.0);
            ref[i] /= b.empty() ? 16384.0 : 1.0;
            EXPECT_NEAR(one[i], static_cast<float>(ref[i]), b.empty() ? 0.0 : 1e-3) << n << i;
        }
        std::vector<float> stereo(2000, -7.0f);
        for (int i = 0; i < 1000; ++i)
            stereo[2 * i + 1] = x[i];
        for (int at = 0, len = 0; at < 1000; at += len) {
            len = std::min(1000 - at, static_cast<int>(gen() % 97));
            ASSERT_TRUE(f.FilterData(stereo.data(), len, 2, 2 * at + 1));
        }
        for (int i = 0; i < 1000; ++i)
            EXPECT_TRUE(stereo[2 * i + 1] == one[i] && stereo[2 * i] == -7.0f) << n << " " << i;
        f.Reset();
        Block(f, Part(x, 0, 20));
        {
            CFilter copy(f), assigned;
            assigned = f;
            EXPECT_TRUE(copy.m_pState == f.m_pState &&
                        Block(copy, Part(x, 20, 21)) == Part(one, 20, 21) &&
                        Block(assigned, Part(x, 21, 22)) == Part(one, 21, 22));
            Load(copy, {16384.0});  // leaves the others' arrays alive
        }
        EXPECT_EQ(Block(f, Part(x, 22, 1000)), Part(one, 22, 1000)) << n;
        if (b.empty())  // reload from the engine's own arrays
            f.SetFIRCoief(f.m_nCoefCount, f.m_pCoefA);
        else
            f.SetIIRCoief(f.m_nCoefCount, f.m_pCoefA, f.m_pCoefB);
        EXPECT_EQ(Block(f, x), one) << n;
    }
}
