#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/base/ClassicFilter.h>

// Moving average of n taps, each 1/n. It computes no frequency response.
class RZFILTERFUNC_EXPORT AverageFilter : public ClassicFilter {
public:
    AverageFilter();
    ~AverageFilter() override;

    // Designs n taps of 1/n and returns 1. A non-positive n is treated as 1.
    int DesignFIR(int n) override;
    double* GetNumerator() override;
    int GetCoefCount() override;

    double* m_pCoef;  // owned, m_nCoefCount entries
    int m_nCoefCount;
};
