#include "RZFilterFunc/fir/FirKernels.h"

#include "RZFilterFunc/platform/CpuFeatures.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

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

template <FirTerm kTerm>
void OneOutputAtATime(const double* window, const double* taps, int length, double* sums, int from,
                      int count) {
    for (int i = from; i < count; ++i) {
        double acc = 0.0;
        for (int m = length - 1; m >= 0; --m) {
            acc += Term<kTerm>(window[i + m], taps[m]);
        }
        sums[i] = acc;
    }
}

#if defined(__SSE2__) || defined(_M_X64)

// SSE2 (part of every x86-64 processor): two outputs per register, four
// registers per step. Written with intrinsics rather than left to the
// auto-vectoriser, which (GCC 12 at -O3) was seen to drop the single-precision
// rounding from some lanes of the plain eight-output loop.
template <FirTerm kTerm>
inline __m128d TermLanes(__m128d sample, __m128d tap) {
    if (kTerm == FirTerm::SampleTimesTap) {
        return _mm_mul_pd(sample, tap);
    }
    const __m128d p = _mm_mul_pd(tap, sample);
    if (kTerm == FirTerm::TapTimesSample) {
        return p;
    }
    return _mm_cvtps_pd(_mm_cvtpd_ps(p));
}

template <FirTerm kTerm>
void Sums(const double* window, const double* taps, int length, double* sums, int count) {
    constexpr int kLanes = 2;
    constexpr int kOutputsPerStep = 4 * kLanes;
    int i = 0;
    for (; i + kOutputsPerStep <= count; i += kOutputsPerStep) {
        __m128d acc0 = _mm_setzero_pd();
        __m128d acc1 = _mm_setzero_pd();
        __m128d acc2 = _mm_setzero_pd();
        __m128d acc3 = _mm_setzero_pd();
        for (int m = length - 1; m >= 0; --m) {
            const __m128d tap = _mm_set1_pd(taps[m]);
            const double* s = window + i + m;
            acc0 = _mm_add_pd(acc0, TermLanes<kTerm>(_mm_loadu_pd(s), tap));
            acc1 = _mm_add_pd(acc1, TermLanes<kTerm>(_mm_loadu_pd(s + kLanes), tap));
            acc2 = _mm_add_pd(acc2, TermLanes<kTerm>(_mm_loadu_pd(s + 2 * kLanes), tap));
            acc3 = _mm_add_pd(acc3, TermLanes<kTerm>(_mm_loadu_pd(s + 3 * kLanes), tap));
        }
        _mm_storeu_pd(sums + i, acc0);
        _mm_storeu_pd(sums + i + kLanes, acc1);
        _mm_storeu_pd(sums + i + 2 * kLanes, acc2);
        _mm_storeu_pd(sums + i + 3 * kLanes, acc3);
    }
    OneOutputAtATime<kTerm>(window, taps, length, sums, i, count);
}

#else

template <FirTerm kTerm>
void Sums(const double* window, const double* taps, int length, double* sums, int count) {
    OneOutputAtATime<kTerm>(window, taps, length, sums, 0, count);
}

#endif

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
