// After the first FIR block has sized the working window (and from the start
// for IIR), CFilter's block filtering allocates nothing, for any type or size.
#include <gtest/gtest.h>

#include <vector>

#include <RZFilterFunc/fir/CFilter.h>

#include "AllocationCounter.h"

TEST(CFilterSteadyState, NoAllocationAfterTheFirstBlock) {
    std::vector<double> taps(75, 16384.0 / 75), a = {1.0, -0.5, 0.25}, b = {0.3, 0.2, 0.1};
    std::vector<float> f(3 * 5000, 1.0f);
    std::vector<short> s(3 * 5000, 100);
    std::vector<int> n(3 * 5000, -100);
    for (bool iir : {false, true}) {
        CFilter engine;
        iir ? engine.SetIIRCoief(3, a.data(), b.data()) : engine.SetFIRCoief(75, taps.data());
        rzf::test::AllocationWatch first;
        ASSERT_TRUE(engine.FilterData(f.data(), 4096, 1, 0));
        EXPECT_EQ(first.Taken() == 0, iir);
        rzf::test::AllocationWatch watch;
        for (int count : {1, 17, 4096, 5000, 1023, 1024, 1025}) {
            ASSERT_TRUE(engine.FilterData(f.data(), count, 1, 0));
            ASSERT_TRUE(engine.FilterData(s.data(), count, 3, 2));
            ASSERT_TRUE(engine.FilterData(n.data(), count, -2, 2 * count));
        }
        EXPECT_EQ(watch.Taken(), 0) << (iir ? "IIR" : "FIR");
    }
}
