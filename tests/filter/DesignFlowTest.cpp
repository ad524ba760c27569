// FilterUser's design front end: the request checks and their GBK messages,
// hostile specifications, the design factory and the response display.
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
#include "ReferenceData.h"
#include "TraceCapture.h"

namespace {

using Doubles = std::vector<double>;
using Lines = std::vector<std::string>;
const double kPi = 3.14159265358979323846;
const double kInf = std::numeric_limits<double>::infinity();

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
// r(ipple) 0.3, a(ttenuation) 40, hw (hardware flag) 0, and the key of the
// message expected (empty: the request passes). One row per check.
struct ValidationCase {
    const char* changes;
    const char* message;
};

std::ostream& operator<<(std::ostream& os, const ValidationCase& c) {
    return os << '"' << c.changes << "\" -> \"" << c.message << '"';
}

const ValidationCase kValidationCases[] = {
    {"", ""},
    // Moving average: fs and f1 positive, f1 <= fs/2.56 whatever the flag, nothing else.
    {"m=5 fs=0", "positive"},
    {"m=5 f1=0", "positive"},
    {"m=5 f1=200", ""},
    {"m=5 f1=201 hw=1", "fs256"},
    {"m=5 b=3 f2=-5 f3=0 f4=0 r=-1 a=0", ""},
    // IIR attenuation 20..160 inclusive, checked before positivity.
    {"m=2 fs=0 a=0", "atten"},
    {"m=1 a=160.1", "atten"},
    {"a=20", ""},
    {"m=2 a=160", ""},
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
    {"m=1 b=2 f2=256 hw=1", ""},
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
    // No filter class: 4 orders edges like IIR and limits like FIR; negative
    // codes count as IIR, codes above 5 as FIR.
    {"m=4 f1=150 a=5", "lowpass"},
    {"m=4 f2=300", ""},
    {"m=-1 a=10", "atten"},
    {"m=7 b=3 f1=150 a=10", "pass_order"}};

std::map<std::string, double> CaseParameters(const ValidationCase& c) {
    std::map<std::string, double> p = {{"m", 0},    {"b", 1},    {"fs", 512}, {"f1", 100},
                                       {"f2", 140}, {"f3", 160}, {"f4", 200}, {"r", 0.3},
                                       {"a", 40},   {"hw", 0}};
    std::istringstream items(c.changes);
    for (std::string item; items >> item;) {
        p.at(item.substr(0, item.find('='))) = std::stod(item.substr(item.find('=') + 1));
    }
    return p;
}

}  // namespace

class ValidationOrder : public ::testing::TestWithParam<ValidationCase> {};

// The first failing check decides the message, which the designer traces.
TEST_P(ValidationOrder, FirstFailingCheckDecides) {
    auto p = CaseParameters(GetParam());
    const HardwareFlagGuard flag(p["hw"] != 0);
    TestableFilterUser user;
    const int method = static_cast<int>(p["m"]);
    user.setFilterParameter(static_cast<int>(p["b"]), method, p["f1"], p["f2"], p["f3"], p["f4"],
                            p["fs"], 8, p["r"], p["a"], 0.0);
    const std::string expect = *GetParam().message ? Messages().at(GetParam().message) : "";
    TraceCapture trace;
    if (method >= 0 && method <= 5 && method != 4) {
        EXPECT_EQ(user.DesignFilter(), expect.empty());
        EXPECT_EQ(trace.Lines(), expect.empty() ? Lines{} : Lines{expect});
    } else {
        user.GetNewFilter(DM_AVERAGE);  // no filter class: validate with a stand-in
        EXPECT_EQ(user.JudgeIsValidData(), expect.empty());
    }
    if (!expect.empty()) {
        EXPECT_EQ(user.GetErrorMessage(), expect);
        EXPECT_FALSE(user.GetIsStability());
    }
}

INSTANTIATE_TEST_SUITE_P(Validation, ValidationOrder, ::testing::ValuesIn(kValidationCases));

