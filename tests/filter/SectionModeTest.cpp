// FilterUser's second-order sections and section-mode filtering, and the same
// mode for CChnsFilterFunc's channels. The section designs themselves are
// checked against scipy in tests/iir/SectionDesignTest.cpp.
#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsFilterFunc.h>
#include <RZFilterFunc/filter/FilterUser.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "SampleData.h"
#include "TraceCapture.h"

namespace {

using Floats = std::vector<float>;

struct SectionCase {
    int method, band;
    double fs, f1, f2, f3, f4, ap, as;
    bool tfStable;  // the first four are unstable as one transfer function
};

const SectionCase kCases[] = {
    {DM_BUTTERWORTH, BAND_BANDPASS, 360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0, false},
    {DM_CHEBYSHEV1, BAND_BANDPASS, 360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0, false},
    {DM_CHEBYSHEV2, BAND_BANDPASS, 360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0, false},
    {DM_BUTTERWORTH, BAND_BANDSTOP, 10000.0, 9.0, 10.0, 11.0, 12.0, 1.0, 40.0, false},
    {DM_BUTTERWORTH, BAND_LOWPASS, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0, true},
    {DM_CHEBYSHEV1, BAND_HIGHPASS, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0, true},
    {DM_CHEBYSHEV2, BAND_BANDSTOP, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0, true},
    {DM_CHEBYSHEV1, BAND_BANDPASS, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 60.0, true},
};

void Design(FilterUser& u, const SectionCase& s, bool sections) {
    u.setFilterParameter(s.band, s.method, s.f1, s.f2, s.f3, s.f4, s.fs, 0, s.ap, s.as, 0.0);
    u.setSectionMode(sections);
    ASSERT_TRUE(u.DesignFilter());
}

Floats Noise(int n, unsigned seed) {
    std::mt19937 rng(seed);
    return rzf::test::RandomFloats(rng, n, 1.0f, false);
}

Floats Filtered(FilterUser& u, Floats x) {
    u.FilterData(x.data(), x.data(), static_cast<int>(x.size()));
    return x;
}

// Plain sample-by-sample cascade (transposed direct form II) over the user's rows.
Floats Cascade(FilterUser& u, const Floats& in) {
    const double* rows = u.GetSections();
    const int n = u.GetSectionCount();
    std::vector<double> s(2 * static_cast<std::size_t>(n), 0.0);
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

}  // namespace

// Each design has (order + 1) / 2 sections; the pole radius is that of the
// stored transfer function, above 1 exactly where it is unstable.
TEST(SectionQueries, QueriesFollowTheDesign) {
    for (const SectionCase& s : kCases) {
        FilterUser u;
        Design(u, s, false);
        EXPECT_EQ(u.GetSectionCount(), (u.m_nIIROrder + 1) / 2) << s.method << " " << s.band;
        EXPECT_EQ(u.GetPoleRadius() < 1.0, s.tfStable) << s.method << " " << s.band;
        EXPECT_GT(u.GetPoleRadius(), 0.5) << s.method << " " << s.band;
    }
}

// FIR and moving-average designs have their poles at 0, no sections, and
// filter the same in section mode.
TEST(SectionQueries, FirDesignsHaveNoSections) {
    const Floats x = Noise(300, 7);
    for (int method : {DM_WINDOW_FIR, DM_AVERAGE}) {
        FilterUser u;
        u.setFilterParameter(BAND_LOWPASS, method, 100, 200, 300, 400, 1000, 31, 1, 40, 0);
        ASSERT_TRUE(u.DesignFilter());
        EXPECT_EQ(u.GetPoleRadius(), 0.0);
        EXPECT_EQ(u.GetSectionCount(), 0);
        FilterUser sections(u);
        sections.setSectionMode(true);
        EXPECT_EQ(Filtered(sections, x), Filtered(u, x)) << method;
    }
}

// No design, or a refusal after a good one (in validation or in the design),
// leaves no sections, and section mode then filters nothing.
TEST(SectionQueries, RefusalsLeaveNoSections) {
    const TraceCapture refusals;
    FilterUser none, u;
    EXPECT_EQ(none.GetPoleRadius(), -1.0);
    EXPECT_EQ(none.GetSectionCount(), 0);
    Design(u, kCases[4], true);
    u.m_dFreq2 = 50.0;  // stop edge below the pass edge
    EXPECT_FALSE(u.DesignFilter());
    EXPECT_EQ(u.GetSectionCount(), 0);
    EXPECT_EQ(u.GetPoleRadius(), -1.0);
    Design(u, {DM_BUTTERWORTH, BAND_LOWPASS, 1000.0, 100.0, 101.0, 300.0, 400.0, 0.1, 100.0, true},
           true);
    EXPECT_FALSE(u.GetIsStability());  // order out of bounds
    EXPECT_EQ(u.GetSectionCount(), 0);
    Floats in = Noise(8, 1), out(8, 7.0f);
    u.FilterData(in.data(), out.data(), 8);
    EXPECT_EQ(out, Floats(8, 7.0f));
}

// Where the transfer function is stable both paths compute the same filter:
// within 1e-6 of the output's peak on unit noise (measured: 4e-9 at most).
TEST(SectionMode, AgreesWithTheTransferFunctionWhereItIsStable) {
    const Floats x = Noise(4000, 2);
    for (const SectionCase& s : kCases) {
        if (!s.tfStable) {
            continue;
        }
        FilterUser tf, sections;
        Design(tf, s, false);
        Design(sections, s, true);
        const Floats a = Filtered(tf, x), b = Filtered(sections, x);
        const float peak = std::fabs(*std::max_element(
            a.begin(), a.end(), [](float u, float v) { return std::fabs(u) < std::fabs(v); }));
        ASSERT_GT(peak, 0.1f) << s.method << " " << s.band;
        for (std::size_t i = 0; i < x.size(); ++i) {
            ASSERT_NEAR(b[i], a[i], 1e-6f * peak) << s.method << " " << s.band << " at " << i;
        }
    }
}

// Section mode streams the design's own rows, bit for bit as the plain
// cascade: in random blocks through copies made mid-stream (which share the
// state until redesigned); a restart or a redesign starts from zero state.
TEST(SectionMode, BlocksThroughMidStreamCopiesEqualTheCascade) {
    std::mt19937 rng(3);
    const Floats x = Noise(3000, 9), tail(x.begin() + 1000, x.end());
    for (const SectionCase& s : kCases) {
        FilterUser pieces, assigned;
        Design(pieces, s, true);
        const Floats expected = Cascade(pieces, x), fresh = Cascade(pieces, tail);
        Floats y = x;
        int pos = 0, k = 0;
        for (int n : rzf::test::RandomSplit(rng, 3000)) {
            FilterUser copy(pieces);
            assigned = pieces;
            FilterUser& who = k % 3 == 0 ? pieces : k % 3 == 1 ? copy : assigned;
            who.FilterData(y.data() + pos, y.data() + pos, n);
            ASSERT_TRUE(copy.DesignFilter());  // a redesigned copy lets go of the shared state
            Filtered(copy, tail);
            pos += n;
            ++k;
        }
        EXPECT_EQ(y, expected);
        pieces.setFirstInputState(true);
        EXPECT_EQ(Filtered(pieces, tail), fresh);
        ASSERT_TRUE(pieces.DesignFilter());
        EXPECT_EQ(Filtered(pieces, tail), fresh);
    }
}

// Switching the mode restarts from zero state in the new mode; setting the
// mode it already has changes nothing.
TEST(SectionMode, SwitchingMidStreamRestarts) {
    const Floats x = Noise(1200, 4);
    const Floats first(x.begin(), x.begin() + 500), second(x.begin() + 500, x.end());
    const SectionCase& s = kCases[5];
    FilterUser switched;
    Design(switched, s, false);
    const Floats tf = Filtered(switched, first);
    switched.setSectionMode(true);
    EXPECT_EQ(Filtered(switched, second), Cascade(switched, second));
    switched.setSectionMode(false);
    EXPECT_EQ(Filtered(switched, first), tf);
    switched.setSectionMode(false);
    EXPECT_NE(Filtered(switched, first), tf);  // carries on: no restart
}

// CChnsFilterFunc's mode reaches every channel, designed before or after it
// is set, and channels made by Init after it.
TEST(SectionMode, FrameChannelsFollowTheMode) {
    const int frames = 900;
    const Floats a = Noise(frames, 5), b = Noise(frames, 6);
    Floats frame(2 * frames);
    for (int j = 0; j < frames; ++j) {
        frame[2 * j] = a[j];
        frame[2 * j + 1] = b[j];
    }
    CFilterParam p{DM_BUTTERWORTH, 0, BAND_BANDPASS, 0, 0.0, 0.1, 40.0, 0.5, 60.0, 1.0, 30.0, 0.0};
    FilterUser one;
    Design(one, kCases[0], true);
    const Floats ya = Cascade(one, a), yb = Cascade(one, b);
    for (int modeFirst = 0; modeFirst < 2; ++modeFirst) {
        CChnsFilterFunc f;
        f.setSectionMode(modeFirst == 1);
        ASSERT_TRUE(f.Init(2, 4, 360.0f));
        ASSERT_TRUE(f.DesignFilter(1, &p));
        f.setSectionMode(true);
        ASSERT_TRUE(f.DesignFilter(0, &p));
        Floats data = frame;
        int done = 0;
        for (int n : {1, 300, 599}) {
            EXPECT_EQ(f.InputDataAndDeal(reinterpret_cast<char*>(&data[2 * done]), 1, n * 8), n);
            done += n;
        }
        for (int j = 0; j < frames; ++j) {
            ASSERT_EQ(data[2 * j], ya[j]) << j;
            ASSERT_EQ(data[2 * j + 1], yb[j]) << j;
        }
    }
}
