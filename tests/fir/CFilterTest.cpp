#include <gtest/gtest.h>

#include <RZFilterFunc/fir/CFilter.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace {

// A Kaiser low-pass as callers use it: 1 kHz sampling, 100 Hz edge.
std::vector<double> LowPassTaps() {
    double* taps = nullptr;
    const int n = CFilter::DesignFilter(taps, 1000.0f, 1, 100.0f, 0.0f, 60, 0.1);
    std::unique_ptr<double[]> owner(taps);
    return std::vector<double>(taps, taps + n);
}

// Second-order low-pass section, a[0] = 1.
const double kBiquadA[3] = {1.0, -1.1429805025399011, 0.41280159809618866};
const double kBiquadB[3] = {0.067455273889071896, 0.13491054777814379, 0.067455273889071896};

std::vector<float> Noise(int n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(-1000.0f, 1000.0f);
    std::vector<float> v(n);
    for (auto& x : v) {
        x = dist(gen);
    }
    return v;
}

void LoadBiquad(CFilter& f) {
    double a[3] = {kBiquadA[0], kBiquadA[1], kBiquadA[2]};
    double b[3] = {kBiquadB[0], kBiquadB[1], kBiquadB[2]};
    f.SetIIRCoief(3, a, b);
}

}  // namespace

TEST(CFilter, ConstructionAndLoading) {
    CFilter f;
    EXPECT_FALSE(f.IsPrePare());
    EXPECT_FALSE(f.IsIIRFilter());
    float x[2] = {1.0f, 2.0f};
    EXPECT_FALSE(f.FilterData(x, 2, 1, 0));
    EXPECT_EQ(x[1], 2.0f);

    f.SetDelCount(-5);
    EXPECT_EQ(f.GetDelCount(), 0);
    f.SetDelCount(7);
    double one = 16384.0;
    f.SetFIRCoief(1, &one);
    EXPECT_TRUE(f.IsPrePare());
    EXPECT_EQ(f.GetDelCount(), 7);  // kept across loads

    // Invalid loads leave the engine unprepared, with no arrays.
    f.SetFIRCoief(0, &one);
    EXPECT_FALSE(f.IsPrePare());
    EXPECT_EQ(f.m_pCoefA, nullptr);
    f.SetIIRCoief(2, &one, nullptr);
    EXPECT_FALSE(f.IsPrePare());
    EXPECT_TRUE(f.IsIIRFilter());
    EXPECT_EQ(f.m_nCoefCount, 2);
    EXPECT_EQ(f.m_pState, nullptr);
    f.Reset();
    EXPECT_EQ(f.FilterFIRData(3.5f), 3.5f);  // nothing loaded: unchanged
    EXPECT_EQ(f.FilterIIRData(3.5f), 3.5f);
}

TEST(CFilter, FirUnitTapPassesThrough) {
    CFilter f;
    double one = 16384.0;
    f.SetFIRCoief(1, &one);
    float data[4] = {1.5f, -2.25f, 1e6f, -3e-3f};
    const std::vector<float> in(data, data + 4);
    ASSERT_TRUE(f.FilterData(data, 4, 1, 0));
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(data[i], in[i]);
    }
}

// The taps run in reverse over the delay line: the newest sample meets the
// last tap. With taps {1, 0} (scaled) the output is the previous input, and
// with {0.5, 0.25} it is 0.25 x[n] + 0.5 x[n-1].
TEST(CFilter, FirNewestSampleMeetsTheLastTap) {
    CFilter f;
    double delay[2] = {16384.0, 0.0};
    f.SetFIRCoief(2, delay);
    float data[4] = {1.0f, 2.0f, 3.0f, 4.0f};
    ASSERT_TRUE(f.FilterData(data, 4, 1, 0));
    EXPECT_EQ(data[0], 0.0f);
    EXPECT_EQ(data[1], 1.0f);
    EXPECT_EQ(data[2], 2.0f);
    EXPECT_EQ(data[3], 3.0f);
    EXPECT_EQ(f.m_dLastOutput, 3.0 * 16384.0);  // the unscaled sum

    double mix[2] = {8192.0, 4096.0};
    f.SetFIRCoief(2, mix);
    EXPECT_EQ(f.FilterFIRData(4.0f), 1.0f);
    EXPECT_EQ(f.FilterFIRData(8.0f), 4.0f);  // 0.25 * 8 + 0.5 * 4
}

TEST(CFilter, KaiserTapsHaveUnityPassBandGain) {
    const auto taps = LowPassTaps();
    CFilter f;
    f.SetFIRCoief(static_cast<int>(taps.size()), const_cast<double*>(taps.data()));
    float out = 0.0f;
    for (int i = 0; i < 200; ++i) {
        out = f.FilterFIRData(1000.0f);
    }
    EXPECT_NEAR(out, 1000.0f, 1.0f);  // 60 dB design: ripple about 0.1 %
}

