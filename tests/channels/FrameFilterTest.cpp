#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>
#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
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

// Behaviour both frame filters share. Each kind designs two different filters (variant
// 0 and 1) at 1000 Hz and exposes the one-sample conversions.
struct BesselKind : CChnsBesselFilterFun {
    using CChnsBesselFilterFun::ConvertData;
    bool Design(int ch, int variant) { return DesignFilter(ch, variant == 0 ? 100 : 4, true); }
};

struct DesignerKind : CChnsFilterFunc {
    using CChnsFilterFunc::ConvertData;
    bool Design(int ch, int v) {  // 7- and 3-tap moving averages
        CFilterParam p{DM_AVERAGE, v == 0 ? 7 : 3, BAND_LOWPASS, 0, 0.0, 10, 30, 20, 40, 1, 40, 0};
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

// Random blocks, each through a copy (copies share the channels), match one call for
// every sample type; channel 1 (never designed) and a trailing partial frame keep every
// byte, and the buffers grow only, to the largest block.
TYPED_TEST(FrameFilter, BlocksOfAnySizeThroughCopiesMatchOneCall) {
    std::mt19937 rng(11);
    for (int type = 0; type < 3; ++type) {
        const int w = type == 0 ? 2 : 4, frames = 700, whole = 3 * w * frames;
        std::vector<char> a(whole + 3, 0x77);
        for (int i = 0; i < whole; i += w) {
            const int v = static_cast<int>(rng() % 20001) - 10000;
            const float x = static_cast<float>(v) / 7.0f;
            std::memcpy(&a[i], type == 1 ? static_cast<const void*>(&x) : &v, w);
        }
        const std::vector<char> original = a;
        std::vector<char> b = a;
        TypeParam one, pieces;
        for (TypeParam* f : {&one, &pieces})
            ASSERT_TRUE(f->Init(3, w, 1000.0f) && f->Design(0, 0) && f->Design(2, 1));
        EXPECT_EQ(one.InputDataAndDeal(a.data(), type, static_cast<int>(a.size())), frames);
        int largest = 0;
        for (int at = 0, n; at < frames; at += n) {
            n = std::min(frames - at, static_cast<int>(rng() % 37) + 1);
            largest = std::max(largest, n);
            TypeParam copy(pieces), next;
            next = copy;
            EXPECT_EQ(next.InputDataAndDeal(&b[at * 3 * w], type, n * 3 * w), n);
            if (at > frames / 2)  // the original lets go of its channels; the copies keep them
                pieces.Init(3, w, 1000.0f);
            pieces = next;
        }
        EXPECT_EQ(a, b) << type;
        EXPECT_NE(a, original);
        for (int j = 0; j < frames; ++j)
            EXPECT_EQ(std::memcmp(&a[(3 * j + 1) * w], &original[(3 * j + 1) * w], w), 0) << j;
        EXPECT_TRUE(std::equal(a.begin() + whole, a.end(), original.begin() + whole));
        EXPECT_EQ(pieces.m_ppChannels[0]->m_nCapacity, largest);
    }
}

TYPED_TEST(FrameFilter, BadArgumentsAreRefused) {
    TypeParam f;
    char buf[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    const std::vector<char> before(buf, buf + 16);
    EXPECT_FALSE(f.Design(0, 0));  // not initialised
    ASSERT_TRUE(f.Init(2, 2, 1000.0f) && f.Design(0, 0));
    EXPECT_FALSE(f.Init(0, 2, 1000.0f));  // no channels
    EXPECT_FALSE(f.Init(-3, 2, 1000.0f));
    EXPECT_FALSE(f.Init(2, 0, 1000.0f));  // no sample width
    EXPECT_FALSE(f.Init(2, -2, 1000.0f));
    EXPECT_EQ(f.InputDataAndDeal(buf, 0, 16), 0);  // a refused Init leaves it uninitialised
    ASSERT_TRUE(f.Init(2, 2, 1000.0f));
    EXPECT_FALSE(f.Design(2, 0));  // channel outside the frame
    EXPECT_FALSE(f.Design(-1, 0));
    ASSERT_TRUE(f.Design(0, 0) && f.Design(1, 1));
    EXPECT_EQ(f.InputDataAndDeal(nullptr, 0, 16), 0);
    EXPECT_EQ(f.InputDataAndDeal(buf, 0, -9), 0);  // a negative count: nothing processed
    EXPECT_EQ(f.InputDataAndDeal(buf, 0, 3), 0);
    EXPECT_EQ(f.InputDataAndDeal(buf, 3, 16), 4);  // unknown type: nothing written
    EXPECT_EQ(f.InputDataAndDeal(buf, 1, 16), 4);  // 4-byte floats in 2-byte slots
    EXPECT_EQ(std::vector<char>(buf, buf + 16), before);
}

TEST(ChnsFilter, FilterParamLayoutIsPinned) {
#define RZF_AT(m) offsetof(CFilterParam, m)
    const std::vector<std::size_t> at = {
        RZF_AT(m_nDesignMethod), RZF_AT(m_nOrder),      RZF_AT(m_nBandType),  RZF_AT(m_nWindowType),
        RZF_AT(m_dUnused),       RZF_AT(m_dFreq1),      RZF_AT(m_dFreq3),     RZF_AT(m_dFreq2),
        RZF_AT(m_dFreq4),        RZF_AT(m_dPassRipple), RZF_AT(m_dStopAtten), RZF_AT(m_dReserved)};
#undef RZF_AT
    EXPECT_EQ(at, (std::vector<std::size_t>{0, 4, 8, 12, 16, 24, 32, 40, 48, 56, 64, 72}));
    EXPECT_EQ(sizeof(CFilterParam), 80u);
}

// Two 16-bit channels at 999.9 Hz through 4-tap averages, every result worked by hand.
TEST(ChnsFilter, FiltersEnabledChannelsOnlyAndFailedDesignsPassThrough) {
    TraceCapture quiet;
    using V = std::vector<std::int16_t>;
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(2, 2, 999.9f));
    // No field is a designer default; the edges come as f1, f3, f2, f4; the unread field
    // is never the rate. The average ignores the band.
    CFilterParam p{DM_AVERAGE, 4, BAND_HIGHPASS, 2, 5e5, 10, 30, 20, 40, 0.7, 33, 7.5}, bad = p;
    bad.m_dFreq1 = 400.0;  // above 999.9 / 2.56: reported true, channel left off
    ASSERT_TRUE(f.DesignFilter(0, &p) && f.DesignFilter(1, &bad) && !f.m_ppChannels[1]->m_bEnabled);
    EXPECT_FALSE(f.DesignFilter(0, nullptr));
    FilterUser& u = *f.m_ppChannels[0]->m_pFilterUser;
    const std::vector<int> ints = {u.m_nDesignMethod, u.m_nOrder, u.m_nFIRLength, u.m_nWindowType,
                                   u.m_nBandType};
    EXPECT_EQ(ints, (std::vector<int>{DM_AVERAGE, 4, 4, 2, BAND_HIGHPASS}));
    const std::vector<double> reals = {u.m_dSampleFreq, u.m_dPassRipple, u.m_dStopAtten,
                                       u.m_dFreq1,      u.m_dFreq2,      u.m_dFreq3,
                                       u.m_dFreq4,      u.m_dReserved};
    EXPECT_EQ(reals, (std::vector<double>{999.9f, 0.7, 33, 10, 20, 30, 40, 7.5}));
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
    // Butterworth 100 / 300 Hz, 3 / 20 dB: the order estimate 0.5 log10(99 / 0.995) /
    // log10(tan(0.3 pi) / tan(0.1 pi)) + 0.9 = 2.49 truncates to 2, below the lowest order
    // 3. Validation passes, so the channel stays enabled with nothing to filter with: the
    // samples come back as they went in, not as the previous block's output.
    CFilterParam lp{DM_BUTTERWORTH, 0, BAND_LOWPASS, 0, 0.0, 100, 320, 300, 350, 3, 20, 0};
    ASSERT_TRUE(f.DesignFilter(0, &lp) && f.m_ppChannels[0]->m_bEnabled && !u.GetIsStability());
    EXPECT_EQ(Deal(f, V{11, 5, -3, 4}, 0, 2), (V{11, 5, -3, 4}));
}

// The impulse response of a designed channel at single frequencies. A Butterworth
// low-pass of order N pre-warped to its pass edge fp has |H(f)| = 1 / sqrt(1 + (tan(pi f
// / fs) / tan(pi fp / fs))^(2N)); N = trunc(0.5 (log10(10^(Ap/10) - 1) - log10(10^(As/10)
// - 1)) / log10(k) + 0.9) with k = tan(pi fp / fs) / tan(pi fs_edge / fs) is 7.46 here, so 7.
TEST(ChnsFilter, ButterworthChannelFollowsItsClosedForm) {
    const double fs = 1000.0, t1 = std::tan(kPi * 100.0 / fs);
    CChnsFilterFunc f;
    CFilterParam bw{DM_BUTTERWORTH, 0, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 350, 1, 40, 0};
    ASSERT_TRUE(f.Init(1, 4, 1000.0f) && f.DesignFilter(0, &bw));
    EXPECT_EQ(f.m_ppChannels[0]->m_pFilterUser->m_nIIROrder, 7);
    std::vector<float> x(2000, 0.0f);
    x[0] = 1.0f;
    const std::vector<float> y = Deal(f, x, 1);
    for (double hz : {50.0, 100.0, 150.0}) {
        std::complex<double> h = 0.0;
        for (int n = 0; n < 2000; ++n)
            h += static_cast<double>(y[n]) * std::polar(1.0, -2.0 * kPi * hz * n / fs);
        const double want = 1.0 / std::sqrt(1.0 + std::pow(std::tan(kPi * hz / fs) / t1, 14.0));
        EXPECT_NEAR(std::abs(h), want, 1e-4) << hz;
    }
}

// Each row against scipy (tests/data/channels/gen_bessel_reference.py): unity gain at
// 0 Hz up to the rounding of the 15-16 digit coefficients; 1/sqrt(2) of it at scipy's
// -3 dB root of the same response, which lies within 1% of the stated cut-off; and
// coefficients close to scipy's own magnitude-normalised Bessel design.
TEST(BesselTable, RowsAreUnityGainLowPassesAtTheirCutoff) {
    int rows = 0;
    // Records after the header: cutoff rate dc f3db a1 a2 b0 b1 b2.
    for (const auto& record : rzf::test::ReadNumberRows("channels/bessel_reference.txt", 1)) {
        ASSERT_EQ(record.size(), 9u);
        const int cutoff = static_cast<int>(record[0]), rate = static_cast<int>(record[1]);
        const double f3db = record[3];
        const double* ref = record.data() + 4;
        const rzf::BesselTableRow* r = rzf::FindBesselSection(cutoff, rate);
        ASSERT_NE(r, nullptr) << cutoff << '/' << rate;
        auto mag = [r](double f) {
            const std::complex<double> z = std::polar(1.0, -2.0 * kPi * f / r->rate);
            return std::abs((r->b0 + z * (r->b1 + z * r->b2)) / (1.0 + z * (r->a1 + z * r->a2)));
        };
        EXPECT_NEAR(mag(0.0), 1.0, 1e-11) << cutoff << '/' << rate;
        EXPECT_NEAR(mag(f3db), mag(0.0) / std::sqrt(2.0), 1e-9) << cutoff << '/' << rate;
        EXPECT_NEAR(f3db, cutoff, 0.01 * cutoff);
        const double got[] = {r->a1, r->a2, r->b0, r->b1, r->b2};
        for (int k = 0; k < 5; ++k)
            EXPECT_NEAR(got[k], ref[k], 0.02) << cutoff << '/' << rate << ' ' << k;
        ++rows;
    }
    EXPECT_EQ(rows, 18);
    EXPECT_EQ(rzf::BesselTableRowCount(), 18);
    EXPECT_EQ(rzf::FindBesselSection(500, 1000), nullptr);
    EXPECT_EQ(rzf::FindBesselSection(4, 999), nullptr);
    EXPECT_EQ(rzf::FindBesselSection(100, 200), nullptr);
}

// A full-scale step through the 40 Hz / 200 Hz row, against y[n] = b0 x[n] + b1 x[n-1] +
// b2 x[n-2] - a1 y[n-1] - a2 y[n-2] with the row's digits. It overshoots to 33838.93
// (scipy's lfilter), so the 16-bit output is the truncated float output wrapped; then it
// settles back to the input.
TEST(BesselFilter, StepFollowsTheRowAndWrapsIn16Bits) {
    const double a1 = -0.094732564755925, a2 = 0.073740026282273;
    const double b[] = {0.244751865381587, 0.489503730763174, 0.244751865381587};
    CChnsBesselFilterFun fl, in;
    ASSERT_TRUE(fl.Init(1, 4, 200.0f) && fl.DesignFilter(0, 40, true));
    ASSERT_TRUE(in.Init(1, 2, 200.0f) && in.DesignFilter(0, 40, true));
    const std::vector<float> yf = Deal(fl, std::vector<float>(300, 32767.0f), 1);
    const std::vector<std::int16_t> yi = Deal(in, std::vector<std::int16_t>(300, 32767), 0);
    double y1 = 0.0, y2 = 0.0, bsum = 0.0;
    for (int n = 0; n < 300; ++n) {
        bsum += n < 3 ? b[n] : 0.0;
        const double y = 32767.0 * bsum - a1 * y1 - a2 * y2;
        EXPECT_NEAR(yf[n], y, 4e-3) << n;  // the float's rounding at 2^15
        const long t = static_cast<long>(std::trunc(yf[n]));
        EXPECT_EQ(yi[n], t > 32767 ? t - 65536 : t) << n;
        y2 = y1;
        y1 = y;
    }
    EXPECT_EQ(yi[2], 33838 - 65536);
    EXPECT_NEAR(yi.back(), 32767, 1);
}

TEST(BesselFilter, DisablingKeepsStateAndMissingRowsDisableSilently) {
    CChnsBesselFilterFun f, fresh;
    ASSERT_TRUE(f.Init(1, 4, 500.0f) && f.DesignFilter(0, 15, true));
    Deal(f, std::vector<float>{100, 200, 300}, 1);
    const BesselSection& s = *f.m_ppChannels[0]->m_pSection;
    const std::vector<double> state(s.m_pState, s.m_pState + 3);
    ASSERT_NE(state[0], 0.0);
    ASSERT_TRUE(f.DesignFilter(0, 15, false));  // passes through; coefficients and state kept
    EXPECT_EQ(Deal(f, std::vector<float>{1, 2, 3}, 1), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(std::vector<double>(s.m_pState, s.m_pState + 3), state);
    EXPECT_EQ(s.m_pA[1], -1.612915554601527);
    ASSERT_TRUE(f.DesignFilter(0, 15, true));  // enabled again: restarts from rest
    ASSERT_TRUE(fresh.Init(1, 4, 500.0f) && fresh.DesignFilter(0, 15, true));
    EXPECT_EQ(Deal(f, std::vector<float>{9, 8, 7}, 1), Deal(fresh, std::vector<float>{9, 8, 7}, 1));
    // No row for cut-off 500, nor for 4 Hz at 999.9 Hz (looked up as 999): reported true,
    // the channel left off and passing through.
    EXPECT_TRUE(f.DesignFilter(0, 500, true) && !f.m_ppChannels[0]->m_bEnabled);
    EXPECT_TRUE(f.Init(1, 4, 999.9f) && f.DesignFilter(0, 4, true) &&
                !f.m_ppChannels[0]->m_bEnabled);
    EXPECT_EQ(Deal(f, std::vector<float>{5, 6, 7}, 1), (std::vector<float>{5, 6, 7}));
}
