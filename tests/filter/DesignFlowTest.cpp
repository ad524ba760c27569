#include <gtest/gtest.h>

#include <RZFilterFunc/filter/AverageFilter.h>
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/fir/WindowsFilter.h>

#include <algorithm>
#include <limits>
#include <map>
#include <ostream>
#include <set>
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

class TestableFilterUser : public FilterUser {
public:
    using FilterUser::JudgeIsValidData;
};

// GBK bytes of the refusal messages, written by tests/data/filter/gen_messages.py
// as lines of key, byte length and hexadecimal bytes.
std::map<std::string, std::string> LoadGbkMessages() {
    std::map<std::string, std::string> messages;
    for (const rzf::test::Fields& fields : rzf::test::ReadFieldLines("filter/messages_gbk.txt")) {
        if (fields.size() != 3) {
            ADD_FAILURE() << "malformed message line " << fields[0];
            continue;
        }
        const std::string& hex = fields[2];
        std::string& bytes = messages[fields[0]];
        for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
            bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        }
    }
    return messages;
}

// Byte length of each message as GBK text.
const std::map<std::string, std::size_t> kBytes = {
    {"positive", 17}, {"fs256", 35},    {"fs20", 34},       {"atten", 22},
    {"lowpass", 32},  {"highpass", 32}, {"bp_lower", 36},   {"bp_upper", 36},
    {"bs_lower", 36}, {"bs_upper", 36}, {"pass_order", 36}, {"stop_order", 36}};

// Each case lists its changes to the defaults m(ethod) 0, b(and) 1, fs 512,
// f1..f4 100/140/160/200, r(ipple) 0.3, a(ttenuation) 40 and hw (hardware
// flag) 0, and the key of the message expected, empty when the parameters pass.
struct ValidationCase {
    const char* changes;
    const char* message;
};

std::ostream& operator<<(std::ostream& os, const ValidationCase& c) {
    return os << '"' << c.changes << "\" -> \"" << c.message << '"';
}

const ValidationCase kValidationCases[] = {
    {"", ""},
    // Moving average: positivity of fs and f1, then f1 <= fs/2.56 whatever the flag.
    {"m=5 fs=0", "positive"},
    {"m=5 f1=0", "positive"},
    {"m=5 f1=200", ""},
    {"m=5 f1=200.001", "fs256"},
    {"m=5 f1=201 hw=1", "fs256"},
    {"m=5 b=3 f2=-5 f3=0 f4=0 r=-1 a=0", ""},
    // Attenuation range of the IIR methods, bounds inclusive, before positivity.
    {"a=19.9", "atten"},
    {"m=1 a=160.1", "atten"},
    {"m=1 a=20", ""},
    {"m=2 a=160", ""},
    {"m=2 fs=0 a=0", "atten"},
    // Positivity of fs, every edge, ripple and attenuation, FIR included.
    {"m=1 fs=0", "positive"},
    {"m=1 f1=nan", "positive"},
    {"m=1 f3=0", "positive"},
    {"b=2 f4=-1", "positive"},
    {"r=0", "positive"},
    {"m=3 a=0", "positive"},
    {"m=3 f4=0", "positive"},
    {"m=3 a=500", ""},
    // Edge order of the IIR methods; the first failing comparison decides.
    {"f1=140", "lowpass"},
    {"b=2 f1=150", "highpass"},
    {"b=3 f1=140 f3=200", "bp_lower"},
    {"m=1 b=3 f2=170 f3=200", "bp_upper"},
    {"m=1 b=3 f2=170 f4=160", "bp_upper"},
    {"m=2 b=3 f2=160", "pass_order"},
    {"b=4 f1=150 f3=200", "bs_lower"},
    {"b=4 f3=200 f4=190", "bs_upper"},
    {"b=4 f2=170", "stop_order"},
    {"b=0 f1=150 f3=100 f4=50", ""},
    {"b=0 f2=200.001", "fs256"},
    // Highest used frequency: f2 (IIR low/high-pass), f4 (IIR band); equality passes.
    {"f2=200", ""},
    {"f2=200.001", "fs256"},
    {"f2=200.001 hw=1", ""},
    {"m=1 b=2 f2=256 hw=1", ""},
    {"m=1 b=2 f2=256.001 f3=300 f4=400 hw=1", "fs20"},
    {"b=3 f4=200.001", "fs256"},
    {"b=4 f4=256.5 hw=1", "fs20"},
    // Window FIR: only f1 >= f2 for band filters; the limit applies to f1 or f2.
    {"m=3 b=3 f1=50 f2=40", "pass_order"},
    {"m=3 b=4 f1=50 f2=50", "pass_order"},
    {"m=3 f1=150 f3=100 f4=50", ""},
    {"m=3 f2=1000", ""},
    {"m=3 b=2 f1=200.001 f2=1000", "fs256"},
    {"m=3 b=3 f2=200.001 f4=150", "fs256"},
    {"m=3 b=3 f4=1000", ""},
    {"m=3 f1=256.001 f2=1000 hw=1", "fs20"},
    // No filter class: 4 checks edges like IIR and limits like FIR; negative
    // codes count as IIR, codes above 5 as FIR.
    {"m=4 f1=150 a=5", "lowpass"},
    {"m=4 f2=300", ""},
    {"m=4 b=3 f4=300", ""},
    {"m=4 b=3 f2=200.001 f3=250 f4=300", "fs256"},
    {"m=-1 a=10", "atten"},
    {"m=-1 b=3 f4=300", "fs256"},
    {"m=7 b=3 f1=150 a=10", "pass_order"},
    {"m=7 f2=300 a=10", ""}};

