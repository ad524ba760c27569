// FilterUser's section queries and section-mode filtering, and the same mode
// for CChnsFilterFunc's channels. The section designs themselves are checked
// against scipy in tests/iir/SectionDesignTest.cpp.
#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsFilterFunc.h>
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/platform/HardWareConfig.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "RZFilterFunc/iir/PoleRadius.h"
#include "RZFilterFunc/iir/SectionDesign.h"

namespace {

using Floats = std::vector<float>;
using V = std::vector<double>;

struct Spec {
    int method, band;
    double fs, f1, f2, f3, f4, ap, as;
};

// Unstable as one transfer function, stable as sections.
const Spec kUnstable[] = {
    {0, 3, 360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0},
    {1, 3, 360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0},
    {2, 3, 360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0},
    {0, 3, 10000.0, 90.0, 100.0, 110.0, 120.0, 1.0, 40.0},
    {0, 4, 10000.0, 9.0, 10.0, 11.0, 12.0, 1.0, 40.0},
    {1, 3, 10000.0, 45.0, 50.0, 52.0, 57.0, 1.0, 40.0},
};
const Spec kStable[] = {
    {0, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0},
    {1, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0},
    {2, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0},
};

void Set(FilterUser& u, const Spec& s) {
    u.setFilterParameter(s.band, s.method, s.f1, s.f2, s.f3, s.f4, s.fs, 0, s.ap, s.as, 0.0);
}

Floats Noise(int n, unsigned seed, float scale = 1.0f) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-scale, scale);
    Floats v(static_cast<std::size_t>(n));
    for (float& x : v) {
        x = dist(rng);
    }
    return v;
}

Floats Filtered(FilterUser& u, Floats x) {
    u.FilterData(x.data(), x.data(), static_cast<int>(x.size()));
    return x;
}

// Plain sample-by-sample cascade over given rows.
Floats Cascade(const double* rows, int n, const Floats& in) {
    V s(2 * static_cast<std::size_t>(n), 0.0);
    Floats out;
    for (float xf : in) {
        double x = xf;
        for (int j = 0; j < n; ++j) {
            const double* r = rows + 6 * j;
            const double y = r[0] * x + s[2 * j];
            s[2 * j] = r[1] * x + s[2 * j + 1] - r[4] * y;
            s[2 * j + 1] = r[2] * x - r[5] * y;
            x = y;
        }
        out.push_back(static_cast<float>(x));
    }
    return out;
}

bool NoSections(FilterUser& u) {
    return u.GetSectionCount() == 0 && u.GetSections() == nullptr;
}

}  // namespace

// The queries give what the designs hold: the sections of the pure design for
// the stored specification, the pole radius of the stored denominator.
TEST(SectionQueries, ReportTheCurrentDesign) {
    for (const Spec& s : kUnstable) {
        FilterUser u;
        Set(u, s);
        ASSERT_TRUE(u.DesignFilter());
        ASSERT_TRUE(u.GetIsStability());  // the transfer function's flag is unchanged
        rzf::SectionRequest r;
        r.family = static_cast<rzf::IirFamily>(s.method);
        r.bandType = s.band;
        r.filterOrder = u.m_nIIROrder;
        r.sampleFreq = s.fs;
        r.freq1 = s.f1;
        r.freq2 = s.f2;
        r.freq3 = s.f3;
        r.freq4 = s.f4;
        r.stopAtten = s.as;
        const rzf::SectionSet expected = rzf::DesignSections(r);
        ASSERT_EQ(u.GetSectionCount(), expected.Count());
        ASSERT_EQ(u.GetSectionCount(), (u.m_nIIROrder + 1) / 2);
        EXPECT_EQ(V(u.GetSections(), u.GetSections() + 6 * u.GetSectionCount()), expected.rows);
        const double radius = u.GetPoleRadius();
        EXPECT_EQ(radius, rzf::PoleRadius(u.m_pFilter->GetDenominator(), u.m_nIIROrder));
        EXPECT_GT(radius, 1.0);
    }
    for (const Spec& s : kStable) {
        FilterUser u;
        Set(u, s);
        ASSERT_TRUE(u.DesignFilter());
        EXPECT_GT(u.GetPoleRadius(), 0.5);
        EXPECT_LT(u.GetPoleRadius(), 1.0);
        EXPECT_GT(u.GetSectionCount(), 0);
    }
}

