#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterUser.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <vector>

#include "FilterTestSupport.h"

namespace {

std::vector<float> Smooth(std::vector<float> in, float fs, float cutoff, float fill = 9.0f) {
    std::vector<float> out(in.size(), fill);
    FilterUser::PingJunFilter(in.data(), static_cast<int>(in.size()), fs, cutoff, out.data());
    return out;
}

int NonZero(const std::vector<float>& v) {
    return static_cast<int>(std::count_if(v.begin(), v.end(), [](float x) { return x != 0.0f; }));
}

}  // namespace

// Tap counts from 0.889892578125 / (2 cutoff / fs): 44.49 -> 44, 444.9 -> 444,
// 889.9 -> 500 (upper clamp), 1.48 -> 10 (lower clamp). The zero-phase impulse
// response of a T-tap average is the triangle (T - |k|) / T^2, 2T - 1 samples wide.
TEST(Smoother, TapCountFromCutoff) {
    const struct {
        float cutoff;
        int taps;
    } cases[] = {{10.0f, 44}, {1.0f, 444}, {0.5f, 500}, {300.0f, 10}};
    for (const auto& c : cases) {
        std::vector<float> x(4000, 0.0f);
        x[2000] = 1.0f;
        const auto y = Smooth(x, 1000.0f, c.cutoff);
        const int t = c.taps;
        EXPECT_EQ(NonZero(y), 2 * t - 1) << c.cutoff;
        for (int k = -t; k <= t; ++k) {
            const double expected = (t - std::min(t, std::abs(k))) / (double(t) * t);
            EXPECT_NEAR(y[2000 + k], expected, 1e-6) << c.cutoff << " at " << k;
        }
    }
}

TEST(Smoother, ThreeLengthRegimes) {
    const int t = 44;  // fs 1000, cutoff 10
    // Up to 3 taps: one causal pass, the impulse response is t samples of 1/t.
    for (int n : {3 * t, t + 1}) {
        std::vector<float> x(n, 0.0f);
        x[0] = 1.0f;
        const auto y = Smooth(x, 1000.0f, 10.0f);
        for (int i = 0; i < n; ++i) {
            EXPECT_EQ(y[i], i < t ? 1.0f / 44.0f : 0.0f) << n << " at " << i;
        }
    }
    // Longer: zero-phase, symmetric about the impulse.
    std::vector<float> x(3 * t + 1, 0.0f);
    x[66] = 1.0f;
    const auto y = Smooth(x, 1000.0f, 10.0f);
    EXPECT_EQ(NonZero(y), 2 * t - 1);
    EXPECT_NEAR(y[66], 1.0 / t, 1e-7);
    for (int k = 1; k < t; ++k) {
        EXPECT_NEAR(y[66 - k], y[66 + k], 1e-7);
    }
    // Too short to filter: zeros; nothing at all for no samples.
    EXPECT_EQ(Smooth(std::vector<float>(t, 1.0f), 1000.0f, 10.0f), std::vector<float>(t, 0.0f));
    float untouched = 9.0f;
    float in = 1.0f;
    FilterUser::PingJunFilter(&in, 0, 1000.0f, 10.0f, &untouched);
    EXPECT_EQ(untouched, 9.0f);
}

TEST(Smoother, OddReflectionKeepsConstantsAndRamps) {
    // Equal taps summing to exactly 1: a constant comes back exactly, edges included.
    std::vector<float> in(13, 3.0f);
    std::vector<float> out(13, 0.0f);
    float coef[4] = {0.25f, 0.25f, 0.25f, 0.25f};
    TestableFilterUser::InputToFilter(in.data(), 13, coef, 4, out.data());
    EXPECT_EQ(out, in);

    // The odd reflection continues a straight line, so a zero-phase average keeps it.
    std::vector<float> ramp(100);
    for (int i = 0; i < 100; ++i) {
        ramp[i] = 0.5f * i - 20.0f;
    }
    const auto smoothed = Smooth(ramp, 1000.0f, 300.0f);
    for (int i = 0; i < 100; ++i) {
        EXPECT_NEAR(smoothed[i], ramp[i], 1e-4) << i;
    }
    const auto flat = Smooth(std::vector<float>(500, -2.5f), 1000.0f, 10.0f);
    for (float v : flat) {
        EXPECT_NEAR(v, -2.5f, 1e-5);
    }
}

// A record so long that its padded copy would not fit an int count is left
// alone: nothing is read, written or allocated for it.
TEST(Smoother, RecordsBeyondTheIntRangeAreLeftAlone) {
    float in[64] = {};
    float out[64];
    std::fill(std::begin(out), std::end(out), 9.0f);
    float coef[10];
    std::fill(std::begin(coef), std::end(coef), 0.1f);
    const int huge = std::numeric_limits<int>::max() - 5;
    EXPECT_NO_THROW(TestableFilterUser::InputToFilter(in, huge, coef, 10, out));
    EXPECT_NO_THROW(FilterUser::PingJunFilter(in, huge, 1000.0f, 300.0f, out));
    for (float v : out) {
        EXPECT_EQ(v, 9.0f);
    }
}
