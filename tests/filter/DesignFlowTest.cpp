#include <gtest/gtest.h>

#include <RZFilterFunc/filter/AverageFilter.h>
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/fir/WindowsFilter.h>
#include <RZFilterFunc/iir/ButwcfFilter.h>
#include <RZFilterFunc/iir/ChebyiFilter.h>
#include <RZFilterFunc/iir/ChebyiiFilter.h>

#include "TraceCapture.h"

TEST(DesignFlow, ConstructionDefaults) {
    FilterUser user;
    EXPECT_EQ(user.m_pFilter, nullptr);
    EXPECT_EQ(user.m_pState, nullptr);
    EXPECT_EQ(user.m_nBandType, 1);
    EXPECT_EQ(user.m_nOrder, 1);
    EXPECT_EQ(user.m_nDesignMethod, 0);
    EXPECT_EQ(user.m_nWindowType, 0);
    EXPECT_EQ(user.m_dSampleFreq, 512.0);
    EXPECT_EQ(user.m_dPassRipple, 0.3);
    EXPECT_EQ(user.m_dStopAtten, 40.0);
    EXPECT_EQ(user.m_dFreq1, 100.0);
    EXPECT_EQ(user.m_dFreq2, 140.0);
    EXPECT_EQ(user.m_dFreq3, 160.0);
    EXPECT_EQ(user.m_dFreq4, 200.0);
    EXPECT_EQ(user.m_nIIROrder, 24);
    EXPECT_EQ(user.m_nFIRLength, 51);
    EXPECT_EQ(user.m_dReserved, 10.0);
    EXPECT_TRUE(user.m_bFirstInput);
    EXPECT_FALSE(user.GetIsStability());
    EXPECT_TRUE(user.GetErrorMessage().empty());

    // The all-parameter setter restarts the state and leaves the window alone.
    user.setWindowType(4);
    user.m_bFirstInput = false;
    user.setFilterParameter(3, 2, 10, 20, 30, 40, 1000, 7, 0.5, 60, 2.5);
    EXPECT_TRUE(user.m_bFirstInput);
    EXPECT_EQ(user.m_nWindowType, 4);
    EXPECT_EQ(user.m_nOrder, 7);
    EXPECT_EQ(user.m_nFIRLength, 7);
    EXPECT_EQ(user.m_pFilter, nullptr);  // nothing designed
}

TEST(DesignFlow, NewFilterClassAndWindowCode) {
    FilterUser user;
    user.GetNewFilter(DM_BUTTERWORTH);
    EXPECT_NE(dynamic_cast<ButwcfFilter*>(user.m_pFilter), nullptr);
    EXPECT_EQ(user.m_pFilter->m_dSampleFreq, -1.0);
    EXPECT_EQ(user.m_pFilter->m_dFreq4, -1.0);
    EXPECT_EQ(user.m_pFilter->m_nRespCount, 2048);
    user.GetNewFilter(DM_CHEBYSHEV1);
    EXPECT_NE(dynamic_cast<ChebyiFilter*>(user.m_pFilter), nullptr);
    user.GetNewFilter(DM_CHEBYSHEV2);
    EXPECT_NE(dynamic_cast<ChebyiiFilter*>(user.m_pFilter), nullptr);
    user.GetNewFilter(DM_AVERAGE);
    EXPECT_NE(dynamic_cast<AverageFilter*>(user.m_pFilter), nullptr);
    user.GetNewFilter(DM_RESERVED);
    EXPECT_EQ(user.m_pFilter, nullptr);

    const int codes[][2] = {{-1, 0}, {0, 0}, {1, 1}, {2, 2}, {3, 0},
                            {4, 4},  {5, 5}, {6, 0}, {9, 0}};
    for (const auto& code : codes) {
        user.setWindowType(code[0]);
        user.GetNewFilter(DM_WINDOW_FIR);
        auto* window = dynamic_cast<WindowsFilter*>(user.m_pFilter);
        ASSERT_NE(window, nullptr);
        EXPECT_EQ(window->m_nWindowType, code[1]) << "selector " << code[0];
    }
}

TEST(DesignFlow, MethodWithoutFilterClassIsRefusedQuietly) {
    for (int method : {4, -1, 6, 100}) {
        TraceCapture trace;
        FilterUser user;
        user.m_nDesignMethod = DM_AVERAGE;
        ASSERT_TRUE(user.DesignFilter());
        user.m_nDesignMethod = method;
        user.m_dSampleFreq = 0.0;  // would fail validation if it ran
        EXPECT_FALSE(user.DesignFilter()) << method;
        EXPECT_EQ(user.m_pFilter, nullptr);
        EXPECT_TRUE(user.GetErrorMessage().empty());
        EXPECT_FALSE(user.GetIsStability());
        EXPECT_TRUE(trace.Lines().empty());
    }
}