// The parameters of a case: the defaults with its changes applied.
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

TEST(Validation, MessagesHaveTheirGbkLengths) {
    const auto messages = LoadGbkMessages();
    ASSERT_EQ(messages.size(), kBytes.size());
    for (const auto& [key, bytes] : kBytes) {
        EXPECT_EQ(messages.at(key).size(), bytes) << key;
    }
}

TEST(Validation, CasesReachEveryMessage) {
    std::set<std::string> seen;
    for (const ValidationCase& c : kValidationCases) {
        seen.insert(c.message);
    }
    EXPECT_EQ(seen.size(), kBytes.size() + 1);  // every message and the passing case
}

class ValidationOrder : public ::testing::TestWithParam<ValidationCase> {
protected:
    // The GBK text a case expects, empty when it passes.
    static std::string Expected(const ValidationCase& c) {
        static const std::map<std::string, std::string> messages = LoadGbkMessages();
        return c.message[0] == '\0' ? std::string() : messages.at(c.message);
    }
};

// The first failing check decides the message, which the designer traces.
TEST_P(ValidationOrder, FirstFailingCheckDecides) {
    const ValidationCase& c = GetParam();
    auto p = CaseParameters(c);
    const HardwareFlagGuard flag(p["hw"] != 0);
    TestableFilterUser user;
    const int method = static_cast<int>(p["m"]);
    user.setFilterParameter(static_cast<int>(p["b"]), method, p["f1"], p["f2"], p["f3"], p["f4"],
                            p["fs"], 8, p["r"], p["a"], 0.0);
    const std::string expect = Expected(c);
    TraceCapture trace;
    if (method >= 0 && method <= 5 && method != 4) {
        EXPECT_EQ(user.DesignFilter(), expect.empty());
        EXPECT_EQ(trace.Lines(), expect.empty() ? Lines{} : Lines{expect});
        EXPECT_NE(user.m_pFilter, nullptr);  // the empty filter stays on refusal
        if (expect.empty()) {
            return;  // a passing design may still report its own outcome
        }
    } else {
        user.GetNewFilter(DM_AVERAGE);  // no filter class: validate with a stand-in
        EXPECT_EQ(user.JudgeIsValidData(), expect.empty());
    }
    EXPECT_EQ(user.GetErrorMessage(), expect);
    if (!expect.empty()) {
        EXPECT_FALSE(user.GetIsStability());
    }
}

INSTANTIATE_TEST_SUITE_P(Validation, ValidationOrder, ::testing::ValuesIn(kValidationCases));

