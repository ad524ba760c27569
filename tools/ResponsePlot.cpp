#include "ResponsePlot.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <functional>

#include <RZFilterFunc/RZFilterFunc.h>

#include "PlotCanvas.h"
#include "PoleZero.h"

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
constexpr double kNoteLine = 16.0;  // a third heading line, for an unstable transfer function
constexpr double kRowGap = 72.0;
constexpr double kColumnGap = 90.0;
constexpr double kBottom = 60.0;
constexpr double kAmplitudeHeight = 300.0;
constexpr double kDetailHeight = 220.0;
constexpr double kPhaseHeight = 200.0;
constexpr double kPoleZeroSide = 300.0;  // square: both axes share one scale
constexpr double kPoleZeroNotes = 36.0;  // room for the notes under its axis title

// Pole-zero diagram.
constexpr double kUnitCircleRange = 1.2;  // axis half-width when every root is near the circle
constexpr double kFarRoot = 3.0;          // roots further out are drawn on the frame's edge
constexpr double kRootMargin = 1.1;       // room beyond the outermost root shown
constexpr double kSameRoot = 1e-6;        // roots this close are drawn as one, with a count
constexpr double kMarker = 5.0;           // half-size of a pole or zero marker (pixels)
constexpr int kCircleVertices = 360;
// Inset around the outermost pole when poles there overlap on the main scale.
constexpr double kInsetSide = 96.0;   // pixels
constexpr double kInsetNear = 0.1;    // poles this close to the outermost one are zoomed
constexpr double kInsetMargin = 1.4;  // room around them
constexpr int kInsetCircleVertices = 4000;

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

// Roots that coincide (a Butterworth band-pass has all its zeros at +1 and
// -1) are drawn once with their count.
struct RootGroup {
    std::complex<double> at;
    int count;
};

std::vector<RootGroup> GroupRoots(const std::vector<std::complex<double>>& roots) {
    std::vector<RootGroup> groups;
    for (const std::complex<double>& r : roots) {
        bool found = false;
        for (RootGroup& g : groups) {
            if (std::abs(g.at - r) < kSameRoot) {
                ++g.count;
                found = true;
                break;
            }
        }
        if (!found) {
            groups.push_back({r, 1});
        }
    }
    return groups;
}

