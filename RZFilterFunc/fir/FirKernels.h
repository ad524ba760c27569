#pragma once

namespace rzf::kernels {

// How one FIR term is formed before it joins the double accumulator, named as
// each caller writes its product. (Which operand a product or sum passes on
// when both are NaN is the compiler's choice for any commutative operation, in
// the plain loops as here; every other bit is fixed.)
enum class FirTerm {
    SampleTimesTap,        // s * b
    TapTimesSample,        // b * s
    TapTimesSampleSingle,  // b * s rounded to single precision, then widened
};

// Direct-form FIR sums over a window that holds length - 1 history samples
// followed by count new ones, oldest first:
//   sums[i] = 0.0 + term(window[i + length - 1], taps[length - 1])
//                 + term(window[i + length - 2], taps[length - 2]) + ...
//                 + term(window[i], taps[0])
// added one term at a time in that order, newest sample first. Several outputs
// are computed per step (in SIMD lanes where the level allows), each with
// exactly the scalar operations of its own sum.
using FirSumsFn = void (*)(const double* window, const double* taps, int length, double* sums,
                           int count);

// Init checks and picks the kernel of the active instruction-set level;
// Process runs it without further checks.
class FirSumsKernel {
public:
    // False (and Process must not be called) when taps is null or length < 1.
    bool Init(FirTerm term, const double* taps, int length);
    // window: length - 1 + count entries; sums: count entries; count >= 0.
    void Process(const double* window, double* sums, int count) const {
        m_fn(window, m_taps, m_length, sums, count);
    }

private:
    FirSumsFn m_fn = nullptr;
    const double* m_taps = nullptr;
    int m_length = 0;
};

namespace baseline {
void FirSumsSampleTimesTap(const double* window, const double* taps, int length, double* sums,
                           int count);
void FirSumsTapTimesSample(const double* window, const double* taps, int length, double* sums,
                           int count);
void FirSumsTapTimesSampleSingle(const double* window, const double* taps, int length, double* sums,
                                 int count);
}  // namespace baseline

namespace avx2 {
void FirSumsSampleTimesTap(const double* window, const double* taps, int length, double* sums,
                           int count);
void FirSumsTapTimesSample(const double* window, const double* taps, int length, double* sums,
                           int count);
void FirSumsTapTimesSampleSingle(const double* window, const double* taps, int length, double* sums,
                                 int count);
}  // namespace avx2

namespace avx512 {
void FirSumsSampleTimesTap(const double* window, const double* taps, int length, double* sums,
                           int count);
void FirSumsTapTimesSample(const double* window, const double* taps, int length, double* sums,
                           int count);
void FirSumsTapTimesSampleSingle(const double* window, const double* taps, int length, double* sums,
                                 int count);
}  // namespace avx512

}  // namespace rzf::kernels
