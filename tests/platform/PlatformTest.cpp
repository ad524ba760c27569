#include <gtest/gtest.h>

#include <RZFilterFunc/platform/HardWareConfig.h>
#include <RZFilterFunc/platform/NumericConvert.h>
#include <RZFilterFunc/platform/RZPlatForm.h>

#include <cmath>
#include <limits>

#include "TraceCapture.h"

TEST(Platform, HardwareFlagDefaultsToFalse) {
    EXPECT_FALSE(HardWareConfig::g_bIs7306K_FirFunc);
}

TEST(Platform, TraceSinkReceivesLinesAndNestsCleanly) {
    TraceCapture outer;
    CRZPlatForm::RZTRACE("first");
    {
        TraceCapture inner;
        CRZPlatForm::RZTRACE("second");
        ASSERT_EQ(inner.Lines().size(), 1u);
        EXPECT_EQ(inner.Lines()[0], "second");
    }
    CRZPlatForm::RZTRACE("third");
    CRZPlatForm::RZTRACE(nullptr);  // ignored
    ASSERT_EQ(outer.Lines().size(), 2u);
    EXPECT_EQ(outer.Lines()[0], "first");
    EXPECT_EQ(outer.Lines()[1], "third");
}

TEST(Platform, TruncationFollowsTheIntegerIndefiniteRule) {
    EXPECT_EQ(rzf::TruncToInt32(-1.7), -1);
    EXPECT_EQ(rzf::TruncToInt32(1.9999), 1);
    EXPECT_EQ(rzf::TruncToInt32(2147483647.9), 2147483647);
    EXPECT_EQ(rzf::TruncToInt32(-2147483648.9), INT32_MIN);
    EXPECT_EQ(rzf::TruncToInt32(2147483648.0), INT32_MIN);
    EXPECT_EQ(rzf::TruncToInt32(-3e10), INT32_MIN);
    EXPECT_EQ(rzf::TruncToInt32(std::numeric_limits<double>::quiet_NaN()), INT32_MIN);
    EXPECT_EQ(rzf::TruncToInt32(std::numeric_limits<double>::infinity()), INT32_MIN);
}

TEST(Platform, LowBitsWrapLikeTwosComplement) {
    EXPECT_EQ(rzf::LowBits16(40000), -25536);
    EXPECT_EQ(rzf::LowBits16(32768), -32768);
    EXPECT_EQ(rzf::LowBits16(-1), -1);
    EXPECT_EQ(rzf::LowBits16(INT32_MIN), 0);
    EXPECT_EQ(rzf::LowBits16(65537), 1);
}
