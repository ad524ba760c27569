#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "FrameTestUtil.h"
#include "RZFilterFunc/channels/BesselTable.h"

namespace {

struct Reference {
    int cutoff, rate;
    double dc, f3db, a1, a2, b0, b1, b2;
};

// scipy's -3 dB points of the table rows and its own Bessel designs
// (tests/data/channels/gen_bessel_reference.py).
std::vector<Reference> LoadReference() {
    const char* dir = std::getenv("RZF_TEST_DATA");
    std::ifstream in(std::string(dir ? dir : "tests/data") + "/channels/bessel_reference.txt");
    std::vector<Reference> rows;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream s(line);
        Reference r;
        s >> r.cutoff >> r.rate >> r.dc >> r.f3db >> r.a1 >> r.a2 >> r.b0 >> r.b1 >> r.b2;
        rows.push_back(r);
    }
    return rows;
}

double Magnitude(const rzf::BesselTableRow& r, double f) {
    const std::complex<double> z1 = std::polar(1.0, -2.0 * M_PI * f / r.rate);
    return std::abs((r.b0 + z1 * (r.b1 + z1 * r.b2)) / (1.0 + z1 * (r.a1 + z1 * r.a2)));
}

// Filters one block of floats on channel 0 of a single-channel object.
std::vector<float> FilterBlock(CChnsBesselFilterFun& f, std::vector<float> x) {
    std::vector<char> b = PackFrames(x);
    EXPECT_EQ(f.InputDataAndDeal(b.data(), 1, static_cast<int>(b.size())), (int)x.size());
    return UnpackFrames<float>(b);
}

}  // namespace

TEST(BesselTable, RowsAreUnityGainLowPassesAtTheirCutoff) {
    const std::vector<Reference> ref = LoadReference();
    ASSERT_EQ(ref.size(), 18u);
    ASSERT_EQ(rzf::BesselTableRowCount(), 18);
    for (const Reference& want : ref) {
        const rzf::BesselTableRow* r = rzf::FindBesselSection(want.cutoff, want.rate);
        ASSERT_NE(r, nullptr) << want.cutoff << '/' << want.rate;
        // DC gain is 1 up to the rounding of the 15-16 digit coefficients.
        EXPECT_NEAR((r->b0 + r->b1 + r->b2) / (1.0 + r->a1 + r->a2), 1.0, 1e-11);
        // -3 dB point by bisection on the magnitude: matches scipy's root of
        // the same response, and lies within 1% of the stated cut-off.
        const double target = Magnitude(*r, 0.0) / std::sqrt(2.0);
        double lo = 0.0, hi = r->rate / 2.0;
        for (int i = 0; i < 200; ++i) {
            const double mid = 0.5 * (lo + hi);
            (Magnitude(*r, mid) > target ? lo : hi) = mid;
        }
        EXPECT_NEAR(lo, want.f3db, 1e-7 * want.f3db) << want.cutoff << '/' << want.rate;
        EXPECT_NEAR(lo, want.cutoff, 0.01 * want.cutoff);
        // Close to an independent magnitude-normalised Bessel design.
        const double got[] = {r->a1, r->a2, r->b0, r->b1, r->b2};
        const double other[] = {want.a1, want.a2, want.b0, want.b1, want.b2};
        for (int k = 0; k < 5; ++k)
            EXPECT_NEAR(got[k], other[k], 0.02) << k;
    }
    EXPECT_EQ(rzf::FindBesselSection(500, 1000), nullptr);
    EXPECT_EQ(rzf::FindBesselSection(4, 999), nullptr);
    EXPECT_EQ(rzf::FindBesselSection(100, 200), nullptr);
}

TEST(BesselFilter, FiltersOnlyEnabledChannelsAndWholeFrames) {
    CChnsBesselFilterFun f;
    ASSERT_TRUE(f.Init(2, 2, 1000.0f));
    ASSERT_TRUE(f.DesignFilter(0, 15, true));
    std::vector<char> b = PackFrames(std::vector<std::int16_t>{1000, 2000, 1000, 2000, 77, 99});
    const std::vector<char> before = b;
    // 11 bytes: two whole frames and 3 bytes of a third that stay as they are.
    EXPECT_EQ(f.InputDataAndDeal(b.data(), 0, 11), 2);
    const std::vector<std::int16_t> out = UnpackFrames<std::int16_t>(b);
    // y0 = 1000 b0, y1 = 1000 (b0 + b1) - a1 y0, truncated.
    const double y0 = 1000 * 0.003225967649706;
    const double y1 = 1000 * (0.003225967649706 + 0.006451935299411) + 1.800100721515709 * y0;
    EXPECT_EQ(out[0], static_cast<std::int16_t>(y0));
    EXPECT_EQ(out[2], static_cast<std::int16_t>(y1));
    EXPECT_TRUE(std::equal(b.begin() + 2, b.begin() + 4, before.begin() + 2));
    EXPECT_TRUE(std::equal(b.begin() + 6, b.end(), before.begin() + 6));
}

