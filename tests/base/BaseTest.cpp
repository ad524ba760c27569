#include <gtest/gtest.h>

#include <RZFilterFunc/base/DesignLimits.h>
#include <RZFilterFunc/base/OwnedArray.h>
#include <RZFilterFunc/base/SampleCodec.h>

#include <cmath>
#include <cstdint>
#include <tuple>

namespace {

// Counts live objects, so a test sees exactly which arrays were freed.
struct Tracked {
    static int alive;
    Tracked() { ++alive; }
    ~Tracked() { --alive; }
};
int Tracked::alive = 0;

}  // namespace

TEST(OwnedArray, EachArrayIsFreedExactlyOnce) {
    Tracked* owner = nullptr;
    rzf::ResetArray(owner, rzf::MakeArray<Tracked>(3));
    EXPECT_EQ(Tracked::alive, 3);
    std::unique_ptr<Tracked[]> fresh = rzf::MakeArray<Tracked>(5);
    Tracked* const expected = fresh.get();
    rzf::ResetArray(owner, std::move(fresh));  // frees the previous array
    EXPECT_EQ(owner, expected);
    EXPECT_EQ(Tracked::alive, 5);
    rzf::FreeArray(owner);
    rzf::FreeArray(owner);  // freeing an empty owner does nothing
    EXPECT_EQ(owner, nullptr);
    EXPECT_EQ(Tracked::alive, 0);
    rzf::ResetArray(owner, rzf::MakeArray<Tracked>(2));
    rzf::ResetArray(owner, std::unique_ptr<Tracked[]>());  // an empty hand-over empties
    EXPECT_EQ(owner, nullptr);
    EXPECT_EQ(Tracked::alive, 0);
}

// Bit-exact: the double nearest 2.56 exceeds it by 5.3e-17, well inside half an
// ulp of these exactly representable quotients.
TEST(DesignLimits, DesignFrequencyLimitIsFsOver256Hundredths) {
    EXPECT_EQ(rzf::DesignFrequencyLimit(512.0), 200.0);
    EXPECT_EQ(rzf::DesignFrequencyLimit(1000.0), 390.625);
}

// {type, size, raw bits, read as, float written, bits after writing into 0x5A
// filler} (least significant byte first): int16 sign-extended, truncated toward
// zero, wrapping; float bits kept; int32 rounded to the nearest float on
// reading, out of range and NaN to INT32_MIN; unknown codes read 0, write nothing.
TEST(SampleCodec, RawSamplesAtTheRangeEdges) {
    const std::tuple<int, int, std::uint32_t, float, float, std::uint32_t> cases[] = {
        {0, 2, 0x8000u, -32768.0f, 40000.0f, 0x5A5A9C40u},
        {0, 2, 0xFFFFu, -1.0f, -1.9f, 0x5A5AFFFFu},
        {1, 4, 0x80000000u, -0.0f, -0.0f, 0x80000000u},
        {2, 4, 16777217u, 16777216.0f, 3e9f, 0x80000000u},
        {2, 4, 0xFFFFFFF9u, -7.0f, NAN, 0x80000000u},
        {3, 0, 0x5A5A5A5Au, 0.0f, 1.0f, 0x5A5A5A5Au}};
    for (const auto& [type, size, raw, read, value, written] : cases) {
        EXPECT_EQ(rzf::RawSampleSize(type), size) << type;
        EXPECT_EQ(rzf::ReadRawSample(reinterpret_cast<const char*>(&raw), type), read) << raw;
        std::uint32_t bits = 0x5A5A5A5Au;
        rzf::WriteRawSample(value, reinterpret_cast<char*>(&bits), type);
        EXPECT_EQ(bits, written) << value;
    }
}
