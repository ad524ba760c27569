#include <gtest/gtest.h>

#include <RZFilterFunc/filter/AverageFilter.h>
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/fir/FIRFilter.h>
#include <RZFilterFunc/iir/IIRFilter.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

namespace {

using Floats = std::vector<float>;
using Doubles = std::vector<double>;

class TestableFilterUser : public FilterUser {
public:
    using FilterUser::InputToFilter;
};

// Coefficients set by hand, so the block filter is exercised apart from the designs.
void Make(FilterUser& u, int method, const Doubles& b, const Doubles& a = {}) {
    u.m_nDesignMethod = method;
    u.GetNewFilter(static_cast<DESIGN_METHOD>(method));
    const int n = static_cast<int>(b.size());
    if (method == DM_AVERAGE) {
        static_cast<AverageFilter*>(u.m_pFilter)->DesignFIR(n);
        std::copy(b.begin(), b.end(), static_cast<AverageFilter*>(u.m_pFilter)->m_pCoef);
    } else if (method == DM_WINDOW_FIR) {
        auto* fir = static_cast<FIRFilter*>(u.m_pFilter);
        fir->m_pCoef = new double[b.size()];
        std::copy(b.begin(), b.end(), fir->m_pCoef);
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

Doubles Random(int n, double scale, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> dist(-scale, scale);
    Doubles v(static_cast<std::size_t>(n));
    for (double& x : v) {
        x = dist(rng);
    }
    return v;
}

// One random filter per branch; the IIR denominator keeps sum |a_k| < 1 (stable).
void MakeRandom(FilterUser& u, int method) {
    Doubles a = Random(5, 0.22, 2);
    a[0] = 1.0;
    Make(u, method, Random(method == DM_BUTTERWORTH ? 5 : 31, 0.3, 1), a);
}

Floats Smooth(Floats in, float cutoff) {
    Floats out(in.size(), 9.0f);
    FilterUser::PingJunFilter(in.data(), static_cast<int>(in.size()), 1000.0f, cutoff, out.data());
    return out;
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

    // Designed 4-tap moving average on a step.
    average.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 4, 0, 0, 0);
    ASSERT_TRUE(average.DesignFilter());
    EXPECT_EQ(Filtered(average, {1, 1, 1, 1, 1}), (Floats{0.25f, 0.5f, 0.75f, 1, 1}));

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
    EXPECT_EQ(fir.m_nFIRLength, 51);
}

// Blocks of random size (in place), through the designer itself, a copy made
// mid-stream and an assigned copy, equal one call.
TEST(FilterData, BlocksAndCopiesEqualOneCall) {
    const Doubles random = Random(600, 100.0, 3);
    const Floats signal(random.begin(), random.end());
    std::mt19937 rng(11);
    for (int method : kBranches) {
        FilterUser whole, pieces, assigned;
        MakeRandom(whole, method);
        MakeRandom(pieces, method);
        const Floats expected = Filtered(whole, signal);
        Floats y = signal;
        for (int pos = 0, k = 0, n = 0; pos < 600; pos += n, ++k) {
            n = std::min(std::uniform_int_distribution<int>(0, 40)(rng), 600 - pos);
            FilterUser copy(pieces);
            assigned = pieces;
            FilterUser& who = k % 3 == 0 ? pieces : k % 3 == 1 ? copy : assigned;
            who.FilterData(y.data() + pos, y.data() + pos, n);
        }
        EXPECT_EQ(y, expected) << method;
    }
}

// After a restart the designer filters as a new one does.
TEST(FilterData, RestartEqualsAFreshDesigner) {
    const Doubles random = Random(600, 100.0, 3);
    const Floats signal(random.begin(), random.end());
    const Floats tail(signal.begin() + 400, signal.end());
    for (int method : kBranches) {
        FilterUser used, fresh;
        MakeRandom(used, method);
        MakeRandom(fresh, method);
        Filtered(used, signal);
        used.setFirstInputState(true);
        EXPECT_EQ(Filtered(used, tail), Filtered(fresh, tail)) << method;
    }
}

TEST(FilterData, NothingToFilterLeavesBuffersAlone) {
    const Floats sentinel(4, 7.0f);
    Floats out = sentinel;
    float in[4] = {1, 2, 3, 4};
    FilterUser none;  // never designed
    none.FilterData(in, out.data(), 4);
    for (int method : kBranches) {
        FilterUser user;
        MakeRandom(user, method);
        user.FilterData(nullptr, out.data(), 4);
        user.FilterData(in, nullptr, 4);
        user.FilterData(in, out.data(), 0);
        user.FilterData(in, out.data(), -3);
        EXPECT_NE(user.m_pState, nullptr) << method;  // state built anyway
        EXPECT_FALSE(user.m_bFirstInput) << method;
    }
    FilterUser iir, fir, average;
    Make(iir, DM_BUTTERWORTH, {1.0}, {1.0});  // order 0
    iir.FilterData(in, out.data(), 4);
    iir.m_nIIROrder = 200;  // beyond the coefficient arrays
    iir.FilterData(in, out.data(), 4);
    EXPECT_TRUE(iir.m_bFirstInput);
    EXPECT_EQ(iir.m_pState, nullptr);
    Make(fir, DM_WINDOW_FIR, {1.0, 2.0, 3.0});
    fir.m_nFIRLength = -4;
    fir.FilterData(in, out.data(), 4);
    EXPECT_EQ(fir.m_nFIRLength, -3);
    EXPECT_EQ(fir.m_pState, nullptr);
    fir.m_nFIRLength = 5;  // more taps than the filter holds
    fir.setFirstInputState(true);
    fir.FilterData(in, out.data(), 4);
    Make(average, DM_AVERAGE, {0.5, 0.5});
    static_cast<AverageFilter*>(average.m_pFilter)->m_nCoefCount = 0;
    average.FilterData(in, out.data(), 4);
    EXPECT_EQ(out, sentinel);
}

// A redesign without a restart keeps a long enough history and carries on from
// its first entries; a state too short for the new design restarts from zero.
TEST(FilterData, RedesignWithoutRestart) {
    FilterUser average, iir, fresh;
    average.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 4, 0, 0, 0);
    ASSERT_TRUE(average.DesignFilter());
    Filtered(average, {1, 2, 3, 4});
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

// Taps = 0.889892578125 / (2 cutoff / fs): 44.49 -> 44, 444.9 -> 444, 889.9 -> 500
// (upper clamp), 1.48 -> 10 (lower clamp). Above 3 taps samples the impulse
// response is zero-phase, the triangle (T - |k|) / T^2.
TEST(Smoother, LongRecordsGetTheZeroPhaseTriangle) {
    const struct {
        float cutoff;
        int taps, n, at;
    } cases[] = {{10, 44, 4000, 2000},
                 {1, 444, 4000, 2000},
                 {0.5f, 500, 4000, 2000},
                 {300, 10, 4000, 2000},
                 {10, 44, 133, 66}};
    for (const auto& c : cases) {
        Floats x(static_cast<std::size_t>(c.n), 0.0f);
        x[static_cast<std::size_t>(c.at)] = 1.0f;
        const Floats y = Smooth(x, c.cutoff);
        for (int i = 0; i < c.n; ++i) {
            const int d = std::min(c.taps, std::abs(i - c.at));
            EXPECT_NEAR(y[static_cast<std::size_t>(i)], (c.taps - d) / (double(c.taps) * c.taps),
                        1e-6)
                << c.n << " " << i;
            EXPECT_EQ(y[static_cast<std::size_t>(i)] != 0.0f, d < c.taps)
                << c.cutoff << " at " << i;
        }
    }
}

// Up to 3 taps samples one causal pass gives T samples of 1/T; up to T
// samples only zeros; no samples, nothing at all.
TEST(Smoother, ShortRecordsGetOnePassOrZeros) {
    for (int n : {3 * 44, 44 + 1}) {
        Floats x(static_cast<std::size_t>(n), 0.0f), expected(static_cast<std::size_t>(n), 0.0f);
        x[0] = 1.0f;
        std::fill(expected.begin(), expected.begin() + 44, 1.0f / 44.0f);
        EXPECT_EQ(Smooth(x, 10.0f), expected) << n;
    }
    EXPECT_EQ(Smooth(Floats(44, 1.0f), 10.0f), Floats(44, 0.0f));
    float untouched = 9.0f;
    FilterUser::PingJunFilter(&untouched, 0, 1000.0f, 10.0f, &untouched);
    EXPECT_EQ(untouched, 9.0f);
}

// Equal taps summing to exactly 1: a constant comes back exactly, edges included.
TEST(Smoother, ConstantComesBackExactly) {
    Floats in(13, 3.0f), out(13, 0.0f), coef(10, 0.25f);
    TestableFilterUser::InputToFilter(in.data(), 13, coef.data(), 4, out.data());
    EXPECT_EQ(out, in);
}

// The odd reflection continues a straight line, which a zero-phase average keeps.
TEST(Smoother, OddReflectionKeepsARamp) {
    Floats ramp(100);
    for (std::size_t i = 0; i < ramp.size(); ++i) {
        ramp[i] = 0.5f * static_cast<float>(i) - 20.0f;
    }
    const Floats smoothed = Smooth(ramp, 300.0f);
    for (std::size_t i = 0; i < ramp.size(); ++i) {
        EXPECT_NEAR(smoothed[i], ramp[i], 1e-4) << i;
    }
}

// A record whose padded copy would overflow an int count is left alone.
TEST(Smoother, HugeRecordsAreLeftAlone) {
    Floats in(13, 3.0f), coef(10, 0.25f), untouched(64, 9.0f);
    TestableFilterUser::InputToFilter(in.data(), INT_MAX - 5, coef.data(), 10, untouched.data());
    FilterUser::PingJunFilter(in.data(), INT_MAX - 5, 1000.0f, 300.0f, untouched.data());
    EXPECT_EQ(untouched, Floats(64, 9.0f));
}