TEST(DesignFlow, Defaults) {
    FilterUser u;
    EXPECT_EQ((Doubles{u.m_dSampleFreq, u.m_dPassRipple, u.m_dStopAtten, u.m_dFreq1, u.m_dFreq2,
                       u.m_dFreq3, u.m_dFreq4, u.m_dReserved, double(u.m_nBandType),
                       double(u.m_nOrder), double(u.m_nDesignMethod), double(u.m_nWindowType),
                       double(u.m_nIIROrder), double(u.m_nFIRLength), double(u.m_bFirstInput)}),
              (Doubles{512, 0.3, 40, 100, 140, 160, 200, 10, 1, 1, 0, 0, 24, 51, 1}));
    EXPECT_EQ(u.m_pFilter, nullptr);
    EXPECT_EQ(u.m_pState, nullptr);
    EXPECT_FALSE(u.GetIsStability());
    EXPECT_EQ(u.GetErrorMessage(), "");
}

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

// The setter restarts the state, fills both lengths and leaves the window alone.
TEST(DesignFlow, SetterRestartsAndFillsBothLengths) {
    FilterUser u;
    u.setWindowType(6);
    u.m_bFirstInput = false;
    u.setFilterParameter(BAND_BANDPASS, DM_CHEBYSHEV1, 50, 80, 120, 150, 1000, 4, 0.5, 45, 0);
    EXPECT_TRUE(u.m_bFirstInput);
    EXPECT_EQ(u.m_nOrder, 4);
    EXPECT_EQ(u.m_nFIRLength, 4);
    EXPECT_EQ(u.m_nWindowType, 6);
}

// Warped selectivity 0.4489: acosh(sqrt(x2/x1)) / acosh(1/k) + 0.9 = 5.71 -> 5,
// three sections of degree four.
TEST(DesignFlow, IirOrderComesFromTheDesign) {
    FilterUser u;
    u.setFilterParameter(BAND_BANDPASS, DM_CHEBYSHEV1, 50, 80, 120, 150, 1000, 4, 0.5, 45, 0);
    ASSERT_TRUE(u.DesignFilter());
    EXPECT_EQ(u.m_nIIROrder, 12);
}

TEST(DesignFlow, WindowDesignGetsTheTwoCutoffsOnly) {
    FilterUser u;
    u.m_nIIROrder = 5;
    u.setFilterParameter(BAND_LOWPASS, DM_WINDOW_FIR, 100, 140, 160, 200, 512, 21, 0.3, 40, 0);
    ASSERT_TRUE(u.DesignFilter());
    EXPECT_EQ((Doubles{u.m_pFilter->m_dFreq3, u.m_pFilter->m_dFreq4, double(u.m_nIIROrder)}),
              (Doubles{-1, -1, 0}));
}

// A method without a filter class is refused quietly, without validation; after
// that and after refused parameters the designer stays usable.
TEST(DesignFlow, RefusalsLeaveTheDesignerUsable) {
    for (int method : {4, -1, 6, 100}) {
        TraceCapture trace;
        FilterUser user;
        user.m_nDesignMethod = method;
        user.m_dSampleFreq = 0.0;  // fails validation whenever it runs
        SCOPED_TRACE(::testing::Message() << "method " << method);
        EXPECT_FALSE(user.DesignFilter());
        EXPECT_FALSE(user.GetIsStability());
        EXPECT_EQ(user.m_pFilter, nullptr);
        EXPECT_EQ(user.GetErrorMessage(), "");
        EXPECT_EQ(trace.Lines(), Lines{});
        user.m_nDesignMethod = DM_AVERAGE;
        EXPECT_FALSE(user.DesignFilter());
        EXPECT_EQ(trace.Lines().size(), 1u);
        user.m_dSampleFreq = 512.0;
        EXPECT_TRUE(user.DesignFilter());
        EXPECT_TRUE(user.GetIsStability());
        EXPECT_EQ(user.GetErrorMessage(), "");
    }
}

TEST(DesignFlow, AverageFilterBaseSlots) {
    AverageFilter f;
    EXPECT_EQ(f.DesignFIR(3), 1);
    EXPECT_EQ(f.DesignFIR(0), 1);  // replaces the first array; below one gives a single tap
    EXPECT_EQ(f.GetCoefCount(), 1);
    EXPECT_EQ(f.GetNumerator()[0], 1.0);
    int count = 7;
    EXPECT_EQ(f.GetAmplitudeResponse(&count), nullptr);
    EXPECT_EQ(count, 7);
    EXPECT_EQ(f.GetPhaseResponse(&count), nullptr);
    EXPECT_EQ(count, 2048);
    EXPECT_EQ(f.GetDenominator(), nullptr);
}

