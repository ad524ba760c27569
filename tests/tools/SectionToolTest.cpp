#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "PoleZero.h"
#include "ToolTestSupport.h"

namespace {

using Complex = std::complex<double>;
using tooltest::RunTool;

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::vector<Complex> Points(const nlohmann::json& list) {
    std::vector<Complex> out;
    for (const auto& p : list) {
        out.emplace_back(p[0].get<double>(), p[1].get<double>());
    }
    return out;
}

// Every reference root has its own computed root within tol (greedy nearest
// match, so repeated roots must appear as often as in the reference).
void ExpectSameRoots(const std::vector<Complex>& got, const std::vector<Complex>& want,
                     double tol) {
    ASSERT_EQ(got.size(), want.size());
    std::vector<bool> used(got.size(), false);
    for (const Complex& w : want) {
        size_t best = got.size();
        for (size_t i = 0; i < got.size(); ++i) {
            if (!used[i] &&
                (best == got.size() || std::abs(got[i] - w) < std::abs(got[best] - w))) {
                best = i;
            }
        }
        ASSERT_LT(best, got.size());
        EXPECT_LT(std::abs(got[best] - w), tol) << w << " nearest " << got[best];
        used[best] = true;
    }
}

nlohmann::json Reference() {
    return nlohmann::json::parse(
        tooltest::ReadFile(std::string(RZF_TOOL_DATA_DIR) + "/tools/pole_zero_reference.json"));
}

// The diagram's roots against numpy.roots (tests/data/tools/
// make_pole_zero_reference.py): sections of scipy designs, hand-made rows
// with a first-order section, a missing b0 and repeated roots. Tolerances are
// stored per case: 1e-9 for simple roots, 1e-6 where roots are repeated
// (they move by about the square root of the rounding).
TEST(SectionTool, SectionRootsMatchNumpy) {
    const nlohmann::json reference = Reference();
    for (const auto& c : reference["cases"]) {
        SCOPED_TRACE(c["name"].get<std::string>());
        std::vector<double> rows;
        for (const auto& row : c["rows"]) {
            for (const auto& v : row) {
                rows.push_back(v.get<double>());
            }
        }
        const rzft::SectionRoots r = rzft::RootsOfSections(rows);
        const double tol = c["tolerance"].get<double>();
        ExpectSameRoots(r.poles, Points(c["poles"]), tol);
        ExpectSameRoots(r.zeros, Points(c["zeros"]), tol);
        EXPECT_EQ(r.zerosAtInfinity, c["zeros_at_infinity"].get<int>());
    }
}

// The tool's JSON for the design whose sections the reference took: its
// poles and zeros are numpy's, within 1e-9 (as a set, so a different pairing
// of the same roots into sections would still pass).
TEST(SectionTool, DesignJsonPolesAndZerosMatchNumpy) {
    const std::string dir = tooltest::FreshDir("sections_numpy");
    const tooltest::RunResult r = RunTool(
        "design --json --no-files -m cheby2 -b bandpass --fs 1000 --f1 50 --f2 80 "
        "--f3 120 --f4 150",
        dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    const nlohmann::json reference = Reference();
    const nlohmann::json& ref = reference["cases"][0];
    ExpectSameRoots(Points(j["poles"]), Points(ref["poles"]), 1e-9);
    ExpectSameRoots(Points(j["zeros"]), Points(ref["zeros"]), 1e-9);
    EXPECT_TRUE(j["transfer_function_stable"].get<bool>());
    double largest = 0.0;
    for (const Complex& p : Points(ref["poles"])) {
        largest = std::max(largest, std::abs(p));
    }
    EXPECT_NEAR(j["section_pole_radius"].get<double>(), largest, 1e-9);
    // Stable here, so the transfer function has the same poles.
    EXPECT_NEAR(j["pole_radius"].get<double>(), largest, 1e-7);
}

struct UnstableCase {
    const char* spec;
    int band, method;
    double fs, f1, f2, f3, f4, ripple, atten;
};

// Designs whose single transfer function has a pole outside the unit circle
// (seen on a 360 Hz ECG and at 10 kHz), with the library's own radius as the
// reference for what the tool prints.
const std::vector<UnstableCase>& UnstableCases() {
    static const std::vector<UnstableCase> cases = {
        {"-b bandpass --fs 360 --f1 0.1 --f2 0.5 --f3 40 --f4 60 --ripple 1 --atten 30", 3, 0,
         360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0},
        {"-b bandpass --fs 10000 --f1 90 --f2 100 --f3 110 --f4 120", 3, 0, 10000.0, 90.0, 100.0,
         110.0, 120.0, 0.3, 40.0},
        {"-b bandstop --fs 10000 --f1 9 --f2 10 --f3 11 --f4 12", 4, 0, 10000.0, 9.0, 10.0, 11.0,
         12.0, 0.3, 40.0},
        {"-m cheby1 -b bandpass --fs 10000 --f1 45 --f2 50 --f3 52 --f4 57", 3, 1, 10000.0, 45.0,
         50.0, 52.0, 57.0, 0.3, 40.0},
    };
    return cases;
}

struct LibraryDesign {
    double radius;
    int sections;
};

LibraryDesign Library(const UnstableCase& c) {
    FilterUser user;
    user.setFilterParameter(c.band, c.method, c.f1, c.f2, c.f3, c.f4, c.fs, 51, c.ripple, c.atten,
                            10.0);
    user.DesignFilter();
    return {user.GetPoleRadius(), user.GetSectionCount()};
}

double PrintedValue(const std::string& text, const std::string& label) {
    const size_t at = text.find(label);
    return at == std::string::npos ? NAN : std::strtod(text.c_str() + at + label.size(), nullptr);
}

// design prints the radius and says in plain words that the transfer function
// is unstable and the sections are not; JSON carries the same.
TEST(SectionTool, DesignExplainsAnUnstableTransferFunction) {
    for (const UnstableCase& c : UnstableCases()) {
        SCOPED_TRACE(c.spec);
        const LibraryDesign lib = Library(c);
        ASSERT_GE(lib.radius, 1.0);
        ASSERT_GT(lib.sections, 0);
        const std::string dir = tooltest::FreshDir("sections_design");
        const tooltest::RunResult text = RunTool(std::string("design --no-files ") + c.spec, dir);
        EXPECT_EQ(text.exitCode, 0) << text.err;
        // Printed with 9 significant digits.
        EXPECT_NEAR(PrintedValue(text.out, "Pole radius: "), lib.radius, 1e-8 * lib.radius);
        const double sectionRadius = PrintedValue(text.out, "Section pole radius: ");
        EXPECT_LT(sectionRadius, 1.0);
        EXPECT_TRUE(Has(text.out,
                        "the transfer function is unstable, the second-order sections "
                        "are stable"))
            << text.out;
        EXPECT_TRUE(Has(text.out, "The transfer function B(z)/A(z) is unstable")) << text.out;
        EXPECT_TRUE(Has(text.out, "rzfilter filter --sections")) << text.out;
        EXPECT_FALSE(Has(text.out, "accepted, stable")) << text.out;

        const tooltest::RunResult json =
            RunTool(std::string("design --json --no-files ") + c.spec, dir);
        EXPECT_EQ(json.exitCode, 0);
        EXPECT_TRUE(Has(json.err, "filter this design with --sections")) << json.err;
        const nlohmann::json j = nlohmann::json::parse(json.out);
        EXPECT_EQ(j["pole_radius"].get<double>(), lib.radius);
        EXPECT_FALSE(j["transfer_function_stable"].get<bool>());
        EXPECT_EQ(j["sections"].size(), static_cast<size_t>(lib.sections));
        EXPECT_EQ(j["sections"][0].size(), 6u);
        EXPECT_NEAR(j["section_pole_radius"].get<double>(), sectionRadius, 1e-8);
        EXPECT_TRUE(Has(j["explanation"].get<std::string>(), "--sections"));
    }
}

// Runs the JSON's sections over x in double precision (direct form I, one
// state per section), rounding each output to float once.
std::vector<float> Cascade(const nlohmann::json& sections, const std::vector<float>& x) {
    std::vector<double> y(x.begin(), x.end());
    for (const auto& s : sections) {
        const double b0 = s[0], b1 = s[1], b2 = s[2], a1 = s[4], a2 = s[5];
        double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;
        for (double& v : y) {
            const double out = b0 * v + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
            x2 = x1, x1 = v, y2 = y1, y1 = out;
            v = out;
        }
    }
    return std::vector<float>(y.begin(), y.end());
}

// filter refuses such a design without --sections (exit 1, no output file,
// the explanation on stderr); with --sections a million samples of a noisy
// multi-tone come out finite and agree with the sections run in double
// precision by the test: within 1e-5 of the output's peak (float rounding of
// the input and output, and the kernels' own order of operations).
TEST(SectionTool, FilterRefusesUnlessSectionsAndSectionsStayFinite) {
    constexpr int kFrames = 1000000;
    const std::vector<float> input = tooltest::TestSignal(1, kFrames, 1000.0);
    for (const UnstableCase& c : UnstableCases()) {
        SCOPED_TRACE(c.spec);
        const std::string dir = tooltest::FreshDir("sections_filter");
        tooltest::WriteFile(dir + "/in.f32", tooltest::ToBytes(input));
        const tooltest::RunResult refused =
            RunTool(std::string("filter in.f32 out.f32 -c 1 ") + c.spec, dir);
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_FALSE(std::filesystem::exists(dir + "/out.f32"));
        EXPECT_TRUE(Has(refused.err,
                        "specification refused: The transfer function B(z)/A(z) is "
                        "unstable"))
            << refused.err;
        EXPECT_TRUE(Has(refused.err, "--sections")) << refused.err;

        const tooltest::RunResult ran =
            RunTool(std::string("filter in.f32 out.f32 -c 1 --sections ") + c.spec, dir);
        ASSERT_EQ(ran.exitCode, 0) << ran.err;
        EXPECT_EQ(ran.err, "");
        const std::string bytes = tooltest::ReadFile(dir + "/out.f32");
        ASSERT_EQ(bytes.size(), input.size() * sizeof(float));
        std::vector<float> out(input.size());
        std::memcpy(out.data(), bytes.data(), bytes.size());

        const tooltest::RunResult json =
            RunTool(std::string("design --json --no-files ") + c.spec, dir);
        const std::vector<float> want = Cascade(nlohmann::json::parse(json.out)["sections"], input);
        double peak = 0.0;
        for (float v : want) {
            peak = std::max(peak, std::fabs(static_cast<double>(v)));
        }
        ASSERT_GT(peak, 0.0);
        size_t nonFinite = 0;
        double worst = 0.0;
        for (size_t i = 0; i < out.size(); ++i) {
            nonFinite += !std::isfinite(out[i]);
            worst = std::max(worst, std::fabs(static_cast<double>(out[i]) - want[i]));
        }
        EXPECT_EQ(nonFinite, 0u);
        EXPECT_LT(worst, 1e-5 * peak);
    }
}

// For designs of moderate order (up to 12 here) the sections describe the same filter as the
// transfer function whose response the library writes to the CSV: the
// product of the JSON's sections, evaluated here on the CSV's frequencies and
// normalised to its peak as the library normalises, matches the CSV within
// 1e-6 dB wherever the gain is above -120 dB.
TEST(SectionTool, JsonSectionsMatchTheResponseCsv) {
    for (const char* spec :
         {"-m cheby1 --fs 1000 --f1 100 --f2 150",
          "-m butterworth -b highpass --fs 1000 --f1 100 --f2 200",
          "-m cheby2 -b bandstop --fs 1000 --f1 100 --f2 150 --f3 200 --f4 250"}) {
        SCOPED_TRACE(spec);
        const std::string dir = tooltest::FreshDir("sections_response");
        const tooltest::RunResult r = RunTool(std::string("design --json -o . ") + spec, dir);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        const nlohmann::json j = nlohmann::json::parse(r.out);
        EXPECT_LE(j["order"].get<int>(), 12);
        const auto rows = tooltest::ReadCsv(dir + "/response.csv");
        ASSERT_FALSE(rows.empty());
        const double pi = 4.0 * std::atan(1.0);
        std::vector<double> gain;
        double peak = 0.0;
        for (const auto& row : rows) {
            const Complex z = std::polar(1.0, -2.0 * pi * row[0] / 1000.0);  // z^-1
            Complex h(1.0, 0.0);
            for (const auto& s : j["sections"]) {
                const Complex num =
                    s[0].get<double>() + z * (s[1].get<double>() + z * s[2].get<double>());
                const Complex den =
                    s[3].get<double>() + z * (s[4].get<double>() + z * s[5].get<double>());
                h *= num / den;
            }
            gain.push_back(std::abs(h));
            peak = std::max(peak, std::abs(h));
        }
        int compared = 0;
        for (size_t i = 0; i < rows.size(); ++i) {
            if (rows[i][1] > -120.0) {
                EXPECT_NEAR(20.0 * std::log10(gain[i] / peak), rows[i][1], 1e-6) << rows[i][0];
                ++compared;
            }
        }
        EXPECT_GT(compared, 1000);
    }
}

}  // namespace
