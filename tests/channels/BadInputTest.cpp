// Hostile and out-of-range input to the two frame filters, CChnsFilterFunc and
// CChnsBesselFilterFun: each row is one set-up and one call, with the result
// it must get. Buffers are exact-size heap arrays, so AddressSanitizer sees
// any access past what a call was given; a refused call changes no byte.

#include <gtest/gtest.h>

#include <RZFilterFunc/RZFilterFunc.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "TraceCapture.h"

namespace {

struct FrameCall {
    const char* name;
    bool init;  // Init(chn, width, rate) first
    int chn, width;
    float rate;
    bool initResult;
    bool nullData;
    int bufferBytes;  // exact size of the buffer handed over
    int byteCount;    // what the call is told
    int type;
    int result;
    const char* pending;  // nullptr when the row holds today
};

void PrintTo(const FrameCall& c, std::ostream* os) {
    *os << c.name;
}

constexpr float kNaNf = std::numeric_limits<float>::quiet_NaN();

const FrameCall kFrameCalls[] = {
    {"before_init", false, 0, 0, 0, false, false, 8, 8, 0, 0, nullptr},
    {"init_no_channels", true, 0, 2, 1000, false, false, 8, 8, 0, 0, nullptr},
    {"init_negative_channels", true, -1, 2, 1000, false, false, 8, 8, 0, 0, nullptr},
    {"init_int_min_channels", true, INT_MIN, 2, 1000, false, false, 8, 8, 0, 0, nullptr},
    {"init_zero_width", true, 2, 0, 1000, false, false, 8, 8, 0, 0, nullptr},
    {"init_negative_width", true, 2, -2, 1000, false, false, 8, 8, 0, 0, nullptr},
    {"rate_nan_passes_through", true, 2, 2, kNaNf, true, false, 8, 8, 0, 2, nullptr},
    {"whole_frames", true, 2, 2, 1000, true, false, 12, 12, 0, 3, nullptr},
    {"partial_frame_left_alone", true, 2, 2, 1000, true, false, 10, 10, 0, 2, nullptr},
    {"less_than_a_frame", true, 2, 4, 1000, true, false, 7, 7, 2, 0, nullptr},
    {"count_zero", true, 2, 2, 1000, true, false, 8, 0, 0, 0, nullptr},
    {"count_minus_one", true, 2, 2, 1000, true, false, 8, -1, 0, 0, nullptr},
    {"count_int_min", true, 2, 2, 1000, true, false, 8, INT_MIN, 0, 0, nullptr},
    {"null_data_int_max", true, 2, 2, 1000, true, true, 0, INT_MAX, 0, 0, nullptr},
    {"null_data_int_min", true, 2, 2, 1000, true, true, 0, INT_MIN, 1, 0, nullptr},
    {"unknown_type", true, 2, 4, 1000, true, false, 16, 16, 7, 2, nullptr},
    {"negative_type", true, 2, 4, 1000, true, false, 16, 16, -1, 2, nullptr},
};

// Designs every channel: a moving average for CChnsFilterFunc, a table
// section for CChnsBesselFilterFun.
void DesignAll(CChnsFilterFunc& f) {
    CFilterParam p{DM_AVERAGE, 3, BAND_LOWPASS, 0, 0, 10, 30, 20, 40, 1, 40, 0};
    for (int c = 0; c < f.m_nChannelCount; ++c) {
        f.DesignFilter(c, &p);
    }
}
void DesignAll(CChnsBesselFilterFun& f) {
    for (int c = 0; c < f.m_nChannelCount; ++c) {
        f.DesignFilter(c, 100, true);
    }
}

template <typename Filter>
void RunFrameCall(const FrameCall& c) {
    if (c.pending != nullptr) {
        GTEST_SKIP() << c.pending;
    }
    TraceCapture trace;
    Filter f;
    if (c.init) {
        EXPECT_EQ(f.Init(c.chn, c.width, c.rate), c.initResult);
        DesignAll(f);
    }
    std::unique_ptr<char[]> buf(c.nullData ? nullptr : new char[c.bufferBytes]);
    std::vector<char> before;
    for (int i = 0; i < c.bufferBytes; ++i) {
        buf[i] = static_cast<char>(0x40 + i);
        before.push_back(buf[i]);
    }
    EXPECT_EQ(f.InputDataAndDeal(buf.get(), c.type, c.byteCount), c.result);
    if (c.result == 0 || c.type < 0 || c.type > 2) {
        for (int i = 0; i < c.bufferBytes; ++i) {
            EXPECT_EQ(buf[i], before[i]) << i;
        }
    }
    // Bytes beyond the whole frames are never touched.
    if (c.result > 0) {
        for (int i = c.result * c.chn * c.width; i < c.bufferBytes; ++i) {
            EXPECT_EQ(buf[i], before[i]) << i;
        }
    }
}

class FrameFilterBadCall : public ::testing::TestWithParam<FrameCall> {};

TEST_P(FrameFilterBadCall, Designer) {
    RunFrameCall<CChnsFilterFunc>(GetParam());
}

TEST_P(FrameFilterBadCall, Bessel) {
    RunFrameCall<CChnsBesselFilterFun>(GetParam());
}

INSTANTIATE_TEST_SUITE_P(BadInput, FrameFilterBadCall, ::testing::ValuesIn(kFrameCalls),
                         [](const auto& row) { return std::string(row.param.name); });

template <typename Filter>
class FrameFilterLifecycle : public ::testing::Test {};
using FrameFilters = ::testing::Types<CChnsFilterFunc, CChnsBesselFilterFun>;
TYPED_TEST_SUITE(FrameFilterLifecycle, FrameFilters);

// Channel numbers and parameter records outside what Init set up are refused.
TYPED_TEST(FrameFilterLifecycle, DesignsOutsideTheChannels) {
    TraceCapture trace;
    TypeParam f;
    CFilterParam p{DM_AVERAGE, 3, BAND_LOWPASS, 0, 0, 10, 30, 20, 40, 1, 40, 0};
    auto design = [&](int c) {
        if constexpr (std::is_same_v<TypeParam, CChnsFilterFunc>) {
            return f.DesignFilter(c, &p);
        } else {
            return f.DesignFilter(c, 100, true);
        }
    };
    EXPECT_FALSE(design(0));  // before Init
    ASSERT_TRUE(f.Init(2, 2, 1000.0f));
    for (const int c : {-1, 2, INT_MIN, INT_MAX}) {
        EXPECT_FALSE(design(c)) << c;
    }
    if constexpr (std::is_same_v<TypeParam, CChnsFilterFunc>) {
        EXPECT_FALSE(f.DesignFilter(0, nullptr));
    } else {
        for (const int cutoff : {0, -4, INT_MIN, INT_MAX}) {  // no table entry: disabled
            EXPECT_TRUE(f.DesignFilter(0, cutoff, true)) << cutoff;
        }
    }
}

// Init again with other sizes mid-stream, a redesign between blocks, and
// copies destroyed in either order: every call stays inside its buffer and the
// survivor keeps filtering.
TYPED_TEST(FrameFilterLifecycle, ReinitRedesignAndCopies) {
    TraceCapture trace;
    for (const bool originalFirst : {true, false}) {
        auto original = std::make_unique<TypeParam>();
        ASSERT_TRUE(original->Init(3, 2, 1000.0f));
        DesignAll(*original);
        auto block = [](int frames, int chn, int width) {
            auto b = std::make_unique<char[]>(static_cast<std::size_t>(frames * chn * width));
            std::memset(b.get(), 1, static_cast<std::size_t>(frames * chn * width));
            return b;
        };
        auto b1 = block(50, 3, 2);
        EXPECT_EQ(original->InputDataAndDeal(b1.get(), 0, 300), 50);
        ASSERT_TRUE(original->Init(2, 4, 500.0f));  // other sizes: the old channels are gone
        DesignAll(*original);
        auto b2 = block(7, 2, 4);
        EXPECT_EQ(original->InputDataAndDeal(b2.get(), 2, 56), 7);
        DesignAll(*original);  // redesign mid-stream
        TypeParam& self = *original;
        *original = self;
        auto copy = std::make_unique<TypeParam>(*original);
        (originalFirst ? original : copy).reset();
        TypeParam& left = original ? *original : *copy;
        auto b3 = block(100, 2, 4);
        EXPECT_EQ(left.InputDataAndDeal(b3.get(), 1, 800), 100);
        TypeParam assigned;
        assigned = left;
        auto b4 = block(3, 2, 4);
        EXPECT_EQ(assigned.InputDataAndDeal(b4.get(), 0, 24), 3);
    }
}

}  // namespace
