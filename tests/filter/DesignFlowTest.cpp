// FilterUser's design front end: the request checks and their GBK messages,
// hostile requests, the design factory and the response display.
#include <gtest/gtest.h>

#include <RZFilterFunc/filter/AverageFilter.h>
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/fir/WindowsFilter.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "HardwareFlagGuard.h"
#include "RZFilterFunc/filter/ResponseDisplay.h"
#include "ReferenceData.h"
#include "TraceCapture.h"

namespace {

using Doubles = std::vector<double>;
using Lines = std::vector<std::string>;
const double kPi = 3.14159265358979323846;

class TestableFilterUser : public FilterUser {
public:
    using FilterUser::JudgeIsValidData;
};

// GBK bytes of the messages by key, from tests/data/filter/gen_messages.py
// (lines of key, byte count, hexadecimal bytes).
const std::map<std::string, std::string>& Messages() {
    static const std::map<std::string, std::string> messages = [] {
        std::map<std::string, std::string> m;
        for (const rzf::test::Fields& f : rzf::test::ReadFieldLines("filter/messages_gbk.txt")) {
            std::string& bytes = m[f.at(0)];
            for (std::size_t i = 0; i + 1 < f.at(2).size(); i += 2) {
                bytes.push_back(static_cast<char>(std::stoi(f[2].substr(i, 2), nullptr, 16)));
            }
            EXPECT_EQ(bytes.size(), std::stoul(f[1])) << f[0];
        }
        return m;
    }();
    return messages;
}

// Changes to the defaults m(ethod) 0, b(and) 1, fs 512, f1..f4 100/140/160/200,
// r(ipple) 0.3, a(ttenuation) 40, n (order or taps) 8 and hw (hardware flag) 0,
// and the key of the message expected: empty for a usable design, "order" for
// one the design refuses, any other for a refusal by the checks. One row per
// check.
struct RequestCase {
    const char* changes;
    const char* message;
};

std::ostream& operator<<(std::ostream& os, const RequestCase& c) {
    return os << '"' << c.changes << "\" -> \"" << c.message << '"';
}

const RequestCase kRequestCases[] = {
    {"", "order"},  // Butterworth order 11.9 -> 12, above the low-pass limit of 10
    // Moving average: fs and f1 positive, f1 <= fs/2.56 whatever the flag, nothing else.
    {"m=5 fs=0", "positive"},
    {"m=5 f1=0", "positive"},
    {"m=5 f1=200", ""},
    {"m=5 f1=201 hw=1", "fs256"},
    {"m=5 b=3 f2=-5 f3=0 f4=0 r=-1 a=0", ""},
    // IIR attenuation 20..160 inclusive, checked before positivity.
    {"m=2 fs=0 a=0", "atten"},
    {"m=1 a=160.1", "atten"},
    {"r=3 a=20", ""},                // order 4.6 -> 5
    {"m=2 f1=50 f2=200 a=160", ""},  // order 7.2 -> 8
    // Positivity of every value (NaN fails), FIR included, without the attenuation range.
    {"m=1 f1=nan", "positive"},
    {"b=2 f4=-1", "positive"},
    {"r=0", "positive"},
    {"m=3 a=0", "positive"},
    {"m=3 a=500", ""},
    // IIR edge order per band type; the first failing pair decides.
    {"f1=140", "lowpass"},
    {"b=2 f1=150", "highpass"},
    {"b=3 f1=140 f3=200", "bp_lower"},
    {"m=1 b=3 f2=170 f4=160", "bp_upper"},
    {"m=2 b=3 f2=160", "pass_order"},
    {"b=4 f1=150 f3=200", "bs_lower"},
    {"b=4 f3=200 f4=190", "bs_upper"},
    {"b=4 f2=170", "stop_order"},
    {"b=0 f1=300 f2=200.001 f4=50", "fs256"},  // no order rules; f2 is the highest used
    // Highest used edge: f2 (IIR low/high-pass), f4 (IIR band); equality passes.
    {"f2=200", ""},
    {"f2=200.001", "fs256"},
    {"m=1 b=3 f4=256 hw=1", ""},
    {"m=1 b=2 f2=256.001 f3=300 f4=400 hw=1", "fs20"},
    {"b=3 f4=200.001", "fs256"},
    // Window FIR: only f1 < f2 for band filters; the limit applies to f1 or f2.
    {"m=3 b=4 f1=50 f2=50", "pass_order"},
    {"m=3 f1=150 f3=100 f4=50", ""},
    {"m=3 f2=1000", ""},
    {"m=3 b=2 f1=200.001 f2=1000", "fs256"},
    {"m=3 b=3 f2=200.001 f4=150", "fs256"},
    {"m=3 b=3 f4=1000", ""},
    {"m=3 f1=256.001 f2=1000 hw=1", "fs20"},
    // No filter class: refused quietly. 4 orders edges like IIR and limits like
    // FIR; negative codes count as IIR, codes above 5 as FIR.
    {"m=4 f1=150 a=5", "lowpass"},
    {"m=4 f2=300", ""},
    {"m=-1 a=10", "atten"},
    {"m=2147483647 b=3 f1=150 a=10", "pass_order"},
    // Huge rates overflow the design arithmetic (tan of a vanishing angle),
    // tiny ones do not (only ratios matter).
    {"fs=1e308", "order"},
    {"m=1 fs=1e308", "order"},
    {"m=1 b=2 fs=1e308", "order"},
    {"m=2 fs=1e308", "order"},
    {"m=2 b=2 fs=1e308", "order"},
    {"fs=1e-300 f1=1e-302 f2=2e-302 f3=3e-302 f4=4e-302", ""},
    // Tap counts: the bound 2^21 + 1 passes, one more is refused; below one is one tap.
    {"m=5 n=2097153", ""},
    {"m=5 n=2097154", "order"},
    {"m=5 n=-2147483648", ""},
    {"m=3 n=2097154", "order"},
    {"m=3 b=3 n=2147483647", "order"},
    {"m=3 b=5 n=20", ""}};  // no ideal response: zero taps

std::map<std::string, double> CaseParameters(const RequestCase& c) {
    std::map<std::string, double> p = {{"m", 0},    {"b", 1},    {"fs", 512}, {"f1", 100},
                                       {"f2", 140}, {"f3", 160}, {"f4", 200}, {"r", 0.3},
                                       {"a", 40},   {"n", 8},    {"hw", 0}};
    std::istringstream items(c.changes);
    for (std::string item; items >> item;) {
        p.at(item.substr(0, item.find('='))) = std::stod(item.substr(item.find('=') + 1));
    }
    return p;
}

bool AllFinite(const double* v, int n) {
    return std::all_of(v, v + n, [](double x) { return std::isfinite(x); });
}

}  // namespace

