#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/iir/SutraIIRFilter.h>

// Common Chebyshev design; the two types differ only in their prototype
// section.
class RZFILTERFUNC_EXPORT ChebshFilter : public SutraIIRFilter {
public:
    ChebshFilter() = default;

    int DesignIIR() override;
    double EstimateOrder(double x1, double x2, double k) override;

    // Section i (from 0) of the even-order N analog prototype, ascending powers
    // of s; clears entries 0..m of both arrays first.
    virtual double PrototypeSection(int N, int i, int m, double kc, double A, double* numerator,
                                    double* denominator) = 0;
};
