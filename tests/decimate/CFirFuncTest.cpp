#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <random>
#include <tuple>

#include "DecimateTestSupport.h"
#include "RZFilterFunc/decimate/DecimSamples.h"

using namespace decimtest;
using Ints = std::vector<int>;

TEST(CFirFuncSetup, RatiosBlockSizingAndRefusedInput) {
    for (int r = -2; r <= 2000; ++r)
        EXPECT_EQ(CFirFunc::IsActiveRatio(r), std::count(kRatios, kRatios + 9, r) == 1) << r;
    bool flags[4] = {true, true, true, true};
    // {channels, ratio, block samples, block out, block in}: never below one output.
    const int sizing[3][5] = {{4, 10, 1000, 25, 250}, {4, 10, 2, 1, 10}, {3, 100, 1000, 4, 400}};
    for (const auto& s : sizing) {
        CFirFunc fir;
        ASSERT_TRUE(fir.Init(s[0], s[1], s[2], flags, 0, true));
        EXPECT_EQ((Ints{fir.m_nBlockOut, fir.m_nBlockIn, fir.m_nPending, fir.m_nOutCapacity}),
                  (Ints{s[3], s[4], 0, 0}));
    }
    // Refused set-ups (unknown sample types pass Init): every call then returns 0.
    std::vector<char> buf(400, 7);
    const std::vector<char> original = buf;
    CFirFunc fir;
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 100), 0);  // never initialised
    const std::tuple<int, int, bool*, int> setups[] = {{2, 3, flags, 0},   {2, 0, flags, 0},
                                                       {2, -10, flags, 0}, {2, 10, nullptr, 0},
                                                       {2, 10, flags, 4},  {2, 10, flags, -1}};
    for (const auto& [chn, ratio, f, type] : setups) {
        EXPECT_EQ(fir.Init(chn, ratio, 100, f, type, true), type != 0) << ratio << " " << type;
        EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 100), 0) << ratio << " " << type;
    }
    ASSERT_TRUE(fir.Init(2, 10, 100, flags, 2, false));
    for (int n : {0, -20, 20})  // non-positive counts, no buffer
        EXPECT_EQ(fir.InputDataAndDeal(n == 20 ? nullptr : buf.data(), n), 0) << n;
    EXPECT_EQ(fir.m_nPending, 0);
    EXPECT_EQ(buf, original);
    // Zero channels after a call that carried samples: unconfigured again,
    // every buffer freed, ratio and sample type kept.
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 45), 4);
    EXPECT_FALSE(fir.Init(0, 20, 100, flags, 1, true));
    EXPECT_TRUE(!fir.m_pRatioDesc && !fir.m_pChnState && !fir.m_pPending && !fir.m_pOutput);
    EXPECT_EQ((Ints{fir.m_nBlockIn, fir.m_nPending, fir.m_nChnCount, fir.m_nDelCount,
                    fir.m_nOutCapacity, fir.m_nRatio, fir.m_nSampleType, fir.m_bDelStart}),
              (Ints{0, 0, 0, 0, 0, 10, 2, 1}));
}

TEST(CFirFuncStream, CarryOverPassThroughAndDiscardExamples) {
    // Ratio 10, 2 channels: 19 samples are carried; one more completes a frame,
    // which does not fit in a 1-sample buffer and so waits for the next call
    // with room (the decimator never writes outside the caller's samples; the
    // values are compared under every kind of cut below).
    std::vector<float> x(600, 1.0f);
    bool flags[2] = {true, true};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(2, 10, 200, flags, 1, false));
    EXPECT_TRUE(Feed(fir, {x.begin(), x.begin() + 19}, {19}).empty());
    EXPECT_EQ(fir.m_nPending, 19);
    EXPECT_TRUE(Feed(fir, {20.0f}, {1}).empty());
    EXPECT_EQ(fir.m_nPending, 0);
    EXPECT_EQ(Feed(fir, {1.0f, 1.0f}, {2}).size(), 2u);
    // Inner blocks of 100 frames: a pass-through channel yields each block's
    // first ten raw samples; the discard count is not touched without discarding.
    flags[1] = false;
    std::vector<float> expect;
    for (int n = 0; n < 300; ++n) {
        x[2 * n + 1] = static_cast<float>(n);
        if (n % 100 < 10)
            expect.push_back(static_cast<float>(n));
    }
    ASSERT_TRUE(fir.Init(2, 10, 200, flags, 1, false));
    EXPECT_EQ(Channel(Feed(fir, x, {600}), 2, 1), expect);
    EXPECT_EQ(fir.GetDelChnCount(), 29);
    // With the start-up span (29) dropped, the third block's last output remains.
    ASSERT_TRUE(fir.Init(2, 10, 200, flags, 1, true));
    EXPECT_EQ(Channel(Feed(fir, x, {600}), 2, 1), std::vector<float>{209.0f});
    // Ratio 2 discards 23 frames, five per 10-sample call.
    ASSERT_TRUE(fir.Init(1, 2, 64, flags, 1, true));
    std::vector<int> dels;
    EXPECT_EQ(Feed(fir, std::vector<float>(60, 1.0f), {10}, &dels).size(), 7u);
    EXPECT_EQ(dels, (std::vector<int>{18, 13, 8, 3, 0, 0}));
}

