// Hostile and out-of-range input to CIntegralDiff: each row is one InitDiff and
// one call on an exact-size heap buffer of the frames the call is told about;
// channels outside the frame, unknown types and bad sizes touch nothing.

#include <gtest/gtest.h>

#include <RZFilterFunc/RZFilterFunc.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

struct IntegralCase {
    const char* name;
    int first, stride;
    std::vector<int> channels;
    double fs;
    int type, bytes;
    int frames;          // the call's nCount
    int bufferBytes;     // exact size of the buffer handed over
    bool changesBuffer;  // some sample is rewritten
};

void PrintTo(const IntegralCase& c, std::ostream* os) {
    *os << c.name;
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const IntegralCase kCases[] = {
    {"reference", 0, 2, {1}, 1000, 2, 4, 3, 24, true},
    {"channel_before_first", 1, 2, {0}, 1000, 2, 4, 3, 24, false},
    {"channel_past_frame", 0, 2, {2, 7, INT_MAX}, 1000, 2, 4, 3, 24, false},
    {"channel_int_min", 0, 2, {INT_MIN}, 1000, 2, 4, 3, 24, false},
    {"first_int_min", INT_MIN, 2, {1}, 1000, 2, 4, 3, 24, false},
    {"stride_zero", 0, 0, {0}, 1000, 2, 4, 3, 24, false},
    {"stride_negative", 0, -2, {0}, 1000, 2, 4, 3, 24, false},
    {"sample_bytes_zero", 0, 2, {0}, 1000, 2, 0, 3, 24, false},
    {"sample_bytes_negative", 0, 2, {0}, 1000, 2, -4, 3, 24, false},
    {"sample_narrower_than_type", 0, 1, {0}, 1000, 2, 2, 3, 6, false},
    {"unknown_type", 0, 2, {0, 1}, 1000, 3, 4, 3, 24, false},
    {"negative_type", 0, 2, {0, 1}, 1000, -1, 4, 3, 24, false},
    {"frames_zero", 0, 2, {0}, 1000, 2, 4, 0, 24, false},
    {"frames_negative", 0, 2, {0}, 1000, 2, 4, -1, 24, false},
    {"frames_int_min", 0, 2, {0}, 1000, 2, 4, INT_MIN, 24, false},
    {"no_channels", 0, 2, {}, 1000, 2, 4, 3, 24, false},
    {"fs_nan", 0, 2, {0}, kNaN, 1, 4, 3, 24, true},
    {"fs_zero", 0, 2, {0}, 0.0, 0, 2, 3, 12, true},
    // One frame of a huge layout: only its first sample is read and written.
    {"stride_int_max_one_frame", 0, INT_MAX, {0}, 1000, 2, 4, 1, 24, true},
};

class IntegralBadInput : public ::testing::TestWithParam<IntegralCase> {};

TEST_P(IntegralBadInput, TouchesOnlyItsFrames) {
    const IntegralCase& c = GetParam();
    CIntegralDiff f;
    f.InitDiff(c.first, c.stride, c.channels, c.fs, c.type, c.bytes);
    std::unique_ptr<char[]> buf(new char[static_cast<std::size_t>(c.bufferBytes)]);
    for (int i = 0; i < c.bufferBytes; ++i) {
        buf[i] = static_cast<char>(3 + i % 4);
    }
    std::vector<char> before(buf.get(), buf.get() + c.bufferBytes);
    f.ContinueIntegral(c.frames, buf.get());
    EXPECT_EQ(std::memcmp(before.data(), buf.get(), before.size()) != 0, c.changesBuffer);
    // A null buffer is ignored whatever the count.
    for (const int n : {0, 1, INT_MAX, INT_MIN}) {
        f.ContinueIntegral(n, nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(BadInput, IntegralBadInput, ::testing::ValuesIn(kCases),
                         [](const auto& row) { return std::string(row.param.name); });

// Copies share the running integrals; either may go first, self-assignment
// changes nothing, and InitDiff again with another layout starts afresh.
TEST(IntegralBadInput, CopiesReinitAndSelfAssignment) {
    for (const bool originalFirst : {true, false}) {
        auto original = std::make_unique<CIntegralDiff>();
        original->InitDiff(0, 1, {0}, 1.0, 1, 4);
        std::unique_ptr<float[]> a(new float[3]{2.0f, 2.0f, 2.0f});
        original->ContinueIntegral(3, reinterpret_cast<char*>(a.get()));
        EXPECT_EQ(a[2], 4.0f);  // 0, 2, 4
        CIntegralDiff& self = *original;
        *original = self;
        auto copy = std::make_unique<CIntegralDiff>(*original);
        (originalFirst ? original : copy).reset();
        CIntegralDiff& left = original ? *original : *copy;
        std::unique_ptr<float[]> b(new float[1]{2.0f});
        left.ContinueIntegral(1, reinterpret_cast<char*>(b.get()));
        EXPECT_EQ(b[0], 6.0f);  // continues from the shared state
        left.InitDiff(1, 3, {2, 2}, 1.0, 0, 2);
        std::unique_ptr<std::int16_t[]> c(new std::int16_t[6]{9, 9, 4, 9, 9, 4});
        left.ContinueIntegral(2, reinterpret_cast<char*>(c.get()));
        // Channel 2 is the second sample of each 3-sample frame, integrated twice
        // (divisor 2): 0, (9 + 9) / 2 = 9 the first pass, then 0, (9 + 0) / 2 =
        // 4.5, truncated to 4, the second.
        EXPECT_EQ(c[1], 0);
        EXPECT_EQ(c[4], 4);
        EXPECT_TRUE(c[0] == 9 && c[2] == 4 && c[3] == 9 && c[5] == 4);
    }
}

}  // namespace
