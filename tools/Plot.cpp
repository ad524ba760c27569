#include "Plot.h"

#include <cairo-svg.h>
#include <cairo.h>
#ifdef RZFT_HAVE_FONTCONFIG
#include <fontconfig/fontconfig.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "OutputFile.h"

namespace rzft {

namespace {

constexpr double kWidth = 900.0;
constexpr double kLeft = 80.0;  // room for the y tick labels and axis title
constexpr double kRight = 30.0;
constexpr double kTop = 50.0;  // room for the title
constexpr double kGap = 70.0;  // between panels: x labels of the upper one
constexpr double kBottom = 60.0;

struct Rect {
    double x, y, w, h;
};

struct Axis {
    double lo, hi;
};

// Tick step of 1, 2 or 5 times a power of ten giving about `target` ticks.
double NiceStep(double range, int target) {
    if (!(range > 0.0) || !std::isfinite(range)) {
        return 1.0;
    }
    const double raw = range / target;
    const double mag = std::pow(10.0, std::floor(std::log10(raw)));
    const double f = raw / mag;
    const double nice = f <= 1.0 ? 1.0 : f <= 2.0 ? 2.0 : f <= 5.0 ? 5.0 : 10.0;
    return nice * mag;
}

Axis PaddedRange(double lo, double hi) {
    if (!std::isfinite(lo) || !std::isfinite(hi)) {
        return {-1.0, 1.0};
    }
    if (hi - lo < 1e-9) {
        return {lo - 1.0, hi + 1.0};
    }
    // A margin keeps flat stretches (a square wave's tops) off the frame.
    const double margin = 0.04 * (hi - lo);
    const double step = NiceStep(hi - lo + 2.0 * margin, 6);
    return {std::floor((lo - margin) / step) * step, std::ceil((hi + margin) / step) * step};
}

std::string Label(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", std::fabs(v) < 1e-12 ? 0.0 : v);
    return buf;
}

class Canvas {
public:
    Canvas(const std::string& path, double height) : m_path(path), m_tmp(path) {
        const std::string ext = std::filesystem::path(path).extension().string();
        m_png = ext == ".png" || ext == ".PNG";
        if (m_png) {
            m_surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(kWidth),
                                                   static_cast<int>(height));
        } else {
            m_surface = cairo_svg_surface_create(m_tmp.TempPath().c_str(), kWidth, height);
        }
        m_cr = cairo_create(m_surface);
        if (cairo_status(m_cr) != CAIRO_STATUS_SUCCESS) {
            throw ToolError(
                "cannot draw " + path + ": " + cairo_status_to_string(cairo_status(m_cr)), kExitIo);
        }
        cairo_set_source_rgb(m_cr, 1, 1, 1);
        cairo_paint(m_cr);
        cairo_select_font_face(m_cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                               CAIRO_FONT_WEIGHT_NORMAL);
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas() {
        if (m_cr != nullptr) {
            cairo_destroy(m_cr);
        }
        if (m_surface != nullptr) {
            cairo_surface_destroy(m_surface);
        }
    }

    cairo_t* Cr() { return m_cr; }

