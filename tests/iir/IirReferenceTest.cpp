// Designs against data files written offline: scipy.signal designs of the same
// order and edges (gen_reference.py) and a step-by-step double-precision replay
// of the design arithmetic (gen_exact.py).
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/platform/HardWareConfig.h>

#include "IirTestUtil.h"

// Each design, made through the designer front end, against scipy: linear
// magnitudes evaluated here from the coefficients to 1e-9 absolute; the
// normalised dB curve to 1e-6 dB down to -120 dB; the phase, folded to
// (-pi/2, pi/2), to 1e-7 rad above -60 dB; poles to 1e-8 (the order-10 narrow
// low-pass clusters its poles, which costs about 2e-9). Every 16th reference
// point is also played as a tone through FilterData in two blocks (the state
// carries over) and measured over whole periods after the transient: float
// samples allow 2e-5. Then the phase unwrapping and the axis limits.
TEST(IirReference, DesignsMatchScipy) {
    const auto cases = iirtest::LoadBlocks("designs.txt");
    ASSERT_EQ(cases.size(), 19u);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.head[0] + " " + c.head[1] + " " + c.head[3] + " " + c.head[4]);
        const int order = static_cast<int>(c.At(9));
        FilterUser user;
        user.setFilterParameter(static_cast<int>(c.At(1)), static_cast<int>(c.At(0)), c.At(3),
                                c.At(4), c.At(5), c.At(6), c.At(2), 1, c.At(7), c.At(8), 0);
        ASSERT_TRUE(user.DesignFilter());
        ASSERT_EQ(user.m_nIIROrder, order);
        ASSERT_TRUE(user.GetIsStability());
        ClassicFilter* u = user.m_pFilter;
        const double *num = u->GetNumerator(), *den = u->GetDenominator();
        ASSERT_NE(u->m_pAmplitude, nullptr);
        for (const auto& p : c.rows.at("resp")) {
            const int i = static_cast<int>(p[0]);
            const double w = M_PI * i / 2048.0, d = u->m_pPhase[i] - p[3];
            std::complex<double> b = 0.0, a = 0.0;
            for (int k = 0; k <= order; ++k) {
                b += num[k] * std::polar(1.0, -k * w);
                a += den[k] * std::polar(1.0, -k * w);
            }
            EXPECT_NEAR(std::abs(b / a), p[1], 1e-9) << i;
            EXPECT_NEAR(u->m_pFreqAxis[i], i * c.At(2) / 4096.0, 1e-9) << i;
            EXPECT_TRUE(p[2] <= -120.0 || std::fabs(u->m_pAmplitude[i] - p[2]) < 1e-6) << i;
            EXPECT_TRUE(p[2] <= -60.0 || std::fabs(d - M_PI * std::round(d / M_PI)) < 1e-7) << i;
            if (i % 256 == 16) {
                std::vector<float> in(8192), out(8192);
                for (int n = 0; n < 8192; ++n) {
                    in[n] = static_cast<float>(std::sin(w * n));
                }
                user.setFirstInputState(true);
                user.FilterData(in.data(), out.data(), 4096);
                user.FilterData(in.data() + 4096, out.data() + 4096, 4096);
                std::complex<double> tone = 0.0;
                for (int n = 4096; n < 8192; ++n) {
                    tone += static_cast<double>(out[n]) * std::polar(1.0, -w * n);
                }
                EXPECT_NEAR(std::abs(tone) / 2048.0, p[1], 2e-5) << "tone " << i;
            }
        }
        if (c.rows.count("pole") != 0) {
            iirtest::Roots want;
            for (const auto& r : c.rows.at("pole")) {
                want.emplace_back(r[0], r[1]);
            }
            int rc = 0;
            const auto got = iirtest::Solve(std::vector<double>(den, den + order + 1), &rc, true);
            EXPECT_LT(iirtest::MatchedDistance(want, got), 1e-8);
            EXPECT_EQ(rc, 1);
        }
        // Peak at exactly 0 dB; unwrapped phase steps below pi/2; axis limits
        // the last frequency (just under fs/2) rounded up to a multiple of 50
        // and a multiple of 50 at least 30 dB down.
        EXPECT_EQ(*std::max_element(u->m_pAmplitude, u->m_pAmplitude + 2048), 0.0);
        user.getUnwrapedPhase();
        for (int i = 0; i + 1 < 2048; ++i) {
            ASSERT_LE(std::fabs(u->m_pPhase[i + 1] - u->m_pPhase[i]), M_PI / 2) << i;
        }
        user.GetMaxMin();
        EXPECT_EQ(user.m_dMaxValue, 50.0 * std::ceil((c.At(2) / 2 - c.At(2) / 4096) / 50));
        EXPECT_LE(user.m_dMinValue, -50.0);
        EXPECT_EQ(std::fmod(user.m_dMinValue, 50.0), 0.0);
    }
}

