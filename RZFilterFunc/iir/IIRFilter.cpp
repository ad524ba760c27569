#include "RZFilterFunc/iir/IIRFilter.h"

#include <RZFilterFunc/base/OwnedArray.h>
#include <RZFilterFunc/platform/MathConst.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>

namespace {

constexpr int kCoefCapacity = 200;

}  // namespace

IIRFilter::IIRFilter()
    : m_dPassRipple(0.0),
      m_dStopAtten(0.0),
      m_nFilterOrder(0),
      m_pNumerator(nullptr),
      m_pDenominator(nullptr) {}

IIRFilter::~IIRFilter() {
    rzf::FreeArray(m_pNumerator);
    rzf::FreeArray(m_pDenominator);
}

double* IIRFilter::GetAmplitudeResponse(int* count) {
    if (m_nRespCount <= 0) {
        return nullptr;
    }
    if (count != nullptr) {
        *count = m_nRespCount;
    }
    if (m_pNumerator == nullptr || m_pDenominator == nullptr) {
        return nullptr;
    }
    if (m_pAmplitude != nullptr) {
        return m_pAmplitude;
    }
    // A filter holding only a phase array does not recompute on this request.
    if (m_pPhase != nullptr) {
        return nullptr;
    }
    ComputeResponse();
    return m_pAmplitude;
}

double* IIRFilter::GetPhaseResponse(int* count) {
    if (m_nRespCount <= 0) {
        return nullptr;
    }
    if (m_pNumerator == nullptr || m_pDenominator == nullptr) {
        return nullptr;
    }
    if (count != nullptr) {
        *count = m_nRespCount;
    }
    if (m_pPhase != nullptr) {
        return m_pPhase;
    }
    if (m_pAmplitude != nullptr) {
        return nullptr;
    }
    ComputeResponse();
    return m_pPhase;
}

double* IIRFilter::GetNumerator() {
    return m_pNumerator;
}

double* IIRFilter::GetDenominator() {
    return m_pDenominator;
}

int IIRFilter::GetCoefCount() {
    return kCoefCapacity;
}

int IIRFilter::DesignIIR() {
    return -1;
}

double IIRFilter::EstimateOrder(double /*x1*/, double /*x2*/, double /*k*/) {
    return 0.0;
}

void IIRFilter::ComputeResponse() {
    const int n = m_nRespCount;
    ReleaseResponse();
    if (n <= 0) {
        return;
    }
    // All three arrays are allocated before any is handed over, so a failed
    // allocation leaves the filter without a response and leaks nothing.
    const std::size_t size = static_cast<std::size_t>(n);
    std::unique_ptr<double[]> freqAxis = rzf::MakeArray<double>(size);
    std::unique_ptr<double[]> amplitude = rzf::MakeArray<double>(size);
    std::unique_ptr<double[]> phase = rzf::MakeArray<double>(size);
    rzf::ResetArray(m_pFreqAxis, std::move(freqAxis));
    rzf::ResetArray(m_pAmplitude, std::move(amplitude));
    rzf::ResetArray(m_pPhase, std::move(phase));

    // The arrays hold 200 coefficients whatever the recorded order says
    // (clamped before adding one, so that no order overflows).
    int coefs = 0;
    if (m_nFilterOrder >= kCoefCapacity) {
        coefs = kCoefCapacity;
    } else if (m_nFilterOrder >= 0) {
        coefs = m_nFilterOrder + 1;
    }
    const double* b = m_pNumerator;
    const double* a = m_pDenominator;
    const double step = m_dSampleFreq * 0.5 / n;

    for (int i = 0; i < n; ++i) {
        const double w = rzf::kPi * i / n;
        double reB = 0.0;
        double imB = 0.0;
        double reA = 0.0;
        double imA = 0.0;
        for (int k = 0; k < coefs; ++k) {
            const double c = std::cos(k * w);
            const double s = std::sin(k * w);
            reB += b[k] * c;
            imB -= b[k] * s;
            reA += a[k] * c;
            imA -= a[k] * s;
        }
        const double magA = reA * reA + imA * imA;
        const double reH = (reB * reA + imB * imA) / magA;
        const double imH = (imB * reA - reB * imA) / magA;
        m_pFreqAxis[i] = i * step;
        m_pAmplitude[i] = std::sqrt(reH * reH + imH * imH);
        m_pPhase[i] = (std::fabs(reH) < 1e-40) ? 0.0 : std::atan(imH / reH);
    }

    // Peak magnitude: the last element of the ascending order, found by a scan.
    double peak = m_pAmplitude[0];
    for (int i = 1; i < n; ++i) {
        if (m_pAmplitude[i] > peak) {
            peak = m_pAmplitude[i];
        }
    }
    for (int i = 0; i < n; ++i) {
        m_pAmplitude[i] /= peak;
    }
    // Exact zeros take the next value so the logarithm stays finite; the last
    // point has no successor and takes its predecessor's value.
    for (int i = 0; i < n; ++i) {
        if (m_pAmplitude[i] == 0.0) {
            if (i + 1 < n) {
                m_pAmplitude[i] = m_pAmplitude[i + 1];
            } else if (i > 0) {
                m_pAmplitude[i] = m_pAmplitude[i - 1];
            }
        }
    }
    for (int i = 0; i < n; ++i) {
        m_pAmplitude[i] = 20.0 * std::log10(m_pAmplitude[i]);
    }
}