TEST(CFilter, IirImpulseResponse) {
    CFilter f;
    double a[2] = {1.0, -0.5};
    double b[2] = {1.0, 0.0};
    f.SetIIRCoief(2, a, b);
    EXPECT_TRUE(f.IsIIRFilter());
    float data[5] = {1, 0, 0, 0, 0};
    ASSERT_TRUE(f.FilterData(data, 5, 1, 0));
    const float expected[5] = {1.0f, 0.5f, 0.25f, 0.125f, 0.0625f};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(data[i], expected[i]);
    }
    // The leading feedback coefficient is taken as 1 whatever it holds.
    double scaled[2] = {4.0, -0.5};
    f.SetIIRCoief(2, scaled, b);
    float again[5] = {1, 0, 0, 0, 0};
    ASSERT_TRUE(f.FilterData(again, 5, 1, 0));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(again[i], expected[i]);
    }
}

TEST(CFilter, IirMatchesDirectFormDifferenceEquation) {
    CFilter f;
    LoadBiquad(f);
    const auto x = Noise(300, 3);
    std::vector<double> y(x.size());
    for (size_t n = 0; n < x.size(); ++n) {
        double acc = 0.0;
        for (size_t k = 0; k < 3 && k <= n; ++k) {
            acc += kBiquadB[k] * x[n - k];
            if (k > 0) {
                acc -= kBiquadA[k] * y[n - k];
            }
        }
        y[n] = acc;
    }
    for (size_t n = 0; n < x.size(); ++n) {
        EXPECT_NEAR(f.FilterIIRData(x[n]), y[n], 1e-3) << n;
    }
}

TEST(CFilter, OneCoefficientIirIsAGain) {
    CFilter f;
    double a = 1.0;
    double b = 0.5;
    f.SetIIRCoief(1, &a, &b);
    ASSERT_TRUE(f.IsPrePare());
    float data[3] = {4.0f, -2.0f, 1.0f};
    ASSERT_TRUE(f.FilterData(data, 3, 1, 0));
    EXPECT_EQ(data[0], 2.0f);
    EXPECT_EQ(data[1], -1.0f);
    EXPECT_EQ(data[2], 0.5f);
}

TEST(CFilter, IntegerSamplesTruncateAndWrap) {
    CFilter f;
    double gain2 = 32768.0;
    f.SetFIRCoief(1, &gain2);
    short s[3] = {20000, -3, 16383};
    ASSERT_TRUE(f.FilterData(s, 3, 1, 0));
    EXPECT_EQ(s[0], -25536);  // 40000 keeps its low 16 bits
    EXPECT_EQ(s[1], -6);
    EXPECT_EQ(s[2], 32766);

    double tenth = 1638.4;  // gain 0.1
    f.SetFIRCoief(1, &tenth);
    short t[2] = {-17, 17};
    ASSERT_TRUE(f.FilterData(t, 2, 1, 0));
    EXPECT_EQ(t[0], -1);  // -1.7 truncates toward zero
    EXPECT_EQ(t[1], 1);

    f.SetFIRCoief(1, &gain2);
    int w[3] = {2000000000, -7, -2000000000};
    ASSERT_TRUE(f.FilterData(w, 3, 1, 0));
    EXPECT_EQ(w[0], INT32_MIN);  // out of range: integer-indefinite value
    EXPECT_EQ(w[1], -14);
    EXPECT_EQ(w[2], INT32_MIN);

    double nan = std::nan("");
    f.SetFIRCoief(1, &nan);
    int u[1] = {5};
    short v[1] = {5};
    ASSERT_TRUE(f.FilterData(u, 1, 1, 0));
    ASSERT_TRUE(f.FilterData(v, 1, 1, 0));
    EXPECT_EQ(u[0], INT32_MIN);
    EXPECT_EQ(v[0], 0);  // low bits of the indefinite value
}

TEST(CFilter, StrideAndOffsetSelectOneChannel) {
    const auto taps = LowPassTaps();
    CFilter f;
    f.SetFIRCoief(static_cast<int>(taps.size()), const_cast<double*>(taps.data()));
    const auto noise = Noise(64, 5);
    std::vector<float> stereo(noise);
    ASSERT_TRUE(f.FilterData(stereo.data(), 32, 2, 1));
    CFilter mono;
    mono.SetFIRCoief(static_cast<int>(taps.size()), const_cast<double*>(taps.data()));
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(stereo[2 * i], noise[2 * i]);
        EXPECT_EQ(stereo[2 * i + 1], mono.FilterFIRData(noise[2 * i + 1]));
    }
}

