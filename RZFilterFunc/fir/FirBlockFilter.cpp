#include "RZFilterFunc/fir/FirBlockFilter.h"

#include <cstdint>

#include "RZFilterFunc/fir/FirHistoryWindow.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

namespace rzf {
namespace {

// Float to double and back, four samples per step where SSE2 is there (the
// packed conversions round exactly as the scalar ones).
void Widen(const float* in, double* out, int n) {
    int i = 0;
#if defined(__SSE2__) || defined(_M_X64)
    for (; i + 4 <= n; i += 4) {
        const __m128 f = _mm_loadu_ps(in + i);
        _mm_storeu_pd(out + i, _mm_cvtps_pd(f));
        _mm_storeu_pd(out + i + 2, _mm_cvtps_pd(_mm_movehl_ps(f, f)));
    }
#endif
    for (; i < n; ++i) {
        out[i] = static_cast<double>(in[i]);
    }
}

void Narrow(const double* in, float* out, int n) {
    int i = 0;
#if defined(__SSE2__) || defined(_M_X64)
    for (; i + 4 <= n; i += 4) {
        const __m128 lo = _mm_cvtpd_ps(_mm_loadu_pd(in + i));
        const __m128 hi = _mm_cvtpd_ps(_mm_loadu_pd(in + i + 2));
        _mm_storeu_ps(out + i, _mm_movelh_ps(lo, hi));
    }
#endif
    for (; i < n; ++i) {
        out[i] = static_cast<float>(in[i]);
    }
}

}  // namespace

int OverlapSafeBlock(const void* in, const void* out, int count, int elementSize, int block) {
    const std::uintptr_t from = reinterpret_cast<std::uintptr_t>(in);
    const std::uintptr_t to = reinterpret_cast<std::uintptr_t>(out);
    const std::uintptr_t span = static_cast<std::uintptr_t>(count) * elementSize;
    if (to > from && to < from + span) {
        const std::uintptr_t ahead = (to - from) / static_cast<std::uintptr_t>(elementSize);
        if (ahead < static_cast<std::uintptr_t>(block)) {
            // At least one element ahead: out - in is a whole number of elements
            // for arrays of the same type, and a partial one still rounds to 0 here.
            return ahead > 0 ? static_cast<int>(ahead) : 1;
        }
    }
    return block;
}

void FilterFloatBlock(const kernels::FirSumsKernel& kernel, int length,
                      std::vector<double>& storage, double* delay, const float* in, float* out,
                      int count) {
    FirHistoryWindow window(storage, length);
    const int block =
        OverlapSafeBlock(in, out, count, static_cast<int>(sizeof(float)), FirHistoryWindow::kBlock);
    window.Begin(delay);
    for (int pos = 0; pos < count;) {
        const int n = count - pos < block ? count - pos : block;
        Widen(in + pos, window.BlockInput(), n);
        double* sums = window.Sums();
        kernel.Process(window.Window(), sums, n);
        Narrow(sums, out + pos, n);
        pos += n;
        if (pos < count) {
            window.Advance(n);
        } else {
            window.End(delay, n);
        }
    }
}

}  // namespace rzf
