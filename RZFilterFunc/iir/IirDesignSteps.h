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

// The four band edges (Hz), in ascending rank.
struct BandEdges {
    double f1;
    double f2;
    double f3;
    double f4;
};

// Order estimate of a specification, with the two edges the design continues
// from: the pass edge(s) that bound the band.
struct OrderEstimate {
    bool estimated;  // false when bandType is not a BAND_* code (nothing else set)
    int order;       // truncated toward zero; INT_MIN for a NaN or out-of-range estimate
    double edge1;    // design edges (Hz)
    double edge2;
};

// Estimates the order for bandType (BAND_*) from the edges, fs, Ap and As
// through estimator.EstimateOrder, which supplies the design's formula.
OrderEstimate EstimateOrderFromSpec(const BandEdges& edges, double fs, double ap, double as,
                                    int bandType, IIRFilter& estimator);

// Maps one analog low-pass section (inCount coefficients of b and a, ascending
// powers of s) to bandType (BAND_*) with the pre-warped normalised edges f1,
// f2 (fractions of fs), then applies the bilinear transform. Writes
// outCount digital coefficients of each polynomial. The mapped degree may not
// exceed maxDegree. On any result but kSectionDone the outputs are left
// untouched.
SectionTransformResult TransformSection(const double* b, const double* a, int inCount, int outCount,
                                        int maxDegree, int bandType, double f1, double f2,
                                        double* outB, double* outA);

// Product of the digital sections: the filter's numerator and denominator.
struct SectionProduct {
    bool formed;                      // false when the sections were refused (nothing to store)
    bool stable;                      // every pole lies on or inside the unit circle
    std::vector<double> numerator;    // kCoefficientCapacity entries, zero beyond the product
    std::vector<double> denominator;  // likewise
};

// Entries of an IIR design's coefficient arrays.
constexpr int kCoefficientCapacity = 200;

// Multiplies the sectionCount digital sections (sectionLength coefficients
// each, section s at s * sectionLength). Refused (not formed) when there are
// no sections, they are shorter than 2 coefficients, the vectors are short or
// the product would not fit the coefficient arrays.
SectionProduct CombineSections(const std::vector<double>& dens, const std::vector<double>& nums,
                               int sectionCount, int sectionLength);

// Replaces the filter's numerator and denominator by fresh arrays holding a
// formed product; a refused one leaves the filter as it is.
void StoreSectionProduct(const SectionProduct& product, IIRFilter& filter);

// True when the filter holds a numerator and a denominator whose entries 0 ..
// order are all finite. Extreme specifications (a sampling frequency near the
// largest double, say) overflow the design arithmetic; such a design is not
// usable.
bool HasFiniteCoefficients(const IIRFilter& filter, int order);

}  // namespace rzf
