#include "RZFilterFunc/iir/PoleRadius.h"

#include <cmath>
#include <vector>

#include "RZFilterFunc/iir/PolyMath.h"

namespace rzf {

namespace {

// Convergence threshold of the designs' own pole test.
constexpr double kRootEps = 1e-30;

}  // namespace

double PoleRadius(const double* a, int D) {
    if (a == nullptr || D < 1 || a[0] == 0.0) {
        return -1.0;
    }
    for (int j = 0; j <= D; ++j) {
        if (!std::isfinite(a[j])) {
            return -1.0;
        }
    }
    // Trailing zero coefficients are poles at the origin: they add nothing.
    int degree = D;
    while (degree > 0 && a[degree] == 0.0) {
        --degree;
    }
    if (degree == 0) {
        return 0.0;
    }
    std::vector<double> reversed(static_cast<std::size_t>(degree) + 1);
    for (int j = 0; j <= degree; ++j) {
        reversed[static_cast<std::size_t>(j)] = a[degree - j];
    }
    std::vector<double> re(static_cast<std::size_t>(degree), 0.0);
    std::vector<double> im(static_cast<std::size_t>(degree), 0.0);
    if (PolyRoots(reversed.data(), degree, re.data(), im.data(), kRootEps) != 1) {
        return -1.0;
    }
    double largest = 0.0;
    for (int j = 0; j < degree; ++j) {
        const double r = std::sqrt(re[j] * re[j] + im[j] * im[j]);
        if (!std::isfinite(r)) {
            return -1.0;
        }
        if (r > largest) {
            largest = r;
        }
    }
    return largest;
}

}  // namespace rzf
