#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/iir/ChebshFilter.h>

// Chebyshev type II (inverse Chebyshev) design.
class RZFILTERFUNC_EXPORT ChebyiiFilter : public ChebshFilter {
public:
    ChebyiiFilter() = default;

    double PrototypeSection(int N, int i, int m, double kc, double A, double* numerator,
                            double* denominator) override;
};
