#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include <cstdint>
#include <random>
#include <vector>

#include "FrameTestUtil.h"
#include "TraceCapture.h"

namespace {

std::vector<float> FilterFloats(CChnsFilterFunc& f, const std::vector<float>& x, int type = 1) {
    std::vector<char> b = PackFrames(x);
    EXPECT_EQ(f.InputDataAndDeal(b.data(), type, static_cast<int>(b.size())), (int)x.size());
    return UnpackFrames<float>(b);
}

// Reaches the one-sample conversions the frame filter uses.
struct ExposedChns : CChnsFilterFunc {
    using CChnsFilterFunc::ConvertData;
};

}  // namespace

TEST(ChnsFilter, FiltersEnabledChannelsOfWholeFramesOnly) {
    TraceCapture quiet;
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(2, 2, 1000.0f));
    CFilterParam p = Average(4);
    ASSERT_TRUE(f.DesignFilter(0, &p));
    // Two 16-bit channels, byteCount 10: two frames and 2 untouched bytes.
    std::vector<char> b = PackFrames(std::vector<std::int16_t>{100, 7, 200, 8, 9});
    EXPECT_EQ(f.InputDataAndDeal(b.data(), 0, 10), 2);
    EXPECT_EQ(UnpackFrames<std::int16_t>(b), (std::vector<std::int16_t>{25, 7, 75, 8, 9}));

    // A design that fails validation reports true but leaves the channel off.
    CFilterParam bad = Average(4);
    bad.m_dFreq1 = 400.0;  // above 1000 / 2.56
    EXPECT_TRUE(f.DesignFilter(1, &bad));
    EXPECT_FALSE(f.m_ppChannels[1]->m_bEnabled);
    EXPECT_FALSE(f.m_ppChannels[1]->m_pFilterUser->GetIsStability());
    EXPECT_FALSE(f.DesignFilter(2, &p));
    b = PackFrames(std::vector<std::int16_t>{300, 5, 400, 6});
    EXPECT_EQ(f.InputDataAndDeal(b.data(), 0, 8), 2);
    // Continues the stream: (100 + 200 + 300) / 4 and (100 + ... + 400) / 4.
    EXPECT_EQ(UnpackFrames<std::int16_t>(b), (std::vector<std::int16_t>{150, 5, 250, 6}));
}

TEST(ChnsFilter, ParameterRecordLandsInTheChannelDesigner) {
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(1, 4, 999.9f));
    CFilterParam p = Average(6);
    p.m_nWindowType = 2;
    p.m_nBandType = BAND_HIGHPASS;  // none of these is a designer default
    p.m_dPassRipple = 0.7;
    p.m_dStopAtten = 33.0;
    p.m_dUnused = 5e5;  // never the rate
    p.m_dReserved = 7.5;
    ASSERT_TRUE(f.DesignFilter(0, &p));
    const FilterUser& u = *f.m_ppChannels[0]->m_pFilterUser;
    EXPECT_EQ(u.m_dSampleFreq, static_cast<double>(999.9f));
    EXPECT_EQ(u.m_nDesignMethod, DM_AVERAGE);
    EXPECT_EQ(u.m_nOrder, 6);
    EXPECT_EQ(u.m_nFIRLength, 6);
    EXPECT_EQ(u.m_nWindowType, 2);
    EXPECT_EQ(u.m_nBandType, BAND_HIGHPASS);
    EXPECT_EQ(u.m_dPassRipple, 0.7);
    EXPECT_EQ(u.m_dStopAtten, 33.0);
    EXPECT_EQ(u.m_dFreq1, 10.0);
    EXPECT_EQ(u.m_dFreq2, 20.0);
    EXPECT_EQ(u.m_dFreq3, 30.0);
    EXPECT_EQ(u.m_dFreq4, 40.0);
    EXPECT_EQ(u.m_dReserved, 7.5);
    EXPECT_TRUE(f.m_ppChannels[0]->m_bEnabled);
    EXPECT_FALSE(f.DesignFilter(0, nullptr));
}