// A reset forgets the response arrays without freeing them: a pointer a
// caller took earlier stays readable until the filter is destroyed.
TEST(DesignFlow, ResetKeepsOldResponsePointersReadable) {
    AverageFilter f;
    f.m_pPhase = new double[3]{0.0, -0.5, -1.0};
    const double* phase = f.m_pPhase;
    f.m_nRespCount = 3;
    f.m_dFreq2 = 5.0;
    f.m_bStable = true;
    f.m_strError = "kept";
    f.ResetDesign();
    EXPECT_EQ((Doubles{f.m_dSampleFreq, f.m_dFreq1, f.m_dFreq2, f.m_dFreq3, f.m_dFreq4,
                       double(f.m_nBandType), double(f.m_nLength), double(f.m_nRespCount),
                       double(f.m_bStable), phase[2]}),
              (Doubles{-1, -1, -1, -1, -1, 0, 1, 2048, 0, -1.0}));
    EXPECT_EQ(f.m_pPhase, nullptr);
    EXPECT_EQ(f.m_strError, "kept");
}

// Copies share the filter and state; redesigning or destroying one leaves the
// others theirs.
TEST(DesignFlow, CopiesShareTheFilterAndState) {
    auto* first = new FilterUser;
    first->setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 100, 0, 0, 0, 512, 5, 0, 0, 0);
    ASSERT_TRUE(first->DesignFilter());
    float x = 1.0f, y = 0.0f;
    first->FilterData(&x, &y, 1);
    FilterUser copy(*first), assigned;
    assigned.m_nDesignMethod = DM_AVERAGE;
    ASSERT_TRUE(assigned.DesignFilter());  // owned before the assignment, released by it
    assigned = *first;
    assigned = static_cast<const FilterUser&>(assigned);  // self-assignment keeps the share
    EXPECT_EQ(copy.m_pFilter, first->m_pFilter);
    EXPECT_EQ(copy.m_pState, first->m_pState);
    EXPECT_EQ(assigned.m_pFilter, first->m_pFilter);
    EXPECT_EQ(assigned.m_pState, first->m_pState);
    copy.m_nFIRLength = 2;  // redesigning one copy leaves the others their shared filter
    ASSERT_TRUE(copy.DesignFilter());
    delete first;
    EXPECT_EQ(copy.m_pFilter->GetCoefCount(), 2);
    assigned.FilterData(&x, &y, 1);
    EXPECT_FLOAT_EQ(y, 0.4f);  // two ones in a 5-tap average
}

TEST(ResponseAnalysis, UnwrapRemovesJumpsOfPi) {
    const std::pair<Doubles, Doubles> cases[] = {
        {{1.4, -1.4}, {1.4, -1.4 + kPi}},
        {{-1.4, 1.4}, {-1.4, 1.4 - kPi}},
        {{0.1, 0.2, 0.3}, {0.1, 0.2, 0.3}},
        {{1.5, -1.5, 1.4, -1.2}, {1.5, -1.5 + kPi, 1.4, -1.2 + kPi}},
        {{kPi / 2, 0.0}, {kPi / 2, 0.0}},            // a drop of exactly pi/2 stays
        {{0.8, -0.8, 0.8}, {0.8, -0.8 + kPi, 0.8}},  // 1.6 is just above pi/2
        {{0.7}, {0.7}},
    };
    for (const auto& [in, out] : cases) {
        FilterUser user;
        SetResponse(user, {}, {}, in);
        for (int pass = 0; pass < 2; ++pass) {  // the second pass finds nothing to correct
            user.getUnwrapedPhase();
            for (std::size_t i = 0; i < out.size(); ++i) {
                EXPECT_NEAR(user.m_pFilter->m_pPhase[i], out[i], 1e-12) << in[0] << " at " << i;
            }
        }
    }
    FilterUser none;
    none.getUnwrapedPhase();  // no filter: nothing to do
}

