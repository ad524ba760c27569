#include "RZFilterFunc/fir/FIRFilter.h"

#include "RZFilterFunc/base/OwnedArray.h"

FIRFilter::FIRFilter() : m_pCoef(nullptr) {}

FIRFilter::~FIRFilter() {
    rzf::FreeArray(m_pCoef);
}

double* FIRFilter::GetNumerator() {
    return m_pCoef;
}
