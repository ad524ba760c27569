#include "RZFilterFunc/iir/IirDesignSteps.h"

#include <RZFilterFunc/base/FilterTypes.h>
#include <RZFilterFunc/base/OwnedArray.h>
#include <RZFilterFunc/iir/IIRFilter.h>
#include <RZFilterFunc/platform/MathConst.h>
#include <RZFilterFunc/platform/NumericConvert.h>

#include <cmath>
#include <memory>
#include <utility>

#include "RZFilterFunc/iir/PolyMath.h"

namespace rzf {

namespace {

double IntPow(double x, int n) {
    double r = 1.0;
    for (int i = 0; i < n; ++i) {
        r *= x;
    }
    return r;
}

double Binomial(int i, int j) {
    return static_cast<double>(FallingFactorial(i, j)) /
           static_cast<double>(FallingFactorial(j, j));
}

// NaN-propagating, so that a NaN edge refuses the design through its order.
double Larger(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) {
        return std::nan("");
    }
    return (a > b) ? a : b;
}

// Substitutes the analog band variable into the degree-m section b/a (scaled
// to the edge w1, or mapped around W0^2 with width Bw); nb/na hold the
// result's degree + 1 coefficients, zeroed on entry.
void MapAnalogBand(const double* b, const double* a, int m, int bandType, double w1, double bw,
                   double w0sq, double* nb, double* na) {
    if (bandType == BAND_LOWPASS) {
        double scale = 1.0;
        for (int j = 0; j <= m; ++j) {
            nb[j] = b[j] / scale;
            na[j] = a[j] / scale;
            scale *= w1;
        }
    } else if (bandType == BAND_HIGHPASS) {
        double scale = 1.0;
        for (int j = 0; j <= m; ++j) {
            nb[j] = b[m - j] / scale;
            na[j] = a[m - j] / scale;
            scale *= w1;
        }
    } else if (bandType == BAND_BANDPASS) {
        // s -> (s^2 + W0^2) / (Bw s), times (Bw s)^m.
        for (int i = 0; i <= m; ++i) {
            const double bwPow = IntPow(bw, m - i);
            for (int j = 0; j <= i; ++j) {
                const double term = Binomial(i, j) * IntPow(w0sq, i - j) * bwPow;
                nb[2 * j + m - i] += b[i] * term;
                na[2 * j + m - i] += a[i] * term;
            }
        }
    } else {
        // s -> Bw s / (s^2 + W0^2), times (s^2 + W0^2)^m.
        for (int i = 0; i <= m; ++i) {
            const double bwPow = IntPow(bw, i);
            for (int j = 0; j <= m - i; ++j) {
                const double term = Binomial(m - i, j) * IntPow(w0sq, m - i - j) * bwPow;
                nb[i + 2 * j] += b[i] * term;
                na[i + 2 * j] += a[i] * term;
            }
        }
    }
}

}  // namespace

OrderEstimate EstimateOrderFromSpec(const BandEdges& edges, double fs, double ap, double as,
                                    int bandType, IIRFilter& estimator) {
    OrderEstimate result = {false, 0, edges.f1, edges.f2};
    if (bandType > BAND_BANDSTOP || bandType < BAND_LOWPASS) {
        return result;
    }
    const double t1 = std::tan(kPi * edges.f1 / fs);
    const double t2 = std::tan(kPi * edges.f2 / fs);
    const double x1 = std::pow(10.0, ap / 10.0) - 1.0;
    const double x2 = std::pow(10.0, as / 10.0) - 1.0;
    double k = t1 / t2;

    if (bandType == BAND_HIGHPASS) {
        result.edge1 = edges.f2;
        result.edge2 = 0.0;
    } else if (bandType == BAND_BANDPASS) {
        const double t3 = std::tan(kPi * edges.f3 / fs);
        const double t4 = std::tan(kPi * edges.f4 / fs);
        auto omega = [&](double t) { return (t * t - t2 * t3) / (t * (t3 - t2)); };
        k = Larger(omega(t3) / omega(t4), omega(t2) / omega(t1));
        result.edge1 = edges.f2;
        result.edge2 = edges.f3;
    } else if (bandType == BAND_BANDSTOP) {
        const double t3 = std::tan(kPi * edges.f3 / fs);
        const double t4 = std::tan(kPi * edges.f4 / fs);
        auto omega = [&](double t) { return t * (t4 - t1) / (t * t - t1 * t4); };
        k = Larger(omega(t1) / omega(t2), omega(t4) / omega(t3));
        result.edge1 = edges.f2;
        result.edge2 = edges.f4;
    }
    result.order = TruncToInt32(estimator.EstimateOrder(x1, x2, k));
    result.estimated = true;
    return result;
}

