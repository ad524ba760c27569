#include "ResponsePlot.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <functional>

#include <RZFilterFunc/RZFilterFunc.h>

#include "PlotCanvas.h"

namespace rzft {

namespace {

constexpr int kCurvePoints = 2049;           // 0 .. fs/2 inclusive
constexpr double kMarginDb = 20.0;           // below the stop-band attenuation
constexpr double kDepthWithoutStop = 100.0;  // window FIR, moving average
constexpr double kLogDecades = 3.0;          // lowest frequency of a log axis: fs/2 / 10^3 ...
constexpr double kLogBelowEdge = 10.0;       // ... or a tenth of the lowest band edge
constexpr double kAverageHalfPower = 0.443;  // -3 dB point of an L-tap average, x fs/L

// Page layout (pixels).
constexpr double kPageWidth = 1000.0;
constexpr double kLeft = 80.0;
constexpr double kRight = 30.0;
constexpr double kTitle = 84.0;
constexpr double kRowGap = 72.0;
constexpr double kColumnGap = 90.0;
constexpr double kBottom = 60.0;
constexpr double kAmplitudeHeight = 300.0;
constexpr double kDetailHeight = 220.0;
constexpr double kPhaseHeight = 200.0;

std::string Hz(double f) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "%g Hz", f);
    return buf;
}

std::vector<double> FrequencyGrid(double nyquist, double lowest, bool log) {
    std::vector<double> f(kCurvePoints);
    for (int i = 0; i < kCurvePoints; ++i) {
        const double t = static_cast<double>(i) / (kCurvePoints - 1);
        f[static_cast<size_t>(i)] = log ? lowest * std::pow(nyquist / lowest, t) : nyquist * t;
    }
    return f;
}

double LowestLogFrequency(const SpecMask& mask, double nyquist) {
    double lowest = nyquist / std::pow(10.0, kLogDecades);
    for (const SpecMask::Edge& e : mask.edges) {
        if (e.freq > 0.0) {
            lowest = std::min(lowest, e.freq / kLogBelowEdge);
        }
    }
    return std::pow(10.0, std::floor(std::log10(lowest)));
}

// Shades what lies outside the specification and marks the band edges.
void DrawMask(cairo_t* cr, const Rect& r, const Axis& x, const Axis& y, const SpecMask& mask,
              double passTop, bool labels) {
    cairo_save(cr);
    cairo_rectangle(cr, r.x, r.y, r.w, r.h);
    cairo_clip(cr);
    auto px = [&](double f) { return r.x + std::clamp(x.Fraction(f), 0.0, 1.0) * r.w; };
    auto py = [&](double v) { return r.y + r.h - std::clamp(y.Fraction(v), -0.01, 1.01) * r.h; };
    cairo_set_source_rgba(cr, 0.95, 0.45, 0.2, 0.22);
    for (const SpecMask::Band& b : mask.bands) {
        const double x0 = px(std::max(b.lo, x.lo));
        const double x1 = px(std::min(b.hi, x.hi));
        if (x1 <= x0) {
            continue;
        }
        if (b.pass && mask.rippleDb > 0.0) {
            cairo_rectangle(cr, x0, py(-mask.rippleDb), x1 - x0, py(y.lo) - py(-mask.rippleDb));
            cairo_rectangle(cr, x0, py(y.hi), x1 - x0, py(passTop) - py(y.hi));
        } else if (!b.pass && mask.attenDb > 0.0) {
            cairo_rectangle(cr, x0, py(y.hi), x1 - x0, py(-mask.attenDb) - py(y.hi));
        }
    }
    cairo_fill(cr);
    cairo_set_source_rgb(cr, 0.35, 0.35, 0.35);
    cairo_set_line_width(cr, 1.0);
    const double dash[] = {5.0, 4.0};
    cairo_set_dash(cr, dash, 2, 0.0);
    for (const SpecMask::Edge& e : mask.edges) {
        if (e.freq > x.lo && e.freq < x.hi) {
            cairo_move_to(cr, px(e.freq), r.y);
            cairo_line_to(cr, px(e.freq), r.y + r.h);
        }
    }
    cairo_stroke(cr);
    cairo_restore(cr);
    if (labels) {
        // Alternate rows, so labels of close edges do not overlap.
        int row = 0;
        for (const SpecMask::Edge& e : mask.edges) {
            if (e.freq > x.lo && e.freq < x.hi) {
                Text(cr, px(e.freq) + 3.0, r.y + 4.0 + 14.0 * (row++ % 2), e.label, 10.0, 0.0, 1.0);
            }
        }
    }
}

