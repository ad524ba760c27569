#include <gtest/gtest.h>

#include <RZFilterFunc/integrate/CIntegralDiff.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <tuple>

#include "IsaLevels.h"

namespace {

template <typename T>
std::vector<T> Integrate(CIntegralDiff& d, std::vector<T> v, int frames) {
    d.ContinueIntegral(frames, reinterpret_cast<char*>(v.data()));
    return v;
}

// Hand-worked 32-bit integrals, call by call (frames = samples / stride): 10s
// at 2.5 Hz (divisor 5); a channel listed twice, each pass fresh on the one
// record (2,2,2 -> 0,4,8 -> 0,4,16, then 2 -> 26 -> 54); channel 3 of 1..3 over
// two frames; truncation toward zero, low 32 bits, 0 for inf and NaN (0 Hz);
// 16-bit samples in 4-byte slots wrapping modulo 2^16, upper bytes untouched.
TEST(IntegralDiff, HandWorkedIntegrals) {
    using Calls = std::vector<std::vector<std::int32_t>>;
    const std::int32_t q = 1 << 30, s = 30000;
    const std::tuple<int, int, int, std::vector<int>, double, Calls, Calls> cases[] = {
        {2, 0, 1, {0}, 2.5, {{10, 10, 10}}, {{0, 4, 8}}},
        {2, 0, 1, {0, 0}, 0.5, {{2, 2, 2}, {2}}, {{0, 4, 16}, {54}}},
        {2, 1, 3, {3}, 0.5, {{0, 1, 2, 3, 4, 5, 6, 7}}, {{0, 1, 0, 3, 4, 7, 6, 7}}},
        {2, 0, 1, {0}, 1, {{-8, -7}}, {{0, -7}}},
        {2, 0, 1, {0}, 1, {{q, q, q, q}}, {{0, q, INT32_MIN, -q}}},
        {2, 0, 1, {0}, 0, {{1, 1, -1, 5}}, {{0, 0, 0, 0}}},
        {0, 0, 1, {0}, 1, {{s, s, s, s, s}}, {{0, s, 60000, 90000 % 65536, 120000 % 65536}}}};
    for (const auto& [type, first, stride, chns, fs, in, want] : cases) {
        CIntegralDiff d;
        d.InitDiff(first, stride, chns, fs, type, 4);
        for (std::size_t k = 0; k < in.size(); ++k)
            EXPECT_EQ(Integrate(d, in[k], int(in[k].size()) / stride), want[k]) << fs << ' ' << k;
    }
}

// A copy made mid-stream goes on after the original lets go: as in one call.
TEST(IntegralDiff, CopyMadeMidStreamContinuesTheStream) {
    std::vector<float> x(3000);
    std::iota(x.begin(), x.end(), -1500.0f);
    CIntegralDiff whole, a, rest;
    for (CIntegralDiff* d : {&whole, &a})
        d->InitDiff(0, 3, {0, 1, 2}, 1000.0, 1, 4);
    const std::vector<float> y = Integrate(whole, x, 1000);
    a.ContinueIntegral(437, reinterpret_cast<char*>(x.data()));
    rest = CIntegralDiff(a);
    a.InitDiff(0, 3, {0, 1, 2}, 1000.0, 1, 4);
    rest.ContinueIntegral(563, reinterpret_cast<char*>(&x[3 * 437]));
    EXPECT_EQ(x, y);
}

// {name, first, stride, channels, type, sample bytes, frames, buffer changed}:
// InitDiff after channel 1 was integrated (no record of it may stay), then
// channel 1 listed without a record; calls without a buffer keep the fresh start.
using IntegralCase = std::tuple<const char*, int, int, std::vector<int>, int, int, int, bool>;
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
    const auto& [name, first, stride, channels, type, bytes, frames, changes] = GetParam();
    CIntegralDiff f;
    f.InitDiff(0, 2, {1}, 1000.0, 2, 4);
    Integrate(f, std::vector<std::int32_t>{5, 6, 7, 8}, 2);
    f.InitDiff(first, stride, channels, 1000.0, type, bytes);
    f.m_vecChannels.push_back(1);
    for (const int n : {1, INT_MAX})
        f.ContinueIntegral(n, nullptr);
    EXPECT_TRUE(f.m_bFirst);
    const std::vector<char> before(24, 5);
    EXPECT_EQ(Integrate(f, before, frames) != before, changes) << name;
    EXPECT_EQ(f.m_bFirst, frames < 1);
}

INSTANTIATE_TEST_SUITE_P(BadInput, IntegralBadInput, ::testing::ValuesIn(kBadCases),
                         [](const auto& row) { return std::string(std::get<0>(row.param)); });

constexpr int kWidth[3] = {2, 4, 4};

template <typename T>
double Load(const char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return static_cast<double>(v);
}

double ReadRef(const char* p, int type) {
    return type == 0 ? Load<std::int16_t>(p) : type == 1 ? Load<float>(p) : Load<std::int32_t>(p);
}

// Float rounds (to infinity from 2^128 - 2^103 on); integers keep the low bits
// of the truncation to 64 bits (zero for NaN and beyond).
void WriteRef(double v, char* p, int type) {
    const bool over = std::fabs(v) >= std::ldexp(1.0, 128) - std::ldexp(1.0, 103);
    const float single = static_cast<float>(over ? std::copysign(INFINITY, v) : v);
    const bool inRange = v >= -std::ldexp(1.0, 63) && v < std::ldexp(1.0, 63);
    const std::uint64_t bits = inRange ? std::uint64_t(std::int64_t(v)) : 0;
    std::memcpy(p, type == 1 ? static_cast<const void*>(&single) : &bits, kWidth[type]);
}

