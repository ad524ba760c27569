// Hostile and out-of-range input to FilterUser: each row is a specification
// with the outcome it must get (validation result, usability, message), and
// every design that is reported usable must hold only finite coefficients.
// Block filtering runs on exact-size heap buffers, so AddressSanitizer sees
// any access past what a call was given.

#include <gtest/gtest.h>

#include <RZFilterFunc/RZFilterFunc.h>

#include <climits>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "TraceCapture.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// "阶数太大，滤波器不稳定，返回" in GBK (28 bytes), from Python's gbk codec.
const std::string kOrderMessage =
    "\xbd\xd7\xca\xfd\xcc\xab\xb4\xf3\xa3\xac\xc2\xcb\xb2\xa8\xc6\xf7\xb2\xbb\xce\xc8\xb6\xa8"
    "\xa3\xac\xb7\xb5\xbb\xd8";

// Longest window FIR or moving average the designer accepts.
constexpr int kMaxTaps = (1 << 21) + 1;

enum class Outcome {
    kRefusedByValidation,  // DesignFilter false, not usable
    kRefusedOrder,         // DesignFilter true, not usable, the order message
    kUsable,               // DesignFilter true, usable, finite coefficients
};

struct SpecCase {
    const char* name;
    int method, band;
    double fs, f1, f2, f3, f4;
    int length;
    Outcome outcome;
};

void PrintTo(const SpecCase& c, std::ostream* os) {
    *os << c.name;
}

// Entries 0 .. n-1 all finite.
bool AllFinite(const double* v, int n) {
    for (int i = 0; i < n; ++i) {
        if (!std::isfinite(v[i])) {
            return false;
        }
    }
    return true;
}

const SpecCase kSpecCases[] = {
    // Huge rates: the design arithmetic overflows (tan of a vanishing angle
    // and its ratios); such designs must not be reported usable.
    {"cheby1_lowpass_fs_1e308", DM_CHEBYSHEV1, BAND_LOWPASS, 1e308, 50, 80, 90, 100, 1,
     Outcome::kRefusedOrder},
    {"cheby1_highpass_fs_1e308", DM_CHEBYSHEV1, BAND_HIGHPASS, 1e308, 50, 80, 90, 100, 1,
     Outcome::kRefusedOrder},
    {"cheby2_lowpass_fs_1e308", DM_CHEBYSHEV2, BAND_LOWPASS, 1e308, 50, 80, 90, 100, 1,
     Outcome::kRefusedOrder},
    {"cheby2_highpass_fs_1e308", DM_CHEBYSHEV2, BAND_HIGHPASS, 1e308, 50, 80, 90, 100, 1,
     Outcome::kRefusedOrder},
    {"butter_lowpass_fs_1e308", DM_BUTTERWORTH, BAND_LOWPASS, 1e308, 50, 80, 90, 100, 1,
     Outcome::kRefusedOrder},
    // Non-finite and tiny values are refused by validation.
    {"fs_nan", DM_BUTTERWORTH, BAND_LOWPASS, kNaN, 50, 80, 90, 100, 1,
     Outcome::kRefusedByValidation},
    {"fs_inf_edges_inf", DM_CHEBYSHEV1, BAND_LOWPASS, kInf, kInf, kInf, kInf, kInf, 1,
     Outcome::kRefusedByValidation},
    {"edge_nan", DM_CHEBYSHEV2, BAND_BANDPASS, 1000, kNaN, 150, 250, 300, 1,
     Outcome::kRefusedByValidation},
    {"fs_negative", DM_WINDOW_FIR, BAND_LOWPASS, -1000, 100, 150, 250, 300, 51,
     Outcome::kRefusedByValidation},
    // Tiny rates are no problem: the designs see only the edges' ratios to fs.
    {"fs_tiny", DM_BUTTERWORTH, BAND_LOWPASS, 1e-300, 1e-302, 2e-302, 3e-302, 3.5e-302, 1,
     Outcome::kUsable},
    // Tap counts: the bound is accepted by the moving average (no response),
    // one more tap is refused with the order message, as are INT_MAX and
    // 2^30; the window design refuses the same lengths.
    {"average_at_bound", DM_AVERAGE, BAND_LOWPASS, 1000, 100, 150, 250, 300, kMaxTaps,
     Outcome::kUsable},
    {"average_above_bound", DM_AVERAGE, BAND_LOWPASS, 1000, 100, 150, 250, 300, kMaxTaps + 1,
     Outcome::kRefusedOrder},
    {"average_int_max", DM_AVERAGE, BAND_LOWPASS, 1000, 100, 150, 250, 300, INT_MAX,
     Outcome::kRefusedOrder},
    {"average_int_min", DM_AVERAGE, BAND_LOWPASS, 1000, 100, 150, 250, 300, INT_MIN,
     Outcome::kUsable},
    {"window_above_bound", DM_WINDOW_FIR, BAND_LOWPASS, 1000, 100, 150, 250, 300, kMaxTaps + 1,
     Outcome::kRefusedOrder},
    {"window_int_max", DM_WINDOW_FIR, BAND_HIGHPASS, 1000, 100, 150, 250, 300, INT_MAX,
     Outcome::kRefusedOrder},
    {"window_2_pow_30", DM_WINDOW_FIR, BAND_BANDPASS, 1000, 100, 150, 250, 300, 1 << 30,
     Outcome::kRefusedOrder},
    // Band types without an ideal response design zero taps (finite, usable).
    {"window_band_0", DM_WINDOW_FIR, 0, 1000, 100, 150, 250, 300, 20, Outcome::kUsable},
    {"window_band_5", DM_WINDOW_FIR, 5, 1000, 100, 150, 250, 300, 21, Outcome::kUsable},
    // Unknown methods: no filter class, refused without validation.
    {"method_4", DM_RESERVED, BAND_LOWPASS, 1000, 100, 150, 250, 300, 1,
     Outcome::kRefusedByValidation},
    {"method_minus_1", -1, BAND_LOWPASS, 1000, 100, 150, 250, 300, 1,
     Outcome::kRefusedByValidation},
    {"method_int_max", INT_MAX, BAND_LOWPASS, 1000, 100, 150, 250, 300, 1,
     Outcome::kRefusedByValidation},
};

