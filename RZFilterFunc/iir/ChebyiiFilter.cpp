#include "RZFilterFunc/iir/ChebyiiFilter.h"

#include <RZFilterFunc/platform/MathConst.h>

#include <cmath>
#include <cstdint>

double ChebyiiFilter::PrototypeSection(int N, int i, int m, double kc, double A, double* numerator,
                                       double* denominator) {
    // Double arithmetic: 2i + 1 and 2N leave the int range for the largest
    // orders.
    const double theta = (2.0 * i + 1.0) * rzf::kPi / (2.0 * N);
    const double r = std::pow(A + std::sqrt(A * A - 1.0), 1.0 / N);
    const double sigma = std::sin(theta) * (1.0 / r - r) / 2.0;
    const double omega = (1.0 / r + r) / 2.0 * std::cos(theta);
    const double d = sigma * sigma + omega * omega;
    // Inverse of the type I pole, scaled to the stop edge kc.
    const double pr = sigma * kc / d;
    const double pim = -kc * omega / d;

    for (int j = 0; j <= m; ++j) {
        numerator[j] = 0.0;
        denominator[j] = 0.0;
    }
    if (N % 2 != 0 && static_cast<std::int64_t>(i) + 1 == (static_cast<std::int64_t>(N) + 1) / 2) {
        numerator[0] = -pr;
        denominator[0] = -pr;
        denominator[1] = 1.0;
        return 1.0;
    }
    const double zeroFreq = kc / std::cos(theta);
    const double Z = zeroFreq * zeroFreq;
    const double P = pr * pr + pim * pim;
    numerator[0] = Z * P;
    numerator[1] = 0.0;
    numerator[2] = P;
    denominator[0] = Z * P;
    denominator[1] = -2.0 * pr * Z;
    denominator[2] = Z;
    return 1.0;
}
