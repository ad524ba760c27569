// The FIR sum kernels, the block filter over the history window and CFilter's
// gathered blocks against plain one-sample-at-a-time loops, bit for bit, at
// every instruction-set level the processor runs.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "IsaLevels.h"
#include "RZFilterFunc/fir/CFilter.h"
#include "RZFilterFunc/fir/FirBlockFilter.h"
#include "RZFilterFunc/fir/FirKernels.h"
#include "SampleData.h"

using rzf::kernels::FirTerm;
using rzf::platform::IsaLevel;
using rzf::test::SameBits;

namespace {

const FirTerm kTerms[] = {FirTerm::SampleTimesTap, FirTerm::TapTimesSample,
                          FirTerm::TapTimesSampleSingle};

double Term(FirTerm term, double sample, double tap) {
    if (term == FirTerm::SampleTimesTap) {
        return sample * tap;
    }
    const double p = tap * sample;
    return term == FirTerm::TapTimesSample ? p : static_cast<double>(static_cast<float>(p));
}

// The delay-line loop: shift, store the newest sample, sum newest first.
void ShiftLoop(FirTerm term, const std::vector<double>& taps, double* s, const float* in,
               float* out, int count) {
    const int length = static_cast<int>(taps.size());
    for (int i = 0; i < count; ++i) {
        for (int k = length - 1; k >= 1; --k)
            s[k] = s[k - 1];
        s[0] = in[i];
        double y = 0.0;
        for (int k = 0; k < length; ++k)
            y += Term(term, s[k], taps[length - 1 - k]);
        out[i] = static_cast<float>(y);
    }
}

std::string At(IsaLevel level, int what, int length) {
    return std::string(rzf::platform::IsaName(level)) + " term/type " + std::to_string(what) +
           " length " + std::to_string(length);
}

// Full-range samples, a few at the type's extremes (floats: SpecialFloats()).
template <typename T>
std::vector<T> Samples(std::mt19937& rng, int n) {
    if constexpr (std::is_same_v<T, float>) {
        return rzf::test::RandomFloats(rng, n, 3e4f, true);
    } else {
        using L = std::numeric_limits<T>;
        std::uniform_int_distribution<T> value(L::min(), L::max());
        std::vector<T> x(static_cast<std::size_t>(n));
        for (T& s : x)
            s = rng() % 16 == 0 ? (rng() % 2 ? L::min() : L::max())
                                : static_cast<T>(value(rng) >> rng() % 16);
        return x;
    }
}

}  // namespace

// Lengths and counts on both sides of the kernels' steps of 2 to 16 outputs,
// a subnormal tap in odd lengths.
TEST(FirSumsKernel, EveryLevelMatchesTheScalarSum) {
    std::mt19937 rng(101);
    for (IsaLevel level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        for (FirTerm term : kTerms) {
            for (int length : {1, 2, 3, 7, 16, 33, 67, 601}) {
                std::vector<double> taps = rzf::test::RandomDoubles(rng, length, 2.0);
                taps[length / 2] = length % 2 == 1 ? 1e-310 : taps[length / 2];
                rzf::kernels::FirSumsKernel kernel;
                ASSERT_TRUE(kernel.Init(term, taps.data(), length));
                for (int count : {0, 1, 3, 7, 8, 15, 16, 17, 33, 71}) {
                    const auto x = rzf::test::RandomFloats(rng, length - 1 + count, 1e3f, true);
                    const std::vector<double> window(x.begin(), x.end());
                    std::vector<double> expected(count, 0.0), sums(count);
                    for (int i = 0; i < count; ++i)
                        for (int k = length - 1; k >= 0; --k)
                            expected[i] += Term(term, window[i + k], taps[k]);
                    kernel.Process(window.data(), sums.data(), count);
                    ASSERT_TRUE(SameBits(sums, expected))
                        << At(level, static_cast<int>(term), length) << " count " << count;
                }
            }
        }
    }
}

TEST(FirSumsKernel, InitRefusesWhatCannotRun) {
    rzf::kernels::FirSumsKernel kernel;
    const double taps[2] = {1.0, 2.0};
    EXPECT_FALSE(kernel.Init(FirTerm::TapTimesSample, nullptr, 2));
    EXPECT_FALSE(kernel.Init(FirTerm::TapTimesSample, taps, 0));
}

