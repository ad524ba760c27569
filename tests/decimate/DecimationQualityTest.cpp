// The decimation filters: each ratio's stage table as designed and its
// cascade's frequency response. The decimator computes exactly this cascade
// (DecimateLevels compares it bit for bit with the plain convolution).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

#include "DecimateTestSupport.h"

namespace {

const double kPi = std::acos(-1.0);

// Zero-phase amplitude of a stage at f cycles per stage input sample.
double Amplitude(const DecimStageDesc& st, double f) {
    double a = 0.0;
    for (int i = 0; i < st.m_nTaps; ++i)
        a += st.m_pTapCoef[i] * std::cos(2.0 * kPi * f * (i - (st.m_nTaps - 1) / 2.0));
    return a;
}

// {taps, factor, -3 dB point as a fraction of its input rate} of each stage, the factors
// multiplying to the ratio; every stage symmetric with unit DC gain.
TEST(DecimStageTables, CascadesOfSymmetricUnitGainLowPasses) {
    struct Stage {
        int taps, factor;
        double minus3dB;
    };
    const std::pair<int, std::vector<Stage>> cascades[9] = {
        {2, {{45, 2, 0.232}}},
        {5, {{113, 5, 0.093}}},
        {10, {{44, 5, 0.079}, {48, 2, 0.234}}},
        {20, {{30, 5, 0.080}, {96, 4, 0.117}}},
        {50, {{55, 10, 0.038}, {144, 5, 0.091}}},
        {100, {{6, 2, 0.226}, {58, 10, 0.041}, {119, 5, 0.094}}},
        {200, {{114, 25, 0.015}, {190, 8, 0.059}}},
        {500, {{109, 25, 0.015}, {7, 2, 0.204}, {237, 10, 0.047}}},
        {1000, {{216, 50, 0.0076}, {473, 20, 0.0235}}}};
    for (const auto& [ratio, stages] : cascades) {
        const DecimRatioDesc* d = rzf::FindDecimRatio(ratio);
        ASSERT_NE(d, nullptr) << ratio;
        ASSERT_EQ(d->m_nStageCount, stages.size()) << ratio;
        int inPerOut = ratio;  // stage input samples per output sample
        for (std::size_t k = 0; k < stages.size(); ++k) {
            const DecimStageDesc& st = *d->m_pStage[k];
            const float* c = st.m_pTapCoef;
            EXPECT_EQ((std::vector<int>{st.m_nTaps, st.m_nFactor, d->m_nInPerOut[k]}),
                      (std::vector<int>{stages[k].taps, stages[k].factor, inPerOut}))
                << ratio << "/" << k;
            inPerOut /= stages[k].factor;
            EXPECT_TRUE(std::equal(c, c + st.m_nTaps, std::reverse_iterator(c + st.m_nTaps)))
                << ratio << "/" << k;
            EXPECT_NEAR(std::accumulate(c, c + st.m_nTaps, 0.0), 1.0, 0.0003) << ratio << "/" << k;
            // The amplitude crosses 1/sqrt(2) within 0.002 of the -3 dB point.
            EXPECT_GT(Amplitude(st, stages[k].minus3dB - 0.002), std::sqrt(0.5)) << ratio << k;
            EXPECT_LT(Amplitude(st, stages[k].minus3dB + 0.002), std::sqrt(0.5)) << ratio << k;
        }
        EXPECT_EQ(inPerOut, 1) << ratio;
    }
}

TEST(DecimStageTables, OnlyTheNineRatiosAreActive) {
    for (int r = -2; r <= 2000; ++r) {
        const bool tabled = std::count(decimtest::kRatios, decimtest::kRatios + 9, r) == 1;
        EXPECT_EQ(CFirFunc::IsActiveRatio(r), tabled) << r;
        EXPECT_EQ(rzf::FindDecimRatio(r) != nullptr, tabled) << r;
    }
}

// Gain in dB of a ratio's cascade for a tone at f cycles per input sample: each
// stage scales it by its amplitude at the tone's frequency at that stage's
// rate; decimation only folds the frequency.
double CascadeDb(int ratio, double f) {
    const DecimRatioDesc& d = *rzf::FindDecimRatio(ratio);
    double g = 1.0;
    for (int k = 0; k < d.m_nStageCount; ++k)
        g *= Amplitude(*d.m_pStage[k], f * ratio / d.m_nInPerOut[k]);
    return 20.0 * std::log10(std::fabs(g));
}

class DecimationQuality : public ::testing::TestWithParam<int> {};

// Flat within 0.01 dB over the usable band [0, fout / 2.56]; every tone that
// folds into it (within fout / 2.56 of a multiple of fout, up to the input
// Nyquist) rejected by 90 dB; ratio 2, whose stage has four taps fixed, by 80.
TEST_P(DecimationQuality, ResponseStaysWithinTheMask) {
    const int ratio = GetParam();
    const double edge = 1.0 / (2.56 * ratio);  // cycles per input sample
    for (int i = 0; i <= 50; ++i)
        EXPECT_LE(std::fabs(CascadeDb(ratio, edge * i / 50)), 0.01) << i;
    for (int j = 1; j <= ratio / 2; ++j)
        for (int i = -50; i <= 50 && double(j) / ratio + edge * i / 50 <= 0.5; ++i)
            EXPECT_LE(CascadeDb(ratio, double(j) / ratio + edge * i / 50), ratio == 2 ? -80 : -90)
                << "alias band " << j << " offset " << i;
}

INSTANTIATE_TEST_SUITE_P(AllRatios, DecimationQuality, ::testing::ValuesIn(decimtest::kRatios));

}  // namespace
