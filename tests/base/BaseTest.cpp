#include <gtest/gtest.h>

#include <RZFilterFunc/base/DesignLimits.h>
#include <RZFilterFunc/base/OwnedArray.h>

#include <memory>
#include <utility>

namespace {

// Counts constructions and destructions, so a test sees exactly which arrays
// were freed.
struct Tracked {
    static int alive;
    Tracked() { ++alive; }
    ~Tracked() { --alive; }
    Tracked(const Tracked&) = delete;
    Tracked& operator=(const Tracked&) = delete;
};
int Tracked::alive = 0;

}  // namespace

TEST(OwnedArray, HandOverReplaceAndFreeReleaseEachArrayOnce) {
    Tracked* owner = nullptr;
    rzf::ResetArray(owner, rzf::MakeArray<Tracked>(3));
    ASSERT_NE(owner, nullptr);
    EXPECT_EQ(Tracked::alive, 3);

    // Replacing frees the previous array and keeps only the new one.
    std::unique_ptr<Tracked[]> fresh = rzf::MakeArray<Tracked>(5);
    Tracked* const expected = fresh.get();
    rzf::ResetArray(owner, std::move(fresh));
    EXPECT_EQ(owner, expected);
    EXPECT_EQ(Tracked::alive, 5);

    rzf::FreeArray(owner);
    EXPECT_EQ(owner, nullptr);
    EXPECT_EQ(Tracked::alive, 0);
    rzf::FreeArray(owner);  // freeing an empty owner is a no-op
    EXPECT_EQ(Tracked::alive, 0);

    // Handing over an empty array empties the owner.
    rzf::ResetArray(owner, rzf::MakeArray<Tracked>(2));
    rzf::ResetArray(owner, std::unique_ptr<Tracked[]>());
    EXPECT_EQ(owner, nullptr);
    EXPECT_EQ(Tracked::alive, 0);
}

TEST(OwnedArray, ZeroedArraysStartAtZero) {
    double* owner = nullptr;
    rzf::ResetArray(owner, rzf::MakeZeroedArray<double>(64));
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(owner[i], 0.0) << i;
    }
    rzf::FreeArray(owner);
}

TEST(DesignLimits, DesignFrequencyLimitIsFsOver256Hundredths) {
    // Bit-exact: the double nearest 2.56 exceeds it by 5.3e-17, so fs / 2.56
    // lies within 1e-14 of the decimal quotient, well inside half an ulp of
    // these exactly representable results.
    EXPECT_EQ(rzf::DesignFrequencyLimit(512.0), 200.0);
    EXPECT_EQ(rzf::DesignFrequencyLimit(1000.0), 390.625);
    EXPECT_EQ(rzf::DesignFrequencyLimit(256.0), 100.0);
    EXPECT_EQ(rzf::DesignFrequencyLimit(0.0), 0.0);
}
