#include <gtest/gtest.h>

#include <RZFilterFunc/fir/CFilter.h>
#include <RZFilterFunc/fir/CKaiserFilter.h>

#include <cmath>
#include <memory>
#include <vector>

#include "FirTestData.h"

namespace {

// Runs the design on a fresh designer; the edges are given in Hz.
int Design(CKaiserFilter& k, int band, double fs, double f1, double f2, double atten,
           double transition) {
    k.m_nBandType = band;
    k.m_dFreq1 = f1;
    k.m_dFreq2 = f2;
    k.m_dNyquist = fs * 0.5;
    k.m_dAtten = atten;
    k.m_dTransition = transition;
    return k.Design();
}

}  // namespace

TEST(KaiserDesign, LengthAndBetaWorkedExamples) {
    CKaiserFilter k;
    ASSERT_EQ(Design(k, 1, 1000.0, 100.0, 0.0, 60.0, 0.1), 75);
    EXPECT_EQ(k.m_nLength, 75);
    EXPECT_DOUBLE_EQ(k.m_dBeta, 0.1102 * 51.3);
    EXPECT_EQ(k.m_dNyquist, 1.0);
    EXPECT_DOUBLE_EQ(k.m_dFreq1, 0.2);

    // 21 dB and below: rectangular window and the short length estimate.
    CKaiserFilter at21;
    ASSERT_EQ(Design(at21, 1, 1000.0, 100.0, 0.0, 21.0, 0.1), 2 * 10 + 1);
    EXPECT_EQ(at21.m_dBeta, 0.0);
    CKaiserFilter below;
    ASSERT_EQ(Design(below, 1, 1000.0, 100.0, 0.0, 10.0, 0.05), 2 * 19 + 1);
    EXPECT_EQ(below.m_dBeta, 0.0);

    // Exactly 50 dB takes the high-attenuation formula.
    CKaiserFilter at50;
    ASSERT_GT(Design(at50, 1, 1000.0, 100.0, 0.0, 50.0, 0.1), 0);
    EXPECT_DOUBLE_EQ(at50.m_dBeta, 0.1102 * 41.3);
}

// Records: attenuation beta, from scipy.signal.kaiser_beta.
TEST(KaiserDesign, BetaMatchesScipy) {
    const auto rows = ReadFirTable("kaiser_beta.txt");
    ASSERT_EQ(rows.size(), 9u);
    for (const auto& row : rows) {
        CKaiserFilter k;
        ASSERT_GT(Design(k, 1, 1000.0, 100.0, 0.0, row[0], 0.1), 0);
        EXPECT_NEAR(k.m_dBeta, row[1], 1e-12) << row[0];
    }
}

TEST(KaiserDesign, CentreTapIsScaledCutOff) {
    CKaiserFilter k;
    const int n = Design(k, 1, 1000.0, 150.0, 0.0, 45.0, 0.08);
    ASSERT_GT(n, 0);
    EXPECT_EQ(k.m_pCoef[n / 2], 16384.0 * (0.04 + 0.3));
}

// Records: band fs f1 f2 atten transition numtaps taps*16384, from
// scipy.signal.firwin with a Kaiser window and scale=False.
TEST(KaiserDesign, DesignsMatchScipyFirwin) {
    const auto rows = ReadFirTable("kaiser_designs.txt");
    ASSERT_EQ(rows.size(), 9u);
    for (const auto& row : rows) {
        const int numtaps = static_cast<int>(row[6]);
        ASSERT_EQ(row.size(), static_cast<size_t>(numtaps) + 7);
        double* taps = nullptr;
        const int n = CFilter::DesignFilter(
            taps, static_cast<float>(row[1]), static_cast<int>(row[0]), static_cast<float>(row[2]),
            static_cast<float>(row[3]), static_cast<int>(row[4]), row[5]);
        std::unique_ptr<double[]> owner(taps);
        ASSERT_EQ(n, numtaps) << "band " << row[0] << " atten " << row[4];
        ASSERT_NE(taps, nullptr);
        for (int k = 0; k < n; ++k) {
            // The Bessel series ends at an absolute 1e-8 term threshold; scipy
            // evaluates I0 to full precision.
            EXPECT_NEAR(taps[k], row[7 + k], 1e-6) << "band " << row[0] << " k " << k;
        }
    }
}

TEST(KaiserDesign, FourEdgeOverloadChecksOrder) {
    double dummy = 0.0;
    struct Case {
        int band;
        float f1, f2, f3, f4;
    } bad[] = {{1, 150, 100, 0, 0},     {1, 100, 100, 0, 0},     {2, 100, 150, 0, 0},
               {3, 150, 200, 400, 300}, {3, 200, 150, 300, 400}, {4, 150, 100, 300, 400},
               {4, 100, 150, 400, 300}};
    for (const auto& c : bad) {
        double* taps = &dummy;
        EXPECT_EQ(CFilter::DesignFilter(taps, 1000.0f, c.band, c.f1, c.f2, c.f3, c.f4, 60), 0)
            << c.band;
        EXPECT_EQ(taps, nullptr);
    }
}

