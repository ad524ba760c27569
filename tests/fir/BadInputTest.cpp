// Hostile and out-of-range input to CFilter: Kaiser designs that must be
// refused (0 taps, taps null) or give only finite taps, and the per-sample
// engine on exact-size heap buffers with hostile counts, strides and offsets.

#include <gtest/gtest.h>

#include <RZFilterFunc/RZFilterFunc.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

struct KaiserCase {
    const char* name;
    bool fourEdges;  // which overload
    float fs;
    int band;
    float f1, f2, f3, f4;
    int atten;
    double transition;  // first overload only
    bool designs;       // true: taps come back (all finite); false: 0 and null
};

void PrintTo(const KaiserCase& c, std::ostream* os) {
    *os << c.name;
}

const KaiserCase kKaiserCases[] = {
    {"reference_lowpass", false, 1000, 1, 100, 0, 0, 0, 60, 0.1, true},
    {"reference_four_edges", true, 1000, 3, 150, 100, 300, 250, 60, 0, true},
    {"transition_inf", false, 1000, 1, 100, 0, 0, 0, 60, HUGE_VAL, false},
    {"transition_nan", false, 1000, 1, 100, 0, 0, 0, 60, std::nan(""), false},
    {"transition_zero", false, 1000, 1, 100, 0, 0, 0, 60, 0.0, false},
    {"transition_negative", false, 1000, 2, 100, 0, 0, 0, 60, -0.1, false},
    {"transition_tiny", false, 1000, 1, 100, 0, 0, 0, 60, 1e-300, false},
    {"fs_zero", false, 0, 1, 100, 0, 0, 0, 60, 0.1, false},
    {"fs_negative", false, -1000, 1, 100, 0, 0, 0, 60, 0.1, false},
    {"fs_inf", false, kInf, 1, 100, 0, 0, 0, 60, 0.1, false},
    {"fs_nan", false, kNaN, 4, 100, 200, 0, 0, 60, 0.1, false},
    {"fs_zero_four_edges", true, 0, 1, 100, 150, 0, 0, 60, 0, false},
    {"fs_negative_four_edges", true, -1000, 1, 100, 150, 0, 0, 60, 0, false},
    {"fs_nan_four_edges", true, kNaN, 4, 100, 150, 250, 300, 60, 0, false},
    {"edge_nan", false, 1000, 1, kNaN, 0, 0, 0, 60, 0.1, false},
    {"edge_inf", false, 1000, 3, 100, kInf, 0, 0, 60, 0.1, false},
    {"edges_unordered", true, 1000, 1, 150, 100, 0, 0, 60, 0, false},
    {"band_0", false, 1000, 0, 100, 0, 0, 0, 60, 0.1, false},
    {"band_5", true, 1000, 5, 100, 150, 250, 300, 60, 0, false},
    {"band_int_min", false, 1000, INT_MIN, 100, 0, 0, 0, 60, 0.1, false},
    {"atten_int_max", false, 1000, 1, 100, 0, 0, 0, INT_MAX, 0.1, false},
    {"atten_int_min", false, 1000, 1, 100, 0, 0, 0, INT_MIN, 0.1, true},  // rectangular window
};

class KaiserDesignBadInput : public ::testing::TestWithParam<KaiserCase> {};

TEST_P(KaiserDesignBadInput, RefusedOrFinite) {
    const KaiserCase& c = GetParam();
    static double stale[1];
    double* taps = stale;  // whatever the caller held is replaced or cleared
    const int n =
        c.fourEdges ? CFilter::DesignFilter(taps, c.fs, c.band, c.f1, c.f2, c.f3, c.f4, c.atten)
                    : CFilter::DesignFilter(taps, c.fs, c.band, c.f1, c.f2, c.atten, c.transition);
    if (!c.designs) {
        EXPECT_EQ(n, 0);
        EXPECT_EQ(taps, nullptr);
        return;
    }
    ASSERT_GT(n, 0);
    ASSERT_NE(taps, nullptr);
    std::unique_ptr<double[]> owned(taps);
    for (int k = 0; k < n; ++k) {
        EXPECT_TRUE(std::isfinite(taps[k])) << k;
    }
    EXPECT_EQ(taps[0], taps[n - 1]);  // linear phase: symmetric
}

INSTANTIATE_TEST_SUITE_P(BadInput, KaiserDesignBadInput, ::testing::ValuesIn(kKaiserCases),
                         [](const auto& row) { return std::string(row.param.name); });

struct EngineCall {
    const char* name;
    int count, stride, offset;
    bool nullData;
    bool accepted;  // FilterData's result on a prepared engine
};

void PrintTo(const EngineCall& c, std::ostream* os) {
    *os << c.name;
}