void PanelTitle(cairo_t* cr, const Rect& r, const std::string& s) {
    Text(cr, r.x, r.y - 8.0, s, 12.0, 0.0, 0.0);
}

// Lowest and highest value of ys where keep(i) holds.
bool RangeWhere(const std::vector<double>& ys, const std::function<bool(size_t)>& keep, double& lo,
                double& hi) {
    lo = HUGE_VAL;
    hi = -HUGE_VAL;
    for (size_t i = 0; i < ys.size(); ++i) {
        if (keep(i) && std::isfinite(ys[i])) {
            lo = std::min(lo, ys[i]);
            hi = std::max(hi, ys[i]);
        }
    }
    return lo <= hi;
}

bool InPassBand(const SpecMask& mask, double f) {
    for (const SpecMask::Band& b : mask.bands) {
        if (b.pass && f >= b.lo && f <= b.hi) {
            return true;
        }
    }
    return false;
}

// Frequency span of the pass-band zoom: the pass bands and a little of the
// transitions beside them.
Axis PassBandSpan(const SpecMask& mask, double nyquist, const Axis& full) {
    double lo = nyquist;
    double hi = 0.0;
    for (const SpecMask::Band& b : mask.bands) {
        if (b.pass) {
            lo = std::min(lo, b.lo);
            hi = std::max(hi, b.hi);
        }
    }
    if (!(hi > lo)) {
        return full;
    }
    if (full.log) {
        return {std::max(full.lo, lo > 0.0 ? lo / 1.5 : full.lo), std::min(nyquist, hi * 1.5),
                true};
    }
    const double pad = 0.1 * nyquist;
    return {lo > 0.0 ? std::max(0.0, lo - pad) : 0.0,
            hi < nyquist ? std::min(nyquist, hi + pad) : nyquist};
}

}  // namespace