// A stream in random pieces, out starting before, on, just after or well
// after in: every output and the delay line after every call equal the shift
// loop's, each input read when the loop would read it. (The terms are the
// kernel's; the one rounded to single precision stands for all three here.)
TEST(FirBlockFilter, RandomSplitsOverlappingBuffersMatchTheShiftLoop) {
    std::mt19937 rng(202);
    const int count = 5000;
    for (IsaLevel level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        const FirTerm term = FirTerm::TapTimesSampleSingle;
        for (int length : {1, 2, 5, 52, 601}) {
            const auto taps = rzf::test::RandomDoubles(rng, length, 1.0);
            for (int shift : {-7, -1, 0, 1, 3, 1023, 1024, count}) {
                const int inAt = std::max(0, -shift), outAt = inAt + shift;
                auto got = rzf::test::RandomFloats(rng, count + std::abs(shift), 3e4f, true);
                auto expected = got;
                auto delay = rzf::test::RandomDoubles(rng, length, 10.0), expectedDelay = delay;
                std::vector<double> storage;
                rzf::kernels::FirSumsKernel kernel;
                ASSERT_TRUE(kernel.Init(term, taps.data(), length));
                int pos = 0;
                for (int n : rzf::test::RandomSplit(rng, count)) {
                    ShiftLoop(term, taps, expectedDelay.data(), &expected[inAt + pos],
                              &expected[outAt + pos], n);
                    rzf::FilterFloatBlock(kernel, length, storage, delay.data(), &got[inAt + pos],
                                          &got[outAt + pos], n);
                    ASSERT_TRUE(SameBits(delay, expectedDelay))
                        << At(level, static_cast<int>(term), length) << " at " << pos;
                    pos += n;
                }
                EXPECT_TRUE(SameBits(got, expected))
                    << At(level, static_cast<int>(term), length) << " shift " << shift;
            }
        }
    }
}

namespace {

// CFilter's blocks (kernels over gathered samples) against a twin engine fed
// one sample per call with stride 0, which runs its one-sample step: every
// buffer bit, the state after every call, the last output and the working
// index. Negative sizes are FIR tap counts, positive ones IIR coefficient
// counts (1: a gain, 34: beyond the unrolled orders).
template <typename T>
void CompareEveryLevel() {
    std::mt19937 rng(404);
    for (IsaLevel level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        for (int size : {-1, -2, -3, -51, -601, 1, 2, 3, 17, 33, 34}) {
            const int n = std::abs(size);
            auto a = rzf::test::RandomDoubles(rng, n, size < 0 ? 32768.0 / n : 0.3 / n);
            auto b = rzf::test::RandomDoubles(rng, n, 1.0);
            a.back() = size == -3 ? 1e12 : a.back();  // results far outside the integer ranges
            for (const auto& [stride, offset] : {std::pair{1, 0}, {3, 2}, {-4, 3}, {0, 5}}) {
                CFilter engine, twin;
                for (CFilter* f : {&engine, &twin})
                    size < 0 ? f->SetFIRCoief(n, a.data()) : f->SetIIRCoief(n, a.data(), b.data());
                const int span = stride == 0 ? 1 : 2499 * std::abs(stride) + 1;
                const int first = offset + (stride < 0 ? span - 1 : 0);
                std::vector<T> got = Samples<T>(rng, span + offset + 3), expected = got;
                const std::string at = At(level, static_cast<int>(sizeof(T)), size);
                int pos = 0;
                for (int m : rzf::test::RandomSplit(rng, 2500)) {
                    ASSERT_TRUE(engine.FilterData(got.data(), m, stride, first + pos * stride));
                    for (int end = pos + m; pos < end; ++pos)
                        ASSERT_TRUE(twin.FilterData(&expected[first + pos * stride], 1, 0, 0));
                    ASSERT_TRUE(SameBits(engine.m_pState, twin.m_pState, n)) << at << " at " << pos;
                }
                EXPECT_TRUE(SameBits(got, expected)) << at << " stride " << stride;
                EXPECT_TRUE(SameBits(&engine.m_dLastOutput, &twin.m_dLastOutput, 1)) << at;
                EXPECT_EQ(engine.m_nIndex, twin.m_nIndex) << at;
            }
        }
    }
}

}  // namespace

TEST(CFilterBlocks, EverySampleTypeMatchesTheOneSampleStepBitForBit) {
    CompareEveryLevel<float>();
    CompareEveryLevel<short>();
    CompareEveryLevel<int>();
}
