#include "RZFilterFunc/iir/ChebyiFilter.h"

#include <RZFilterFunc/platform/MathConst.h>

#include <cmath>
#include <cstdint>

double ChebyiFilter::PrototypeSection(int N, int i, int m, double kc, double A, double* numerator,
                                      double* denominator) {
    // Double arithmetic: 2i + 1 and 2N leave the int range for the largest
    // orders.
    const double theta = (2.0 * i + 1.0) * rzf::kPi / (2.0 * N);
    // Ripple chosen so that the stop edge kc sees exactly the attenuation A.
    const double eps = A / std::cosh(N * std::log(std::sqrt(kc * kc - 1.0) + kc));
    const double g = std::sqrt(eps * eps + 1.0);
    const double beta = std::pow((g + 1.0) / eps, 1.0 / N);
    const double sigma = std::sin(theta) * (1.0 / beta - beta) / 2.0;
    const double omega = std::cos(theta) * (1.0 / beta + beta) / 2.0;

    for (int j = 0; j <= m; ++j) {
        numerator[j] = 0.0;
        denominator[j] = 0.0;
    }
    if (N % 2 != 0 && static_cast<std::int64_t>(i) + 1 == (static_cast<std::int64_t>(N) + 1) / 2) {
        numerator[0] = -sigma;
        denominator[0] = -sigma;
        denominator[1] = 1.0;
        return 1.0;
    }
    const double P = sigma * sigma + omega * omega;
    denominator[0] = P;
    denominator[1] = -2.0 * sigma;
    denominator[2] = 1.0;
    numerator[0] = P;
    if (N % 2 == 0 && i == 0) {
        // Even order: the cascade starts at the bottom of the ripple.
        numerator[0] = P / g;
    }
    return 1.0;
}
