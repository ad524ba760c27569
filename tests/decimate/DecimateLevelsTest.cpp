// Every kernel level on random streams (every ratio and type, 1 to 67 channels,
// random call sizes): baseline filtered channels match the whole-signal cascade
// bit for bit; every other level gives the baseline's output bytes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "DecimateTestSupport.h"
#include "IsaLevels.h"

using namespace decimtest;
using rzf::platform::IsaLevel;

namespace {

// The raw bits a float output becomes: int16 and int32 keep the low bits of the
// truncation (NaN and beyond int32 give INT32_MIN), int24 clamps it to
// +-8388607, float keeps its bits.
std::uint32_t WriteRef(float v, int type) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, 4);
    if (type == 3)
        return static_cast<std::uint32_t>(
            std::clamp(int(std::clamp(v, -9e6f, 9e6f)), -8388607, 8388607));
    if (type != 1)
        bits = static_cast<std::uint32_t>(
            std::isnan(v) || std::fabs(v) >= 2147483648.0f ? INT32_MIN : std::int32_t(v));
    return bits;
}

// Random raw samples and the values the decimator must read from them (int32
// rounded to the nearest float). Integer streams alternate with full-scale
// square waves of `period` samples, whose filtered steps overshoot the range.
// Float streams carry subnormals and huge values, and sparsely infinities and
// the processor's default NaN (-NAN, which inf - inf also gives, so NaN results
// have one bit pattern).
struct Stream {
    std::vector<char> raw;
    std::vector<float> value;
};

Stream RandomStream(int type, std::size_t n, std::size_t period, std::mt19937& rng) {
    const float specials[6] = {-NAN, INFINITY, -INFINITY, 1e-45f, -1e-40f, 3.0e38f};
    const std::int32_t lo[4] = {-32768, 0, INT32_MIN, -0x800000};
    const std::int32_t hi[4] = {32767, 0, INT32_MAX, 0x7FFFFF};
    std::uniform_int_distribution<int> pick(0, 511);
    std::uniform_int_distribution<std::int32_t> any(lo[type], hi[type]);
    std::uniform_real_distribution<float> real(-3.0e4f, 3.0e4f);
    Stream s{std::vector<char>(n * kWidth[type]), std::vector<float>(n)};
    for (std::size_t i = 0; i < n; ++i) {
        const int k = pick(rng), phase = int(i / period % 4);
        const std::int32_t v = phase < 2 ? (phase == 0 ? lo[type] : hi[type]) : any(rng);
        s.value[i] = type != 1 ? float(v) : k < 64 ? specials[k < 3 ? k : 3 + k % 3] : real(rng);
        const void* bytes = type == 1 ? static_cast<const void*>(&s.value[i]) : &v;
        std::memcpy(&s.raw[i * kWidth[type]], bytes, kWidth[type]);  // little-endian
    }
    return s;
}

// Random call sizes for n samples, a quarter shorter than one frame's channels
// (each may leave one frame pending), then one with room for all of those.
std::vector<int> RandomCuts(std::size_t n, int chn, int ratio, std::mt19937& rng) {
    std::uniform_int_distribution<int> longCut(1, 3 * ratio * chn), shortCut(1, chn);
    std::vector<int> cuts;
    for (std::size_t pos = 0; pos < n; pos += cuts.back())
        cuts.push_back(std::min(rng() % 4 == 0 ? shortCut(rng) : longCut(rng), int(n - pos)));
    cuts.push_back(chn * (2 * static_cast<int>(cuts.size()) + 4));
    return cuts;
}

}  // namespace

TEST(DecimateLevels, EveryLevelMatchesThePlainCascadeBitForBit) {
    const int chnCounts[] = {1, 67, 2, 16, 3, 33, 4, 5, 8, 9, 15, 17, 31, 64, 7, 12, 6, 66};
    std::mt19937 rng(20261124);
    for (int c = 0; c < 36; ++c) {
        const int r = c / 4, type = c % 4, ratio = kRatios[r], chn = chnCounts[c % 18];
        const bool delStart = c % 3 != 0;
        // A pass-through channel in the middle of every other case.
        std::unique_ptr<bool[]> flags(new bool[chn]);
        for (int ch = 0; ch < chn; ++ch)
            flags[ch] = !(c % 2 == 1 && chn >= 3 && ch == chn / 2);
        const std::size_t n = std::size_t(ratio) * (kSpans[r] + 25) * chn;
        const std::vector<int> cuts = RandomCuts(n, chn, ratio, rng);
        const std::size_t total = n + cuts.back();
        const Stream s = RandomStream(type, total, std::size_t(8) * ratio * chn, rng);
        const int skip = delStart ? kSpans[r] : 0;
        const std::size_t w = kWidth[type], outFrames = total / chn / ratio - skip;
        std::vector<char> first;
        for (IsaLevel level : rzf::test::AvailableIsaLevels()) {
            rzf::test::ScopedIsaLevel scope(level);
            CFirFunc fir;
            ASSERT_TRUE(
                fir.Init(chn, ratio, chn * ratio * (1 + c % 7), flags.get(), type, delStart));
            EXPECT_EQ(fir.GetDelChnCount(), kSpans[r]);
            const std::vector<char> got = Feed(fir, s.raw, kWidth[type], cuts);
            EXPECT_EQ(fir.GetDelChnCount(), delStart ? 0 : kSpans[r]);  // counted down once
            if (level != IsaLevel::Baseline) {
                EXPECT_TRUE(got == first) << rzf::platform::IsaName(level) << " ratio " << ratio
                                          << " type " << type << " channels " << chn;
                continue;
            }
            first = got;
            ASSERT_EQ(got.size(), outFrames * chn * w) << "ratio " << ratio << " type " << type;
            for (int ch = 0; ch < chn; ++ch) {
                if (!flags[ch])
                    continue;
                const std::vector<float> ref = ReferenceDecimate(ratio, Channel(s.value, chn, ch));
                std::size_t bad = 0;
                for (std::size_t j = 0; j < outFrames; ++j) {
                    const std::uint32_t want = WriteRef(ref[j + skip], type);
                    bad += std::memcmp(&want, &got[(j * chn + ch) * w], w) != 0 ? 1 : 0;
                }
                EXPECT_EQ(bad, 0u) << "ratio " << ratio << " type " << type << " channels " << chn
                                   << " channel " << ch;
            }
        }
    }
}