TEST(CFirFuncStream, AnyCallSizesMatchTheWholeSignalReference) {
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> val(-1000.0f, 1000.0f);
    for (int r = 0; r < 9; ++r) {
        bool flags[3] = {true, r % 2 == 1, true};
        const int ratio = kRatios[r];
        const int frames = ratio * 60 + 7;
        std::vector<float> x(frames * 3);
        std::generate(x.begin(), x.end(), [&] { return val(rng); });
        // Random call sizes, most neither multiples of the channel count nor of
        // the ratio, some shorter than one frame. Every other ratio has a
        // pass-through channel in the middle, not compared: its samples follow
        // the inner blocks, which the calls move.
        std::uniform_int_distribution<int> cut(1, 9 * ratio);
        std::vector<int> cuts(40), dels;
        std::generate(cuts.begin(), cuts.end(), [&] { return cut(rng); });
        CFirFunc fir;
        ASSERT_TRUE(fir.Init(3, ratio, 1000, flags, 1, true));
        EXPECT_EQ(fir.GetDelChnCount(), kSpans[r]);
        const std::vector<float> got = Feed(fir, x, cuts, &dels);
        EXPECT_EQ(got.size(), (frames / ratio - kSpans[r]) * 3u);
        for (int ch = 0; ch < 3; ch += flags[1] ? 1 : 2) {
            const std::vector<float> ref = ReferenceDecimate(ratio, Channel(x, 3, ch));
            EXPECT_EQ(Channel(got, 3, ch), std::vector<float>(ref.begin() + kSpans[r], ref.end()))
                << "ratio " << ratio << " channel " << ch;
        }
        EXPECT_TRUE(std::is_sorted(dels.rbegin(), dels.rend()) && dels.back() == 0);
    }
}

TEST(CFirFuncSamples, ConversionsAtTheRangeEdges) {
    // Written from float (bytes least significant first): 24-bit truncation and
    // symmetric clamp, 16-bit wrap-around, 32-bit out of range.
    const std::tuple<float, int, std::uint32_t> writes[] = {
        {9e6f, 3, 0x7FFFFF},     {-9e6f, 3, 0x800001},  {-8388608.0f, 3, 0x800001},
        {-1.9f, 3, 0xFFFFFF},    {1.9f, 3, 0x000001},   {NAN, 3, 0x800001},
        {INFINITY, 3, 0x7FFFFF}, {40000.0f, 0, 0x9C40}, {3e9f, 2, 0x80000000u},
        {-3e9f, 2, 0x80000000u}, {NAN, 2, 0x80000000u}, {-7.9f, 2, 0xFFFFFFF9u}};
    for (const auto& [v, type, want] : writes) {
        std::uint32_t bits = 0;
        rzf::WriteDecimSample(v, reinterpret_cast<char*>(&bits), type);
        EXPECT_EQ(bits, want) << v << " type " << type;
    }
    // Read and written back through a pass-through channel (ratio 2, inner
    // blocks of 2k frames: channel 1 returns its first k samples). A 24-bit
    // code read without sign extension would come back clamped to 7FFFFF;
    // 32-bit samples pass through single precision (2^24 + 1 and 2^31 - 1
    // round up); float keeps negative zero, a signalling NaN's payload and the
    // least subnormal.
    using Samples = std::vector<std::uint32_t>;
    const std::tuple<int, std::size_t, Samples, Samples> trips[] = {
        {0, 2, {0x8000, 0x7FFF, 0xFFFF}, {0x8000, 0x7FFF, 0xFFFF}},
        {1, 4, {0x80000000u, 0x7FA00001u, 1}, {0x80000000u, 0x7FA00001u, 1}},
        {2, 4, {16777217, 0x7FFFFFFF, 0x80000000u}, {16777216, 0x80000000u, 0x80000000u}},
        {3, 3, {0x800000, 0xFFFFFF, 0xF01234, 0x7FFFFF}, {0x800001, 0xFFFFFF, 0xF01234, 0x7FFFFF}}};
    bool flags[2] = {true, false};
    for (const auto& [type, width, in, out] : trips) {
        const int k = static_cast<int>(in.size());
        CFirFunc fir;
        ASSERT_TRUE(fir.Init(2, 2, 4 * k, flags, type, false));
        std::vector<char> buf(4 * k * width, 0);
        for (int j = 0; j < k; ++j)
            std::memcpy(&buf[(2 * j + 1) * width], &in[j], width);
        ASSERT_EQ(fir.InputDataAndDeal(buf.data(), 4 * k), 2 * k);
        Samples got(k, 0);
        for (int j = 0; j < k; ++j)
            std::memcpy(&got[j], &buf[(2 * j + 1) * width], width);
        EXPECT_EQ(got, out) << "type " << type;
    }
}

TEST(CFirFuncCopy, CopiesShareStateAndOutliveEachOther) {
    std::vector<float> x(2000);
    std::iota(x.begin(), x.end(), -999.0f);
    bool flags[2] = {true, true};
    CFirFunc ref;
    ASSERT_TRUE(ref.Init(2, 20, 200, flags, 1, true));
    const std::vector<float> whole = Feed(ref, x, {2000});
    CFirFunc b, c;
    std::vector<float> got;
    {
        CFirFunc a;
        ASSERT_TRUE(a.Init(2, 20, 200, flags, 1, true));
        b = a;
        EXPECT_TRUE(b.m_pChnState == a.m_pChnState && b.m_pPending == a.m_pPending);
        got = Feed(a, {x.begin(), x.begin() + 999}, {999});
        c = CFirFunc(a);  // continues the stream on the shared buffers after a is gone
    }
    const std::vector<float> rest = Feed(c, {x.begin() + 999, x.end()}, {1001});
    got.insert(got.end(), rest.begin(), rest.end());
    EXPECT_EQ(got, whole);
    // Re-initialising c leaves the buffers b shares alive; b kept its scalars
    // from before any data: one frame, inside the 26-frame span.
    c.Init(1, 2, 10, flags, 1, true);
    EXPECT_EQ(Feed(b, std::vector<float>(40, 1.0f), {40}).size(), 0u);
    EXPECT_EQ(b.GetDelChnCount(), 25);
}
