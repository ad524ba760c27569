#pragma once

// Polynomial arithmetic behind the IIR designs. Polynomials are plain double
// arrays in ascending powers (of s for analog sections, of z^-1 for digital
// ones). Internal to the library.
namespace rzf {

// n*(n-1)*...*(n-k+1); 0 when n < 0, k < 0 or k > n; 1 when k = 0. Results
// beyond the int range saturate at INT_MAX.
int FallingFactorial(int n, int k);

// Outcome of BilinearSection.
enum BilinearResult : int {
    kBilinearDone = 0,
    kBilinearNegligible = 1,  // both polynomials negligible, nothing written
    kBilinearZeroLead = 2,    // the new a0 is zero, nothing written
};

// Substitutes s = (1 - z^-1)/(1 + z^-1) into the analog section b/a (inCount
// coefficients each), multiplies through by (1 + z^-1)^m and scales to a0 = 1.
// Writes outCount coefficients of each result (zero beyond the degree; a degree
// above outCount - 1 is cut).
BilinearResult BilinearSection(const double* b, const double* a, int inCount, int outCount,
                               double* outB, double* outA);

// out[j] = sum_i a[i] * b[j - i] for j = 0..R-1, where a has L coefficients and
// b has R - L + 1. out may be the same array as b.
void PolyMultiply(const double* a, int L, const double* b, int R, double* out);

// Roots of c[0] + c[1] z + ... + c[n] z^n through the eigenvalues of its
// companion matrix. Returns 1 when converged, -1 when the iteration limit was
// reached (or c[n] is zero or not finite); re/im hold n entries.
int PolyRoots(const double* c, int n, double* re, double* im, double eps);

// Eigenvalues of the n x n upper Hessenberg matrix h (row pointers; destroyed)
// by double-shift QR. Returns 1 when converged (also for n = 0), -1 when one
// eigenvalue needed more than 2000 sweeps.
int HessenbergQR(double* const* h, int n, double* re, double* im, double eps);

}  // namespace rzf
