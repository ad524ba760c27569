#include <gtest/gtest.h>

#include "AllocationCounter.h"

#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

// Once the output buffer has grown to the largest call, streaming allocates nothing.
TEST(CFirFuncSteadyState, NoAllocationOnceTheOutputBufferFits) {
    std::vector<char> buf(4 * 3 * 4000, 0);
    bool flags[3] = {true, false, true};
    for (int ratio : {2, 10, 100, 500, 1000})
        for (int type : {0, 1, 2, 3}) {
            CFirFunc fir;
            ASSERT_TRUE(fir.Init(3, ratio, 3000, flags, type, true));
            // Largest call first: the buffer and its shared owner's control block.
            const rzf::test::AllocationWatch first;
            fir.InputDataAndDeal(buf.data(), 3 * 4000);
            EXPECT_GE(first.Taken(), 1) << ratio;
            EXPECT_LE(first.Taken(), 2) << ratio;
            const rzf::test::AllocationWatch steady;
            for (int n : {1, 17, 3 * 4000, 999, 3 * ratio + 2, 5000})
                fir.InputDataAndDeal(buf.data(), n);
            EXPECT_EQ(steady.Taken(), 0) << ratio << " type " << type;
        }
}
