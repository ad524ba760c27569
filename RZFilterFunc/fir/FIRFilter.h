#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/base/ClassicFilter.h>

// FIR branch of the designed filters: taps h[0]..h[m_nLength-1].
class RZFILTERFUNC_EXPORT FIRFilter : public ClassicFilter {
public:
    FIRFilter();
    ~FIRFilter() override;

    double* GetNumerator() override;  // the taps

    double* m_pCoef;  // owned, m_nLength entries
};
