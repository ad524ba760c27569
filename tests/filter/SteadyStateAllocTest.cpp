// Counts global allocations around FilterUser::FilterData: once the first block
// has built the state and the working window, streaming allocates nothing; and
// a tap count beyond the design is refused before any state is built for it.
#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterUser.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "AllocationCounter.h"

namespace {

void Design(FilterUser& user, int method, int length) {
    user.setWindowType(2);
    user.setFilterParameter(BAND_LOWPASS, method, method == DM_AVERAGE ? 10 : 100,
                            method == DM_BUTTERWORTH ? 230 : 140, 300, 350, 1000, length, 1.0, 60.0,
                            0);
    ASSERT_TRUE(user.DesignFilter());
    ASSERT_TRUE(user.GetIsStability());
}

}  // namespace

TEST(FilterUserSteadyState, NoAllocationAfterTheFirstBlock) {
    std::vector<float> in(5000, -48.0f), out(5000);
    for (int method : {DM_BUTTERWORTH, DM_WINDOW_FIR, DM_AVERAGE}) {
        FilterUser user;
        Design(user, method, 51);
        user.FilterData(in.data(), out.data(), 4096);  // builds state and window
        rzf::test::AllocationWatch watch;
        for (int n : {1, 17, 4096, 5000, 1023, 1025, 0, 3}) {
            user.FilterData(in.data(), out.data(), n);
        }
        user.FilterData(out.data(), out.data(), 5000);  // in place
        EXPECT_EQ(watch.Taken(), 0) << method;
    }
}

// After a 51-tap window design, a tap count of 2^30 set without a redesign
// filters nothing and allocates nothing (not even the 8 GiB of zeros of a
// state that long); the buffers are exactly the block's size, so any access
// beyond them shows up under the sanitizers.
TEST(FilterUserSteadyState, TapCountBeyondTheDesignIsRefusedBeforeAllocating) {
    constexpr int kBlock = 64;
    std::unique_ptr<float[]> in(new float[kBlock]()), out(new float[kBlock]);
    std::fill(out.get(), out.get() + kBlock, -7.0f);
    FilterUser user;
    Design(user, DM_WINDOW_FIR, 51);
    user.setFilterParameter(BAND_LOWPASS, DM_WINDOW_FIR, 100, 140, 300, 350, 1000, 1 << 30, 1.0,
                            60.0, 0);
    rzf::test::AllocationWatch watch;
    user.FilterData(in.get(), out.get(), kBlock);
    EXPECT_EQ(watch.Taken(), 0);
    EXPECT_EQ(std::count(out.get(), out.get() + kBlock, -7.0f), kBlock);
    EXPECT_EQ(user.m_pState, nullptr);
}
