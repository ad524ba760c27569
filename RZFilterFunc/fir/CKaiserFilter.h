#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>

// Kaiser-window FIR design with taps scaled by 16384 for fixed-point use.
class RZFILTERFUNC_EXPORT CKaiserFilter {
public:
    CKaiserFilter();
    CKaiserFilter(const CKaiserFilter&) = delete;
    CKaiserFilter& operator=(const CKaiserFilter&) = delete;
    virtual ~CKaiserFilter();

    // Designs from the fields below (edges in Hz, m_dNyquist in Hz); returns
    // the tap count left in m_nLength and m_pCoef, or 0 when refused (band
    // type outside 1..4, transition width not positive, or a length beyond
    // kMaxHalfLength), which changes nothing. A design whose taps would not
    // all be finite (a zero m_dNyquist, edges or a transition that are not
    // finite) also gives 0, with m_nLength 0 and m_pCoef as it was.
    int Design();

    // Largest length estimate accepted (the design has 2n + 1 taps).
    static constexpr int kMaxHalfLength = 1 << 20;

    int m_nLength;
    int m_nBandType;
    int m_nPointCount;
    double m_dBeta;
    double m_dFreq1;
    double m_dFreq2;
    double m_dNyquist;
    double m_dAtten;
    double m_dTransition;
    double* m_pAux1;
    double* m_pCoef;
    double* m_pAux2;
};
