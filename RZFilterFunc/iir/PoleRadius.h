#pragma once

// Internal to the library.
namespace rzf {

// Largest magnitude among the roots of a[0] z^D + a[1] z^(D-1) + ... + a[D]:
// the poles of a transfer function whose denominator a (ascending powers of
// z^-1, D + 1 coefficients) is stored as designed. The designs' own root
// finder (on the balanced companion matrix) gives estimates, which are then
// polished against the stored coefficients evaluated almost exactly: at high
// orders or narrow bands the poles are so ill-conditioned that any
// double-precision root finder misses them by per cent. -1.0 when there is no
// such figure: D < 1, a[0] zero, a coefficient not finite, or a root finder
// that did not converge.
double PoleRadius(const double* a, int D);

}  // namespace rzf
