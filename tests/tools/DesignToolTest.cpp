// What design reports against the library, closed forms and numpy roots;
// unstable transfer functions filtered as sections; the English glosses.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

#include "Messages.h"
#include "PoleZero.h"
#include "ToolTestSupport.h"

namespace {

using namespace tooltest;
using nlohmann::json;
using Complex = std::complex<double>;

json DesignJson(const std::string& args, const std::string& dir) {
    const RunResult r = RunTool("design --json " + args, dir);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    return json::parse(r.out);
}

// A specification as tool options and as the library's arguments.
struct Spec {
    const char* name;
    const char* args;
    int band, method;
    double f1, f2, f3, f4, ripple, atten;
    int taps, window;
};

const Spec kSpecs[] = {
    {"cheby1_bandpass", "-m cheby1 -b bandpass --f1 50 --f2 100 --f3 200 --f4 250 --ripple 0.5",
     BAND_BANDPASS, DM_CHEBYSHEV1, 50, 100, 200, 250, 0.5, 40, 51, 0},
    {"cheby2_highpass", "-m cheby2 -b highpass --f1 100 --f2 150 --atten 50", BAND_HIGHPASS,
     DM_CHEBYSHEV2, 100, 150, 160, 200, 0.3, 50, 51, 0},
    {"butterworth_bandstop", "-b bandstop --f1 50 --f2 100 --f3 200 --f4 300", BAND_BANDSTOP,
     DM_BUTTERWORTH, 50, 100, 200, 300, 0.3, 40, 51, 0},
    {"window_hamming", "-m window -w hamming --f1 100 --taps 31", BAND_LOWPASS, DM_WINDOW_FIR, 100,
     140, 160, 200, 0.3, 40, 31, 2},
};

void PrintTo(const Spec& s, std::ostream* os) {
    *os << s.args;
}

class DesignMatch : public testing::TestWithParam<Spec> {};

// At 1 kHz the tool reports what the library designs: the same order,
// coefficients and axis limits to the bit; its response CSV holds the
// library's frequency axis, amplitude and unwrapped phase row for row. An SVG
// is drawn beside it, a PNG only on request.
TEST_P(DesignMatch, FilesCarryTheLibraryDesign) {
    const Spec& c = GetParam();
    FilterUser u;
    u.setFilterParameter(c.band, c.method, c.f1, c.f2, c.f3, c.f4, 1000, c.taps, c.ripple, c.atten,
                         u.m_dReserved);
    u.setWindowType(c.window);
    ASSERT_TRUE(u.DesignFilter());
    u.getUnwrapedPhase();
    u.GetMaxMin();
    ClassicFilter& f = *u.m_pFilter;
    const bool iir = c.method <= DM_CHEBYSHEV2;
    const int order = iir ? u.m_nIIROrder : f.m_nLength;
    const std::string dir = FreshDir(std::string("design_") + c.name);
    const json j = DesignJson(std::string("-o . --fs 1000 ") + c.args, dir);
    EXPECT_EQ(j["order"].get<int>(), order);
    EXPECT_EQ(j["numerator"].get<std::vector<double>>(),
              std::vector<double>(f.GetNumerator(), f.GetNumerator() + order + iir));
    EXPECT_EQ(j["denominator"].get<std::vector<double>>(),
              std::vector<double>(f.GetDenominator(), f.GetDenominator() + (iir ? order + 1 : 0)));
    EXPECT_EQ(j["response"]["axis_max_frequency_hz"].get<double>(), u.m_dMaxValue);
    EXPECT_EQ(j["response"]["axis_min_amplitude_db"].get<double>(), u.m_dMinValue);
    EXPECT_EQ(Files(dir), (std::vector<std::string>{"response.csv", "response.svg"}));
    const auto rows = ReadCsv(dir + "/response.csv");
    ASSERT_EQ(rows.size(), static_cast<size_t>(f.m_nRespCount));
    for (size_t i = 0; i < rows.size(); ++i) {
        ASSERT_EQ(rows[i],
                  (std::vector<double>{f.m_pFreqAxis[i], f.m_pAmplitude[i], f.m_pPhase[i]}))
            << i;
    }
}

INSTANTIATE_TEST_SUITE_P(DesignTool, DesignMatch, testing::ValuesIn(kSpecs),
                         [](const testing::TestParamInfo<Spec>& i) { return i.param.name; });

// Hand-derived: a moving average of 4 taps is 4 coefficients of 1/4 and
// |H(f)| = |sin(4x) / (4 sin x)|, x = pi f / fs, on 2048 points up to fs/2 of
// an axis rounded up to 500 Hz; exact zeros are drawn at a -200 dB floor.
TEST(DesignTool, MovingAverageResponseIsTheClosedForm) {
    const std::string dir = FreshDir("design_average");
    const json j = DesignJson("-o . -m average --fs 1000 --taps 4", dir);
    EXPECT_EQ(j["numerator"].get<std::vector<double>>(), std::vector<double>(4, 0.25));
    EXPECT_EQ(j["response"]["axis_max_frequency_hz"].get<double>(), 500.0);
    const auto rows = ReadCsv(dir + "/response.csv");
    ASSERT_EQ(rows.size(), 2048u);
    for (size_t i = 0; i < rows.size(); ++i) {
        const double freq = static_cast<double>(i) * 500.0 / 2048, x = M_PI * freq / 1000.0;
        const double h = i == 0 ? 1.0 : std::fabs(std::sin(4 * x) / (4 * std::sin(x)));
        EXPECT_NEAR(rows[i][0], freq, 1e-9);
        EXPECT_NEAR(rows[i][1], std::max(20 * std::log10(h), -200.0), 1e-9) << i;
    }
}

std::vector<Complex> Points(const json& list) {
    std::vector<Complex> out;
    for (const auto& p : list) {
        out.emplace_back(p[0].get<double>(), p[1].get<double>());
    }
    return out;
}

// Every reference root has its own computed root within tol (greedy nearest
// match, so a repeated root must appear as often as in the reference).
void ExpectSameRoots(std::vector<Complex> got, const json& want, double tol) {
    ASSERT_EQ(got.size(), want.size());
    for (const Complex& w : Points(want)) {
        const auto best = std::min_element(got.begin(), got.end(), [&](Complex a, Complex b) {
            return std::abs(a - w) < std::abs(b - w);
        });
        EXPECT_LT(std::abs(*best - w), tol) << w << " nearest " << *best;
        got.erase(best);
    }
}

// The roots against numpy.roots (tests/data/tools/make_pole_zero_reference.py):
// a Chebyshev II band-pass as the tool designs it, scipy's sections of two
// designs, and rows by hand with a first-order section, a missing b0 and
// repeated roots. Tolerances are stored per case: 1e-9 for simple roots, 1e-6
// where roots repeat (they move by about the square root of the rounding).
// The tool's JSON for that band-pass carries numpy's roots within 1e-9.
TEST(DesignTool, SectionRootsMatchNumpy) {
    const json reference =
        json::parse(ReadFile(std::string(RZF_TOOL_DATA_DIR) + "/tools/pole_zero_reference.json"));
    for (const auto& c : reference["cases"]) {
        SCOPED_TRACE(c["name"].get<std::string>());
        std::vector<double> rows;
        for (const auto& row : c["rows"]) {
            for (const auto& v : row) {
                rows.push_back(v.get<double>());
            }
        }
        const rzft::SectionRoots r = rzft::RootsOfSections(rows);
        ExpectSameRoots(r.poles, c["poles"], c["tolerance"].get<double>());
        ExpectSameRoots(r.zeros, c["zeros"], c["tolerance"].get<double>());
        EXPECT_EQ(r.zerosAtInfinity, c["zeros_at_infinity"].get<int>());
    }
    const json j =
        DesignJson("--no-files -m cheby2 -b bandpass --fs 1000 --f1 50 --f2 80 --f3 120 --f4 150",
                   FreshDir("design_roots"));
    const json& ref = reference["cases"][0];
    ExpectSameRoots(Points(j["poles"]), ref["poles"], 1e-9);
    ExpectSameRoots(Points(j["zeros"]), ref["zeros"], 1e-9);
    const std::vector<Complex> poles = Points(ref["poles"]);
    const double largest =
        std::abs(*std::max_element(poles.begin(), poles.end(),
                                   [](Complex a, Complex b) { return std::abs(a) < std::abs(b); }));
    EXPECT_NEAR(j["section_pole_radius"].get<double>(), largest, 1e-9);
    EXPECT_NEAR(j["pole_radius"].get<double>(), largest, 1e-7);  // stable: the same poles
}

// A band-pass whose transfer function has a pole outside the unit circle:
// the JSON gives the library's radius; filter --sections runs the JSON's
// sections, agreeing with them run here in double precision (direct form I)
// within 1e-5 of the peak.
TEST(DesignTool, UnstableTransferFunctionIsFilteredAsSections) {
    const std::string spec = " -b bandpass --fs 10000 --f1 90 --f2 100 --f3 110 --f4 120";
    FilterUser user;
    user.setFilterParameter(BAND_BANDPASS, DM_BUTTERWORTH, 90, 100, 110, 120, 10000, 51, 0.3, 40,
                            0);
    ASSERT_TRUE(user.DesignFilter());
    ASSERT_GE(user.GetPoleRadius(), 1.0);
    const std::string dir = FreshDir("design_unstable");
    const json j = DesignJson("--no-files" + spec, dir);
    EXPECT_EQ(j["pole_radius"].get<double>(), user.GetPoleRadius());
    EXPECT_LT(j["section_pole_radius"].get<double>(), 1.0);
    std::vector<float> out(200000), in = TestSignal(1, 200000, 1000.0);
    WriteFile(dir + "/in.f32", ToBytes(in));
    const RunResult ran = RunTool("filter in.f32 out.f32 -c 1 --sections" + spec, dir);
    ASSERT_EQ(ran.exitCode, 0) << ran.err;
    const std::string bytes = ReadFile(dir + "/out.f32");
    ASSERT_EQ(bytes.size(), in.size() * 4);
    std::memcpy(out.data(), bytes.data(), bytes.size());
    std::vector<double> want(in.begin(), in.end());
    for (const auto& s : j["sections"]) {
        const double b0 = s[0], b1 = s[1], b2 = s[2], a1 = s[4], a2 = s[5];
        double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;
        for (double& v : want) {
            const double y = b0 * v + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
            x2 = x1, x1 = v, y2 = y1, y1 = y, v = y;
        }
    }
    double peak = 0.0, worst = 0.0;
    for (size_t i = 0; i < out.size(); ++i) {
        peak = std::max(peak, std::fabs(want[i]));
        worst = std::max(worst, std::isfinite(out[i]) ? std::fabs(out[i] - want[i]) : HUGE_VAL);
    }
    EXPECT_GT(peak, 10.0);
    EXPECT_LT(worst, 1e-5 * peak);
}

// Every message the designer can give has an English gloss: the twelve
// validation messages and the order message (GBK bytes written by a script
// from the texts), and the order message as the library gives it; other text
// has none.
TEST(DesignTool, EveryLibraryMessageHasAGloss) {
    std::ifstream list(std::string(RZF_TOOL_DATA_DIR) + "/filter/messages_gbk.txt");
    int count = 0;
    for (std::string key, length, hex, gbk; list >> key >> length >> hex; ++count, gbk.clear()) {
        for (size_t i = 0; i + 1 < hex.size(); i += 2) {
            gbk += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
        }
        EXPECT_TRUE(Has(rzft::ShowLibraryMessage(gbk), " (")) << key;  // the gloss follows
        EXPECT_FALSE(rzft::EnglishGloss(gbk).empty()) << key;
    }
    EXPECT_EQ(count, 13);
    FilterUser user;  // the library's default Butterworth low-pass needs order 12
    ASSERT_TRUE(user.DesignFilter());
    EXPECT_TRUE(Has(rzft::EnglishGloss(user.GetErrorMessage()), "order"));
    EXPECT_EQ(rzft::EnglishGloss("not a library message"), "");
}

}  // namespace
