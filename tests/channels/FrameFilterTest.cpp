// The two frame filters, CChnsFilterFunc and CChnsBesselFilterFun: sample
// conversions, designer channels and Bessel sections worked by hand or against
// scipy, and refused calls. (Streams through copies: FrameLanesTest.cpp.)
#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>
#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "RZFilterFunc/channels/BesselTable.h"
#include "ReferenceData.h"
#include "TraceCapture.h"

// Reference pi (not every C runtime defines M_PI).
constexpr double kPi = 3.14159265358979323846;

// Runs a frame filter over the samples of v in place (one channel unless frames
// says otherwise) and returns them.
template <typename Filter, typename T>
std::vector<T> Deal(Filter& f, std::vector<T> v, int type, int frames = -1) {
    const int bytes = static_cast<int>(v.size() * sizeof(T));
    EXPECT_EQ(f.InputDataAndDeal(reinterpret_cast<char*>(v.data()), type, bytes),
              frames < 0 ? static_cast<int>(v.size()) : frames);
    return v;
}

// Behaviour both frame filters share. Each kind designs a low-pass (a 100 Hz
// section, a 7-tap average) and exposes the one-sample conversions.
struct BesselKind : CChnsBesselFilterFun {
    using CChnsBesselFilterFun::ConvertData;
    bool Design(int ch) { return DesignFilter(ch, 100, true); }
};

struct DesignerKind : CChnsFilterFunc {
    using CChnsFilterFunc::ConvertData;
    bool Design(int ch) {
        CFilterParam p{DM_AVERAGE, 7, BAND_LOWPASS, 0, 0.0, 10, 30, 20, 40, 1, 40, 0};
        return DesignFilter(ch, &p);
    }
};

template <typename Kind>
class FrameFilter : public ::testing::Test {};
using Kinds = ::testing::Types<BesselKind, DesignerKind>;
TYPED_TEST_SUITE(FrameFilter, Kinds);

TYPED_TEST(FrameFilter, SampleConversions) {
    TypeParam f;
    const std::int32_t raw[] = {16777217, INT32_MAX};  // 32-bit reads: the nearest floats
    EXPECT_EQ(f.ConvertData(reinterpret_cast<const char*>(&raw[0]), 2), 16777216.0f);
    EXPECT_EQ(f.ConvertData(reinterpret_cast<const char*>(&raw[1]), 2), 2147483648.0f);
    // Writes, read back: toward zero, low 16 bits kept, out of range and NaN as INT32_MIN
    // (so 0 in 16 bits), floats as they are; unknown codes write nothing and read 0. No
    // byte past the sample changes.
    const float nan = std::nanf(""), big = 3e9f, inf = HUGE_VALF, m = -2147483648.0f;
    const float v[] = {-1.7f, 32768.0f, 40000.0f, nan, big, -2.9f, big, nan, -inf, 1e30f, 7, 7};
    const int wt[] = {0, 0, 0, 0, 0, 2, 2, 2, 2, 1, 3, -1},
              width[] = {2, 2, 2, 2, 2, 4, 4, 4, 4, 4, 0, 0};
    const float back[] = {-1, -32768, -25536, 0, 0, -2, m, m, m, 1e30f, 0, 0};
    for (int i = 0; i < 12; ++i) {
        char s[8];
        std::memset(s, 0x5A, sizeof s);
        f.ConvertData(v[i], s, wt[i]);
        EXPECT_EQ(f.ConvertData(s, wt[i]), back[i]) << i;
        EXPECT_EQ(std::count(s, s + 8, 0x5A), 8 - width[i]) << i;
    }
}

// Before Init nothing is designed or filtered; channels outside what Init
// set up are refused.
TYPED_TEST(FrameFilter, CallsOutsideTheChannelsAreRefused) {
    TypeParam f;
    char buf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(f.InputDataAndDeal(buf, 0, 8), 0);
    EXPECT_FALSE(f.Design(0));
    ASSERT_TRUE(f.Init(2, 2, 1000.0f));
    EXPECT_FALSE(f.Design(-1));
    EXPECT_FALSE(f.Design(2));
}

