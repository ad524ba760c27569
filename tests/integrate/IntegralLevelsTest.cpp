// Every integration kernel level against the plain per-channel trapezoid loop:
// 1 to 67 channels of int16, float and int32 frames with extreme values, NaN,
// infinities and subnormals; adjacent channels, shuffled subsets with a channel
// listed twice, gaps between samples and samples overlapping their neighbours;
// calls split at random points, each on a buffer of exactly its frames. Every
// output byte and every running value must match the plain loop's.
#include <gtest/gtest.h>

#include <RZFilterFunc/integrate/CIntegralDiff.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "IsaLevels.h"

namespace {

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
// of the truncation to 64 bits, and store zero bits for NaN and anything
// outside the 64-bit range.
void WriteRef(double v, char* p, int type) {
    const double f = std::fabs(v) >= std::ldexp(1.0, 128) - std::ldexp(1.0, 103)
                         ? std::copysign(INFINITY, v)
                         : v;
    const float single = static_cast<float>(f);
    const bool inRange = v >= -std::ldexp(1.0, 63) && v < std::ldexp(1.0, 63);
    const std::uint64_t bits = inRange ? std::uint64_t(std::int64_t(v)) : 0;
    std::memcpy(p, type == 1 ? static_cast<const void*>(&single) : &bits, kWidth[type]);
}

// The plain loop: channel after channel in list order, a channel listed twice
// integrated twice with its one record {divisor, sum, previous}.
struct PlainIntegrator {
    int first, stride, type, sampleBytes;
    std::vector<int> channels;
    std::map<int, std::vector<double>> state;
    bool fresh = true;

    void Run(char* data, int frames) {
        for (int c : channels) {
            std::vector<double>& s = state[c];
            const int k = c - first;
            if (k < 0 || k >= stride || k * sampleBytes + kWidth[type] > stride * sampleBytes)
                continue;
            for (int i = 0; i < frames; ++i) {
                char* p = data + (std::ptrdiff_t(i) * stride + k) * sampleBytes;
                const double x = ReadRef(p, type);
                s[1] = fresh && i == 0 ? 0.0 : s[1] + (x + s[2]) / s[0];
                s[2] = x;
                WriteRef(s[1], p, type);
            }
        }
        fresh = false;
    }
};

// A value every `step` bytes, a quarter of them edge values: the type's
// extremes, -1, and for float subnormals, the largest values and, rarely,
// infinities and the processor's default NaN (-NAN, the one inf - inf gives,
// so that NaN results have one bit pattern whichever NaN an addition keeps).
std::vector<char> RandomFrames(int type, std::size_t bytes, int step, std::mt19937& rng) {
    std::vector<char> raw(bytes);
    std::uniform_int_distribution<int> pick(0, 15);
    std::uniform_int_distribution<std::int32_t> any(type == 0 ? -32768 : INT32_MIN,
                                                    type == 0 ? 32767 : INT32_MAX);
    std::uniform_real_distribution<float> real(-1.0e5f, 1.0e5f);
    const std::int32_t edges[2][3] = {{32767, -32768, -1}, {INT32_MAX, INT32_MIN, -1}};
    const float floatEdges[6] = {1e-45f, -1e-40f, 3.0e38f, -NAN, INFINITY, -INFINITY};
    for (std::size_t i = 0; i + kWidth[type] <= bytes; i += step) {
        const int k = pick(rng);
        const std::int32_t v = k < 3 ? edges[type / 2][k] : any(rng);
        const float f =
            k < 3 ? floatEdges[k]
                  : (k == 3 && pick(rng) == 0 ? floatEdges[3 + pick(rng) % 3] : real(rng));
        std::uint32_t bits = static_cast<std::uint32_t>(v);  // int16: its low bytes
        if (type == 1)
            std::memcpy(&bits, &f, 4);
        std::memcpy(&raw[i], &bits, kWidth[type]);  // little-endian
    }
    return raw;
}

}  // namespace

TEST(IntegralLevels, EveryLevelMatchesThePlainLoopBitForBit) {
    const double freqs[] = {1.0, 0.5, 48000.0, 1e-6, 1e-300, 0.0};
    std::mt19937 rng(424242);
    for (int chn = 1; chn <= 67; ++chn) {
        for (int type = 0; type < 3; ++type) {
            // 0: every channel, adjacent; 1: shuffled subset, one listed twice;
            // 2: gaps between the samples; 3: int32 overlapping in 2-byte slots
            // (floats would mix into NaNs of any pattern: gaps).
            const int layout = (chn + type) % 4, width = kWidth[type];
            const bool gaps = layout == 2 || (layout == 3 && type == 1);
            const int sampleBytes = gaps ? width + 2 : (layout == 3 && type == 2 ? 2 : width);
            const int first = int(rng() % 5), stride = chn + int(rng() % 3);
            std::vector<int> channels(chn);
            for (int c = 0; c < chn; ++c)
                channels[c] = first + c;
            if (layout == 1) {
                std::shuffle(channels.begin(), channels.end(), rng);
                channels.resize((chn + 1) / 2);
                channels.push_back(channels.front());
                channels.push_back(first + stride + 1);  // outside the frame: skipped
            }
            const double fs = freqs[(chn + type) % 6];
            const int frames = 150 + int(rng() % 100), frameBytes = stride * sampleBytes;
            // The last sample's tail lies past the last frame.
            const std::vector<char> input =
                RandomFrames(type, std::size_t(frames) * frameBytes + width,
                             sampleBytes >= width ? sampleBytes : 2, rng);
            std::vector<int> cuts;
            for (int f = 0; f < frames; f += cuts.back())
                cuts.push_back(std::min(frames - f, 1 + int(rng() % 60)));

            PlainIntegrator plain{first, stride, type, sampleBytes, channels, {}};
            for (int c : channels)
                plain.state[c] = {fs * 2.0, 0.0, 0.0};
            std::vector<char> want = input;
            for (std::size_t f = 0, k = 0; k < cuts.size(); f += cuts[k++])
                plain.Run(want.data() + f * frameBytes, cuts[k]);

            for (rzf::platform::IsaLevel level : rzf::test::AvailableIsaLevels()) {
                rzf::test::ScopedIsaLevel scope(level);
                CIntegralDiff d;
                d.InitDiff(first, stride, channels, fs, type, sampleBytes);
                std::vector<char> got = input;
                for (std::size_t f = 0, k = 0; k < cuts.size(); f += cuts[k++]) {
                    const std::size_t n = std::size_t(cuts[k]) * frameBytes;
                    std::unique_ptr<char[]> buf(new char[n]);
                    std::memcpy(buf.get(), got.data() + f * frameBytes, n);
                    d.ContinueIntegral(cuts[k], buf.get());
                    std::memcpy(got.data() + f * frameBytes, buf.get(), n);
                }
                EXPECT_TRUE(got == want) << rzf::platform::IsaName(level) << " channels " << chn
                                         << " type " << type << " layout " << layout;
                for (const auto& [c, record] : d.m_mapState) {
                    const std::vector<double>& s = plain.state[c];
                    EXPECT_EQ(std::memcmp(&record->m_dSum, &s[1], 8), 0) << c;
                    EXPECT_EQ(std::memcmp(&record->m_dPrev, &s[2], 8), 0) << c;
                }
            }
        }
    }
}
