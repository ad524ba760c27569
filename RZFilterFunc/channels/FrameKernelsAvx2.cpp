// Lane kernels for AVX2 (built without FMA): four doubles per register.
#include <immintrin.h>

#include "RZFilterFunc/channels/FrameKernelBody.h"

namespace rzf::detail {
namespace {

struct Avx2Ops {
    static constexpr int kLanes = 4;
    using V = __m256d;

    static V Load(const double* p) { return _mm256_loadu_pd(p); }
    static void Store(double* p, V x) { _mm256_storeu_pd(p, x); }
    static V Zero() { return _mm256_setzero_pd(); }
    static V Add(V x, V y) { return _mm256_add_pd(x, y); }
    static V Sub(V x, V y) { return _mm256_sub_pd(x, y); }
    static V Mul(V x, V y) { return _mm256_mul_pd(x, y); }
    static V RoundToFloat(V x) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(x)); }

    static void ReadInt16(const char* p, double* out) {
        const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        _mm256_storeu_pd(out, _mm256_cvtepi32_pd(_mm_cvtepi16_epi32(v)));
    }
    // 32-bit samples become the nearest float first.
    static void ReadInt32(const char* p, double* out) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        _mm256_storeu_pd(out, _mm256_cvtps_pd(_mm_cvtepi32_ps(v)));
    }
    static void ReadFloat(const char* p, double* out) {
        _mm256_storeu_pd(out, _mm256_cvtps_pd(_mm_loadu_ps(reinterpret_cast<const float*>(p))));
    }
    // Truncation gives INT32_MIN for NaN and out-of-range values, as the
    // one-sample conversion does.
    static __m128i Truncated(const double* y) {
        return _mm_cvttps_epi32(_mm256_cvtpd_ps(_mm256_loadu_pd(y)));
    }
    static void WriteInt16(const double* y, char* p) {
        const __m128i lowHalves =
            _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi8(Truncated(y), lowHalves));
    }
    static void WriteInt32(const double* y, char* p) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), Truncated(y));
    }
    static void WriteFloat(const double* y, char* p) {
        _mm_storeu_ps(reinterpret_cast<float*>(p), _mm256_cvtpd_ps(_mm256_loadu_pd(y)));
    }
};

// 16 vector registers: two registers of lanes of an order-N state take 2N.
constexpr int kAvx2WideIirMaxOrder = 4;

const FrameKernelSet kAvx2Kernels = {Avx2Ops::kLanes, kAvx2WideIirMaxOrder, &RunIir<Avx2Ops>,
                                     &RunFir<Avx2Ops>};

}  // namespace

const FrameKernelSet& FrameKernelsAvx2() {
    return kAvx2Kernels;
}

}  // namespace rzf::detail
