#include "RZFilterFunc/iir/SectionDesign.h"

#include <RZFilterFunc/base/FilterTypes.h>
#include <RZFilterFunc/platform/MathConst.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace rzf {

namespace {

using Complex = std::complex<double>;

constexpr int kRowWidth = 6;
// Uniform points of the peak search for the gain spread (points around the
// poles' own angles are added, so narrow resonances are not missed).
constexpr int kPeakGrid = 512;
constexpr int kPeakRefine = 12;
constexpr double kMinPeakWidth = 1e-6;

bool IsBand(int T) {
    return T == BAND_BANDPASS || T == BAND_BANDSTOP;
}

// Keeps the member of a conjugate pair with the non-negative imaginary part.
Complex Upper(Complex z) {
    return z.imag() < 0.0 ? std::conj(z) : z;
}

// Roots of s^2 - c s + w0sq with real w0sq > 0, without cancellation: the
// larger root first, the other from the product of the roots.
void QuadraticRoots(Complex c, double w0sq, Complex* r1, Complex* r2) {
    Complex d = std::sqrt(c * c - 4.0 * w0sq);
    if (std::real(std::conj(c) * d) < 0.0) {
        d = -d;
    }
    *r1 = (c + d) / 2.0;
    *r2 = (*r1 == Complex(0.0, 0.0)) ? Complex(0.0, 0.0) : w0sq / *r1;
}

// Adds the two roots of s^2 - c s + w0sq for a real c.
void AddRealQuadratic(double c, double w0sq, RootSet* out) {
    const double disc = c * c - 4.0 * w0sq;
    if (disc >= 0.0) {
        const double root = std::sqrt(disc);
        const double r1 = (c + (c >= 0.0 ? root : -root)) / 2.0;
        out->reals.push_back(r1);
        out->reals.push_back(r1 == 0.0 ? 0.0 : w0sq / r1);
    } else {
        out->pairs.emplace_back(c / 2.0, std::sqrt(-disc) / 2.0);
    }
}

// Maps every root through the band substitution: the pair member p gives the
// roots of s^2 - c(p) s + w0sq (and their conjugates for the other member).
template <typename Coefficient>
RootSet MapQuadratic(const RootSet& in, double w0sq, Coefficient c) {
    RootSet out;
    for (const Complex& p : in.pairs) {
        Complex r1;
        Complex r2;
        QuadraticRoots(c(p), w0sq, &r1, &r2);
        out.pairs.push_back(Upper(r1));
        out.pairs.push_back(Upper(r2));
    }
    for (double r : in.reals) {
        AddRealQuadratic(std::real(c(Complex(r, 0.0))), w0sq, &out);
    }
    return out;
}

template <typename Map>
RootSet MapEach(const RootSet& in, Map map) {
    RootSet out;
    for (const Complex& p : in.pairs) {
        out.pairs.push_back(Upper(map(p)));
    }
    for (double r : in.reals) {
        out.reals.push_back(std::real(map(Complex(r, 0.0))));
    }
    return out;
}

// Remaining roots while sections are formed.
struct Pool {
    std::vector<Complex> pairs;
    std::vector<double> reals;

    bool Empty() const { return pairs.empty() && reals.empty(); }
};

// Index of the real root nearest to p, or -1 when none is left.
int NearestReal(const std::vector<double>& reals, Complex p) {
    int best = -1;
    double bestDist = 0.0;
    for (std::size_t i = 0; i < reals.size(); ++i) {
        const double d = std::abs(Complex(reals[i], 0.0) - p);
        if (best < 0 || d < bestDist) {
            best = static_cast<int>(i);
            bestDist = d;
        }
    }
    return best;
}

int NearestPair(const std::vector<Complex>& pairs, Complex p) {
    int best = -1;
    double bestDist = 0.0;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        // The pair member nearer to p decides.
        const double d = std::min(std::abs(pairs[i] - p), std::abs(std::conj(pairs[i]) - p));
        if (best < 0 || d < bestDist) {
            best = static_cast<int>(i);
            bestDist = d;
        }
    }
    return best;
}

