// The IIR designs as the designer front end drives them.
#include <gtest/gtest.h>

#include <RZFilterFunc/filter/FilterMessages.h>
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/iir/ChebyiFilter.h>
#include <RZFilterFunc/platform/HardWareConfig.h>

#include <cmath>
#include <vector>

namespace {

const std::string kOrderMessage = rzf::msg::Text(rzf::msg::kOrderTooLarge);

// Amplitude of the sinusoid at angular frequency w in y[from..], by
// correlation over whole periods.
double ToneAmplitude(const std::vector<float>& y, double w, int from) {
    double s = 0.0;
    double c = 0.0;
    const int m = static_cast<int>(y.size()) - from;
    for (int n = from; n < static_cast<int>(y.size()); ++n) {
        s += y[n] * std::sin(w * n);
        c += y[n] * std::cos(w * n);
    }
    return 2.0 * std::hypot(s, c) / m;
}

}  // namespace

TEST(FilterUserIir, DefaultsAndOrderRefusal) {
    // Defaults: Butterworth low-pass fs 512, 100/140 Hz, 0.3/40 dB. The
    // estimate is 11.89 + 0.9 -> 12, above the low-pass bound of 10.
    FilterUser user;
    EXPECT_TRUE(user.DesignFilter());
    EXPECT_EQ(user.m_nIIROrder, -1);
    EXPECT_FALSE(user.GetIsStability());
    EXPECT_EQ(user.GetErrorMessage(), kOrderMessage);

    // Chebyshev I: 6.11 + 0.9 -> 7, designed as two-pole sections at order 8.
    user.setFilterParameter(BAND_LOWPASS, DM_CHEBYSHEV1, 100, 140, 160, 200, 512, 1, 0.3, 40, 10);
    EXPECT_TRUE(user.DesignFilter());
    EXPECT_EQ(user.m_nIIROrder, 8);
    EXPECT_TRUE(user.GetIsStability());
    EXPECT_TRUE(user.GetErrorMessage().empty());
    EXPECT_EQ(user.m_pFilter->m_nLength, 9);
    EXPECT_NE(user.m_pFilter->m_pAmplitude, nullptr);
}

TEST(FilterUserIir, NyquistMarginRefusalIsSilent) {
    const bool saved = HardWareConfig::g_bIs7306K_FirFunc;
    HardWareConfig::g_bIs7306K_FirFunc = true;  // validation allows up to fs/2
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_BUTTERWORTH, 100, 400, 450, 480, 1000, 1, 0.3, 40, 0);
    EXPECT_TRUE(user.DesignFilter());
    HardWareConfig::g_bIs7306K_FirFunc = saved;
    EXPECT_EQ(user.m_nIIROrder, -1);
    EXPECT_TRUE(user.GetIsStability());
    EXPECT_TRUE(user.GetErrorMessage().empty());
    EXPECT_EQ(user.m_pFilter->m_pAmplitude, nullptr);
}

TEST(FilterUserIir, FilterDataFollowsTheDesignedResponse) {
    // Butterworth low-pass fs 1000, 100/200 Hz: order 8, -3 dB at 100 Hz.
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_BUTTERWORTH, 100, 200, 300, 350, 1000, 1, 0.3, 40, 0);
    ASSERT_TRUE(user.DesignFilter());
    ASSERT_EQ(user.m_nIIROrder, 8);
    const int n = 4000;
    // 62.5 Hz: |H|^2 = 1/(1 + (tan(pi/16)/tan(pi/10))^16); 100 Hz: 1/sqrt(2);
    // 250 Hz: (tan(pi/10)/tan(pi/4))^8 / sqrt(1 + ...) for the 8th-order design.
    const double ratio62 = std::tan(M_PI / 16) / std::tan(M_PI / 10);
    const double ratio250 = std::tan(M_PI / 4) / std::tan(M_PI / 10);
    const struct {
        double hz;
        double gain;
    } tones[] = {{62.5, 1.0 / std::sqrt(1.0 + std::pow(ratio62, 16))},
                 {100.0, std::sqrt(0.5)},
                 {250.0, 1.0 / std::sqrt(1.0 + std::pow(ratio250, 16))}};
    for (const auto& tone : tones) {
        const double w = 2.0 * M_PI * tone.hz / 1000.0;
        std::vector<float> in(n);
        std::vector<float> out(n);
        for (int i = 0; i < n; ++i) {
            in[i] = static_cast<float>(std::sin(w * i));
        }
        user.setFirstInputState(true);
        // Two blocks: the state carries over.
        user.FilterData(in.data(), out.data(), n / 2);
        user.FilterData(in.data() + n / 2, out.data() + n / 2, n / 2);
        EXPECT_NEAR(ToneAmplitude(out, w, 2000), tone.gain, 2e-5) << tone.hz;
    }
}

TEST(FilterUserIir, ResponsePostProcessing) {
    for (int method : {DM_BUTTERWORTH, DM_CHEBYSHEV1, DM_CHEBYSHEV2}) {
        for (int band = 1; band <= 4; ++band) {
            FilterUser user;
            const double f2 = (band <= 2) ? 200 : 150;
            user.setFilterParameter(band, method, 100, f2, 250, 300, 1000, 1, 1.0, 40, 0);
            ASSERT_TRUE(user.DesignFilter());
            ASSERT_GT(user.m_nIIROrder, 0) << method << " " << band;
            const ClassicFilter* f = user.m_pFilter;
            ASSERT_NE(f->m_pAmplitude, nullptr);
            double peak = -INFINITY;
            for (int i = 0; i < f->m_nRespCount; ++i) {
                peak = std::max(peak, f->m_pAmplitude[i]);
            }
            EXPECT_EQ(peak, 0.0);

            user.getUnwrapedPhase();
            for (int i = 0; i + 1 < f->m_nRespCount; ++i) {
                ASSERT_LE(std::fabs(f->m_pPhase[i + 1] - f->m_pPhase[i]), M_PI / 2);
            }
            user.GetMaxMin();
            EXPECT_EQ(user.m_dMaxValue, 500.0);  // last axis point 499.76 Hz
            EXPECT_LE(user.m_dMinValue, -50.0);  // at least 40 dB of stop band
            EXPECT_EQ(std::fmod(user.m_dMinValue, 50.0), 0.0);
        }
    }
}
