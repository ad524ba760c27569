#include "RZFilterFunc/iir/ChebshFilter.h"

// Not designed yet: refuses every specification.
int ChebshFilter::DesignIIR() {
    return -1;
}

double ChebshFilter::EstimateOrder(double /*x1*/, double /*x2*/, double /*k*/) {
    return 0.0;
}
