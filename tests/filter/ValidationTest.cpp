#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterUser.h>

#include <limits>
#include <string>

#include "FilterTestSupport.h"
#include "TraceCapture.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Case {
    int method;
    int band;
    double fs, f1, f2, f3, f4, ripple, atten;
    bool flag;
    const char* expect;  // message key, "" when the parameters pass
    std::size_t bytes;   // byte length of the GBK message
};

// Defaults: fs 512, edges 100/140/160/200, ripple 0.3, attenuation 40.
const Case kCases[] = {
    {0, 1, 512, 100, 140, 160, 200, 0.3, 40, false, "", 0},
    // Moving average: positivity of fs and f1, then f1 <= fs/2.56 whatever the flag.
    {5, 1, 0, 100, 140, 160, 200, 0.3, 40, false, "positive", 17},
    {5, 1, 512, 0, 140, 160, 200, 0.3, 40, false, "positive", 17},
    {5, 1, 512, 200, 140, 160, 200, 0.3, 40, false, "", 0},
    {5, 1, 512, 200.001, 140, 160, 200, 0.3, 40, false, "fs256", 35},
    {5, 1, 512, 201, 140, 160, 200, 0.3, 40, true, "fs256", 35},
    {5, 3, 512, 100, -5, 0, 0, -1, 0, false, "", 0},
    // Attenuation range for the IIR methods, bounds inclusive, before positivity.
    {0, 1, 512, 100, 140, 160, 200, 0.3, 19.9, false, "atten", 22},
    {1, 1, 512, 100, 140, 160, 200, 0.3, 160.1, false, "atten", 22},
    {1, 1, 512, 100, 140, 160, 200, 0.3, 20, false, "", 0},
    {2, 1, 512, 100, 140, 160, 200, 0.3, 160, false, "", 0},
    {2, 1, 0, 100, 140, 160, 200, 0.3, 0, false, "atten", 22},
    // Positivity of fs, every edge, ripple and attenuation.
    {1, 1, 0, 100, 140, 160, 200, 0.3, 40, false, "positive", 17},
    {1, 1, 512, kNaN, 140, 160, 200, 0.3, 40, false, "positive", 17},
    {1, 1, 512, 100, 140, 0, 200, 0.3, 40, false, "positive", 17},
    {0, 2, 512, 100, 140, 160, -1, 0.3, 40, false, "positive", 17},
    {0, 1, 512, 100, 140, 160, 200, 0, 40, false, "positive", 17},
    {3, 1, 512, 100, 140, 160, 200, 0.3, 0, false, "positive", 17},
    {3, 1, 512, 100, 140, 160, 0, 0.3, 40, false, "positive", 17},
    {3, 1, 512, 100, 140, 160, 200, 0.3, 500, false, "", 0},
    // Edge order of the IIR methods; the first failing comparison decides.
    {0, 1, 512, 140, 140, 160, 200, 0.3, 40, false, "lowpass", 32},
    {0, 2, 512, 150, 140, 160, 200, 0.3, 40, false, "highpass", 32},
    {0, 3, 512, 140, 140, 200, 200, 0.3, 40, false, "bp_lower", 36},
    {1, 3, 512, 100, 170, 200, 200, 0.3, 40, false, "bp_upper", 36},
    {1, 3, 512, 100, 170, 160, 160, 0.3, 40, false, "bp_upper", 36},
    {2, 3, 512, 100, 160, 160, 200, 0.3, 40, false, "pass_order", 36},
    {0, 4, 512, 150, 140, 200, 200, 0.3, 40, false, "bs_lower", 36},
    {0, 4, 512, 100, 140, 200, 190, 0.3, 40, false, "bs_upper", 36},
    {0, 4, 512, 100, 170, 160, 200, 0.3, 40, false, "stop_order", 36},
    {0, 0, 512, 150, 140, 100, 50, 0.3, 40, false, "", 0},
    {0, 0, 512, 100, 200.001, 160, 200, 0.3, 40, false, "fs256", 35},
    // Highest used frequency: f2 (IIR low/high-pass), f4 (IIR band), equality passes.
    {0, 1, 512, 100, 200, 160, 200, 0.3, 40, false, "", 0},
    {0, 1, 512, 100, 200.001, 160, 200, 0.3, 40, false, "fs256", 35},
    {0, 1, 512, 100, 200.001, 160, 200, 0.3, 40, true, "", 0},
    {1, 2, 512, 100, 256, 160, 200, 0.3, 40, true, "", 0},
    {1, 2, 512, 100, 256.001, 300, 400, 0.3, 40, true, "fs20", 34},
    {0, 3, 512, 100, 140, 160, 200.001, 0.3, 40, false, "fs256", 35},
    {0, 4, 512, 100, 140, 160, 256.5, 0.3, 40, true, "fs20", 34},
    // Window FIR: only f1 >= f2 for band filters; the limit applies to f1 or f2.
    {3, 3, 512, 50, 40, 160, 200, 0.3, 40, false, "pass_order", 36},
    {3, 4, 512, 50, 50, 160, 200, 0.3, 40, false, "pass_order", 36},
    {3, 1, 512, 150, 140, 100, 50, 0.3, 40, false, "", 0},
    {3, 1, 512, 100, 1000, 160, 200, 0.3, 40, false, "", 0},
    {3, 2, 512, 200.001, 1000, 160, 200, 0.3, 40, false, "fs256", 35},
    {3, 3, 512, 100, 200.001, 160, 150, 0.3, 40, false, "fs256", 35},
    {3, 3, 512, 100, 140, 160, 1000, 0.3, 40, false, "", 0},
    {3, 1, 512, 256.001, 1000, 160, 200, 0.3, 40, true, "fs20", 34},
    // Codes without a filter class: 4 checks edges like IIR and limits like FIR;
    // negative codes count as IIR, codes above 5 as FIR.
    {4, 1, 512, 150, 140, 160, 200, 0.3, 5, false, "lowpass", 32},
    {4, 1, 512, 100, 300, 160, 200, 0.3, 40, false, "", 0},
    {4, 3, 512, 100, 140, 160, 300, 0.3, 40, false, "", 0},
    {4, 3, 512, 100, 200.001, 250, 300, 0.3, 40, false, "fs256", 35},
    {-1, 1, 512, 100, 140, 160, 200, 0.3, 10, false, "atten", 22},
    {-1, 3, 512, 100, 140, 160, 300, 0.3, 40, false, "fs256", 35},
    {7, 3, 512, 150, 140, 160, 200, 0.3, 10, false, "pass_order", 36},
    {7, 1, 512, 100, 300, 160, 200, 0.3, 10, false, "", 0},
};

}  // namespace

