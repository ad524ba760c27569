#include <gtest/gtest.h>

#include <RZFilterFunc/fir/CFilter.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "FirTestData.h"

namespace {

// Second-order low-pass section, a[0] = 1.
const double kA[3] = {1.0, -1.1429805025399011, 0.41280159809618866};
const double kB[3] = {0.067455273889071896, 0.13491054777814379, 0.067455273889071896};

// A Kaiser low-pass as callers use it: 1 kHz sampling, 100 Hz edge, 60 dB.
std::vector<double> KaiserLowPass() {
    double* taps = nullptr;
    const int n = CFilter::DesignFilter(taps, 1000.0f, 1, 100.0f, 0.0f, 60, 0.1);
    std::unique_ptr<double[]> owner(taps);
    return std::vector<double>(taps, taps + n);
}

// Loads FIR taps, or IIR feedback a and feed-forward b (b empty: FIR).
void Load(CFilter& f, std::vector<double> a, std::vector<double> b = {}) {
    if (b.empty())
        f.SetFIRCoief(static_cast<int>(a.size()), a.data());
    else
        f.SetIIRCoief(static_cast<int>(a.size()), a.data(), b.data());
}

float Step(CFilter& f, float x) {
    return f.IsIIRFilter() ? f.FilterIIRData(x) : f.FilterFIRData(x);
}

template <typename T>
std::vector<T> Block(CFilter& f, std::vector<T> x, bool prepared = true) {
    EXPECT_EQ(f.FilterData(x.data(), static_cast<int>(x.size()), 1, 0), prepared);
    return x;
}

}  // namespace

TEST(CFilter, LoadingAndBadArguments) {
    CFilter f;
    EXPECT_FALSE(f.IsPrePare() || f.IsIIRFilter());
    EXPECT_EQ(Block<float>(f, {1, 2}, false), (std::vector<float>{1, 2}));
    f.SetDelCount(-5);
    EXPECT_EQ(f.GetDelCount(), 0);
    f.SetDelCount(7);
    Load(f, {32768.0});                                  // gain 2
    EXPECT_TRUE(f.IsPrePare() && f.GetDelCount() == 7);  // kept across loads
    float* none = nullptr;
    float data[4] = {1, 2, 3, 4};
    EXPECT_FALSE(f.FilterData(none, 4, 1, 0));
    // An empty block is done whatever the buffer: nothing to read or write.
    EXPECT_TRUE(f.FilterData(none, 0, 1, 0) && f.FilterData(data, -3, 1, 0));
    EXPECT_TRUE(f.FilterData(static_cast<short*>(nullptr), -1, 1, 0));
    EXPECT_TRUE(f.FilterData(static_cast<int*>(nullptr), 0, 1, -5));
    EXPECT_FALSE(f.FilterData(data, 2, 1, -1) || f.FilterData(data, 3, -2, 2));  // index < 0
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
    const std::vector<float> impulse = {1, 0, 0, 0, 0};
    const std::vector<float> halving = {1, 0.5f, 0.25f, 0.125f, 0.0625f};
    const struct {
        std::vector<double> a, b;
        std::vector<float> in, out;
    } cases[] = {{{16384}, {}, {1.5f, -2.25f, 1e6f, -3e-3f}, {1.5f, -2.25f, 1e6f, -3e-3f}},
                 {{16384, 0}, {}, {1, 2, 3, 4}, {0, 1, 2, 3}},
                 {{8192, 4096}, {}, {4, 8}, {1, 4}},  // 0.25 * 8 + 0.5 * 4
                 {{1, -0.5}, {1, 0}, impulse, halving},
                 {{4, -0.5}, {1, 0}, impulse, halving},
                 {{1}, {0.5}, {4, -2, 1}, {2, -1, 0.5f}}};
    for (const auto& c : cases) {
        CFilter f;
        Load(f, c.a, c.b);
        EXPECT_EQ(f.IsIIRFilter(), !c.b.empty());
        EXPECT_EQ(Block(f, c.in), c.out) << c.a[0] << " " << c.a.size();
        EXPECT_EQ(f.m_dLastOutput, c.out.back() * (c.b.empty() ? 16384.0 : 1.0));  // unscaled
    }
    CFilter f;  // a Kaiser design has unity pass-band gain (60 dB: ripple about 0.1 %)
    Load(f, KaiserLowPass());
    EXPECT_NEAR(Block(f, std::vector<float>(200, 1000.0f)).back(), 1000.0f, 1.0f);
}

