// Baseline lane kernels: SSE2 on pairs of doubles on x86-64, plain C++ on
// other processors.
#include "RZFilterFunc/channels/FrameKernelBody.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define RZF_BASELINE_SSE2 1
#endif

namespace rzf::detail {
namespace {

#if defined(RZF_BASELINE_SSE2)
// Intrinsics rather than plain code: GCC 12's SLP vectoriser was seen to drop
// the float rounding of some products of the plain version.
struct BaselineOps {
    static constexpr int kLanes = 2;
    using V = __m128d;

    static V Load(const double* p) { return _mm_loadu_pd(p); }
    static void Store(double* p, V x) { _mm_storeu_pd(p, x); }
    static V Zero() { return _mm_setzero_pd(); }
    static V Add(V x, V y) { return _mm_add_pd(x, y); }
    static V Sub(V x, V y) { return _mm_sub_pd(x, y); }
    static V Mul(V x, V y) { return _mm_mul_pd(x, y); }
    static V RoundToFloat(V x) { return _mm_cvtps_pd(_mm_cvtpd_ps(x)); }
#else
struct BaselineOps {
    static constexpr int kLanes = 2;
    struct V {
        double v[kLanes];
    };

    static V Load(const double* p) { return V{{p[0], p[1]}}; }
    static void Store(double* p, V x) {
        p[0] = x.v[0];
        p[1] = x.v[1];
    }
    static V Zero() { return V{{0.0, 0.0}}; }
    static V Add(V x, V y) { return V{{x.v[0] + y.v[0], x.v[1] + y.v[1]}}; }
    static V Sub(V x, V y) { return V{{x.v[0] - y.v[0], x.v[1] - y.v[1]}}; }
    static V Mul(V x, V y) { return V{{x.v[0] * y.v[0], x.v[1] * y.v[1]}}; }
    static V RoundToFloat(V x) {
        return V{{static_cast<double>(static_cast<float>(x.v[0])),
                  static_cast<double>(static_cast<float>(x.v[1]))}};
    }
#endif

    static void ReadInt16(const char* p, double* out) {
        out[0] = ReadLane(p, 0);
        out[1] = ReadLane(p + 2, 0);
    }
    static void ReadInt32(const char* p, double* out) {
        out[0] = ReadLane(p, 2);
        out[1] = ReadLane(p + 4, 2);
    }
    static void ReadFloat(const char* p, double* out) {
        out[0] = ReadLane(p, 1);
        out[1] = ReadLane(p + 4, 1);
    }
    static void WriteInt16(const double* y, char* p) {
        WriteLane(y[0], p, 0);
        WriteLane(y[1], p + 2, 0);
    }
    static void WriteInt32(const double* y, char* p) {
        WriteLane(y[0], p, 2);
        WriteLane(y[1], p + 4, 2);
    }
    static void WriteFloat(const double* y, char* p) {
        WriteLane(y[0], p, 1);
        WriteLane(y[1], p + 4, 1);
    }
};

// 16 vector registers: two registers of lanes of an order-N state take 2N.
constexpr int kBaselineWideIirMaxOrder = 4;

const FrameKernelSet kBaselineKernels = {BaselineOps::kLanes, kBaselineWideIirMaxOrder,
                                         &RunIir<BaselineOps>, &RunFir<BaselineOps>};

}  // namespace

const FrameKernelSet& FrameKernelsBaseline() {
    return kBaselineKernels;
}

}  // namespace rzf::detail

#undef RZF_BASELINE_SSE2