namespace {

// kNoClass: refused quietly, no filter; kOrder: validated but unusable, with
// the order message; kUsable: usable, finite coefficients.
enum Outcome { kNoClass, kOrder, kUsable };

struct SpecCase {
    const char* name;
    int method, band;
    double fs, f1;  // edges f1, 2 f1, 2.5 f1, 3 f1
    int length;
    Outcome outcome;
};

constexpr int kMaxTaps = (1 << 21) + 1;  // longest window FIR or moving average

const SpecCase kSpecCases[] = {
    // Huge rates overflow the design arithmetic (tan of a vanishing angle).
    {"butter_lowpass_fs_1e308", DM_BUTTERWORTH, BAND_LOWPASS, 1e308, 50, 1, kOrder},
    {"cheby1_lowpass_fs_1e308", DM_CHEBYSHEV1, BAND_LOWPASS, 1e308, 50, 1, kOrder},
    {"cheby1_highpass_fs_1e308", DM_CHEBYSHEV1, BAND_HIGHPASS, 1e308, 50, 1, kOrder},
    {"cheby2_lowpass_fs_1e308", DM_CHEBYSHEV2, BAND_LOWPASS, 1e308, 50, 1, kOrder},
    {"cheby2_highpass_fs_1e308", DM_CHEBYSHEV2, BAND_HIGHPASS, 1e308, 50, 1, kOrder},
    {"fs_tiny", DM_BUTTERWORTH, BAND_LOWPASS, 1e-300, 1e-302, 1, kUsable},  // only ratios matter
    // Tap counts: the bound passes, one more is refused; below one gives one tap.
    {"average_at_bound", DM_AVERAGE, BAND_LOWPASS, 1000, 100, kMaxTaps, kUsable},
    {"average_above_bound", DM_AVERAGE, BAND_LOWPASS, 1000, 100, kMaxTaps + 1, kOrder},
    {"average_int_min", DM_AVERAGE, BAND_LOWPASS, 1000, 100, INT_MIN, kUsable},
    {"window_above_bound", DM_WINDOW_FIR, BAND_LOWPASS, 1000, 100, kMaxTaps + 1, kOrder},
    {"window_int_max", DM_WINDOW_FIR, BAND_BANDPASS, 1000, 100, INT_MAX, kOrder},
    {"window_band_5", DM_WINDOW_FIR, 5, 1000, 100, 20, kUsable},  // no ideal response: zero taps
    {"method_4", DM_RESERVED, BAND_LOWPASS, 1000, 100, 1, kNoClass},
    {"method_minus_1", -1, BAND_LOWPASS, 1000, 100, 1, kNoClass},
    {"method_int_max", INT_MAX, BAND_LOWPASS, 1000, 100, 1, kNoClass},
};

bool AllFinite(const double* v, int n) {
    return std::all_of(v, v + n, [](double x) { return std::isfinite(x); });
}

}  // namespace

class FilterUserSpec : public ::testing::TestWithParam<SpecCase> {};

// Block filtering runs on exact-size heap buffers, so AddressSanitizer sees
// any access past them; a design that is not usable leaves the output alone.
TEST_P(FilterUserSpec, GetsItsOutcomeAndFiltersSafely) {
    const SpecCase& c = GetParam();
    TraceCapture trace;
    FilterUser user;
    user.setFilterParameter(c.band, c.method, c.f1, 2 * c.f1, 2.5 * c.f1, 3 * c.f1, c.fs, c.length,
                            0.5, 40.0, 0.0);
    EXPECT_EQ(user.DesignFilter(), c.outcome != kNoClass);
    EXPECT_EQ(user.GetIsStability(), c.outcome == kUsable);
    EXPECT_EQ(user.GetErrorMessage(), c.outcome == kOrder ? Messages().at("order") : "");
    EXPECT_EQ(trace.Lines(), Lines{});
    EXPECT_EQ(user.m_pFilter == nullptr, c.outcome == kNoClass);
    if (c.outcome == kUsable) {
        ClassicFilter* f = user.m_pFilter;
        const bool iir = c.method <= DM_CHEBYSHEV2;
        const int n = iir ? user.m_nIIROrder + 1 : std::max(f->m_nLength, f->GetCoefCount());
        EXPECT_TRUE(AllFinite(f->GetNumerator(), n));
        if (iir) {
            EXPECT_TRUE(AllFinite(f->GetDenominator(), n));
        }
        if (c.length == kMaxTaps) {
            return;  // two million products a sample: nothing more to learn
        }
    }
    constexpr int kCount = 64;
    auto in = std::make_unique<float[]>(kCount);
    auto out = std::make_unique<float[]>(kCount);
    std::fill(in.get(), in.get() + kCount, 1.0f);
    std::fill(out.get(), out.get() + kCount, 12345.0f);
    user.FilterData(in.get(), out.get(), kCount);
    if (c.outcome != kUsable) {
        EXPECT_EQ(std::count(out.get(), out.get() + kCount, 12345.0f), kCount);
    }
}

