#include "RZFilterFunc/fir/CKaiserFilter.h"

#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "RZFilterFunc/base/FilterTypes.h"
#include "RZFilterFunc/base/OwnedArray.h"
#include "RZFilterFunc/fir/WindowFunctions.h"
#include "RZFilterFunc/platform/MathConst.h"
#include "RZFilterFunc/platform/NumericConvert.h"

namespace {

// Taps are scaled by 2^14 for fixed-point use.
const double kTapScale = 16384.0;

// Length estimate for attenuation a (dB) and normalised transition d.
int EstimateHalfLength(double a, double d, double nyquist) {
    if (a > 21.0) {
        return rzf::TruncToInt32((a - 7.95) * nyquist / (d * 14.36) + 1.0);
    }
    return rzf::TruncToInt32(nyquist * 0.9222 / d + 1.0);
}

double EstimateBeta(double a) {
    if (a >= 50.0) {
        return 0.1102 * (a - 8.7);
    }
    if (a > 21.0) {
        return 0.5842 * std::exp(0.4 * std::log(a - 21.0)) + 0.07886 * (a - 21.0);
    }
    return 0.0;
}

// Ideal response with each cut-off moved half a transition (g) beyond its
// pass-band edge.
double IdealTap(int bandType, int m, double g, double c1, double c2) {
    const double pi = rzf::kPi;
    if (m == 0) {
        switch (bandType) {
            case BAND_LOWPASS:
                return g + c1;
            case BAND_HIGHPASS:
                return 1.0 - (c1 - g);
            case BAND_BANDPASS:
                return (g + c2) - (c1 - g);
            default:
                return (g + c1) + 1.0 - (c2 - g);
        }
    }
    const double md = static_cast<double>(m);
    const double mpi = md * pi;
    switch (bandType) {
        case BAND_LOWPASS:
            return std::sin((g + c1) * md * pi) / mpi;
        case BAND_HIGHPASS:
            return (std::sin(md * pi) - std::sin((c1 - g) * md * pi)) / mpi;
        case BAND_BANDPASS:
            return (std::sin((g + c2) * md * pi) - std::sin((c1 - g) * md * pi)) / mpi;
        default:
            return (std::sin((g + c1) * md * pi) - std::sin((c2 - g) * md * pi) +
                    std::sin(md * pi)) /
                   mpi;
    }
}

}  // namespace

CKaiserFilter::CKaiserFilter()
    : m_nLength(0),
      m_nBandType(0),
      m_nPointCount(512),
      m_dBeta(0.0),
      m_dFreq1(0.0),
      m_dFreq2(0.0),
      m_dNyquist(0.0),
      m_dAtten(0.0),
      m_dTransition(0.0),
      m_pAux1(nullptr),
      m_pCoef(nullptr),
      m_pAux2(nullptr) {}

CKaiserFilter::~CKaiserFilter() {
    rzf::FreeArray(m_pAux1);
    rzf::FreeArray(m_pCoef);
    rzf::FreeArray(m_pAux2);
}

int CKaiserFilter::Design() {
    const double atten = m_dAtten;
    const double transition = m_dTransition;
    if (m_nBandType < BAND_LOWPASS || m_nBandType > BAND_BANDSTOP || !(transition > 0.0)) {
        return 0;
    }
    // The edges are normalised to Nyquist = 1.0 before the estimate.
    const int half = EstimateHalfLength(atten, transition, 1.0);
    if (half < 1 || half > kMaxHalfLength) {
        return 0;
    }

    m_dFreq2 = m_dFreq2 / m_dNyquist;
    m_dFreq1 = m_dFreq1 / m_dNyquist;
    m_dNyquist = 1.0;
    m_nLength = 2 * half;  // twice the estimate, deliberately
    m_dBeta = EstimateBeta(atten);
    const double i0Beta = rzf::BesselI0(m_dBeta);
    if (m_nLength % 2 == 0) {
        m_nLength = m_nLength + 1;
    }
    const int length = m_nLength;
    const std::size_t size = static_cast<std::size_t>(length);

    std::vector<double> window(size);
    for (int i = 0; i < length; ++i) {
        double x = 0.0;
        if (i != length - 1) {
            const double t = 2.0 * i / (length - 1.0) - 1.0;
            x = m_dBeta * std::sqrt(1.0 - t * t);
        }
        window[static_cast<std::size_t>(i)] = rzf::BesselI0(x) / i0Beta;
    }

    const double g = transition / 2.0;
    const double c1 = m_dFreq1;
    const double c2 = m_dFreq2;
    const int centre = (length - 1) / 2;
    std::unique_ptr<double[]> coef = rzf::MakeZeroedArray<double>(size + 1);
    for (int k = 0; k < length; ++k) {
        const std::size_t idx = static_cast<std::size_t>(k);
        const double ideal = IdealTap(m_nBandType, k - centre, g, c1, c2);
        coef[idx] = window[idx] * ideal * kTapScale;
        if (!std::isfinite(coef[idx])) {
            // Edges or a transition that are not finite: no usable design.
            m_nLength = 0;
            return 0;
        }
    }
    rzf::ResetArray(m_pCoef, std::move(coef));
    return m_nLength;
}