// Truncation comes before the outward rounding to multiples of 50. A zero (-inf dB)
// goes through the 32-bit arithmetic without trapping: INT32_MIN rounds to
// -2147483650, which wraps to 2147483646.
TEST(ResponseAnalysis, AxisLimits) {
    const struct {
        double lowest, highest, minValue, maxValue;
    } cases[] = {
        {-73.6, 256.0, -100, 300},      {-100.0, 250.0, -100, 250}, {-0.4, 0.0, 0, 0},
        {-50.7, 250.9, -50, 250},       {-49.9, 1.0, -50, 50},      {-150.0, 50.5, -150, 50},
        {-kInf, 10.0, 2147483646.0, 50}};
    for (const auto& c : cases) {
        FilterUser user;
        SetResponse(user, {0.0, c.highest / 2, c.highest}, {0.0, c.lowest, c.lowest / 2}, {});
        user.m_nAxisReserved1 = 3;
        user.m_nAxisReserved2 = 4;
        user.getUnwrapedPhase();  // no phase array: nothing to do
        user.GetMaxMin();
        EXPECT_EQ((Doubles{user.m_dMinValue, user.m_dMaxValue, double(user.m_nAxisReserved1),
                           double(user.m_nAxisReserved2), double(user.GetIsStability())}),
                  (Doubles{c.minValue, c.maxValue, 0, 0, 1}))
            << c.lowest << " " << c.highest;
    }
    // Without an amplitude (no filter, a moving average) or points: limits 0.
    for (int n : {0, -1, std::numeric_limits<int>::min(), 2}) {
        FilterUser user;
        SetResponse(user, {0.0, 300.0}, n == 2 ? Doubles{} : Doubles{-75.0, 0.0}, {1.4, -1.4});
        user.m_pFilter->m_nRespCount = n;
        user.m_dMaxValue = user.m_dMinValue = 5;
        user.getUnwrapedPhase();
        user.GetMaxMin();
        EXPECT_EQ((Doubles{user.m_pFilter->m_pPhase[1], user.m_dMinValue, user.m_dMaxValue}),
                  (Doubles{n == 2 ? -1.4 + kPi : -1.4, 0, 0}))
            << n;
        EXPECT_EQ(user.GetIsStability(), n != 2);  // no amplitude makes it unstable
    }
    FilterUser none;
    none.m_dMaxValue = 5;
    none.GetMaxMin();
    EXPECT_EQ(none.m_dMaxValue, 0);
}

TEST(ResponseAnalysis, InitDesCopiesTheParametersAndDesigns) {
    FilterUser source, target;
    source.setFilterParameter(BAND_HIGHPASS, DM_AVERAGE, 100, 0, 0, 0, 512, 4, 0.2, 30, 7.5);
    source.m_nFIRLength = 99;  // not the source of the target's length
    source.setWindowType(2);
    target.m_bFirstInput = false;
    target.m_dMaxValue = 123.0;
    source.InitDes(target);
    ASSERT_NE(target.m_pFilter, nullptr);
    EXPECT_EQ((Doubles{double(target.m_nBandType), double(target.m_nWindowType),
                       target.m_dPassRipple, target.m_dStopAtten, target.m_dReserved,
                       double(target.m_nOrder), double(target.m_nFIRLength),
                       double(target.m_bFirstInput), double(target.m_pFilter->GetCoefCount())}),
              (Doubles{BAND_HIGHPASS, 2, 0.2, 30, 7.5, 4, 4, 1, 4}));
    // The stable moving average went through GetMaxMin, which has no response to read.
    EXPECT_EQ(target.m_dMaxValue, 0.0);
    EXPECT_FALSE(target.GetIsStability());
    EXPECT_EQ(source.m_pFilter, nullptr);
    EXPECT_EQ(source.m_nFIRLength, 99);
}

TEST(ResponseAnalysis, InitDesSkipsTheAxisLimitsOfARefusal) {
    FilterUser source, target;
    source.setFilterParameter(BAND_HIGHPASS, DM_AVERAGE, 0, 0, 0, 0, 512, 4, 0.2, 30, 7.5);
    TraceCapture trace;
    target.m_dMaxValue = 123.0;
    source.InitDes(target);
    EXPECT_EQ(target.m_dMaxValue, 123.0);
    EXPECT_NE(target.GetErrorMessage(), "");
    EXPECT_EQ(trace.Lines().size(), 1u);
}