// Results truncate toward zero; 16-bit samples keep the low 16 bits, and a
// value outside 32 bits (or NaN) becomes the integer-indefinite INT32_MIN.
TEST(CFilter, IntegerSamplesTruncateAndWrap) {
    const struct {
        double tap;
        short in, out16;
        int out32;
    } cases[] = {{32768, 20000, -25536, 40000}, {32768, -3, -6, -6}, {32768, 16383, 32766, 32766},
                 {1638.4, -17, -1, -1},         {1638.4, 17, 1, 1},  {NAN, 5, 0, INT32_MIN}};
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
    const auto taps = KaiserLowPass();
    const size_t n = taps.size();
    std::mt19937 gen(17);
    for (bool iir : {false, true}) {
        const auto x = Noise(1000, 23);
        std::vector<double> ref(x.size());
        for (size_t i = 0; i < x.size(); ++i) {
            double acc = 0.0;
            for (size_t k = 0; k <= i && k < (iir ? 3 : n); ++k)
                acc += iir ? kB[k] * x[i - k] - (k > 0 ? kA[k] * ref[i - k] : 0.0)
                           : taps[n - 1 - k] * x[i - k];
            ref[i] = iir ? acc : acc / 16384.0;
        }
        CFilter whole, pieces, f;
        for (CFilter* e : {&whole, &pieces, &f})
            iir ? Load(*e, {kA, kA + 3}, {kB, kB + 3}) : Load(*e, taps);
        const auto one = Block(whole, x);
        std::vector<float> stereo(2000, -7.0f);
        for (int i = 0; i < 1000; ++i)
            stereo[2 * i + 1] = x[i];
        for (int at = 0, len = 0; at < 1000; at += len) {
            len = std::min(1000 - at, static_cast<int>(gen() % 97));
            ASSERT_TRUE(pieces.FilterData(stereo.data(), len, 2, 2 * at + 1));
        }
        for (int i = 0; i < 1000; ++i) {
            EXPECT_NEAR(one[i], static_cast<float>(ref[i]), iir ? 1e-3 : 0.0) << iir << " " << i;
            EXPECT_TRUE(stereo[2 * i + 1] == one[i] && stereo[2 * i] == -7.0f) << iir << " " << i;
        }
        for (int i = 0; i < 20; ++i)
            Step(f, x[i]);
        {
            CFilter copy(f), assigned;
            assigned = f;
            EXPECT_EQ(copy.m_pState, f.m_pState);
            EXPECT_TRUE(Step(copy, x[20]) == one[20] && Step(assigned, x[21]) == one[21]);
            Load(copy, {16384.0});  // leaves the others' arrays alive
        }
        for (int i = 22; i < 40; ++i)
            EXPECT_EQ(Step(f, x[i]), one[i]) << iir << " " << i;
        for (int restart = 0; restart < 2; ++restart) {
            if (restart == 0)
                f.Reset();
            else if (iir)  // reload from the engine's own arrays
                f.SetIIRCoief(f.m_nCoefCount, f.m_pCoefA, f.m_pCoefB);
            else
                f.SetFIRCoief(f.m_nCoefCount, f.m_pCoefA);
            for (int i = 0; i < 20; ++i)
                EXPECT_EQ(Step(f, x[i]), one[i]) << iir << " " << restart << " " << i;
        }
    }
}
