// Every integration kernel level against the plain per-channel trapezoid loop:
// 1 to 67 channels of int16, float and int32 frames with extreme values, NaN,
// infinities and subnormals; adjacent channels, shuffled subsets with a
// channel listed twice, gaps between samples and samples overlapping their
// neighbours; frames split into calls at random points. Every output byte and
// every running value must match the plain loop's.
#include <gtest/gtest.h>

#include <RZFilterFunc/integrate/CIntegralDiff.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "IsaLevels.h"

namespace {

constexpr int kWidth[3] = {2, 4, 4};
// Inputs carry only the processor's default NaN, the NaN inf - inf gives, so
// NaN results have one bit pattern whichever NaN operand an addition keeps.
constexpr std::uint32_t kDefaultNaN = 0xFFC00000u;

double ReadRef(const char* p, int type) {
    if (type == 0) {
        std::int16_t v;
        std::memcpy(&v, p, 2);
        return v;
    }
    if (type == 1) {
        float v;
        std::memcpy(&v, p, 4);
        return v;
    }
    std::int32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

// Truncation toward zero to 64 bits, low bits kept; NaN and anything outside
// the 64-bit range store zero bits (the most negative 64-bit value's low bits).
void WriteRef(double v, char* p, int type) {
    if (type == 1) {
        const double overflow = std::ldexp(1.0, 128) - std::ldexp(1.0, 103);
        const float f = v >= overflow    ? INFINITY
                        : v <= -overflow ? -INFINITY
                                         : static_cast<float>(v);
        std::memcpy(p, &f, 4);
        return;
    }
    const bool inRange = v >= -std::ldexp(1.0, 63) && v < std::ldexp(1.0, 63);
    const std::uint64_t bits =
        inRange ? static_cast<std::uint64_t>(static_cast<std::int64_t>(v)) : (1ull << 63);
    for (int b = 0; b < kWidth[type]; ++b)
        p[b] = static_cast<char>((bits >> (8 * b)) & 0xFFu);
}

// The plain loop: channel after channel in list order, a channel listed twice
// integrated twice with its one record.
struct PlainIntegrator {
    int first, stride, type, sampleBytes;
    std::vector<int> channels;
    std::map<int, std::vector<double>> state;  // divisor, sum, previous
    bool fresh = true;

    void Run(char* data, int frames) {
        for (int c : channels) {
            std::vector<double>& s = state[c];
            const int k = c - first;
            if (k < 0 || k >= stride || k * sampleBytes + kWidth[type] > stride * sampleBytes)
                continue;
            for (int i = 0; i < frames; ++i) {
                char* p = data + (static_cast<std::ptrdiff_t>(i) * stride + k) * sampleBytes;
                if (fresh && i == 0) {
                    s[1] = 0.0;
                    s[2] = ReadRef(p, type);
                    WriteRef(0.0, p, type);
                    continue;
                }
                const double x = ReadRef(p, type);
                s[1] = s[1] + (x + s[2]) / s[0];
                s[2] = x;
                WriteRef(s[1], p, type);
            }
        }
        fresh = false;
    }
};

// One value per sample slot (slots narrower than the type, integer types only,
// get one every 2 bytes, so that neighbours overlap).
std::vector<char> RandomFrames(int type, std::size_t bytes, int slot, std::mt19937& rng) {
    std::vector<char> raw(bytes);
    std::uniform_int_distribution<int> pick(0, 15);
    std::uniform_int_distribution<std::int32_t> any32(std::numeric_limits<std::int32_t>::min(),
                                                      std::numeric_limits<std::int32_t>::max());
    std::uniform_real_distribution<float> real(-1.0e5f, 1.0e5f);
    const std::size_t step = slot >= kWidth[type] ? slot : 2;
    for (std::size_t i = 0; i + kWidth[type] <= bytes; i += step) {
        const int k = pick(rng);
        std::uint32_t bits;
        if (type == 0) {
            const std::int16_t edges[3] = {32767, -32768, -1};
            bits = static_cast<std::uint16_t>(k < 3 ? edges[k]
                                                    : static_cast<std::int16_t>(any32(rng)));
        } else if (type == 1) {
            float nan;
            std::memcpy(&nan, &kDefaultNaN, 4);
            const float edges[6] = {1e-45f, -1e-40f, 3.0e38f, nan, INFINITY, -INFINITY};
            // Non-finite values rarely, so that most integrals stay finite.
            const float v = k < 3
                                ? edges[k]
                                : (k == 3 && pick(rng) == 0 ? edges[3 + pick(rng) % 3] : real(rng));
            std::memcpy(&bits, &v, 4);
        } else {
            const std::int32_t edges[3] = {std::numeric_limits<std::int32_t>::max(),
                                           std::numeric_limits<std::int32_t>::min(), -1};
            bits = static_cast<std::uint32_t>(k < 3 ? edges[k] : any32(rng));
        }
        std::memcpy(&raw[i], &bits, type == 0 ? 2 : 4);
    }
    return raw;
}

}  // namespace

TEST(IntegralLevels, EveryLevelMatchesThePlainLoopBitForBit) {
    const double freqs[] = {1.0, 0.5, 48000.0, 1e-6, 1e-300, 0.0};
    std::mt19937 rng(424242);
    for (int chn = 1; chn <= 67; ++chn) {
        for (int type = 0; type < 3; ++type) {
            const int layout = (chn + type) % 4;
            const int width = kWidth[type];
            // 0: every channel, adjacent; 1: shuffled subset, one listed twice;
            // 2: gaps between the samples; 3: 32-bit integers overlapping in
            // 2-byte slots (floats would mix into NaNs of any pattern: gaps).
            const bool gaps = layout == 2 || (layout == 3 && type == 1);
            const int sampleBytes = gaps ? width + 2 : (layout == 3 && type == 2 ? 2 : width);
            const int first = static_cast<int>(rng() % 5);
            const int stride = chn + static_cast<int>(rng() % 3);
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
            const int frames = 150 + static_cast<int>(rng() % 100);
            const std::size_t bytes = static_cast<std::size_t>(frames) * stride * sampleBytes +
                                      width;  // last sample's tail
            const std::vector<char> input = RandomFrames(type, bytes, sampleBytes, rng);
            std::vector<int> cuts;
            for (int f = 0; f < frames;) {
                const int n = std::min(frames - f, 1 + static_cast<int>(rng() % 60));
                cuts.push_back(n);
                f += n;
            }

            PlainIntegrator plain{first, stride, type, sampleBytes, channels, {}};
            for (int c : channels)
                plain.state[c] = {fs * 2.0, 0.0, 0.0};
            std::vector<char> want = input;
            for (std::size_t f = 0, k = 0; k < cuts.size(); f += cuts[k++])
                plain.Run(want.data() + f * stride * sampleBytes, cuts[k]);

            for (rzf::platform::IsaLevel level : rzf::test::AvailableIsaLevels()) {
                rzf::test::ScopedIsaLevel scope(level);
                CIntegralDiff d;
                d.InitDiff(first, stride, channels, fs, type, sampleBytes);
                std::vector<char> got = input;
                for (std::size_t f = 0, k = 0; k < cuts.size(); f += cuts[k++]) {
                    // Each call's frames in a heap buffer of exactly their size.
                    const std::size_t n = static_cast<std::size_t>(cuts[k]) * stride * sampleBytes;
                    std::unique_ptr<char[]> buf(new char[n]);
                    std::memcpy(buf.get(), got.data() + f * stride * sampleBytes, n);
                    d.ContinueIntegral(cuts[k], buf.get());
                    std::memcpy(got.data() + f * stride * sampleBytes, buf.get(), n);
                }
                EXPECT_TRUE(got == want) << rzf::platform::IsaName(level) << " channels " << chn
                                         << " type " << type << " layout " << layout;
                for (int c : channels) {
                    if (d.m_mapState.count(c) == 0)
                        continue;
                    const std::vector<double>& s = plain.state[c];
                    const IntegralState& r = *d.m_mapState[c];
                    EXPECT_EQ(std::memcmp(&r.m_dSum, &s[1], 8), 0) << c;
                    EXPECT_EQ(std::memcmp(&r.m_dPrev, &s[2], 8), 0) << c;
                }
            }
        }
    }
}