std::string Count(int n, const char* what) {
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

void DrawZeroMark(cairo_t* cr, double x, double y, int count) {
    cairo_new_sub_path(cr);
    cairo_set_source_rgb(cr, 0.05, 0.2, 0.85);
    cairo_arc(cr, x, y, kMarker, 0.0, 8.0 * std::atan(1.0));
    cairo_stroke(cr);
    if (count > 1) {
        Text(cr, x + kMarker + 1.0, y + kMarker + 1.0, std::to_string(count), 10.0, 0.0, 0.0);
    }
}

void DrawPoleMark(cairo_t* cr, double x, double y, int count) {
    cairo_set_source_rgb(cr, 0.8, 0.1, 0.1);
    cairo_move_to(cr, x - kMarker, y - kMarker);
    cairo_line_to(cr, x + kMarker, y + kMarker);
    cairo_move_to(cr, x - kMarker, y + kMarker);
    cairo_line_to(cr, x + kMarker, y - kMarker);
    cairo_stroke(cr);
    if (count > 1) {
        Text(cr, x + kMarker + 1.0, y - kMarker - 1.0, std::to_string(count), 10.0, 0.0, 1.0);
    }
}

// The magnified view around the outermost pole: its centre and half-width.
struct InsetView {
    std::complex<double> centre;
    double half;
};

// Low cut-offs put several poles within a marker's width of each other near
// z = 1. Then the poles near the outermost one are shown magnified; false when
// they do not overlap on the main scale.
bool FindInset(const SectionRoots& roots, double pixelsPerUnit, InsetView& view) {
    if (roots.poles.empty()) {
        return false;
    }
    std::complex<double> outer = roots.poles.front();
    for (const std::complex<double>& p : roots.poles) {
        if (std::abs(p) > std::abs(outer)) {
            outer = p;
        }
    }
    std::vector<std::complex<double>> near;
    for (const RootGroup& g : GroupRoots(roots.poles)) {
        if (std::abs(g.at - outer) < kInsetNear) {
            near.push_back(g.at);
        }
    }
    std::complex<double> centre(0.0, 0.0);
    for (const std::complex<double>& p : near) {
        centre += p / static_cast<double>(near.size());
    }
    double closest = HUGE_VAL;
    double reach = 0.0;
    for (size_t i = 0; i < near.size(); ++i) {
        reach = std::max(reach, std::abs(near[i] - centre));
        for (size_t k = i + 1; k < near.size(); ++k) {
            closest = std::min(closest, std::abs(near[i] - near[k]));
        }
    }
    if (near.size() < 2 || closest * pixelsPerUnit >= 2.0 * kMarker) {
        return false;
    }
    view = {centre, std::max(reach, closest) * kInsetMargin};
    return true;
}

// The magnified view in the panel's upper left corner (grey frame, same
// markers, the unit circle's arc), labelled with its centre and half-width.
void DrawPoleInset(cairo_t* cr, const Rect& panel, double pixelsPerUnit,
                   const SectionRoots& roots) {
    InsetView view{};
    if (!FindInset(roots, pixelsPerUnit, view)) {
        return;
    }
    const std::complex<double> centre = view.centre;
    const double half = view.half;
    const Rect r{panel.x + 6.0, panel.y + 6.0, kInsetSide, kInsetSide};
    auto inView = [&](std::complex<double> z) {
        return std::fabs(z.real() - centre.real()) <= half &&
               std::fabs(z.imag() - centre.imag()) <= half;
    };
    auto px = [&](double re) { return r.x + (re - (centre.real() - half)) / (2.0 * half) * r.w; };
    auto py = [&](double im) {
        return r.y + r.h - (im - (centre.imag() - half)) / (2.0 * half) * r.h;
    };
    cairo_save(cr);
    cairo_rectangle(cr, r.x, r.y, r.w, r.h);
    cairo_set_source_rgb(cr, 1.0, 1.0, 1.0);
    cairo_fill_preserve(cr);
    cairo_set_source_rgb(cr, 0.5, 0.5, 0.5);
    cairo_set_line_width(cr, 1.0);
    cairo_stroke_preserve(cr);
    cairo_clip(cr);
    cairo_set_line_width(cr, 1.0);
    cairo_set_source_rgb(cr, 0.6, 0.6, 0.6);
    const double turn = 8.0 * std::atan(1.0);
    for (int k = 0; k <= kInsetCircleVertices; ++k) {
        const double t = turn * k / kInsetCircleVertices;
        k == 0 ? cairo_move_to(cr, px(std::cos(t)), py(std::sin(t)))
               : cairo_line_to(cr, px(std::cos(t)), py(std::sin(t)));
    }
    cairo_stroke(cr);
    cairo_set_line_width(cr, 1.4);
    for (const RootGroup& g : GroupRoots(roots.zeros)) {
        if (inView(g.at)) {
            DrawZeroMark(cr, px(g.at.real()), py(g.at.imag()), g.count);
        }
    }
    for (const RootGroup& g : GroupRoots(roots.poles)) {
        if (inView(g.at)) {
            DrawPoleMark(cr, px(g.at.real()), py(g.at.imag()), g.count);
        }
    }
    cairo_restore(cr);
    char buf[120];
    std::snprintf(buf, sizeof buf, "zoom: %.4g%+.2gi +- %.2g", centre.real(), centre.imag(), half);
    Text(cr, r.x, r.y + r.h + 3.0, buf, 9.0, 0.0, 1.0);
}

// How far out the roots lie: the largest |re| or |im| of those within
// kFarRoot, and how many lie beyond it and the farthest of them.
struct RootReach {
    double extent = 0.0;
    int far = 0;
    double farthest = 0.0;
};

RootReach ReachOf(const SectionRoots& roots) {
    RootReach reach;
    for (const auto* list : {&roots.poles, &roots.zeros}) {
        for (const std::complex<double>& z : *list) {
            const double m = std::max(std::fabs(z.real()), std::fabs(z.imag()));
            if (m > kFarRoot) {
                ++reach.far;
                reach.farthest = std::max(reach.farthest, std::abs(z));
            } else {
                reach.extent = std::max(reach.extent, m);
            }
        }
    }
    return reach;
}

// The z-plane in a square panel: both axes run from -range to range.
struct ZPlane {
    Rect r;
    Axis a;
    double range;

    double X(double v) const { return r.x + a.Fraction(v) * r.w; }
    double Y(double v) const { return r.y + r.h - a.Fraction(v) * r.h; }
};

// The real and imaginary axes, and the unit circle as a polygon fine enough
// to look round.
void DrawUnitCircle(cairo_t* cr, const ZPlane& z) {
    const double range = z.range;
    cairo_set_line_width(cr, 0.8);
    cairo_set_source_rgb(cr, 0.55, 0.55, 0.55);
    cairo_move_to(cr, z.X(-range), z.Y(0.0));
    cairo_line_to(cr, z.X(range), z.Y(0.0));
    cairo_move_to(cr, z.X(0.0), z.Y(-range));
    cairo_line_to(cr, z.X(0.0), z.Y(range));
    cairo_stroke(cr);
    cairo_set_line_width(cr, 1.2);
    cairo_set_source_rgb(cr, 0.3, 0.3, 0.3);
    const double turn = 8.0 * std::atan(1.0);
    for (int k = 0; k <= kCircleVertices; ++k) {
        const double t = turn * k / kCircleVertices;
        const double x = z.X(std::cos(t));
        const double y = z.Y(std::sin(t));
        k == 0 ? cairo_move_to(cr, x, y) : cairo_line_to(cr, x, y);
    }
    cairo_stroke(cr);
}

// Zeros (o) and poles (x); a root beyond the frame is clamped onto it along
// its direction.
void DrawRoots(cairo_t* cr, const ZPlane& z, const SectionRoots& roots) {
    auto place = [&](std::complex<double> w, double& x, double& y) {
        const double m = std::max(std::fabs(w.real()), std::fabs(w.imag()));
        const double scale = m > z.range ? z.range / m : 1.0;
        x = z.X(w.real() * scale);
        y = z.Y(w.imag() * scale);
    };
    cairo_set_line_width(cr, 1.4);
    for (const RootGroup& g : GroupRoots(roots.zeros)) {
        double x, y;
        place(g.at, x, y);
        DrawZeroMark(cr, x, y, g.count);
    }
    for (const RootGroup& g : GroupRoots(roots.poles)) {
        double x, y;
        place(g.at, x, y);
        DrawPoleMark(cr, x, y, g.count);
    }
}

// The panel's title, and notes under it on roots beyond the frame and zeros
// at infinity.
void DrawPoleZeroNotes(cairo_t* cr, const Rect& r, double titleX, const SectionRoots& roots,
                       int sections, const RootReach& reach) {
    char buf[200];
    std::snprintf(buf, sizeof buf, "Poles (x), zeros (o) of the %s; largest radius %.6f",
                  Count(sections, "section").c_str(), LargestMagnitude(roots.poles));
    Text(cr, titleX, r.y - 8.0, buf, 12.0, 0.0, 0.0);
    double noteY = r.y + r.h + 44.0;
    if (reach.far > 0) {
        std::snprintf(buf, sizeof buf,
                      "%s beyond |z| = %g drawn on the frame's edge (farthest |z| = %.3g)",
                      Count(reach.far, "root").c_str(), kFarRoot, reach.farthest);
        Text(cr, r.x + r.w / 2.0, noteY, buf, 10.0, 0.5, 1.0);
        noteY += 14.0;
    }
    if (roots.zerosAtInfinity > 0) {
        Text(cr, r.x + r.w / 2.0, noteY,
             Count(roots.zerosAtInfinity, "zero") + " at infinity (not drawn)", 10.0, 0.5, 1.0);
    }
}

// Unit circle, poles (x) and zeros (o) of the sections, on axes of one scale.
// Roots beyond kFarRoot (none in a well-formed design, whose zeros lie on the
// circle or at the origin) are drawn on the frame's edge in their direction.
void DrawPoleZero(cairo_t* cr, const Rect& r, double titleX, const SectionRoots& roots,
                  int sections) {
    const RootReach reach = ReachOf(roots);
    const double range = reach.far > 0 ? kFarRoot * kRootMargin
                                       : std::max(kUnitCircleRange, reach.extent * kRootMargin);
    const ZPlane z{r, Axis{-range, range}, range};
    const double step = NiceStep(2.0 * range, 5);
    DrawAxes(cr, r, z.a, z.a, "Real part", "Imaginary part", step, step);
    cairo_save(cr);
    DrawUnitCircle(cr, z);
    DrawRoots(cr, z, roots);
    cairo_restore(cr);
    DrawPoleInset(cr, r, r.w / (2.0 * range), roots);
    DrawPoleZeroNotes(cr, r, titleX, roots, sections, reach);
}

// Builds the mask of a design, band by band, from its options.
struct MaskBuilder {
    explicit MaskBuilder(const DesignSpec& spec)
        : nyq(spec.fs / 2.0), f1(spec.f1), f2(spec.f2), f3(spec.f3), f4(spec.f4), band(spec.band) {}

    SpecMask m;

    // Kaiser with --transition W: pass edges f1 (and f2), stop edges t = W * fs/2 beyond.
    void KaiserTransition(double t) {
        if (band == BAND_LOWPASS) {
            Pass(0, f1), Stop(f1 + t, nyq), Edge("f1", f1, "pass");
        } else if (band == BAND_HIGHPASS) {
            Stop(0, f1 - t), Pass(f1, nyq), Edge("f1", f1, "pass");
        } else if (band == BAND_BANDPASS) {
            Stop(0, f1 - t), Pass(f1, f2), Stop(f2 + t, nyq);
            Edge("f1", f1, "pass"), Edge("f2", f2, "pass");
        } else if (band == BAND_BANDSTOP) {
            Pass(0, f1), Stop(f1 + t, f2 - t), Pass(f2, nyq);
            Edge("f1", f1, "pass"), Edge("f2", f2, "pass");
        }
    }

    // Kaiser from four edges, in the Kaiser design's order.
    void KaiserEdges() {
        if (band == BAND_LOWPASS) {
            Pass(0, f1), Stop(f2, nyq), Edge("f1", f1, "pass"), Edge("f2", f2, "stop");
        } else if (band == BAND_HIGHPASS) {
            Stop(0, f2), Pass(f1, nyq), Edge("f2", f2, "stop"), Edge("f1", f1, "pass");
        } else if (band == BAND_BANDPASS) {
            Stop(0, f2), Pass(f1, f4), Stop(f3, nyq);
            Edge("f2", f2, "stop"), Edge("f1", f1, "pass"), Edge("f4", f4, "pass"),
                Edge("f3", f3, "stop");
        } else if (band == BAND_BANDSTOP) {
            Pass(0, f1), Stop(f2, f3), Pass(f4, nyq);
            Edge("f1", f1, "pass"), Edge("f2", f2, "stop"), Edge("f3", f3, "stop"),
                Edge("f4", f4, "pass");
        }
    }

    void Iir() {
        if (band == BAND_LOWPASS) {
            Pass(0, f1), Stop(f2, nyq), Edge("f1", f1, "pass"), Edge("f2", f2, "stop");
        } else if (band == BAND_HIGHPASS) {
            Stop(0, f1), Pass(f2, nyq), Edge("f1", f1, "stop"), Edge("f2", f2, "pass");
        } else if (band == BAND_BANDPASS) {
            Stop(0, f1), Pass(f2, f3), Stop(f4, nyq);
            Edge("f1", f1, "stop"), Edge("f2", f2, "pass"), Edge("f3", f3, "pass"),
                Edge("f4", f4, "stop");
        } else if (band == BAND_BANDSTOP) {
            Pass(0, f1), Stop(f2, f3), Pass(f4, nyq);
            Edge("f1", f1, "pass"), Edge("f2", f2, "stop"), Edge("f3", f3, "stop"),
                Edge("f4", f4, "pass");
        }
    }

    void WindowFir() {
        if (band == BAND_LOWPASS) {
            Pass(0, f1), Edge("f1", f1, "cut-off");
        } else if (band == BAND_HIGHPASS) {
            Pass(f1, nyq), Edge("f1", f1, "cut-off");
        } else if (band == BAND_BANDPASS) {
            Pass(f1, f2), Edge("f1", f1, "cut-off"), Edge("f2", f2, "cut-off");
        } else if (band == BAND_BANDSTOP) {
            Pass(0, f1), Pass(f2, nyq), Edge("f1", f1, "cut-off"), Edge("f2", f2, "cut-off");
        }
    }

    void Pass(double lo, double hi) { m.bands.push_back({lo, hi, true}); }
    void Stop(double lo, double hi) { m.bands.push_back({lo, hi, false}); }
    void Edge(const char* name, double f, const char* role) {
        m.edges.push_back({f, std::string(name) + " " + role + " " + Hz(f)});
    }

    const double nyq;
    const double f1, f2, f3, f4;
    const int band;
};

}  // namespace

