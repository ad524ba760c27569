#include <gtest/gtest.h>

#include <RZFilterFunc/platform/HardWareConfig.h>
#include <RZFilterFunc/platform/NumericConvert.h>
#include <RZFilterFunc/platform/RZPlatForm.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "IsaLevels.h"
#include "TraceCapture.h"

using rzf::platform::IsaLevel;

TEST(Platform, HardwareFlagDefaultsToFalse) {
    EXPECT_FALSE(HardWareConfig::g_bIs7306K_FirFunc);
}

TEST(Platform, NestedTraceSinksRestoreTheOuterOne) {
    TraceCapture outer;
    CRZPlatForm::RZTRACE("first");
    {
        TraceCapture inner;
        CRZPlatForm::RZTRACE("second");
        EXPECT_EQ(inner.Lines(), std::vector<std::string>{"second"});
    }
    CRZPlatForm::RZTRACE("third");
    CRZPlatForm::RZTRACE(nullptr);  // ignored
    EXPECT_EQ(outer.Lines(), (std::vector<std::string>{"first", "third"}));
}

// Toward zero; NaN and beyond int32 give INT32_MIN, as the processor's conversion.
TEST(Platform, TruncationFollowsTheIntegerIndefiniteRule) {
    const std::pair<double, std::int32_t> cases[] = {{-1.7, -1},
                                                     {1.9999, 1},
                                                     {2147483647.9, INT32_MAX},
                                                     {-2147483648.9, INT32_MIN},
                                                     {2147483648.0, INT32_MIN},
                                                     {-3e10, INT32_MIN},
                                                     {NAN, INT32_MIN},
                                                     {INFINITY, INT32_MIN}};
    for (const auto& [v, want] : cases)
        EXPECT_EQ(rzf::TruncToInt32(v), want) << v;
}

TEST(Platform, LowBitsWrapLikeTwosComplement) {
    const std::pair<std::int32_t, std::int16_t> cases[] = {
        {40000, -25536}, {32768, -32768}, {-1, -1}, {INT32_MIN, 0}, {65537, 1}};
    for (const auto& [v, want] : cases)
        EXPECT_EQ(rzf::LowBits16(v), want) << v;
}

TEST(CpuFeatures, OnlyTheLevelNamesParse) {
    for (IsaLevel level : {IsaLevel::Baseline, IsaLevel::Avx2, IsaLevel::Avx512}) {
        IsaLevel parsed = IsaLevel::Baseline;
        ASSERT_TRUE(rzf::platform::ParseIsaName(rzf::platform::IsaName(level), &parsed));
        EXPECT_EQ(parsed, level);
    }
    IsaLevel untouched = IsaLevel::Avx2;
    for (const char* bad : std::initializer_list<const char*>{"", "AVX2", "avx2 ", nullptr})
        EXPECT_FALSE(rzf::platform::ParseIsaName(bad, &untouched)) << bad;
    EXPECT_EQ(untouched, IsaLevel::Avx2);
}

// The first use takes its level from RZF_ISA (capped at what the processor
// runs), or the detected level when it is unset or names no level; CTest also
// runs this test with RZF_ISA set to "baseline" and to an unknown name.
TEST(CpuFeatures, EnvironmentChoosesTheStartingLevel) {
    const char* requested = std::getenv("RZF_ISA");
    IsaLevel expected = rzf::platform::DetectedIsa();
    IsaLevel parsed = IsaLevel::Baseline;
    if (requested != nullptr && rzf::platform::ParseIsaName(requested, &parsed)) {
        expected = std::min(parsed, expected);
    }
    EXPECT_EQ(rzf::platform::ActiveIsa(), expected) << (requested ? requested : "(unset)");
}

TEST(CpuFeatures, OverrideIsCappedAtWhatTheProcessorRuns) {
    rzf::test::ScopedIsaLevel scope(IsaLevel::Avx512);  // restores the level on exit
    EXPECT_EQ(rzf::platform::ActiveIsa(), rzf::platform::DetectedIsa());
    EXPECT_EQ(rzf::platform::OverrideActiveIsa(IsaLevel::Baseline), rzf::platform::DetectedIsa());
    EXPECT_EQ(rzf::platform::ActiveIsa(), IsaLevel::Baseline);
}

// Never more than the kernel's flag list of the first processor shows; equal
// except under valgrind, whose emulated processor hides some extensions.
TEST(CpuFeatures, DetectionAgreesWithTheKernelsFlagList) {
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string line;
    while (std::getline(cpuinfo, line) && line.rfind("flags", 0) != 0) {
    }
    if (line.rfind("flags", 0) != 0)
        GTEST_SKIP() << "no /proc/cpuinfo flags on this system";
#if defined(RZF_ISA_DISPATCH)
    const auto has = [&](const std::string& flag) {
        return (line + " ").find(" " + flag + " ") != std::string::npos;
    };
    const bool avx512 = has("avx512f") && has("avx512dq") && has("avx512bw") && has("avx512vl");
    const IsaLevel expected =
        avx512 ? IsaLevel::Avx512 : (has("avx2") ? IsaLevel::Avx2 : IsaLevel::Baseline);
    const char* preload = std::getenv("LD_PRELOAD");
    if (preload != nullptr && std::strstr(preload, "vgpreload") != nullptr)
        EXPECT_LE(static_cast<int>(rzf::platform::DetectedIsa()), static_cast<int>(expected));
    else
        EXPECT_EQ(rzf::platform::DetectedIsa(), expected);
#else
    EXPECT_EQ(rzf::platform::DetectedIsa(), IsaLevel::Baseline);
#endif
}
