#include <gtest/gtest.h>

#include "AllocationCounter.h"

#include <RZFilterFunc/integrate/CIntegralDiff.h>

#include <numeric>
#include <vector>

// After InitDiff, calls of any length allocate nothing.
TEST(IntegralDiffSteadyState, NoAllocationPerCall) {
    std::vector<char> buf(4 * 67 * 5000, 0);
    for (int type : {0, 1, 2})
        for (int chn : {1, 16, 67}) {
            std::vector<int> channels(chn);
            std::iota(channels.begin(), channels.end(), 0);
            channels.push_back(chn / 2);  // listed twice: a second pass
            CIntegralDiff d;
            const rzf::test::AllocationWatch init;  // the records: the count sees them
            d.InitDiff(0, chn, channels, 1000.0, type, type == 0 ? 2 : 4);
            EXPECT_GT(init.Taken(), chn);
            const rzf::test::AllocationWatch calls;
            for (int n : {1, 4096, 17, 5000, 2})
                d.ContinueIntegral(n, buf.data());
            EXPECT_EQ(calls.Taken(), 0) << "type " << type << " channels " << chn;
        }
}