class FilterUserSpec : public ::testing::TestWithParam<SpecCase> {};

TEST_P(FilterUserSpec, GetsItsOutcomeAndFiltersSafely) {
    const SpecCase& c = GetParam();
    TraceCapture trace;
    FilterUser user;
    user.setFilterParameter(c.band, c.method, c.f1, c.f2, c.f3, c.f4, c.fs, c.length, 0.5, 40.0,
                            0.0);
    const bool validated = user.DesignFilter();
    switch (c.outcome) {
        case Outcome::kRefusedByValidation:
            EXPECT_FALSE(validated);
            EXPECT_FALSE(user.GetIsStability());
            break;
        case Outcome::kRefusedOrder:
            EXPECT_TRUE(validated);
            EXPECT_FALSE(user.GetIsStability());
            EXPECT_EQ(user.GetErrorMessage(), kOrderMessage);
            break;
        case Outcome::kUsable:
            EXPECT_TRUE(validated);
            EXPECT_TRUE(user.GetIsStability());
            break;
    }
    // Whatever the outcome, a usable design holds only finite coefficients.
    if (user.GetIsStability()) {
        ClassicFilter* f = user.m_pFilter;
        ASSERT_NE(f, nullptr);
        const int n = c.method <= DM_CHEBYSHEV2   ? user.m_nIIROrder + 1
                      : c.method == DM_WINDOW_FIR ? f->m_nLength
                                                  : f->GetCoefCount();
        ASSERT_NE(f->GetNumerator(), nullptr);
        EXPECT_TRUE(AllFinite(f->GetNumerator(), n));
        if (c.method <= DM_CHEBYSHEV2) {
            EXPECT_TRUE(AllFinite(f->GetDenominator(), n));
        }
    }
    // A refused order leaves nothing to filter with: the output stays as it was.
    constexpr int kCount = 64;
    auto in = std::make_unique<float[]>(kCount);
    auto out = std::make_unique<float[]>(kCount);
    for (int i = 0; i < kCount; ++i) {
        in[i] = static_cast<float>(i % 7) - 3.0f;
        out[i] = 12345.0f;
    }
    if (c.outcome == Outcome::kUsable && c.method == DM_AVERAGE && c.length == kMaxTaps) {
        return;  // two million multiplications a sample: nothing more to learn here
    }
    user.FilterData(in.get(), out.get(), kCount);
    if (c.outcome != Outcome::kUsable) {
        for (int i = 0; i < kCount; ++i) {
            EXPECT_EQ(out[i], 12345.0f) << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(BadInput, FilterUserSpec, ::testing::ValuesIn(kSpecCases),
                         [](const auto& row) { return std::string(row.param.name); });

// The window design of a band type without an ideal response still
// normalises its edges and makes its length odd: 20 becomes 21 zero taps.
TEST(FilterUserBadInput, WindowBandTypeWithoutIdealResponseDesignsZeroTaps) {
    for (const int band : {0, 5}) {
        WindowsFilter f;
        f.m_dSampleFreq = 1000.0;
        f.m_dFreq1 = 100.0;
        f.m_dFreq2 = 250.0;
        f.m_nBandType = band;
        ASSERT_EQ(f.DesignFIR(20), 0) << band;
        EXPECT_EQ(f.m_nLength, 21);
        EXPECT_EQ(f.m_dFreq1, 0.2);  // 100 / 500, exact
        EXPECT_EQ(f.m_dFreq2, 0.5);
        ASSERT_NE(f.m_pCoef, nullptr);
        for (int k = 0; k < 21; ++k) {
            EXPECT_EQ(f.m_pCoef[k], 0.0) << k;
        }
    }
}

// Block filtering with nothing to filter, null buffers or hostile counts
// changes nothing and reads or writes nothing.
TEST(FilterUserBadInput, BlockCallsWithoutDesignOrWithHostileCounts) {
    constexpr int kCount = 16;
    auto in = std::make_unique<float[]>(kCount);
    auto out = std::make_unique<float[]>(kCount);
    for (int i = 0; i < kCount; ++i) {
        in[i] = 1.0f;
        out[i] = -7.0f;
    }
    FilterUser fresh;  // before any design
    fresh.FilterData(in.get(), out.get(), kCount);
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 100, 150, 250, 300, 1000, 4, 0.5, 40, 0);
    ASSERT_TRUE(user.DesignFilter());
    for (const int count : {0, -1, INT_MIN}) {
        user.FilterData(in.get(), out.get(), count);
    }
    for (const int count : {0, -1, INT_MIN, INT_MAX, kCount}) {
        user.FilterData(nullptr, nullptr, count);
        user.FilterData(nullptr, out.get(), count);
        user.FilterData(in.get(), nullptr, count);
    }
    for (int i = 0; i < kCount; ++i) {
        EXPECT_EQ(out[i], -7.0f) << i;
    }
    // The state built above still starts the average from zero: 1/4, 2/4 ...
    user.FilterData(in.get(), out.get(), kCount);
    EXPECT_EQ(out[0], 0.25f);
    EXPECT_EQ(out[3], 1.0f);
}

// Copies share the design; either may go first, self-assignment changes
// nothing, and a redesign of one mid-stream leaves the other working.
TEST(FilterUserBadInput, CopiesDestroyedInEitherOrderAndSelfAssignment) {
    constexpr int kCount = 32;
    auto in = std::make_unique<float[]>(kCount);
    auto a = std::make_unique<float[]>(kCount);
    auto b = std::make_unique<float[]>(kCount);
    for (int i = 0; i < kCount; ++i) {
        in[i] = static_cast<float>(i);
    }
    for (const bool originalFirst : {true, false}) {
        auto original = std::make_unique<FilterUser>();
        original->setFilterParameter(BAND_LOWPASS, DM_WINDOW_FIR, 100, 150, 250, 300, 1000, 11, 0.5,
                                     40, 0);
        ASSERT_TRUE(original->DesignFilter());
        FilterUser& self = *original;
        *original = self;
        auto copy = std::make_unique<FilterUser>(*original);
        original->FilterData(in.get(), a.get(), kCount);
        copy->setFirstInputState(true);
        copy->FilterData(in.get(), b.get(), kCount);
        for (int i = 0; i < kCount; ++i) {
            EXPECT_EQ(a[i], b[i]) << i;
        }
        (originalFirst ? original : copy).reset();
        FilterUser& left = original ? *original : *copy;
        left.setFilterParameter(BAND_HIGHPASS, DM_BUTTERWORTH, 100, 200, 250, 300, 1000, 1, 0.5, 40,
                                0);
        ASSERT_TRUE(left.DesignFilter());
        left.FilterData(in.get(), a.get(), kCount);
        EXPECT_TRUE(AllFinite(left.m_pFilter->GetNumerator(), left.m_nIIROrder + 1));
    }
}

}  // namespace
