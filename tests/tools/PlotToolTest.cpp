// The response plot read back from its SVG (coordinates in 1/256 pixel steps,
// so positions are compared within 0.01).

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "ToolTestSupport.h"

namespace {

using namespace tooltest;

constexpr double kPixel = 0.01;

struct Point {
    double x, y;
};
struct Box {
    double x0, y0, x1, y1;
    bool Holds(const Point& p) const {
        return p.x > x0 - kPixel && p.x < x1 + kPixel && p.y > y0 - kPixel && p.y < y1 + kPixel;
    }
};
using Part = std::vector<Point>;  // the M and L vertices of one sub-path

Box Bounds(const Part& pts) {
    Box b{1e300, 1e300, -1e300, -1e300};
    for (const Point& p : pts) {
        b = {std::min(b.x0, p.x), std::min(b.y0, p.y), std::max(b.x1, p.x), std::max(b.y1, p.y)};
    }
    return b;
}

struct Plot {
    std::vector<std::pair<std::string, std::vector<Part>>> paths;  // style, sub-paths
    // Panel frames, top to bottom: amplitude, pass-band zoom, group delay,
    // phase and, for IIR designs, the pole-zero diagram.
    std::vector<Box> frames;

    explicit Plot(const std::string& svg) {
        const std::string style = "<path style=\"";
        for (size_t at = svg.find("</defs>"); (at = svg.find(style, at)) != std::string::npos;) {
            at += style.size();
            paths.push_back({svg.substr(at, svg.find('"', at) - at), {}});
            for (const char* s = svg.c_str() + svg.find(" d=\"", at) + 4; *s != '"';) {
                if (*s != 'M' && *s != 'L') {
                    ++s;
                    continue;
                }
                if (*s == 'M') {
                    paths.back().second.emplace_back();
                }
                char* e = nullptr;
                const double x = std::strtod(s + 1, &e);
                paths.back().second.back().push_back({x, std::strtod(e, &e)});
                s = e;
            }
        }
        for (const Part& p : Parts("stroke:rgb(0%,0%,0%)")) {
            const Box b = Bounds(p);
            if (p.size() == 4 && (b.x1 - b.x0) * (b.y1 - b.y0) > 10000.0) {
                frames.push_back(b);
            }
        }
        std::sort(frames.begin(), frames.end(), [](const Box& a, const Box& b) {
            return a.y0 < b.y0 || (a.y0 == b.y0 && a.x0 < b.x0);
        });
    }
    // Sub-paths of the paths whose style holds `style`, starting inside f.
    std::vector<Part> Parts(const std::string& style, Box f = {-1e9, -1e9, 1e9, 1e9}) const {
        std::vector<Part> out;
        for (const auto& [s, parts] : paths) {
            std::copy_if(parts.begin(), parts.end(), std::back_inserter(out), [&](const Part& p) {
                return Has(s, style) && !p.empty() && f.Holds(p[0]);
            });
        }
        return out;
    }
    Part Curve(const std::string& colour, const Box& f) const {
        Part all;
        for (const Part& p : Parts("stroke:rgb(" + colour + ")", f)) {
            all.insert(all.end(), p.begin(), p.end());
        }
        return all;
    }
    std::vector<double> Edges(const Box& f) const {  // x of the dashed band-edge lines
        std::vector<double> x;
        for (const Part& p : Parts("stroke-dasharray", f)) {
            if (std::fabs(p[0].y - f.y0) < kPixel) {
                x.push_back(p[0].x);
            }
        }
        return x;
    }
};

double XOf(const Box& f, double lo, double hi, double v) {
    return f.x0 + (v - lo) / (hi - lo) * (f.x1 - f.x0);
}
double YOf(const Box& f, double lo, double hi, double v) {
    return f.y1 - (v - lo) / (hi - lo) * (f.y1 - f.y0);
}

testing::AssertionResult MaskHas(const Plot& p, const Box& f, const Box& w) {
    for (const Part& part : p.Parts("fill-opacity:0.22", f)) {
        const Box b = Bounds(part);
        if (std::fabs(b.x0 - w.x0) < kPixel && std::fabs(b.x1 - w.x1) < kPixel &&
            std::fabs(b.y0 - w.y0) < kPixel && std::fabs(b.y1 - w.y1) < kPixel) {
            return testing::AssertionSuccess();
        }
    }
    return testing::AssertionFailure()
           << "no shading " << w.x0 << "," << w.y0 << " " << w.x1 << "," << w.y1;
}

// Chebyshev I low-pass, fs 512 Hz, pass edge 100 Hz (0.3 dB), stop edge 140 Hz
// (40 dB): the amplitude axis runs from -(40 + 20) dB to +5 dB (half a 10 dB
// tick above 0), or from -100 to +10 dB with --db-range 100; the frequency axis
// from 0 to 256 Hz. The mask shades the pass band below -0.3 dB and the stop
// band above -40 dB; dashed lines mark 100 and 140 Hz. The PNG has the SVG's
// size, 1000 pixels wide.
TEST(PlotTool, AmplitudePanelShowsTheRequestedMask) {
    struct Axis {
        const char* extra;
        double lo, hi;
    };
    for (const auto& [extra, lo, hi] : {Axis{"", -60, 5}, Axis{" --db-range 100", -100, 10}}) {
        SCOPED_TRACE(extra);
        const std::string dir = FreshDir("plot_mask");
        const RunResult run = RunTool(std::string("design -m cheby1 -o . --png") + extra, dir);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const std::string svg = ReadFile(dir + "/response.svg");
        const Plot p(svg);
        ASSERT_EQ(p.frames.size(), 5u);
        const Box a = p.frames[0];
        EXPECT_NEAR(Bounds(p.Curve("0%,35%,75%", a)).x0, a.x0, kPixel);  // from 0 Hz
        EXPECT_TRUE(MaskHas(p, a, {XOf(a, 0, 256, 140), a.y0, a.x1, YOf(a, lo, hi, -40)}));
        EXPECT_TRUE(MaskHas(p, a, {a.x0, YOf(a, lo, hi, -0.3), XOf(a, 0, 256, 100), a.y1}));
        const std::vector<double> edges = p.Edges(a);
        ASSERT_EQ(edges.size(), 2u);
        EXPECT_NEAR(edges[0], XOf(a, 0, 256, 100), kPixel);
        EXPECT_NEAR(edges[1], XOf(a, 0, 256, 140), kPixel);

        const std::string png = ReadFile(dir + "/response.png");
        ASSERT_GT(png.size(), 24u);
        EXPECT_EQ(png.substr(0, 16), std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16));
        const auto be32 = [&](size_t i) {  // big-endian
            return static_cast<unsigned>(static_cast<unsigned char>(png[i]) << 24 |
                                         static_cast<unsigned char>(png[i + 1]) << 16 |
                                         static_cast<unsigned char>(png[i + 2]) << 8 |
                                         static_cast<unsigned char>(png[i + 3]));
        };
        EXPECT_EQ(be32(16), 1000u);
        EXPECT_EQ(be32(20), std::strtoul(svg.c_str() + svg.find("height=\"") + 8, nullptr, 10));
    }
}

