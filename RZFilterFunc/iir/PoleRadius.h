#pragma once

// Internal to the library.
namespace rzf {

// Largest magnitude among the roots of a[0] z^D + a[1] z^(D-1) + ... + a[D]:
// the poles of a transfer function whose denominator a (ascending powers of
// z^-1, D + 1 coefficients) is stored as designed. Found with the designs' own
// root finder. -1.0 when there is no such figure: D < 1, a[0] zero, a
// coefficient not finite, or a root finder that did not converge.
double PoleRadius(const double* a, int D);

}  // namespace rzf