// Every coefficient and response value must agree bit for bit, so a change in
// the order of operations or in where rounding happens shows up even when the
// filter stays within the scipy tolerances.
TEST(IirReference, DesignsAndResponsesMatchTheReplayBitForBit) {
    const auto cases = iirtest::LoadBlocks("designs_exact.txt");
    ASSERT_EQ(cases.size(), 22u);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.head[0] + " " + c.head[1] + " " + c.head[4]);
        double v[7];
        for (int j = 0; j < 7; ++j) {
            v[j] = c.At(2 + j);
        }
        auto f = iirtest::Make(static_cast<int>(c.At(0)), static_cast<int>(c.At(1)), v);
        const int order = static_cast<int>(c.At(9));
        ASSERT_EQ(f->DesignIIR(), order);
        if (order < 0) {
            continue;
        }
        ASSERT_EQ(c.rows.at("coef").size(), static_cast<std::size_t>(order) + 3);
        for (const auto& row : c.rows.at("coef")) {
            const int k = static_cast<int>(row[0]);
            EXPECT_EQ(V({f->m_pNumerator[k], f->m_pDenominator[k]}), V(row.begin() + 1, row.end()));
        }
        int count = 0;
        const double* db = f->GetAmplitudeResponse(&count);
        ASSERT_NE(db, nullptr);
        EXPECT_EQ(f->GetPhaseResponse(&count), f->m_pPhase);  // stored, not recomputed
        ASSERT_FALSE(c.rows.at("resp").empty());
        for (const auto& row : c.rows.at("resp")) {
            const int i = static_cast<int>(row[0]);
            EXPECT_EQ(V({f->m_pFreqAxis[i], db[i], f->m_pPhase[i]}), V(row.begin() + 1, row.end()));
        }
    }
}

TEST(IirReference, FrontEndRefusalsAndChebyshevLength) {
    // Butterworth 100/140 Hz at fs 512: 11.89 + 0.9 -> 12, above the low-pass
    // bound of 10. Chebyshev I: 6.11 + 0.9 -> 7, designed at order 8. With
    // edges up to fs/2 allowed, a 400 Hz stop edge at fs 1000 meets the
    // Butterworth margin check (fs/2.56): silent refusal, no response.
    const bool saved = HardWareConfig::g_bIs7306K_FirFunc;
    HardWareConfig::g_bIs7306K_FirFunc = true;
    // method, f2, f3, f4, fs, order, stable, length
    const double cases[][8] = {{0, 140, 160, 200, 512, -1, 0, 1},
                               {1, 140, 160, 200, 512, 8, 1, 9},
                               {0, 400, 450, 480, 1000, -1, 1, 1}};
    for (const auto& c : cases) {
        FilterUser user;
        user.setFilterParameter(BAND_LOWPASS, int(c[0]), 100, c[1], c[2], c[3], c[4], 1, .3, 40, 0);
        EXPECT_TRUE(user.DesignFilter());
        EXPECT_EQ(user.m_nIIROrder, int(c[5]));
        EXPECT_EQ(user.GetIsStability(), c[6] != 0);
        EXPECT_EQ(user.GetErrorMessage(), c[6] ? "" : rzf::msg::Text(rzf::msg::kOrderTooLarge));
        EXPECT_EQ(user.m_pFilter->m_nLength, int(c[7]));
        EXPECT_EQ(user.m_pFilter->m_pAmplitude == nullptr, c[5] < 0) << c[0] << " " << c[1];
    }
    HardWareConfig::g_bIs7306K_FirFunc = saved;
}
