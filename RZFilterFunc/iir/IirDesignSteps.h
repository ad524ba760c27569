#pragma once

#include <vector>

class IIRFilter;

// Steps shared by the section-based IIR designs: order estimate, band mapping
// with bilinear transform of one section, and the product of the sections.
// Internal to the library.
namespace rzf {

// Estimates the order for band type T (1..4) from the edges e1..e4 (Hz), fs,
// Ap and As through filter.EstimateOrder, truncated toward zero (a NaN or
// out-of-range estimate gives INT_MIN). Rewrites e1/e2 to the design edges.
// Returns 0, or 1 (order untouched) when T is not 1..4.
int EstimateOrderFromSpec(double* e1, double* e2, double* e3, double* e4, double fs, double ap,
                          double as, int T, int* order, IIRFilter& filter);

// Maps one analog low-pass section (inCount coefficients of b and a, ascending
// powers of s) to band type T with the pre-warped normalised edges f1, f2
// (fractions of fs), then applies the bilinear transform. Writes L digital
// coefficients of each polynomial. The mapped degree may not exceed
// maxDegree. Returns 0 done, 1 empty section, 2 the bilinear a0 is zero, 3
// degree too high, 4 bad band type, 5 edges outside (0, 0.5] or out of order;
// on any refusal the outputs are left untouched.
int TransformSection(const double* b, const double* a, int inCount, int L, int maxDegree, int T,
                     double f1, double f2, double* outB, double* outA);

// Multiplies the S digital sections (L coefficients each, section s at s*L) into
// the filter's numerator and denominator (fresh 200-entry arrays, zero beyond
// the product). Returns 1 when every pole lies on or inside the unit circle,
// else 0.
int CombineSections(const std::vector<double>& dens, const std::vector<double>& nums, int S, int L,
                    IIRFilter& filter);

}  // namespace rzf
