#include <gtest/gtest.h>

#include <RZFilterFunc/integrate/CIntegralDiff.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

// Integrates the first frames of v in place and returns it.
template <typename T>
std::vector<T> Integrate(CIntegralDiff& d, std::vector<T> v, std::size_t frames) {
    d.ContinueIntegral(static_cast<int>(frames), reinterpret_cast<char*>(v.data()));
    return v;
}

// Float streams call by call (frames = samples / stride, the rest untouched):
// 10s at 100 Hz; a second call continuing the first; an empty call keeping the
// fresh start; a channel listed twice with one record: 1,1,1 -> 0,1,2 ->
// 0,0.5,2 (sum 2, previous 2), then 1 -> 2 + (1 + 2) / 2 = 3.5 -> 3.5 +
// (3.5 + 1) / 2 = 5.75; channel 3 of channels 1..3, 2 frames and a partial
// one; overflow to infinity.
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
        for (std::size_t k = 0; k < in.size(); ++k)
            EXPECT_EQ(Integrate(d, in[k], in[k].size() / stride), want[k]) << fs << ' ' << k;
    }
}

// In 4-byte slots, so a 16-bit sample (type 0) must leave the upper 2 bytes at
// 0: 30000 at 1 Hz sums to 0, 30000, 60000, 90000, 120000, stored modulo 2^16.
// 32-bit sums truncate toward zero (0.1, 0.2 and -7.5), keep their low 32 bits
// (2^31, 3 * 2^30, 2^32 - 2, 2^33 - 4) and store 0 at infinity and NaN (0 Hz).
TEST(IntegralDiff, IntegersTruncateAndWrapInsteadOfSaturating) {
    const std::int32_t q = 1 << 30, m = INT32_MAX, s = 30000;
    const std::tuple<int, double, std::vector<std::int32_t>, std::vector<std::int32_t>> cases[] = {
        {0, 1, {s, s, s, s, s}, {0, s, 60000, 90000 % 65536, 120000 % 65536}},
        {2, 100, {10, 10, 10}, {0, 0, 0}},
        {2, 1, {-8, -7}, {0, -7}},
        {2, 1, {q, q, q, q}, {0, q, INT32_MIN, -q}},
        {2, 0.5, {m, m, m}, {0, -2, -4}},
        {2, 0, {1, 1, -1, 5}, {0, 0, 0, 0}}};
    for (const auto& [type, fs, in, want] : cases) {
        CIntegralDiff d;
        d.InitDiff(0, 1, {0}, fs, type, 4);
        EXPECT_EQ(Integrate(d, in, in.size()), want) << fs;
    }
}

// 3, t and sin(w t) at 1 kHz integrate to 3 t, t^2 / 2 and (1 - cos(w t)) / w:
// exactly for the first two, within t h^2 max|x''| / 12 = t h^2 w^2 / 12 for
// the sine, plus float rounding.
TEST(IntegralDiff, KnownSignalsIntegrateWithinTheTrapezoidError) {
    const double h = 1e-3, w = 2.0 * std::acos(-1.0) * 7.0;
    const int n = 2000;
    std::vector<float> x(3 * n, 3.0f);
    for (int i = 0; i < n; ++i) {
        x[3 * i + 1] = static_cast<float>(i * h);
        x[3 * i + 2] = static_cast<float>(std::sin(w * i * h));
    }
    CIntegralDiff d;
    d.InitDiff(4, 3, {4, 5, 6}, 1.0 / h, 1, 4);
    const std::vector<float> y = Integrate(d, x, n);
    for (int i = 0; i < n; ++i) {
        const double t = i * h;
        EXPECT_NEAR(y[3 * i], 3.0 * t, 1e-6) << i;
        EXPECT_NEAR(y[3 * i + 1], t * t / 2.0, 1e-6) << i;
        EXPECT_NEAR(y[3 * i + 2], (1.0 - std::cos(w * t)) / w, t * h * h * w * w / 12 + 1e-6) << i;
    }
}

