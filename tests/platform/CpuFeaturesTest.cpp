#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "RZFilterFunc/platform/CpuFeatures.h"

using rzf::platform::IsaLevel;

namespace {

// Restores the active level when a test ends, whatever it asserted.
class ActiveIsaGuard {
public:
    ActiveIsaGuard() : saved_(rzf::platform::ActiveIsa()) {}
    ~ActiveIsaGuard() { rzf::platform::OverrideActiveIsa(saved_); }
    ActiveIsaGuard(const ActiveIsaGuard&) = delete;
    ActiveIsaGuard& operator=(const ActiveIsaGuard&) = delete;

private:
    IsaLevel saved_;
};

// Flags of the first processor as the Linux kernel lists them.
std::set<std::string> ProcCpuFlags() {
    std::ifstream cpuinfo("/proc/cpuinfo");
    std::string line;
    while (std::getline(cpuinfo, line)) {
        if (line.rfind("flags", 0) == 0) {
            std::istringstream words(line.substr(line.find(':') + 1));
            std::set<std::string> flags;
            for (std::string w; words >> w;) {
                flags.insert(w);
            }
            return flags;
        }
    }
    return {};
}

// valgrind preloads its own libraries into the program it runs.
bool UnderValgrind() {
    const char* preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
}

}  // namespace

TEST(CpuFeatures, NamesRoundTripAndUnknownNamesAreRefused) {
    for (IsaLevel level : {IsaLevel::Baseline, IsaLevel::Avx2, IsaLevel::Avx512}) {
        IsaLevel parsed = IsaLevel::Baseline;
        ASSERT_TRUE(rzf::platform::ParseIsaName(rzf::platform::IsaName(level), &parsed));
        EXPECT_EQ(parsed, level);
    }
    IsaLevel untouched = IsaLevel::Avx2;
    for (const char* bad : {"", "AVX2", "sse2", "avx2 ", "native"}) {
        EXPECT_FALSE(rzf::platform::ParseIsaName(bad, &untouched)) << bad;
    }
    EXPECT_FALSE(rzf::platform::ParseIsaName(nullptr, &untouched));
    EXPECT_EQ(untouched, IsaLevel::Avx2);
}

TEST(CpuFeatures, OverrideIsCappedAtWhatTheProcessorRuns) {
    ActiveIsaGuard guard;
    const IsaLevel detected = rzf::platform::DetectedIsa();
    rzf::platform::OverrideActiveIsa(IsaLevel::Avx512);
    EXPECT_EQ(rzf::platform::ActiveIsa(), detected);
    rzf::platform::OverrideActiveIsa(IsaLevel::Baseline);
    EXPECT_EQ(rzf::platform::ActiveIsa(), IsaLevel::Baseline);
}

TEST(CpuFeatures, DetectionAgreesWithTheKernelsFlagList) {
    const std::set<std::string> flags = ProcCpuFlags();
    if (flags.empty()) {
        GTEST_SKIP() << "no /proc/cpuinfo flags on this system";
    }
#if defined(RZF_ISA_DISPATCH)
    const bool avx2 = flags.count("avx2") != 0;
    const bool avx512 = flags.count("avx512f") && flags.count("avx512dq") &&
                        flags.count("avx512bw") && flags.count("avx512vl");
    const IsaLevel expected =
        avx512 ? IsaLevel::Avx512 : (avx2 ? IsaLevel::Avx2 : IsaLevel::Baseline);
    // Never more than the processor has. Under valgrind the emulated processor
    // hides some extensions from CPUID, so there it may be less.
    EXPECT_LE(static_cast<int>(rzf::platform::DetectedIsa()), static_cast<int>(expected));
    if (!UnderValgrind()) {
        EXPECT_EQ(rzf::platform::DetectedIsa(), expected);
    }
#else
    EXPECT_EQ(rzf::platform::DetectedIsa(), IsaLevel::Baseline);
#endif
}
