#include "PoleZero.h"

#include <algorithm>
#include <cmath>

namespace rzft {

namespace {

using Complex = std::complex<double>;

// Removes one exact zero from each list when both hold one: a section of
// order one stores its pole and zero at the origin, which cancel.
void CancelOrigin(std::vector<Complex>& poles, std::vector<Complex>& zeros) {
    for (;;) {
        const auto p = std::find(poles.begin(), poles.end(), Complex(0.0, 0.0));
        const auto z = std::find(zeros.begin(), zeros.end(), Complex(0.0, 0.0));
        if (p == poles.end() || z == zeros.end()) {
            return;
        }
        poles.erase(p);
        zeros.erase(z);
    }
}

}  // namespace

void QuadraticRoots(double a, double b, double c, Complex& r1, Complex& r2) {
    // Extended precision for the discriminant: low-frequency poles sit close
    // together near z = 1, where b^2 and 4ac nearly cancel.
    const long double la = a, lb = b, lc = c;
    const long double disc = lb * lb - 4.0L * la * lc;
    if (disc >= 0.0L) {
        const long double q = -0.5L * (lb + std::copysign(std::sqrt(disc), lb));
        if (q == 0.0L) {
            r1 = r2 = Complex(0.0, 0.0);
            return;
        }
        r1 = Complex(static_cast<double>(q / la), 0.0);
        r2 = Complex(static_cast<double>(lc / q), 0.0);
        return;
    }
    const long double re = -lb / (2.0L * la);
    const long double im = std::sqrt(-disc) / (2.0L * std::fabs(la));
    r1 = Complex(static_cast<double>(re), static_cast<double>(im));
    r2 = Complex(static_cast<double>(re), static_cast<double>(-im));
}

SectionRoots RootsOfSections(const std::vector<double>& rows) {
    SectionRoots out;
    const size_t count = rows.size() / kSectionWidth;
    for (size_t s = 0; s < count; ++s) {
        const double* r = rows.data() + s * kSectionWidth;
        std::vector<Complex> poles;
        std::vector<Complex> zeros;
        Complex x1, x2;
        if (r[3] != 0.0) {
            QuadraticRoots(r[3], r[4], r[5], x1, x2);
            poles = {x1, x2};
        }
        if (r[0] != 0.0) {
            QuadraticRoots(r[0], r[1], r[2], x1, x2);
            zeros = {x1, x2};
        } else if (r[1] != 0.0) {
            zeros = {Complex(-r[2] / r[1], 0.0)};
            ++out.zerosAtInfinity;
        } else {
            out.zerosAtInfinity += 2;
        }
        CancelOrigin(poles, zeros);
        out.poles.insert(out.poles.end(), poles.begin(), poles.end());
        out.zeros.insert(out.zeros.end(), zeros.begin(), zeros.end());
    }
    return out;
}

double LargestMagnitude(const std::vector<Complex>& values) {
    double largest = 0.0;
    for (const Complex& v : values) {
        largest = std::max(largest, std::abs(v));
    }
    return largest;
}

}  // namespace rzft