SpecMask MaskOf(const DesignSpec& spec) {
    SpecMask m;
    const double nyq = spec.fs / 2.0;
    const double f1 = spec.f1, f2 = spec.f2, f3 = spec.f3, f4 = spec.f4;
    auto pass = [&](double lo, double hi) { m.bands.push_back({lo, hi, true}); };
    auto stop = [&](double lo, double hi) { m.bands.push_back({lo, hi, false}); };
    auto edge = [&](const char* name, double f, const char* role) {
        m.edges.push_back({f, std::string(name) + " " + role + " " + Hz(f)});
    };
    const int band = spec.band;
    if (spec.kaiser) {
        const int atten = static_cast<int>(spec.atten);
        m.attenDb = atten;
        // The Kaiser window gives the same ripple in both bands.
        m.rippleDb = 20.0 * std::log10(1.0 + std::pow(10.0, -atten / 20.0));
        const double t = spec.transition * nyq;
        if (spec.transition > 0.0) {
            if (band == BAND_LOWPASS) {
                pass(0, f1), stop(f1 + t, nyq), edge("f1", f1, "pass");
            } else if (band == BAND_HIGHPASS) {
                stop(0, f1 - t), pass(f1, nyq), edge("f1", f1, "pass");
            } else if (band == BAND_BANDPASS) {
                stop(0, f1 - t), pass(f1, f2), stop(f2 + t, nyq);
                edge("f1", f1, "pass"), edge("f2", f2, "pass");
            } else if (band == BAND_BANDSTOP) {
                pass(0, f1), stop(f1 + t, f2 - t), pass(f2, nyq);
                edge("f1", f1, "pass"), edge("f2", f2, "pass");
            }
        } else if (band == BAND_LOWPASS) {
            pass(0, f1), stop(f2, nyq), edge("f1", f1, "pass"), edge("f2", f2, "stop");
        } else if (band == BAND_HIGHPASS) {
            stop(0, f2), pass(f1, nyq), edge("f2", f2, "stop"), edge("f1", f1, "pass");
        } else if (band == BAND_BANDPASS) {
            stop(0, f2), pass(f1, f4), stop(f3, nyq);
            edge("f2", f2, "stop"), edge("f1", f1, "pass"), edge("f4", f4, "pass"),
                edge("f3", f3, "stop");
        } else if (band == BAND_BANDSTOP) {
            pass(0, f1), stop(f2, f3), pass(f4, nyq);
            edge("f1", f1, "pass"), edge("f2", f2, "stop"), edge("f3", f3, "stop"),
                edge("f4", f4, "pass");
        }
        return m;
    }
    if (spec.method <= DM_CHEBYSHEV2) {
        m.rippleDb = spec.ripple;
        m.attenDb = spec.atten;
        if (band == BAND_LOWPASS) {
            pass(0, f1), stop(f2, nyq), edge("f1", f1, "pass"), edge("f2", f2, "stop");
        } else if (band == BAND_HIGHPASS) {
            stop(0, f1), pass(f2, nyq), edge("f1", f1, "stop"), edge("f2", f2, "pass");
        } else if (band == BAND_BANDPASS) {
            stop(0, f1), pass(f2, f3), stop(f4, nyq);
            edge("f1", f1, "stop"), edge("f2", f2, "pass"), edge("f3", f3, "pass"),
                edge("f4", f4, "stop");
        } else if (band == BAND_BANDSTOP) {
            pass(0, f1), stop(f2, f3), pass(f4, nyq);
            edge("f1", f1, "pass"), edge("f2", f2, "stop"), edge("f3", f3, "stop"),
                edge("f4", f4, "pass");
        }
        return m;
    }
    if (spec.method == DM_WINDOW_FIR) {
        if (band == BAND_LOWPASS) {
            pass(0, f1), edge("f1", f1, "cut-off");
        } else if (band == BAND_HIGHPASS) {
            pass(f1, nyq), edge("f1", f1, "cut-off");
        } else if (band == BAND_BANDPASS) {
            pass(f1, f2), edge("f1", f1, "cut-off"), edge("f2", f2, "cut-off");
        } else if (band == BAND_BANDSTOP) {
            pass(0, f1), pass(f2, nyq), edge("f1", f1, "cut-off"), edge("f2", f2, "cut-off");
        }
        return m;
    }
    if (spec.method == DM_AVERAGE && spec.taps > 0) {
        pass(0, std::min(nyq, kAverageHalfPower * spec.fs / spec.taps));
    }
    return m;
}

