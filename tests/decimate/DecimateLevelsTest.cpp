// Every decimation kernel level against the whole-signal scalar cascade: random
// frames with the sample types' extreme values (and for float NaN, infinities
// and subnormals), 1 to 67 channels, every ratio and sample type, calls split
// at random points (some shorter than one frame) into buffers of exactly the
// call's size. At the baseline level filtered channels must match the
// reference bit for bit; at every other level all output bytes, pass-through
// channels included, must match the baseline's.
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
// +-8388607 (NaN to the negative limit), float keeps its bits.
std::uint32_t WriteRef(float v, int type) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, 4);
    if (type == 3)
        return static_cast<std::uint32_t>(
            std::isnan(v) ? -8388607
                          : std::clamp(int(std::clamp(v, -9e6f, 9e6f)), -8388607, 8388607));
    if (type != 1)
        bits = static_cast<std::uint32_t>(
            std::isnan(v) || std::fabs(v) >= 2147483648.0f ? INT32_MIN : std::int32_t(v));
    return bits;
}

// Random raw samples and the values the decimator must read from them (int32
// rounded to the nearest float). Integer streams alternate with full-scale
// square waves of `period` samples, whose filtered steps overshoot the range.
// Float streams carry subnormals and huge values, and sparsely infinities and the
// processor's default NaN (the one inf - inf gives, so NaN results have one bit pattern).
struct Stream {
    std::vector<char> raw;
    std::vector<float> value;
};

Stream RandomStream(int type, std::size_t n, std::size_t period, std::mt19937& rng) {
    const std::uint32_t nanBits = 0xFFC00000u;
    float specials[6] = {0.0f, INFINITY, -INFINITY, 1e-45f, -1e-40f, 3.0e38f};
    std::memcpy(&specials[0], &nanBits, 4);
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
        std::uint32_t bits = static_cast<std::uint32_t>(v);
        if (type == 1)
            std::memcpy(&bits, &s.value[i], 4);
        std::memcpy(&s.raw[i * kWidth[type]], &bits, kWidth[type]);  // little-endian
    }
    return s;
}

// Random call sizes for n samples: mostly up to three input frames, a quarter
// shorter than one frame's channels; then one call long enough to take every
// frame those short calls left pending (each leaves at most one) with its own.
// *total is the stream's length with that last call.
std::vector<int> RandomCuts(std::size_t n, int chn, int ratio, std::mt19937& rng,
                            std::size_t* total) {
    std::uniform_int_distribution<int> longCut(1, 3 * ratio * chn), shortCut(1, chn);
    std::vector<int> cuts;
    int shortCalls = 0;
    for (std::size_t pos = 0; pos < n; pos += cuts.back()) {
        const bool isShort = rng() % 4 == 0;
        cuts.push_back(static_cast<int>(
            std::min<std::size_t>(isShort ? shortCut(rng) : longCut(rng), n - pos)));
        shortCalls += cuts.back() < chn ? 1 : 0;
    }
    cuts.push_back(chn * (2 * shortCalls + 4));
    *total = n + cuts.back();
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
        std::size_t total = 0;
        const std::vector<int> cuts =
            RandomCuts(std::size_t(ratio) * (kSpans[r] + 25) * chn, chn, ratio, rng, &total);
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
            const std::vector<char> got = FeedRaw(fir, s.raw, type, cuts);
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
