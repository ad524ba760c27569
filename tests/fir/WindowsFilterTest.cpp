#include <gtest/gtest.h>

#include <RZFilterFunc/fir/WindowsFilter.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "FirTestData.h"

namespace {

const double kPi = 3.14159265358979323846;

void Describe(WindowsFilter& f, int band, double fs, double f1, double f2, int window) {
    f.m_nBandType = band;
    f.m_dSampleFreq = fs;
    f.m_dFreq1 = f1;
    f.m_dFreq2 = f2;
    f.m_nWindowType = window;
}

std::vector<double> Taps(WindowsFilter& f) {
    return std::vector<double>(f.m_pCoef, f.m_pCoef + f.m_nLength);
}

}  // namespace

TEST(WindowsFilter, RectangularLowPassWorkedExample) {
    WindowsFilter f;
    Describe(f, 1, 1000.0, 100.0, -1.0, 0);
    ASSERT_EQ(f.DesignFIR(21), 0);
    ASSERT_EQ(f.m_nLength, 21);
    EXPECT_DOUBLE_EQ(f.m_dFreq1, 0.2);  // normalised to Nyquist
    EXPECT_EQ(f.m_dFreqScale, 1.0);
    EXPECT_DOUBLE_EQ(f.m_pCoef[10], 0.2);
    EXPECT_DOUBLE_EQ(f.m_pCoef[9], std::sin(0.2 * kPi) / kPi);
    EXPECT_DOUBLE_EQ(f.m_pCoef[11], std::sin(0.2 * kPi) / kPi);
    EXPECT_EQ(f.GetNumerator(), f.m_pCoef);
    EXPECT_EQ(f.GetCoefCount(), 0);
}

TEST(WindowsFilter, TapCountIsAlwaysOdd) {
    const int lengths[][2] = {{50, 51}, {51, 51}, {0, 1}, {2, 3}};
    for (const auto& l : lengths) {
        WindowsFilter f;
        Describe(f, 2, 1000.0, 200.0, -1.0, 2);
        ASSERT_EQ(f.DesignFIR(l[0]), 0);
        EXPECT_EQ(f.m_nLength, l[1]) << l[0];
    }
}

TEST(WindowsFilter, BadSpecificationChangesNothing) {
    struct Case {
        int band;
        double fs, f1, f2;
        int length;
    } cases[] = {{3, 1000, 100, 0, 21},   {4, 1000, 100, -1, 21}, {1, 1000, 0, 300, 21},
                 {1, 0, 100, 300, 21},    {1, 1000, NAN, 0, 21},  {0, 1000, 100, 300, 21},
                 {5, 1000, 100, 300, 21}, {1, 1000, 100, 300, -3}};
    for (const auto& c : cases) {
        WindowsFilter f;
        Describe(f, c.band, c.fs, c.f1, c.f2, 0);
        EXPECT_EQ(f.DesignFIR(c.length), -1) << c.band << " " << c.f1 << " " << c.f2;
        EXPECT_EQ(f.m_pCoef, nullptr);
        EXPECT_EQ(f.m_nLength, 1);
        EXPECT_EQ(f.m_dFreqScale, 0.0);
        EXPECT_EQ(f.m_dFreq2, c.f2);
    }
}

TEST(WindowsFilter, OneTapWindows) {
    for (int code : {2, 3, 5, 8}) {
        WindowsFilter f;
        Describe(f, 1, 1000.0, 100.0, -1.0, code);
        ASSERT_EQ(f.DesignFIR(1), 0);
        EXPECT_TRUE(std::isnan(f.m_pCoef[0])) << code;
    }
    WindowsFilter hannOpen;
    Describe(hannOpen, 1, 1000.0, 100.0, -1.0, 1);
    ASSERT_EQ(hannOpen.DesignFIR(1), 0);
    EXPECT_DOUBLE_EQ(hannOpen.m_pCoef[0], 0.2);  // window value 1.0 times w1
}

TEST(WindowsFilter, ParameterisedCodesDesignRectangular) {
    for (int band = 1; band <= 4; ++band) {
        WindowsFilter plain;
        Describe(plain, band, 1000.0, 120.0, 310.0, 0);
        ASSERT_EQ(plain.DesignFIR(33), 0);
        for (int code : {6, 7, 9}) {
            WindowsFilter f;
            Describe(f, band, 1000.0, 120.0, 310.0, code);
            ASSERT_EQ(f.DesignFIR(33), 0);
            EXPECT_EQ(Taps(f), Taps(plain)) << band << " " << code;
        }
    }
}

