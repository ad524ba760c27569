#pragma once

#include <cairo.h>

#include <string>

#include "OutputFile.h"

namespace rzft {

struct Rect {
    double x, y, w, h;
};

// One plot axis: linear, or logarithmic (lo > 0).
struct Axis {
    double lo, hi;
    bool log = false;

    // Position of v as a fraction of the axis, 0 at lo and 1 at hi.
    double Fraction(double v) const;
};

// Tick step of 1, 2 or 5 times a power of ten giving about `target` ticks.
double NiceStep(double range, int target);
// lo..hi widened by a small margin and rounded outwards to whole ticks.
Axis PaddedRange(double lo, double hi);

// A drawing surface written to an SVG or PNG file (by extension) through a
// temporary, so a failed or interrupted plot leaves no file behind.
class Canvas {
public:
    Canvas(const std::string& path, double width, double height);
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas();

    cairo_t* Cr() { return m_cr; }
    double Width() const { return m_width; }
    void Finish();

private:
    std::string m_path;
    OutputFile m_tmp;
    double m_width;
    bool m_png = false;
    cairo_surface_t* m_surface = nullptr;
    cairo_t* m_cr = nullptr;
};

// Text at (x, y) aligned by alignX/alignY (0 left/top .. 1 right/bottom).
void Text(cairo_t* cr, double x, double y, const std::string& s, double size, double alignX,
          double alignY, bool vertical = false);

// Frame, grid, tick labels and axis titles of one panel. A step of 0 picks one.
void DrawAxes(cairo_t* cr, const Rect& r, const Axis& x, const Axis& y, const std::string& xTitle,
              const std::string& yTitle, double yStep = 0.0, double xStep = 0.0);

// One curve as a single path, clipped to the panel; points with a NaN y break
// the curve. Kept as one polyline per unbroken run in vector output.
void DrawCurve(cairo_t* cr, const Rect& r, const Axis& x, const Axis& y, const double* xs,
               const double* ys, size_t n, double red, double green, double blue);

}  // namespace rzft