INSTANTIATE_TEST_SUITE_P(BadInput, FilterUserSpec, ::testing::ValuesIn(kSpecCases),
                         [](const auto& row) { return std::string(row.param.name); });

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

namespace {

double* Copy(const Doubles& v) {
    return v.empty() ? nullptr : std::copy(v.begin(), v.end(), new double[v.size()]) - v.size();
}

// Gives the designer a filter object holding the given response arrays.
void SetResponse(FilterUser& user, const Doubles& freq, const Doubles& amplitude,
                 const Doubles& phase) {
    user.GetNewFilter(DM_AVERAGE);
    ClassicFilter* f = user.m_pFilter;
    f->m_pFreqAxis = Copy(freq);
    f->m_pAmplitude = Copy(amplitude);
    f->m_pPhase = Copy(phase);
    f->m_nRespCount = static_cast<int>(std::max({freq.size(), amplitude.size(), phase.size()}));
    f->m_bStable = true;
}

}  // namespace

// Hand-unwrapped; a drop of exactly pi/2 stays, and a second pass finds nothing.
TEST(ResponseAnalysis, UnwrapRemovesJumpsOfPi) {
    const std::pair<Doubles, Doubles> cases[] = {
        {{1.4, -1.4}, {1.4, -1.4 + kPi}},
        {{-1.4, 1.4}, {-1.4, 1.4 - kPi}},
        {{1.5, -1.5, 1.4, -1.2}, {1.5, -1.5 + kPi, 1.4, -1.2 + kPi}},
        {{kPi / 2, 0.0}, {kPi / 2, 0.0}},
        {{0.7}, {0.7}},
    };
    for (const auto& [in, out] : cases) {
        FilterUser user;
        SetResponse(user, {}, {}, in);
        for (int pass = 0; pass < 2; ++pass) {
            user.getUnwrapedPhase();
            for (std::size_t i = 0; i < out.size(); ++i) {
                EXPECT_NEAR(user.m_pFilter->m_pPhase[i], out[i], 1e-12) << in[0] << " at " << i;
            }
        }
    }
}

// Truncation, then outward rounding to multiples of 50. A zero (-inf dB) goes
// through the 32-bit arithmetic without trapping: INT32_MIN rounds to
// -2147483650, which wraps to 2147483646.
TEST(ResponseAnalysis, AxisLimits) {
    const struct {
        double lowest, highest, minValue, maxValue;
    } cases[] = {{-73.6, 256.0, -100, 300},
                 {-100.0, 250.0, -100, 250},
                 {-50.7, 250.9, -50, 250},
                 {-0.4, 0.0, 0, 0},
                 {-kInf, 10.0, 2147483646.0, 50}};
    for (const auto& c : cases) {
        FilterUser user;
        SetResponse(user, {0.0, c.highest / 2, c.highest}, {0.0, c.lowest, c.lowest / 2}, {});
        user.m_nAxisReserved1 = 3;
        user.GetMaxMin();
        EXPECT_EQ((Doubles{user.m_dMinValue, user.m_dMaxValue, double(user.m_nAxisReserved1)}),
                  (Doubles{c.minValue, c.maxValue, 0}))
            << c.lowest << " " << c.highest;
    }
}

// No points (even the most negative count) gives limits 0 and leaves the
// phase alone; no amplitude also marks the design unusable.
TEST(ResponseAnalysis, AxisLimitsWithoutPoints) {
    for (int n : {INT_MIN, 2}) {
        FilterUser user;
        SetResponse(user, {0.0, 300.0}, n == 2 ? Doubles{} : Doubles{-75.0, 0.0}, {1.4, -1.4});
        user.m_pFilter->m_nRespCount = n;
        user.m_dMaxValue = user.m_dMinValue = 5;
        user.getUnwrapedPhase();
        user.GetMaxMin();
        EXPECT_EQ((Doubles{user.m_pFilter->m_pPhase[1], user.m_dMinValue, user.m_dMaxValue}),
                  (Doubles{n == 2 ? -1.4 + kPi : -1.4, 0, 0}))
            << n;
        EXPECT_EQ(user.GetIsStability(), n != 2);
    }
}

// The order argument is also the target's tap count; the source's own tap
// count is not copied. The moving average has no response: unusable there.
TEST(ResponseAnalysis, InitDesCopiesTheParametersAndDesigns) {
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