TEST(CFilter, BadBlockArgumentsTouchNothing) {
    CFilter f;
    double one = 16384.0;
    f.SetFIRCoief(1, &one);
    float* none = nullptr;
    EXPECT_FALSE(f.FilterData(none, 4, 1, 0));
    // An empty block is done whatever the buffer: nothing to read or write.
    EXPECT_TRUE(f.FilterData(none, 0, 1, 0));
    EXPECT_TRUE(f.FilterData(static_cast<short*>(nullptr), -1, 1, 0));
    EXPECT_TRUE(f.FilterData(static_cast<int*>(nullptr), 0, 1, -5));
    float data[4] = {1, 2, 3, 4};
    EXPECT_TRUE(f.FilterData(data, 0, 1, 0));
    EXPECT_TRUE(f.FilterData(data, -3, 1, 0));
    EXPECT_FALSE(f.FilterData(data, 2, 1, -1));
    EXPECT_FALSE(f.FilterData(data, 3, -2, 2));  // would reach index -2
    // Walking backwards inside the buffer is fine.
    double two = 32768.0;
    f.SetFIRCoief(1, &two);
    EXPECT_TRUE(f.FilterData(data, 2, -2, 2));
    EXPECT_EQ(data[0], 2.0f);
    EXPECT_EQ(data[1], 2.0f);
    EXPECT_EQ(data[2], 6.0f);
    EXPECT_EQ(data[3], 4.0f);
}

TEST(CFilter, ResetForgetsHistory) {
    for (bool iir : {false, true}) {
        CFilter f;
        CFilter fresh;
        const auto taps = LowPassTaps();
        if (iir) {
            LoadBiquad(f);
            LoadBiquad(fresh);
        } else {
            f.SetFIRCoief(static_cast<int>(taps.size()), const_cast<double*>(taps.data()));
            fresh.SetFIRCoief(static_cast<int>(taps.size()), const_cast<double*>(taps.data()));
        }
        auto noise = Noise(100, 9);
        ASSERT_TRUE(f.FilterData(noise.data(), 100, 1, 0));
        f.Reset();
        const auto next = Noise(20, 11);
        for (float x : next) {
            const float expected = iir ? fresh.FilterIIRData(x) : fresh.FilterFIRData(x);
            EXPECT_EQ(iir ? f.FilterIIRData(x) : f.FilterFIRData(x), expected);
        }
    }
}

TEST(CFilter, StreamSplitAnywhereEqualsOneBlock) {
    std::mt19937 gen(17);
    const auto taps = LowPassTaps();
    for (bool iir : {false, true}) {
        CFilter whole;
        CFilter pieces;
        if (iir) {
            LoadBiquad(whole);
            LoadBiquad(pieces);
        } else {
            whole.SetFIRCoief(static_cast<int>(taps.size()), const_cast<double*>(taps.data()));
            pieces.SetFIRCoief(static_cast<int>(taps.size()), const_cast<double*>(taps.data()));
        }
        auto one = Noise(1000, 23);
        auto split = one;
        ASSERT_TRUE(whole.FilterData(one.data(), 1000, 1, 0));
        int at = 0;
        while (at < 1000) {
            const int len = std::min(1000 - at, static_cast<int>(gen() % 97));
            ASSERT_TRUE(pieces.FilterData(split.data(), len, 1, at));
            at += len;
        }
        EXPECT_EQ(split, one) << (iir ? "IIR" : "FIR");
    }
}

TEST(CFilter, CopiesShareStreamState) {
    const auto taps = LowPassTaps();
    auto input = Noise(40, 31);
    CFilter reference;
    reference.SetFIRCoief(static_cast<int>(taps.size()), const_cast<double*>(taps.data()));
    std::vector<float> expected(40);
    for (int i = 0; i < 40; ++i) {
        expected[i] = reference.FilterFIRData(input[i]);
    }

    CFilter original;
    original.SetFIRCoief(static_cast<int>(taps.size()), const_cast<double*>(taps.data()));
    for (int i = 0; i < 20; ++i) {
        original.FilterFIRData(input[i]);
    }
    {
        CFilter copy(original);
        CFilter assigned;
        assigned = original;
        EXPECT_EQ(copy.m_pState, original.m_pState);
        // The copies advance the one shared history.
        EXPECT_EQ(copy.FilterFIRData(input[20]), expected[20]);
        EXPECT_EQ(assigned.FilterFIRData(input[21]), expected[21]);
        // Reloading a copy leaves the others' arrays alive.
        double one = 16384.0;
        copy.SetFIRCoief(1, &one);
    }
    for (int i = 22; i < 40; ++i) {
        EXPECT_EQ(original.FilterFIRData(input[i]), expected[i]) << i;
    }
    // Reloading from the engine's own arrays is safe.
    original.SetFIRCoief(original.m_nCoefCount, original.m_pCoefA);
    EXPECT_TRUE(original.IsPrePare());
    EXPECT_EQ(original.m_pCoefA[original.m_nCoefCount / 2], taps[taps.size() / 2]);
}
