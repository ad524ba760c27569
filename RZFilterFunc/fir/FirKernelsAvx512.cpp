// FIR sums built with the avx512 instruction set: eight doubles per register, four
// registers of outputs per step. Everything here has internal linkage except
// the rzf::kernels::avx512 entry points, so no code of this level can stand in
// for a baseline function.
#include <immintrin.h>

#include "RZFilterFunc/fir/FirKernels.h"

namespace rzf::kernels {
namespace {

constexpr int kLanes = 8;
constexpr int kRegisters = 4;

template <FirTerm kTerm>
inline __m512d TermLanes(__m512d sample, __m512d tap) {
    if (kTerm == FirTerm::SampleTimesTap) {
        return _mm512_mul_pd(sample, tap);
    }
    const __m512d p = _mm512_mul_pd(tap, sample);
    if (kTerm == FirTerm::TapTimesSample) {
        return p;
    }
    // Rounds each product to single precision and widens it back, exactly as
    // the scalar conversions do (both follow the rounding mode in MXCSR). The
    // zero-masked forms with every lane selected are the plain conversions
    // (the unmasked intrinsics trip a maybe-uninitialized warning in GCC 12).
    const __mmask8 allLanes = 0xFF;
    return _mm512_maskz_cvtps_pd(allLanes, _mm512_maskz_cvtpd_ps(allLanes, p));
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
        __m512d acc0 = _mm512_setzero_pd();
        __m512d acc1 = _mm512_setzero_pd();
        __m512d acc2 = _mm512_setzero_pd();
        __m512d acc3 = _mm512_setzero_pd();
        for (int m = length - 1; m >= 0; --m) {
            const __m512d tap = _mm512_set1_pd(taps[m]);
            const double* s = window + i + m;
            acc0 = _mm512_add_pd(acc0, TermLanes<kTerm>(_mm512_loadu_pd(s), tap));
            acc1 = _mm512_add_pd(acc1, TermLanes<kTerm>(_mm512_loadu_pd(s + kLanes), tap));
            acc2 = _mm512_add_pd(acc2, TermLanes<kTerm>(_mm512_loadu_pd(s + 2 * kLanes), tap));
            acc3 = _mm512_add_pd(acc3, TermLanes<kTerm>(_mm512_loadu_pd(s + 3 * kLanes), tap));
        }
        _mm512_storeu_pd(sums + i, acc0);
        _mm512_storeu_pd(sums + i + kLanes, acc1);
        _mm512_storeu_pd(sums + i + 2 * kLanes, acc2);
        _mm512_storeu_pd(sums + i + 3 * kLanes, acc3);
    }
    for (; i + kLanes <= count; i += kLanes) {
        __m512d acc = _mm512_setzero_pd();
        for (int m = length - 1; m >= 0; --m) {
            acc = _mm512_add_pd(
                acc, TermLanes<kTerm>(_mm512_loadu_pd(window + i + m), _mm512_set1_pd(taps[m])));
        }
        _mm512_storeu_pd(sums + i, acc);
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

namespace avx512 {
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
}  // namespace avx512

}  // namespace rzf::kernels