class DesignRequest : public ::testing::TestWithParam<RequestCase> {};

// The first failing check decides the message, which the designer traces; a
// design it refuses reports the order message untraced.
TEST_P(DesignRequest, GetsItsOutcome) {
    auto p = CaseParameters(GetParam());
    const HardwareFlagGuard flag(p["hw"] != 0);
    const std::string key = GetParam().message;
    const std::string expect = key.empty() ? "" : Messages().at(key);
    const bool checked = key.empty() || key == "order";  // passes the checks
    TestableFilterUser user;
    const int method = static_cast<int>(p["m"]);
    user.setFilterParameter(static_cast<int>(p["b"]), method, p["f1"], p["f2"], p["f3"], p["f4"],
                            p["fs"], static_cast<int>(p["n"]), p["r"], p["a"], 0.0);
    TraceCapture trace;
    if (method < DM_BUTTERWORTH || method > DM_AVERAGE || method == DM_RESERVED) {
        EXPECT_FALSE(user.DesignFilter());
        EXPECT_EQ(user.m_pFilter, nullptr);
        EXPECT_EQ(trace.Lines(), Lines{});
        user.GetNewFilter(DM_AVERAGE);  // the checks alone, with a stand-in
        EXPECT_EQ(user.JudgeIsValidData(), checked);
        EXPECT_EQ(user.GetErrorMessage(), expect);
        return;
    }
    EXPECT_EQ(user.DesignFilter(), checked);
    EXPECT_EQ(trace.Lines(), checked ? Lines{} : Lines{expect});
    EXPECT_EQ(user.GetErrorMessage(), expect);
    ASSERT_EQ(user.GetIsStability(), key.empty());
    if (key.empty()) {  // a usable design holds finite coefficients only
        ClassicFilter* f = user.m_pFilter;
        const bool iir = method <= DM_CHEBYSHEV2;
        const int n = iir ? user.m_nIIROrder + 1 : std::max(f->m_nLength, f->GetCoefCount());
        EXPECT_TRUE(AllFinite(f->GetNumerator(), n));
        if (iir) {
            EXPECT_TRUE(AllFinite(f->GetDenominator(), n));
        }
        return;
    }
    // Exact-size buffers, so AddressSanitizer sees any access past them.
    constexpr int kCount = 64;
    auto in = std::make_unique<float[]>(kCount);
    auto out = std::make_unique<float[]>(kCount);
    std::fill(in.get(), in.get() + kCount, 1.0f);
    std::fill(out.get(), out.get() + kCount, 12345.0f);
    user.FilterData(in.get(), out.get(), kCount);
    EXPECT_EQ(std::count(out.get(), out.get() + kCount, 12345.0f), kCount);
}

INSTANTIATE_TEST_SUITE_P(Requests, DesignRequest, ::testing::ValuesIn(kRequestCases));

// Window codes 0, 1, 2, 4 and 5 pass through; any other gives the rectangular window.
TEST(DesignFlow, WindowCodesReachTheWindowDesign) {
    FilterUser u;
    for (const auto& [code, window] :
         {std::pair{-1, 0}, {1, 1}, {2, 2}, {3, 0}, {4, 4}, {5, 5}, {6, 0}}) {
        u.setWindowType(code);
        u.GetNewFilter(DM_WINDOW_FIR);
        EXPECT_EQ(static_cast<WindowsFilter*>(u.m_pFilter)->m_nWindowType, window) << code;
    }
}