TEST(DesignFlow, IirDesignReceivesTheParameters) {
    FilterUser user;
    user.setFilterParameter(BAND_BANDPASS, DM_CHEBYSHEV1, 50, 80, 120, 150, 1000, 4, 0.5, 45, 0);
    ASSERT_TRUE(user.DesignFilter());
    auto* iir = dynamic_cast<ChebyiFilter*>(user.m_pFilter);
    ASSERT_NE(iir, nullptr);
    EXPECT_EQ(iir->m_dSampleFreq, 1000);
    EXPECT_EQ(iir->m_nBandType, BAND_BANDPASS);
    EXPECT_EQ(iir->m_dFreq1, 50);
    EXPECT_EQ(iir->m_dFreq2, 80);
    EXPECT_EQ(iir->m_dFreq3, 120);
    EXPECT_EQ(iir->m_dFreq4, 150);
    EXPECT_EQ(iir->m_dPassRipple, 0.5);
    EXPECT_EQ(iir->m_dStopAtten, 45);

    // The stored order is the design's: warped selectivity 0.4489, estimate
    // acosh(sqrt(x2/x1)) / acosh(1/k) + 0.9 = 5.71 -> 5, three sections of
    // degree four.
    EXPECT_EQ(user.m_nIIROrder, 12);
    EXPECT_EQ(iir->m_nFilterOrder, 12);
}

TEST(DesignFlow, WindowAndAverageDesigns) {
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_WINDOW_FIR, 100, 140, 160, 200, 512, 21, 0.3, 40, 0);
    user.setWindowType(3);
    ASSERT_TRUE(user.DesignFilter());
    auto* window = dynamic_cast<WindowsFilter*>(user.m_pFilter);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->m_nWindowType, 0);  // selector 3 designs with the rectangular window
    EXPECT_EQ(window->m_dSampleFreq, 512);
    EXPECT_EQ(window->m_nBandType, BAND_LOWPASS);
    EXPECT_EQ(window->m_dFreq3, -1.0);  // only the two cut-offs are handed over
    EXPECT_EQ(window->m_dFreq4, -1.0);
    EXPECT_EQ(user.m_nIIROrder, 0);

    user.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 100, 0, 0, 0, 512, 6, 0, 0, 0);
    ASSERT_TRUE(user.DesignFilter());
    EXPECT_TRUE(user.GetIsStability());
    EXPECT_EQ(user.m_pFilter->GetCoefCount(), 6);
    EXPECT_EQ(user.m_pFilter->m_pAmplitude, nullptr);
    EXPECT_EQ(user.m_pFilter->m_pFreqAxis, nullptr);
}

TEST(DesignFlow, AverageFilterTaps) {
    AverageFilter filter;
    EXPECT_EQ(filter.DesignFIR(4), 1);
    ASSERT_EQ(filter.GetCoefCount(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(filter.GetNumerator()[i], 0.25);
    }
    EXPECT_EQ(filter.DesignFIR(3), 1);  // replaces the first array
    EXPECT_EQ(filter.GetNumerator()[2], 1.0 / 3.0);
    EXPECT_EQ(filter.DesignFIR(0), 1);  // a length below one designs a single tap
    EXPECT_EQ(filter.GetCoefCount(), 1);
    EXPECT_EQ(filter.GetNumerator()[0], 1.0);

    int count = 7;
    EXPECT_EQ(filter.GetAmplitudeResponse(&count), nullptr);
    EXPECT_EQ(count, 7);
    EXPECT_EQ(filter.GetPhaseResponse(&count), nullptr);
    EXPECT_EQ(count, 2048);
    EXPECT_EQ(filter.GetDenominator(), nullptr);
    filter.m_dFreq2 = 5.0;
    filter.ResetDesign();
    EXPECT_EQ(filter.m_dFreq2, -1.0);
    EXPECT_EQ(filter.m_nBandType, 0);
    EXPECT_EQ(filter.m_nLength, 1);
}

TEST(DesignFlow, CopiesShareAndOutliveEachOther) {
    auto* first = new FilterUser;
    first->setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 100, 0, 0, 0, 512, 5, 0, 0, 0);
    ASSERT_TRUE(first->DesignFilter());
    float x = 1.0f;
    float y = 0.0f;
    first->FilterData(&x, &y, 1);

    FilterUser copy(*first);
    FilterUser assigned;
    assigned.m_nDesignMethod = DM_AVERAGE;
    ASSERT_TRUE(assigned.DesignFilter());  // owned before the assignment, released by it
    assigned = *first;
    const FilterUser& alias = assigned;
    assigned = alias;  // self-assignment keeps the shared objects
    EXPECT_EQ(copy.m_pFilter, first->m_pFilter);
    EXPECT_EQ(copy.m_pState, first->m_pState);
    EXPECT_EQ(assigned.m_pFilter, first->m_pFilter);
    EXPECT_EQ(assigned.m_pState, first->m_pState);

    // Redesigning one copy leaves the others with the shared filter intact.
    copy.m_nFIRLength = 2;
    ASSERT_TRUE(copy.DesignFilter());
    EXPECT_NE(copy.m_pFilter, first->m_pFilter);
    delete first;
    EXPECT_EQ(assigned.m_pFilter->GetCoefCount(), 5);
    EXPECT_EQ(copy.m_pFilter->GetCoefCount(), 2);
    assigned.FilterData(&x, &y, 1);
    EXPECT_FLOAT_EQ(y, 0.4f);  // two ones in a 5-tap average
}