TEST(KaiserDesign, FourEdgeOverloadUsesNarrowerTransition) {
    // Band-pass 200..300 Hz, stop edges 150 and 400: transitions 0.1 and 0.2.
    double* four = nullptr;
    const int n4 = CFilter::DesignFilter(four, 1000.0f, 3, 200.0f, 150.0f, 400.0f, 300.0f, 60);
    std::unique_ptr<double[]> ownFour(four);
    double* two = nullptr;
    const int n2 = CFilter::DesignFilter(two, 1000.0f, 3, 200.0f, 300.0f, 60,
                                         2.0 * static_cast<double>(50.0f / 1000.0f));
    std::unique_ptr<double[]> ownTwo(two);
    ASSERT_EQ(n4, 75);
    ASSERT_EQ(n2, n4);
    for (int k = 0; k < n4; ++k) {
        EXPECT_EQ(four[k], two[k]) << k;
    }
}

TEST(KaiserDesign, FourEdgeHighPassAndBandStopTransitions) {
    // High-pass 250 Hz pass edge, 200 Hz stop edge: 2 (50 / 1000) in float.
    // Band-stop pass 100 / 400, stops 150 / 250: the narrower gap is 50 Hz.
    struct Case {
        int band;
        float f1, f2, f3, f4;
        float pass2;
    } cases[] = {{2, 250.0f, 200.0f, 0.0f, 0.0f, 0.0f},
                 {4, 100.0f, 150.0f, 250.0f, 400.0f, 400.0f}};
    for (const Case& c : cases) {
        double* four = nullptr;
        const int n4 = CFilter::DesignFilter(four, 1000.0f, c.band, c.f1, c.f2, c.f3, c.f4, 60);
        std::unique_ptr<double[]> ownFour(four);
        double* two = nullptr;
        const int n2 = CFilter::DesignFilter(two, 1000.0f, c.band, c.f1, c.pass2, 60,
                                             2.0 * static_cast<double>(50.0f / 1000.0f));
        std::unique_ptr<double[]> ownTwo(two);
        ASSERT_EQ(n4, 75) << c.band;
        ASSERT_EQ(n2, n4) << c.band;
        for (int k = 0; k < n4; ++k) {
            EXPECT_EQ(four[k], two[k]) << c.band << " " << k;
        }
    }
}

TEST(KaiserDesign, UnusableInputGivesNoTaps) {
    double dummy = 0.0;
    const double transitions[] = {0.0, -0.1, NAN, 1e-12};
    for (double t : transitions) {
        double* taps = &dummy;
        EXPECT_EQ(CFilter::DesignFilter(taps, 1000.0f, 1, 100.0f, 0.0f, 60, t), 0) << t;
        EXPECT_EQ(taps, nullptr);
    }
    for (int band : {0, 5, -1}) {
        double* taps = &dummy;
        EXPECT_EQ(CFilter::DesignFilter(taps, 1000.0f, band, 100.0f, 300.0f, 60, 0.1), 0);
        EXPECT_EQ(taps, nullptr);
        taps = &dummy;
        EXPECT_EQ(CFilter::DesignFilter(taps, 1000.0f, band, 100.0f, 150.0f, 250.0f, 300.0f, 60),
                  0);
        EXPECT_EQ(taps, nullptr);
    }
}

// The sampling frequency only scales the edges; nothing checks it. At 0 Hz
// the edges become 100 / 0 = inf, so the taps are not finite, but the length
// still follows the attenuation and transition: 60 dB and 0.1 give 75 taps.
TEST(KaiserDesign, SamplingFrequencyIsNotChecked) {
    CKaiserFilter k;
    ASSERT_EQ(Design(k, 1, 0.0, 100.0, 0.0, 60.0, 0.1), 75);
    ASSERT_NE(k.m_pCoef, nullptr);
    EXPECT_EQ(k.m_pCoef[37], HUGE_VAL);  // 16384 (g + inf)
    EXPECT_TRUE(std::isnan(k.m_pCoef[0]));

    // Four edges at 0 Hz: the transition 2 (50 / 0) is infinite, the length
    // estimate truncates 52.05 / inf + 1 to 1, giving 3 taps.
    double* taps = nullptr;
    EXPECT_EQ(CFilter::DesignFilter(taps, 0.0f, 1, 100.0f, 150.0f, 0.0f, 0.0f, 60), 3);
    std::unique_ptr<double[]> owner(taps);
    ASSERT_NE(taps, nullptr);

    // A negative rate only flips the normalised edge: -100 / 500 = -0.2 and
    // the centre tap is 16384 (0.05 - 0.2).
    double* neg = nullptr;
    ASSERT_EQ(CFilter::DesignFilter(neg, -1000.0f, 1, 100.0f, 0.0f, 60, 0.1), 75);
    std::unique_ptr<double[]> ownNeg(neg);
    EXPECT_DOUBLE_EQ(neg[37], 16384.0 * (0.05 - 0.2));
}
