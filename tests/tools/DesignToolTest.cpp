#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "ToolTestSupport.h"

// Reference pi (not every C runtime defines M_PI).
constexpr double kPi = 3.14159265358979323846;

namespace {

using nlohmann::json;
using tooltest::RunTool;

// A specification given both as tool options and as library arguments.
struct SpecCase {
    const char* args;
    int band, method;
    double f1, f2, f3, f4, fs;
    int taps;
    double ripple, atten;
    int window;
};

struct Direct {
    bool accepted = false, stable = false;
    int order = 0;
    std::vector<double> num, den, freq, amp, phase;
    double maxF = 0.0, minDb = 0.0;
};

Direct DesignDirect(const SpecCase& c) {
    FilterUser u;
    u.setFilterParameter(c.band, c.method, c.f1, c.f2, c.f3, c.f4, c.fs, c.taps, c.ripple, c.atten,
                         u.m_dReserved);
    u.setWindowType(c.window);
    Direct d;
    d.accepted = u.DesignFilter();
    d.stable = u.GetIsStability();
    ClassicFilter* f = u.m_pFilter;
    if (!d.accepted || !d.stable || f == nullptr) {
        return d;
    }
    if (c.method <= 2) {
        d.order = u.m_nIIROrder;
        d.num.assign(f->GetNumerator(), f->GetNumerator() + d.order + 1);
        d.den.assign(f->GetDenominator(), f->GetDenominator() + d.order + 1);
    } else {
        d.order = c.method == 3 ? f->m_nLength : f->GetCoefCount();
        d.num.assign(f->GetNumerator(), f->GetNumerator() + d.order);
    }
    if (f->m_pAmplitude != nullptr) {  // the moving average has no response of its own
        u.getUnwrapedPhase();
        u.GetMaxMin();
        const int n = f->m_nRespCount;
        d.freq.assign(f->m_pFreqAxis, f->m_pFreqAxis + n);
        d.amp.assign(f->m_pAmplitude, f->m_pAmplitude + n);
        d.phase.assign(f->m_pPhase, f->m_pPhase + n);
        d.maxF = u.m_dMaxValue;
        d.minDb = u.m_dMinValue;
    }
    return d;
}

json DesignJson(const std::string& args, const std::string& dir, int* exitCode) {
    const tooltest::RunResult r = RunTool("design --json --no-files " + args, dir);
    *exitCode = r.exitCode;
    return json::parse(r.out);
}

// The tool reports exactly what the library designs: same order, the same
// coefficients to the bit, the same axis limits; its response CSV holds the
// library's frequency axis, amplitude and unwrapped phase row for row (the
// moving average, which has no library response, against its closed form).
TEST(DesignTool, OutcomeAndResponseCsvMatchLibrary) {
    const std::vector<SpecCase> cases = {
        {"-m cheby1", 1, 1, 100, 140, 160, 200, 512, 51, 0.3, 40, 0},
        {"-m cheby1 -b bandpass --fs 1000 --f1 50 --f2 100 --f3 200 --f4 250 --ripple 0.5 "
         "--atten 40",
         3, 1, 50, 100, 200, 250, 1000, 51, 0.5, 40, 0},
        {"-m cheby2 -b highpass --fs 1000 --f1 100 --f2 150 --atten 50", 2, 2, 100, 150, 160, 200,
         1000, 51, 0.3, 50, 0},
        {"-b bandstop --fs 1000 --f1 50 --f2 100 --f3 200 --f4 300", 4, 0, 50, 100, 200, 300, 1000,
         51, 0.3, 40, 0},
        {"-m window -w hamming --fs 1000 --f1 100 --taps 31", 1, 3, 100, 140, 160, 200, 1000, 31,
         0.3, 40, 2},
        {"-m average --fs 1000 --taps 4", 1, 5, 100, 140, 160, 200, 1000, 4, 0.3, 40, 0},
    };
    for (const SpecCase& c : cases) {
        SCOPED_TRACE(c.args);
        const std::string dir = tooltest::FreshDir("design_matches");
        const tooltest::RunResult r = RunTool(std::string("design --json -o . ") + c.args, dir);
        const json j = json::parse(r.out);
        const Direct d = DesignDirect(c);
        ASSERT_TRUE(d.accepted && d.stable);
        EXPECT_EQ(r.exitCode, 0);
        EXPECT_TRUE(j.at("accepted").get<bool>());
        EXPECT_TRUE(j.at("stable").get<bool>());
        EXPECT_EQ(j.at("order").get<int>(), d.order);
        EXPECT_EQ(j.at("numerator").get<std::vector<double>>(), d.num);
        EXPECT_EQ(j.at("denominator").get<std::vector<double>>(), d.den);
        EXPECT_TRUE(std::filesystem::exists(dir + "/response.svg"));
        EXPECT_FALSE(std::filesystem::exists(dir + "/response.png"));  // PNG only on request
        const auto rows = tooltest::ReadCsv(dir + "/response.csv");
        if (c.method == 5) {
            // Hand-derived: a moving average of 4 taps is 4 coefficients of 1/4,
            // |H(f)| = |sin(4x) / (4 sin x)| with x = pi f / fs on 2048 points
            // up to fs/2, an axis rounded up to 500 Hz.
            EXPECT_EQ(d.num, (std::vector<double>{0.25, 0.25, 0.25, 0.25}));
            EXPECT_EQ(j.at("response").at("axis_max_frequency_hz").get<double>(), 500.0);
            ASSERT_EQ(rows.size(), 2048u);
            for (size_t i = 0; i < rows.size(); ++i) {
                const double freq = static_cast<double>(i) * 500.0 / 2048;
                const double x = kPi * freq / 1000.0;
                const double h = i == 0 ? 1.0 : std::fabs(std::sin(4 * x) / (4 * std::sin(x)));
                EXPECT_NEAR(rows[i][0], freq, 1e-9);
                // Exact zeros are drawn at a -200 dB floor.
                EXPECT_NEAR(rows[i][1], std::max(20 * std::log10(h), -200.0), 1e-9) << i;
            }
            continue;
        }
        EXPECT_EQ(j.at("response").at("axis_max_frequency_hz").get<double>(), d.maxF);
        EXPECT_EQ(j.at("response").at("axis_min_amplitude_db").get<double>(), d.minDb);
        ASSERT_EQ(rows.size(), d.freq.size());
        for (size_t i = 0; i < rows.size(); ++i) {
            ASSERT_EQ(rows[i], (std::vector<double>{d.freq[i], d.amp[i], d.phase[i]})) << i;
        }
    }
}

struct Refusal {
    const char* args;
    bool accepted;  // validation passed, but the design is unusable
    const char* utf8;
    const char* english;  // a word the gloss must hold
};

// Refused specifications: the library's message reaches the user as UTF-8
// (no raw GBK bytes anywhere on the terminal), the exit status is non-zero
// and no file is written.
TEST(DesignTool, RefusalShowsUtf8MessageAndWritesNothing) {
    const std::vector<Refusal> refusals = {
        {"--atten 10", false, "阻带衰减范围20-160dB！", "between 20 and 160 dB"},
        {"--f1 150 --f2 140", false, "阻带边界频率应大于通带边界频率！", "stop-band edge f2"},
        {"-m average --fs 512 --f1 201", false, "输入的频率应小于等于采样频率/2.56！",
         "sampling rate / 2.56"},
        {"-b bandpass --f1 100 --f2 90 --f3 150 --f4 190", false,
         "通带下边界频率应大于阻带下边界频率！", "lower pass-band edge f2"},
        {"--fs 0", false, "输入值必须大于0！", "greater than 0"},
        // The library's default Butterworth low-pass (fs 512, 100/140 Hz,
        // 0.3/40 dB) estimates 0.5 * log10(x2 / x1) / log10(1 / k) + 0.9 with
        // k = tan(100 pi / 512) / tan(140 pi / 512) = 0.607, about 12.8, so
        // order 12, above the low-pass limit of 10.
        {"", true, "阶数太大，滤波器不稳定，返回", "outside the designer's range"},
    };
    for (const Refusal& ref : refusals) {
        SCOPED_TRACE(ref.utf8);
        const std::string dir = tooltest::FreshDir("design_refused");
        const tooltest::RunResult r = RunTool(std::string("design -o out --png ") + ref.args, dir);
        EXPECT_EQ(r.exitCode, 1);
        // The original message, then its English gloss in parentheses.
        const size_t at = r.err.find(ref.utf8);
        EXPECT_NE(at, std::string::npos) << r.err;
        EXPECT_NE(r.err.find(std::string(ref.utf8) + " ("), std::string::npos) << r.err;
        EXPECT_GT(r.err.find(ref.english), at) << r.err;
        EXPECT_TRUE(tooltest::IsUtf8(r.err)) << r.err;
        EXPECT_TRUE(tooltest::IsUtf8(r.out)) << r.out;
        if (std::filesystem::exists(dir + "/out")) {
            EXPECT_EQ(tooltest::ListDir(dir + "/out"), std::vector<std::string>{});
        }

        int code = -1;
        const json j = DesignJson(ref.args, dir, &code);
        EXPECT_EQ(code, 1);
        EXPECT_EQ(j.at("accepted").get<bool>(), ref.accepted);
        EXPECT_FALSE(j.at("stable").get<bool>());
        EXPECT_EQ(j.at("message").get<std::string>(), ref.utf8);
        EXPECT_NE(j.at("message_en").get<std::string>().find(ref.english), std::string::npos);
    }
}

// Kaiser design through the per-sample engine's static design function.
TEST(DesignTool, KaiserMatchesLibraryAndRefusesBadEdges) {
    const std::string dir = tooltest::FreshDir("design_kaiser");
    int code = -1;
    json j = DesignJson("-m kaiser --fs 1000 --f1 100 --f2 150 --atten 60", dir, &code);
    EXPECT_EQ(code, 0);
    double* taps = nullptr;
    const int n = CFilter::DesignFilter(taps, 1000.0f, 1, 100.0f, 150.0f, 160.0f, 200.0f, 60);
    ASSERT_GT(n, 0);
    EXPECT_EQ(j.at("numerator").get<std::vector<double>>(), std::vector<double>(taps, taps + n));
    delete[] taps;

    // 60 dB over a transition of 0.1: n = trunc(52.05 / 1.436 + 1) = 37, so
    // 2 * 37 + 1 = 75 taps.
    tooltest::RunResult r =
        RunTool("kaiser --json --no-files --fs 1000 --f1 100 --atten 60 --transition 0.1", dir);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    j = json::parse(r.out);
    EXPECT_EQ(j.at("order").get<int>(), 75);
    EXPECT_EQ(j.at("numerator").size(), 75u);

    r = RunTool("kaiser -o k --fs 1000 --f1 150 --f2 100", dir);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("wrong order"), std::string::npos) << r.err;
    EXPECT_FALSE(std::filesystem::exists(dir + "/k/response.svg"));
}

}  // namespace
