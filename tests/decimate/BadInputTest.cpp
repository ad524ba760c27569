// Hostile and out-of-range input to CFirFunc: each row is one Init and a run
// of calls, each call given an exact-size heap buffer of its nCount samples,
// so AddressSanitizer sees any write past what the call was given.

#include <gtest/gtest.h>

#include <RZFilterFunc/RZFilterFunc.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

namespace {

struct DecimateCase {
    const char* name;
    int chn, ratio, block, type;
    bool flagsGiven;
    bool initResult;
    std::vector<int> counts;   // nCount of each call (buffer of exactly that many samples)
    std::vector<int> results;  // what each call returns
    const char* pending;
};

void PrintTo(const DecimateCase& c, std::ostream* os) {
    *os << c.name;
}

int Width(int type) {
    return type == 0 ? 2 : type == 3 ? 3 : 4;
}

const DecimateCase kCases[] = {
    {"no_channels", 0, 10, 20, 0, true, false, {20}, {0}, nullptr},
    {"int_min_channels", INT_MIN, 10, 20, 0, true, false, {20}, {0}, nullptr},
    {"null_flags", 2, 10, 20, 0, false, false, {20}, {0}, nullptr},
    {"ratio_zero", 2, 0, 20, 0, true, false, {20}, {0}, nullptr},
    {"ratio_three", 2, 3, 20, 0, true, false, {20}, {0}, nullptr},
    {"ratio_negative", 2, -10, 20, 0, true, false, {20}, {0}, nullptr},
    {"ratio_int_max", 2, INT_MAX, 20, 0, true, false, {20}, {0}, nullptr},
    {"block_int_max", 1, 2, INT_MAX, 0, true, false, {20}, {0}, nullptr},
    {"block_zero", 2, 10, 0, 0, true, true, {40}, {4}, nullptr},
    {"block_int_min", 2, 10, INT_MIN, 0, true, true, {40}, {4}, nullptr},
    {"unknown_type", 2, 10, 20, 4, true, true, {40}, {0}, nullptr},
    {"negative_type", 2, 10, 20, -1, true, true, {40}, {0}, nullptr},
    {"counts_not_positive", 2, 10, 20, 0, true, true, {0, -1, INT_MIN}, {0, 0, 0}, nullptr},
    {"frame_completed_by_a_full_call", 2, 10, 20, 0, true, true, {19, 2}, {0, 2}, nullptr},
    // A carried frame completed by a call of fewer samples than a frame
    // stays pending and comes with the next call that has room.
    {"int16_19_then_1", 2, 10, 20, 0, true, true, {19, 1, 20}, {0, 0, 4}, nullptr},
    {"int24_15_then_1", 8, 2, 16, 3, true, true, {15, 1, 8}, {0, 0, 8}, nullptr},
};

class DecimateBadInput : public ::testing::TestWithParam<DecimateCase> {};

TEST_P(DecimateBadInput, ExactBuffersAndResults) {
    const DecimateCase& c = GetParam();
    if (c.pending != nullptr) {
        GTEST_SKIP() << c.pending;
    }
    CFirFunc f;
    std::unique_ptr<bool[]> flags;
    if (c.flagsGiven && c.chn > 0) {
        flags.reset(new bool[static_cast<std::size_t>(c.chn)]);
        for (int i = 0; i < c.chn; ++i) {
            flags[i] = true;
        }
    }
    bool none = false;
    bool* flagPtr = c.flagsGiven ? (flags ? flags.get() : &none) : nullptr;
    EXPECT_EQ(f.Init(c.chn, c.ratio, c.block, flagPtr, c.type, false), c.initResult);
    const int width = Width(c.type);
    for (std::size_t k = 0; k < c.counts.size(); ++k) {
        const int n = c.counts[k];
        const std::size_t bytes = static_cast<std::size_t>(n > 0 ? n : 1) * width;
        std::unique_ptr<char[]> buf(new char[bytes]);
        for (std::size_t i = 0; i < bytes; ++i) {
            buf[i] = static_cast<char>(i % 5);
        }
        EXPECT_EQ(f.InputDataAndDeal(buf.get(), n), c.results[k]) << "call " << k;
    }
    // A null buffer is refused whatever the count.
    for (const int n : {0, 1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(f.InputDataAndDeal(nullptr, n), 0) << n;
    }
}

INSTANTIATE_TEST_SUITE_P(BadInput, DecimateBadInput, ::testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

// Init again with other sizes mid-stream and copies destroyed in either order;
// before Init every call returns 0.
TEST(DecimateBadInput, BeforeInitReinitAndCopies) {
    CFirFunc fresh;
    std::unique_ptr<char[]> one(new char[2]());
    EXPECT_EQ(fresh.InputDataAndDeal(one.get(), 1), 0);
    for (const bool originalFirst : {true, false}) {
        auto original = std::make_unique<CFirFunc>();
        bool flags[4] = {true, false, true, true};
        ASSERT_TRUE(original->Init(2, 10, 20, flags, 0, false));
        std::unique_ptr<char[]> a(new char[2 * 19]());
        EXPECT_EQ(original->InputDataAndDeal(a.get(), 19), 0);
        ASSERT_TRUE(original->Init(4, 2, 64, flags, 2, true));  // carry-over discarded
        CFirFunc& self = *original;
        *original = self;
        auto copy = std::make_unique<CFirFunc>(*original);
        (originalFirst ? original : copy).reset();
        CFirFunc& left = original ? *original : *copy;
        std::unique_ptr<char[]> b(new char[4 * 400]());
        // 400 samples = 50 output frames, of which the first 23 are start-up.
        EXPECT_EQ(left.InputDataAndDeal(b.get(), 400), (50 - 23) * 4);
    }
}

}  // namespace