// Two 16-bit channels at 999.9 Hz through 4-tap averages, every result worked
// by hand (exact). The rate comes from Init, not from the record's unread field.
TEST(ChnsFilter, AveragesWorkedByHand) {
    TraceCapture quiet;
    using V = std::vector<std::int16_t>;
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(2, 2, 999.9f));
    CFilterParam p{DM_AVERAGE, 4, BAND_HIGHPASS, 2, 5e5, 10, 30, 20, 40, 0.7, 33, 7.5}, bad = p;
    bad.m_dFreq1 = 400.0;  // above 999.9 / 2.56: reported true, channel left off
    ASSERT_TRUE(f.DesignFilter(0, &p));
    ASSERT_TRUE(f.DesignFilter(1, &bad));
    EXPECT_FALSE(f.m_ppChannels[1]->m_bEnabled);
    EXPECT_FALSE(f.DesignFilter(0, nullptr));
    // byteCount 10 holds two frames; the last 2 bytes stay. Then the stream continues:
    // (100 + 200 + 300) / 4 and (100 + ... + 400) / 4.
    EXPECT_EQ(Deal(f, V{100, 7, 200, 8, 9}, 0, 2), (V{25, 7, 75, 8, 9}));
    EXPECT_EQ(Deal(f, V{300, 5, 400, 6}, 0, 2), (V{150, 5, 250, 6}));
    // An unknown type writes nothing but filters zeros: (400 + 0 + 0 - 407) / 4 = -1.75,
    // stored toward zero.
    EXPECT_EQ(Deal(f, V{9, 9, 9, 9}, 3, 2), (V{9, 9, 9, 9}));
    EXPECT_EQ(Deal(f, V{-407, 5}, 0, 1), (V{-1, 5}));
    ASSERT_TRUE(f.DesignFilter(0, &p));  // a redesign restarts from zero history
    EXPECT_EQ(Deal(f, V{8, 5}, 0, 1), (V{2, 5}));
}

// Butterworth 100 / 300 Hz, 3 / 20 dB: the order estimate 0.5 log10(99 / 0.995) /
// log10(tan(0.3 pi) / tan(0.1 pi)) + 0.9 = 2.49 truncates to 2, below the lowest order
// 3. Validation passes, so the channel stays enabled with nothing to filter with: the
// samples come back as they went in, not as the previous block's output.
TEST(ChnsFilter, EnabledChannelWithoutCoefficientsPassesThrough) {
    TraceCapture quiet;
    CChnsFilterFunc f;
    CFilterParam lp{DM_BUTTERWORTH, 0, BAND_LOWPASS, 0, 0.0, 100, 320, 300, 350, 3, 20, 0};
    ASSERT_TRUE(f.Init(1, 2, 1000.0f));
    ASSERT_TRUE(f.DesignFilter(0, &lp));
    EXPECT_TRUE(f.m_ppChannels[0]->m_bEnabled);
    EXPECT_FALSE(f.m_ppChannels[0]->m_pFilterUser->GetIsStability());
    Deal(f, std::vector<std::int16_t>{500, 600}, 0);
    EXPECT_EQ(Deal(f, std::vector<std::int16_t>{11, -3}, 0), (std::vector<std::int16_t>{11, -3}));
}

// Each row against scipy (tests/data/channels/gen_bessel_reference.py): unity gain at
// 0 Hz up to the rounding of the 15-16 digit coefficients; 1/sqrt(2) of it at scipy's
// -3 dB root of the same response, which lies within 1% of the stated cut-off; and
// coefficients within 0.02 of scipy's own magnitude-normalised Bessel design.
TEST(BesselTable, RowsAreUnityGainLowPassesAtTheirCutoff) {
    int rows = 0;
    // Records after the header: cutoff rate dc f3db a1 a2 b0 b1 b2.
    for (const auto& record : rzf::test::ReadNumberRows("channels/bessel_reference.txt", 1)) {
        ASSERT_EQ(record.size(), 9u);
        const int cutoff = static_cast<int>(record[0]), rate = static_cast<int>(record[1]);
        const rzf::BesselTableRow* r = rzf::FindBesselSection(cutoff, rate);
        ASSERT_NE(r, nullptr) << cutoff << '/' << rate;
        auto mag = [r](double f) {
            const std::complex<double> z = std::polar(1.0, -2.0 * kPi * f / r->rate);
            return std::abs((r->b0 + z * (r->b1 + z * r->b2)) / (1.0 + z * (r->a1 + z * r->a2)));
        };
        EXPECT_NEAR(mag(0.0), 1.0, 1e-11) << cutoff << '/' << rate;
        EXPECT_NEAR(mag(record[3]), mag(0.0) / std::sqrt(2.0), 1e-9) << cutoff << '/' << rate;
        EXPECT_NEAR(record[3], cutoff, 0.01 * cutoff);
        const double got[] = {r->a1, r->a2, r->b0, r->b1, r->b2};
        for (int k = 0; k < 5; ++k)
            EXPECT_NEAR(got[k], record[4 + k], 0.02) << cutoff << '/' << rate << ' ' << k;
        ++rows;
    }
    EXPECT_EQ(rzf::BesselTableRowCount(), rows);
    EXPECT_EQ(rzf::FindBesselSection(500, 1000), nullptr);
    EXPECT_EQ(rzf::FindBesselSection(100, 200), nullptr);
}