SectionTransformResult TransformSection(const double* b, const double* a, int inCount, int outCount,
                                        int maxDegree, int bandType, double f1, double f2,
                                        double* outB, double* outA) {
    const bool bandMapping = bandType >= BAND_BANDPASS;
    if (bandType < BAND_LOWPASS || bandType > BAND_BANDSTOP) {
        return kSectionBadBandType;
    }
    if (!(f1 > 0.0 && f1 <= 0.5)) {
        return kSectionBadEdges;
    }
    if (bandMapping && !(f1 < f2 && f2 <= 0.5)) {
        return kSectionBadEdges;
    }
    int m = -1;
    for (int j = inCount - 1; j >= 0; --j) {
        if (b[j] != 0.0 || a[j] != 0.0) {
            m = j;
            break;
        }
    }
    if (m < 0) {
        return kSectionEmpty;
    }

    const double w1 = std::tan(kPi * f1);
    double bw = 0.0;
    double w0sq = 0.0;
    int degree = m;
    if (bandMapping) {
        const double w2 = std::tan(kPi * f2);
        bw = w2 - w1;
        w0sq = w1 * w2;
        degree = 2 * m;
    }
    if (degree > maxDegree) {
        return kSectionDegreeTooHigh;
    }

    std::vector<double> nb(degree + 1, 0.0);
    std::vector<double> na(degree + 1, 0.0);
    MapAnalogBand(b, a, m, bandType, w1, bw, w0sq, nb.data(), na.data());

    const int work = (degree + 1 > outCount) ? degree + 1 : outCount;
    std::vector<double> db(work, 0.0);
    std::vector<double> da(work, 0.0);
    switch (BilinearSection(nb.data(), na.data(), degree + 1, work, db.data(), da.data())) {
        case kBilinearDone:
            break;
        case kBilinearNegligible:
            return kSectionEmpty;
        default:
            return kSectionZeroLead;
    }
    for (int j = 0; j < outCount; ++j) {
        outB[j] = db[j];
        outA[j] = da[j];
    }
    return kSectionDone;
}

bool HasFiniteCoefficients(const IIRFilter& filter, int order) {
    if (filter.m_pNumerator == nullptr || filter.m_pDenominator == nullptr || order < 0 ||
        order >= kCoefficientCapacity) {
        return false;
    }
    for (int j = 0; j <= order; ++j) {
        if (!std::isfinite(filter.m_pNumerator[j]) || !std::isfinite(filter.m_pDenominator[j])) {
            return false;
        }
    }
    return true;
}

SectionProduct CombineSections(const std::vector<double>& dens, const std::vector<double>& nums,
                               int sectionCount, int sectionLength) {
    SectionProduct product = {false, false, {}, {}};
    const int sectionDegree = sectionLength - 1;
    if (sectionCount < 1 || sectionLength < 2 ||
        sectionDegree * sectionCount + 1 > kCoefficientCapacity ||
        dens.size() <
            static_cast<std::size_t>(sectionCount) * static_cast<std::size_t>(sectionLength) ||
        nums.size() <
            static_cast<std::size_t>(sectionCount) * static_cast<std::size_t>(sectionLength)) {
        return product;
    }
    std::vector<double>& num = product.numerator;
    std::vector<double>& den = product.denominator;
    num.assign(kCoefficientCapacity, 0.0);
    den.assign(kCoefficientCapacity, 0.0);
    for (std::size_t j = 0; j < static_cast<std::size_t>(sectionLength); ++j) {
        num[j] = nums[j];
        den[j] = dens[j];
    }
    for (int i = 0; i + 1 < sectionCount; ++i) {
        const int productLength = (i + 2) * sectionDegree + 1;
        const std::size_t at =
            static_cast<std::size_t>(i + 1) * static_cast<std::size_t>(sectionLength);
        PolyMultiply(nums.data() + at, sectionLength, num.data(), productLength, num.data());
        PolyMultiply(dens.data() + at, sectionLength, den.data(), productLength, den.data());
    }
    product.formed = true;

    // Poles: roots of a0 z^D + a1 z^(D-1) + ... + aD.
    const int D = sectionDegree * sectionCount;
    const std::size_t degree = static_cast<std::size_t>(D);
    std::vector<double> reversed(degree + 1);
    for (std::size_t j = 0; j <= degree; ++j) {
        reversed[j] = den[degree - j];
    }
    std::vector<double> re(degree, 0.0);
    std::vector<double> im(degree, 0.0);
    PolyRoots(reversed.data(), D, re.data(), im.data(), 1e-30);
    product.stable = true;
    for (std::size_t j = 0; j < degree; ++j) {
        if (std::sqrt(re[j] * re[j] + im[j] * im[j]) > 1.0) {
            product.stable = false;
            break;
        }
    }
    return product;
}

void StoreSectionProduct(const SectionProduct& product, IIRFilter& filter) {
    if (!product.formed) {
        return;
    }
    // Both arrays are filled before either replaces the filter's own.
    const std::size_t capacity = static_cast<std::size_t>(kCoefficientCapacity);
    std::unique_ptr<double[]> numerator = MakeArray<double>(capacity);
    std::unique_ptr<double[]> denominator = MakeArray<double>(capacity);
    for (std::size_t j = 0; j < capacity; ++j) {
        numerator[j] = product.numerator[j];
        denominator[j] = product.denominator[j];
    }
    ResetArray(filter.m_pNumerator, std::move(numerator));
    ResetArray(filter.m_pDenominator, std::move(denominator));
}

}  // namespace rzf