TEST(SectionQueries, NoDesignFirAndRefusals) {
    FilterUser none;  // never designed
    EXPECT_EQ(none.GetPoleRadius(), -1.0);
    EXPECT_TRUE(NoSections(none));

    FilterUser fir, average;
    fir.setFilterParameter(BAND_LOWPASS, DM_WINDOW_FIR, 100, 200, 300, 400, 1000, 31, 1, 40, 0);
    average.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 4, 0, 0, 0);
    for (FilterUser* u : {&fir, &average}) {
        ASSERT_TRUE(u->DesignFilter());
        EXPECT_EQ(u->GetPoleRadius(), 0.0);
        EXPECT_TRUE(NoSections(*u));
    }

    FilterUser u;
    Set(u, kStable[0]);
    ASSERT_TRUE(u.DesignFilter());
    ASSERT_GT(u.GetSectionCount(), 0);
    // A refused validation, an order out of bounds, the silent Nyquist-margin
    // refusal and a method without a class all leave no design behind.
    u.m_dFreq2 = 50.0;  // stop edge below the pass edge
    EXPECT_FALSE(u.DesignFilter());
    EXPECT_TRUE(NoSections(u));
    EXPECT_EQ(u.GetPoleRadius(), -1.0);
    Set(u, {0, 1, 1000.0, 100.0, 101.0, 300.0, 400.0, 0.1, 100.0});
    ASSERT_TRUE(u.DesignFilter());
    EXPECT_FALSE(u.GetIsStability());
    EXPECT_TRUE(NoSections(u));
    EXPECT_EQ(u.GetPoleRadius(), -1.0);
    HardWareConfig::g_bIs7306K_FirFunc = true;
    Set(u, {0, 1, 1000.0, 100.0, 400.0, 450.0, 480.0, 1.0, 20.0});
    ASSERT_TRUE(u.DesignFilter());
    HardWareConfig::g_bIs7306K_FirFunc = false;
    EXPECT_EQ(u.m_nIIROrder, -1);
    EXPECT_TRUE(NoSections(u));
    EXPECT_EQ(u.GetPoleRadius(), -1.0);
    u.m_nDesignMethod = DM_RESERVED;
    EXPECT_FALSE(u.DesignFilter());
    EXPECT_TRUE(NoSections(u));
    EXPECT_EQ(u.GetPoleRadius(), -1.0);

    // Section mode without sections filters nothing: the output is left alone.
    const Floats sentinel(8, 7.0f);
    Floats out = sentinel;
    Floats in = Noise(8, 1);
    for (FilterUser* who : {&none, &u}) {
        who->setSectionMode(true);
        who->FilterData(in.data(), out.data(), 8);
        EXPECT_EQ(out, sentinel);
    }
}

// Section mode streams the design's own rows: equal to the plain cascade, in
// one call or in random blocks through copies made mid-stream (copies share
// the state, as in the transfer-function path); a restart or a redesign starts
// from zero state.
TEST(SectionMode, BlocksCopiesRestartAndRedesign) {
    std::mt19937 rng(3);
    const Floats x = Noise(3000, 9);
    for (const Spec& s : kUnstable) {
        FilterUser whole, pieces, assigned;
        for (FilterUser* u : {&whole, &pieces}) {
            Set(*u, s);
            u->setSectionMode(true);
            ASSERT_TRUE(u->DesignFilter());
        }
        const Floats expected = Cascade(whole.GetSections(), whole.GetSectionCount(), x);
        EXPECT_EQ(Filtered(whole, x), expected);

        Floats y = x;
        for (int pos = 0, k = 0, n = 0; pos < 3000; pos += n, ++k) {
            n = std::min(std::uniform_int_distribution<int>(0, 400)(rng), 3000 - pos);
            FilterUser copy(pieces);
            assigned = pieces;
            FilterUser& who = k % 3 == 0 ? pieces : k % 3 == 1 ? copy : assigned;
            who.FilterData(y.data() + pos, y.data() + pos, n);
        }
        EXPECT_EQ(y, expected);

        const Floats tail(x.begin() + 1000, x.end());
        const Floats fresh = Cascade(whole.GetSections(), whole.GetSectionCount(), tail);
        pieces.setFirstInputState(true);
        EXPECT_EQ(Filtered(pieces, tail), fresh);
        Filtered(pieces, x);
        ASSERT_TRUE(pieces.DesignFilter());  // a design restarts the sections too
        EXPECT_EQ(Filtered(pieces, tail), fresh);
    }
}

// Switching the mode restarts the filter from zero state in the new mode; the
// default path is the transfer function, unchanged by turning the mode off.
TEST(SectionMode, SwitchingMidStreamRestarts) {
    const Floats x = Noise(1200, 4);
    const Floats first(x.begin(), x.begin() + 500), second(x.begin() + 500, x.end());
    for (const Spec& s : kStable) {
        FilterUser plain, untouched, switched;
        for (FilterUser* u : {&plain, &untouched, &switched}) {
            Set(*u, s);
            ASSERT_TRUE(u->DesignFilter());
        }
        untouched.setSectionMode(false);  // already off: nothing changes
        const Floats tf = Filtered(plain, x);
        EXPECT_EQ(Filtered(untouched, x), tf);

        Floats out = Filtered(switched, first);
        EXPECT_TRUE(std::equal(out.begin(), out.end(), tf.begin()));
        switched.setSectionMode(true);
        EXPECT_EQ(Filtered(switched, second),
                  Cascade(switched.GetSections(), switched.GetSectionCount(), second));
        switched.setSectionMode(false);
        FilterUser fresh;
        Set(fresh, s);
        ASSERT_TRUE(fresh.DesignFilter());
        EXPECT_EQ(Filtered(switched, first), Filtered(fresh, first));
    }

    // FIR and moving-average designs filter the same in either mode.
    for (int method : {DM_WINDOW_FIR, DM_AVERAGE}) {
        FilterUser a, b;
        for (FilterUser* u : {&a, &b}) {
            u->setFilterParameter(BAND_LOWPASS, method, 100, 200, 300, 400, 1000, 31, 1, 40, 0);
            ASSERT_TRUE(u->DesignFilter());
        }
        b.setSectionMode(true);
        EXPECT_EQ(Filtered(a, x), Filtered(b, x)) << method;
    }
}

