#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <numeric>
#include <string>
#include <tuple>

#include "DecimateTestSupport.h"

using namespace decimtest;

namespace {

// Each row: Init on an object carrying one int16 sample of an earlier stream
// (a refused Init keeps nothing of it, an accepted one drops the sample), then
// one call on an exact-size buffer.
struct DecimateCase {
    const char* name;
    int chn, ratio, block, type;
    bool flagsGiven, initResult;
    int count, result;
};

const DecimateCase kBadCases[] = {
    {"no_channels", 0, 10, 20, 0, true, false, 20, 0},
    {"null_flags", 2, 10, 20, 0, false, false, 20, 0},
    {"ratio_not_positive", 2, -10, 20, 0, true, false, 20, 0},
    {"ratio_not_tabled", 2, 3, 20, 0, true, false, 20, 0},
    {"block_too_large_to_index", 1, 2, INT_MAX, 0, true, false, 20, 0},
    {"block_negative_gives_one_output", 2, 10, INT_MIN, 0, true, true, 39, 2},
    {"type_above_int24", 2, 10, 20, 4, true, true, 40, 0},
    {"type_negative", 2, 10, 20, -1, true, true, 40, 0},
    {"count_negative", 2, 10, 20, 0, true, true, -1, 0},
};

class DecimateBadInput : public ::testing::TestWithParam<DecimateCase> {};

TEST_P(DecimateBadInput, RefusedOrSafeOnExactBuffers) {
    const DecimateCase& c = GetParam();
    const int bytes = std::max(c.count, 1) * 2;  // int16, or unknown types read nothing
    std::unique_ptr<char[]> buf(new char[bytes]());
    CFirFunc f;
    EXPECT_EQ(f.InputDataAndDeal(buf.get(), 1), 0);  // never initialised
    bool flags[2] = {true, true};
    ASSERT_TRUE(f.Init(1, 2, 64, flags, 0, false));
    ASSERT_EQ(f.InputDataAndDeal(buf.get(), 1), 0);
    EXPECT_EQ(f.Init(c.chn, c.ratio, c.block, c.flagsGiven ? flags : nullptr, c.type, false),
              c.initResult);
    EXPECT_EQ(f.InputDataAndDeal(buf.get(), c.count), c.result);
    for (const int n : {1, INT_MAX})  // no buffer
        EXPECT_EQ(f.InputDataAndDeal(nullptr, n), 0) << n;
}

INSTANTIATE_TEST_SUITE_P(BadInput, DecimateBadInput, ::testing::ValuesIn(kBadCases),
                         [](const auto& row) { return std::string(row.param.name); });

// Ratio 10, 190 block samples over 2 channels: inner blocks of 100 frames.
// A pass-through channel yields each block's first ten raw samples, bits kept
// (negative zero, a signalling NaN's payload, the least subnormal); with the
// start-up span (29 outputs) dropped, only the third block's last remains.
TEST(CFirFuncStream, PassThroughChannelYieldsEachBlocksLeadingSamples) {
    std::vector<std::uint32_t> x(600, 0x3F800000u), expect;  // float bits, 1.0f
    const std::uint32_t specials[3] = {0x80000000u, 0x7FA00001u, 1};
    for (int n = 0; n < 300; ++n) {
        const float v = static_cast<float>(n);
        std::memcpy(&x[2 * n + 1], &v, 4);
        if (n >= 1 && n <= 3)
            x[2 * n + 1] = specials[n - 1];
        if (n % 100 < 10)
            expect.push_back(x[2 * n + 1]);
    }
    bool flags[2] = {true, false};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(2, 10, 190, flags, 1, false));
    EXPECT_EQ(Channel(Feed(fir, x, 4, {600}), 2, 1), expect);
    ASSERT_TRUE(fir.Init(2, 10, 190, flags, 1, true));
    EXPECT_EQ(Channel(Feed(fir, x, 4, {600}), 2, 1), std::vector<std::uint32_t>{0x43510000u});
}

// A call shorter than one frame that completes a frame returns nothing and
// writes nothing (ratio 10, 2 channels, int16: 19 samples then 1; ratio 2,
// 8 channels, int24: 15 then 1); the frame comes, whole, with the next call
// that has room for it, as in one call.
TEST(CFirFuncStream, FrameThatDoesNotFitStaysPending) {
    const std::tuple<int, int, int, int> scenarios[] = {{2, 10, 0, 19}, {8, 2, 3, 15}};
    for (const auto& [chn, ratio, type, first] : scenarios) {
        std::vector<char> raw(3 * chn * ratio * kWidth[type]);
        std::iota(raw.begin(), raw.end(), char(0));
        bool flags[8] = {true, true, true, true, true, true, true, true};
        CFirFunc whole, split;
        ASSERT_TRUE(whole.Init(chn, ratio, 1000, flags, type, false));
        ASSERT_TRUE(split.Init(chn, ratio, 1000, flags, type, false));
        std::vector<int> results;
        const std::vector<char> got = Feed(split, raw, kWidth[type], {first, 1, 1000}, &results);
        EXPECT_EQ(results, (std::vector<int>{0, 0, 3 * chn})) << chn;
        EXPECT_EQ(got, Feed(whole, raw, kWidth[type], {1000})) << chn;
    }
}

// A copy made mid-stream (39 samples carried) continues on the shared buffers
// after the original is gone: the split stream equals one call.
TEST(CFirFuncCopy, CopyMadeMidStreamContinuesTheStream) {
    std::vector<float> x(2000);
    std::iota(x.begin(), x.end(), -999.0f);
    bool flags[2] = {true, true};
    CFirFunc ref, rest;
    ASSERT_TRUE(ref.Init(2, 20, 200, flags, 1, true));
    std::vector<float> got;
    {
        CFirFunc a;
        ASSERT_TRUE(a.Init(2, 20, 200, flags, 1, true));
        got = Feed(a, std::vector<float>(x.begin(), x.begin() + 999), 4, {999});
        rest = CFirFunc(a);
    }
    const auto tail = Feed(rest, std::vector<float>(x.begin() + 999, x.end()), 4, {1001});
    got.insert(got.end(), tail.begin(), tail.end());
    EXPECT_EQ(got, Feed(ref, x, 4, {2000}));
}

}  // namespace
