#include "RZFilterFunc/iir/IirKernel.h"

#include <array>
#include <utility>

namespace rzf::kernels {
namespace {

template <int kOrder>
void FixedOrderBlock(const double* b, const double* a, int /*order*/, double* state,
                     const float* in, float* out, int count) {
    double bl[kOrder + 1];
    double al[kOrder + 1];
    double s[kOrder];
    for (int k = 0; k <= kOrder; ++k) {
        bl[k] = b[k];
        al[k] = a[k];
    }
    for (int k = 0; k < kOrder; ++k) {
        s[k] = state[k];
    }
    for (int i = 0; i < count; ++i) {
        const double x = in[i];
        const double y = bl[0] * x + s[0];
        out[i] = static_cast<float>(y);
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC unroll 32
#endif
        for (int k = 1; k < kOrder; ++k) {
            s[k - 1] = bl[k] * x + s[k] - al[k] * y;
        }
        s[kOrder - 1] = bl[kOrder] * x - al[kOrder] * y;
    }
    for (int k = 0; k < kOrder; ++k) {
        state[k] = s[k];
    }
}

void AnyOrderBlock(const double* b, const double* a, int order, double* state, const float* in,
                   float* out, int count) {
    for (int i = 0; i < count; ++i) {
        const double x = in[i];
        const double y = b[0] * x + state[0];
        out[i] = static_cast<float>(y);
        for (int k = 1; k < order; ++k) {
            state[k - 1] = b[k] * x + state[k] - a[k] * y;
        }
        state[order - 1] = b[order] * x - a[order] * y;
    }
}

template <std::size_t... kIndex>
constexpr std::array<IirKernel::BlockFn, sizeof...(kIndex)> MakeFixedOrderTable(
    std::index_sequence<kIndex...>) {
    return {{&FixedOrderBlock<static_cast<int>(kIndex) + 1>...}};
}

// Entry k - 1 runs order k.
constexpr auto kFixedOrder =
    MakeFixedOrderTable(std::make_index_sequence<IirKernel::kMaxUnrolledOrder>());

}  // namespace

bool IirKernel::Init(const double* b, const double* a, int order) {
    if (b == nullptr || a == nullptr || order < 1) {
        m_fn = nullptr;
        return false;
    }
    m_fn = order <= kMaxUnrolledOrder ? kFixedOrder[static_cast<std::size_t>(order - 1)]
                                      : &AnyOrderBlock;
    m_b = b;
    m_a = a;
    m_order = order;
    return true;
}

}  // namespace rzf::kernels
