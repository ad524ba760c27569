#include "RZFilterFunc/iir/ButwcfFilter.h"

#include <RZFilterFunc/base/DesignLimits.h>
#include <RZFilterFunc/base/FilterMessages.h>
#include <RZFilterFunc/base/FilterTypes.h>
#include <RZFilterFunc/platform/MathConst.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "RZFilterFunc/iir/IirDesignSteps.h"

namespace {

constexpr int kSectionCapacity = 10;
constexpr int kDigitalCapacity = 20;

// Orders the design accepts: low-/high-pass up to 10, band-pass/-stop up to
// 15 (their digital filters have twice that order).
constexpr int kMinOrder = 3;
constexpr int kMaxOrderLowHigh = 10;
constexpr int kMaxOrderBand = 15;

// The sectionCount sections of the order-N prototype, mapped to band with the
// normalised edges f1, f2 and stored one after another (sectionLength each).
void DigitalSections(int order, int sectionCount, int sectionLength, int band, double f1, double f2,
                     std::vector<double>& nums, std::vector<double>& dens) {
    const std::size_t stride = static_cast<std::size_t>(sectionLength);
    nums.assign(static_cast<std::size_t>(sectionCount) * stride, 0.0);
    dens.assign(static_cast<std::size_t>(sectionCount) * stride, 0.0);
    for (int k = 1; k <= sectionCount; ++k) {
        double an[kSectionCapacity] = {};
        double ad[kSectionCapacity] = {};
        double dn[kDigitalCapacity] = {};
        double dd[kDigitalCapacity] = {};
        ButwcfFilter::ButterworthSection(order, k, an, ad);
        rzf::TransformSection(an, ad, kSectionCapacity, sectionLength, sectionLength, band, f1, f2,
                              dn, dd);
        dd[0] = 1.0;
        for (std::size_t j = 0; j < stride; ++j) {
            nums[static_cast<std::size_t>(k - 1) * stride + j] = dn[j];
            dens[static_cast<std::size_t>(k - 1) * stride + j] = dd[j];
        }
    }
}

}  // namespace

double ButwcfFilter::EstimateOrder(double x1, double x2, double k) {
    return 0.5 * (std::log10(x1) - std::log10(x2)) / std::log10(k) + rzf::kOrderRoundingBias;
}

int ButwcfFilter::ButterworthSection(int N, int k, double* numerator, double* denominator) {
    // 64-bit and double arithmetic: N + 1 and N + 2k - 1 leave the int range
    // for the largest orders.
    const std::int64_t sections = (static_cast<std::int64_t>(N) + 1) / 2;
    if (k < 1 || k > sections) {
        return 2;
    }
    if (N < 1) {
        return 1;
    }
    for (int j = 0; j < kSectionCapacity; ++j) {
        numerator[j] = 0.0;
        denominator[j] = 0.0;
    }
    numerator[0] = 1.0;
    denominator[0] = 1.0;
    if (k - (static_cast<double>(N) + 1.0) * 0.5 == 0.0) {
        // Last section of an odd order: s + 1.
        denominator[1] = 1.0;
        return 0;
    }
    const double angle = static_cast<double>(N) + 2.0 * k - 1.0;
    denominator[1] = -2.0 * std::cos(angle * rzf::kPi / (2.0 * N));
    denominator[2] = 1.0;
    return 0;
}

int ButwcfFilter::DesignIIR() {
    const int band = m_nBandType;
    const double fs = m_dSampleFreq;
    const bool lowHigh = band == BAND_LOWPASS || band == BAND_HIGHPASS;

    // Stop edges this close to Nyquist are refused without a message.
    if (band == BAND_LOWPASS && m_dFreq2 > rzf::DesignFrequencyLimit(fs)) {
        return -1;
    }
    if (band == BAND_BANDSTOP && m_dFreq4 > rzf::DesignFrequencyLimit(fs)) {
        return -1;
    }

    int order = 0;
    const double lowerPassEdge = m_dFreq1;
    if (band >= BAND_LOWPASS) {
        const rzf::OrderEstimate estimate = rzf::EstimateOrderFromSpec(
            {m_dFreq1, m_dFreq2, m_dFreq3, m_dFreq4}, fs, m_dPassRipple, m_dStopAtten, band, *this);
        if (estimate.estimated) {
            // The design continues from the edges the estimate chose.
            m_dFreq1 = estimate.edge1;
            m_dFreq2 = estimate.edge2;
            order = estimate.order;
        }
    }
    if (band == BAND_BANDSTOP) {
        m_dFreq1 = lowerPassEdge;
    }

    auto refuse = [this]() {
        m_bStable = false;
        m_strError = rzf::msg::Text(rzf::msg::kOrderTooLarge);
        return -1;
    };
    // Without an estimate the order stays 0 and is refused here too.
    const int maxOrder = lowHigh ? kMaxOrderLowHigh : kMaxOrderBand;
    if (order < kMinOrder || order > maxOrder) {
        return refuse();
    }
    m_nFilterOrder = (band > BAND_HIGHPASS) ? 2 * order : order;

    const double f1 = m_dFreq1 / fs;
    const double f2 = m_dFreq2 / fs;
    const int sectionCount = (order > 1) ? (order + 1) / 2 : 1;
    const int sectionLength = (band == BAND_BANDPASS || band == BAND_BANDSTOP)
                                  ? rzf::kBandSectionLength
                                  : rzf::kLowHighSectionLength;

    std::vector<double> nums;
    std::vector<double> dens;
    DigitalSections(order, sectionCount, sectionLength, band, f1, f2, nums, dens);
    rzf::StoreSectionProduct(rzf::CombineSections(dens, nums, sectionCount, sectionLength), *this);
    if (!rzf::HasFiniteCoefficients(*this, m_nFilterOrder)) {
        // Overflowed design arithmetic: unusable, refused like an unstable order.
        return refuse();
    }
    return m_nFilterOrder;
}
