#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/iir/ChebshFilter.h>

// Chebyshev type I design.
class RZFILTERFUNC_EXPORT ChebyiFilter : public ChebshFilter {
public:
    ChebyiFilter() = default;

    double PrototypeSection(int N, int i, int m, double kc, double A, double* numerator,
                            double* denominator) override;
};
