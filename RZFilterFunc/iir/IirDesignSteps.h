#pragma once

#include <vector>

class IIRFilter;

// Steps shared by the section-based IIR designs: order estimate, band mapping
// with bilinear transform of one section, and the product of the sections.
// Internal to the library.
namespace rzf {

// The order estimates are truncated toward zero; adding this first rounds up
// any estimate whose fractional part exceeds 0.1.
constexpr double kOrderRoundingBias = 0.9;

// Coefficients per digital section: second order for low-/high-pass, fourth
// order once a band-pass/-stop mapping has doubled the degree.
constexpr int kLowHighSectionLength = 3;
constexpr int kBandSectionLength = 5;

// Outcome of TransformSection.
enum SectionTransformResult : int {
    kSectionDone = 0,
    kSectionEmpty = 1,          // every coefficient of the analog section is zero
    kSectionZeroLead = 2,       // the bilinear transform's a0 is zero
    kSectionDegreeTooHigh = 3,  // the mapped degree exceeds maxDegree
    kSectionBadBandType = 4,    // band type outside BAND_LOWPASS..BAND_BANDSTOP
    kSectionBadEdges = 5,       // edges outside (0, 0.5] or out of order
};

// Estimates the order for bandType (BAND_*) from the edges e1..e4 (Hz), fs,
// Ap and As through filter.EstimateOrder, truncated toward zero (a NaN or
// out-of-range estimate gives INT_MIN). Rewrites e1/e2 to the design edges.
// Returns 0, or 1 (order untouched) when bandType is not a BAND_* code.
int EstimateOrderFromSpec(double* e1, double* e2, double* e3, double* e4, double fs, double ap,
                          double as, int bandType, int* order, IIRFilter& filter);

// Maps one analog low-pass section (inCount coefficients of b and a, ascending
// powers of s) to bandType (BAND_*) with the pre-warped normalised edges f1,
// f2 (fractions of fs), then applies the bilinear transform. Writes
// outCount digital coefficients of each polynomial. The mapped degree may not
// exceed maxDegree. On any result but kSectionDone the outputs are left
// untouched.
SectionTransformResult TransformSection(const double* b, const double* a, int inCount, int outCount,
                                        int maxDegree, int bandType, double f1, double f2,
                                        double* outB, double* outA);

// Multiplies the sectionCount digital sections (sectionLength coefficients
// each, section s at s * sectionLength) into the filter's numerator and
// denominator (fresh 200-entry arrays, zero beyond the product). Returns 1 when
// every pole lies on or inside the unit circle, else 0.
int CombineSections(const std::vector<double>& dens, const std::vector<double>& nums,
                    int sectionCount, int sectionLength, IIRFilter& filter);

// True when the filter holds a numerator and a denominator whose entries 0 ..
// order are all finite. Extreme specifications (a sampling frequency near the
// largest double, say) overflow the design arithmetic; such a design is not
// usable.
bool HasFiniteCoefficients(const IIRFilter& filter, int order);

}  // namespace rzf
