#include "RZFilterFunc/iir/IIRFilter.h"

IIRFilter::IIRFilter()
    : m_dPassRipple(0.0),
      m_dStopAtten(0.0),
      m_nFilterOrder(0),
      m_pNumerator(nullptr),
      m_pDenominator(nullptr) {}

IIRFilter::~IIRFilter() {
    delete[] m_pNumerator;
    delete[] m_pDenominator;
}

// Response computation arrives with the IIR design.
double* IIRFilter::GetAmplitudeResponse(int* /*count*/) {
    return nullptr;
}

double* IIRFilter::GetPhaseResponse(int* /*count*/) {
    return nullptr;
}

double* IIRFilter::GetNumerator() {
    return m_pNumerator;
}

double* IIRFilter::GetDenominator() {
    return m_pDenominator;
}

int IIRFilter::GetCoefCount() {
    return 200;
}

int IIRFilter::DesignIIR() {
    return -1;
}

double IIRFilter::EstimateOrder(double /*x1*/, double /*x2*/, double /*k*/) {
    return 0.0;
}

void IIRFilter::ComputeResponse() {}