double TakeReal(std::vector<double>& reals, int i) {
    const double v = reals[static_cast<std::size_t>(i)];
    reals.erase(reals.begin() + i);
    return v;
}

Complex TakePair(std::vector<Complex>& pairs, int i) {
    const Complex v = pairs[static_cast<std::size_t>(i)];
    pairs.erase(pairs.begin() + i);
    return v;
}

// One section in monic form: b = [1, b1, b2], a = [1, a1, a2], and a pole that
// stands for it (for the ordering and the peak search).
struct Monic {
    double b1 = 0.0;
    double b2 = 0.0;
    double a1 = 0.0;
    double a2 = 0.0;
    Complex pole;
};

// Takes two zeros for a section whose poles are near p: a conjugate pair when
// it is nearer than any real zero or fewer than two real zeros remain (the
// counts of real poles and zeros keep the same parity, so one is then left).
void TakeTwoZeros(Pool& zeros, Complex p, Monic* s) {
    const int pairIndex = NearestPair(zeros.pairs, p);
    const int realIndex = NearestReal(zeros.reals, p);
    bool usePair = pairIndex >= 0;
    if (usePair && realIndex >= 0 && zeros.reals.size() >= 2) {
        const Complex pz = zeros.pairs[static_cast<std::size_t>(pairIndex)];
        const double pairDist = std::min(std::abs(pz - p), std::abs(std::conj(pz) - p));
        const double realDist =
            std::abs(Complex(zeros.reals[static_cast<std::size_t>(realIndex)], 0.0) - p);
        usePair = pairDist <= realDist;
    }
    if (usePair) {
        const Complex z = TakePair(zeros.pairs, pairIndex);
        s->b1 = -2.0 * z.real();
        s->b2 = std::norm(z);
        return;
    }
    const double z1 = TakeReal(zeros.reals, realIndex);
    const double z2 = TakeReal(zeros.reals, NearestReal(zeros.reals, p));
    s->b1 = -(z1 + z2);
    s->b2 = z1 * z2;
}

// Magnitude of one monic section at e^{jw}.
double MonicMagnitude(const Monic& s, Complex zInv) {
    const Complex zInv2 = zInv * zInv;
    const Complex num = 1.0 + s.b1 * zInv + s.b2 * zInv2;
    const Complex den = 1.0 + s.a1 * zInv + s.a2 * zInv2;
    return std::abs(num) / std::abs(den);
}

Complex MonicResponse(const Monic& s, Complex zInv) {
    const Complex zInv2 = zInv * zInv;
    return (1.0 + s.b1 * zInv + s.b2 * zInv2) / (1.0 + s.a1 * zInv + s.a2 * zInv2);
}

// NaN-propagating, so that a NaN edge leaves no selectivity.
double Smaller(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) {
        return std::nan("");
    }
    return a < b ? a : b;
}

bool AllFinite(const std::vector<double>& v) {
    return std::all_of(v.begin(), v.end(), [](double x) { return std::isfinite(x); });
}

}  // namespace

int PrototypeOrder(int bandType, int filterOrder) {
    if (bandType == BAND_LOWPASS || bandType == BAND_HIGHPASS) {
        return filterOrder > 0 ? filterOrder : 0;
    }
    if (IsBand(bandType) && filterOrder > 0 && filterOrder % 2 == 0) {
        return filterOrder / 2;
    }
    return 0;
}

double ChebyshevSelectivity(int bandType, double q1, double q2, double q3, double q4) {
    auto u = [](double x) { return std::tan(kPi * x); };
    // The band designs map the pass band [lo, hi]; the nearer stop edge decides.
    auto ratio = [&](double lo, double hi, double edge) {
        const double ulo = u(lo);
        const double uhi = u(hi);
        return std::fabs((u(edge) * u(edge) - ulo * uhi) / ((uhi - ulo) * u(edge)));
    };
    switch (bandType) {
        case BAND_LOWPASS:
        case BAND_HIGHPASS:
            return u(q2) / u(q1);
        case BAND_BANDPASS:
            return Smaller(ratio(q2, q3, q1), ratio(q2, q3, q4));
        case BAND_BANDSTOP:
            return Smaller(1.0 / ratio(q1, q4, q2), 1.0 / ratio(q1, q4, q3));
        default:
            return 0.0;
    }
}

