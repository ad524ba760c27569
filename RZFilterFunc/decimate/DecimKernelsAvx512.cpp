// Built with AVX-512 (no FMA); everything here stays in this file's namespaces so
// no out-of-line copy can be shared with the baseline build.
#include <immintrin.h>
#include <cstddef>

#include "RZFilterFunc/decimate/DecimKernels.h"
#include "RZFilterFunc/platform/UnrollHint.h"

namespace rzf::decim::avx512 {

namespace {

constexpr int kOutputsPerStep = 8;

struct Lanes16 {
    static constexpr int kWidth = 16;
    using V = __m512;
    static V Zero() { return _mm512_setzero_ps(); }
    static V Broadcast(float c) { return _mm512_set1_ps(c); }
    static V Load(const float* p) { return _mm512_loadu_ps(p); }
    static void Store(float* p, V v) { _mm512_storeu_ps(p, v); }
    static V MulAdd(V s, V x, V c) { return _mm512_add_ps(s, _mm512_mul_ps(x, c)); }
};

struct Lanes8 {
    static constexpr int kWidth = 8;
    using V = __m256;
    static V Zero() { return _mm256_setzero_ps(); }
    static V Broadcast(float c) { return _mm256_set1_ps(c); }
    static V Load(const float* p) { return _mm256_loadu_ps(p); }
    static void Store(float* p, V v) { _mm256_storeu_ps(p, v); }
    static V MulAdd(V s, V x, V c) { return _mm256_add_ps(s, _mm256_mul_ps(x, c)); }
};

struct Lanes4 {
    static constexpr int kWidth = 4;
    using V = __m128;
    static V Zero() { return _mm_setzero_ps(); }
    static V Broadcast(float c) { return _mm_set1_ps(c); }
    static V Load(const float* p) { return _mm_loadu_ps(p); }
    static void Store(float* p, V v) { _mm_storeu_ps(p, v); }
    static V MulAdd(V s, V x, V c) { return _mm_add_ps(s, _mm_mul_ps(x, c)); }
};

// J outputs of one lane group; each sum is rounded after every product and
// every addition, in tap order.
template <class L, int J>
inline void GroupOutputs(const float* coef, int taps, std::ptrdiff_t rowStep, const float* in,
                         float* out, std::ptrdiff_t lanes) {
    typename L::V s[J];
    RZF_UNROLL
    for (int q = 0; q < J; ++q) {
        s[q] = L::Zero();
    }
    for (int i = 0; i < taps; ++i) {
        const typename L::V c = L::Broadcast(coef[i]);
        const float* x = in + i * lanes;
        RZF_UNROLL
        for (int q = 0; q < J; ++q) {
            s[q] = L::MulAdd(s[q], L::Load(x + q * rowStep), c);
        }
    }
    RZF_UNROLL
    for (int q = 0; q < J; ++q) {
        L::Store(out + q * lanes, s[q]);
    }
}

template <class L>
inline void Group(const float* coef, int taps, std::ptrdiff_t rowStep, const float* in, float* out,
                  int nOut, std::ptrdiff_t lanes) {
    int j = 0;
    for (; j + kOutputsPerStep <= nOut; j += kOutputsPerStep) {
        GroupOutputs<L, kOutputsPerStep>(coef, taps, rowStep, in + j * rowStep, out + j * lanes,
                                         lanes);
    }
    for (; j < nOut; ++j) {
        GroupOutputs<L, 1>(coef, taps, rowStep, in + j * rowStep, out + j * lanes, lanes);
    }
}

}  // namespace

void DecimateRows(const float* coef, int taps, int factor, const float* in, float* out, int nOut,
                  int lanes) {
    const std::ptrdiff_t stride = lanes;
    const std::ptrdiff_t rowStep = static_cast<std::ptrdiff_t>(factor) * lanes;
    int g = 0;
    for (; g + Lanes16::kWidth <= lanes; g += Lanes16::kWidth) {
        Group<Lanes16>(coef, taps, rowStep, in + g, out + g, nOut, stride);
    }
    for (; g + Lanes8::kWidth <= lanes; g += Lanes8::kWidth) {
        Group<Lanes8>(coef, taps, rowStep, in + g, out + g, nOut, stride);
    }
    for (; g < lanes; g += Lanes4::kWidth) {
        Group<Lanes4>(coef, taps, rowStep, in + g, out + g, nOut, stride);
    }
}

}  // namespace rzf::decim::avx512