// Random blocks, each through a fresh copy of the last (copies share the running
// integrals), match one call bit for bit, also after the original re-initialises.
TEST(IntegralDiff, CopiesMadeMidStreamContinueTheStream) {
    std::mt19937 rng(7);
    std::vector<float> x(3000);
    std::uniform_real_distribution<float> val(-100.0f, 100.0f);
    for (float& v : x)
        v = val(rng);
    CIntegralDiff whole, pieces;
    for (CIntegralDiff* d : {&whole, &pieces})
        d->InitDiff(0, 3, {0, 1, 2}, 1000.0, 1, 4);
    const std::vector<float> y = Integrate(whole, x, 1000);
    for (int at = 0, k; at < 1000; at += k) {
        k = std::min(1000 - at, static_cast<int>(rng() % 40) + 1);
        CIntegralDiff copy(pieces), next;
        next = copy;
        next.ContinueIntegral(k, reinterpret_cast<char*>(&x[3 * at]));
        if (at > 500)  // the original lets go of its records; the copies keep them
            pieces.InitDiff(0, 3, {0, 1, 2}, 1000.0, 1, 4);
        pieces = next;
    }
    EXPECT_EQ(x, y);
}

// Each row: InitDiff on an object that has integrated channel 1, channel 1 then
// listed without a record, one call on a 24-byte buffer. Only the valid layout
// touches it; a call with frames leaves the fresh start behind.
struct IntegralCase {
    const char* name;
    int first, stride;
    std::vector<int> channels;
    int type, bytes, frames;
    bool changes;
};

const IntegralCase kBadCases[] = {
    {"valid_layout", 0, 2, {0}, 2, 4, 3, true},
    {"frames_zero", 0, 2, {0}, 2, 4, 0, false},
    {"frames_negative", 0, 2, {0}, 2, 4, -1, false},
    {"no_channel_record", 0, 2, {}, 2, 4, 3, false},
    {"channel_before_first", 1, 2, {0}, 2, 4, 3, false},
    {"channel_past_frame", 0, 2, {2, INT_MAX}, 2, 4, 3, false},
    {"sample_past_frame_end", 0, 2, {1}, 2, 2, 3, false},
    {"stride_zero", 0, 0, {0}, 2, 4, 3, false},
    {"sample_bytes_negative", 0, 2, {0}, 2, -4, 3, false},
    {"unknown_type", 0, 2, {0}, 3, 4, 3, false},
    {"frames_beyond_address_range", 0, INT_MAX, {0}, 2, INT_MAX, 3, false},
};

class IntegralBadInput : public ::testing::TestWithParam<IntegralCase> {};

TEST_P(IntegralBadInput, TouchesOnlyItsFrames) {
    const IntegralCase& c = GetParam();
    CIntegralDiff f;
    std::vector<std::int32_t> earlier = {5, 6, 7, 8};
    f.InitDiff(0, 2, {1}, 1000.0, 2, 4);
    f.ContinueIntegral(2, reinterpret_cast<char*>(earlier.data()));
    f.InitDiff(c.first, c.stride, c.channels, 1000.0, c.type, c.bytes);
    f.m_vecChannels.push_back(1);
    for (const int n : {1, INT_MAX})  // no buffer
        f.ContinueIntegral(n, nullptr);
    EXPECT_TRUE(f.m_bFirst);
    std::unique_ptr<char[]> buf(new char[24]);
    for (int i = 0; i < 24; ++i)
        buf[i] = static_cast<char>(3 + i % 4);
    const std::vector<char> before(buf.get(), buf.get() + 24);
    f.ContinueIntegral(c.frames, buf.get());
    EXPECT_EQ(std::vector<char>(buf.get(), buf.get() + 24) != before, c.changes);
    EXPECT_EQ(f.m_bFirst, c.frames < 1);
}

INSTANTIATE_TEST_SUITE_P(BadInput, IntegralBadInput, ::testing::ValuesIn(kBadCases),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
