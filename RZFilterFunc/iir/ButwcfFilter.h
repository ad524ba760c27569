#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/iir/SutraIIRFilter.h>

// Butterworth design.
class RZFILTERFUNC_EXPORT ButwcfFilter : public SutraIIRFilter {
public:
    ButwcfFilter() = default;

    int DesignIIR() override;
    double EstimateOrder(double x1, double x2, double k) override;

    // Section k (from 1) of the order-N normalised analog prototype, ten
    // ascending coefficients each; 0 done, 1 bad order, 2 bad section index.
    static int ButterworthSection(int N, int k, double* numerator, double* denominator);
};
