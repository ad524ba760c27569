// FilterUser::FilterData with coefficients set by hand, so that each branch is
// exercised apart from the designs, and the record smoother.
#include <gtest/gtest.h>

#include <RZFilterFunc/filter/AverageFilter.h>
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/fir/FIRFilter.h>
#include <RZFilterFunc/iir/IIRFilter.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "SampleData.h"

namespace {

using Floats = std::vector<float>;
using Doubles = std::vector<double>;

void Make(FilterUser& u, int method, const Doubles& b, const Doubles& a = {}) {
    u.m_nDesignMethod = method;
    u.GetNewFilter(static_cast<DESIGN_METHOD>(method));
    const int n = static_cast<int>(b.size());
    if (method == DM_AVERAGE) {
        static_cast<AverageFilter*>(u.m_pFilter)->DesignFIR(n);
        std::copy(b.begin(), b.end(), static_cast<AverageFilter*>(u.m_pFilter)->m_pCoef);
    } else if (method == DM_WINDOW_FIR) {
        auto* fir = static_cast<FIRFilter*>(u.m_pFilter);
        fir->m_pCoef = std::copy(b.begin(), b.end(), new double[b.size()]) - n;
        u.m_nFIRLength = fir->m_nLength = n;
    } else {
        auto* iir = static_cast<IIRFilter*>(u.m_pFilter);
        iir->m_pNumerator = new double[200]();
        iir->m_pDenominator = new double[200]();
        std::copy(b.begin(), b.end(), iir->m_pNumerator);
        std::copy(a.begin(), a.end(), iir->m_pDenominator);
        u.m_nIIROrder = n - 1;
    }
}

Floats Filtered(FilterUser& user, Floats x) {
    user.FilterData(x.data(), x.data(), static_cast<int>(x.size()));
    return x;
}

// One random filter per branch; the IIR denominator keeps sum |a_k| < 1 (stable).
void MakeRandom(FilterUser& u, int method) {
    std::mt19937 rng(1);
    Doubles a = rzf::test::RandomDoubles(rng, 5, 0.22);
    a[0] = 1.0;
    Make(u, method, rzf::test::RandomDoubles(rng, method == DM_BUTTERWORTH ? 5 : 31, 0.3), a);
}

const int kBranches[] = {DM_BUTTERWORTH, DM_WINDOW_FIR, DM_AVERAGE};

}  // namespace

TEST(FilterData, HandComputedOutputs) {
    // y[n] = 0.5 x[n] + 0.25 x[n-1] + 0.125 x[n-2] + 0.5 y[n-1] - 0.25 y[n-2]
    FilterUser iir;
    Make(iir, DM_BUTTERWORTH, {0.5, 0.25, 0.125}, {1.0, -0.5, 0.25});
    EXPECT_EQ(Filtered(iir, {1, 0, 0, 0, 0, 0, 0, 0, 0}),
              (Floats{0.5f, 0.5f, 0.25f, 0, -0.0625f, -0.03125f, 0, 0.0078125f, 0.00390625f}));

    // IIR state takes the unrounded output; the newest sample meets the last tap;
    // FIR products are rounded to float (1 + 2^-30 becomes 1), moving-average ones not.
    const double tiny = std::ldexp(1.0, -30);
    Make(iir, DM_BUTTERWORTH, {1.0 + tiny, 0.0}, {1.0, -1.0});
    iir.setFirstInputState(true);
    EXPECT_EQ(Filtered(iir, {1.0f, -1.0f}), (Floats{1.0f, 0.0f}));
    FilterUser fir, average;
    Make(fir, DM_WINDOW_FIR, {0.5, 1.0 + tiny, -1.0});
    EXPECT_EQ(Filtered(fir, {1, 1, 1}), (Floats{-1.0f, 0.0f, 0.5f}));
    Make(average, DM_AVERAGE, {0.5, 1.0 + tiny, -1.0});
    EXPECT_EQ(Filtered(average, {1, 1, 1}), (Floats{-1.0f, float(tiny), 0.5f}));

    // An even FIR length grows to odd on the first block: all 51 taps, reversed.
    Doubles taps(51);
    std::iota(taps.begin(), taps.end(), 1.0);
    Make(fir, DM_WINDOW_FIR, taps);
    fir.m_nFIRLength = 50;
    fir.setFirstInputState(true);
    Floats impulse(53, 0.0f), expected(53, 0.0f);
    impulse[0] = 1.0f;
    std::iota(expected.rbegin() + 2, expected.rend(), 1.0f);
    EXPECT_EQ(Filtered(fir, impulse), expected);
}

