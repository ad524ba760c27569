// FilterUser::FilterData on designed filters against the block filter's
// arithmetic written as plain loops over a delay line (the shift of one place
// per sample, sums newest sample first): every output and the state array after
// every call, bit for bit, at each instruction-set level, in random pieces.
#include <gtest/gtest.h>

#include <RZFilterFunc/base/ClassicFilter.h>
#include <RZFilterFunc/filter/FilterUser.h>

#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "IsaLevels.h"
#include "SampleData.h"
#include "TraceCapture.h"

using rzf::test::SameBits;

namespace {

float IirStep(const double* b, const double* a, int order, double* s, float in) {
    const double x = in;
    const double y = b[0] * x + s[0];
    for (int k = 1; k < order; ++k) {
        s[k - 1] = b[k] * x + s[k] - a[k] * y;
    }
    s[order - 1] = b[order] * x - a[order] * y;
    return static_cast<float>(y);
}

// The window FIR rounds each product to single precision, the average does not.
float FirStep(const double* b, int length, double* s, float in, bool singleProducts) {
    for (int k = length - 1; k >= 1; --k) {
        s[k] = s[k - 1];
    }
    s[0] = in;
    double y = 0.0;
    for (int k = 0; k < length; ++k) {
        const double p = b[length - 1 - k] * s[k];
        y += singleProducts ? static_cast<float>(p) : p;
    }
    return static_cast<float>(y);
}

// Filters a noisy signal with specials through a restarted copy of designed,
// at every level, and compares each piece and the state with the reference.
// Each piece goes through a copy of the last holder made mid-stream, which
// shares its state, and the last holder is released.
void CompareAtEveryLevel(const FilterUser& designed, unsigned seed, const std::string& what) {
    std::mt19937 rng(seed);
    const std::vector<float> signal = rzf::test::RandomFloats(rng, 4000, 500.0f, true);
    const std::vector<int> split = rzf::test::RandomSplit(rng, static_cast<int>(signal.size()));
    for (auto level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        const std::string where = std::string(rzf::platform::IsaName(level)) + " " + what;
        auto user = std::make_unique<FilterUser>(designed);
        user->setFirstInputState(true);  // a state of its own
        const double* b = designed.m_pFilter->GetNumerator();
        const double* a = designed.m_pFilter->GetDenominator();
        const bool iir = designed.m_nDesignMethod <= DM_CHEBYSHEV2;
        const bool average = designed.m_nDesignMethod == DM_AVERAGE;
        std::vector<double> state;
        std::vector<float> out(signal.size()), expected(signal.size());
        int pos = 0, length = 0;
        for (int n : split) {
            user->FilterData(const_cast<float*>(signal.data()) + pos, out.data() + pos, n);
            if (state.empty()) {  // the first call fixes the length (FIR: made odd)
                length = iir       ? user->m_nIIROrder
                         : average ? user->m_pFilter->GetCoefCount()
                                   : user->m_nFIRLength;
                state.assign(static_cast<std::size_t>(length), 0.0);
            }
            for (int i = pos; i < pos + n; ++i) {
                expected[i] = iir ? IirStep(b, a, length, state.data(), signal[i])
                                  : FirStep(b, length, state.data(), signal[i], !average);
            }
            ASSERT_TRUE(SameBits(user->m_pState, state.data(), length)) << where << " at " << pos;
            user = std::make_unique<FilterUser>(*user);
            pos += n;
        }
        EXPECT_TRUE(SameBits(out, expected)) << where;
    }
}

}  // namespace

// Butterworth and Chebyshev I/II for every band type over a sweep of edges and
// attenuations: the first design of every order the designer produces, 3 to 30.
TEST(FilterDataLevels, IirDesignsOfEveryOrder) {
    std::set<std::pair<int, int>> seen;
    std::set<int> orders;
    const TraceCapture refusals;  // the sweep's refused designs, kept off the console
    for (int method = DM_BUTTERWORTH; method <= DM_CHEBYSHEV2; ++method) {
        for (int band = BAND_LOWPASS; band <= BAND_BANDSTOP; ++band) {
            for (double atten : {20.0, 40.0, 80.0, 120.0, 160.0}) {
                for (double width = 2.0; width <= 285.0; width *= 1.08) {
                    FilterUser user;
                    user.setFilterParameter(band, method, 100.0, 100.0 + width, 250.0,
                                            250.0 + width, 1000.0, 0, 0.5, atten, 0.0);
                    if (user.DesignFilter() && user.GetIsStability() &&
                        seen.insert({method, user.m_nIIROrder}).second) {
                        orders.insert(user.m_nIIROrder);
                        CompareAtEveryLevel(user, 600 + user.m_nIIROrder,
                                            "method " + std::to_string(method) + " order " +
                                                std::to_string(user.m_nIIROrder));
                    }
                }
            }
        }
    }
    EXPECT_EQ(*orders.begin(), 3);
    EXPECT_EQ(*orders.rbegin(), 30);
    EXPECT_GE(orders.size(), 18u);
}

// Window FIR of every odd length up to 67 and beyond, and an even one (made odd
// by the first block); moving averages of odd, even and power-of-two lengths.
TEST(FilterDataLevels, FirDesignsOfManyLengths) {
    std::vector<std::pair<int, int>> designs = {{DM_WINDOW_FIR, 50}};
    for (int n = 1; n <= 601; n += n < 67 ? 2 : 38) {
        designs.push_back({DM_WINDOW_FIR, n});
    }
    for (int n : {1, 2, 3, 4, 5, 8, 16, 17, 31, 33, 51, 64, 67, 100, 257, 500}) {
        designs.push_back({DM_AVERAGE, n});
    }
    for (const auto& [method, length] : designs) {
        FilterUser user;
        user.setWindowType(length % 3 == 0 ? 5 : 0);
        const int band = method == DM_AVERAGE || length % 4 == 1 ? BAND_LOWPASS : BAND_BANDPASS;
        user.setFilterParameter(band, method, method == DM_AVERAGE ? 10 : 100, 140, 160, 200, 1000,
                                length, 1.0, 60.0, 0);
        const std::string what = std::to_string(method) + " length " + std::to_string(length);
        ASSERT_TRUE(user.DesignFilter()) << what;
        CompareAtEveryLevel(user, 700 + length, what);
    }
}
