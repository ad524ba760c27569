// Counts global allocations around InputDataAndDeal: once the output buffer
// has grown to the largest call, streaming allocates nothing.
#include <gtest/gtest.h>

#include "AllocationCounter.h"

#include <cstdlib>
#include <new>
#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

// The replaced allocation functions live in the shared counter.
static long& g_allocations = rzf::test::g_allocations.count;

TEST(CFirFuncSteadyState, NoAllocationOnceTheOutputBufferFits) {
    std::vector<char> buf(4 * 3 * 4000, 0);
    bool flags[3] = {true, false, true};
    for (int ratio : {2, 10, 100, 500, 1000})
        for (int type : {0, 1, 2, 3}) {
            CFirFunc fir;
            ASSERT_TRUE(fir.Init(3, ratio, 3000, flags, type, true));
            // Largest call first: the buffer and its shared owner's control block.
            long before = g_allocations;
            fir.InputDataAndDeal(buf.data(), 3 * 4000);
            const long first = g_allocations - before;
            EXPECT_GE(first, 1) << ratio;
            EXPECT_LE(first, 2) << ratio;
            before = g_allocations;
            for (int n : {1, 17, 3 * 4000, 999, 3 * ratio + 2, 5000})
                fir.InputDataAndDeal(buf.data(), n);
            EXPECT_EQ(g_allocations - before, 0) << ratio << " type " << type;
        }
}
