#include "RZFilterFunc/fir/FirKernels.h"

#include "RZFilterFunc/platform/CpuFeatures.h"

namespace rzf::kernels {
namespace {

template <FirTerm kTerm>
inline double Term(double sample, double tap) {
    if (kTerm == FirTerm::SampleTimesTap) {
        return sample * tap;
    }
    if (kTerm == FirTerm::TapTimesSample) {
        return tap * sample;
    }
    return static_cast<double>(static_cast<float>(tap * sample));
}

// Eight outputs per step in plain code (the compiler may keep them in SSE2
// registers); each output's sum runs newest sample first, as in one loop.
template <FirTerm kTerm>
void Sums(const double* window, const double* taps, int length, double* sums, int count) {
    constexpr int kOutputsPerStep = 8;
    int i = 0;
    for (; i + kOutputsPerStep <= count; i += kOutputsPerStep) {
        double acc[kOutputsPerStep] = {};
        for (int m = length - 1; m >= 0; --m) {
            const double tap = taps[m];
            const double* s = window + i + m;
            for (int j = 0; j < kOutputsPerStep; ++j) {
                acc[j] += Term<kTerm>(s[j], tap);
            }
        }
        for (int j = 0; j < kOutputsPerStep; ++j) {
            sums[i + j] = acc[j];
        }
    }
    for (; i < count; ++i) {
        double acc = 0.0;
        for (int m = length - 1; m >= 0; --m) {
            acc += Term<kTerm>(window[i + m], taps[m]);
        }
        sums[i] = acc;
    }
}

struct FirLevel {
    FirSumsFn sampleTimesTap;
    FirSumsFn tapTimesSample;
    FirSumsFn tapTimesSampleSingle;
};

FirLevel LevelKernels(platform::IsaLevel level) {
#if defined(RZF_ISA_DISPATCH)
    if (level == platform::IsaLevel::Avx512) {
        return {avx512::FirSumsSampleTimesTap, avx512::FirSumsTapTimesSample,
                avx512::FirSumsTapTimesSampleSingle};
    }
    if (level == platform::IsaLevel::Avx2) {
        return {avx2::FirSumsSampleTimesTap, avx2::FirSumsTapTimesSample,
                avx2::FirSumsTapTimesSampleSingle};
    }
#else
    (void)level;
#endif
    return {baseline::FirSumsSampleTimesTap, baseline::FirSumsTapTimesSample,
            baseline::FirSumsTapTimesSampleSingle};
}

}  // namespace

namespace baseline {
void FirSumsSampleTimesTap(const double* window, const double* taps, int length, double* sums,
                           int count) {
    Sums<FirTerm::SampleTimesTap>(window, taps, length, sums, count);
}
void FirSumsTapTimesSample(const double* window, const double* taps, int length, double* sums,
                           int count) {
    Sums<FirTerm::TapTimesSample>(window, taps, length, sums, count);
}
void FirSumsTapTimesSampleSingle(const double* window, const double* taps, int length, double* sums,
                                 int count) {
    Sums<FirTerm::TapTimesSampleSingle>(window, taps, length, sums, count);
}
}  // namespace baseline

bool FirSumsKernel::Init(FirTerm term, const double* taps, int length) {
    if (taps == nullptr || length < 1) {
        m_fn = nullptr;
        return false;
    }
    const FirLevel level = LevelKernels(platform::ActiveIsa());
    switch (term) {
        case FirTerm::SampleTimesTap:
            m_fn = level.sampleTimesTap;
            break;
        case FirTerm::TapTimesSample:
            m_fn = level.tapTimesSample;
            break;
        case FirTerm::TapTimesSampleSingle:
            m_fn = level.tapTimesSampleSingle;
            break;
    }
    m_taps = taps;
    m_length = length;
    return m_fn != nullptr;
}

}  // namespace rzf::kernels
