#include "RZFilterFunc/iir/ButwcfFilter.h"

// Not designed yet: refuses every specification.
int ButwcfFilter::DesignIIR() {
    return -1;
}

double ButwcfFilter::EstimateOrder(double /*x1*/, double /*x2*/, double /*k*/) {
    return 0.0;
}

int ButwcfFilter::ButterworthSection(int /*N*/, int /*k*/, double* /*numerator*/,
                                     double* /*denominator*/) {
    return 1;
}
