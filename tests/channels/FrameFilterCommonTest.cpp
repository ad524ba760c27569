#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>
#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include <cstring>
#include <random>
#include <vector>

#include "FrameTestUtil.h"

// Behaviour both frame filters share: streaming, copies and refusals. Each
// kind designs two different filters (variant 0 and 1) at 1000 Hz.
namespace {

struct BesselKind {
    using Filter = CChnsBesselFilterFun;
    static bool Design(Filter& f, int ch, int variant) {
        return f.DesignFilter(ch, variant == 0 ? 100 : 4, true);
    }
};

struct DesignerKind {
    using Filter = CChnsFilterFunc;
    static bool Design(Filter& f, int ch, int variant) {
        CFilterParam p = Average(variant == 0 ? 7 : 3);
        return f.DesignFilter(ch, &p);
    }
};

template <typename Kind>
class FrameFilter : public ::testing::Test {
protected:
    using Filter = typename Kind::Filter;

    // One block of floats through channel 0 of a single-channel filter.
    static std::vector<float> Block(Filter& f, const std::vector<float>& x) {
        std::vector<char> b = PackFrames(x);
        EXPECT_EQ(f.InputDataAndDeal(b.data(), 1, static_cast<int>(b.size())), (int)x.size());
        return UnpackFrames<float>(b);
    }
};

using Kinds = ::testing::Types<BesselKind, DesignerKind>;
TYPED_TEST_SUITE(FrameFilter, Kinds);

}  // namespace

TYPED_TEST(FrameFilter, BlocksOfAnySizeMatchOneBlock) {
    std::mt19937 rng(11);
    for (int type = 0; type < 3; ++type) {
        const int w = TypeWidth(type), frames = 700;
        typename TypeParam::Filter whole, pieces;
        for (auto* f : {&whole, &pieces}) {
            ASSERT_TRUE(f->Init(3, w, 1000.0f));
            ASSERT_TRUE(TypeParam::Design(*f, 0, 0) && TypeParam::Design(*f, 2, 1));
        }
        std::vector<char> a = RandomFrames(type, 3 * frames, rng), b = a;
        const std::vector<char> original = a;
        ASSERT_EQ(whole.InputDataAndDeal(a.data(), type, static_cast<int>(a.size())), frames);
        const int largest = FeedInBlocks(
            b, 3 * w, rng, [&](char* p, int n) { return pieces.InputDataAndDeal(p, type, n); });
        EXPECT_EQ(a, b) << type;
        EXPECT_NE(a, original);
        for (int j = 0; j < frames; ++j) {  // channel 1 is untouched
            EXPECT_EQ(std::memcmp(&a[(3 * j + 1) * w], &original[(3 * j + 1) * w], w), 0);
        }
        EXPECT_EQ(pieces.m_ppChannels[0]->m_nCapacity, largest);  // grown to the largest block
        EXPECT_EQ(pieces.m_ppChannels[1]->m_nCapacity, 0);
    }
}

TYPED_TEST(FrameFilter, CopiesShareChannels) {
    typename TypeParam::Filter a, ref;
    for (auto* f : {&a, &ref}) {
        ASSERT_TRUE(f->Init(1, 4, 1000.0f) && TypeParam::Design(*f, 0, 0));
    }
    const std::vector<float> want = this->Block(ref, {1, 2, 3, 4, 5, 6});
    std::vector<float> got = this->Block(a, {1, 2});
    {
        typename TypeParam::Filter b(a);
        typename TypeParam::Filter c;
        c = b;
        for (float v : this->Block(c, {3, 4}))
            got.push_back(v);
    }  // the copies go first; a's channels survive them
    typename TypeParam::Filter keep;
    keep = a;
    ASSERT_TRUE(a.Init(1, 4, 1000.0f));  // a lets go; keep still holds the channels
    for (float v : this->Block(keep, {5, 6}))
        got.push_back(v);
    EXPECT_EQ(got, want);
}

TYPED_TEST(FrameFilter, BadArgumentsAreRefused) {
    typename TypeParam::Filter f;
    char buf[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const std::vector<char> before(buf, buf + 16);
    EXPECT_FALSE(TypeParam::Design(f, 0, 0));
    EXPECT_EQ(f.InputDataAndDeal(buf, 0, 16), 0);
    EXPECT_FALSE(f.Init(0, 2, 1000.0f));
    EXPECT_FALSE(f.Init(-3, 2, 1000.0f));
    EXPECT_FALSE(f.Init(2, 0, 1000.0f));
    EXPECT_FALSE(f.Init(2, -2, 1000.0f));
    EXPECT_FALSE(f.m_bInit);
    EXPECT_EQ(f.InputDataAndDeal(buf, 0, 16), 0);

    ASSERT_TRUE(f.Init(2, 2, 1000.0f));
    EXPECT_FALSE(TypeParam::Design(f, 2, 0));
    EXPECT_FALSE(TypeParam::Design(f, -1, 0));
    ASSERT_TRUE(TypeParam::Design(f, 0, 0) && TypeParam::Design(f, 1, 1));
    EXPECT_EQ(f.InputDataAndDeal(nullptr, 0, 16), 0);
    EXPECT_EQ(f.InputDataAndDeal(buf, 0, -9), -2);
    EXPECT_EQ(f.InputDataAndDeal(buf, 0, 3), 0);
    EXPECT_EQ(f.InputDataAndDeal(buf, 3, 16), 4);  // unknown type: nothing written
    EXPECT_EQ(f.InputDataAndDeal(buf, 1, 16), 4);  // 4-byte floats in 2-byte slots
    EXPECT_EQ(std::vector<char>(buf, buf + 16), before);
}
