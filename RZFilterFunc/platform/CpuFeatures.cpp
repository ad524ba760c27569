#include "RZFilterFunc/platform/CpuFeatures.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#if defined(RZF_ISA_DISPATCH) && (defined(__GNUC__) || defined(__clang__))
#include <cpuid.h>
#define RZF_CPUID_GNU 1
#elif defined(RZF_ISA_DISPATCH) && defined(_MSC_VER)
#include <immintrin.h>
#include <intrin.h>
#define RZF_CPUID_MSVC 1
#endif

namespace rzf::platform {

namespace {

// CPUID leaf 1 ECX, leaf 7 EBX and XCR0 bits the kernels rely on.
constexpr unsigned kEcxOsxsave = 1u << 27;
constexpr unsigned kEcxAvx = 1u << 28;
constexpr unsigned kEbxAvx2 = 1u << 5;
constexpr unsigned kEbxAvx512F = 1u << 16;
constexpr unsigned kEbxAvx512DQ = 1u << 17;
constexpr unsigned kEbxAvx512BW = 1u << 30;
constexpr unsigned kEbxAvx512VL = 1u << 31;
constexpr unsigned long long kXcr0AvxState = 0x6;      // XMM and YMM
constexpr unsigned long long kXcr0Avx512State = 0xE6;  // plus opmask, ZMM halves

#if defined(RZF_CPUID_GNU) || defined(RZF_CPUID_MSVC)
struct CpuidRegisters {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
};

CpuidRegisters Cpuid(unsigned leaf, unsigned subleaf) {
    CpuidRegisters r;
#if defined(RZF_CPUID_GNU)
    // The compilers disagree on the signedness of the result.
    if (static_cast<unsigned>(__get_cpuid_max(0, nullptr)) < leaf) {
        return r;
    }
    __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
#else
    int regs[4] = {0, 0, 0, 0};
    __cpuidex(regs, static_cast<int>(leaf), static_cast<int>(subleaf));
    r.eax = static_cast<unsigned>(regs[0]);
    r.ebx = static_cast<unsigned>(regs[1]);
    r.ecx = static_cast<unsigned>(regs[2]);
    r.edx = static_cast<unsigned>(regs[3]);
#endif
    return r;
}

unsigned long long ReadXcr0() {
#if defined(RZF_CPUID_GNU)
    unsigned eax = 0, edx = 0;
    __asm__ volatile("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
    return (static_cast<unsigned long long>(edx) << 32) | eax;
#else
    return _xgetbv(0);
#endif
}

IsaLevel Probe() {
    const CpuidRegisters leaf1 = Cpuid(1, 0);
    if ((leaf1.ecx & kEcxOsxsave) == 0 || (leaf1.ecx & kEcxAvx) == 0) {
        return IsaLevel::Baseline;
    }
    const unsigned long long xcr0 = ReadXcr0();
    if ((xcr0 & kXcr0AvxState) != kXcr0AvxState) {
        return IsaLevel::Baseline;
    }
    const CpuidRegisters leaf7 = Cpuid(7, 0);
    if ((leaf7.ebx & kEbxAvx2) == 0) {
        return IsaLevel::Baseline;
    }
    const unsigned avx512Needed = kEbxAvx512F | kEbxAvx512DQ | kEbxAvx512BW | kEbxAvx512VL;
    if ((leaf7.ebx & avx512Needed) == avx512Needed &&
        (xcr0 & kXcr0Avx512State) == kXcr0Avx512State) {
        return IsaLevel::Avx512;
    }
    return IsaLevel::Avx2;
}
#else
IsaLevel Probe() {
    return IsaLevel::Baseline;
}
#endif

IsaLevel Cap(IsaLevel wanted) {
    const IsaLevel detected = DetectedIsa();
    return static_cast<int>(wanted) < static_cast<int>(detected) ? wanted : detected;
}

IsaLevel FromEnvironment() {
    IsaLevel level = DetectedIsa();
    const char* requested = std::getenv("RZF_ISA");
    IsaLevel parsed;
    if (requested != nullptr && ParseIsaName(requested, &parsed)) {
        level = Cap(parsed);
    }
    return level;
}

std::atomic<int>& ActiveSlot() {
    static std::atomic<int> slot{static_cast<int>(FromEnvironment())};
    return slot;
}

}  // namespace

IsaLevel DetectedIsa() {
    static const IsaLevel detected = Probe();
    return detected;
}

IsaLevel ActiveIsa() {
    return static_cast<IsaLevel>(ActiveSlot().load(std::memory_order_relaxed));
}

IsaLevel OverrideActiveIsa(IsaLevel level) {
    return static_cast<IsaLevel>(
        ActiveSlot().exchange(static_cast<int>(Cap(level)), std::memory_order_relaxed));
}

const char* IsaName(IsaLevel level) {
    switch (level) {
        case IsaLevel::Avx2:
            return "avx2";
        case IsaLevel::Avx512:
            return "avx512";
        case IsaLevel::Baseline:
            break;
    }
    return "baseline";
}

bool ParseIsaName(const char* name, IsaLevel* level) {
    if (name == nullptr || level == nullptr) {
        return false;
    }
    for (IsaLevel candidate : {IsaLevel::Baseline, IsaLevel::Avx2, IsaLevel::Avx512}) {
        if (std::strcmp(name, IsaName(candidate)) == 0) {
            *level = candidate;
            return true;
        }
    }
    return false;
}

}  // namespace rzf::platform