    void Finish() {
        cairo_destroy(m_cr);
        m_cr = nullptr;
        cairo_status_t st = CAIRO_STATUS_SUCCESS;
        if (m_png) {
            cairo_surface_flush(m_surface);
            st = cairo_surface_write_to_png(m_surface, m_tmp.TempPath().c_str());
        } else {
            cairo_surface_finish(m_surface);
            st = cairo_surface_status(m_surface);
        }
        cairo_surface_destroy(m_surface);
        m_surface = nullptr;
        if (st != CAIRO_STATUS_SUCCESS) {
            throw ToolError("cannot write " + m_path + ": " + cairo_status_to_string(st), kExitIo);
        }
        m_tmp.Commit();
    }

private:
    std::string m_path;
    OutputFile m_tmp;
    bool m_png = false;
    cairo_surface_t* m_surface = nullptr;
    cairo_t* m_cr = nullptr;
};

void Text(cairo_t* cr, double x, double y, const std::string& s, double size, double alignX,
          double alignY, bool vertical = false) {
    cairo_set_font_size(cr, size);
    cairo_text_extents_t ext;
    cairo_text_extents(cr, s.c_str(), &ext);
    cairo_save(cr);
    cairo_translate(cr, x, y);
    if (vertical) {
        cairo_rotate(cr, -2.0 * std::atan(1.0));
    }
    cairo_move_to(cr, -ext.width * alignX - ext.x_bearing, ext.height * alignY);
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_show_text(cr, s.c_str());
    cairo_restore(cr);
}

// Frame, grid, ticks and axis titles of one panel.
void DrawAxes(cairo_t* cr, const Rect& r, const Axis& x, const Axis& y, const std::string& xTitle,
              const std::string& yTitle, double yStep = 0.0) {
    const double xStep = NiceStep(x.hi - x.lo, 10);
    if (yStep <= 0.0) {
        yStep = NiceStep(y.hi - y.lo, 6);
    }
    cairo_set_line_width(cr, 0.5);
    cairo_set_source_rgb(cr, 0.82, 0.82, 0.82);
    for (double v = std::ceil(x.lo / xStep) * xStep; v <= x.hi + 1e-9 * xStep; v += xStep) {
        const double px = r.x + (v - x.lo) / (x.hi - x.lo) * r.w;
        cairo_move_to(cr, px, r.y);
        cairo_line_to(cr, px, r.y + r.h);
    }
    for (double v = std::ceil(y.lo / yStep) * yStep; v <= y.hi + 1e-9 * yStep; v += yStep) {
        const double py = r.y + r.h - (v - y.lo) / (y.hi - y.lo) * r.h;
        cairo_move_to(cr, r.x, py);
        cairo_line_to(cr, r.x + r.w, py);
    }
    cairo_stroke(cr);

    for (double v = std::ceil(x.lo / xStep) * xStep; v <= x.hi + 1e-9 * xStep; v += xStep) {
        const double px = r.x + (v - x.lo) / (x.hi - x.lo) * r.w;
        Text(cr, px, r.y + r.h + 6.0, Label(v), 11.0, 0.5, 1.0);
    }
    for (double v = std::ceil(y.lo / yStep) * yStep; v <= y.hi + 1e-9 * yStep; v += yStep) {
        const double py = r.y + r.h - (v - y.lo) / (y.hi - y.lo) * r.h;
        Text(cr, r.x - 6.0, py, Label(v), 11.0, 1.0, 0.5);
    }
    Text(cr, r.x + r.w / 2.0, r.y + r.h + 26.0, xTitle, 13.0, 0.5, 1.0);
    Text(cr, r.x - 58.0, r.y + r.h / 2.0, yTitle, 13.0, 0.5, 0.5, true);

    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_set_line_width(cr, 1.0);
    cairo_rectangle(cr, r.x, r.y, r.w, r.h);
    cairo_stroke(cr);
}

// One curve as a single path, so it stays one polyline in vector output.
void DrawCurve(cairo_t* cr, const Rect& r, const Axis& x, const Axis& y, const double* xs,
               const double* ys, size_t n, double red, double green, double blue) {
    if (n == 0) {
        return;
    }
    cairo_set_source_rgb(cr, red, green, blue);
    cairo_set_line_width(cr, 1.4);
    for (size_t i = 0; i < n; ++i) {
        const double px = r.x + (xs[i] - x.lo) / (x.hi - x.lo) * r.w;
        const double py = r.y + r.h - (ys[i] - y.lo) / (y.hi - y.lo) * r.h;
        if (i == 0) {
            cairo_move_to(cr, px, py);
        } else {
            cairo_line_to(cr, px, py);
        }
    }
    cairo_stroke(cr);
}

}  // namespace

void PlotResponse(const std::string& path, const Response& resp, const std::string& title) {
    const double panel = 260.0;
    const double height = kTop + panel + kGap + panel + kBottom;
    Canvas canvas(path, height);
    cairo_t* cr = canvas.Cr();
    Text(cr, kWidth / 2.0, 18.0, title, 14.0, 0.5, 1.0);

    const double fMax = resp.axisMaxFreq > 0.0
                            ? resp.axisMaxFreq
                            : (resp.freq.empty() ? 1.0 : std::max(resp.freq.back(), 1.0));
    const Axis fx{0.0, fMax};
    const Rect amp{kLeft, kTop, kWidth - kLeft - kRight, panel};
    const Axis ay{resp.axisMinDb < 0.0 ? resp.axisMinDb : -50.0, 0.0};
    DrawAxes(cr, amp, fx, ay, "Frequency (Hz)", "Amplitude (dB)");

    const Rect ph{kLeft, kTop + panel + kGap, kWidth - kLeft - kRight, panel};
    double lo = 0.0;
    double hi = 0.0;
    if (!resp.phase.empty()) {
        lo = *std::min_element(resp.phase.begin(), resp.phase.end());
        hi = *std::max_element(resp.phase.begin(), resp.phase.end());
    }
    const Axis py = PaddedRange(lo, hi);
    DrawAxes(cr, ph, fx, py, "Frequency (Hz)", "Phase, unwrapped (rad)");

    const size_t n = resp.freq.size();
    DrawCurve(cr, amp, fx, ay, resp.freq.data(), resp.ampDb.data(), n, 0.0, 0.35, 0.75);
    DrawCurve(cr, ph, fx, py, resp.freq.data(), resp.phase.data(), n, 0.8, 0.25, 0.0);
    canvas.Finish();
}

void PlotSignals(const std::string& path, const std::vector<float>& before,
                 const std::vector<float>& after, int channels, double fs,
                 const std::string& title) {
    if (channels < 1) {
        return;
    }
    const double panel = 180.0;
    const double height = kTop + channels * panel + (channels - 1) * kGap + kBottom;
    Canvas canvas(path, height);
    cairo_t* cr = canvas.Cr();
    Text(cr, kWidth / 2.0, 18.0, title, 14.0, 0.5, 1.0);

    const size_t frames = std::min(before.size(), after.size()) / static_cast<size_t>(channels);
    std::vector<double> t(frames);
    for (size_t i = 0; i < frames; ++i) {
        t[i] = static_cast<double>(i) / fs;
    }
    const Axis tx{0.0, frames > 1 ? t.back() : 1.0};
    std::vector<double> a(frames);
    std::vector<double> b(frames);
    for (int c = 0; c < channels; ++c) {
        double lo = 0.0;
        double hi = 0.0;
        for (size_t i = 0; i < frames; ++i) {
            a[i] = before[i * static_cast<size_t>(channels) + static_cast<size_t>(c)];
            b[i] = after[i * static_cast<size_t>(channels) + static_cast<size_t>(c)];
            lo = std::min({lo, a[i], b[i]});
            hi = std::max({hi, a[i], b[i]});
        }
        const Rect r{kLeft, kTop + c * (panel + kGap), kWidth - kLeft - kRight, panel};
        const Axis y = PaddedRange(lo, hi);
        DrawAxes(cr, r, tx, y, "Time (s)", "Channel " + std::to_string(c));
        DrawCurve(cr, r, tx, y, t.data(), a.data(), frames, 0.6, 0.6, 0.6);
        DrawCurve(cr, r, tx, y, t.data(), b.data(), frames, 0.0, 0.35, 0.75);
    }
    Text(cr, kLeft, height - 14.0, "grey: input    blue: filtered", 12.0, 0.0, 0.0);
    canvas.Finish();
}

void ReleasePlotResources() {
    cairo_debug_reset_static_data();
#ifdef RZFT_HAVE_FONTCONFIG
    FcFini();
#endif
}

}  // namespace rzft