ResponseCurves EvaluateDesign(const std::vector<double>& num, const std::vector<double>& den,
                              double scale, double fs, const std::vector<double>& freq) {
    // Extended precision: the sums cancel heavily where a high-order design
    // has its zeros and poles close together (a low cut-off at a high rate),
    // and double sums there show rounding noise the coefficients do not have.
    using Real = long double;
    using C = std::complex<Real>;
    const Real pi = 4.0L * std::atan(1.0L);
    ResponseCurves r;
    r.freq = freq;
    r.gainDb.resize(freq.size());
    r.phase.resize(freq.size());
    r.delay.resize(freq.size());
    // Sum of c[n] z^-n and of n c[n] z^-n on the unit circle.
    auto poly = [](const std::vector<double>& c, Real w, Real s, C& value, C& ramp) {
        value = C(0.0L, 0.0L);
        ramp = C(0.0L, 0.0L);
        for (size_t n = 0; n < c.size(); ++n) {
            const Real angle = -w * static_cast<Real>(n);
            const C z(static_cast<Real>(c[n]) / s * std::cos(angle),
                      static_cast<Real>(c[n]) / s * std::sin(angle));
            value += z;
            ramp += static_cast<Real>(n) * z;
        }
    };
    double previous = 0.0;
    for (size_t i = 0; i < freq.size(); ++i) {
        const Real w = 2.0L * pi * static_cast<Real>(freq[i]) / static_cast<Real>(fs);
        C b, bRamp;
        poly(num, w, static_cast<Real>(scale), b, bRamp);
        C a(1.0L, 0.0L), aRamp(0.0L, 0.0L);
        if (!den.empty()) {
            poly(den, w, 1.0L, a, aRamp);
        }
        const C h = b / a;
        r.gainDb[i] = static_cast<double>(20.0L * std::log10(std::abs(h)));
        double ph = static_cast<double>(std::arg(h));
        if (i > 0) {
            const double turn = 2.0 * static_cast<double>(pi);
            ph += turn * std::round((previous - ph) / turn);
        }
        r.phase[i] = ph;
        previous = ph;
        r.delay[i] =
            static_cast<double>((bRamp / b).real() - (den.empty() ? 0.0L : (aRamp / a).real()));
    }
    return r;
}

double AmplitudeDepth(const SpecMask& mask, const ResponsePlotOptions& options) {
    if (options.dbRange > 0.0) {
        return options.dbRange;
    }
    if (mask.attenDb > 0.0) {
        return 10.0 * std::ceil((mask.attenDb + kMarginDb) / 10.0);
    }
    return kDepthWithoutStop;
}