// After a restart the designer filters as a new one does.
TEST(FilterData, RestartEqualsAFreshDesigner) {
    std::mt19937 rng(3);
    const Floats signal = rzf::test::RandomFloats(rng, 600, 100.0f, false),
                 tail(signal.begin() + 400, signal.end());
    for (int method : kBranches) {
        FilterUser used, fresh;
        MakeRandom(used, method);
        MakeRandom(fresh, method);
        Filtered(used, signal);
        used.setFirstInputState(true);
        EXPECT_EQ(Filtered(used, tail), Filtered(fresh, tail)) << method;
    }
}

// Calls without a design, null buffers, hostile counts or lengths beyond the
// coefficients filter nothing, and leave the state as a new designer's.
TEST(FilterData, NothingToFilterLeavesBuffersAlone) {
    Floats out(4, 7.0f);
    float in[4] = {1, 2, 3, 4};
    FilterUser none;  // never designed
    none.FilterData(in, out.data(), 4);
    for (int method : kBranches) {
        FilterUser user, fresh;
        MakeRandom(user, method);
        MakeRandom(fresh, method);
        for (int count : {0, -3, INT_MIN}) {
            user.FilterData(in, out.data(), count);
        }
        for (int count : {4, INT_MAX}) {
            user.FilterData(nullptr, out.data(), count);
            user.FilterData(in, nullptr, count);
        }
        EXPECT_EQ(Filtered(user, {1, 2, 3}), Filtered(fresh, {1, 2, 3})) << method;
    }
    FilterUser iir, fir, average;
    Make(iir, DM_BUTTERWORTH, {1.0}, {1.0});  // order 0
    iir.FilterData(in, out.data(), 4);
    iir.m_nIIROrder = 200;  // beyond the coefficient arrays
    iir.FilterData(in, out.data(), 4);
    Make(fir, DM_WINDOW_FIR, {1.0, 2.0, 3.0});
    for (int length : {-4, 5}) {  // no taps; more taps than the filter holds
        fir.m_nFIRLength = length;
        fir.setFirstInputState(true);
        fir.FilterData(in, out.data(), 4);
    }
    EXPECT_EQ(fir.m_pState, nullptr);
    Make(average, DM_AVERAGE, {0.5, 0.5});
    static_cast<AverageFilter*>(average.m_pFilter)->m_nCoefCount = 0;
    average.FilterData(in, out.data(), 4);
    EXPECT_EQ(out, Floats(4, 7.0f));
}

// A redesign without a restart keeps a long enough history and carries on from
// its first entries; a state too short for the new design restarts from zero.
TEST(FilterData, RedesignWithoutRestart) {
    FilterUser average, iir, fresh;
    average.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 4, 0, 0, 0);
    ASSERT_TRUE(average.DesignFilter());  // 4 taps of 1/4
    EXPECT_EQ(Filtered(average, {1, 2, 3, 4}), (Floats{0.25f, 0.75f, 1.5f, 2.5f}));
    average.m_nFIRLength = 2;  // 4 -> 2: the newest old input meets the first new one
    ASSERT_TRUE(average.DesignFilter());
    EXPECT_EQ(Filtered(average, {10, 20, 30}), (Floats{7.0f, 15.0f, 25.0f}));
    average.m_nFIRLength = 9;  // 2 -> 9
    ASSERT_TRUE(average.DesignFilter());
    Make(fresh, DM_AVERAGE, Doubles(9, 1.0 / 9));
    EXPECT_EQ(Filtered(average, {9, 18, 27}), Filtered(fresh, {9, 18, 27}));

    // Delay of four samples -> two: the transposed state after 1..5 is {2, 3, 4, 5}.
    Make(iir, DM_BUTTERWORTH, {0, 0, 0, 0, 1}, {1, 0, 0, 0, 0});
    EXPECT_EQ(Filtered(iir, {1, 2, 3, 4, 5}), (Floats{0, 0, 0, 0, 1}));
    Make(iir, DM_BUTTERWORTH, {0, 0, 1}, {1, 0, 0});
    EXPECT_EQ(Filtered(iir, {10, 20, 30}), (Floats{2, 3, 10}));
    Make(iir, DM_BUTTERWORTH, {0, 0, 0, 0, 0, 0, 1}, {1, 0, 0, 0, 0, 0, 0});  // 4 -> 6
    EXPECT_EQ(Filtered(iir, {1, 2, 3, 4, 5, 6, 7}), (Floats{0, 0, 0, 0, 0, 0, 1}));
}

