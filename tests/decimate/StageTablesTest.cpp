#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "RZFilterFunc/decimate/DecimationTables.h"

namespace {

struct StageExpect {
    int taps;
    int factor;
    double minus3dB;  // fraction of the stage's input rate
};

struct RatioExpect {
    int ratio;
    std::vector<StageExpect> stages;
    std::vector<int> inPerOut;
};

const std::vector<RatioExpect>& Expected() {
    static const std::vector<RatioExpect> table = {
        {2, {{45, 2, 0.232}}, {2}},
        {5, {{113, 5, 0.093}}, {5}},
        {10, {{44, 5, 0.079}, {48, 2, 0.234}}, {10, 2}},
        {20, {{30, 5, 0.080}, {96, 4, 0.117}}, {20, 4}},
        {50, {{55, 10, 0.038}, {144, 5, 0.091}}, {50, 5}},
        {100, {{6, 2, 0.226}, {58, 10, 0.041}, {119, 5, 0.094}}, {100, 50, 5}},
        {200, {{114, 25, 0.015}, {190, 8, 0.059}}, {200, 8}},
        {500, {{109, 25, 0.015}, {7, 2, 0.204}, {237, 10, 0.047}}, {500, 20, 10}},
        {1000, {{216, 50, 0.0076}, {473, 20, 0.0235}}, {1000, 20}},
    };
    return table;
}

// Zero-phase amplitude of a symmetric table, evaluated in double.
double Amplitude(const float* h, int n, double f) {
    const double pi = std::acos(-1.0);
    const double centre = (n - 1) / 2.0;
    double a = 0.0;
    for (int i = 0; i < n; ++i) {
        a += static_cast<double>(h[i]) * std::cos(2.0 * pi * f * (i - centre));
    }
    return a;
}

// First frequency where |A| falls below 1/sqrt(2), by scan then bisection.
double Minus3dBPoint(const float* h, int n) {
    const double target = 1.0 / std::sqrt(2.0);
    double lo = 0.0;
    double hi = 0.5;
    for (int k = 1; k <= 20000; ++k) {
        const double f = 0.5 * k / 20000.0;
        if (std::fabs(Amplitude(h, n, f)) < target) {
            lo = 0.5 * (k - 1) / 20000.0;
            hi = f;
            break;
        }
    }
    for (int it = 0; it < 50; ++it) {
        const double mid = 0.5 * (lo + hi);
        (std::fabs(Amplitude(h, n, mid)) >= target ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

}  // namespace

TEST(DecimStageTables, CascadeLayout) {
    int totalTaps = 0;
    for (const RatioExpect& e : Expected()) {
        const DecimRatioDesc* d = rzf::FindDecimRatio(e.ratio);
        ASSERT_NE(d, nullptr) << e.ratio;
        ASSERT_EQ(d->m_nStageCount, e.stages.size()) << e.ratio;
        for (std::size_t k = 0; k < 3; ++k) {
            if (k < e.stages.size()) {
                ASSERT_NE(d->m_pStage[k], nullptr);
                EXPECT_EQ(d->m_pStage[k]->m_nTaps, e.stages[k].taps) << e.ratio;
                EXPECT_EQ(d->m_pStage[k]->m_nFactor, e.stages[k].factor) << e.ratio;
                EXPECT_EQ(d->m_nInPerOut[k], e.inPerOut[k]) << e.ratio;
                totalTaps += d->m_pStage[k]->m_nTaps;
            } else {
                EXPECT_EQ(d->m_pStage[k], nullptr);
                EXPECT_EQ(d->m_nInPerOut[k], 0);
            }
        }
    }
    EXPECT_EQ(totalTaps, 2104);
    for (int r : {0, 1, 3, 4, 25, 2000}) {
        EXPECT_EQ(rzf::FindDecimRatio(r), nullptr);
    }
}

TEST(DecimStageTables, SymmetricUnitGainLowPassWithListedCorner) {
    for (const RatioExpect& e : Expected()) {
        const DecimRatioDesc* d = rzf::FindDecimRatio(e.ratio);
        for (std::size_t k = 0; k < e.stages.size(); ++k) {
            const DecimStageDesc& st = *d->m_pStage[k];
            const int n = st.m_nTaps;
            double sum = 0.0;
            for (int i = 0; i < n; ++i) {
                EXPECT_EQ(st.m_pTapCoef[i], st.m_pTapCoef[n - 1 - i]) << e.ratio << "/" << k;
                sum += st.m_pTapCoef[i];
            }
            EXPECT_NEAR(sum, 1.0, 0.0003) << e.ratio << "/" << k;
            EXPECT_NEAR(Minus3dBPoint(st.m_pTapCoef, n), e.stages[k].minus3dB, 0.002)
                << e.ratio << "/" << k;
        }
    }
}

TEST(DecimStageTables, PublishedTapValues) {
    const DecimStageDesc& s45 = *rzf::FindDecimRatio(2)->m_pStage[0];
    EXPECT_EQ(s45.m_pTapCoef[22], 0.484715f);
    const float outer45[3] = {0.000288302f, 0.000212704f, -0.000714157f};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(s45.m_pTapCoef[i], outer45[i]);
        EXPECT_EQ(s45.m_pTapCoef[44 - i], outer45[i]);
    }
    const DecimStageDesc& s6 = *rzf::FindDecimRatio(100)->m_pStage[0];
    const float h6[6] = {-0.0459149f, 0.0791638f, 0.466752f, 0.466752f, 0.0791638f, -0.0459149f};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(s6.m_pTapCoef[i], h6[i]);
    }
    const DecimStageDesc& s7 = *rzf::FindDecimRatio(500)->m_pStage[1];
    const float h7[7] = {-0.0316918f, 0.000719341f, 0.281689f,  0.498583f,
                         0.281689f,   0.000719341f, -0.0316918f};
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(s7.m_pTapCoef[i], h7[i]);
    }
}