// A disabled channel passes through and keeps its coefficients and state; enabled
// again, it restarts from rest.
TEST(BesselFilter, DisabledChannelKeepsItsState) {
    CChnsBesselFilterFun f, fresh;
    for (CChnsBesselFilterFun* g : {&f, &fresh}) {
        ASSERT_TRUE(g->Init(1, 4, 500.0f));
        ASSERT_TRUE(g->DesignFilter(0, 15, true));
    }
    Deal(f, std::vector<float>{100, 200, 300}, 1);
    const BesselSection& s = *f.m_ppChannels[0]->m_pSection;
    const std::vector<double> state(s.m_pState, s.m_pState + 3);
    ASSERT_NE(state[0], 0.0);
    ASSERT_TRUE(f.DesignFilter(0, 15, false));
    EXPECT_EQ(Deal(f, std::vector<float>{1, 2, 3}, 1), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(std::vector<double>(s.m_pState, s.m_pState + 3), state);
    EXPECT_EQ(s.m_pA[1], -1.612915554601527);
    ASSERT_TRUE(f.DesignFilter(0, 15, true));
    EXPECT_EQ(Deal(f, std::vector<float>{9, 8, 7}, 1), Deal(fresh, std::vector<float>{9, 8, 7}, 1));
}

// No row for 4 Hz at 999.9 Hz (looked up as 999): reported true, the channel left
// off and passing through.
TEST(BesselFilter, MissingRowLeavesTheChannelOff) {
    CChnsBesselFilterFun f;
    ASSERT_TRUE(f.Init(1, 4, 999.9f));
    EXPECT_TRUE(f.DesignFilter(0, 4, true));
    EXPECT_FALSE(f.m_ppChannels[0]->m_bEnabled);
    EXPECT_EQ(Deal(f, std::vector<float>{5, 6, 7}, 1), (std::vector<float>{5, 6, 7}));
}

namespace {

// One row per check of Init and InputDataAndDeal, after a first Init(3, 2)
// that succeeded: the row's Init, every channel designed, one call
// on an exact-size heap buffer, so AddressSanitizer sees any access past it.
// Bytes past the whole frames never change; nor does any byte when nothing is
// filtered.
struct FrameCall {
    const char* name;
    int channels, width;
    float rate;
    int bufferBytes;  // 0: a null buffer
    int byteCount, type, frames;
    bool writes;
};

// clang-format off
const FrameCall kFrameCalls[] = {
    {"init_no_channels", 0, 2, 1000, 8, 8, 0, 0, false},
    {"init_no_width", 2, 0, 1000, 8, 8, 0, 0, false},
    {"rate_nan_leaves_channels_off", 2, 2, NAN, 8, 8, 0, 2, false},
    {"partial_frame_left_alone", 2, 2, 1000, 10, 10, 0, 2, true},
    {"less_than_a_frame", 2, 4, 1000, 7, 7, 2, 0, false},
    {"count_negative", 2, 2, 1000, 8, INT_MIN, 0, 0, false},
    {"null_data", 2, 2, 1000, 0, INT_MAX, 0, 0, false},
    {"int24_code_unknown_here", 2, 4, 1000, 16, 16, 3, 2, false},
    {"float_in_two_byte_slots", 2, 2, 1000, 16, 16, 1, 4, false}};
// clang-format on

template <typename Kind>
void RunFrameCall(const FrameCall& c) {
    TraceCapture quiet;
    Kind f;
    ASSERT_TRUE(f.Init(3, 2, 1000.0f));
    EXPECT_EQ(f.Init(c.channels, c.width, c.rate), c.channels > 0 && c.width > 0);
    for (int ch = 0; ch < f.m_nChannelCount; ++ch)
        ASSERT_TRUE(f.Design(ch));
    std::unique_ptr<char[]> buf(c.bufferBytes > 0 ? new char[c.bufferBytes] : nullptr);
    for (int i = 0; i < c.bufferBytes; ++i)
        buf[i] = static_cast<char>(0x40 + i);
    EXPECT_EQ(f.InputDataAndDeal(buf.get(), c.type, c.byteCount), c.frames);
    for (int i = c.writes ? c.frames * c.channels * c.width : 0; i < c.bufferBytes; ++i)
        EXPECT_EQ(buf[i], static_cast<char>(0x40 + i)) << i;
}

}  // namespace

class FrameFilterBadCall : public ::testing::TestWithParam<FrameCall> {};

TEST_P(FrameFilterBadCall, Designer) {
    RunFrameCall<DesignerKind>(GetParam());
}

TEST_P(FrameFilterBadCall, Bessel) {
    RunFrameCall<BesselKind>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(BadInput, FrameFilterBadCall, ::testing::ValuesIn(kFrameCalls),
                         [](const auto& row) { return std::string(row.param.name); });
