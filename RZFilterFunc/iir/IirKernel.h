#pragma once

namespace rzf::kernels {

// Transposed direct form II over float samples, in double precision:
//   y = b[0] x + s[0];  out = y rounded to float;
//   s[k-1] = b[k] x + s[k] - a[k] y  (k = 1 .. N-1);  s[N-1] = b[N] x - a[N] y
// with a[0] taken as 1 and never read. Each order up to kMaxUnrolledOrder has
// its own instantiation that keeps coefficients and state in locals for the
// whole block (the compiler may then hold them in registers: nothing the block
// writes can alias them); higher orders run a generic loop with the same
// operations. The order of operations is the same at every level, so one
// scalar build serves them all.
class IirKernel {
public:
    static constexpr int kMaxUnrolledOrder = 32;

    // False (and Process must not be called) when b or a is null or order < 1.
    // b and a must hold order + 1 entries.
    bool Init(const double* b, const double* a, int order);
    // state: order entries, carried over between calls. Each out[i] is written
    // after in[i] is read, so in and out may be the same array.
    void Process(double* state, const float* in, float* out, int count) const {
        m_fn(m_b, m_a, m_order, state, in, out, count);
    }

    using BlockFn = void (*)(const double* b, const double* a, int order, double* state,
                             const float* in, float* out, int count);

private:
    BlockFn m_fn = nullptr;
    const double* m_b = nullptr;
    const double* m_a = nullptr;
    int m_order = 0;
};

}  // namespace rzf::kernels
