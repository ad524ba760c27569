#include <gtest/gtest.h>

#include <RZFilterFunc/filter/AverageFilter.h>
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/fir/FIRFilter.h>
#include <RZFilterFunc/iir/IIRFilter.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

namespace {

// The three branches with coefficients set by hand, so that the block filter is
// exercised independently of the designs.
void MakeIir(FilterUser& user, const std::vector<double>& b, const std::vector<double>& a) {
    user.m_nDesignMethod = DM_BUTTERWORTH;
    user.GetNewFilter(DM_BUTTERWORTH);
    auto* iir = static_cast<IIRFilter*>(user.m_pFilter);
    for (double** array : {&iir->m_pNumerator, &iir->m_pDenominator}) {
        if (*array == nullptr) {
            *array = new double[200];
        }
        std::fill(*array, *array + 200, 0.0);
    }
    std::copy(b.begin(), b.end(), iir->m_pNumerator);
    std::copy(a.begin(), a.end(), iir->m_pDenominator);
    user.m_nIIROrder = static_cast<int>(b.size()) - 1;
}

void MakeFir(FilterUser& user, const std::vector<double>& taps) {
    user.m_nDesignMethod = DM_WINDOW_FIR;
    user.GetNewFilter(DM_WINDOW_FIR);
    auto* fir = static_cast<FIRFilter*>(user.m_pFilter);
    fir->m_pCoef = new double[taps.size()];
    std::copy(taps.begin(), taps.end(), fir->m_pCoef);
    fir->m_nLength = static_cast<int>(taps.size());
    user.m_nFIRLength = fir->m_nLength;
}

void MakeAverage(FilterUser& user, const std::vector<double>& taps) {
    user.m_nDesignMethod = DM_AVERAGE;
    user.GetNewFilter(DM_AVERAGE);
    auto* average = static_cast<AverageFilter*>(user.m_pFilter);
    average->DesignFIR(static_cast<int>(taps.size()));
    std::copy(taps.begin(), taps.end(), average->m_pCoef);
}

std::vector<float> Filtered(FilterUser& user, std::vector<float> x) {
    user.FilterData(x.data(), x.data(), static_cast<int>(x.size()));
    return x;
}

std::vector<double> RandomTaps(std::mt19937& rng, int n, double scale) {
    std::uniform_real_distribution<double> dist(-scale, scale);
    std::vector<double> taps(static_cast<std::size_t>(n));
    for (double& t : taps) {
        t = dist(rng);
    }
    return taps;
}

// One builder per branch; the IIR denominator keeps sum |a_k| < 1 (stable).
std::vector<std::function<void(FilterUser&)>> RandomBranches() {
    std::mt19937 rng(7);
    const auto b = RandomTaps(rng, 5, 1.0);
    auto a = RandomTaps(rng, 5, 0.22);
    a[0] = 1.0;
    const auto fir = RandomTaps(rng, 31, 0.3);
    const auto average = RandomTaps(rng, 12, 0.3);
    return {[=](FilterUser& u) { MakeIir(u, b, a); }, [=](FilterUser& u) { MakeFir(u, fir); },
            [=](FilterUser& u) { MakeAverage(u, average); }};
}

std::vector<float> RandomSignal(int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> dist(-100.0f, 100.0f);
    std::vector<float> x(static_cast<std::size_t>(n));
    for (float& v : x) {
        v = dist(rng);
    }
    return x;
}

}  // namespace

TEST(FilterData, IirImpulseResponseByHand) {
    // y[n] = 0.5 x[n] + 0.25 x[n-1] + 0.125 x[n-2] + 0.5 y[n-1] - 0.25 y[n-2]
    FilterUser user;
    MakeIir(user, {0.5, 0.25, 0.125}, {1.0, -0.5, 0.25});
    std::vector<float> x(9, 0.0f);
    x[0] = 1.0f;
    const std::vector<float> expected = {0.5f,      0.5f, 0.25f,      0.0f,       -0.0625f,
                                         -0.03125f, 0.0f, 0.0078125f, 0.00390625f};
    EXPECT_EQ(Filtered(user, x), expected);
}

