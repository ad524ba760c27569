#include <gtest/gtest.h>

#include <RZFilterFunc/fir/WindowFunctions.h>

#include <cmath>
#include <vector>

#include "FirTestData.h"

namespace {

const float kSentinel = -7.0f;

}  // namespace

// Records: code n beta w[0..n-1], from scipy.signal.windows (symmetric).
TEST(WindowFunctions, WindowsMatchScipyReference) {
    const auto rows = ReadFirTable("windows.txt");
    ASSERT_EQ(rows.size(), 68u);
    for (const auto& row : rows) {
        const int code = static_cast<int>(row[0]);
        const int n = static_cast<int>(row[1]);
        const double beta = row[2];
        ASSERT_EQ(row.size(), static_cast<size_t>(n) + 3);
        std::vector<float> w(n, kSentinel);
        ASSERT_TRUE(rzf::MakeWindow(w.data(), n, code, beta, 1.0, 1.0, -3.0));
        for (int k = 0; k < n; ++k) {
            EXPECT_NEAR(w[k], row[3 + k], 6e-8) << "code " << code << " n " << n << " k " << k;
            EXPECT_EQ(w[k], w[n - 1 - k]) << "code " << code << " n " << n << " k " << k;
        }
    }
}

TEST(WindowFunctions, RectangularAndUnknownCodes) {
    for (int code : {0, -1, 10, 1000}) {
        std::vector<float> w(5, kSentinel);
        EXPECT_TRUE(rzf::MakeWindow(w.data(), 5, code, 0.0, 1.0, 1.0, -3.0));
        for (float v : w) {
            EXPECT_EQ(v, 1.0f);
        }
    }
    float w[3] = {kSentinel, kSentinel, kSentinel};
    EXPECT_FALSE(rzf::MakeWindow(nullptr, 5, 0, 0.0, 1.0, 1.0, -3.0));
    EXPECT_FALSE(rzf::MakeWindow(w, 0, 2, 0.0, 1.0, 1.0, -3.0));
    EXPECT_TRUE(rzf::MakeWindow(w, -4, 0, 0.0, 1.0, 1.0, -3.0));   // nothing to fill
    EXPECT_FALSE(rzf::MakeWindow(w, -4, 2, 0.0, 1.0, 1.0, -3.0));  // no negative window
    EXPECT_EQ(w[0], kSentinel);
}

TEST(WindowFunctions, OnePointWindows) {
    // A cosine sum over one point divides 0 by 0.
    for (int code : {2, 3, 5, 8}) {
        float w = kSentinel;
        EXPECT_TRUE(rzf::MakeCosineWindow(&w, 1, code));
        EXPECT_TRUE(std::isnan(w)) << code;
    }
    float w = kSentinel;
    EXPECT_TRUE(rzf::MakeWindow(&w, 1, 1, 0.0, 1.0, 1.0, -3.0));
    EXPECT_EQ(w, 1.0f);  // middle of a three-point Hann
    EXPECT_TRUE(rzf::MakeWindow(&w, 1, 4, 0.0, 1.0, 1.0, -3.0));
    EXPECT_EQ(w, 1.0f);
    // Other codes are not cosine sums and leave the output alone.
    w = kSentinel;
    EXPECT_FALSE(rzf::MakeCosineWindow(&w, 4, 4));
    EXPECT_FALSE(rzf::MakeCosineWindow(&w, 4, 0));
    EXPECT_EQ(w, kSentinel);
}

TEST(WindowFunctions, ExponentialTaperFallsByDecades) {
    // Segment [2, 7) of 10 points falls three decades over its 5 points.
    std::vector<float> w(10, kSentinel);
    ASSERT_TRUE(rzf::MakeWindow(w.data(), 10, 6, 0.2, 0.7, 1.0, -3.0));
    EXPECT_EQ(w[0], 0.0f);
    EXPECT_EQ(w[1], 0.0f);
    for (int j = 0; j < 5; ++j) {
        EXPECT_NEAR(w[2 + j], std::pow(10.0, -0.6 * j), 1e-6 * std::pow(10.0, -0.6 * j)) << j;
    }
    for (int k = 7; k < 10; ++k) {
        EXPECT_EQ(w[k], 0.0f);
    }
    // Refused: no span, or a segment running past the window.
    std::vector<float> untouched(10, kSentinel);
    EXPECT_FALSE(rzf::MakeWindow(untouched.data(), 10, 6, 0.2, 0.7, 0.0, -3.0));
    EXPECT_FALSE(rzf::MakeWindow(untouched.data(), 10, 6, 0.0, 1.5, 1.0, -3.0));
    EXPECT_FALSE(rzf::MakeWindow(untouched.data(), 10, 7, -0.5, 1.0, 1.0, -3.0));
    EXPECT_FALSE(rzf::MakeWindow(untouched.data(), 10, 7, std::nan(""), 1.0, 1.0, -3.0));
    for (float v : untouched) {
        EXPECT_EQ(v, kSentinel);
    }
}

TEST(WindowFunctions, RectangularSegment) {
    std::vector<float> w(8, kSentinel);
    ASSERT_TRUE(rzf::MakeWindow(w.data(), 8, 7, 0.25, 0.75, 1.0, -3.0));
    const float expected[8] = {0, 0, 1, 1, 1, 1, 0, 0};
    for (int k = 0; k < 8; ++k) {
        EXPECT_EQ(w[k], expected[k]) << k;
    }
}

TEST(WindowFunctions, KaiserEdgeLengths) {
    float one = kSentinel;
    ASSERT_TRUE(rzf::MakeWindow(&one, 1, 9, 5.0, 1.0, 1.0, -3.0));
    EXPECT_TRUE(std::isnan(one));
    // (n-1)^2 no longer fits 32 bits here; the centre is still exactly 1.
    const int n = 50001;
    std::vector<float> w(n, kSentinel);
    ASSERT_TRUE(rzf::MakeWindow(w.data(), n, 9, 5.0, 1.0, 1.0, -3.0));
    EXPECT_EQ(w[n / 2], 1.0f);
    EXPECT_EQ(w[0], w[n - 1]);
}

// Records: x I0(x), from scipy.special.i0.
TEST(WindowFunctions, BesselI0MatchesScipy) {
    const auto rows = ReadFirTable("bessel_i0.txt");
    ASSERT_EQ(rows.size(), 9u);
    for (const auto& row : rows) {
        // The series stops at an absolute term threshold of 1e-8.
        EXPECT_NEAR(rzf::BesselI0(row[0]), row[1], 1e-8 + 1e-14 * row[1]) << row[0];
    }
    EXPECT_EQ(rzf::BesselI0(0.0), 1.0);
    // A first term at or below the threshold ends the series at once.
    EXPECT_EQ(rzf::BesselI0(1e-4), 1.0 + 5e-5 * 5e-5);
    EXPECT_TRUE(std::isnan(rzf::BesselI0(std::nan(""))));
}
