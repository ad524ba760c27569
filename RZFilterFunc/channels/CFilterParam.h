#pragma once

#include <cstddef>

// A caller's design record for one channel of CChnsFilterFunc. Callers fill it
// directly, so its layout is fixed: note the edges in the order f1, f3, f2, f4.
struct CFilterParam {
    int m_nDesignMethod;  // DESIGN_METHOD
    int m_nOrder;         // order, or FIR / moving-average length
    int m_nBandType;
    int m_nWindowType;
    double m_dUnused;  // not read: the rate comes from CChnsFilterFunc::Init
    double m_dFreq1;
    double m_dFreq3;
    double m_dFreq2;
    double m_dFreq4;
    double m_dPassRipple;
    double m_dStopAtten;
    double m_dReserved;
};

static_assert(sizeof(CFilterParam) == 80, "CFilterParam layout is part of the interface");
static_assert(offsetof(CFilterParam, m_dFreq1) == 24,
              "CFilterParam layout is part of the interface");