SpecMask MaskOf(const DesignSpec& spec) {
    MaskBuilder b(spec);
    if (spec.kaiser) {
        const int atten = static_cast<int>(spec.atten);
        b.m.attenDb = atten;
        // The Kaiser window gives the same ripple in both bands.
        b.m.rippleDb = 20.0 * std::log10(1.0 + std::pow(10.0, -atten / 20.0));
        const double t = spec.transition * (spec.fs / 2.0);
        if (spec.transition > 0.0) {
            b.KaiserTransition(t);
        } else {
            b.KaiserEdges();
        }
        return b.m;
    }
    if (spec.method <= DM_CHEBYSHEV2) {
        b.m.rippleDb = spec.ripple;
        b.m.attenDb = spec.atten;
        b.Iir();
        return b.m;
    }
    if (spec.method == DM_WINDOW_FIR) {
        b.WindowFir();
        return b.m;
    }
    if (spec.method == DM_AVERAGE && spec.taps > 0) {
        b.Pass(0, std::min(spec.fs / 2.0, kAverageHalfPower * spec.fs / spec.taps));
    }
    return b.m;
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

ResponseCurves EvaluateSections(const std::vector<double>& rows, double fs,
                                const std::vector<double>& freq) {
    ResponseCurves total;
    total.freq = freq;
    total.gainDb.assign(freq.size(), 0.0);
    total.phase.assign(freq.size(), 0.0);
    total.delay.assign(freq.size(), 0.0);
    for (size_t s = 0; s + kSectionWidth <= rows.size(); s += kSectionWidth) {
        const std::vector<double> num(rows.begin() + s, rows.begin() + s + 3);
        const std::vector<double> den(rows.begin() + s + 3, rows.begin() + s + 6);
        const ResponseCurves one = EvaluateDesign(num, den, 1.0, fs, freq);
        for (size_t i = 0; i < freq.size(); ++i) {
            total.gainDb[i] += one.gainDb[i];
            total.phase[i] += one.phase[i];
            total.delay[i] += one.delay[i];
        }
    }
    return total;
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

namespace {

// Where the panels go on the page.
struct PageLayout {
    Rect amp, zoom, delay, ph, pz;
    double pzTitleX;
    double height;
};

PageLayout LayoutPage(bool fromSections, bool poleZero) {
    const double width = kPageWidth - kLeft - kRight;
    const double half = (width - kColumnGap) / 2.0;
    PageLayout p;
    p.amp = Rect{kLeft, kTitle + (fromSections ? kNoteLine : 0.0), width, kAmplitudeHeight};
    const double row2 = p.amp.y + p.amp.h + kRowGap;
    p.zoom = Rect{kLeft, row2, half, kDetailHeight};
    p.delay = Rect{kLeft + half + kColumnGap, row2, half, kDetailHeight};
    // The bottom row holds the phase, beside the pole-zero diagram of the
    // design's sections when it has them.
    const double row3 = row2 + kDetailHeight + kRowGap;
    p.ph =
        poleZero ? Rect{kLeft, row3, half, kPoleZeroSide} : Rect{kLeft, row3, width, kPhaseHeight};
    p.pz = Rect{kLeft + half + kColumnGap + (half - kPoleZeroSide) / 2.0, row3, kPoleZeroSide,
                kPoleZeroSide};
    p.pzTitleX = kLeft + half + kColumnGap;
    p.height = p.ph.y + p.ph.h + kBottom + (poleZero ? kPoleZeroNotes : 0.0);
    return p;
}

// Title and legend; for an unstable transfer function, a line saying that the
// curves are those of its sections.
void DrawHeading(cairo_t* cr, const std::string& title, const SpecMask& mask, bool fromSections,
                 double poleRadius) {
    Text(cr, kPageWidth / 2.0, 14.0, title, 14.0, 0.5, 1.0);
    std::string legend = fromSections ? "blue: response of the second-order sections"
                                      : "blue: response of the designed coefficients";
    if (fromSections) {
        Text(cr, kPageWidth / 2.0, 52.0,
             "The transfer function B(z)/A(z) is unstable (pole radius " +
                 std::to_string(poleRadius).substr(0, 8) +
                 "): the curves show its second-order sections, which are what can run.",
             11.0, 0.5, 1.0);
    }
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
}

// What every panel of the response plot draws from.
struct ResponsePage {
    cairo_t* cr;
    const SpecMask& mask;
    const ResponseCurves& c;
    Axis fx;             // frequency axis of the full span
    const char* fTitle;  // its title
    double nyq;
    double passTop;  // upper ripple bound (Kaiser) or 0 dB
};

void DrawAmplitudePanel(const ResponsePage& p, const Rect& amp, double depth, double top) {
    const Axis ay{-depth, top};
    DrawMask(p.cr, amp, p.fx, ay, p.mask, p.passTop, true);
    DrawAxes(p.cr, amp, p.fx, ay, p.fTitle, "Amplitude (dB)");
    DrawCurve(p.cr, amp, p.fx, ay, p.c.freq.data(), p.c.gainDb.data(), p.c.freq.size(), 0.0, 0.35,
              0.75);
    PanelTitle(p.cr, amp, "Amplitude");
}

// Pass-band zoom: the gain inside the pass bands and the ripple bound.
// Returns the floor the group delay panel goes by where there are no pass
// bands: 3 dB below the lowest gain shown.
double DrawPassBandZoom(const ResponsePage& p, const Rect& zoom) {
    const SpecMask& mask = p.mask;
    const ResponseCurves& c = p.c;
    const Axis zx = PassBandSpan(mask, p.nyq, p.fx);
    double lo = 0.0;
    double hi = 0.0;
    const bool any = RangeWhere(
        c.gainDb, [&](size_t i) { return InPassBand(mask, c.freq[i]); }, lo, hi);
    if (!any) {
        lo = -3.0, hi = 0.0;
    }
    if (mask.rippleDb > 0.0) {
        lo = std::min(lo, -mask.rippleDb);
        hi = std::max(hi, p.passTop);
    }
    const double span = std::max(hi - lo, 0.1);
    const Axis zy{lo - 0.25 * span, hi + 0.25 * span};
    DrawMask(p.cr, zoom, zx, zy, mask, p.passTop, false);
    DrawAxes(p.cr, zoom, zx, zy, p.fTitle, "Amplitude (dB)");
    DrawCurve(p.cr, zoom, zx, zy, c.freq.data(), c.gainDb.data(), c.freq.size(), 0.0, 0.35, 0.75);
    PanelTitle(p.cr, zoom, "Pass band (zoom)");
    return any ? lo - 3.0 : -3.0;
}

// Group delay over the pass bands (everywhere the gain is within 3 dB of
// the pass band's lowest point when there is no pass band to go by).
void DrawDelayPanel(const ResponsePage& p, const Rect& delay, const std::vector<double>& delayMs,
                    double passFloor) {
    const SpecMask& mask = p.mask;
    const ResponseCurves& c = p.c;
    double lo = 0.0;
    double hi = 0.0;
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
    DrawMask(p.cr, delay, p.fx, Axis{0.0, 1.0}, SpecMask{{}, 0.0, 0.0, mask.edges}, 0.0, false);
    DrawAxes(p.cr, delay, p.fx, dy, p.fTitle, "Group delay (ms)");
    DrawCurve(p.cr, delay, p.fx, dy, c.freq.data(), delayMs.data(), c.freq.size(), 0.1, 0.55, 0.2);
    PanelTitle(p.cr, delay, "Group delay (where the amplitude is on its axis)");
}

void DrawPhasePanel(const ResponsePage& p, const Rect& ph, const std::vector<double>& phase,
                    bool poleZero) {
    double lo = 0.0;
    double hi = 0.0;
    RangeWhere(
        phase, [](size_t) { return true; }, lo, hi);
    const Axis py = PaddedRange(lo, hi);
    DrawMask(p.cr, ph, p.fx, Axis{0.0, 1.0}, SpecMask{{}, 0.0, 0.0, p.mask.edges}, 0.0, false);
    DrawAxes(p.cr, ph, p.fx, py, p.fTitle, "Phase (rad)");
    DrawCurve(p.cr, ph, p.fx, py, p.c.freq.data(), phase.data(), p.c.freq.size(), 0.8, 0.25, 0.0);
    PanelTitle(p.cr, ph,
               poleZero ? "Phase, unwrapped (where the amplitude is on its axis)"
                        : "Phase, unwrapped (drawn where the amplitude is on its axis)");
}

}  // namespace

void PlotDesignResponse(const std::string& path, const DesignSpec& spec,
                        const DesignOutcome& outcome, const ResponsePlotOptions& options,
                        const std::string& title) {
    const SpecMask mask = MaskOf(spec);
    const double nyq = spec.fs / 2.0;
    const double lowest = options.logFreq ? LowestLogFrequency(mask, nyq) : 0.0;
    const std::vector<double> grid = FrequencyGrid(nyq, lowest, options.logFreq);
    // An unstable transfer function has no meaningful response; its sections
    // are what runs.
    const bool fromSections = outcome.TransferFunctionUnstable() && outcome.SectionCount() > 0;
    const ResponseCurves c = fromSections ? EvaluateSections(outcome.sections, spec.fs, grid)
                                          : EvaluateDesign(outcome.numerator, outcome.denominator,
                                                           outcome.tapScale, spec.fs, grid);
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

    const bool poleZero = outcome.SectionCount() > 0;
    const PageLayout page = LayoutPage(fromSections, poleZero);
    Canvas canvas(path, kPageWidth, page.height);
    cairo_t* cr = canvas.Cr();
    DrawHeading(cr, title, mask, fromSections, outcome.poleRadius);
    const ResponsePage p{
        cr,     mask, c,      Axis{options.logFreq ? lowest : 0.0, nyq, options.logFreq},
        fTitle, nyq,  passTop};
    DrawAmplitudePanel(p, page.amp, depth, top);
    const double passFloor = DrawPassBandZoom(p, page.zoom);
    DrawDelayPanel(p, page.delay, delayMs, passFloor);
    DrawPhasePanel(p, page.ph, phase, poleZero);
    if (poleZero) {
        DrawPoleZero(cr, page.pz, page.pzTitleX, outcome.roots, outcome.SectionCount());
    }
    canvas.Finish();
}

}  // namespace rzft