// The smoother's T taps are 0.889892578125 / (2 cutoff / fs), clamped to 10..500:
// 44.49 -> 44, 889.9 -> 500, 1.48 -> 10. An impulse at `at` comes back as the
// zero-phase triangle (T - |k|) / T^2 above 3T samples, as T samples of 1/T
// (one causal pass) above T samples, and as zeros up to T samples.
TEST(Smoother, ImpulseResponseByRecordLength) {
    const struct {
        float cutoff;
        int taps, n, at;
    } cases[] = {{10, 44, 4000, 2000}, {0.5f, 500, 4000, 2000}, {300, 10, 4000, 2000},
                 {10, 44, 133, 66},    {10, 44, 132, 0},        {10, 44, 45, 0},
                 {10, 44, 44, 0}};
    for (const auto& c : cases) {
        Floats x(static_cast<std::size_t>(c.n), 0.0f), y(x.size(), 9.0f);
        x[static_cast<std::size_t>(c.at)] = 1.0f;
        FilterUser::PingJunFilter(x.data(), c.n, 1000.0f, c.cutoff, y.data());
        const double t = c.taps;
        for (int i = 0; i < c.n; ++i) {
            const int k = i - c.at;
            const double expected = c.n > 3 * c.taps ? std::max(0.0, t - std::abs(k)) / (t * t)
                                    : c.n > c.taps   ? (k < c.taps ? 1.0 / t : 0.0)
                                                     : 0.0;
            EXPECT_NEAR(y[static_cast<std::size_t>(i)], expected, 1e-6) << c.n << " at " << i;
            EXPECT_EQ(y[static_cast<std::size_t>(i)] != 0.0f, expected != 0.0) << c.n << " " << i;
        }
    }
}

// The odd reflection continues a straight line, which a zero-phase average
// keeps (to 1e-4).
TEST(Smoother, OddReflectionKeepsARamp) {
    Floats ramp(100), smoothed(100);
    for (std::size_t i = 0; i < ramp.size(); ++i) {
        ramp[i] = 0.5f * static_cast<float>(i) - 20.0f;
    }
    FilterUser::PingJunFilter(ramp.data(), 100, 1000.0f, 300.0f, smoothed.data());
    for (std::size_t i = 0; i < ramp.size(); ++i) {
        EXPECT_NEAR(smoothed[i], ramp[i], 1e-4) << i;
    }
}

// Zero-phase filtering with equal taps summing to exactly 1 (open to derived
// classes): a constant comes back exactly, edges included.
TEST(Smoother, ZeroPhaseFilterKeepsAConstant) {
    struct Derived : FilterUser {
        using FilterUser::InputToFilter;
    };
    Floats in(13, 3.0f), out(13, 0.0f), coef(10, 0.25f);
    Derived::InputToFilter(in.data(), 13, coef.data(), 4, out.data());
    EXPECT_EQ(out, in);
}

// No samples, or a record whose padded copy would overflow an int count.
TEST(Smoother, UnusableRecordLengthsAreLeftAlone) {
    Floats in(13, 3.0f), untouched(64, 9.0f);
    FilterUser::PingJunFilter(in.data(), 0, 1000.0f, 10.0f, untouched.data());
    FilterUser::PingJunFilter(in.data(), INT_MAX - 5, 1000.0f, 300.0f, untouched.data());
    EXPECT_EQ(untouched, Floats(64, 9.0f));
}
