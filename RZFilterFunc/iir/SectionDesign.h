#pragma once

#include <complex>
#include <vector>

// IIR designs as cascades of second-order sections. The analog prototype of the
// transfer-function design (same family, order, pre-warped edges and gain) is
// carried as poles and zeros through the band mapping and the bilinear step,
// so the result stays accurate where the expanded polynomial does not.
// Internal to the library.
namespace rzf {

enum class IirFamily { kButterworth, kChebyshevI, kChebyshevII };

// Poles or zeros of a real filter: each complex pair by its member with a
// positive imaginary part, the real ones apart.
struct RootSet {
    std::vector<std::complex<double>> pairs;
    std::vector<double> reals;

    int Count() const {
        return 2 * static_cast<int>(pairs.size()) + static_cast<int>(reals.size());
    }
};

// Poles and zeros with the filter's value at one reference point, which fixes
// the gain: the prototype's value at s = 0 and, once mapped, at the digital
// frequency that s = 0 lands on.
struct ZeroPoleSet {
    RootSet zeros;
    RootSet poles;
    double refValue = 1.0;    // real value of the filter at the reference point
    double refFrequency = 0;  // digital reference, radians per sample (0..pi)
};

// Rows of six doubles b0 b1 b2 a0 a1 a2 (a0 = 1), applied in row order.
struct SectionSet {
    std::vector<double> rows;

    int Count() const { return static_cast<int>(rows.size() / 6); }
};

// What a section design needs from a specification whose transfer function has
// been designed: edges in Hz (ascending, with the designer's roles), fs, As in
// dB, band type 1..4 and the designed transfer function's order.
struct SectionRequest {
    IirFamily family = IirFamily::kButterworth;
    int bandType = 0;
    int filterOrder = 0;
    double sampleFreq = 0.0;
    double freq1 = 0.0;
    double freq2 = 0.0;
    double freq3 = 0.0;
    double freq4 = 0.0;
    double stopAtten = 0.0;
};

// Order of the analog prototype behind a designed order (the band designs
// double it); 0 for a band type outside 1..4 or an order that no design gives.
int PrototypeOrder(int bandType, int filterOrder);

// Selectivity of the Chebyshev prototype, above 1 for a valid specification:
// stop-edge to pass-edge ratio after pre-warping and the band mapping. q1..q4
// are the edges as fractions of fs.
double ChebyshevSelectivity(int bandType, double q1, double q2, double q3, double q4);

// Normalised analog low-pass prototypes of order N (pass edge at 1 rad/s).
// Butterworth: gain 1 at s = 0. Chebyshev I: ripple set so that the stop edge
// kc sees the attenuation A (linear), gain 1/sqrt(1 + eps^2) at s = 0 for an
// even N. Chebyshev II: stop edge at kc with attenuation A, gain 1 at s = 0.
ZeroPoleSet ButterworthPrototype(int N);
ZeroPoleSet ChebyshevIPrototype(int N, double kc, double A);
ZeroPoleSet ChebyshevIIPrototype(int N, double kc, double A);

// Maps a prototype to band type T with the pre-warped edges w1 = tan(pi f1)
// and, for the band designs, w2 = tan(pi f2); then applies the bilinear
// transform s = (1 - z^-1)/(1 + z^-1). Zeros at infinity land on z = -1.
ZeroPoleSet MapToBand(const ZeroPoleSet& prototype, int T, double w1, double w2);
ZeroPoleSet Bilinear(const ZeroPoleSet& analog);

// Pairs digital poles with their nearest zeros into sections, poles nearest
// the unit circle last, and spreads the gain so that the peak magnitude of
// every partial cascade is 1 while the whole cascade keeps refValue at
// refFrequency. A set with an odd count gets one first-order section.
SectionSet PairSections(const ZeroPoleSet& digital);

// The whole design; an empty set when the request admits none (band type,
// order, edges outside (0, fs/2), a selectivity that leaves no prototype, or a
// result that is not finite).
SectionSet DesignSections(const SectionRequest& request);

// Complex frequency response of the cascade at w radians per sample.
std::complex<double> SectionResponse(const SectionSet& sections, double w);

}  // namespace rzf
