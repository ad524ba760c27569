// Counts global allocations around section-mode filtering: once designed and
// started, streaming allocates nothing, through FilterUser or CChnsFilterFunc.
#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsFilterFunc.h>
#include <RZFilterFunc/filter/FilterUser.h>

#include <vector>

#include "AllocationCounter.h"

TEST(SectionModeSteadyState, NoAllocationPerCall) {
    std::vector<float> x(5000, 0.25f), y(5000);
    for (int method : {DM_BUTTERWORTH, DM_CHEBYSHEV1, DM_CHEBYSHEV2}) {
        FilterUser u;
        u.setFilterParameter(BAND_BANDPASS, method, 0.1, 0.5, 40.0, 60.0, 360.0, 0, 1.0, 30.0, 0);
        u.setSectionMode(true);
        ASSERT_TRUE(u.DesignFilter());
        ASSERT_GT(u.GetSectionCount(), 0);
        rzf::test::AllocationWatch watch;
        for (int n : {1, 17, 5000, 255, 257, 4096}) {
            u.FilterData(x.data(), y.data(), n);
        }
        u.setFirstInputState(true);  // a restart reuses the state it has
        u.FilterData(x.data(), y.data(), 100);
        EXPECT_EQ(watch.Taken(), 0) << method;
    }
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(3, 4, 360.0f));
    f.setSectionMode(true);
    CFilterParam p{DM_BUTTERWORTH, 0, BAND_BANDPASS, 0, 0.0, 0.1, 40.0, 0.5, 60.0, 1.0, 30.0, 0.0};
    ASSERT_TRUE(f.DesignFilter(0, &p));
    ASSERT_TRUE(f.DesignFilter(2, &p));
    std::vector<char> frames(3 * 4 * 2000, 0);
    f.InputDataAndDeal(frames.data(), 1, static_cast<int>(frames.size()));  // buffers grow
    rzf::test::AllocationWatch watch;
    for (int n : {12, 1200, 3 * 4 * 2000, 36}) {
        f.InputDataAndDeal(frames.data(), 1, n);
    }
    EXPECT_EQ(watch.Taken(), 0);
}
