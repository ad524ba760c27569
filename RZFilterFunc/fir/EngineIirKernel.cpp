#include "RZFilterFunc/fir/EngineIirKernel.h"

#include <array>
#include <utility>

namespace rzf::kernels {
namespace {

template <int kOrder>
double FixedOrderBlock(const double* a, const double* b, int /*order*/, double* state,
                       float* samples, int count) {
    double al[kOrder + 1];
    double bl[kOrder + 1];
    double s[kOrder];
    for (int k = 0; k <= kOrder; ++k) {
        al[k] = a[k];
        bl[k] = b[k];
    }
    for (int k = 0; k < kOrder; ++k) {
        s[k] = state[k];
    }
    double y = 0.0;
    for (int i = 0; i < count; ++i) {
        const double x = static_cast<double>(samples[i]);
        y = x * bl[0] + s[0];
        samples[i] = static_cast<float>(y);
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC unroll 32
#endif
        for (int k = 1; k < kOrder; ++k) {
            s[k - 1] = x * bl[k] + s[k] - al[k] * y;
        }
        s[kOrder - 1] = x * bl[kOrder] - al[kOrder] * y;
    }
    for (int k = 0; k < kOrder; ++k) {
        state[k] = s[k];
    }
    return y;
}

double AnyOrderBlock(const double* a, const double* b, int order, double* state, float* samples,
                     int count) {
    double y = 0.0;
    for (int i = 0; i < count; ++i) {
        const double x = static_cast<double>(samples[i]);
        y = x * b[0] + state[0];
        samples[i] = static_cast<float>(y);
        for (int k = 1; k < order; ++k) {
            state[k - 1] = x * b[k] + state[k] - a[k] * y;
        }
        state[order - 1] = x * b[order] - a[order] * y;
    }
    return y;
}

template <std::size_t... kIndex>
constexpr std::array<EngineIirKernel::BlockFn, sizeof...(kIndex)> MakeFixedOrderTable(
    std::index_sequence<kIndex...>) {
    return {{&FixedOrderBlock<static_cast<int>(kIndex) + 1>...}};
}

// Entry k - 1 runs order k.
constexpr auto kFixedOrder =
    MakeFixedOrderTable(std::make_index_sequence<EngineIirKernel::kMaxUnrolledOrder>());

}  // namespace

bool EngineIirKernel::Init(const double* a, const double* b, int coefCount) {
    if (a == nullptr || b == nullptr || coefCount < 2) {
        m_fn = nullptr;
        return false;
    }
    const int order = coefCount - 1;
    m_fn = order <= kMaxUnrolledOrder ? kFixedOrder[static_cast<std::size_t>(order - 1)]
                                      : &AnyOrderBlock;
    m_a = a;
    m_b = b;
    m_order = order;
    return true;
}

}  // namespace rzf::kernels
