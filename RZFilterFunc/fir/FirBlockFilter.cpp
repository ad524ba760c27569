#include "RZFilterFunc/fir/FirBlockFilter.h"

#include <cstdint>

#include "RZFilterFunc/fir/FirHistoryWindow.h"

namespace rzf {

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
        double* input = window.BlockInput();
        for (int i = 0; i < n; ++i) {
            input[i] = static_cast<double>(in[pos + i]);
        }
        double* sums = window.Sums();
        kernel.Process(window.Window(), sums, n);
        for (int i = 0; i < n; ++i) {
            out[pos + i] = static_cast<float>(sums[i]);
        }
        pos += n;
        if (pos < count) {
            window.Advance(n);
        } else {
            window.End(delay, n);
        }
    }
}

}  // namespace rzf