TEST(FilterData, PrecisionOfEachBranch) {
    const double tiny = std::ldexp(1.0, -30);
    // IIR state is updated with the unrounded output: y = b0 x + y[n-1].
    FilterUser iir;
    MakeIir(iir, {1.0 + tiny, 0.0}, {1.0, -1.0});
    EXPECT_EQ(Filtered(iir, {1.0f, -1.0f}), (std::vector<float>{1.0f, 0.0f}));

    // The newest sample meets the last tap; FIR products are rounded to float
    // (1 + 2^-30 becomes 1), moving-average products are not.
    const std::vector<double> taps = {0.5, 1.0 + tiny, -1.0};
    FilterUser fir;
    MakeFir(fir, taps);
    EXPECT_EQ(Filtered(fir, {1.0f, 1.0f, 1.0f}), (std::vector<float>{-1.0f, 0.0f, 0.5f}));
    FilterUser average;
    MakeAverage(average, taps);
    EXPECT_EQ(Filtered(average, {1.0f, 1.0f, 1.0f}),
              (std::vector<float>{-1.0f, static_cast<float>(tiny), 0.5f}));
}

TEST(FilterData, MovingAverageOfAStep) {
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 4, 0, 0, 0);
    ASSERT_TRUE(user.DesignFilter());
    EXPECT_EQ(Filtered(user, {1, 1, 1, 1, 1}),
              (std::vector<float>{0.25f, 0.5f, 0.75f, 1.0f, 1.0f}));
}

TEST(FilterData, EvenFirLengthGrowsToOdd) {
    std::vector<double> taps(51);
    for (int k = 0; k < 51; ++k) {
        taps[k] = k + 1;
    }
    FilterUser user;
    MakeFir(user, taps);
    user.m_nFIRLength = 50;
    std::vector<float> x(53, 0.0f);
    x[0] = 1.0f;
    const auto y = Filtered(user, x);
    EXPECT_EQ(user.m_nFIRLength, 51);
    for (int n = 0; n < 53; ++n) {
        EXPECT_EQ(y[n], n < 51 ? 51.0f - n : 0.0f) << n;  // all 51 taps, reversed
    }
}

TEST(FilterData, BlocksEqualOneCallAndRestartClearsHistory) {
    const auto signal = RandomSignal(600, 3);
    std::mt19937 rng(11);
    for (const auto& make : RandomBranches()) {
        FilterUser whole;
        make(whole);
        const auto expected = Filtered(whole, signal);

        FilterUser pieces;
        make(pieces);
        std::vector<float> y = signal;
        int pos = 0;
        while (pos < 600) {
            int n = std::uniform_int_distribution<int>(0, 40)(rng);
            n = std::min(n, 600 - pos);
            pieces.FilterData(y.data() + pos, y.data() + pos, n);  // in place
            pos += n;
        }
        EXPECT_EQ(y, expected);

        // After a restart the next block sees zero history, as a new designer would.
        const std::vector<float> tail(signal.begin() + 400, signal.end());
        pieces.setFirstInputState(true);
        FilterUser fresh;
        make(fresh);
        EXPECT_EQ(Filtered(pieces, tail), Filtered(fresh, tail));
    }
}

TEST(FilterData, CopyMadeMidStreamSharesTheState) {
    const auto signal = RandomSignal(300, 5);
    const std::vector<float> a(signal.begin(), signal.begin() + 100);
    const std::vector<float> b(signal.begin() + 100, signal.begin() + 200);
    const std::vector<float> c(signal.begin() + 200, signal.end());
    for (const auto& make : RandomBranches()) {
        FilterUser whole;
        make(whole);
        const auto expected = Filtered(whole, signal);

        FilterUser first;
        make(first);
        std::vector<float> y = Filtered(first, a);
        FilterUser second(first);
        const auto yb = Filtered(second, b);
        const auto yc = Filtered(first, c);  // continues after the copy's block
        y.insert(y.end(), yb.begin(), yb.end());
        y.insert(y.end(), yc.begin(), yc.end());
        EXPECT_EQ(y, expected);
    }
}

TEST(FilterData, NothingToFilterLeavesBuffersAlone) {
    const std::vector<float> sentinel(4, 7.0f);
    std::vector<float> out = sentinel;
    float in[4] = {1, 2, 3, 4};

    FilterUser none;  // never designed
    none.FilterData(in, out.data(), 4);
    EXPECT_EQ(out, sentinel);

    for (const auto& make : RandomBranches()) {
        FilterUser user;
        make(user);
        user.FilterData(nullptr, out.data(), 4);
        user.FilterData(in, nullptr, 4);
        user.FilterData(in, out.data(), 0);
        user.FilterData(in, out.data(), -3);
        EXPECT_EQ(out, sentinel);
        EXPECT_NE(user.m_pState, nullptr);  // the state is still built on the first call
        EXPECT_FALSE(user.m_bFirstInput);
    }

    FilterUser iir;
    MakeIir(iir, {1.0}, {1.0});  // order 0
    iir.FilterData(in, out.data(), 4);
    iir.m_nIIROrder = 200;  // beyond the coefficient arrays
    iir.FilterData(in, out.data(), 4);
    EXPECT_EQ(out, sentinel);
    EXPECT_TRUE(iir.m_bFirstInput);
    EXPECT_EQ(iir.m_pState, nullptr);

    FilterUser fir;
    MakeFir(fir, {1.0, 2.0, 3.0});
    fir.m_nFIRLength = -4;
    fir.FilterData(in, out.data(), 4);
    EXPECT_EQ(fir.m_nFIRLength, -3);
    EXPECT_EQ(fir.m_pState, nullptr);
    fir.m_nFIRLength = 5;  // more taps than the filter holds
    fir.setFirstInputState(true);
    fir.FilterData(in, out.data(), 4);
    EXPECT_EQ(out, sentinel);

    FilterUser average;
    MakeAverage(average, {0.5, 0.5});
    static_cast<AverageFilter*>(average.m_pFilter)->m_nCoefCount = 0;
    average.FilterData(in, out.data(), 4);
    EXPECT_EQ(out, sentinel);
}

