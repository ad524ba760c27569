#pragma once

namespace rzf::kernels {

// The IIR step of the per-sample engine over a block of float samples, with N
// coefficients per array (order N - 1, N >= 2), in double precision:
//   y = x b[0] + s[0];  out = y rounded to float;
//   s[i-1] = x b[i] + s[i] - a[i] y  (i = 1 .. N-2);  s[N-2] = x b[N-1] - a[N-1] y
// a[0] is taken as 1 and never read; the input comes first in its products.
// Orders up to kMaxUnrolledOrder keep coefficients and state in locals for the
// whole block (one instantiation each); higher ones run a generic loop with
// the same operations. One scalar build serves every instruction-set level.
class EngineIirKernel {
public:
    static constexpr int kMaxUnrolledOrder = 32;

    // False (and Process must not be called) when a or b is null or
    // coefCount < 2.
    bool Init(const double* a, const double* b, int coefCount);
    // state: coefCount - 1 entries, carried over. Filters samples[0..count-1]
    // in place (count >= 1) and returns the last unrounded output.
    double Process(double* state, float* samples, int count) const {
        return m_fn(m_a, m_b, m_order, state, samples, count);
    }

    using BlockFn = double (*)(const double* a, const double* b, int order, double* state,
                               float* samples, int count);

private:
    BlockFn m_fn = nullptr;
    const double* m_a = nullptr;
    const double* m_b = nullptr;
    int m_order = 0;
};

}  // namespace rzf::kernels
