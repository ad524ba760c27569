#include "RZFilterFunc/iir/ChebshFilter.h"

#include <RZFilterFunc/base/FilterMessages.h>
#include <RZFilterFunc/platform/MathConst.h>

#include <cmath>
#include <vector>

#include "RZFilterFunc/iir/IirDesignSteps.h"

namespace {

constexpr int kSectionCapacity = 5;

double Smaller(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) {
        return std::nan("");
    }
    return (a < b) ? a : b;
}

}  // namespace

double ChebshFilter::EstimateOrder(double x1, double x2, double k) {
    return std::log(std::sqrt(x2 / x1 - 1.0) + std::sqrt(x2 / x1)) /
               std::log(std::sqrt(1.0 / (k * k) - 1.0) + 1.0 / k) +
           0.9;
}

int ChebshFilter::DesignIIR() {
    const int T = m_nBandType;
    const double fs = m_dSampleFreq;

    // The estimate works on copies: the filter's edges stay as given.
    double e1 = m_dFreq1;
    double e2 = m_dFreq2;
    double e3 = m_dFreq3;
    double e4 = m_dFreq4;
    int N = 0;
    if (T >= 1) {
        rzf::EstimateOrderFromSpec(&e1, &e2, &e3, &e4, fs, m_dPassRipple, m_dStopAtten, T, &N,
                                   *this);
    }
    auto refuse = [this]() {
        m_bStable = false;
        m_strError = rzf::msg::Text(rzf::msg::kOrderTooLarge);
        return -1;
    };
    const int maxOrder = (T == 1 || T == 2) ? 10 : 12;
    if (N < 3 || N > maxOrder) {
        return refuse();
    }

    const int D = (T < 3) ? 2 : 4;
    const int S = (N % 2 != 0) ? (N + 1) / 2 : N / 2;
    const int L = (T == 3 || T == 4) ? 5 : 3;

    const double q1 = m_dFreq1 / fs;
    const double q2 = m_dFreq2 / fs;
    const double q3 = m_dFreq3 / fs;
    const double q4 = m_dFreq4 / fs;
    const double lo = (T == 1 || T == 4) ? q1 : q2;
    const double hi = (T <= 3) ? q3 : q4;

    auto u = [](double x) { return std::tan(rzf::kPi * x); };
    double kc = 0.0;
    if (T == 1 || T == 2) {
        kc = u(q2) / u(q1);
    } else if (T == 3) {
        const double ulo = u(lo);
        const double uhi = u(hi);
        const double a = std::fabs((u(q1) * u(q1) - ulo * uhi) / ((uhi - ulo) * u(q1)));
        const double b = std::fabs((u(q4) * u(q4) - ulo * uhi) / ((uhi - ulo) * u(q4)));
        kc = Smaller(a, b);
    } else if (T == 4) {
        const double ulo = u(lo);
        const double uhi = u(hi);
        const double a = std::fabs(1.0 / ((u(q2) * u(q2) - ulo * uhi) / ((uhi - ulo) * u(q2))));
        const double b = std::fabs(1.0 / ((u(q3) * u(q3) - ulo * uhi) / ((uhi - ulo) * u(q3))));
        kc = Smaller(a, b);
    }
    // An edge at 0 Hz or NaN that the estimate let through leaves no usable
    // selectivity: refuse rather than return a filter of zeros or NaN.
    if (!(kc > 0.0) || std::isinf(kc)) {
        return refuse();
    }
    m_nFilterOrder = S * D;
    const double A = std::pow(10.0, m_dStopAtten / 20.0);

    std::vector<double> nums(static_cast<std::size_t>(S) * L, 0.0);
    std::vector<double> dens(static_cast<std::size_t>(S) * L, 0.0);
    for (int i = 0; i < S; ++i) {
        double an[kSectionCapacity] = {};
        double ad[kSectionCapacity] = {};
        double dn[kSectionCapacity] = {};
        double dd[kSectionCapacity] = {};
        PrototypeSection(2 * S, i, kSectionCapacity - 1, kc, A, an, ad);
        rzf::TransformSection(an, ad, kSectionCapacity, L, D, T, lo, hi, dn, dd);
        for (int j = 0; j < L; ++j) {
            nums[static_cast<std::size_t>(i) * L + j] = dn[j];
            dens[static_cast<std::size_t>(i) * L + j] = dd[j];
        }
    }
    rzf::CombineSections(dens, nums, S, L, *this);
    m_nLength = m_nFilterOrder + 1;
    return m_nFilterOrder;
}