// A reset forgets the response arrays without freeing them: a pointer a
// caller took earlier stays readable until the filter is destroyed.
TEST(DesignFlow, ResetKeepsEarlierResponseArraysReadable) {
    AverageFilter f;
    f.m_pPhase = new double[3]{0.0, -0.5, -1.0};
    const double* phase = f.m_pPhase;
    f.ResetDesign();
    EXPECT_EQ(f.m_pPhase, nullptr);
    EXPECT_EQ(phase[2], -1.0);
}

// Hand-unwrapped; a drop of exactly pi/2 stays, a second pass finds nothing,
// and the most negative count is no points (not a long loop).
TEST(ResponseAnalysis, UnwrapRemovesJumpsOfPi) {
    const std::pair<Doubles, Doubles> cases[] = {
        {{1.4, -1.4}, {1.4, -1.4 + kPi}},
        {{-1.4, 1.4}, {-1.4, 1.4 - kPi}},
        {{1.5, -1.5, 1.4, -1.2}, {1.5, -1.5 + kPi, 1.4, -1.2 + kPi}},
        {{kPi / 2, 0.0}, {kPi / 2, 0.0}},
    };
    for (const auto& [in, out] : cases) {
        Doubles phase = in;
        for (int pass = 0; pass < 2; ++pass) {
            rzf::UnwrapPhase(phase.data(), static_cast<int>(phase.size()));
            for (std::size_t i = 0; i < out.size(); ++i) {
                EXPECT_NEAR(phase[i], out[i], 1e-12) << in[0] << " at " << i;
            }
        }
        rzf::UnwrapPhase(phase.data(), INT_MIN);
    }
}

// Truncation, then outward rounding to multiples of 50; no frequencies give an
// upper limit 0. A zero (-inf dB) goes through the 32-bit arithmetic without
// trapping: INT32_MIN rounds to -2147483650, which wraps to 2147483646.
TEST(ResponseAnalysis, AxisLimits) {
    const struct {
        double lowest, highest, minValue, maxValue;
    } cases[] = {{-73.6, 256.0, -100, 300},
                 {-100.0, 250.0, -100, 250},
                 {-50.7, 250.9, -50, 250},
                 {-0.4, -1.0, 0, 0},
                 {-std::numeric_limits<double>::infinity(), 10.0, 2147483646.0, 50}};
    for (const auto& c : cases) {
        const Doubles amplitude = {0.0, c.lowest, c.lowest / 2};
        const Doubles freq = {0.0, c.highest / 2, c.highest};
        const rzf::AxisLimits limits =
            rzf::ComputeAxisLimits(amplitude.data(), c.highest < 0 ? nullptr : freq.data(), 3);
        EXPECT_EQ((Doubles{limits.minValue, limits.maxValue}), (Doubles{c.minValue, c.maxValue}))
            << c.lowest << " " << c.highest;
    }
}

// The order argument is also the target's tap count; the source's own tap
// count is not copied. The moving average has no amplitude response, which
// GetMaxMin marks unusable.
TEST(ResponseAnalysis, InitDesDesignsTheSourceRequestInTheTarget) {
    FilterUser source, target;
    source.setFilterParameter(BAND_HIGHPASS, DM_AVERAGE, 100, 0, 0, 0, 512, 4, 0.2, 30, 7.5);
    source.m_nFIRLength = 99;
    source.setWindowType(2);
    target.m_bFirstInput = false;
    target.m_dMaxValue = 123.0;
    source.InitDes(target);
    ASSERT_NE(target.m_pFilter, nullptr);
    EXPECT_EQ((Doubles{double(target.m_nBandType), double(target.m_nWindowType),
                       target.m_dPassRipple, target.m_dStopAtten, target.m_dReserved,
                       double(target.m_bFirstInput), double(target.m_pFilter->GetCoefCount())}),
              (Doubles{BAND_HIGHPASS, 2, 0.2, 30, 7.5, 1, 4}));
    EXPECT_EQ(target.m_dMaxValue, 0.0);
    EXPECT_FALSE(target.GetIsStability());
    EXPECT_EQ(source.m_pFilter, nullptr);
}

TEST(ResponseAnalysis, InitDesSkipsTheAxisLimitsOfARefusal) {
    FilterUser source, target;
    source.setFilterParameter(BAND_HIGHPASS, DM_AVERAGE, 0, 0, 0, 0, 512, 4, 0.2, 30, 7.5);
    TraceCapture trace;
    target.m_dMaxValue = 123.0;
    source.InitDes(target);
    EXPECT_EQ(target.m_dMaxValue, 123.0);
    EXPECT_EQ(target.GetErrorMessage(), Messages().at("positive"));
}
