#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <nlohmann/json.hpp>

#include "ToolTestSupport.h"

namespace {

struct Point {
    double x, y;
};

// One drawn SVG path (glyph outlines in <defs> left out): its style and its
// sub-paths, each a vertex list.
struct Path {
    std::string style;
    std::vector<std::vector<Point>> parts;
};

std::vector<Path> DrawnPaths(const std::string& svg) {
    std::vector<Path> paths;
    size_t pos = svg.find("</defs>");
    pos = pos == std::string::npos ? 0 : pos;
    while ((pos = svg.find("<path", pos)) != std::string::npos) {
        const size_t end = svg.find('>', pos);
        const std::string tag = svg.substr(pos, end - pos);
        pos = end;
        const size_t d = tag.find(" d=\"");
        if (d == std::string::npos) {
            continue;
        }
        Path p;
        const size_t st = tag.find("style=\"");
        if (st != std::string::npos) {
            p.style = tag.substr(st + 7, tag.find('"', st + 7) - st - 7);
        }
        const std::string data = tag.substr(d + 4, tag.find('"', d + 4) - d - 4);
        const char* s = data.c_str();
        while (*s != '\0') {
            if (*s == 'M' || *s == 'L') {
                if (*s == 'M') {
                    p.parts.emplace_back();
                }
                char* e = nullptr;
                const double x = std::strtod(s + 1, &e);
                const double y = std::strtod(e, &e);
                p.parts.back().push_back({x, y});
                s = e;
            } else {
                ++s;
            }
        }
        paths.push_back(p);
    }
    return paths;
}

struct Box {
    double x0, y0, x1, y1;
};

Box Bounds(const std::vector<Point>& pts) {
    Box b{1e300, 1e300, -1e300, -1e300};
    for (const Point& p : pts) {
        b.x0 = std::min(b.x0, p.x);
        b.y0 = std::min(b.y0, p.y);
        b.x1 = std::max(b.x1, p.x);
        b.y1 = std::max(b.y1, p.y);
    }
    return b;
}

// The pieces of a response plot: panel frames (amplitude, pass-band zoom,
// group delay, phase and, for IIR designs, the pole-zero diagram), curves by
// colour, shaded mask rectangles, dashed band edges, the unit circle and the
// centres of the pole and zero markers.
struct ResponsePlot {
    Box amp{}, zoom{}, delay{}, phase{}, poleZero{};
    bool hasPoleZero = false;
    std::vector<Point> ampCurve, delayCurve, phaseCurve;
    std::vector<Point> unitCircle, poleMarks, zeroMarks;
    std::vector<Box> insets;  // grey frames of magnified views in the pole-zero panel
    std::vector<Box> ampMask, zoomMask;
    std::vector<double> ampEdges;  // x of the dashed edge lines in the amplitude panel
};

bool Inside(const Box& in, const Box& b) {
    return b.x0 >= in.x0 - 1e-6 && b.x1 <= in.x1 + 1e-6 && b.y0 >= in.y0 - 1e-6 &&
           b.y1 <= in.y1 + 1e-6;
}

ResponsePlot ReadResponsePlot(const std::string& path) {
    const std::vector<Path> paths = DrawnPaths(tooltest::ReadFile(path));
    std::vector<Box> frames;
    for (const Path& p : paths) {
        if (p.style.find("stroke:rgb(0%,0%,0%)") != std::string::npos && p.parts.size() >= 1 &&
            p.parts[0].size() == 4) {
            const Box b = Bounds(p.parts[0]);
            if ((b.x1 - b.x0) * (b.y1 - b.y0) > 10000.0) {
                frames.push_back(b);
            }
        }
    }
    ResponsePlot r;
    EXPECT_TRUE(frames.size() == 4u || frames.size() == 5u) << frames.size();
    if (frames.size() != 4 && frames.size() != 5) {
        return r;
    }
    std::sort(frames.begin(), frames.end(), [](const Box& a, const Box& b) {
        return a.y0 < b.y0 || (a.y0 == b.y0 && a.x0 < b.x0);
    });
    r.amp = frames[0];
    r.zoom = frames[1];
    r.delay = frames[2];
    r.phase = frames[3];
    if (frames.size() == 5) {
        r.poleZero = frames[4];
        r.hasPoleZero = true;
    }
    for (const Path& p : paths) {
        auto all = [&]() {
            std::vector<Point> pts;
            for (const auto& part : p.parts) {
                pts.insert(pts.end(), part.begin(), part.end());
            }
            return pts;
        };
        if (p.style.find("stroke:rgb(0%,35%,75%)") != std::string::npos) {
            const std::vector<Point> pts = all();
            if (!pts.empty() && pts[0].y >= r.amp.y0 && pts[0].y <= r.amp.y1) {
                r.ampCurve = pts;
            }
        } else if (p.style.find("stroke:rgb(10%,55%,20%)") != std::string::npos) {
            r.delayCurve = all();
        } else if (p.style.find("stroke:rgb(80%,25%,0%)") != std::string::npos) {
            r.phaseCurve = all();
        } else if (p.style.find("stroke:rgb(50%,50%,50%)") != std::string::npos &&
                   !p.parts.empty() && p.parts[0].size() == 4) {
            r.insets.push_back(Bounds(p.parts[0]));
        } else if (p.style.find("stroke:rgb(30%,30%,30%)") != std::string::npos) {
            r.unitCircle = all();
        } else if (p.style.find("stroke:rgb(80%,10%,10%)") != std::string::npos &&
                   p.parts.size() == 2 && p.parts[0].size() == 2) {
            // An x: the middle of its first stroke.
            r.poleMarks.push_back({(p.parts[0][0].x + p.parts[0][1].x) / 2.0,
                                   (p.parts[0][0].y + p.parts[0][1].y) / 2.0});
        } else if (p.style.find("stroke:rgb(5%,20%,85%)") != std::string::npos &&
                   !p.parts.empty()) {
            // An o: drawn from its rightmost point, 5 pixels right of its centre.
            r.zeroMarks.push_back({p.parts[0][0].x - 5.0, p.parts[0][0].y});
        } else if (p.style.find("fill-opacity:0.22") != std::string::npos) {
            for (const auto& part : p.parts) {
                if (part.size() == 4) {
                    const Box b = Bounds(part);
                    (Inside(r.amp, b) ? r.ampMask : r.zoomMask).push_back(b);
                }
            }
        } else if (p.style.find("stroke-dasharray") != std::string::npos) {
            for (const auto& part : p.parts) {
                if (part.size() == 2 && std::fabs(part[0].y - r.amp.y0) < 1e-6) {
                    r.ampEdges.push_back(part[0].x);
                }
            }
        }
    }
    return r;
}

double YOf(const Box& f, double lo, double hi, double v) {
    return f.y1 - (v - lo) / (hi - lo) * (f.y1 - f.y0);
}

double XOf(const Box& f, double lo, double hi, double v) {
    return f.x0 + (v - lo) / (hi - lo) * (f.x1 - f.x0);
}

// Vector output keeps coordinates in 1/256 pixel steps.
constexpr double kPixel = 0.01;

bool HasRect(const std::vector<Box>& rects, const Box& want) {
    for (const Box& b : rects) {
        if (std::fabs(b.x0 - want.x0) < kPixel && std::fabs(b.x1 - want.x1) < kPixel &&
            std::fabs(b.y0 - want.y0) < kPixel && std::fabs(b.y1 - want.y1) < kPixel) {
            return true;
        }
    }
    return false;
}

// Chebyshev I low-pass, fs 512 Hz, pass edge 100 Hz (0.3 dB), stop edge
// 140 Hz (40 dB): the amplitude axis runs from -(40 + 20) dB to +5 dB (half a
// 10 dB tick above 0), or from -100 to +10 dB with --db-range 100; the
// frequency axis from 0 to fs/2 = 256 Hz. The mask shades the pass band below
// -0.3 dB and the stop band above -40 dB; dashed lines mark 100 and 140 Hz.
TEST(PlotTool, AmplitudeAxisAndMaskFollowTheSpecification) {
    struct Case {
        const char* extra;
        double lo, hi;
    };
    for (const Case& c : {Case{"", -60.0, 5.0}, Case{" --db-range 100", -100.0, 10.0}}) {
        SCOPED_TRACE(c.extra);
        const std::string dir = tooltest::FreshDir("plot_mask");
        const tooltest::RunResult run =
            tooltest::RunTool(std::string("design -m cheby1 -o . --png") + c.extra, dir);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const ResponsePlot p = ReadResponsePlot(dir + "/response.svg");
        ASSERT_FALSE(p.ampCurve.empty());
        EXPECT_NEAR(Bounds(p.ampCurve).x0, p.amp.x0, kPixel);  // from 0 Hz
        // The stop band's shading ends at the right edge: 256 Hz.
        EXPECT_TRUE(HasRect(p.ampMask, {XOf(p.amp, 0, 256, 140), p.amp.y0, p.amp.x1,
                                        YOf(p.amp, c.lo, c.hi, -40.0)}));
        EXPECT_TRUE(HasRect(p.ampMask, {p.amp.x0, YOf(p.amp, c.lo, c.hi, -0.3),
                                        XOf(p.amp, 0, 256, 100), p.amp.y1}));
        ASSERT_EQ(p.ampEdges.size(), 2u);
        EXPECT_NEAR(p.ampEdges[0], XOf(p.amp, 0, 256, 100), kPixel);
        EXPECT_NEAR(p.ampEdges[1], XOf(p.amp, 0, 256, 140), kPixel);
        // The zoom shows the -0.3 dB bound inside its frame.
        bool ripple = false;
        for (const Box& b : p.zoomMask) {
            ripple = ripple || (b.y0 > p.zoom.y0 + 10.0 && b.y0 < p.zoom.y1 - 10.0 &&
                                std::fabs(b.y1 - p.zoom.y1) < 1.0);
        }
        EXPECT_TRUE(ripple);
        const std::string png = tooltest::ReadFile(dir + "/response.png");
        ASSERT_GT(png.size(), 24u);
        EXPECT_EQ(png.substr(1, 3), "PNG");
        EXPECT_EQ(static_cast<unsigned char>(png[18]) * 256 + static_cast<unsigned char>(png[19]),
                  1000);  // width
    }
}

// The phase is drawn only where the amplitude is on its axis (above -60 dB
// here): beyond that it is rounding noise. The library's own response says
// where the gain falls below -60 dB.
TEST(PlotTool, PhaseStopsWhereTheAmplitudeLeavesItsAxis) {
    const std::string dir = tooltest::FreshDir("plot_phase");
    ASSERT_EQ(tooltest::RunTool("design -m cheby1 -o .", dir).exitCode, 0);
    double last = 0.0;
    for (const auto& row : tooltest::ReadCsv(dir + "/response.csv")) {
        if (row[1] >= -60.0) {
            last = row[0];
        }
    }
    ASSERT_GT(last, 140.0);
    ASSERT_LT(last, 250.0);
    const ResponsePlot p = ReadResponsePlot(dir + "/response.svg");
    const Box phase = Bounds(p.phaseCurve);
    EXPECT_NEAR(phase.x0, p.phase.x0, kPixel);
    EXPECT_NEAR(phase.x1, XOf(p.phase, 0, 256, last), 0.5 / 256 * (p.phase.x1 - p.phase.x0) + 1.0);
}

// A 51-tap window FIR delays every frequency by 25 samples, 25 ms at 1 kHz:
// a flat group-delay curve in the middle of its axis (24..26 ms). Without a
// stop-band requirement the amplitude axis runs 100 dB deep, up to +10 dB.
TEST(PlotTool, GroupDelayOfALinearPhaseFir) {
    const std::string dir = tooltest::FreshDir("plot_delay");
    ASSERT_EQ(tooltest::RunTool("design -m window -w hamming -n 51 --fs 1000 -o .", dir).exitCode,
              0);
    const ResponsePlot p = ReadResponsePlot(dir + "/response.svg");
    ASSERT_FALSE(p.delayCurve.empty());
    const Box d = Bounds(p.delayCurve);
    EXPECT_NEAR(d.y0, YOf(p.delay, 24.0, 26.0, 25.0), 1e-2);
    EXPECT_NEAR(d.y1, YOf(p.delay, 24.0, 26.0, 25.0), 1e-2);
    EXPECT_NEAR(d.x0, p.delay.x0, kPixel);
    // Its side lobes stay above -100 dB, so the amplitude curve spans the
    // whole axis, 0 Hz to fs/2; the gain at 0 Hz is 0 dB within 0.1 dB.
    EXPECT_NEAR(Bounds(p.ampCurve).x0, p.amp.x0, kPixel);
    EXPECT_NEAR(Bounds(p.ampCurve).x1, p.amp.x1, kPixel);
    EXPECT_NEAR(p.ampCurve.front().y, YOf(p.amp, -100.0, 10.0, 0.0),
                0.1 / 110.0 * (p.amp.y1 - p.amp.y0));
}

// On a logarithmic axis a 0.5 Hz high-pass at 360 Hz is readable: the axis
// starts a decade below the lowest edge, rounded down to a power of ten
// (0.3 Hz / 10 -> 0.01 Hz), and ends at 180 Hz.
TEST(PlotTool, LogFrequencyAxis) {
    const std::string dir = tooltest::FreshDir("plot_log");
    ASSERT_EQ(tooltest::RunTool("design -m cheby2 -b highpass --fs 360 --f1 0.3 --f2 0.5 "
                                "--ripple 1 --atten 30 --log-freq -o .",
                                dir)
                  .exitCode,
              0);
    const ResponsePlot p = ReadResponsePlot(dir + "/response.svg");
    ASSERT_EQ(p.ampEdges.size(), 2u);
    auto logX = [&](double f) {
        return p.amp.x0 + std::log10(f / 0.01) / std::log10(180.0 / 0.01) * (p.amp.x1 - p.amp.x0);
    };
    EXPECT_NEAR(p.ampEdges[0], logX(0.3), kPixel);
    EXPECT_NEAR(p.ampEdges[1], logX(0.5), kPixel);
    const Box curve = Bounds(p.ampCurve);
    EXPECT_NEAR(curve.x0, p.amp.x0, kPixel);
    EXPECT_NEAR(curve.x1, p.amp.x1, kPixel);
}

// An IIR plot carries a square pole-zero panel: the unit circle round and
// centred (the axes run from -1.2 to 1.2 when every root lies within that),
// an x at each pole and an o at each zero the design's JSON lists, to a
// hundredth of a pixel. This design's poles near 0.9 + 0.4i overlap on that
// scale, so a magnified view of them sits in the upper left corner with its
// own markers. A FIR design has no such panel.
TEST(PlotTool, PoleZeroDiagramOfTheSections) {
    const std::string dir = tooltest::FreshDir("plot_pole_zero");
    const tooltest::RunResult r = tooltest::RunTool(
        "design --json -o . -m cheby2 -b bandpass --fs 1000 --f1 50 --f2 80 --f3 120 --f4 150",
        dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    const ResponsePlot p = ReadResponsePlot(dir + "/response.svg");
    ASSERT_TRUE(p.hasPoleZero);
    const Box& f = p.poleZero;
    EXPECT_NEAR(f.x1 - f.x0, f.y1 - f.y0, kPixel);
    const double cx = (f.x0 + f.x1) / 2.0;
    const double cy = (f.y0 + f.y1) / 2.0;
    const double unit = (f.x1 - f.x0) / 2.0 / 1.2;  // pixels per unit of z
    ASSERT_GT(p.unitCircle.size(), 300u);
    for (const Point& q : p.unitCircle) {
        EXPECT_NEAR(std::hypot(q.x - cx, q.y - cy), unit, kPixel);
    }
    ASSERT_EQ(p.insets.size(), 1u);
    const Box inset = p.insets[0];
    EXPECT_TRUE(Inside(f, inset));
    auto outsideInset = [&](const std::vector<Point>& all, size_t& inside) {
        std::vector<Point> out;
        inside = 0;
        for (const Point& m : all) {
            if (m.x >= inset.x0 && m.x <= inset.x1 && m.y >= inset.y0 && m.y <= inset.y1) {
                ++inside;
            } else {
                out.push_back(m);
            }
        }
        return out;
    };
    size_t insetPoles = 0;
    size_t insetZeros = 0;
    const std::vector<Point> poles = outsideInset(p.poleMarks, insetPoles);
    const std::vector<Point> zeros = outsideInset(p.zeroMarks, insetZeros);
    EXPECT_GE(insetPoles, 2u);
    auto expectMarks = [&](const nlohmann::json& roots, const std::vector<Point>& marks) {
        ASSERT_EQ(marks.size(), roots.size());
        for (const auto& z : roots) {
            const double x = cx + z[0].get<double>() * unit;
            const double y = cy - z[1].get<double>() * unit;
            double nearest = 1e300;
            for (const Point& m : marks) {
                nearest = std::min(nearest, std::hypot(m.x - x, m.y - y));
            }
            EXPECT_LT(nearest, kPixel) << z;
        }
    };
    expectMarks(j["poles"], poles);
    expectMarks(j["zeros"], zeros);

    const std::string fir = tooltest::FreshDir("plot_pole_zero_fir");
    ASSERT_EQ(tooltest::RunTool("design -m window -n 31 --fs 1000 -o .", fir).exitCode, 0);
    EXPECT_FALSE(ReadResponsePlot(fir + "/response.svg").hasPoleZero);
}

}  // namespace
