#include "RZFilterFunc/base/ClassicFilter.h"

#include "RZFilterFunc/base/OwnedArray.h"

ClassicFilter::ClassicFilter()
    : m_dSampleFreq(-1.0),
      m_dFreq1(-1.0),
      m_dFreq2(-1.0),
      m_dFreq3(-1.0),
      m_dFreq4(-1.0),
      m_nBandType(0),
      m_nLength(1),
      m_nRespCount(2048),
      m_pFreqAxis(nullptr),
      m_pAmplitude(nullptr),
      m_pPhase(nullptr),
      m_bStable(false) {}

ClassicFilter::~ClassicFilter() {
    ReleaseResponse();
}

void ClassicFilter::ReleaseResponse() {
    rzf::FreeArray(m_pFreqAxis);
    rzf::FreeArray(m_pAmplitude);
    rzf::FreeArray(m_pPhase);
}

void ClassicFilter::ResetDesign() {
    m_dSampleFreq = -1.0;
    m_dFreq1 = -1.0;
    m_dFreq2 = -1.0;
    m_dFreq3 = -1.0;
    m_dFreq4 = -1.0;
    m_nBandType = 0;
    m_nLength = 1;
    m_nRespCount = 2048;
    // The response pointers are forgotten, not freed: a caller may still read
    // arrays it was given before the reset.
    for (double** array : {&m_pFreqAxis, &m_pAmplitude, &m_pPhase}) {
        if (*array != nullptr) {
            m_retiredResponse.emplace_back(*array);
            *array = nullptr;
        }
    }
    m_bStable = false;
}

int ClassicFilter::DesignFIR(int /*length*/) {
    return 0;
}

double* ClassicFilter::GetAmplitudeResponse(int* /*count*/) {
    return nullptr;
}

double* ClassicFilter::GetPhaseResponse(int* count) {
    if (count != nullptr) {
        *count = m_nRespCount;
    }
    return nullptr;
}

double* ClassicFilter::GetNumerator() {
    return nullptr;
}

double* ClassicFilter::GetDenominator() {
    return nullptr;
}

int ClassicFilter::GetCoefCount() {
    return 0;
}
