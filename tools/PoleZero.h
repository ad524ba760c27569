#pragma once

#include <complex>
#include <vector>

namespace rzft {

// Values of one second-order section row: b0 b1 b2 a0 a1 a2.
inline constexpr int kSectionWidth = 6;

// Poles and zeros of a cascade of second-order sections, each section taken
// as (b0 z^2 + b1 z + b2) / (a0 z^2 + a1 z + a2). A first-order section's
// pole and zero at the origin cancel and are left out; a zero at infinity
// (b0 = 0) is counted, not listed.
struct SectionRoots {
    std::vector<std::complex<double>> poles;
    std::vector<std::complex<double>> zeros;
    int zerosAtInfinity = 0;
};

SectionRoots RootsOfSections(const std::vector<double>& rows);

// Roots of a z^2 + b z + c (a != 0), by the form that avoids cancellation.
void QuadraticRoots(double a, double b, double c, std::complex<double>& r1,
                    std::complex<double>& r2);

// Largest magnitude among the values; 0 for none.
double LargestMagnitude(const std::vector<std::complex<double>>& values);

}  // namespace rzft
