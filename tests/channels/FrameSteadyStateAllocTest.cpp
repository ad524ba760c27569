// Once every channel's buffers have grown to the largest block (and the lane
// plan's FIR scratch to the longest FIR), the frame filters allocate nothing.
#include <gtest/gtest.h>

#include "AllocationCounter.h"

#include <vector>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>
#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include "IsaLevels.h"

// IIRs in and beyond the lane kernels' orders, a window FIR, a moving average
// and a channel left off, so every path runs, at every level.
TEST(FrameFilterSteadyState, NoAllocationOnceBuffersFit) {
    CFilterParam designs[] = {
        {DM_CHEBYSHEV1, 0, BAND_LOWPASS, 0, 0.0, 100, 350, 130, 400, 1, 40, 0},
        {DM_BUTTERWORTH, 0, BAND_BANDPASS, 0, 0.0, 100, 200, 120, 220, 1, 40, 0},
        {DM_WINDOW_FIR, 51, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 400, 1, 40, 0},
        {DM_AVERAGE, 7, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 400, 1, 40, 0}};
    const int channels = 20, largest = 3000;
    std::vector<char> buf(static_cast<std::size_t>(channels) * 4 * largest, 0);
    for (rzf::platform::IsaLevel level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        CChnsFilterFunc f;
        CChnsBesselFilterFun g;
        ASSERT_TRUE(f.Init(channels, 4, 1000.0f));
        ASSERT_TRUE(g.Init(channels, 4, 1000.0f));
        for (int c = 0; c + 1 < channels; ++c) {
            ASSERT_TRUE(f.DesignFilter(c, &designs[c % 4]));
            ASSERT_TRUE(g.DesignFilter(c, c % 2 == 0 ? 40 : 100, true));
        }
        for (int type : {0, 1, 2, 3}) {
            rzf::test::AllocationWatch growing;
            f.InputDataAndDeal(buf.data(), type, static_cast<int>(buf.size()));  // largest first
            g.InputDataAndDeal(buf.data(), type, static_cast<int>(buf.size()));
            EXPECT_EQ(growing.Taken() > 0, type == 0);  // buffers, states, FIR scratch
            rzf::test::AllocationWatch watch;
            for (int frames : {1, 17, 64, 65, 129, largest, 999}) {
                EXPECT_EQ(f.InputDataAndDeal(buf.data(), type, frames * channels * 4), frames);
                EXPECT_EQ(g.InputDataAndDeal(buf.data(), type, frames * channels * 4), frames);
            }
            EXPECT_EQ(watch.Taken(), 0) << rzf::platform::IsaName(level) << " type " << type;
        }
    }
}
