// Every decimation kernel level against the plain scalar cascade: random
// frames with the sample types' extreme values, NaN, infinities and
// subnormals, 1 to 67 channels, every ratio and sample type, calls split at
// random points into buffers of exactly the call's size (so that a write
// beyond them is caught by the sanitizer build). Filtered channels must match
// the whole-signal reference bit for bit; all output bytes, pass-through
// channels included, must match between levels.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "DecimateTestSupport.h"
#include "IsaLevels.h"

using namespace decimtest;
using rzf::platform::IsaLevel;

namespace {

constexpr int kWidth[4] = {2, 4, 4, 3};  // bytes per sample of types 0..3
// The only NaN the inputs carry is the processor's default NaN, which is also
// what inf - inf produces, so NaN results have one bit pattern whatever order
// two NaN operands meet in.
constexpr std::uint32_t kDefaultNaN = 0xFFC00000u;

float FloatBits(std::uint32_t bits) {
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

// Raw sample i of the type as float, as the decimator reads it.
float ReadRef(const std::vector<char>& raw, int type, std::size_t i) {
    const char* p = raw.data() + i * kWidth[type];
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
    std::int32_t v = 0;
    if (type == 2) {
        std::memcpy(&v, p, 4);
        return static_cast<float>(v);
    }
    const auto b = [&](int k) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(p[k]));
    };
    const std::uint32_t u = b(0) | (b(1) << 8) | (b(2) << 16);
    return static_cast<float>(static_cast<std::int32_t>(u) -
                              ((u & 0x800000u) != 0 ? 0x1000000 : 0));
}

// Truncation toward zero; NaN and anything outside the int32 range give INT32_MIN.
std::int32_t TruncRef(float v) {
    if (std::isnan(v) || v >= 2147483648.0f || v < -2147483648.0f)
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(v);
}

// The raw bytes a float output becomes.
std::vector<char> WriteRef(float v, int type) {
    std::vector<char> out(kWidth[type]);
    std::uint32_t bits;
    if (type == 1) {
        std::memcpy(&bits, &v, 4);
    } else if (type == 3) {
        std::int32_t i = v > 8388607.0f ? 8388607 : (v < -8388607.0f ? -8388607 : TruncRef(v));
        i = i < -8388607 ? -8388607 : i;
        bits = static_cast<std::uint32_t>(i);
    } else {
        bits = static_cast<std::uint32_t>(TruncRef(v));  // int16 keeps the low 16 bits
    }
    for (int k = 0; k < kWidth[type]; ++k)
        out[k] = static_cast<char>((bits >> (8 * k)) & 0xFFu);
    return out;
}

// Random samples with a share of the type's edge values.
std::vector<char> RandomRaw(int type, std::size_t n, std::mt19937& rng) {
    std::vector<char> raw(n * kWidth[type]);
    std::uniform_int_distribution<int> pick(0, 15);
    std::uniform_int_distribution<std::int32_t> any32(std::numeric_limits<std::int32_t>::min(),
                                                      std::numeric_limits<std::int32_t>::max());
    std::uniform_real_distribution<float> real(-3.0e4f, 3.0e4f);
    for (std::size_t i = 0; i < n; ++i) {
        const int k = pick(rng);
        std::uint32_t bits = 0;
        if (type == 0) {
            const std::int16_t edges[4] = {32767, -32768, -1, 0};
            const std::int16_t v = k < 4 ? edges[k] : static_cast<std::int16_t>(any32(rng));
            bits = static_cast<std::uint16_t>(v);
        } else if (type == 1) {
            const float edges[6] = {FloatBits(kDefaultNaN), INFINITY, -INFINITY,
                                    FloatBits(1),           -1e-40f,  3.0e38f};
            // Non-finite values sparsely, so that most outputs stay finite.
            const float v = (k == 0 && pick(rng) == 0) ? edges[pick(rng) % 3]
                                                       : (k < 4 ? edges[3 + k % 3] : real(rng));
            std::memcpy(&bits, &v, 4);
        } else if (type == 2) {
            const std::int32_t edges[4] = {std::numeric_limits<std::int32_t>::max(),
                                           std::numeric_limits<std::int32_t>::min(), 16777217,
                                           -16777217};
            bits = static_cast<std::uint32_t>(k < 4 ? edges[k] : any32(rng));
        } else {
            const std::uint32_t edges[4] = {0x7FFFFF, 0x800000, 0xFFFFFF, 0x800001};
            bits = k < 4 ? edges[k] : static_cast<std::uint32_t>(any32(rng)) & 0xFFFFFFu;
        }
        for (int b = 0; b < kWidth[type]; ++b)
            raw[i * kWidth[type] + b] = static_cast<char>((bits >> (8 * b)) & 0xFFu);
    }
    return raw;
}

