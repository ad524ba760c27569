// The block IIR kernel (unrolled up to its limit, generic beyond) against the
// transposed direct form II as a plain loop: outputs and state bit for bit at
// every instruction-set level and order, in random pieces (every other one in
// place), with NaN, infinities and subnormals.
#include <gtest/gtest.h>

#include <algorithm>
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
        const double x = in[i], y = b[0] * x + s[0];
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
            const std::vector<double> b = rzf::test::RandomDoubles(rng, order + 1, 1.0);
            const std::vector<double> a = rzf::test::RandomDoubles(rng, order + 1, 0.5 / order);
            const std::vector<float> in = rzf::test::RandomFloats(rng, 3000, 1e4f, order % 2 == 0);
            std::vector<double> state = rzf::test::RandomDoubles(rng, order, 1.0),
                                expectedState = state;
            std::vector<float> out(in.size()), expected(in.size());
            IirKernel kernel;
            ASSERT_TRUE(kernel.Init(b.data(), a.data(), order));
            int pos = 0, piece = 0;
            for (int n : rzf::test::RandomSplit(rng, static_cast<int>(in.size()))) {
                PlainLoop(b.data(), a.data(), order, expectedState.data(), in.data() + pos,
                          expected.data() + pos, n);
                std::copy(in.begin() + pos, in.begin() + pos + n, out.begin() + pos);
                const bool inPlace = piece++ % 2 == 1;
                kernel.Process(state.data(), (inPlace ? out : in).data() + pos, out.data() + pos,
                               n);
                ASSERT_TRUE(SameBits(state, expectedState)) << "order " << order << " at " << pos;
                pos += n;
            }
            EXPECT_TRUE(SameBits(out, expected)) << "order " << order;
        }
    }
}

TEST(IirKernel, InitRefusesMissingCoefficientsOrOrder) {
    const double c[2] = {1, 0.5};
    IirKernel kernel;
    EXPECT_FALSE(kernel.Init(nullptr, c, 1));
    EXPECT_FALSE(kernel.Init(c, nullptr, 1));
    EXPECT_FALSE(kernel.Init(c, c, 0));
}
