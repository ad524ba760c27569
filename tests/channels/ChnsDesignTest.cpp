#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "FrameTestUtil.h"

namespace {

constexpr float kRate = 1000.0f;

// Amplitude of each channel's sine over the last frames of a two-channel float
// stream of unit sines at f0 (channel 0) and f1 (channel 1), fed in two
// blocks. The tail spans whole periods of both, so correlating with the sine
// and cosine at the channel's frequency measures its amplitude exactly.
std::vector<double> SteadyAmplitudes(CChnsFilterFunc& f, double f0, double f1) {
    const int frames = 4000, tail = 1000;
    const double freq[2] = {f0, f1};
    std::vector<float> x(2 * frames);
    for (int j = 0; j < frames; ++j) {
        for (int c = 0; c < 2; ++c) {
            x[2 * j + c] = static_cast<float>(std::sin(2.0 * M_PI * freq[c] * j / kRate));
        }
    }
    std::vector<char> b = PackFrames(x);
    const int half = static_cast<int>(b.size()) / 2;
    EXPECT_EQ(f.InputDataAndDeal(b.data(), 1, half), frames / 2);
    EXPECT_EQ(f.InputDataAndDeal(b.data() + half, 1, half), frames / 2);
    const std::vector<float> y = UnpackFrames<float>(b);
    std::vector<double> amp(2);
    for (int c = 0; c < 2; ++c) {
        double si = 0.0, co = 0.0;
        for (int j = frames - tail; j < frames; ++j) {
            const double ph = 2.0 * M_PI * freq[c] * j / kRate;
            si += y[2 * j + c] * std::sin(ph);
            co += y[2 * j + c] * std::cos(ph);
        }
        amp[c] = 2.0 / tail * std::hypot(si, co);
    }
    return amp;
}

CFilterParam LowPass(int method, int order) {
    CFilterParam p{};
    p.m_nDesignMethod = method;
    p.m_nOrder = order;
    p.m_nBandType = BAND_LOWPASS;
    p.m_nWindowType = 2;  // Hamming, for the window method
    p.m_dFreq1 = 100.0;
    p.m_dFreq3 = 300.0;
    p.m_dFreq2 = 200.0;
    p.m_dFreq4 = 350.0;
    p.m_dPassRipple = 1.0;
    p.m_dStopAtten = 40.0;
    return p;
}

}  // namespace

// A Butterworth low-pass of order N, pre-warped to the pass edge fp, has
// |H(f)| = 1 / sqrt(1 + (tan(pi f / fs) / tan(pi fp / fs))^(2N)): 3 dB down at
// the pass edge. Its order comes from the ripple and attenuation:
// N = trunc(0.5 (log10(10^(Ap/10) - 1) - log10(10^(As/10) - 1)) / log10(k) + 0.9)
// with k = tan(pi fp / fs) / tan(pi fs_edge / fs); here 7.46, so N = 7.
TEST(ChnsDesign, ButterworthLowPassFollowsItsClosedForm) {
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(2, 4, kRate));
    CFilterParam p = LowPass(DM_BUTTERWORTH, 0);
    ASSERT_TRUE(f.DesignFilter(0, &p) && f.DesignFilter(1, &p));
    ASSERT_TRUE(f.m_ppChannels[0]->m_bEnabled && f.m_ppChannels[1]->m_bEnabled);
    EXPECT_EQ(f.m_ppChannels[0]->m_pFilterUser->m_nIIROrder, 7);
    const double t1 = std::tan(M_PI * 100.0 / kRate);
    auto gain = [&](double hz) {
        return 1.0 / std::sqrt(1.0 + std::pow(std::tan(M_PI * hz / kRate) / t1, 14.0));
    };
    const std::vector<double> amp = SteadyAmplitudes(f, 100.0, 150.0);
    EXPECT_NEAR(amp[0], gain(100.0), 1e-4);
    EXPECT_NEAR(amp[1], gain(150.0), 1e-4);
}

TEST(ChnsDesign, WindowLowPassPassesAndStops) {
    CChnsFilterFunc f;
    ASSERT_TRUE(f.Init(2, 4, kRate));
    CFilterParam p = LowPass(DM_WINDOW_FIR, 50);
    ASSERT_TRUE(f.DesignFilter(0, &p) && f.DesignFilter(1, &p));
    ASSERT_TRUE(f.m_ppChannels[0]->m_bEnabled);
    // Hamming: pass-band ripple about 0.02 dB, stop band below -50 dB once
    // past the 3.3 fs / N transition (about 65 Hz) around the 100 Hz cut-off.
    const std::vector<double> amp = SteadyAmplitudes(f, 20.0, 300.0);
    EXPECT_NEAR(amp[0], 1.0, 0.01);
    EXPECT_LE(amp[1], 0.005);
    EXPECT_EQ(f.m_ppChannels[0]->m_pFilterUser->m_nFIRLength, 51);  // made odd
}