// Feeds the raw stream in calls of the given sizes, each in a heap buffer of
// exactly that many samples, then the last flushSamples in one call (long
// enough to take every frame still pending); returns all output bytes in order.
std::vector<char> FeedRaw(CFirFunc& fir, const std::vector<char>& raw, int type,
                          const std::vector<int>& cuts, std::size_t flushSamples) {
    const std::size_t w = kWidth[type];
    const std::size_t n = raw.size() / w - flushSamples;
    std::vector<char> out;
    auto call = [&](std::size_t pos, std::size_t count) {
        std::unique_ptr<char[]> buf(new char[count * w]);
        std::memcpy(buf.get(), raw.data() + pos * w, count * w);
        const int written = fir.InputDataAndDeal(buf.get(), static_cast<int>(count));
        EXPECT_TRUE(written >= 0 && written % fir.m_nChnCount == 0 &&
                    static_cast<std::size_t>(written) <= count);
        out.insert(out.end(), buf.get(), buf.get() + written * w);
    };
    std::size_t pos = 0;
    for (std::size_t c = 0; pos < n; ++c) {
        const std::size_t count = std::min<std::size_t>(cuts[c % cuts.size()], n - pos);
        call(pos, count);
        pos += count;
    }
    call(pos, flushSamples);
    return out;
}

}  // namespace

namespace {

// Random call sizes adding up to n: mostly up to three input frames, a quarter
// of them shorter than one output frame's channels. Also returns how long a
// last call must be to take every frame those short calls may leave pending
// (each completes at most one) together with its own.
std::vector<int> RandomCuts(std::size_t n, int chn, int ratio, std::mt19937& rng,
                            std::size_t* flushSamples) {
    std::uniform_int_distribution<int> longCut(1, 3 * ratio * chn);
    std::uniform_int_distribution<int> shortCut(1, chn);
    std::vector<int> cuts;
    std::size_t shortCalls = 0;
    for (std::size_t pos = 0; pos < n;) {
        const bool isShort = rng() % 4 == 0;
        const int c = static_cast<int>(
            std::min<std::size_t>(isShort ? shortCut(rng) : longCut(rng), n - pos));
        shortCalls += c < chn ? 1 : 0;
        cuts.push_back(c);
        pos += c;
    }
    *flushSamples = static_cast<std::size_t>(chn) * (2 * shortCalls + 4);
    return cuts;
}

// The reference bytes of the filtered channels: each channel decimated alone by
// the plain scalar cascade over the whole stream, the start-up span dropped.
void ExpectFilteredChannelsMatch(const std::vector<char>& got, const std::vector<char>& raw,
                                 int type, int chn, int ratio, int skip, const bool* flags) {
    const std::size_t w = kWidth[type];
    const std::size_t frames = raw.size() / w / chn;
    const std::size_t outFrames = frames / ratio - skip;
    ASSERT_EQ(got.size(), outFrames * chn * w) << "ratio " << ratio << " channels " << chn;
    for (int ch = 0; ch < chn; ++ch) {
        if (!flags[ch])
            continue;
        std::vector<float> x(frames);
        for (std::size_t i = 0; i < frames; ++i)
            x[i] = ReadRef(raw, type, i * chn + ch);
        const std::vector<float> ref = ReferenceDecimate(ratio, x);
        std::size_t bad = 0;
        for (std::size_t j = 0; j < outFrames; ++j) {
            const std::vector<char> want = WriteRef(ref[j + skip], type);
            bad += std::memcmp(want.data(), got.data() + (j * chn + ch) * w, w) != 0 ? 1 : 0;
        }
        EXPECT_EQ(bad, 0u) << "ratio " << ratio << " type " << type << " channels " << chn
                           << " channel " << ch;
    }
}

}  // namespace

TEST(DecimateLevels, EveryLevelMatchesThePlainCascadeBitForBit) {
    const int chnCounts[] = {1, 67, 2, 16, 3, 33, 4, 5, 8, 9, 15, 17, 31, 64, 7, 12, 6, 66};
    std::mt19937 rng(20261124);
    int caseIndex = 0;
    for (int r = 0; r < 9; ++r) {
        for (int type = 0; type < 4; ++type, ++caseIndex) {
            const int ratio = kRatios[r];
            const int chn = chnCounts[caseIndex % 18];
            const bool delStart = caseIndex % 3 != 0;
            // A pass-through channel in the middle of every other case.
            std::unique_ptr<bool[]> flags(new bool[chn]);
            for (int ch = 0; ch < chn; ++ch)
                flags[ch] = !(caseIndex % 2 == 1 && chn >= 3 && ch == chn / 2);
            const std::size_t frames = static_cast<std::size_t>(ratio) * (kSpans[r] + 25);
            std::size_t flush = 0;
            const std::vector<int> cuts = RandomCuts(frames * chn, chn, ratio, rng, &flush);
            const std::vector<char> raw = RandomRaw(type, frames * chn + flush, rng);
            const int blockSamples = chn * ratio * (1 + caseIndex % 7);
            std::vector<char> first;
            for (IsaLevel level : rzf::test::AvailableIsaLevels()) {
                rzf::test::ScopedIsaLevel scope(level);
                CFirFunc fir;
                ASSERT_TRUE(fir.Init(chn, ratio, blockSamples, flags.get(), type, delStart));
                const std::vector<char> got = FeedRaw(fir, raw, type, cuts, flush);
                if (level == IsaLevel::Baseline) {
                    first = got;
                    ExpectFilteredChannelsMatch(got, raw, type, chn, ratio,
                                                delStart ? kSpans[r] : 0, flags.get());
                } else {
                    EXPECT_TRUE(got == first) << rzf::platform::IsaName(level) << " ratio " << ratio
                                              << " type " << type << " channels " << chn;
                }
            }
        }
    }
}

