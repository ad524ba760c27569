// Designs compared with scipy.signal designs of the same order and edges
// (tests/data/iir/gen_reference.py writes the reference file).
#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/iir/ButwcfFilter.h>
#include <RZFilterFunc/iir/ChebyiFilter.h>
#include <RZFilterFunc/iir/ChebyiiFilter.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "RZFilterFunc/iir/PolyMath.h"

namespace {

struct RespPoint {
    int index;
    double mag;
    double db;
    double phase;
};

struct ReferenceCase {
    int method = 0;
    int band = 0;
    double fs = 0, f1 = 0, f2 = 0, f3 = 0, f4 = 0, ap = 0, as = 0;
    int order = 0;
    std::vector<RespPoint> resp;
    std::vector<std::complex<double>> poles;
};

std::vector<ReferenceCase> LoadCases() {
    std::vector<ReferenceCase> cases;
    const char* dir = std::getenv("RZF_TEST_DATA");
    if (dir == nullptr) {
        return cases;
    }
    std::ifstream in(std::string(dir) + "/iir/designs.txt");
    std::string line;
    ReferenceCase current;
    while (std::getline(in, line)) {
        std::istringstream ls(line);
        std::string tag;
        ls >> tag;
        if (tag == "case") {
            current = ReferenceCase();
            int points = 0;
            ls >> current.method >> current.band >> current.fs >> current.f1 >> current.f2 >>
                current.f3 >> current.f4 >> current.ap >> current.as >> current.order >> points;
        } else if (tag == "resp") {
            RespPoint p{};
            std::string db;
            ls >> p.index >> p.mag >> db >> p.phase;
            p.db = (db == "-inf") ? -INFINITY : std::strtod(db.c_str(), nullptr);
            current.resp.push_back(p);
        } else if (tag == "pole") {
            double re;
            double im;
            ls >> re >> im;
            current.poles.emplace_back(re, im);
        } else if (tag == "end") {
            cases.push_back(current);
        }
    }
    return cases;
}

std::unique_ptr<IIRFilter> MakeFilter(int method) {
    if (method == 0) {
        return std::make_unique<ButwcfFilter>();
    }
    if (method == 1) {
        return std::make_unique<ChebyiFilter>();
    }
    return std::make_unique<ChebyiiFilter>();
}

// H(e^jw) from the coefficient arrays, evaluated independently of the
// filter's own response code.
std::complex<double> Evaluate(const IIRFilter& f, double w) {
    std::complex<double> b = 0.0;
    std::complex<double> a = 0.0;
    for (int k = 0; k <= f.m_nFilterOrder; ++k) {
        const std::complex<double> zk = std::polar(1.0, -k * w);
        b += f.m_pNumerator[k] * zk;
        a += f.m_pDenominator[k] * zk;
    }
    return b / a;
}

}  // namespace

// Linear magnitudes (peak about 1) agree to 1e-9 absolute; the normalised dB
// curve to 1e-6 dB down to -120 dB; the phase, folded to (-pi/2, pi/2), to
// 1e-7 rad where the magnitude is above -60 dB; poles to 1e-8 (the order-10
// narrow low-pass clusters its poles, which costs about 2e-9).
TEST(IirReference, DesignsMatchScipy) {
    const std::vector<ReferenceCase> cases = LoadCases();
    ASSERT_EQ(cases.size(), 19u);
    for (const ReferenceCase& c : cases) {
        SCOPED_TRACE("method " + std::to_string(c.method) + " band " + std::to_string(c.band) +
                     " fs " + std::to_string(c.fs) + " f1 " + std::to_string(c.f1));
        std::unique_ptr<IIRFilter> f = MakeFilter(c.method);
        f->m_dSampleFreq = c.fs;
        f->m_nBandType = c.band;
        f->m_dFreq1 = c.f1;
        f->m_dFreq2 = c.f2;
        f->m_dFreq3 = c.f3;
        f->m_dFreq4 = c.f4;
        f->m_dPassRipple = c.ap;
        f->m_dStopAtten = c.as;
        ASSERT_EQ(f->DesignIIR(), c.order);
        ASSERT_EQ(f->m_pDenominator[0], 1.0);

        int count = 0;
        const double* db = f->GetAmplitudeResponse(&count);
        ASSERT_NE(db, nullptr);
        ASSERT_EQ(count, 2048);
        const double* phase = f->m_pPhase;
        for (const RespPoint& p : c.resp) {
            const double w = M_PI * p.index / 2048.0;
            const std::complex<double> h = Evaluate(*f, w);
            EXPECT_NEAR(std::abs(h), p.mag, 1e-9) << "index " << p.index;
            if (p.db > -120.0) {
                EXPECT_NEAR(db[p.index], p.db, 1e-6) << "index " << p.index;
            }
            if (p.db > -60.0) {
                double d = phase[p.index] - p.phase;
                d -= M_PI * std::round(d / M_PI);
                EXPECT_LT(std::fabs(d), 1e-7) << "index " << p.index;
            }
        }

        if (!c.poles.empty()) {
            const int n = f->m_nFilterOrder;
            std::vector<double> rev(n + 1);
            for (int j = 0; j <= n; ++j) {
                rev[j] = f->m_pDenominator[n - j];
            }
            std::vector<double> re(n);
            std::vector<double> im(n);
            ASSERT_EQ(rzf::PolyRoots(rev.data(), n, re.data(), im.data(), 1e-30), 1);
            std::vector<std::complex<double>> got;
            for (int j = 0; j < n; ++j) {
                got.emplace_back(re[j], im[j]);
            }
            ASSERT_EQ(got.size(), c.poles.size());
            for (const auto& pole : c.poles) {
                double best = INFINITY;
                for (const auto& g : got) {
                    best = std::min(best, std::abs(g - pole));
                }
                EXPECT_LT(best, 1e-8) << pole;
            }
        }
    }
}

// The same designs requested through the designer front end.
TEST(IirReference, FrontEndDesignsMatchScipy) {
    const std::vector<ReferenceCase> cases = LoadCases();
    ASSERT_EQ(cases.size(), 19u);
    for (const ReferenceCase& c : cases) {
        FilterUser user;
        user.setFilterParameter(c.band, c.method, c.f1, c.f2, c.f3, c.f4, c.fs, 1, c.ap, c.as, 0);
        ASSERT_TRUE(user.DesignFilter());
        ASSERT_EQ(user.m_nIIROrder, c.order);
        ASSERT_TRUE(user.GetIsStability());
        const double* db = user.m_pFilter->m_pAmplitude;
        ASSERT_NE(db, nullptr);
        for (const RespPoint& p : c.resp) {
            EXPECT_NEAR(user.m_pFilter->m_pFreqAxis[p.index], p.index * c.fs / 4096.0, 1e-9);
            if (p.db > -120.0) {
                EXPECT_NEAR(db[p.index], p.db, 1e-6) << p.index;
            }
        }
    }
}