TEST(BesselFilter, ImpulseAndStepResponses) {
    CChnsBesselFilterFun f;
    ASSERT_TRUE(f.Init(1, 4, 200.0f));
    ASSERT_TRUE(f.DesignFilter(0, 40, true));
    std::vector<float> x(40, 0.0f);
    x[0] = 1.0f;
    const std::vector<float> y = FilterBlock(f, x);
    // Direct-form recursion y[n] = b[n] - a1 y[n-1] - a2 y[n-2].
    const double a1 = -0.094732564755925, a2 = 0.073740026282273;
    const double b[] = {0.244751865381587, 0.489503730763174, 0.244751865381587};
    double ym1 = 0, ym2 = 0;
    for (int n = 0; n < 40; ++n) {
        const double yn = (n < 3 ? b[n] : 0.0) - a1 * ym1 - a2 * ym2;
        EXPECT_NEAR(y[n], yn, 1e-7) << n;
        ym2 = ym1;
        ym1 = yn;
    }

    // A constant settles to itself; in 16 bits the truncated result is off by
    // at most one count.
    CChnsBesselFilterFun g;
    ASSERT_TRUE(g.Init(1, 2, 100.0f));
    ASSERT_TRUE(g.DesignFilter(0, 4, true));
    std::vector<char> c = PackFrames(std::vector<std::int16_t>(400, 10000));
    ASSERT_EQ(g.InputDataAndDeal(c.data(), 0, static_cast<int>(c.size())), 400);
    EXPECT_NEAR(UnpackFrames<std::int16_t>(c).back(), 10000, 1);
}

TEST(BesselFilter, SixteenBitOutputIsTheTruncatedWrappedFloatOutput) {
    // A full-scale step overshoots 32767; stored as 16 bits it wraps.
    CChnsBesselFilterFun fl, in;
    ASSERT_TRUE(fl.Init(1, 4, 50.0f) && in.Init(1, 2, 50.0f));
    ASSERT_TRUE(fl.DesignFilter(0, 15, true) && in.DesignFilter(0, 15, true));
    std::vector<float> xs(30, 32767.0f);
    const std::vector<float> ys = FilterBlock(fl, xs);
    std::vector<char> b = PackFrames(std::vector<std::int16_t>(30, 32767));
    in.InputDataAndDeal(b.data(), 0, 60);
    const std::vector<std::int16_t> yi = UnpackFrames<std::int16_t>(b);
    bool wrapped = false;
    for (int n = 0; n < 30; ++n) {
        long t = static_cast<long>(std::trunc(ys[n]));
        if (t > 32767) {
            t -= 65536;
            wrapped = true;
        }
        EXPECT_EQ(yi[n], t) << n;
    }
    EXPECT_TRUE(wrapped);
}

TEST(BesselFilter, MissingSectionsDisableSilently) {
    CChnsBesselFilterFun f;
    ASSERT_TRUE(f.Init(1, 2, 1000.0f));
    EXPECT_TRUE(f.DesignFilter(0, 500, true));
    EXPECT_FALSE(f.m_ppChannels[0]->m_bEnabled);
    ASSERT_TRUE(f.Init(1, 2, 999.9f));
    EXPECT_TRUE(f.DesignFilter(0, 4, true));  // looks for a 999 Hz row
    EXPECT_FALSE(f.m_ppChannels[0]->m_bEnabled);
    std::vector<char> b = PackFrames(std::vector<std::int16_t>{5, 6, 7});
    const std::vector<char> before = b;
    EXPECT_EQ(f.InputDataAndDeal(b.data(), 0, 6), 3);
    EXPECT_EQ(b, before);
}

TEST(BesselFilter, DisableKeepsStateAndReenableRestarts) {
    CChnsBesselFilterFun f;
    ASSERT_TRUE(f.Init(1, 4, 500.0f));
    ASSERT_TRUE(f.DesignFilter(0, 15, true));
    FilterBlock(f, {100, 200, 300});
    const BesselSection& s = *f.m_ppChannels[0]->m_pSection;
    const std::vector<double> state(s.m_pState, s.m_pState + 3);
    ASSERT_NE(state[0], 0.0);
    ASSERT_TRUE(f.DesignFilter(0, 15, false));
    EXPECT_EQ(FilterBlock(f, {1, 2, 3}), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(std::vector<double>(s.m_pState, s.m_pState + 3), state);
    EXPECT_EQ(s.m_pA[1], -1.612915554601527);

    ASSERT_TRUE(f.DesignFilter(0, 15, true));
    const BesselSection& r = *f.m_ppChannels[0]->m_pSection;
    EXPECT_EQ(std::vector<double>(r.m_pState, r.m_pState + 3), std::vector<double>(3, 0.0));
    CChnsBesselFilterFun fresh;
    ASSERT_TRUE(fresh.Init(1, 4, 500.0f) && fresh.DesignFilter(0, 15, true));
    EXPECT_EQ(FilterBlock(f, {9, 8, 7}), FilterBlock(fresh, {9, 8, 7}));
}
