#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterUser.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

const double kPi = 3.14159265358979323846;

// Gives the designer a filter object holding the given response arrays.
void SetResponse(FilterUser& user, const std::vector<double>& freq,
                 const std::vector<double>& amplitude, const std::vector<double>& phase) {
    user.GetNewFilter(DM_AVERAGE);
    ClassicFilter* f = user.m_pFilter;
    const auto copy = [](const std::vector<double>& v) {
        if (v.empty()) {
            return static_cast<double*>(nullptr);
        }
        auto* p = new double[v.size()];
        std::copy(v.begin(), v.end(), p);
        return p;
    };
    f->m_pFreqAxis = copy(freq);
    f->m_pAmplitude = copy(amplitude);
    f->m_pPhase = copy(phase);
    f->m_nRespCount = static_cast<int>(std::max({freq.size(), amplitude.size(), phase.size()}));
    f->m_bStable = true;
}

std::vector<double> Unwrapped(const std::vector<double>& phase) {
    FilterUser user;
    SetResponse(user, {}, {}, phase);
    user.getUnwrapedPhase();
    return std::vector<double>(user.m_pFilter->m_pPhase, user.m_pFilter->m_pPhase + phase.size());
}

}  // namespace

TEST(ResponseAnalysis, UnwrapRemovesJumpsOfPi) {
    const struct {
        std::vector<double> in, out;
    } cases[] = {
        {{1.4, -1.4}, {1.4, -1.4 + kPi}},
        {{-1.4, 1.4}, {-1.4, 1.4 - kPi}},
        {{0.1, 0.2, 0.3}, {0.1, 0.2, 0.3}},
        {{1.5, -1.5, 1.4, -1.2}, {1.5, -1.5 + kPi, 1.4, -1.2 + kPi}},
        {{kPi / 2, 0.0}, {kPi / 2, 0.0}},  // a drop of exactly pi/2 stays
        {{0.7}, {0.7}},
    };
    for (const auto& c : cases) {
        const auto once = Unwrapped(c.in);
        ASSERT_EQ(once.size(), c.out.size());
        for (std::size_t i = 0; i < once.size(); ++i) {
            EXPECT_NEAR(once[i], c.out[i], 1e-12) << i;
        }
        EXPECT_EQ(Unwrapped(once), once);  // nothing left to correct
    }
    FilterUser none;
    none.getUnwrapedPhase();  // no filter: nothing to do
    FilterUser noPhase;
    SetResponse(noPhase, {0, 1}, {0, -1}, {});
    noPhase.getUnwrapedPhase();
    EXPECT_EQ(noPhase.m_pFilter->m_pPhase, nullptr);
}

TEST(ResponseAnalysis, AxisLimitsTruncateThenRoundOutwards) {
    const struct {
        double lowest, highest, minValue, maxValue;
    } cases[] = {
        {-73.6, 256.0, -100, 300}, {-100.0, 250.0, -100, 250}, {-0.4, 0.0, 0, 0},
        {-50.7, 250.9, -50, 250},  {-49.9, 1.0, -50, 50},      {-150.0, 50.5, -150, 50},
    };
    for (const auto& c : cases) {
        FilterUser user;
        SetResponse(user, {0.0, c.highest / 2, c.highest}, {0.0, c.lowest, c.lowest / 2}, {});
        user.m_nAxisReserved1 = 3;
        user.m_nAxisReserved2 = 4;
        user.GetMaxMin();
        EXPECT_EQ(user.m_dMinValue, c.minValue) << c.lowest;
        EXPECT_EQ(user.m_dMaxValue, c.maxValue) << c.highest;
        EXPECT_EQ(user.m_nAxisReserved1, 0);
        EXPECT_EQ(user.m_nAxisReserved2, 0);
        EXPECT_TRUE(user.GetIsStability());
    }

    // A response zero (-inf dB) goes through the 32-bit arithmetic without trapping:
    // INT32_MIN rounds to -2147483650, which wraps to 2147483646.
    FilterUser zero;
    SetResponse(zero, {0.0, 10.0}, {0.0, -std::numeric_limits<double>::infinity()}, {});
    zero.GetMaxMin();
    EXPECT_EQ(zero.m_dMinValue, 2147483646.0);
    EXPECT_EQ(zero.m_dMaxValue, 50.0);
}

TEST(ResponseAnalysis, AxisLimitsWithoutAmplitude) {
    FilterUser none;
    none.m_dMaxValue = 5;
    none.m_dMinValue = -5;
    none.GetMaxMin();
    EXPECT_EQ(none.m_dMaxValue, 0);
    EXPECT_EQ(none.m_dMinValue, 0);

    FilterUser average;
    average.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 4, 0, 0, 0);
    ASSERT_TRUE(average.DesignFilter());
    ASSERT_TRUE(average.GetIsStability());
    average.m_dMaxValue = 5;
    average.GetMaxMin();
    EXPECT_EQ(average.m_dMaxValue, 0);
    EXPECT_EQ(average.m_dMinValue, 0);
    EXPECT_FALSE(average.GetIsStability());
}

TEST(ResponseAnalysis, NegativePointCountsReadNothing) {
    for (int n : {0, -1, std::numeric_limits<int>::min()}) {
        FilterUser user;
        SetResponse(user, {0.0, 300.0}, {-75.0, 0.0}, {1.4, -1.4});
        user.m_pFilter->m_nRespCount = n;
        user.getUnwrapedPhase();
        EXPECT_EQ(user.m_pFilter->m_pPhase[1], -1.4) << n;
        user.GetMaxMin();
        EXPECT_EQ(user.m_dMinValue, 0.0) << n;
        EXPECT_EQ(user.m_dMaxValue, 0.0) << n;
    }
}
