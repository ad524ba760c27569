// FIR sums built with the avx2 instruction set: four doubles per register, four
// registers of outputs per step. Everything here has internal linkage except
// the rzf::kernels::avx2 entry points, so no code of this level can stand in
// for a baseline function.
#include <immintrin.h>

#include "RZFilterFunc/fir/FirKernels.h"

namespace rzf::kernels {
namespace {

constexpr int kLanes = 4;
constexpr int kRegisters = 4;

template <FirTerm kTerm>
inline __m256d TermLanes(__m256d sample, __m256d tap) {
    if (kTerm == FirTerm::SampleTimesTap) {
        return _mm256_mul_pd(sample, tap);
    }
    const __m256d p = _mm256_mul_pd(tap, sample);
    if (kTerm == FirTerm::TapTimesSample) {
        return p;
    }
    // Rounds each product to single precision and widens it back, exactly as
    // the scalar conversions do (both follow the rounding mode in MXCSR).
    return _mm256_cvtps_pd(_mm256_cvtpd_ps(p));
}

template <FirTerm kTerm>
inline double TermScalar(double sample, double tap) {
    if (kTerm == FirTerm::SampleTimesTap) {
        return sample * tap;
    }
    if (kTerm == FirTerm::TapTimesSample) {
        return tap * sample;
    }
    return static_cast<double>(static_cast<float>(tap * sample));
}

template <FirTerm kTerm>
void Sums(const double* window, const double* taps, int length, double* sums, int count) {
    int i = 0;
    for (; i + kRegisters * kLanes <= count; i += kRegisters * kLanes) {
        __m256d acc0 = _mm256_setzero_pd();
        __m256d acc1 = _mm256_setzero_pd();
        __m256d acc2 = _mm256_setzero_pd();
        __m256d acc3 = _mm256_setzero_pd();
        for (int m = length - 1; m >= 0; --m) {
            const __m256d tap = _mm256_broadcast_sd(taps + m);
            const double* s = window + i + m;
            acc0 = _mm256_add_pd(acc0, TermLanes<kTerm>(_mm256_loadu_pd(s), tap));
            acc1 = _mm256_add_pd(acc1, TermLanes<kTerm>(_mm256_loadu_pd(s + kLanes), tap));
            acc2 = _mm256_add_pd(acc2, TermLanes<kTerm>(_mm256_loadu_pd(s + 2 * kLanes), tap));
            acc3 = _mm256_add_pd(acc3, TermLanes<kTerm>(_mm256_loadu_pd(s + 3 * kLanes), tap));
        }
        _mm256_storeu_pd(sums + i, acc0);
        _mm256_storeu_pd(sums + i + kLanes, acc1);
        _mm256_storeu_pd(sums + i + 2 * kLanes, acc2);
        _mm256_storeu_pd(sums + i + 3 * kLanes, acc3);
    }
    for (; i + kLanes <= count; i += kLanes) {
        __m256d acc = _mm256_setzero_pd();
        for (int m = length - 1; m >= 0; --m) {
            acc = _mm256_add_pd(acc, TermLanes<kTerm>(_mm256_loadu_pd(window + i + m),
                                                      _mm256_broadcast_sd(taps + m)));
        }
        _mm256_storeu_pd(sums + i, acc);
    }
    for (; i < count; ++i) {
        double acc = 0.0;
        for (int m = length - 1; m >= 0; --m) {
            acc += TermScalar<kTerm>(window[i + m], taps[m]);
        }
        sums[i] = acc;
    }
}

}  // namespace

namespace avx2 {
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
}  // namespace avx2

}  // namespace rzf::kernels
