// Built with AVX-512 (no FMA); everything here stays in this file's namespaces so
// no out-of-line copy can be shared with the baseline build.
#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "RZFilterFunc/integrate/IntegralKernels.h"
#include "RZFilterFunc/platform/UnrollHint.h"

namespace rzf::integ::avx512 {

namespace {

// Raw sample type codes (those of base/SampleCodec.h, whose inline functions
// this file does not include, so that it shares no code with the baseline).
constexpr int kInt16Code = 0;
constexpr int kFloatCode = 1;
constexpr int kInt32Code = 2;

// Conversions take an all-lanes zero-masked form: GCC 12 warns about the
// undefined pass-through operand of the plain forms.
constexpr __mmask8 kAllLanes = 0xFF;

constexpr int kLanes = 8;           // doubles per vector
constexpr int kVectorsPerPass = 4;  // 32 channels per pass of the frame loop

// Truncation toward zero to 64 bits; NaN and values outside the 64-bit range
// give the most negative 64-bit integer (low 32 and 16 bits zero).
std::int64_t Trunc64(double v) {
    if (!(v >= -9223372036854775808.0 && v < 9223372036854775808.0)) {
        return std::numeric_limits<std::int64_t>::min();
    }
    return static_cast<std::int64_t>(v);
}

// Rounds to single precision; beyond the float range the IEEE infinities.
float ToFloat(double v) {
    const double overflow = 340282356779733661637539395458142568448.0;  // 2^128 - 2^103
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    if (v >= overflow) {
        return kInfinity;
    }
    if (v <= -overflow) {
        return -kInfinity;
    }
    return static_cast<float>(v);
}

template <typename T>
double LoadOne(const char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return static_cast<double>(v);
}

template <typename T>
void StoreOne(double v, char* p) {
    if constexpr (std::is_same_v<T, float>) {
        const float s = ToFloat(v);
        std::memcpy(p, &s, sizeof s);
    } else {
        const T s = static_cast<T>(static_cast<std::uint64_t>(Trunc64(v)));  // low bits kept
        std::memcpy(p, &s, sizeof s);
    }
}

// Eight samples, adjacent or at their own offsets, as doubles.
template <typename T, bool kAdjacent>
__m512d Load8(const char* frame, const std::ptrdiff_t* off) {
    if constexpr (kAdjacent) {
        const char* p = frame + off[0];
        if constexpr (sizeof(T) == 2) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            return _mm512_maskz_cvtepi32_pd(kAllLanes, _mm256_cvtepi16_epi32(v));
        } else if constexpr (std::is_same_v<T, float>) {
            return _mm512_maskz_cvtps_pd(kAllLanes,
                                         _mm256_loadu_ps(reinterpret_cast<const float*>(p)));
        } else {
            return _mm512_maskz_cvtepi32_pd(
                kAllLanes, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
        }
    } else {
        return _mm512_set_pd(LoadOne<T>(frame + off[7]), LoadOne<T>(frame + off[6]),
                             LoadOne<T>(frame + off[5]), LoadOne<T>(frame + off[4]),
                             LoadOne<T>(frame + off[3]), LoadOne<T>(frame + off[2]),
                             LoadOne<T>(frame + off[1]), LoadOne<T>(frame + off[0]));
    }
}

template <typename T, bool kAdjacent>
void Store8(__m512d v, char* frame, const std::ptrdiff_t* off) {
    if constexpr (std::is_same_v<T, float>) {
        // Rounding to single precision overflows to the infinities, as IEEE says.
        const __m256 f = _mm512_maskz_cvtpd_ps(kAllLanes, v);
        if constexpr (kAdjacent) {
            _mm256_storeu_ps(reinterpret_cast<float*>(frame + off[0]), f);
        } else {
            alignas(32) float r[kLanes];
            _mm256_store_ps(r, f);
            for (int l = 0; l < kLanes; ++l) {
                std::memcpy(frame + off[l], &r[l], sizeof(float));
            }
        }
    } else {
        // 64-bit truncation (NaN and out of range: the most negative value),
        // then the low 16 or 32 bits.
        const __m512i q = _mm512_maskz_cvttpd_epi64(kAllLanes, v);
        alignas(32) T r[kLanes];
        if constexpr (sizeof(T) == 2) {
            const __m128i i = _mm512_maskz_cvtepi64_epi16(kAllLanes, q);
            if constexpr (kAdjacent) {
                _mm_storeu_si128(reinterpret_cast<__m128i*>(frame + off[0]), i);
                return;
            }
            _mm_store_si128(reinterpret_cast<__m128i*>(r), i);
        } else {
            const __m256i i = _mm512_maskz_cvtepi64_epi32(kAllLanes, q);
            if constexpr (kAdjacent) {
                _mm256_storeu_si256(reinterpret_cast<__m256i*>(frame + off[0]), i);
                return;
            }
            _mm256_store_si256(reinterpret_cast<__m256i*>(r), i);
        }
        for (int l = 0; l < kLanes; ++l) {
            std::memcpy(frame + off[l], &r[l], sizeof(T));
        }
    }
}

// V vectors of channels starting at channel `first`, running values in registers.
template <typename T, int V, bool kAdjacent>
void Pass(char* data, std::ptrdiff_t frameBytes, int nFrames, const IntegralLanes& lanes,
          int first) {
    __m512d sum[V], prev[V], div[V];
    const std::ptrdiff_t* off = lanes.offsets + first;
    RZF_UNROLL
    for (int v = 0; v < V; ++v) {
        sum[v] = _mm512_loadu_pd(lanes.sums + first + v * kLanes);
        prev[v] = _mm512_loadu_pd(lanes.prevs + first + v * kLanes);
        div[v] = _mm512_loadu_pd(lanes.divisors + first + v * kLanes);
    }
    for (int f = 0; f < nFrames; ++f) {
        char* frame = data + f * frameBytes;
        RZF_UNROLL
        for (int v = 0; v < V; ++v) {
            const __m512d x = Load8<T, kAdjacent>(frame, off + v * kLanes);
            sum[v] = _mm512_add_pd(sum[v], _mm512_div_pd(_mm512_add_pd(x, prev[v]), div[v]));
            prev[v] = x;
            Store8<T, kAdjacent>(sum[v], frame, off + v * kLanes);
        }
    }
    RZF_UNROLL
    for (int v = 0; v < V; ++v) {
        _mm512_storeu_pd(lanes.sums + first + v * kLanes, sum[v]);
        _mm512_storeu_pd(lanes.prevs + first + v * kLanes, prev[v]);
    }
}

// One channel with its running values in locals.
template <typename T>
void Single(char* data, std::ptrdiff_t frameBytes, int nFrames, const IntegralLanes& lanes, int c) {
    double sum = lanes.sums[c];
    double prev = lanes.prevs[c];
    const double div = lanes.divisors[c];
    char* p = data + lanes.offsets[c];
    for (int f = 0; f < nFrames; ++f, p += frameBytes) {
        const double x = LoadOne<T>(p);
        sum = sum + (x + prev) / div;
        prev = x;
        StoreOne<T>(sum, p);
    }
    lanes.sums[c] = sum;
    lanes.prevs[c] = prev;
}

template <typename T, bool kAdjacent>
void Typed(char* data, std::ptrdiff_t frameBytes, int nFrames, const IntegralLanes& lanes) {
    constexpr int kPass = kVectorsPerPass * kLanes;
    int c = 0;
    for (; c + kPass <= lanes.count; c += kPass) {
        Pass<T, kVectorsPerPass, kAdjacent>(data, frameBytes, nFrames, lanes, c);
    }
    switch ((lanes.count - c) / kLanes) {
        case 3:
            Pass<T, 3, kAdjacent>(data, frameBytes, nFrames, lanes, c);
            break;
        case 2:
            Pass<T, 2, kAdjacent>(data, frameBytes, nFrames, lanes, c);
            break;
        case 1:
            Pass<T, 1, kAdjacent>(data, frameBytes, nFrames, lanes, c);
            break;
        default:
            break;
    }
    c += (lanes.count - c) / kLanes * kLanes;
    for (; c < lanes.count; ++c) {
        Single<T>(data, frameBytes, nFrames, lanes, c);
    }
}

template <typename T>
void Dispatch(char* data, std::ptrdiff_t frameBytes, int nFrames, const IntegralLanes& lanes) {
    if (lanes.adjacent) {
        Typed<T, true>(data, frameBytes, nFrames, lanes);
    } else {
        Typed<T, false>(data, frameBytes, nFrames, lanes);
    }
}

}  // namespace

void IntegrateFrames(char* data, std::ptrdiff_t frameBytes, int nFrames, int type,
                     const IntegralLanes& lanes) {
    switch (type) {
        case kInt16Code:
            Dispatch<std::int16_t>(data, frameBytes, nFrames, lanes);
            break;
        case kFloatCode:
            Dispatch<float>(data, frameBytes, nFrames, lanes);
            break;
        case kInt32Code:
            Dispatch<std::int32_t>(data, frameBytes, nFrames, lanes);
            break;
        default:
            break;
    }
}

}  // namespace rzf::integ::avx512
