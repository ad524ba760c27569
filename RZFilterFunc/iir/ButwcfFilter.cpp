#include "RZFilterFunc/iir/ButwcfFilter.h"

#include <RZFilterFunc/base/FilterMessages.h>
#include <RZFilterFunc/platform/MathConst.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "RZFilterFunc/iir/IirDesignSteps.h"

namespace {

constexpr int kSectionCapacity = 10;
constexpr int kDigitalCapacity = 20;

}  // namespace

double ButwcfFilter::EstimateOrder(double x1, double x2, double k) {
    return 0.5 * (std::log10(x1) - std::log10(x2)) / std::log10(k) + 0.9;
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
    const int T = m_nBandType;
    const double fs = m_dSampleFreq;

    // Stop edges this close to Nyquist are refused without a message.
    if (T == 1 && m_dFreq2 > fs / 2.56) {
        return -1;
    }
    if (T == 4 && m_dFreq4 > fs / 2.56) {
        return -1;
    }

    int L = 3;
    int N = 0;
    int rc = 1;
    const double lowerPassEdge = m_dFreq1;
    if (T >= 1) {
        rc = rzf::EstimateOrderFromSpec(&m_dFreq1, &m_dFreq2, &m_dFreq3, &m_dFreq4, fs,
                                        m_dPassRipple, m_dStopAtten, T, &N, *this);
    }
    if (T == 4) {
        m_dFreq1 = lowerPassEdge;
    }

    const int maxOrder = (T == 1 || T == 2) ? 10 : 15;
    if (N < 3 || N > maxOrder) {
        m_bStable = false;
        m_strError = rzf::msg::Text(rzf::msg::kOrderTooLarge);
        return -1;
    }
    m_nFilterOrder = (T > 2) ? 2 * N : N;
    if (T != 1 && T != 2 && N >= 100) {
        return -2;
    }
    if ((T == 1 || T == 2) && N >= 200) {
        return -2;
    }
    if (rc != 0) {
        return -3;
    }

    const double f1 = m_dFreq1 / fs;
    const double f2 = m_dFreq2 / fs;
    const int S = (N > 1) ? (N + 1) / 2 : 1;
    if (T == 3 || T == 4) {
        L = 5;
    }

    std::vector<double> nums(static_cast<std::size_t>(S) * L, 0.0);
    std::vector<double> dens(static_cast<std::size_t>(S) * L, 0.0);
    for (int k = 1; k <= S; ++k) {
        double an[kSectionCapacity] = {};
        double ad[kSectionCapacity] = {};
        double dn[kDigitalCapacity] = {};
        double dd[kDigitalCapacity] = {};
        ButterworthSection(N, k, an, ad);
        rzf::TransformSection(an, ad, kSectionCapacity, L, L, T, f1, f2, dn, dd);
        dd[0] = 1.0;
        for (int j = 0; j < L; ++j) {
            nums[static_cast<std::size_t>(k - 1) * L + j] = dn[j];
            dens[static_cast<std::size_t>(k - 1) * L + j] = dd[j];
        }
    }
    rzf::CombineSections(dens, nums, S, L, *this);
    return m_nFilterOrder;
}
