#include "RZFilterFunc/fir/WindowFunctions.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include <RZFilterFunc/base/FilterTypes.h>
#include <RZFilterFunc/base/OwnedArray.h>
#include <RZFilterFunc/fir/WindowsFilter.h>
#include <RZFilterFunc/platform/MathConst.h>
#include <RZFilterFunc/platform/NumericConvert.h>

namespace rzf {
namespace {

// Squares a 32-bit integer with two's-complement wrap-around, as a 32-bit
// product would, but without signed overflow.
std::int32_t WrappedSquare(std::int32_t v) {
    const std::uint32_t u = static_cast<std::uint32_t>(v);
    const std::uint32_t sq = u * u;
    std::int32_t out;
    std::memcpy(&out, &sq, sizeof out);
    return out;
}

// One Kaiser window point at distance d from the centre.
double KaiserPoint(double beta, double d, double sqDen, double i0Beta) {
    return std::fabs(BesselI0(beta * std::sqrt(1.0 - 4.0 * d * d / sqDen)) / i0Beta);
}

bool MakeKaiserWindow(float* out, int n, double beta) {
    const int half = static_cast<int>((static_cast<std::int64_t>(n) + 1) / 2);
    const double sqDen = static_cast<double>(WrappedSquare(n - 1));
    const double i0Beta = BesselI0(beta);
    const bool odd = (n % 2) != 0;
    // Left half first (index of distance d is half-1-i), then mirrored.
    for (int i = 0; i < half; ++i) {
        const double d = odd ? static_cast<double>(i) : static_cast<double>(i) + 0.5;
        out[half - 1 - i] = static_cast<float>(KaiserPoint(beta, d, sqDen, i0Beta));
    }
    for (int i = 0; i < n - half; ++i) {
        out[n - 1 - i] = out[i];
    }
    return true;
}

bool MakeTriangularWindow(float* out, int n) {
    if (n % 2 != 0) {
        const float den = static_cast<float>(static_cast<std::int64_t>(n) + 1);
        for (int k = 0; k <= (n - 1) / 2; ++k) {
            const float v = static_cast<float>(2 * (static_cast<std::int64_t>(k) + 1)) / den;
            out[k] = v;
            out[n - 1 - k] = v;
        }
    } else {
        const float den = static_cast<float>(n);
        for (int k = 0; k < n / 2; ++k) {
            const float v = static_cast<float>(2 * static_cast<std::int64_t>(k) + 1) / den;
            out[k] = v;
            out[n - 1 - k] = v;
        }
    }
    return true;
}

// [s, e) must lie inside the window for the taper and segment codes.
bool SegmentInside(int s, int e, int n) {
    return s >= 0 && e >= 0 && s <= n && e <= n;
}

bool MakeExpTaper(float* out, int n, int s, int e, double taperSpan, float decades) {
    if (!(taperSpan > 0.0) || !SegmentInside(s, e, n)) {
        return false;
    }
    const double span = static_cast<double>(e - s) / taperSpan;
    const double rate = std::log(10.0) * (static_cast<double>(decades) / span);
    for (int k = 0; k < s; ++k) {
        out[k] = 0.0f;
    }
    for (int j = 0; s + j < e; ++j) {
        out[s + j] = static_cast<float>(std::exp(static_cast<double>(j) * rate / taperSpan));
    }
    for (int k = e; k < n; ++k) {
        out[k] = 0.0f;
    }
    return true;
}

bool MakeSegment(float* out, int n, int s, int e) {
    if (!SegmentInside(s, e, n)) {
        return false;
    }
    for (int k = 0; k < n; ++k) {
        out[k] = (k >= s && k < e) ? 1.0f : 0.0f;
    }
    return true;
}

}  // namespace

bool MakeCosineWindow(float* out, int n, int type) {
    double a[5] = {0.0, 0.0, 0.0, 0.0, 0.0};
    int terms = 0;
    switch (type) {
        case kWindowHamming:
            a[0] = 0.54;
            a[1] = 0.46;
            terms = 2;
            break;
        case kWindowFlatTop:
            a[0] = 0.21557895;
            a[1] = 0.41663158;
            a[2] = 0.277263158;
            a[3] = 0.083578947;
            a[4] = 0.006947368;
            terms = 5;
            break;
        case kWindowBlackman:
            a[0] = 0.42;
            a[1] = 0.5;
            a[2] = 0.08;
            terms = 3;
            break;
        case kWindowHann:
            a[0] = 0.5;
            a[1] = 0.5;
            terms = 2;
            break;
        default:
            return false;
    }
    if (out == nullptr || n < 1) {
        return false;
    }
    const double den = static_cast<double>(n) - 1.0;  // 0 for n == 1: the value is NaN
    const auto value = [&](int k) {
        const double x = static_cast<double>(k) / den;
        double w = a[0];
        for (int j = 1; j < terms; ++j) {
            const double c = a[j] * std::cos(2.0 * j * kPi * x);
            w = (j % 2 != 0) ? w - c : w + c;
        }
        return w;
    };
    // From the middle outward; each value goes to both mirror positions.
    const int lowMid = (n - 1) / 2;
    const int highMid = n / 2;
    for (int d = 0; d <= lowMid; ++d) {
        const float v = static_cast<float>(value(lowMid - d));
        out[lowMid - d] = v;
        out[highMid + d] = v;
    }
    return true;
}

double BesselI0(double x) {
    const double t = x / 2.0;
    double sum = 1.0 + t * t;
    if (!(t * t > 1e-8)) {
        return sum;
    }
    double power = t;
    double factorial = 1.0;
    // Stops by the time the factorial overflows (term NaN or 0).
    for (int m = 2;; ++m) {
        power *= t;
        factorial *= m;
        const double term = power / factorial;
        const double sq = term * term;
        sum += sq;
        if (!(sq > 1e-8)) {
            break;
        }
    }
    return sum;
}

bool MakeWindow(float* out, int n, int type, double startFraction, double endFraction,
                double taperSpan, float decades) {
    if (out == nullptr || n == 0) {
        return false;
    }
    const int e = TruncToInt32(endFraction * n);
    const int s = TruncToInt32(startFraction * n);
    switch (type) {
        case kWindowHannOpen: {
            if (n < 1 || n > INT32_MAX - 2) {
                return false;
            }
            std::vector<float> hann(static_cast<std::size_t>(n) + 2);
            MakeCosineWindow(hann.data(), n + 2, kWindowHann);
            for (int k = 0; k < n; ++k) {
                out[k] = hann[static_cast<std::size_t>(k) + 1];
            }
            return true;
        }
        case kWindowHamming:
        case kWindowFlatTop:
        case kWindowBlackman:
        case kWindowHann:
            return MakeCosineWindow(out, n, type);
        case kWindowTriangular:
            return n > 0 && MakeTriangularWindow(out, n);
        case kWindowExpTaper:
            return n > 0 && MakeExpTaper(out, n, s, e, taperSpan, decades);
        case kWindowSegment:
            return n > 0 && MakeSegment(out, n, s, e);
        case kWindowKaiser:
            return n > 0 && MakeKaiserWindow(out, n, startFraction);
        default:
            for (int k = 0; k < n; ++k) {
                out[k] = 1.0f;
            }
            return true;
    }
}

bool MakeIdealImpulse(const WindowsFilter& filter, double* out, int n, int bandType) {
    if (bandType < 1 || bandType > 4 || out == nullptr) {
        return false;
    }
    const double w1 = filter.m_dFreq1 / filter.m_dFreqScale;
    const double w2 = filter.m_dFreq2 / filter.m_dFreqScale;
    const int centre = (filter.m_nLength - 1) / 2;
    for (int k = 0; k < n; ++k) {
        const int mi = k - centre;
        const double m = static_cast<double>(mi);
        const double mpi = m * kPi;
        double h = 0.0;
        switch (bandType) {
            case BAND_LOWPASS:
                h = (mi == 0) ? w1 : std::sin(m * w1 * kPi) / mpi;
                break;
            case BAND_HIGHPASS:
                h = (mi == 0) ? 1.0 - w1 : (std::sin(m * kPi) - std::sin(m * w1 * kPi)) / mpi;
                break;
            case BAND_BANDPASS:
                h = (mi == 0) ? w2 - w1 : (std::sin(m * w2 * kPi) - std::sin(m * w1 * kPi)) / mpi;
                break;
            default:
                h = (mi == 0)
                        ? w1 + 1.0 - w2
                        : (std::sin(m * w1 * kPi) - std::sin(m * w2 * kPi) + std::sin(m * kPi)) /
                              mpi;
                break;
        }
        out[k] = h;
    }
    return true;
}

double* ComputeResponse(WindowsFilter& filter, int tapCount) {
    // The response grid uses this truncated pi, not the module constant.
    const double kResponsePi = 3.1415926;
    const int points = filter.m_nRespCount;
    const std::size_t size = static_cast<std::size_t>(points);
    FreeArray(filter.m_pFreqAxis);
    FreeArray(filter.m_pAmplitude);
    FreeArray(filter.m_pPhase);
    std::unique_ptr<double[]> freq = MakeZeroedArray<double>(size);
    std::unique_ptr<double[]> amp = MakeZeroedArray<double>(size);
    std::unique_ptr<double[]> phase = MakeZeroedArray<double>(size);
    std::vector<double> re(size, 0.0);
    std::vector<double> im(size, 0.0);

    const double* h = filter.m_pCoef;
    const double df = filter.m_dSampleFreq * 0.5 / points;
    const double dw = kResponsePi / points;
    for (int k = 0; k < points; ++k) {
        double sumRe = 0.0;
        double sumIm = 0.0;
        for (int i = 0; i < tapCount; ++i) {
            const double arg = i * dw * k;
            sumRe += h[i] * std::cos(arg);
            sumIm += h[i] * std::sin(arg);
        }
        re[k] = sumRe;
        im[k] = -sumIm;
        freq[k] = k * df;
        amp[k] = std::sqrt(re[k] * re[k] + im[k] * im[k]);
        phase[k] = std::atan(im[k] / re[k]);
    }
    double peak = points > 0 ? amp[0] : 0.0;
    for (int k = 1; k < points; ++k) {
        if (amp[k] > peak) {
            peak = amp[k];
        }
    }
    for (int k = 0; k < points; ++k) {
        amp[k] = 20.0 * std::log10(amp[k] / peak);
    }
    ResetArray(filter.m_pFreqAxis, std::move(freq));
    ResetArray(filter.m_pAmplitude, std::move(amp));
    ResetArray(filter.m_pPhase, std::move(phase));
    return filter.m_pAmplitude;
}

}  // namespace rzf
