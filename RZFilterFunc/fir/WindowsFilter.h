#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/fir/FIRFilter.h>

// Window-method FIR design: ideal (sinc) response times a window.
class RZFILTERFUNC_EXPORT WindowsFilter : public FIRFilter {
public:
    WindowsFilter();

    // Designs an odd number of taps (length, or length + 1 when even); 0 on
    // success, -1 on a bad specification (non-positive edge or sampling
    // frequency, negative length, band type outside 1..4), which changes
    // nothing. A new design frees the previous taps.
    int DesignFIR(int length) override;
    double* GetAmplitudeResponse(int* count) override;
    double* GetPhaseResponse(int* count) override;

    int m_nWindowType;
    double m_dFreqScale;

private:
    // Entries of m_pCoef; the response never sums more taps than this.
    int m_nDesignedTaps;
};