// Records: band code fs f1 f2 length taps, from scipy.signal.firwin(scale=False).
TEST(WindowsFilter, DesignsMatchScipyFirwin) {
    const auto rows = ReadFirTable("window_designs.txt");
    ASSERT_EQ(rows.size(), 56u);
    for (const auto& row : rows) {
        const int band = static_cast<int>(row[0]);
        const int code = static_cast<int>(row[1]);
        const int length = static_cast<int>(row[5]);
        ASSERT_EQ(row.size(), static_cast<size_t>(length) + 6);
        WindowsFilter f;
        Describe(f, band, row[2], row[3], row[4], code);
        ASSERT_EQ(f.DesignFIR(length), 0);
        ASSERT_EQ(f.m_nLength, length);
        for (int k = 0; k < length; ++k) {
            // The window is held in single precision (half an ulp of 1.0f is 3e-8).
            EXPECT_NEAR(f.m_pCoef[k], row[6 + k], 6e-8)
                << "band " << band << " code " << code << " k " << k;
        }
    }
}

TEST(WindowsFilter, RepeatedDesignReplacesTaps) {
    WindowsFilter f;
    Describe(f, 3, 1000.0, 100.0, 200.0, 2);
    ASSERT_EQ(f.DesignFIR(41), 0);
    const std::vector<double> first = Taps(f);
    Describe(f, 3, 1000.0, 100.0, 200.0, 2);  // edges reloaded in Hz
    ASSERT_EQ(f.DesignFIR(41), 0);
    EXPECT_EQ(Taps(f), first);
}

// Records: band code fs f1 f2 length points |H|/max|H| phase, from
// scipy.signal.freqz on the grid k * 3.1415926 / points.
TEST(WindowsFilter, ResponseMatchesScipyFreqz) {
    const auto rows = ReadFirTable("responses.txt");
    ASSERT_EQ(rows.size(), 2u);
    for (const auto& row : rows) {
        const int points = static_cast<int>(row[6]);
        ASSERT_EQ(row.size(), 7u + 2u * points);
        WindowsFilter f;
        Describe(f, static_cast<int>(row[0]), row[2], row[3], row[4], static_cast<int>(row[1]));
        ASSERT_EQ(f.DesignFIR(static_cast<int>(row[5])), 0);
        int count = -1;
        const double* amp = f.GetAmplitudeResponse(&count);
        ASSERT_NE(amp, nullptr);
        ASSERT_EQ(count, points);
        EXPECT_EQ(*std::max_element(amp, amp + points), 0.0);
        int phaseCount = -1;
        const double* phase = f.GetPhaseResponse(&phaseCount);
        ASSERT_EQ(phase, f.m_pPhase);
        EXPECT_EQ(phaseCount, points);
        for (int k = 0; k < points; ++k) {
            EXPECT_NEAR(std::pow(10.0, amp[k] / 20.0), row[7 + k], 1e-7) << k;
            EXPECT_DOUBLE_EQ(f.m_pFreqAxis[k], k * row[2] / (2.0 * points));
            EXPECT_LE(std::fabs(phase[k]), kPi / 2) << k;
            if (row[7 + k] > 1e-3) {
                EXPECT_NEAR(phase[k], row[7 + points + k], 1e-6) << k;
            }
        }
        // Cached: a second request returns the same arrays.
        EXPECT_EQ(f.GetAmplitudeResponse(&count), amp);
    }
}

TEST(WindowsFilter, ResponseCountWriting) {
    WindowsFilter f;
    int count = -1;
    EXPECT_EQ(f.GetAmplitudeResponse(&count), nullptr);
    EXPECT_EQ(count, 2048);  // written before the missing taps are noticed
    count = -1;
    EXPECT_EQ(f.GetPhaseResponse(&count), nullptr);
    EXPECT_EQ(count, -1);
    f.m_nRespCount = 0;
    EXPECT_EQ(f.GetAmplitudeResponse(&count), nullptr);
    EXPECT_EQ(count, -1);
}
