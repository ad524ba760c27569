#include "Plot.h"

#ifdef RZFT_HAVE_FONTCONFIG
#include <fontconfig/fontconfig.h>
#endif

#include <algorithm>

#include "PlotCanvas.h"

namespace rzft {

namespace {

constexpr double kWidth = 900.0;
constexpr double kLeft = 80.0;  // room for the y tick labels and axis title
constexpr double kRight = 30.0;
constexpr double kTop = 50.0;  // room for the title
constexpr double kGap = 70.0;  // between panels: x labels of the upper one
constexpr double kBottom = 60.0;

}  // namespace

void PlotSignals(const std::string& path, const std::vector<float>& before,
                 const std::vector<float>& after, int channels, double fs,
                 const std::string& title) {
    if (channels < 1) {
        return;
    }
    const double panel = 180.0;
    const double height = kTop + channels * panel + (channels - 1) * kGap + kBottom;
    Canvas canvas(path, kWidth, height);
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