void PlotDesignResponse(const std::string& path, const DesignSpec& spec,
                        const DesignOutcome& outcome, const ResponsePlotOptions& options,
                        const std::string& title) {
    const SpecMask mask = MaskOf(spec);
    const double nyq = spec.fs / 2.0;
    const double lowest = options.logFreq ? LowestLogFrequency(mask, nyq) : 0.0;
    const ResponseCurves c =
        EvaluateDesign(outcome.numerator, outcome.denominator, outcome.tapScale, spec.fs,
                       FrequencyGrid(nyq, lowest, options.logFreq));
    const double depth = AmplitudeDepth(mask, options);
    const double top = std::max(1.0, NiceStep(depth, 6) / 2.0);
    const double passTop = spec.kaiser ? mask.rippleDb : 0.0;
    const size_t n = c.freq.size();
    const char* fTitle = options.logFreq ? "Frequency (Hz, log)" : "Frequency (Hz)";

    // Below the amplitude axis the phase and delay are rounding noise.
    std::vector<double> phase = c.phase;
    std::vector<double> delayMs(n);
    for (size_t i = 0; i < n; ++i) {
        const bool visible = c.gainDb[i] >= -depth;
        phase[i] = visible ? c.phase[i] : NAN;
        delayMs[i] = visible ? c.delay[i] / spec.fs * 1000.0 : NAN;
    }

    const double width = kPageWidth - kLeft - kRight;
    const double half = (width - kColumnGap) / 2.0;
    const Rect amp{kLeft, kTitle, width, kAmplitudeHeight};
    const double row2 = amp.y + amp.h + kRowGap;
    const Rect zoom{kLeft, row2, half, kDetailHeight};
    const Rect delay{kLeft + half + kColumnGap, row2, half, kDetailHeight};
    // The bottom row holds the phase across the page; a pole-zero diagram of
    // the design's sections would take its right-hand part.
    const Rect ph{kLeft, row2 + kDetailHeight + kRowGap, width, kPhaseHeight};
    const double height = ph.y + ph.h + kBottom;

    Canvas canvas(path, kPageWidth, height);
    cairo_t* cr = canvas.Cr();
    Text(cr, kPageWidth / 2.0, 14.0, title, 14.0, 0.5, 1.0);
    std::string legend = "blue: response of the designed coefficients";
    if (mask.rippleDb > 0.0 || mask.attenDb > 0.0) {
        char buf[160];
        std::snprintf(buf, sizeof buf,
                      "; shaded: outside the specification (pass band within %.3g dB, stop band "
                      "%g dB down)",
                      mask.rippleDb, mask.attenDb);
        legend += buf;
    }
    if (!mask.edges.empty()) {
        legend += "; dashed: band edges";
    }
    Text(cr, kPageWidth / 2.0, 36.0, legend, 11.0, 0.5, 1.0);

    const Axis fx{options.logFreq ? lowest : 0.0, nyq, options.logFreq};
    const Axis ay{-depth, top};
    DrawMask(cr, amp, fx, ay, mask, passTop, true);
    DrawAxes(cr, amp, fx, ay, fTitle, "Amplitude (dB)");
    DrawCurve(cr, amp, fx, ay, c.freq.data(), c.gainDb.data(), n, 0.0, 0.35, 0.75);
    PanelTitle(cr, amp, "Amplitude");

    // Pass-band zoom: the gain inside the pass bands and the ripple bound.
    const Axis zx = PassBandSpan(mask, nyq, fx);
    double lo = 0.0;
    double hi = 0.0;
    const bool any = RangeWhere(
        c.gainDb, [&](size_t i) { return InPassBand(mask, c.freq[i]); }, lo, hi);
    if (!any) {
        lo = -3.0, hi = 0.0;
    }
    if (mask.rippleDb > 0.0) {
        lo = std::min(lo, -mask.rippleDb);
        hi = std::max(hi, passTop);
    }
    const double span = std::max(hi - lo, 0.1);
    const Axis zy{lo - 0.25 * span, hi + 0.25 * span};
    DrawMask(cr, zoom, zx, zy, mask, passTop, false);
    DrawAxes(cr, zoom, zx, zy, fTitle, "Amplitude (dB)");
    DrawCurve(cr, zoom, zx, zy, c.freq.data(), c.gainDb.data(), n, 0.0, 0.35, 0.75);
    PanelTitle(cr, zoom, "Pass band (zoom)");

    // Group delay over the pass bands (everywhere the gain is within 3 dB of
    // the pass band's lowest point when there is no pass band to go by).
    const double passFloor = any ? lo - 3.0 : -3.0;
    if (!RangeWhere(
            delayMs,
            [&](size_t i) {
                return mask.bands.empty() ? c.gainDb[i] >= passFloor : InPassBand(mask, c.freq[i]);
            },
            lo, hi)) {
        RangeWhere(
            delayMs, [](size_t) { return true; }, lo, hi);
    }
    const Axis dy = PaddedRange(lo, hi);
    DrawMask(cr, delay, fx, Axis{0.0, 1.0}, SpecMask{{}, 0.0, 0.0, mask.edges}, 0.0, false);
    DrawAxes(cr, delay, fx, dy, fTitle, "Group delay (ms)");
    DrawCurve(cr, delay, fx, dy, c.freq.data(), delayMs.data(), n, 0.1, 0.55, 0.2);
    PanelTitle(cr, delay, "Group delay (where the amplitude is on its axis)");

    RangeWhere(
        phase, [](size_t) { return true; }, lo, hi);
    const Axis py = PaddedRange(lo, hi);
    DrawMask(cr, ph, fx, Axis{0.0, 1.0}, SpecMask{{}, 0.0, 0.0, mask.edges}, 0.0, false);
    DrawAxes(cr, ph, fx, py, fTitle, "Phase (rad)");
    DrawCurve(cr, ph, fx, py, c.freq.data(), phase.data(), n, 0.8, 0.25, 0.0);
    PanelTitle(cr, ph, "Phase, unwrapped (drawn where the amplitude is on its axis)");
    canvas.Finish();
}

}  // namespace rzft