// A value every `step` bytes, a quarter the type's extremes and -1 (or float
// subnormals and huge values), rarely infinities and the default NaN
// (-NAN, as inf - inf gives: NaN results have one bit pattern).
std::vector<char> RandomFrames(int type, std::size_t bytes, int step, std::mt19937& rng) {
    const std::int32_t edges[3] = {type == 0 ? -32768 : INT32_MIN, type == 0 ? 32767 : INT32_MAX,
                                   -1};
    const float floatEdges[6] = {1e-45f, -1e-40f, 3.0e38f, -NAN, INFINITY, -INFINITY};
    std::uniform_int_distribution<int> pick(0, 15);
    std::uniform_int_distribution<std::int32_t> any(edges[0], edges[1]);
    std::uniform_real_distribution<float> real(-1.0e5f, 1.0e5f);
    std::vector<char> raw(bytes);
    for (std::size_t i = 0; i + kWidth[type] <= bytes; i += step) {
        const int k = pick(rng);
        std::uint32_t bits = static_cast<std::uint32_t>(k < 3 ? edges[k] : any(rng));
        const float f =
            k < 3 ? floatEdges[k]
                  : (k == 3 && pick(rng) == 0 ? floatEdges[3 + pick(rng) % 3] : real(rng));
        if (type == 1)
            std::memcpy(&bits, &f, 4);
        std::memcpy(&raw[i], &bits, kWidth[type]);  // little-endian; int16: the low bytes
    }
    return raw;
}

}  // namespace

// Every kernel level against the plain trapezoid loop on 1 to 67 channels of
// every type and layout, calls split at random points, each on a buffer of
// exactly its frames: every output byte bit for bit.
TEST(IntegralLevels, EveryLevelMatchesThePlainLoopBitForBit) {
    const double freqs[] = {1.0, 0.5, 48000.0, 1e-6, 1e-300, 0.0};
    std::mt19937 rng(424242);
    for (int chn = 1; chn <= 67; ++chn)
        for (int type = 0; type < 3; ++type) {
            // 0: all channels, adjacent; 1: shuffled subset, one listed twice; 2: gaps;
            // 3: int32 overlapping in 2-byte slots (floats would mix NaNs: gaps).
            const int layout = (chn + type) % 4, width = kWidth[type];
            const bool gaps = layout == 2 || (layout == 3 && type == 1);
            const int sampleBytes = gaps ? width + 2 : (layout == 3 && type == 2 ? 2 : width);
            const int first = int(rng() % 5), stride = chn + int(rng() % 3);
            const int frameBytes = stride * sampleBytes, frames = 150 + int(rng() % 100);
            std::vector<int> channels(chn);
            std::iota(channels.begin(), channels.end(), first);
            if (layout == 1) {
                std::shuffle(channels.begin(), channels.end(), rng);
                channels.resize((chn + 1) / 2);
                channels.push_back(channels.front());
                channels.push_back(first + stride + 1);  // outside the frame: skipped
            }
            const double fs = freqs[(chn + type) % 6];
            const std::vector<char> input =
                RandomFrames(type, std::size_t(frames) * frameBytes + width,
                             std::max(sampleBytes, 2), rng);  // + tail
            std::vector<int> cuts;
            for (int f = 0; f < frames; f += cuts.back())
                cuts.push_back(std::min(frames - f, 1 + int(rng() % 60)));

            // The plain loop, channel after channel in list order.
            std::map<int, std::pair<double, double>> plain;
            std::vector<char> want = input;
            for (std::size_t f = 0, k = 0; k < cuts.size(); f += cuts[k++])
                for (int c : channels) {
                    const int pos = c - first;
                    if (pos < 0 || pos >= stride || pos * sampleBytes + width > frameBytes)
                        continue;
                    auto& [sum, prev] = plain[c];
                    for (int i = 0; i < cuts[k]; ++i) {
                        char* p = &want[(f + i) * frameBytes + pos * sampleBytes];
                        const double x = ReadRef(p, type);
                        sum = f == 0 && i == 0 ? 0.0 : sum + (x + prev) / (fs * 2.0);
                        prev = x;
                        WriteRef(sum, p, type);
                    }
                }

            for (rzf::platform::IsaLevel level : rzf::test::AvailableIsaLevels()) {
                rzf::test::ScopedIsaLevel scope(level);
                CIntegralDiff d;
                d.InitDiff(first, stride, channels, fs, type, sampleBytes);
                std::vector<char> got = input;
                for (std::size_t f = 0, k = 0; k < cuts.size(); f += cuts[k++]) {
                    std::vector<char> buf(&got[f * frameBytes], &got[(f + cuts[k]) * frameBytes]);
                    d.ContinueIntegral(cuts[k], buf.data());  // exactly the call's frames
                    std::copy(buf.begin(), buf.end(), &got[f * frameBytes]);
                }
                EXPECT_TRUE(got == want) << rzf::platform::IsaName(level) << " channels " << chn
                                         << " type " << type << " layout " << layout;
            }
        }
}