TEST(ChnsFilter, ConversionsAndUnknownTypes) {
    ExposedChns e;
    char s[4] = {0, 0, 0, 0};
    e.ConvertData(32768.0f, s, 0);
    EXPECT_EQ(e.ConvertData(s, 0), -32768.0f);
    e.ConvertData(-1.7f, s, 0);
    EXPECT_EQ(e.ConvertData(s, 0), -1.0f);

    // -17 through a 10-tap average is -1.7, stored as -1.
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(1, 2, 100.0f));
    CFilterParam p = Average(10);
    ASSERT_TRUE(f.DesignFilter(0, &p));
    std::vector<char> b = PackFrames(std::vector<std::int16_t>{-17});
    f.InputDataAndDeal(b.data(), 0, 2);
    EXPECT_EQ(UnpackFrames<std::int16_t>(b)[0], -1);

    // An unknown type filters zeros and writes nothing, but the stream moves
    // on: after 4, 4 and two zero frames, a 0 averages to 4 / 4.
    CChnsFilterFunc g;
    ASSERT_TRUE(g.Init(1, 4, 100.0f));
    p = Average(4);
    ASSERT_TRUE(g.DesignFilter(0, &p));
    EXPECT_EQ(FilterFloats(g, {4, 4}), (std::vector<float>{1, 2}));
    EXPECT_EQ(FilterFloats(g, {9, 9}, 3), (std::vector<float>{9, 9}));
    EXPECT_EQ(FilterFloats(g, {0}), (std::vector<float>{1}));
}

TEST(ChnsFilter, BuffersGrowOnlyAndRedesignRestarts) {
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(1, 4, 100.0f));
    CFilterParam p = Average(2);
    ASSERT_TRUE(f.DesignFilter(0, &p));
    FilterFloats(f, std::vector<float>(100, 1.0f));
    FilterFloats(f, std::vector<float>(50, 1.0f));
    EXPECT_EQ(f.m_ppChannels[0]->m_nCapacity, 100);
    ASSERT_TRUE(f.DesignFilter(0, &p));  // zero history again
    EXPECT_EQ(FilterFloats(f, {6, 6}), (std::vector<float>{3, 6}));
}

TEST(ChnsFilter, ChannelWhoseDesignFailsAfterValidationPassesThrough) {
    TraceCapture quiet;
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(1, 4, 1000.0f));
    CFilterParam p = Average(2);
    ASSERT_TRUE(f.DesignFilter(0, &p));
    EXPECT_EQ(FilterFloats(f, {4, 8}), (std::vector<float>{2, 6}));

    // Butterworth low-pass 100 / 300 Hz, 3 dB / 20 dB: the order estimate
    // 0.5 log10(99 / 0.995) / log10(tan(0.3 pi) / tan(0.1 pi)) + 0.9 = 2.49
    // truncates to 2, below the lowest order 3. Validation passes, so the
    // channel stays enabled, but there are no coefficients to filter with.
    CFilterParam lp{};
    lp.m_nDesignMethod = DM_BUTTERWORTH;
    lp.m_nBandType = BAND_LOWPASS;
    lp.m_dFreq1 = 100.0;
    lp.m_dFreq2 = 300.0;
    lp.m_dFreq3 = 320.0;
    lp.m_dFreq4 = 350.0;
    lp.m_dPassRipple = 3.0;
    lp.m_dStopAtten = 20.0;
    ASSERT_TRUE(f.DesignFilter(0, &lp));
    ASSERT_TRUE(f.m_ppChannels[0]->m_bEnabled);
    ASSERT_FALSE(f.m_ppChannels[0]->m_pFilterUser->GetIsStability());
    // The samples come back as they went in, not the previous block's output.
    EXPECT_EQ(FilterFloats(f, {10, -20}), (std::vector<float>{10, -20}));
    EXPECT_EQ(FilterFloats(f, {1.5f, 2.5f, 3.5f}), (std::vector<float>{1.5f, 2.5f, 3.5f}));
}
