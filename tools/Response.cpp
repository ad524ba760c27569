#include "Response.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "OutputFile.h"

namespace rzft {

namespace {

// Floor for |H| = 0 (a moving average has exact zeros): keeps the plot finite.
constexpr double kFloorDb = -200.0;

int TruncToIntSafe(double v) {
    if (!(v > -2147483648.0 && v < 2147483648.0)) {
        return 0;
    }
    return static_cast<int>(v);
}

}  // namespace

double RoundDownTo50(double lowest) {
    const int t = TruncToIntSafe(lowest);
    int q = (t / 50) * 50;
    if (q != t) {
        q -= 50;
    }
    return q;
}

double RoundUpTo50(double highest) {
    const int t = TruncToIntSafe(highest);
    const int q = t / 50;
    return (t % 50 == 0) ? q * 50.0 : (q + 1) * 50.0;
}

Response FirResponse(const std::vector<double>& taps, double scale, double fs, int points) {
    Response r;
    if (points < 1 || taps.empty()) {
        return r;
    }
    const double pi = 4.0 * std::atan(1.0);
    std::vector<double> mag(static_cast<size_t>(points));
    r.freq.resize(mag.size());
    r.phase.resize(mag.size());
    for (int k = 0; k < points; ++k) {
        const double f = k * fs / (2.0 * points);
        const double w = pi * k / points;  // radians per sample
        double re = 0.0;
        double im = 0.0;
        for (size_t n = 0; n < taps.size(); ++n) {
            re += taps[n] / scale * std::cos(w * static_cast<double>(n));
            im -= taps[n] / scale * std::sin(w * static_cast<double>(n));
        }
        r.freq[static_cast<size_t>(k)] = f;
        mag[static_cast<size_t>(k)] = std::hypot(re, im);
        r.phase[static_cast<size_t>(k)] = std::atan2(im, re);
    }
    const double peak = *std::max_element(mag.begin(), mag.end());
    r.ampDb.resize(mag.size());
    for (size_t k = 0; k < mag.size(); ++k) {
        const double db =
            (peak > 0.0 && mag[k] > 0.0) ? 20.0 * std::log10(mag[k] / peak) : kFloorDb;
        r.ampDb[k] = std::max(db, kFloorDb);
    }
    // Unwrap with period 2 pi: atan2 jumps by a whole turn.
    for (size_t k = 1; k < r.phase.size(); ++k) {
        double d = r.phase[k] - r.phase[k - 1];
        while (d > pi) {
            r.phase[k] -= 2.0 * pi;
            d -= 2.0 * pi;
        }
        while (d < -pi) {
            r.phase[k] += 2.0 * pi;
            d += 2.0 * pi;
        }
    }
    double lo = 0.0;
    for (double v : r.ampDb) {
        lo = std::min(lo, v);
    }
    r.axisMinDb = RoundDownTo50(lo);
    r.axisMaxFreq = RoundUpTo50(r.freq.back());
    return r;
}

void WriteResponseCsv(const std::string& path, const Response& r) {
    OutputFile out(path);
    std::FILE* f = out.Open();
    std::fprintf(f, "frequency_hz,amplitude_db,phase_rad\n");
    for (size_t i = 0; i < r.freq.size(); ++i) {
        std::fprintf(f, "%.17g,%.17g,%.17g\n", r.freq[i], r.ampDb[i], r.phase[i]);
    }
    out.Commit();
}

}  // namespace rzft
