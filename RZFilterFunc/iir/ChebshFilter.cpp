#include "RZFilterFunc/iir/ChebshFilter.h"

#include <RZFilterFunc/base/FilterMessages.h>
#include <RZFilterFunc/base/FilterTypes.h>
#include <RZFilterFunc/platform/MathConst.h>

#include <cmath>
#include <vector>

#include "RZFilterFunc/iir/IirDesignSteps.h"

namespace {

constexpr int kSectionCapacity = 5;

// Orders the design accepts: low-/high-pass up to 10, band-pass/-stop up to
// 12 (their digital filters have twice that order).
constexpr int kMinOrder = 3;
constexpr int kMaxOrderLowHigh = 10;
constexpr int kMaxOrderBand = 12;

double Smaller(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) {
        return std::nan("");
    }
    return (a < b) ? a : b;
}

// Selectivity kc of the prototype from the edges q1..q4 (fractions of fs) and
// the band edges lo, hi the mapping uses; 0 for band types outside 1..4.
double Selectivity(int band, double q1, double q2, double q3, double q4, double lo, double hi) {
    auto u = [](double x) { return std::tan(rzf::kPi * x); };
    if (band == BAND_LOWPASS || band == BAND_HIGHPASS) {
        return u(q2) / u(q1);
    }
    if (band == BAND_BANDPASS) {
        const double ulo = u(lo);
        const double uhi = u(hi);
        const double a = std::fabs((u(q1) * u(q1) - ulo * uhi) / ((uhi - ulo) * u(q1)));
        const double b = std::fabs((u(q4) * u(q4) - ulo * uhi) / ((uhi - ulo) * u(q4)));
        return Smaller(a, b);
    }
    if (band == BAND_BANDSTOP) {
        const double ulo = u(lo);
        const double uhi = u(hi);
        const double a = std::fabs(1.0 / ((u(q2) * u(q2) - ulo * uhi) / ((uhi - ulo) * u(q2))));
        const double b = std::fabs(1.0 / ((u(q3) * u(q3) - ulo * uhi) / ((uhi - ulo) * u(q3))));
        return Smaller(a, b);
    }
    return 0.0;
}

// The sectionCount sections of the filter's prototype, mapped to band with the
// normalised edges lo, hi and stored one after another (sectionLength each).
void DigitalSections(ChebshFilter& filter, int sectionCount, int sectionLength, int sectionDegree,
                     int band, double kc, double stopGain, double lo, double hi,
                     std::vector<double>& nums, std::vector<double>& dens) {
    const std::size_t stride = static_cast<std::size_t>(sectionLength);
    nums.assign(static_cast<std::size_t>(sectionCount) * stride, 0.0);
    dens.assign(static_cast<std::size_t>(sectionCount) * stride, 0.0);
    for (int i = 0; i < sectionCount; ++i) {
        double an[kSectionCapacity] = {};
        double ad[kSectionCapacity] = {};
        double dn[kSectionCapacity] = {};
        double dd[kSectionCapacity] = {};
        filter.PrototypeSection(2 * sectionCount, i, kSectionCapacity - 1, kc, stopGain, an, ad);
        rzf::TransformSection(an, ad, kSectionCapacity, sectionLength, sectionDegree, band, lo, hi,
                              dn, dd);
        for (std::size_t j = 0; j < stride; ++j) {
            nums[static_cast<std::size_t>(i) * stride + j] = dn[j];
            dens[static_cast<std::size_t>(i) * stride + j] = dd[j];
        }
    }
}

}  // namespace

double ChebshFilter::EstimateOrder(double x1, double x2, double k) {
    return std::log(std::sqrt(x2 / x1 - 1.0) + std::sqrt(x2 / x1)) /
               std::log(std::sqrt(1.0 / (k * k) - 1.0) + 1.0 / k) +
           rzf::kOrderRoundingBias;
}

int ChebshFilter::DesignIIR() {
    const int band = m_nBandType;
    const double fs = m_dSampleFreq;
    const bool lowHigh = band == BAND_LOWPASS || band == BAND_HIGHPASS;

    // The filter's edges stay as given; only the order is taken.
    int order = 0;
    if (band >= BAND_LOWPASS) {
        const rzf::OrderEstimate estimate = rzf::EstimateOrderFromSpec(
            {m_dFreq1, m_dFreq2, m_dFreq3, m_dFreq4}, fs, m_dPassRipple, m_dStopAtten, band, *this);
        if (estimate.estimated) {
            order = estimate.order;
        }
    }
    auto refuse = [this]() {
        m_bStable = false;
        m_strError = rzf::msg::Text(rzf::msg::kOrderTooLarge);
        return -1;
    };
    const int maxOrder = lowHigh ? kMaxOrderLowHigh : kMaxOrderBand;
    if (order < kMinOrder || order > maxOrder) {
        return refuse();
    }

    // Each section is second order, fourth after a band mapping.
    const int sectionDegree = (band < BAND_BANDPASS) ? 2 : 4;
    const int sectionCount = (order % 2 != 0) ? (order + 1) / 2 : order / 2;
    const int sectionLength = (band == BAND_BANDPASS || band == BAND_BANDSTOP)
                                  ? rzf::kBandSectionLength
                                  : rzf::kLowHighSectionLength;

    const double q1 = m_dFreq1 / fs;
    const double q2 = m_dFreq2 / fs;
    const double q3 = m_dFreq3 / fs;
    const double q4 = m_dFreq4 / fs;
    const double lo = (band == BAND_LOWPASS || band == BAND_BANDSTOP) ? q1 : q2;
    const double hi = (band <= BAND_BANDPASS) ? q3 : q4;
    const double kc = Selectivity(band, q1, q2, q3, q4, lo, hi);
    // An edge at 0 Hz or NaN that the estimate let through leaves no usable
    // selectivity: refuse rather than return a filter of zeros or NaN.
    if (!(kc > 0.0) || std::isinf(kc)) {
        return refuse();
    }
    m_nFilterOrder = sectionCount * sectionDegree;
    const double stopGain = std::pow(10.0, m_dStopAtten / 20.0);

    std::vector<double> nums;
    std::vector<double> dens;
    DigitalSections(*this, sectionCount, sectionLength, sectionDegree, band, kc, stopGain, lo, hi,
                    nums, dens);
    rzf::StoreSectionProduct(rzf::CombineSections(dens, nums, sectionCount, sectionLength), *this);
    if (!rzf::HasFiniteCoefficients(*this, m_nFilterOrder)) {
        return refuse();
    }
    m_nLength = m_nFilterOrder + 1;
    return m_nFilterOrder;
}
