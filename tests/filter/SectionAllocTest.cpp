// Counts global allocations around section-mode filtering: once designed and
// started, streaming allocates nothing, through FilterUser or CChnsFilterFunc.
#include <gtest/gtest.h>

#include "AllocationCounter.h"

#include <RZFilterFunc/channels/CChnsFilterFunc.h>
#include <RZFilterFunc/filter/FilterUser.h>

#include <cstdlib>
#include <new>
#include <vector>

// The replaced allocation functions live in the shared counter.
static long& g_allocations = rzf::test::g_allocations.count;

TEST(SectionModeSteadyState, NoAllocationPerCall) {
    std::vector<float> x(5000, 0.25f), y(5000);
    for (int method : {DM_BUTTERWORTH, DM_CHEBYSHEV1, DM_CHEBYSHEV2}) {
        FilterUser u;
        u.setFilterParameter(BAND_BANDPASS, method, 0.1, 0.5, 40.0, 60.0, 360.0, 0, 1.0, 30.0, 0);
        u.setSectionMode(true);
        ASSERT_TRUE(u.DesignFilter());
        ASSERT_GT(u.GetSectionCount(), 0);
        long before = g_allocations;
        for (int n : {1, 17, 5000, 255, 256, 257, 4096})
            u.FilterData(x.data(), y.data(), n);
        u.setFirstInputState(true);  // a restart reuses the state it has
        u.FilterData(x.data(), y.data(), 100);
        EXPECT_EQ(g_allocations - before, 0) << method;
    }

    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(3, 4, 360.0f));
    f.setSectionMode(true);
    CFilterParam p{};
    p.m_nDesignMethod = DM_BUTTERWORTH;
    p.m_nBandType = BAND_BANDPASS;
    p.m_dFreq1 = 0.1;
    p.m_dFreq2 = 0.5;
    p.m_dFreq3 = 40.0;
    p.m_dFreq4 = 60.0;
    p.m_dPassRipple = 1.0;
    p.m_dStopAtten = 30.0;
    ASSERT_TRUE(f.DesignFilter(0, &p) && f.DesignFilter(2, &p));
    std::vector<char> frames(3 * 4 * 2000, 0);
    f.InputDataAndDeal(frames.data(), 1, static_cast<int>(frames.size()));  // buffers grow
    const long before = g_allocations;
    for (int n : {12, 1200, 3 * 4 * 2000, 36})
        f.InputDataAndDeal(frames.data(), 1, n);
    EXPECT_EQ(g_allocations - before, 0);
}
