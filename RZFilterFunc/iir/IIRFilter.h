#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/base/ClassicFilter.h>

// IIR branch of the designed filters: a transfer function B(z)/A(z) held as two
// 200-entry coefficient arrays (coefficient of z^-k at index k, a[0] = 1), and
// the frequency response shared by all IIR designs.
class RZFILTERFUNC_EXPORT IIRFilter : public ClassicFilter {
public:
    IIRFilter();
    ~IIRFilter() override;

    double* GetAmplitudeResponse(int* count) override;
    double* GetPhaseResponse(int* count) override;
    double* GetNumerator() override;
    double* GetDenominator() override;
    int GetCoefCount() override;  // capacity of each array: 200

    // Designs from the specification fields; returns the order, or a negative
    // refusal code.
    virtual int DesignIIR();
    // Real order estimate from x1 = 10^(Ap/10)-1, x2 = 10^(As/10)-1 and the
    // selectivity k; the caller truncates it.
    virtual double EstimateOrder(double x1, double x2, double k);

    double m_dPassRipple;
    double m_dStopAtten;
    int m_nFilterOrder;
    double* m_pNumerator;    // owned, 200 entries
    double* m_pDenominator;  // owned, 200 entries

protected:
    // Computes frequency axis, amplitude (dB to the peak) and phase together.
    void ComputeResponse();
};
