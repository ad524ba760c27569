#include <gtest/gtest.h>

#include <RZFilterFunc/integrate/CIntegralDiff.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <tuple>
#include <vector>

// Reference pi (not every C runtime defines M_PI).
constexpr double kPi = 3.14159265358979323846;

// Integrates the first frames of v in place and returns it.
template <typename T>
std::vector<T> Integrate(CIntegralDiff& d, std::vector<T> v, size_t frames) {
    d.ContinueIntegral(static_cast<int>(frames), reinterpret_cast<char*>(v.data()));
    return v;
}

// Float streams fed call by call (frames = samples / stride, the rest stays): the worked
// examples; a second call continuing the first; an empty call keeping the fresh start; a
// channel listed twice with one record: 1,1,1 -> 0,1,2 -> 0,0.5,2 (sum 2, previous 2),
// then 1 -> 2 + (1 + 2) / 2 = 3.5 -> 3.5 + (3.5 + 1) / 2 = 5.75; channels 1..3 where
// channel 3 is the third sample of 2 frames and a partial one; overflow to infinity.
TEST(IntegralDiff, WorkedExamplesLayoutsAndCallSequences) {
    using Calls = std::vector<std::vector<float>>;
    const std::tuple<int, int, std::vector<int>, double, Calls, Calls> cases[] = {
        {0, 1, {0}, 100.0, {{10, 10, 10}}, {{0, 0.1f, 0.2f}}},
        {0, 1, {0}, 1.0, {{2, 2, 2}, {2, 2, 2}}, {{0, 2, 4}, {6, 8, 10}}},
        {0, 1, {0}, 1.0, {{}, {4, 4}}, {{}, {0, 4}}},
        {0, 1, {0, 0}, 1.0, {{1, 1, 1}, {1}}, {{0, 0.5f, 2}, {5.75f}}},
        {1, 3, {3}, 0.5, {{0, 1, 2, 3, 4, 5, 6, 7}}, {{0, 1, 0, 3, 4, 7, 6, 7}}},
        {0, 1, {0}, 0.5, {{3e38f, 3e38f}}, {{0, HUGE_VALF}}}};
    for (const auto& [first, stride, chns, fs, in, want] : cases) {
        CIntegralDiff d;
        d.InitDiff(first, stride, chns, fs, 1, 4);
        for (size_t k = 0; k < in.size(); ++k)
            EXPECT_EQ(Integrate(d, in[k], in[k].size() / stride), want[k]) << fs << ' ' << k;
    }
}

TEST(IntegralDiff, IntegersTruncateAndWrapInsteadOfSaturating) {
    // In 4-byte slots, so a 16-bit sample (type 0) must leave the upper 2 bytes at 0:
    // 30000 at 1 Hz sums to 0, 30000, 60000, 90000, 120000, stored modulo 2^16. 32-bit
    // sums truncate toward zero (0.1, 0.2 and -7.5), keep their low 32 bits (2^31,
    // 3 * 2^30, 2^32 - 2, 2^33 - 4) and store 0 beyond 64 bits, at infinity and NaN.
    const std::int32_t q = 1 << 30, m = INT32_MAX, s = 30000;
    const std::tuple<int, double, std::vector<std::int32_t>, std::vector<std::int32_t>> cases[] = {
        {0, 1, {s, s, s, s, s}, {0, s, 60000, 90000 % 65536, 120000 % 65536}},
        {2, 100, {10, 10, 10}, {0, 0, 0}},
        {2, 1, {-8, -7}, {0, -7}},
        {2, 1, {q, q, q, q}, {0, q, INT32_MIN, -q}},
        {2, 0.5, {m, m, m}, {0, -2, -4}},
        {2, 1e-300, {0, 1}, {0, 0}},
        {2, 0, {1, 1, -1, 5}, {0, 0, 0, 0}}};
    for (const auto& [type, fs, in, want] : cases) {
        CIntegralDiff d;
        d.InitDiff(0, 1, {0}, fs, type, 4);
        EXPECT_EQ(Integrate(d, in, in.size()), want) << fs;
    }
}

TEST(IntegralDiff, KnownSignalsInAnyBlocksThroughCopies) {
    // 3, t and sin(w t) at 1 kHz integrate to 3 t, t^2 / 2 and (1 - cos(w t)) / w: exactly
    // for the first two, within t h^2 max|x''| / 12 = t h^2 w^2 / 12 for the sine, plus
    // float rounding. Random blocks, each through a copy, match one call bit for bit.
    const double h = 1e-3, w = 2.0 * kPi * 7.0;
    const int n = 2000;
    std::vector<float> x(3 * n, 3.0f);
    for (int i = 0; i < n; ++i) {
        x[3 * i + 1] = static_cast<float>(i * h);
        x[3 * i + 2] = static_cast<float>(std::sin(w * i * h));
    }
    CIntegralDiff whole, pieces;
    for (CIntegralDiff* d : {&whole, &pieces})
        d->InitDiff(4, 3, {4, 5, 6}, 1.0 / h, 1, 4);
    const std::vector<float> y = Integrate(whole, x, n);
    std::mt19937 rng(7);
    for (int at = 0, k; at < n; at += k) {
        k = std::min(n - at, static_cast<int>(rng() % 40) + 1);
        CIntegralDiff copy(pieces), next;
        next = copy;
        next.ContinueIntegral(k, reinterpret_cast<char*>(&x[3 * at]));
        if (at > n / 2)  // the original lets go of its records; the copies keep them
            pieces.InitDiff(4, 3, {4, 5, 6}, 1.0 / h, 1, 4);
        pieces = next;
    }
    EXPECT_EQ(x, y);
    for (int i = 0; i < n; ++i) {
        const double t = i * h;
        EXPECT_NEAR(y[3 * i], 3.0 * t, 1e-6) << i;
        EXPECT_NEAR(y[3 * i + 1], t * t / 2.0, 1e-6) << i;
        EXPECT_NEAR(y[3 * i + 2], (1.0 - std::cos(w * t)) / w, t * h * h * w * w / 12 + 1e-6) << i;
    }
}

// Rows: no frame, negative frame, no or negative sample size, channel before or after
// the frame, a 4-byte sample in the frame's last 2-byte slot, unknown type; then no
// frames, negative frames and a null buffer (count 99).
TEST(IntegralDiff, BadLayoutsAndCountsWriteNothing) {
    const int cases[][6] = {{0, 0, 0, 0, 2, 4},  {0, -2, 0, 0, 2, 4}, {0, 2, 0, 0, 0, 4},
                            {0, 2, 0, 0, -2, 4}, {2, 2, 1, 0, 2, 4},  {0, 2, 2, 0, 2, 4},
                            {0, 2, 1, 2, 2, 4},  {0, 2, 0, 7, 2, 4},  {0, 2, 0, 0, 2, 0},
                            {0, 2, 0, 0, 2, -3}, {0, 2, 0, 0, 2, 99}};
    for (const auto& [first, stride, chn, type, bytes, count] : cases) {
        std::vector<char> buf(64, 0x5A);
        CIntegralDiff d;
        d.InitDiff(first, stride, {chn}, 10.0, type, bytes);
        d.m_vecChannels.push_back(1);  // mostly a channel without a record
        d.ContinueIntegral(count, count == 99 ? nullptr : buf.data());
        EXPECT_EQ(buf, std::vector<char>(64, 0x5A)) << first << stride << chn << type << bytes;
        EXPECT_EQ(d.m_bFirst, count < 1 || count == 99);  // no data: still a fresh start
    }
}
