#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <vector>

#include "IsaLevels.h"
#include "RZFilterFunc/decimate/DecimKernels.h"
#include "RZFilterFunc/decimate/DecimationTables.h"

// Layout, symmetry, unit sum, -3 dB point (fraction of the stage's input rate)
// and listed values of the stage tables.
TEST(DecimStageTables, CascadesOfSymmetricUnitGainLowPasses) {
    using Ints = std::vector<int>;
    const std::tuple<int, Ints, Ints, Ints, std::vector<double>> cascades[9] = {
        {2, {45}, {2}, {2}, {0.232}},
        {5, {113}, {5}, {5}, {0.093}},
        {10, {44, 48}, {5, 2}, {10, 2}, {0.079, 0.234}},
        {20, {30, 96}, {5, 4}, {20, 4}, {0.080, 0.117}},
        {50, {55, 144}, {10, 5}, {50, 5}, {0.038, 0.091}},
        {100, {6, 58, 119}, {2, 10, 5}, {100, 50, 5}, {0.226, 0.041, 0.094}},
        {200, {114, 190}, {25, 8}, {200, 8}, {0.015, 0.059}},
        {500, {109, 7, 237}, {25, 2, 10}, {500, 20, 10}, {0.015, 0.204, 0.047}},
        {1000, {216, 473}, {50, 20}, {1000, 20}, {0.0076, 0.0235}}};
    int totalTaps = 0;
    for (const auto& [ratio, taps, factors, inPerOut, minus3dB] : cascades) {
        const DecimRatioDesc* d = rzf::FindDecimRatio(ratio);
        ASSERT_NE(d, nullptr) << ratio;
        ASSERT_EQ(d->m_nStageCount, taps.size()) << ratio;
        for (std::size_t k = taps.size(); k < 3; ++k)
            EXPECT_TRUE(d->m_pStage[k] == nullptr && d->m_nInPerOut[k] == 0) << ratio;
        for (std::size_t k = 0; k < taps.size(); ++k) {
            const DecimStageDesc& st = *d->m_pStage[k];
            EXPECT_EQ((Ints{st.m_nTaps, st.m_nFactor, d->m_nInPerOut[k]}),
                      (Ints{taps[k], factors[k], inPerOut[k]}))
                << ratio;
            totalTaps += st.m_nTaps;
            double sum = 0.0;
            for (int i = 0; i < st.m_nTaps; ++i) {
                EXPECT_EQ(st.m_pTapCoef[i], st.m_pTapCoef[st.m_nTaps - 1 - i]) << ratio << "/" << i;
                sum += st.m_pTapCoef[i];
            }
            EXPECT_NEAR(sum, 1.0, 0.0003) << ratio << "/" << k;
            // First frequency where the zero-phase amplitude falls below 1/sqrt(2).
            double f = 0.0;
            for (double a = 1.0; std::fabs(a) >= std::sqrt(0.5) && f < 0.5;) {
                f += 1e-5;
                a = 0.0;
                for (int i = 0; i < st.m_nTaps; ++i)
                    a += st.m_pTapCoef[i] *
                         std::cos(2.0 * std::acos(-1.0) * f * (i - (st.m_nTaps - 1) / 2.0));
            }
            EXPECT_NEAR(f, minus3dB[k], 0.002) << ratio << "/" << k;
        }
    }
    EXPECT_EQ(totalTaps, 2104);
    for (int r : {0, 1, 3, 4, 25, 2000})
        EXPECT_EQ(rzf::FindDecimRatio(r), nullptr);
    // Listed values; the mirrored halves follow from the symmetry checked above.
    const float* h45 = rzf::FindDecimRatio(2)->m_pStage[0]->m_pTapCoef;
    const float* h6 = rzf::FindDecimRatio(100)->m_pStage[0]->m_pTapCoef;
    const float* h7 = rzf::FindDecimRatio(500)->m_pStage[1]->m_pTapCoef;
    EXPECT_EQ((std::vector<float>{h45[0], h45[1], h45[2], h45[22], h6[0], h6[1], h6[2], h7[0],
                                  h7[1], h7[2], h7[3]}),
              (std::vector<float>{0.000288302f, 0.000212704f, -0.000714157f, 0.484715f, -0.0459149f,
                                  0.0791638f, 0.466752f, -0.0316918f, 0.000719341f, 0.281689f,
                                  0.498583f}));
}

// One stage over rows of 8 lanes (channel 0 carries the signal, the others
// scaled copies) at every kernel level. Asymmetric taps show the direction:
// output j is x[2j] + 10 x[2j + 1] + 100 x[2j + 2], exact in single
// precision. Eleven outputs cover the grouped and one-at-a-time paths.
TEST(DecimStage, TapOrderSinglePrecisionSumsAtEveryLevel) {
    constexpr int kLanes = 8;
    const float taps[3] = {1.0f, 10.0f, 100.0f};
    const float ones[3] = {1.0f, 1.0f, 1.0f};
    for (rzf::platform::IsaLevel level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scope(level);
        std::vector<float> rows(24 * kLanes), dst(11 * kLanes);
        for (int t = 0; t < 24; ++t)
            for (int l = 0; l < kLanes; ++l)
                rows[t * kLanes + l] = static_cast<float>((t + 1) * (l + 1));
        rzf::decim::DecimateRows(taps, 3, 2, rows.data(), dst.data(), 11, kLanes);
        for (int j = 0; j < 11; ++j)
            for (int l = 0; l < kLanes; ++l)
                EXPECT_EQ(dst[j * kLanes + l],
                          static_cast<float>((l + 1) *
                                             ((2 * j + 1) + 10 * (2 * j + 2) + 100 * (2 * j + 3))))
                    << rzf::platform::IsaName(level) << " output " << j << " lane " << l;
        // Windows (3, 1e8, -1e8) with unit taps: 3 + 1e8 rounds to 1e8 in single
        // precision, so the sum in tap order is 0 (3 exactly or in reverse order).
        for (int t = 0; t < 24; ++t)
            for (int l = 0; l < kLanes; ++l)
                rows[t * kLanes + l] = t % 3 == 0 ? 3.0f : (t % 3 == 1 ? 1.0e8f : -1.0e8f);
        rzf::decim::DecimateRows(ones, 3, 3, rows.data(), dst.data(), 7, kLanes);
        EXPECT_EQ(std::vector<float>(dst.begin(), dst.begin() + 7 * kLanes),
                  std::vector<float>(7 * kLanes, 0.0f))
            << rzf::platform::IsaName(level);
    }
}