TEST(DesignFlow, InitDesCopiesTheParametersAndDesigns) {
    FilterUser source;
    source.setFilterParameter(BAND_HIGHPASS, DM_AVERAGE, 100, 0, 0, 0, 512, 4, 0.2, 30, 7.5);
    source.m_nFIRLength = 99;  // not the source of the target's length
    source.setWindowType(2);
    FilterUser target;
    target.m_bFirstInput = false;
    target.m_dMaxValue = 123.0;
    source.InitDes(target);
    EXPECT_EQ(target.m_nBandType, BAND_HIGHPASS);
    EXPECT_EQ(target.m_nWindowType, 2);
    EXPECT_EQ(target.m_dPassRipple, 0.2);
    EXPECT_EQ(target.m_dStopAtten, 30);
    EXPECT_EQ(target.m_dReserved, 7.5);
    EXPECT_EQ(target.m_nOrder, 4);
    EXPECT_EQ(target.m_nFIRLength, 4);
    EXPECT_TRUE(target.m_bFirstInput);
    ASSERT_NE(target.m_pFilter, nullptr);
    EXPECT_EQ(target.m_pFilter->GetCoefCount(), 4);
    // The stable moving average went through GetMaxMin, which has no response to read.
    EXPECT_EQ(target.m_dMaxValue, 0.0);
    EXPECT_FALSE(target.GetIsStability());
    EXPECT_EQ(source.m_pFilter, nullptr);
    EXPECT_EQ(source.m_nFIRLength, 99);

    // Refused parameters skip the axis limits.
    TraceCapture trace;
    source.m_dFreq1 = 0.0;
    target.m_dMaxValue = 123.0;
    source.InitDes(target);
    EXPECT_EQ(target.m_dMaxValue, 123.0);
    EXPECT_FALSE(target.GetErrorMessage().empty());
    EXPECT_EQ(trace.Lines().size(), 1u);
}

// A reset forgets the response arrays without freeing them: pointers a caller
// took earlier stay readable until the filter is destroyed.
TEST(DesignFlow, ResetKeepsEarlierResponsePointersReadable) {
    AverageFilter filter;
    filter.m_pFreqAxis = new double[3]{0.0, 1.0, 2.0};
    filter.m_pAmplitude = new double[3]{0.0, -3.0, -20.0};
    filter.m_pPhase = new double[3]{0.0, -0.5, -1.0};
    filter.m_nRespCount = 3;
    filter.m_bStable = true;
    filter.m_strError = "kept";
    filter.m_dSampleFreq = 100.0;
    const double* freq = filter.m_pFreqAxis;
    const double* amplitude = filter.m_pAmplitude;
    const double* phase = filter.m_pPhase;

    filter.ResetDesign();
    EXPECT_EQ(filter.m_pFreqAxis, nullptr);
    EXPECT_EQ(filter.m_pAmplitude, nullptr);
    EXPECT_EQ(filter.m_pPhase, nullptr);
    EXPECT_EQ(filter.m_nRespCount, 2048);
    EXPECT_EQ(filter.m_dSampleFreq, -1.0);
    EXPECT_FALSE(filter.m_bStable);
    EXPECT_EQ(filter.m_strError, "kept");
    EXPECT_EQ(freq[2], 2.0);
    EXPECT_EQ(amplitude[1], -3.0);
    EXPECT_EQ(phase[2], -1.0);
}