// A million samples of noise through the designs whose transfer function is
// unstable: section mode stays finite and bounded by the filter's gain.
TEST(SectionMode, SlowMillionSamplesStayFinite) {
    const int total = 1000000, block = 4096;
    const Floats noise = Noise(total, 21);
    for (const Spec& s : kUnstable) {
        FilterUser u;
        Set(u, s);
        u.setSectionMode(true);
        ASSERT_TRUE(u.DesignFilter());
        Floats y(block);
        float largest = 0.0f;
        bool finite = true;
        for (int pos = 0; pos < total; pos += block) {
            const int n = std::min(block, total - pos);
            u.FilterData(const_cast<float*>(noise.data()) + pos, y.data(), n);
            for (int i = 0; i < n; ++i) {
                finite = finite && std::isfinite(y[i]);
                largest = std::max(largest, std::fabs(y[i]));
            }
        }
        EXPECT_TRUE(finite) << s.method << " " << s.band << " " << s.f1;
        // Unit-peak filters on unit noise: far below this bound.
        EXPECT_LT(largest, 20.0f) << s.method << " " << s.band << " " << s.f1;
    }
}

// CChnsFilterFunc's section mode applies to every channel, those designed
// before and after it is set and after a new Init.
TEST(SectionMode, FrameChannelsFollowTheMode) {
    const int frames = 900;
    const Floats a = Noise(frames, 5, 1000.0f), b = Noise(frames, 6, 1000.0f);
    std::vector<float> frame(2 * frames);
    for (int j = 0; j < frames; ++j) {
        frame[2 * j] = a[j];
        frame[2 * j + 1] = b[j];
    }
    CFilterParam p{};
    p.m_nDesignMethod = DM_BUTTERWORTH;
    p.m_nBandType = BAND_BANDPASS;
    p.m_dFreq1 = 0.1;
    p.m_dFreq2 = 0.5;
    p.m_dFreq3 = 40.0;
    p.m_dFreq4 = 60.0;
    p.m_dPassRipple = 1.0;
    p.m_dStopAtten = 30.0;
    for (int initFirst = 0; initFirst < 2; ++initFirst) {
        CChnsFilterFunc f;
        if (initFirst == 0) {
            f.setSectionMode(true);
            ASSERT_TRUE(f.Init(2, 4, 360.0f));
        } else {
            ASSERT_TRUE(f.Init(2, 4, 360.0f));
            ASSERT_TRUE(f.DesignFilter(1, &p));
            f.setSectionMode(true);
        }
        ASSERT_TRUE(f.DesignFilter(0, &p) && f.DesignFilter(1, &p));
        std::vector<float> data = frame;
        int done = 0;
        for (int n : {1, 300, 599}) {
            EXPECT_EQ(f.InputDataAndDeal(reinterpret_cast<char*>(&data[2 * done]), 1, n * 8), n);
            done += n;
        }
        FilterUser one;
        one.setFilterParameter(BAND_BANDPASS, DM_BUTTERWORTH, 0.1, 0.5, 40.0, 60.0, 360.0, 0, 1.0,
                               30.0, 0.0);
        ASSERT_TRUE(one.DesignFilter());
        const Floats ya = Cascade(one.GetSections(), one.GetSectionCount(), a);
        const Floats yb = Cascade(one.GetSections(), one.GetSectionCount(), b);
        for (int j = 0; j < frames; ++j) {
            ASSERT_EQ(data[2 * j], ya[j]) << j;
            ASSERT_EQ(data[2 * j + 1], yb[j]) << j;
        }
        f.setSectionMode(false);  // back to the transfer function, from zero state
        data = frame;
        f.InputDataAndDeal(reinterpret_cast<char*>(data.data()), 1, 8 * frames);
        FilterUser tf;
        tf.setFilterParameter(BAND_BANDPASS, DM_BUTTERWORTH, 0.1, 0.5, 40.0, 60.0, 360.0, 0, 1.0,
                              30.0, 0.0);
        ASSERT_TRUE(tf.DesignFilter());
        const Floats ta = Filtered(tf, a);
        for (int j = 0; j < 50; ++j) {
            ASSERT_EQ(data[2 * j], ta[j]) << j;
        }
    }
}
