// One stage and one cascade driven directly on hand-filled buffers.
#include <gtest/gtest.h>

#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

#include "RZFilterFunc/decimate/DecimStage.h"

TEST(DecimStage, TapsApplyInStoredOrderAndHistoryMovesToTheFront) {
    // Asymmetric taps show the direction: output j is
    // buf[j] + 10 buf[j + 1] + 100 buf[j + 2], exact in single precision.
    const float taps[3] = {1.0f, 10.0f, 100.0f};
    const DecimStageDesc stage = {3, 1, taps};
    std::vector<float> buf = {1, 2, 3, 4, 5, 6, 7};  // two history samples, five new
    float dst[5] = {};
    rzf::FilterDecimate(stage, buf.data(), dst, 5);
    const float expect[5] = {321.0f, 432.0f, 543.0f, 654.0f, 765.0f};
    for (int j = 0; j < 5; ++j) {
        EXPECT_EQ(dst[j], expect[j]) << j;
    }
    // The last two samples become the next call's history.
    EXPECT_EQ(buf[0], 6.0f);
    EXPECT_EQ(buf[1], 7.0f);

    // Factor 2 keeps every second result: windows start at 0 and 2.
    std::vector<float> buf2 = {1, 2, 3, 4, 5, 6};
    const DecimStageDesc halve = {3, 2, taps};
    float dst2[2] = {};
    rzf::FilterDecimate(halve, buf2.data(), dst2, 4);
    EXPECT_EQ(dst2[0], 321.0f);
    EXPECT_EQ(dst2[1], 543.0f);
    EXPECT_EQ(buf2[0], 5.0f);
    EXPECT_EQ(buf2[1], 6.0f);
}

TEST(DecimStage, EachOutputIsASinglePrecisionSumInTapOrder) {
    // Windows of (3, 1e8, -1e8) with unit taps: 3 + 1e8 rounds to 1e8 in
    // single precision, so the sum in tap order is 0 (exactly it is 3, and in
    // reverse order it would be 3 too). Five outputs cover both the grouped
    // and the one-at-a-time paths.
    const float ones[3] = {1.0f, 1.0f, 1.0f};
    const DecimStageDesc stage = {3, 3, ones};
    std::vector<float> buf(2 + 15);
    for (int j = 0; j < 5; ++j) {
        buf[3 * j] = 3.0f;
        buf[3 * j + 1] = 1.0e8f;
        buf[3 * j + 2] = -1.0e8f;
    }
    float dst[5];
    rzf::FilterDecimate(stage, buf.data(), dst, 15);
    for (int j = 0; j < 5; ++j) {
        EXPECT_EQ(dst[j], 0.0f) << j;
    }
}

TEST(DecimStage, CascadeFeedsEachStageAfterTheNextOnesHistory) {
    // Two stages: 2 taps halving, then 3 taps halving again. Stage 1 reads
    // stage 0's results after its own two history samples.
    const float first[2] = {1.0f, 2.0f};
    const float second[3] = {1.0f, 10.0f, 100.0f};
    const DecimStageDesc s0 = {2, 2, first};
    const DecimStageDesc s1 = {3, 2, second};
    const DecimRatioDesc desc = {2, {4, 2, 0}, {&s0, &s1, nullptr}};
    FirChannelState chn;
    // One output: four inputs after stage 0's one history sample; stage 1
    // holds two history samples and two new ones.
    chn.m_pStageBuf[0] = new float[5]{0.0f, 1.0f, 2.0f, 3.0f, 4.0f};
    chn.m_pStageBuf[1] = new float[4]{5.0f, 7.0f, 0.0f, 0.0f};
    chn.m_pWrite = chn.m_pStageBuf[0] + 1;
    float out[1] = {};
    rzf::ProcessCascade(desc, chn, out, 1);
    // Stage 0: 0*1 + 1*2 = 2 and 2*1 + 3*2 = 8. Stage 1 window (5, 7, 2):
    // 5 + 70 + 200 = 275.
    EXPECT_EQ(chn.m_pStageBuf[1][2], 2.0f);
    EXPECT_EQ(chn.m_pStageBuf[1][3], 8.0f);
    EXPECT_EQ(out[0], 275.0f);
    // Histories: stage 0 keeps its last input, stage 1 its last two.
    EXPECT_EQ(chn.m_pStageBuf[0][0], 4.0f);
    EXPECT_EQ(chn.m_pStageBuf[1][0], 2.0f);
    EXPECT_EQ(chn.m_pStageBuf[1][1], 8.0f);
}
