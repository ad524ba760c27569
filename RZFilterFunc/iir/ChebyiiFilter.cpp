#include "RZFilterFunc/iir/ChebyiiFilter.h"

// Not designed yet.
double ChebyiiFilter::PrototypeSection(int /*N*/, int /*i*/, int /*m*/, double /*kc*/, double /*A*/,
                                       double* /*numerator*/, double* /*denominator*/) {
    return 0.0;
}
