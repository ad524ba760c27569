// Helpers shared by the IIR tests: reference-file reader, filter factory and
// root matching.
#pragma once

#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterMessages.h>
#include <RZFilterFunc/iir/ButwcfFilter.h>
#include <RZFilterFunc/iir/ChebyiFilter.h>
#include <RZFilterFunc/iir/ChebyiiFilter.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "RZFilterFunc/iir/IirDesignSteps.h"
#include "RZFilterFunc/iir/PolyMath.h"

namespace iirtest {

using Roots = std::vector<std::complex<double>>;
using V = std::vector<double>;

// One block of a reference file: the fields of its "case"/"poly" line and its
// tagged numeric rows (decimal, hexadecimal or -inf).
struct Block {
    std::vector<std::string> head;
    std::map<std::string, std::vector<std::vector<double>>> rows;
    double At(int i) const { return std::strtod(head[i].c_str(), nullptr); }
};

inline std::vector<Block> LoadBlocks(const std::string& name) {
    std::vector<Block> out;
    const char* dir = std::getenv("RZF_TEST_DATA");
    std::ifstream in(std::string(dir != nullptr ? dir : ".") + "/iir/" + name);
    std::string line, tag, field;
    while (std::getline(in, line)) {
        std::istringstream ls(line);
        std::vector<std::string> f;
        for (tag.clear(), ls >> tag; ls >> field;) {
            f.push_back(field);
        }
        if (tag == "case" || tag == "poly") {
            out.push_back({f, {}});
        } else if (!out.empty() && !tag.empty() && tag != "end") {
            out.back().rows[tag].emplace_back();
            for (const std::string& x : f) {
                out.back().rows[tag].back().push_back(std::strtod(x.c_str(), nullptr));
            }
        }
    }
    return out;
}

template <class T>
using Plain = T;

// A design of method 0/1/2 (Butterworth, Chebyshev I, II) with v = fs, f1..f4,
// Ap, As and m_bStable set; W may wrap the class to override a step.
template <template <class> class W = Plain>
std::unique_ptr<IIRFilter> Make(int method, int band, const double* v) {
    std::unique_ptr<IIRFilter> f(method == 0   ? static_cast<IIRFilter*>(new W<ButwcfFilter>)
                                 : method == 1 ? static_cast<IIRFilter*>(new W<ChebyiFilter>)
                                               : new W<ChebyiiFilter>);
    double IIRFilter::*const fields[7] = {&IIRFilter::m_dSampleFreq, &IIRFilter::m_dFreq1,
                                          &IIRFilter::m_dFreq2,      &IIRFilter::m_dFreq3,
                                          &IIRFilter::m_dFreq4,      &IIRFilter::m_dPassRipple,
                                          &IIRFilter::m_dStopAtten};
    for (int j = 0; j < 7; ++j) {
        (*f).*fields[j] = v[j];
    }
    f->m_nBandType = band;
    f->m_bStable = true;
    return f;
}

// Roots of c (c.back() leading, or c.front() when reversed, as for the poles of
// a denominator in powers of z^-1) found by PolyRoots; rc receives its result.
inline Roots Solve(V c, int* rc, bool reversed = false) {
    const int n = static_cast<int>(c.size()) - 1;
    V re(n), im(n);
    if (reversed) {
        std::reverse(c.begin(), c.end());
    }
    *rc = rzf::PolyRoots(c.data(), n, re.data(), im.data(), 1e-30);
    Roots out;
    for (int i = 0; i < n; ++i) {
        out.emplace_back(re[i], im[i]);
    }
    return out;
}

// Pairs each expected root with the nearest unused computed root; returns the
// largest distance (infinite when the counts differ).
inline double MatchedDistance(const Roots& expected, Roots got) {
    double worst = got.size() == expected.size() ? 0.0 : INFINITY;
    for (std::size_t i = 0; i < expected.size() && !got.empty(); ++i) {
        auto best = std::min_element(got.begin(), got.end(), [&](auto x, auto y) {
            return std::abs(x - expected[i]) < std::abs(y - expected[i]);
        });
        worst = std::max(worst, std::abs(*best - expected[i]));
        got.erase(best);
    }
    return worst;
}

}  // namespace iirtest

using iirtest::V;
