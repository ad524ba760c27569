#include "RZFilterFunc/fir/WindowsFilter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "RZFilterFunc/base/DesignLimits.h"
#include "RZFilterFunc/base/FilterMessages.h"
#include "RZFilterFunc/base/FilterTypes.h"
#include "RZFilterFunc/base/OwnedArray.h"
#include "RZFilterFunc/fir/WindowFunctions.h"

WindowsFilter::WindowsFilter() : m_nWindowType(0), m_dFreqScale(0.0), m_nDesignedTaps(0) {}

int WindowsFilter::DesignFIR(int length) {
    if (!(m_dFreq1 > 0.0) || !(m_dSampleFreq > 0.0)) {
        return -1;
    }
    if ((m_nBandType == BAND_BANDPASS || m_nBandType == BAND_BANDSTOP) && !(m_dFreq2 > 0.0)) {
        return -1;
    }
    // A negative length has no taps: refuse it before touching anything.
    if (length < 0) {
        return -1;
    }
    // A longer design would allocate and evaluate gigabytes of taps: refuse it
    // as an unusable order, before touching anything else.
    if (length > rzf::kMaxFirTaps) {
        m_bStable = false;
        m_strError = rzf::msg::Text(rzf::msg::kOrderTooLarge);
        return -1;
    }
    const double nyquist = m_dSampleFreq * 0.5;
    m_dFreqScale = 1.0;
    m_nLength = length;
    m_dFreq2 = m_dFreq2 / nyquist;
    m_dFreq1 = m_dFreq1 / nyquist;
    if (length % 2 == 0) {
        m_nLength = length + 1;  // always odd: linear phase of type I
    }
    const std::size_t taps = static_cast<std::size_t>(m_nLength);

    // Codes 6, 7 and 9 need parameters this class does not have: rectangular.
    std::vector<float> window(taps, 0.0f);
    if (m_nWindowType == rzf::kWindowKaiser || m_nWindowType == rzf::kWindowSegment ||
        m_nWindowType == rzf::kWindowExpTaper) {
        std::fill(window.begin(), window.end(), 1.0f);
    } else {
        rzf::MakeWindow(window.data(), m_nLength, m_nWindowType, 0.0, 1.0, 1.0, -3.0);
    }

    // A band type outside 1..4 has no ideal response: its taps stay zero.
    std::unique_ptr<double[]> coef = rzf::MakeZeroedArray<double>(taps);
    rzf::MakeIdealImpulse(*this, coef.get(), m_nLength, m_nBandType);
    bool finite = true;
    for (std::size_t k = 0; k < taps; ++k) {
        coef[k] = coef[k] * static_cast<double>(window[k]);
        finite = finite && std::isfinite(coef[k]);
    }
    rzf::ResetArray(m_pCoef, std::move(coef));
    m_nDesignedTaps = m_nLength;
    if (!finite) {
        // A one-tap cosine window is 0/0; such taps are kept but never usable.
        m_bStable = false;
    }
    return 0;
}

double* WindowsFilter::GetAmplitudeResponse(int* count) {
    if (m_nRespCount < 1) {
        return nullptr;
    }
    if (count != nullptr) {
        *count = m_nRespCount;
    }
    if (m_pCoef == nullptr) {
        return nullptr;
    }
    if (m_pAmplitude == nullptr) {
        rzf::ComputeResponse(*this, std::min(m_nLength, m_nDesignedTaps));
    }
    return m_pAmplitude;
}

double* WindowsFilter::GetPhaseResponse(int* count) {
    if (m_nRespCount < 1 || m_pCoef == nullptr) {
        return nullptr;
    }
    if (count != nullptr) {
        *count = m_nRespCount;
    }
    if (m_pPhase == nullptr) {
        rzf::ComputeResponse(*this, std::min(m_nLength, m_nDesignedTaps));
    }
    return m_pPhase;
}