ZeroPoleSet ButterworthPrototype(int N) {
    ZeroPoleSet proto;
    for (int k = 1; k <= N / 2; ++k) {
        const double theta = (2.0 * k - 1.0) * kPi / (2.0 * N);
        proto.poles.pairs.emplace_back(-std::sin(theta), std::cos(theta));
    }
    if (N % 2 != 0) {
        proto.poles.reals.push_back(-1.0);
    }
    return proto;
}

ZeroPoleSet ChebyshevIPrototype(int N, double kc, double A) {
    ZeroPoleSet proto;
    const double eps = A / std::cosh(N * std::log(std::sqrt(kc * kc - 1.0) + kc));
    const double g = std::sqrt(eps * eps + 1.0);
    const double beta = std::pow((g + 1.0) / eps, 1.0 / N);
    for (int i = 0; i < N / 2; ++i) {
        const double theta = (2.0 * i + 1.0) * kPi / (2.0 * N);
        const double sigma = std::sin(theta) * (1.0 / beta - beta) / 2.0;
        const double omega = std::cos(theta) * (1.0 / beta + beta) / 2.0;
        proto.poles.pairs.emplace_back(sigma, omega);
    }
    if (N % 2 != 0) {
        proto.poles.reals.push_back((1.0 / beta - beta) / 2.0);
    } else {
        // An even order starts at the bottom of the ripple.
        proto.refValue = 1.0 / g;
    }
    return proto;
}

ZeroPoleSet ChebyshevIIPrototype(int N, double kc, double A) {
    ZeroPoleSet proto;
    const double r = std::pow(A + std::sqrt(A * A - 1.0), 1.0 / N);
    for (int i = 0; i < N / 2; ++i) {
        const double theta = (2.0 * i + 1.0) * kPi / (2.0 * N);
        const double sigma = std::sin(theta) * (1.0 / r - r) / 2.0;
        const double omega = (1.0 / r + r) / 2.0 * std::cos(theta);
        const double d = sigma * sigma + omega * omega;
        proto.poles.pairs.emplace_back(sigma * kc / d, kc * omega / d);
        proto.zeros.pairs.emplace_back(0.0, kc / std::cos(theta));
    }
    if (N % 2 != 0) {
        proto.poles.reals.push_back(kc * 2.0 / (1.0 / r - r));
    }
    return proto;
}

ZeroPoleSet MapToBand(const ZeroPoleSet& prototype, int T, double w1, double w2) {
    ZeroPoleSet out;
    out.refValue = prototype.refValue;
    const int excess = prototype.poles.Count() - prototype.zeros.Count();
    const double bw = w2 - w1;
    const double w0sq = w1 * w2;
    switch (T) {
        case BAND_LOWPASS: {
            auto scale = [w1](Complex p) { return p * w1; };
            out.poles = MapEach(prototype.poles, scale);
            out.zeros = MapEach(prototype.zeros, scale);
            out.refFrequency = 0.0;
            break;
        }
        case BAND_HIGHPASS: {
            auto invert = [w1](Complex p) { return w1 / p; };
            out.poles = MapEach(prototype.poles, invert);
            out.zeros = MapEach(prototype.zeros, invert);
            out.zeros.reals.insert(out.zeros.reals.end(), static_cast<std::size_t>(excess), 0.0);
            out.refFrequency = kPi;
            break;
        }
        case BAND_BANDPASS: {
            auto coef = [bw](Complex p) { return p * bw; };
            out.poles = MapQuadratic(prototype.poles, w0sq, coef);
            out.zeros = MapQuadratic(prototype.zeros, w0sq, coef);
            out.zeros.reals.insert(out.zeros.reals.end(), static_cast<std::size_t>(excess), 0.0);
            out.refFrequency = 2.0 * std::atan(std::sqrt(w0sq));
            break;
        }
        case BAND_BANDSTOP: {
            auto coef = [bw](Complex p) { return bw / p; };
            out.poles = MapQuadratic(prototype.poles, w0sq, coef);
            out.zeros = MapQuadratic(prototype.zeros, w0sq, coef);
            out.zeros.pairs.insert(out.zeros.pairs.end(), static_cast<std::size_t>(excess),
                                   Complex(0.0, std::sqrt(w0sq)));
            out.refFrequency = 0.0;
            break;
        }
        default:
            break;
    }
    return out;
}