TEST(Validation, EveryCheckInOrderWithItsMessage) {
    const auto messages = LoadGbkMessages();
    for (const Case& c : kCases) {
        SCOPED_TRACE(testing::Message()
                     << "method " << c.method << " band " << c.band << " f1 " << c.f1 << " f2 "
                     << c.f2 << " f4 " << c.f4 << " atten " << c.atten << " flag " << c.flag);
        HardwareFlag flag(c.flag);
        TestableFilterUser user;
        user.setFilterParameter(c.band, c.method, c.f1, c.f2, c.f3, c.f4, c.fs, 8, c.ripple,
                                c.atten, 0.0);
        const bool pass = std::string(c.expect).empty();
        if (c.method >= 0 && c.method <= 5 && c.method != 4) {
            TraceCapture trace;
            EXPECT_EQ(user.DesignFilter(), pass);
            if (pass) {
                EXPECT_TRUE(trace.Lines().empty());
                continue;
            }
            ASSERT_EQ(trace.Lines().size(), 1u);
            EXPECT_EQ(trace.Lines()[0], user.GetErrorMessage());
        } else {
            // No filter class: validate against a stand-in filter object.
            user.GetNewFilter(DM_AVERAGE);
            EXPECT_EQ(user.JudgeIsValidData(), pass);
            if (pass) {
                EXPECT_TRUE(user.GetErrorMessage().empty());
                continue;
            }
        }
        const std::string error = user.GetErrorMessage();
        EXPECT_EQ(error, messages.at(c.expect)) << c.expect;
        EXPECT_EQ(error.size(), c.bytes);
        EXPECT_FALSE(user.GetIsStability());
    }
}

TEST(Validation, RefusedParametersLeaveTheDesignerUsable) {
    TraceCapture trace;
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 300.0, 0, 0, 0, 512.0, 4, 0, 0, 0);
    EXPECT_FALSE(user.DesignFilter());
    EXPECT_NE(user.m_pFilter, nullptr);  // the empty filter object stays in place
    user.m_dFreq1 = 100.0;
    EXPECT_TRUE(user.DesignFilter());
    EXPECT_TRUE(user.GetIsStability());
    EXPECT_TRUE(user.GetErrorMessage().empty());
    EXPECT_EQ(trace.Lines().size(), 1u);
}
