#include "RZFilterFunc/fir/WindowsFilter.h"

WindowsFilter::WindowsFilter() : m_nWindowType(0), m_dFreqScale(0.0) {}

// Not designed yet: refuses every specification.
int WindowsFilter::DesignFIR(int /*length*/) {
    return -1;
}

double* WindowsFilter::GetAmplitudeResponse(int* /*count*/) {
    return nullptr;
}

double* WindowsFilter::GetPhaseResponse(int* /*count*/) {
    return nullptr;
}
