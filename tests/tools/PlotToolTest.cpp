#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "ToolTestSupport.h"

namespace {

struct Point {
    double x, y;
};

// The drawn paths of an SVG (glyph outlines in <defs> left out), each as its
// vertex list and whether it closes.
struct Path {
    std::vector<Point> pts;
    bool closed = false;
};

std::vector<Path> DrawnPaths(const std::string& svg) {
    std::vector<Path> paths;
    size_t pos = svg.find("</defs>");
    pos = pos == std::string::npos ? 0 : pos;
    while ((pos = svg.find("<path", pos)) != std::string::npos) {
        const size_t d = svg.find(" d=\"", pos);
        const size_t end = svg.find('>', pos);
        if (d == std::string::npos || d > end) {
            pos = end;
            continue;
        }
        const size_t close = svg.find('"', d + 4);
        const std::string data = svg.substr(d + 4, close - d - 4);
        Path p;
        const char* s = data.c_str();
        while (*s != '\0') {
            while (*s == ' ') {
                ++s;
            }
            if (*s == 'M' || *s == 'L') {
                char* e = nullptr;
                const double x = std::strtod(s + 1, &e);
                const double y = std::strtod(e, &e);
                p.pts.push_back({x, y});
                s = e;
            } else if (*s == 'Z') {
                p.closed = true;
                ++s;
            } else if (*s != '\0') {
                ++s;  // curves do not occur outside glyphs
            }
        }
        paths.push_back(p);
        pos = close;
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

// The response plot holds two curves (amplitude above, phase below), each a
// polyline through the response points, spanning 0 Hz to the last response
// frequency on an axis that runs to the library's rounded limit.
void CheckResponsePlot(const std::string& svgPath, double fs, int points, double axisMax) {
    const std::vector<Path> paths = DrawnPaths(tooltest::ReadFile(svgPath));
    std::vector<Box> curves;
    std::vector<Box> frames;
    for (const Path& p : paths) {
        // Vector output merges points closer than its resolution, so a curve
        // keeps most, not all, of its points; grid paths have a few dozen.
        if (p.pts.size() >= static_cast<size_t>(points) / 4) {
            curves.push_back(Bounds(p.pts));
        } else if (p.closed && p.pts.size() == 5) {
            const Box b = Bounds(p.pts);
            if ((b.x1 - b.x0) * (b.y1 - b.y0) > 10000.0) {
                frames.push_back(b);
            }
        }
    }
    ASSERT_EQ(curves.size(), 2u);
    ASSERT_EQ(frames.size(), 2u);
    std::sort(frames.begin(), frames.end(), [](const Box& a, const Box& b) { return a.y0 < b.y0; });
    std::sort(curves.begin(), curves.end(), [](const Box& a, const Box& b) { return a.y0 < b.y0; });
    const double lastFreq = (points - 1) * fs / (2.0 * points);
    for (int k = 0; k < 2; ++k) {
        const Box& f = frames[static_cast<size_t>(k)];
        const Box& c = curves[static_cast<size_t>(k)];
        const double pxPerHz = (f.x1 - f.x0) / axisMax;
        EXPECT_NEAR(c.x0, f.x0, 1e-3);                       // starts at 0 Hz
        EXPECT_NEAR(c.x1, f.x0 + lastFreq * pxPerHz, 1e-3);  // ends one step short of fs/2
        EXPECT_GE(c.y0, f.y0 - 1e-6);                        // inside its panel
        EXPECT_LE(c.y1, f.y1 + 1e-6);
    }
    // The amplitude peaks at 0 dB, the top of its axis.
    EXPECT_NEAR(curves[0].y0, frames[0].y0, 1e-3);
}

TEST(PlotTool, ResponsePlotsHoldBothCurvesOverTheirRange) {
    const std::string dir = tooltest::FreshDir("plot");
    tooltest::RunResult r =
        tooltest::RunTool("design --json -o . --png --fs 1000 --f1 100 --f2 200", dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    FilterUser u;
    u.setFilterParameter(1, 0, 100, 200, 300, 350, 1000, 51, 0.3, 40, 10);
    ASSERT_TRUE(u.DesignFilter());
    u.GetMaxMin();
    EXPECT_EQ(u.m_dMaxValue, 500.0);  // last point 499.76 Hz rounds up to 500
    CheckResponsePlot(dir + "/response.svg", 1000.0, u.m_pFilter->m_nRespCount, u.m_dMaxValue);
    const std::string png = tooltest::ReadFile(dir + "/response.png");
    ASSERT_GT(png.size(), 8u);
    EXPECT_EQ(png.substr(1, 3), "PNG");

    // A 5-tap average at 512 Hz: last response point 255.875 Hz, the axis ends at 300.
    r = tooltest::RunTool("design --json -o avg -m average --taps 5 --fs 512", dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    CheckResponsePlot(dir + "/avg/response.svg", 512.0, 2048, 300.0);
}

}  // namespace
