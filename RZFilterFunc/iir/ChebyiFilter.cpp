#include "RZFilterFunc/iir/ChebyiFilter.h"

// Not designed yet.
double ChebyiFilter::PrototypeSection(int /*N*/, int /*i*/, int /*m*/, double /*kc*/, double /*A*/,
                                      double* /*numerator*/, double* /*denominator*/) {
    return 0.0;
}
