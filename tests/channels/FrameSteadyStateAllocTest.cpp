// Counts global allocations around the frame filters' InputDataAndDeal: once
// every enabled channel's buffers have grown to the largest block (and the
// lane plan's FIR scratch to the longest FIR), streaming allocates nothing, at
// every instruction-set level.
#include <gtest/gtest.h>

#include "AllocationCounter.h"

#include <cstdlib>
#include <new>
#include <vector>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>
#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include "RZFilterFunc/platform/CpuFeatures.h"

// The replaced allocation functions live in the shared counter.
static long& g_allocations = rzf::test::g_allocations.count;

namespace {

using rzf::platform::IsaLevel;

std::vector<IsaLevel> Levels() {
    std::vector<IsaLevel> levels;
    for (IsaLevel l : {IsaLevel::Baseline, IsaLevel::Avx2, IsaLevel::Avx512}) {
        if (static_cast<int>(l) <= static_cast<int>(rzf::platform::DetectedIsa()))
            levels.push_back(l);
    }
    return levels;
}

// Order-8 and band-pass (order above the lane kernels) IIRs, a window FIR, a
// moving average and a disabled channel, so every path runs.
TEST(FrameFilterSteadyState, NoAllocationOnceBuffersFit) {
    const CFilterParam designs[] = {
        {DM_CHEBYSHEV1, 0, BAND_LOWPASS, 0, 0.0, 100, 350, 130, 400, 1, 40, 0},
        {DM_BUTTERWORTH, 0, BAND_BANDPASS, 0, 0.0, 100, 200, 120, 220, 1, 40, 0},
        {DM_WINDOW_FIR, 51, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 400, 1, 40, 0},
        {DM_AVERAGE, 7, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 400, 1, 40, 0}};
    const int channels = 20, largest = 3000;
    std::vector<char> buf(static_cast<std::size_t>(channels) * 4 * largest, 0);
    for (IsaLevel level : Levels()) {
        const IsaLevel previous = rzf::platform::OverrideActiveIsa(level);
        CChnsFilterFunc f;
        CChnsBesselFilterFun g;
        ASSERT_TRUE(f.Init(channels, 4, 1000.0f) && g.Init(channels, 4, 1000.0f));
        for (int c = 0; c + 1 < channels; ++c) {
            CFilterParam p = designs[c % 4];
            ASSERT_TRUE(f.DesignFilter(c, &p) && g.DesignFilter(c, c % 2 == 0 ? 40 : 100, true));
        }
        for (int type : {0, 1, 2, 3}) {
            const int bytes = static_cast<int>(buf.size());
            const long growing = g_allocations;
            f.InputDataAndDeal(buf.data(), type, bytes);  // largest block first
            g.InputDataAndDeal(buf.data(), type, bytes);
            // The first block after Init allocates (the counter sees it): channel
            // buffers, first state arrays, the lane plan's FIR scratch.
            if (type == 0) {
                EXPECT_GT(g_allocations - growing, 0);
            }
            const long before = g_allocations;
            for (int frames : {1, 17, 64, 65, 129, largest, 999}) {
                EXPECT_EQ(f.InputDataAndDeal(buf.data(), type, frames * channels * 4), frames);
                EXPECT_EQ(g.InputDataAndDeal(buf.data(), type, frames * channels * 4), frames);
            }
            EXPECT_EQ(g_allocations - before, 0)
                << rzf::platform::IsaName(level) << " type " << type;
        }
        rzf::platform::OverrideActiveIsa(previous);
    }
}

}  // namespace