// The same stream in one call and split at random points (some calls shorter
// than one frame, every buffer exactly the call's size): the same frames in the
// same order, the ones that did not fit a short call arriving, whole, with a
// later call.
TEST(DecimateLevels, SplitStreamGivesTheFramesOfOneCall) {
    std::mt19937 rng(77);
    for (int type = 0; type < 4; ++type) {
        for (int chn : {1, 2, 8, 13}) {
            const int ratio = kRatios[(type * 4 + chn) % 9];
            std::unique_ptr<bool[]> flags(new bool[chn]);
            std::fill(flags.get(), flags.get() + chn, true);
            const std::size_t n = static_cast<std::size_t>(ratio) * chn * 60;
            std::size_t flush = 0;
            const std::vector<int> cuts = RandomCuts(n, chn, ratio, rng, &flush);
            const std::vector<char> raw = RandomRaw(type, n + flush, rng);
            CFirFunc whole, split;
            ASSERT_TRUE(whole.Init(chn, ratio, 4096, flags.get(), type, false));
            ASSERT_TRUE(split.Init(chn, ratio, 4096, flags.get(), type, false));
            const std::vector<char> once = FeedRaw(whole, raw, type, {static_cast<int>(n)}, flush);
            EXPECT_TRUE(FeedRaw(split, raw, type, cuts, flush) == once)
                << "type " << type << " channels " << chn << " ratio " << ratio;
        }
    }
}

// A call shorter than one frame that completes a frame returns nothing and
// writes nothing (ratio 10, 2 channels, int16: 19 samples then 1; ratio 2,
// 8 channels, int24: 15 then 1); the frame comes, whole, with the next call
// that has room for it, as in one call.
TEST(DecimateLevels, FrameThatDoesNotFitWaitsForRoom) {
    struct Scenario {
        int chn, ratio, type, first;
    };
    for (const Scenario& sc : {Scenario{2, 10, 0, 19}, Scenario{8, 2, 3, 15}}) {
        const std::size_t w = kWidth[sc.type];
        std::mt19937 rng(5);
        const std::vector<char> raw = RandomRaw(sc.type, 3 * sc.chn * sc.ratio, rng);
        bool flags[8] = {true, true, true, true, true, true, true, true};
        CFirFunc ref, fir;
        ASSERT_TRUE(ref.Init(sc.chn, sc.ratio, 1000, flags, sc.type, false));
        ASSERT_TRUE(fir.Init(sc.chn, sc.ratio, 1000, flags, sc.type, false));
        std::vector<char> all(raw);
        ASSERT_EQ(ref.InputDataAndDeal(all.data(), static_cast<int>(raw.size() / w)), 3 * sc.chn);

        std::unique_ptr<char[]> a(new char[sc.first * w]);
        std::memcpy(a.get(), raw.data(), sc.first * w);
        EXPECT_EQ(fir.InputDataAndDeal(a.get(), sc.first), 0);
        std::unique_ptr<char[]> b(new char[w]);
        std::memcpy(b.get(), raw.data() + sc.first * w, w);
        EXPECT_EQ(fir.InputDataAndDeal(b.get(), 1), 0);
        EXPECT_EQ(fir.m_nPending, 0);
        // The rest of the stream: room for the pending frame and the two new ones.
        const std::size_t rest = raw.size() / w - sc.first - 1;
        std::unique_ptr<char[]> c(new char[rest * w]);
        std::memcpy(c.get(), raw.data() + (sc.first + 1) * w, rest * w);
        ASSERT_EQ(fir.InputDataAndDeal(c.get(), static_cast<int>(rest)), 3 * sc.chn);
        EXPECT_EQ(std::memcmp(c.get(), all.data(), 3 * sc.chn * w), 0) << sc.chn;
    }
}