// A 51-tap window FIR delays every frequency by 25 samples, 25 ms at 1 kHz: a
// flat group-delay curve in the middle of its axis (24..26 ms). Without a
// stop-band requirement the amplitude axis runs from -100 dB to +10 dB and
// the curve starts at 0 dB within 0.1 dB. A FIR plot has no pole-zero panel.
TEST(PlotTool, GroupDelayOfALinearPhaseFir) {
    const std::string dir = FreshDir("plot_delay");
    ASSERT_EQ(RunTool("design -m window -w hamming -n 51 --fs 1000 -o .", dir).exitCode, 0);
    const Plot p(ReadFile(dir + "/response.svg"));
    ASSERT_EQ(p.frames.size(), 4u);
    const Box a = p.frames[0], delay = p.frames[2];
    const Box d = Bounds(p.Curve("10%,55%,20%", delay));
    EXPECT_NEAR(d.y0, YOf(delay, 24, 26, 25), kPixel);
    EXPECT_NEAR(d.y1, YOf(delay, 24, 26, 25), kPixel);
    EXPECT_NEAR(d.x0, delay.x0, kPixel);
    const Part curve = p.Curve("0%,35%,75%", a);
    ASSERT_FALSE(curve.empty());
    EXPECT_NEAR(curve.front().y, YOf(a, -100, 10, 0), 0.1 / 110 * (a.y1 - a.y0));
}

