#include "RZFilterFunc/filter/AverageFilter.h"

#include "RZFilterFunc/base/DesignLimits.h"
#include "RZFilterFunc/base/FilterMessages.h"
#include "RZFilterFunc/base/OwnedArray.h"

AverageFilter::AverageFilter() : m_pCoef(nullptr), m_nCoefCount(0) {}

AverageFilter::~AverageFilter() {
    rzf::FreeArray(m_pCoef);
}

int AverageFilter::DesignFIR(int n) {
    rzf::FreeArray(m_pCoef);
    m_nCoefCount = 0;
    // A longer average would allocate gigabytes: refused as an unusable order,
    // leaving no coefficients.
    if (n > rzf::kMaxFirTaps) {
        m_bStable = false;
        m_strError = rzf::msg::Text(rzf::msg::kOrderTooLarge);
        return 0;
    }
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
