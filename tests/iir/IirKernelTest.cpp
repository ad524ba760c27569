// The block IIR kernel (one instantiation per order up to its limit, a generic
// loop beyond) against the transposed direct form II written as a plain loop
// over the state array: outputs and state, bit for bit, for every order from
// 1 to past the limit, in random pieces, with NaN, infinities and subnormals.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "IsaLevels.h"
#include "RZFilterFunc/iir/IirKernel.h"
#include "SampleData.h"

using rzf::kernels::IirKernel;
using rzf::test::SameBits;

namespace {

void PlainLoop(const double* b, const double* a, int order, double* s, const float* in, float* out,
               int count) {
    for (int i = 0; i < count; ++i) {
        const double x = in[i];
        const double y = b[0] * x + s[0];
        out[i] = static_cast<float>(y);
        for (int k = 1; k < order; ++k) {
            s[k - 1] = b[k] * x + s[k] - a[k] * y;
        }
        s[order - 1] = b[order] * x - a[order] * y;
    }
}

}  // namespace

TEST(IirKernel, EveryOrderMatchesThePlainLoop) {
    std::mt19937 rng(505);
    for (auto level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        for (int order = 1; order <= IirKernel::kMaxUnrolledOrder + 8; ++order) {
            // Small feedback keeps most of the stream finite; the specials in the
            // input still reach every state entry.
            const std::vector<double> b = rzf::test::RandomDoubles(rng, order + 1, 1.0);
            const std::vector<double> a = rzf::test::RandomDoubles(rng, order + 1, 0.5 / order);
            const std::vector<float> in = rzf::test::RandomFloats(rng, 3000, 1e4f, order % 2 == 0);
            std::vector<double> state = rzf::test::RandomDoubles(rng, order, 1.0);
            std::vector<double> expectedState = state;
            std::vector<float> out(in.size()), expected(in.size());
            IirKernel kernel;
            ASSERT_TRUE(kernel.Init(b.data(), a.data(), order));
            int pos = 0;
            for (int n : rzf::test::RandomSplit(rng, static_cast<int>(in.size()))) {
                PlainLoop(b.data(), a.data(), order, expectedState.data(), in.data() + pos,
                          expected.data() + pos, n);
                kernel.Process(state.data(), in.data() + pos, out.data() + pos, n);
                ASSERT_TRUE(SameBits(state, expectedState)) << "order " << order << " at " << pos;
                pos += n;
            }
            EXPECT_TRUE(SameBits(out, expected)) << "order " << order;
        }
    }
}

// Each output is written after its input is read, so filtering in place is the
// same as filtering into another buffer.
TEST(IirKernel, InPlaceAndRefusals) {
    std::mt19937 rng(506);
    const std::vector<double> b = rzf::test::RandomDoubles(rng, 9, 1.0);
    const std::vector<double> a = rzf::test::RandomDoubles(rng, 9, 0.1);
    const std::vector<float> in = rzf::test::RandomFloats(rng, 500, 10.0f, false);
    std::vector<float> apart(in.size()), inPlace = in;
    std::vector<double> s1(8, 0.0), s2(8, 0.0);
    IirKernel kernel;
    ASSERT_TRUE(kernel.Init(b.data(), a.data(), 8));
    kernel.Process(s1.data(), in.data(), apart.data(), 500);
    kernel.Process(s2.data(), inPlace.data(), inPlace.data(), 500);
    EXPECT_TRUE(SameBits(apart, inPlace));
    EXPECT_FALSE(kernel.Init(nullptr, a.data(), 8));
    EXPECT_FALSE(kernel.Init(b.data(), nullptr, 8));
    EXPECT_FALSE(kernel.Init(b.data(), a.data(), 0));
}
