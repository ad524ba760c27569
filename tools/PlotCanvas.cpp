#include "PlotCanvas.h"

#include <cairo-svg.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace rzft {

namespace {

std::string Label(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", std::fabs(v) < 1e-12 ? 0.0 : v);
    return buf;
}

double PixelX(const Rect& r, const Axis& x, double v) {
    return r.x + x.Fraction(v) * r.w;
}

double PixelY(const Rect& r, const Axis& y, double v) {
    return r.y + r.h - y.Fraction(v) * r.h;
}

// Tick values of an axis: multiples of a nice step, or 1, 2, 5 per decade on
// a logarithmic axis.
std::vector<double> Ticks(const Axis& a, double step) {
    std::vector<double> ticks;
    if (a.log) {
        for (double decade = std::pow(10.0, std::floor(std::log10(a.lo))); decade <= a.hi;
             decade *= 10.0) {
            for (double m : {1.0, 2.0, 5.0}) {
                const double v = m * decade;
                if (v >= a.lo * (1 - 1e-9) && v <= a.hi * (1 + 1e-9)) {
                    ticks.push_back(v);
                }
            }
        }
        return ticks;
    }
    for (double v = std::ceil(a.lo / step) * step; v <= a.hi + 1e-9 * step; v += step) {
        ticks.push_back(v);
    }
    return ticks;
}

}  // namespace

double Axis::Fraction(double v) const {
    if (log) {
        return (std::log10(v) - std::log10(lo)) / (std::log10(hi) - std::log10(lo));
    }
    return (v - lo) / (hi - lo);
}

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

Canvas::Canvas(const std::string& path, double width, double height)
    : m_path(path), m_tmp(path), m_width(width) {
    const std::string ext = std::filesystem::path(path).extension().string();
    m_png = ext == ".png" || ext == ".PNG";
    if (m_png) {
        m_surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width),
                                               static_cast<int>(height));
    } else {
        m_surface = cairo_svg_surface_create(m_tmp.TempPath().c_str(), width, height);
    }
    m_cr = cairo_create(m_surface);
    if (cairo_status(m_cr) != CAIRO_STATUS_SUCCESS) {
        throw ToolError("cannot draw " + path + ": " + cairo_status_to_string(cairo_status(m_cr)),
                        kExitIo);
    }
    cairo_set_source_rgb(m_cr, 1, 1, 1);
    cairo_paint(m_cr);
    cairo_select_font_face(m_cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
}

Canvas::~Canvas() {
    if (m_cr != nullptr) {
        cairo_destroy(m_cr);
    }
    if (m_surface != nullptr) {
        cairo_surface_destroy(m_surface);
    }
}

void Canvas::Finish() {
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

void Text(cairo_t* cr, double x, double y, const std::string& s, double size, double alignX,
          double alignY, bool vertical) {
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

void DrawAxes(cairo_t* cr, const Rect& r, const Axis& x, const Axis& y, const std::string& xTitle,
              const std::string& yTitle, double yStep, double xStep) {
    const std::vector<double> xt = Ticks(x, xStep > 0.0 ? xStep : NiceStep(x.hi - x.lo, 10));
    const std::vector<double> yt = Ticks(y, yStep > 0.0 ? yStep : NiceStep(y.hi - y.lo, 6));
    cairo_set_line_width(cr, 0.5);
    cairo_set_source_rgb(cr, 0.82, 0.82, 0.82);
    for (double v : xt) {
        cairo_move_to(cr, PixelX(r, x, v), r.y);
        cairo_line_to(cr, PixelX(r, x, v), r.y + r.h);
    }
    for (double v : yt) {
        cairo_move_to(cr, r.x, PixelY(r, y, v));
        cairo_line_to(cr, r.x + r.w, PixelY(r, y, v));
    }
    cairo_stroke(cr);
    for (double v : xt) {
        Text(cr, PixelX(r, x, v), r.y + r.h + 6.0, Label(v), 11.0, 0.5, 1.0);
    }
    for (double v : yt) {
        Text(cr, r.x - 6.0, PixelY(r, y, v), Label(v), 11.0, 1.0, 0.5);
    }
    Text(cr, r.x + r.w / 2.0, r.y + r.h + 26.0, xTitle, 13.0, 0.5, 1.0);
    Text(cr, r.x - 58.0, r.y + r.h / 2.0, yTitle, 13.0, 0.5, 0.5, true);

    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_set_line_width(cr, 1.0);
    cairo_rectangle(cr, r.x, r.y, r.w, r.h);
    cairo_stroke(cr);
}

void DrawCurve(cairo_t* cr, const Rect& r, const Axis& x, const Axis& y, const double* xs,
               const double* ys, size_t n, double red, double green, double blue) {
    if (n == 0) {
        return;
    }
    cairo_save(cr);
    cairo_rectangle(cr, r.x, r.y, r.w, r.h);
    cairo_clip(cr);
    cairo_set_source_rgb(cr, red, green, blue);
    cairo_set_line_width(cr, 1.4);
    bool drawing = false;
    for (size_t i = 0; i < n; ++i) {
        if (!std::isfinite(ys[i]) || (x.log && !(xs[i] > 0.0))) {
            drawing = false;
            continue;
        }
        // Far-off values are pulled in just outside the frame, so the clip
        // cuts them cleanly and the path stays finite.
        const double fy = std::clamp(y.Fraction(ys[i]), -1.0, 2.0);
        const double px = PixelX(r, x, xs[i]);
        const double py = r.y + r.h - fy * r.h;
        if (!drawing) {
            cairo_move_to(cr, px, py);
            drawing = true;
        } else {
            cairo_line_to(cr, px, py);
        }
    }
    cairo_stroke(cr);
    cairo_restore(cr);
}

}  // namespace rzft
