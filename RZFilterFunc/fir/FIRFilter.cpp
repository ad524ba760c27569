#include "RZFilterFunc/fir/FIRFilter.h"

FIRFilter::FIRFilter() : m_pCoef(nullptr) {}

FIRFilter::~FIRFilter() {
    delete[] m_pCoef;
}

double* FIRFilter::GetNumerator() {
    return m_pCoef;
}