// On a logarithmic axis a 0.5 Hz high-pass at 360 Hz is readable: the axis
// starts a decade below the lowest edge, rounded down to a power of ten
// (0.3 Hz / 10 -> 0.01 Hz), and ends at 180 Hz.
TEST(PlotTool, LogFrequencyAxis) {
    const std::string dir = FreshDir("plot_log");
    const std::string args = "-b highpass --fs 360 --f1 0.3 --f2 0.5 --atten 30 --log-freq";
    ASSERT_EQ(RunTool("design -m cheby2 --ripple 1 -o . " + args, dir).exitCode, 0);
    const Plot p(ReadFile(dir + "/response.svg"));
    ASSERT_FALSE(p.frames.empty());
    const Box a = p.frames[0];
    const std::vector<double> edges = p.Edges(a);
    ASSERT_EQ(edges.size(), 2u);
    EXPECT_NEAR(edges[0], XOf(a, -2, std::log10(180), std::log10(0.3)), kPixel);
    EXPECT_NEAR(edges[1], XOf(a, -2, std::log10(180), std::log10(0.5)), kPixel);
    EXPECT_NEAR(Bounds(p.Curve("0%,35%,75%", a)).x0, a.x0, kPixel);
    EXPECT_NEAR(Bounds(p.Curve("0%,35%,75%", a)).x1, a.x1, kPixel);
}

// An IIR plot's square pole-zero panel: the unit circle round and centred (the
// axes run from -1.2 to 1.2 when every root lies within), an x at each pole
// and an o at each zero the JSON lists. This design's poles near 0.9 + 0.4i
// overlap on that scale, so a magnified view of them, framed in grey, sits
// inside the panel with its own markers; outside it every root has its marker.
TEST(PlotTool, PoleZeroDiagramOfTheSections) {
    const std::string dir = FreshDir("plot_pole_zero");
    const RunResult r = RunTool(
        "design --json -o . -m cheby2 -b bandpass --fs 1000 --f1 50 --f2 80 --f3 120 --f4 150",
        dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    const Plot p(ReadFile(dir + "/response.svg"));
    ASSERT_EQ(p.frames.size(), 5u);
    const Box f = p.frames[4];
    EXPECT_NEAR(f.x1 - f.x0, f.y1 - f.y0, kPixel);
    const double cx = (f.x0 + f.x1) / 2, cy = (f.y0 + f.y1) / 2, unit = (f.x1 - f.x0) / 2 / 1.2;
    const Part circle = p.Curve("30%,30%,30%", f);
    ASSERT_GT(circle.size(), 300u);
    for (const Point& q : circle) {
        EXPECT_NEAR(std::hypot(q.x - cx, q.y - cy), unit, kPixel);
    }
    const std::vector<Part> inset = p.Parts("stroke:rgb(50%,50%,50%)", f);
    ASSERT_EQ(inset.size(), 2u);  // its frame, closed by a lone M
    const Box in = Bounds(inset[0]);
    // Marker centres: the middle of either stroke of an x, 5 pixels left of
    // where an o starts. Those in the magnified view are counted apart.
    for (const char* kind : {"poles", "zeros"}) {
        SCOPED_TRACE(kind);
        const bool poles = kind[0] == 'p';
        std::vector<Point> marks;
        size_t inside = 0;
        for (const Part& m : p.Parts(poles ? "rgb(80%,10%,10%)" : "rgb(5%,20%,85%)", f)) {
            const Point c = poles ? Point{(m[0].x + m[1].x) / 2, (m[0].y + m[1].y) / 2}
                                  : Point{m[0].x - 5, m[0].y};
            if (in.Holds(c)) {
                ++inside;
            } else {
                marks.push_back(c);
            }
        }
        EXPECT_EQ(marks.size(), j[kind].size() * (poles ? 2 : 1));  // an x has two strokes
        EXPECT_GE(inside, poles ? 4u : 0u);
        for (const auto& z : j[kind]) {
            const double x = cx + z[0].get<double>() * unit, y = cy - z[1].get<double>() * unit;
            double nearest = 1e300;
            for (const Point& m : marks) {
                nearest = std::min(nearest, std::hypot(m.x - x, m.y - y));
            }
            EXPECT_LT(nearest, kPixel) << z;
        }
    }
}

}  // namespace