ZeroPoleSet Bilinear(const ZeroPoleSet& analog) {
    ZeroPoleSet out;
    out.refValue = analog.refValue;
    out.refFrequency = analog.refFrequency;
    auto map = [](Complex s) { return (1.0 + s) / (1.0 - s); };
    out.poles = MapEach(analog.poles, map);
    out.zeros = MapEach(analog.zeros, map);
    const int excess = analog.poles.Count() - analog.zeros.Count();
    out.zeros.reals.insert(out.zeros.reals.end(), static_cast<std::size_t>(excess), -1.0);
    return out;
}

namespace {

// Pairs the poles, nearest the unit circle first, each with the nearest
// zeros, into monic sections; returns them in the reverse order (the cascade's
// order). Empty when an odd real pole finds no real zero.
std::vector<Monic> FormMonicSections(const ZeroPoleSet& digital) {
    Pool poles{digital.poles.pairs, digital.poles.reals};
    Pool zeros{digital.zeros.pairs, digital.zeros.reals};
    std::vector<Monic> formed;
    while (!poles.Empty()) {
        int pairIndex = -1;
        int realIndex = -1;
        double largest = -1.0;
        for (std::size_t i = 0; i < poles.pairs.size(); ++i) {
            if (std::abs(poles.pairs[i]) > largest) {
                largest = std::abs(poles.pairs[i]);
                pairIndex = static_cast<int>(i);
            }
        }
        for (std::size_t i = 0; i < poles.reals.size(); ++i) {
            if (std::fabs(poles.reals[i]) > largest) {
                largest = std::fabs(poles.reals[i]);
                realIndex = static_cast<int>(i);
                pairIndex = -1;
            }
        }

        Monic s;
        if (pairIndex >= 0) {
            const Complex p = TakePair(poles.pairs, pairIndex);
            s.a1 = -2.0 * p.real();
            s.a2 = std::norm(p);
            s.pole = p;
            TakeTwoZeros(zeros, p, &s);
        } else {
            const double p1 = TakeReal(poles.reals, realIndex);
            s.pole = Complex(p1, 0.0);
            if (!poles.reals.empty()) {
                const double p2 = TakeReal(poles.reals, NearestReal(poles.reals, s.pole));
                s.a1 = -(p1 + p2);
                s.a2 = p1 * p2;
                TakeTwoZeros(zeros, s.pole, &s);
            } else {
                // The one real pole of an odd count: a first-order section.
                s.a1 = -p1;
                const int zi = NearestReal(zeros.reals, s.pole);
                if (zi < 0) {
                    return {};
                }
                s.b1 = -TakeReal(zeros.reals, zi);
            }
        }
        formed.push_back(s);
    }
    std::reverse(formed.begin(), formed.end());
    return formed;
}

// Frequencies of the peak search: a uniform grid, refined around every
// pole's angle over a few resonance widths (1 - |p|).
std::vector<double> PeakSearchGrid(const std::vector<Monic>& formed) {
    std::vector<double> grid;
    grid.reserve(kPeakGrid + 1 + formed.size() * (2 * kPeakRefine + 1));
    for (int i = 0; i <= kPeakGrid; ++i) {
        grid.push_back(kPi * i / kPeakGrid);
    }
    for (const Monic& s : formed) {
        const double centre = std::fabs(std::arg(s.pole));
        const double width = std::max(1.0 - std::abs(s.pole), kMinPeakWidth) / kPeakRefine;
        for (int k = -kPeakRefine; k <= kPeakRefine; ++k) {
            grid.push_back(std::min(kPi, std::max(0.0, centre + k * width)));
        }
    }
    return grid;
}

}  // namespace

