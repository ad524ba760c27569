#include "RZFilterFunc/filter/AverageFilter.h"

#include "RZFilterFunc/base/OwnedArray.h"

AverageFilter::AverageFilter() : m_pCoef(nullptr), m_nCoefCount(0) {}

AverageFilter::~AverageFilter() {
    rzf::FreeArray(m_pCoef);
}

int AverageFilter::DesignFIR(int n) {
    rzf::FreeArray(m_pCoef);
    // Nothing validates the length upstream; a moving average needs one tap.
    if (n < 1) {
        n = 1;
    }
    rzf::ResetArray(m_pCoef, rzf::MakeArray<double>(static_cast<unsigned>(n)));
    const double tap = 1.0 / n;
    for (int i = 0; i < n; ++i) {
        m_pCoef[i] = tap;
    }
    m_nCoefCount = n;
    return 1;
}

double* AverageFilter::GetNumerator() {
    return m_pCoef;
}

int AverageFilter::GetCoefCount() {
    return m_nCoefCount;
}
