#pragma once

#include <memory>
#include <string>
#include <vector>

#include <RZFilterFunc/RZFilterFunc_export.h>

// Polymorphic base of every filter that FilterUser designs. It holds the copy
// of the specification a design reads, the frequency-response arrays a design
// produces, the stability flag and the last error message (GBK bytes).
class RZFILTERFUNC_EXPORT ClassicFilter {
public:
    ClassicFilter();
    ClassicFilter(const ClassicFilter&) = delete;
    ClassicFilter& operator=(const ClassicFilter&) = delete;

    // Restores the reset values of the fields below; m_strError is kept.
    virtual void ResetDesign();
    virtual int DesignFIR(int length);
    virtual double* GetAmplitudeResponse(int* count);
    virtual double* GetPhaseResponse(int* count);
    virtual double* GetNumerator();
    virtual double* GetDenominator();
    virtual int GetCoefCount();
    // Releases the response arrays; subclasses release their coefficients.
    virtual ~ClassicFilter();

    double m_dSampleFreq;
    double m_dFreq1;
    double m_dFreq2;
    double m_dFreq3;
    double m_dFreq4;
    int m_nBandType;
    int m_nLength;
    int m_nRespCount;
    double* m_pFreqAxis;   // owned, m_nRespCount entries
    double* m_pAmplitude;  // owned, m_nRespCount entries
    double* m_pPhase;      // owned, m_nRespCount entries
    bool m_bStable;
    std::string m_strError;

protected:
    // Frees the three response arrays and nulls them.
    void ReleaseResponse();

private:
    // Response arrays a reset has forgotten: pointers handed out before the
    // reset stay valid, and the arrays are freed with the filter.
    std::vector<std::unique_ptr<double[]>> m_retiredResponse;
};