SectionSet PairSections(const ZeroPoleSet& digital) {
    SectionSet result;
    if (digital.poles.Count() != digital.zeros.Count() || digital.poles.Count() == 0) {
        return result;
    }
    const std::vector<Monic> formed = FormMonicSections(digital);
    if (formed.empty()) {
        return result;
    }
    const std::vector<double> grid = PeakSearchGrid(formed);
    std::vector<double> partial(grid.size(), 1.0);

    // Gain of the whole cascade from its value at the reference point.
    const Complex zRef = std::polar(1.0, -digital.refFrequency);
    Complex monicRef(1.0, 0.0);
    for (const Monic& s : formed) {
        monicRef *= MonicResponse(s, zRef);
    }
    const double total = digital.refValue * monicRef.real() / std::norm(monicRef);

    // Each partial cascade is scaled to a peak of 1; the last section takes
    // what is left of the total gain.
    double applied = 1.0;
    result.rows.reserve(formed.size() * kRowWidth);
    for (std::size_t j = 0; j < formed.size(); ++j) {
        const Monic& s = formed[j];
        double gain;
        if (j + 1 < formed.size()) {
            double peak = 0.0;
            for (std::size_t i = 0; i < grid.size(); ++i) {
                partial[i] *= MonicMagnitude(s, std::polar(1.0, -grid[i]));
                peak = std::max(peak, partial[i]);
            }
            const double cumulative = (peak > 0.0 && std::isfinite(peak)) ? 1.0 / peak : applied;
            gain = cumulative / applied;
            applied = cumulative;
        } else {
            gain = total / applied;
        }
        const double row[kRowWidth] = {gain, gain * s.b1, gain * s.b2, 1.0, s.a1, s.a2};
        result.rows.insert(result.rows.end(), row, row + kRowWidth);
    }
    return result;
}

SectionSet DesignSections(const SectionRequest& request) {
    const int T = request.bandType;
    const int N = PrototypeOrder(T, request.filterOrder);
    const double fs = request.sampleFreq;
    if (N < 1 || !(fs > 0.0)) {
        return SectionSet();
    }
    const double q1 = request.freq1 / fs;
    const double q2 = request.freq2 / fs;
    const double q3 = request.freq3 / fs;
    const double q4 = request.freq4 / fs;
    // The pass edges the prototype is mapped to.
    double lo = q1;
    double hi = 0.0;
    if (T == BAND_HIGHPASS || T == BAND_BANDPASS) {
        lo = q2;
    }
    if (T == BAND_BANDPASS) {
        hi = q3;
    } else if (T == BAND_BANDSTOP) {
        hi = q4;
    }
    auto inside = [](double f) { return f > 0.0 && f < 0.5; };
    if (!inside(lo) || (IsBand(T) && !(inside(hi) && lo < hi))) {
        return SectionSet();
    }

    ZeroPoleSet prototype;
    if (request.family == IirFamily::kButterworth) {
        prototype = ButterworthPrototype(N);
    } else {
        const double kc = ChebyshevSelectivity(T, q1, q2, q3, q4);
        const double A = std::pow(10.0, request.stopAtten / 20.0);
        if (!(kc > 1.0) || !std::isfinite(kc) || !(A > 1.0) || !std::isfinite(A)) {
            return SectionSet();
        }
        prototype = request.family == IirFamily::kChebyshevI ? ChebyshevIPrototype(N, kc, A)
                                                             : ChebyshevIIPrototype(N, kc, A);
    }
    const double w1 = std::tan(kPi * lo);
    const double w2 = IsBand(T) ? std::tan(kPi * hi) : 0.0;
    SectionSet sections = PairSections(Bilinear(MapToBand(prototype, T, w1, w2)));
    if (!AllFinite(sections.rows)) {
        return SectionSet();
    }
    return sections;
}

std::complex<double> SectionResponse(const SectionSet& sections, double w) {
    const Complex zInv = std::polar(1.0, -w);
    const Complex zInv2 = zInv * zInv;
    Complex h(1.0, 0.0);
    for (int j = 0; j < sections.Count(); ++j) {
        const double* r = sections.rows.data() + static_cast<std::size_t>(j) * kRowWidth;
        h *= (r[0] + r[1] * zInv + r[2] * zInv2) / (r[3] + r[4] * zInv + r[5] * zInv2);
    }
    return h;
}

}  // namespace rzf