TEST(FilterData, RedesignWithoutRestart) {
    const auto signal = RandomSignal(40, 9);
    const std::vector<float> a(signal.begin(), signal.begin() + 20);
    const std::vector<float> b(signal.begin() + 20, signal.end());

    // Same length: the old history carries on.
    FilterUser whole;
    whole.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 3, 0, 0, 0);
    ASSERT_TRUE(whole.DesignFilter());
    const auto expected = Filtered(whole, signal);
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 3, 0, 0, 0);
    ASSERT_TRUE(user.DesignFilter());
    Filtered(user, a);
    ASSERT_TRUE(user.DesignFilter());
    EXPECT_EQ(Filtered(user, b), std::vector<float>(expected.begin() + 20, expected.end()));

    // Longer moving average: the short history cannot serve, it restarts from zero.
    user.m_nFIRLength = 9;
    ASSERT_TRUE(user.DesignFilter());
    FilterUser fresh;
    fresh.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 9, 0, 0, 0);
    ASSERT_TRUE(fresh.DesignFilter());
    EXPECT_EQ(Filtered(user, b), Filtered(fresh, b));

    // Higher IIR order likewise.
    FilterUser iir;
    MakeIir(iir, {0.5, 0.5}, {1.0, 0.25});
    Filtered(iir, a);
    const std::vector<double> b3 = {0.25, 0.25, 0.25, 0.25};
    const std::vector<double> a3 = {1.0, 0.1, 0.1, 0.1};
    MakeIir(iir, b3, a3);
    FilterUser iirFresh;
    MakeIir(iirFresh, b3, a3);
    EXPECT_EQ(Filtered(iir, b), Filtered(iirFresh, b));
}

// A redesign to a shorter state without a restart keeps the old, longer state
// array and carries on from its first entries.
TEST(FilterData, ShorterRedesignWithoutRestartKeepsTheHistory) {
    // Moving average 4 -> 2: the first output averages the newest old input
    // with the first new one.
    FilterUser average;
    average.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 0, 0, 0, 100, 4, 0, 0, 0);
    ASSERT_TRUE(average.DesignFilter());
    Filtered(average, {1, 2, 3, 4});
    const double* history = average.m_pState;
    average.m_nFIRLength = 2;
    ASSERT_TRUE(average.DesignFilter());
    EXPECT_EQ(Filtered(average, {10, 20, 30}), (std::vector<float>{7.0f, 15.0f, 25.0f}));
    EXPECT_EQ(average.m_pState, history);

    // IIR delay of four samples (y = x[n-4]) -> delay of two: the transposed
    // state after 1..5 is {2, 3, 4, 5}; the order-2 filter reads its first two
    // entries, then its own delayed inputs.
    FilterUser iir;
    MakeIir(iir, {0, 0, 0, 0, 1}, {1, 0, 0, 0, 0});
    EXPECT_EQ(Filtered(iir, {1, 2, 3, 4, 5}), (std::vector<float>{0, 0, 0, 0, 1}));
    MakeIir(iir, {0, 0, 1}, {1, 0, 0});
    EXPECT_EQ(Filtered(iir, {10, 20, 30}), (std::vector<float>{2, 3, 10}));

    // Window FIR 5 -> 3 taps (all ones): sums of the newest three samples.
    FilterUser fir;
    MakeFir(fir, {1, 1, 1, 1, 1});
    Filtered(fir, {1, 2, 3, 4, 5});
    MakeFir(fir, {1, 1, 1});
    EXPECT_EQ(Filtered(fir, {10, 20}), (std::vector<float>{19.0f, 35.0f}));
}