const EngineCall kEngineCalls[] = {
    {"plain", 8, 1, 0, false, true},
    {"strided_offset", 4, 3, 2, false, true},
    {"count_zero", 0, 1, 0, false, true},
    {"count_negative", -1, 1, 0, false, true},
    {"count_int_min", INT_MIN, 1, 0, false, true},
    {"null_data", 8, 1, 0, true, false},
    {"null_data_int_max", INT_MAX, 1, 0, true, false},
    {"offset_negative", 4, 1, -1, false, false},
    {"stride_negative_past_start", 4, -1, 2, false, false},
    {"offset_int_min", 1, 1, INT_MIN, false, false},
};

class EngineBadCall : public ::testing::TestWithParam<EngineCall> {};

// The buffer holds exactly the elements the call's indices reach when they are
// all inside it; a refused call changes nothing.
TEST_P(EngineBadCall, FloatShortAndIntBuffers) {
    const EngineCall& c = GetParam();
    double taps[3] = {0.25 * 16384, 0.5 * 16384, 0.25 * 16384};
    CFilter engine;
    engine.SetFIRCoief(3, taps);
    ASSERT_TRUE(engine.IsPrePare());
    // Highest index the call reaches (the first or the last), none with no buffer.
    long long highest = 0;
    if (!c.nullData && c.count >= 1) {
        const long long last = c.offset + static_cast<long long>(c.count - 1) * c.stride;
        highest = std::max({0LL, static_cast<long long>(c.offset), last});
    }
    const std::size_t size = static_cast<std::size_t>(highest + 1);
    auto f = std::make_unique<float[]>(size);
    auto s = std::make_unique<short[]>(size);
    auto n = std::make_unique<int[]>(size);
    for (std::size_t i = 0; i < size; ++i) {
        f[i] = 4.0f;
        s[i] = 4;
        n[i] = 4;
    }
    EXPECT_EQ(engine.FilterData(c.nullData ? nullptr : f.get(), c.count, c.stride, c.offset),
              c.accepted);
    EXPECT_EQ(engine.FilterData(c.nullData ? nullptr : s.get(), c.count, c.stride, c.offset),
              c.accepted);
    EXPECT_EQ(engine.FilterData(c.nullData ? nullptr : n.get(), c.count, c.stride, c.offset),
              c.accepted);
    if (!c.accepted || c.count < 1) {
        for (std::size_t i = 0; i < size; ++i) {
            EXPECT_TRUE(f[i] == 4.0f && s[i] == 4 && n[i] == 4) << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(BadInput, EngineBadCall, ::testing::ValuesIn(kEngineCalls),
                         [](const auto& row) { return std::string(row.param.name); });

// Coefficient sets that cannot be loaded leave the engine unprepared; an
// unprepared engine refuses buffers and passes single samples through.
TEST(CFilterBadInput, CoefficientSetsBeforeAndAfterLoading) {
    CFilter engine;
    auto data = std::make_unique<float[]>(1);
    data[0] = 3.0f;
    EXPECT_FALSE(engine.FilterData(data.get(), 1, 1, 0));
    EXPECT_EQ(engine.FilterFIRData(3.0f), 3.0f);
    for (const int count : {0, -1, INT_MIN, INT_MAX}) {
        engine.SetFIRCoief(count, nullptr);
        EXPECT_FALSE(engine.IsPrePare()) << count;
        engine.SetIIRCoief(count, nullptr, nullptr);
        EXPECT_FALSE(engine.IsPrePare()) << count;
    }
    auto a = std::make_unique<double[]>(1);
    auto b = std::make_unique<double[]>(1);
    a[0] = 1.0;
    b[0] = 0.5;
    engine.SetIIRCoief(1, a.get(), b.get());  // a one-coefficient set is a gain
    ASSERT_TRUE(engine.IsPrePare());
    EXPECT_TRUE(engine.FilterData(data.get(), 1, 1, 0));
    EXPECT_EQ(data[0], 1.5f);
}

// Copies share the loaded set; either may go first, and self-assignment
// changes nothing.
TEST(CFilterBadInput, CopiesDestroyedInEitherOrderAndSelfAssignment) {
    double taps[3] = {0.25 * 16384, 0.5 * 16384, 0.25 * 16384};
    for (const bool originalFirst : {true, false}) {
        auto original = std::make_unique<CFilter>();
        original->SetFIRCoief(3, taps);
        CFilter& self = *original;
        *original = self;
        auto copy = std::make_unique<CFilter>(*original);
        (originalFirst ? original : copy).reset();
        CFilter& left = original ? *original : *copy;
        auto data = std::make_unique<float[]>(4);
        for (int i = 0; i < 4; ++i) {
            data[i] = 8.0f;
        }
        ASSERT_TRUE(left.FilterData(data.get(), 4, 1, 0));
        EXPECT_EQ(data[3], 8.0f);  // the three taps sum to one: steady after three samples
    }
}

}  // namespace
