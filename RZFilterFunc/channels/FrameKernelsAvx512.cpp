// Lane kernels for AVX-512 F/DQ/BW/VL (built without FMA): eight doubles per
// register.
#include <immintrin.h>

// GCC 12's AVX-512 conversion intrinsics pass a deliberately undefined
// register as the source of masked-off lanes, which -Wmaybe-uninitialized
// reports once they are inlined here.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include "RZFilterFunc/channels/FrameKernelBody.h"

namespace rzf::detail {
namespace {

struct Avx512Ops {
    static constexpr int kLanes = 8;
    using V = __m512d;

    static V Load(const double* p) { return _mm512_loadu_pd(p); }
    static void Store(double* p, V x) { _mm512_storeu_pd(p, x); }
    static V Zero() { return _mm512_setzero_pd(); }
    static V Add(V x, V y) { return _mm512_add_pd(x, y); }
    static V Sub(V x, V y) { return _mm512_sub_pd(x, y); }
    static V Mul(V x, V y) { return _mm512_mul_pd(x, y); }
    static V RoundToFloat(V x) { return _mm512_cvtps_pd(_mm512_cvtpd_ps(x)); }

    static void ReadInt16(const char* p, double* out) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        _mm512_storeu_pd(out, _mm512_cvtepi32_pd(_mm256_cvtepi16_epi32(v)));
    }
    // 32-bit samples become the nearest float first.
    static void ReadInt32(const char* p, double* out) {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        _mm512_storeu_pd(out, _mm512_cvtps_pd(_mm256_cvtepi32_ps(v)));
    }
    static void ReadFloat(const char* p, double* out) {
        _mm512_storeu_pd(out, _mm512_cvtps_pd(_mm256_loadu_ps(reinterpret_cast<const float*>(p))));
    }
    // Truncation gives INT32_MIN for NaN and out-of-range values, as the
    // one-sample conversion does.
    static __m256i Truncated(const double* y) {
        return _mm256_cvttps_epi32(_mm512_cvtpd_ps(_mm512_loadu_pd(y)));
    }
    // vpmovdw keeps the low 16 bits of each lane (wrap-around).
    static void WriteInt16(const double* y, char* p) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_cvtepi32_epi16(Truncated(y)));
    }
    static void WriteInt32(const double* y, char* p) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), Truncated(y));
    }
    static void WriteFloat(const double* y, char* p) {
        _mm256_storeu_ps(reinterpret_cast<float*>(p), _mm512_cvtpd_ps(_mm512_loadu_pd(y)));
    }
};

// 32 vector registers: two registers of lanes of an order-N state take 2N.
constexpr int kAvx512WideIirMaxOrder = 12;

const FrameKernelSet kAvx512Kernels = {Avx512Ops::kLanes, kAvx512WideIirMaxOrder,
                                       &RunIir<Avx512Ops>, &RunFir<Avx512Ops>};

}  // namespace

const FrameKernelSet& FrameKernelsAvx512() {
    return kAvx512Kernels;
}

}  // namespace rzf::detail
