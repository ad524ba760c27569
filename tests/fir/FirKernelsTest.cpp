// The FIR sum kernels and the history window against the plain scalar loops
// they replace, bit for bit, at every instruction-set level the processor runs.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "IsaLevels.h"
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
    switch (term) {
        case FirTerm::SampleTimesTap:
            return sample * tap;
        case FirTerm::TapTimesSample:
            return tap * sample;
        case FirTerm::TapTimesSampleSingle:
            break;
    }
    return static_cast<double>(static_cast<float>(tap * sample));
}

// The delay-line loop: shift, store the newest sample, sum newest first.
void ShiftLoop(FirTerm term, const double* taps, int length, double* s, const float* in, float* out,
               int count) {
    for (int i = 0; i < count; ++i) {
        for (int k = length - 1; k >= 1; --k) {
            s[k] = s[k - 1];
        }
        s[0] = in[i];
        double y = 0.0;
        for (int k = 0; k < length; ++k) {
            y += Term(term, s[k], taps[length - 1 - k]);
        }
        out[i] = static_cast<float>(y);
    }
}

std::vector<int> TestLengths() {
    std::vector<int> lengths;
    for (int n = 1; n <= 67; ++n) {
        lengths.push_back(n);
    }
    for (int n = 69; n <= 601; n += 38) {
        lengths.push_back(n);
    }
    return lengths;
}

std::vector<double> WidenedSamples(std::mt19937& rng, int n) {
    const std::vector<float> x = rzf::test::RandomFloats(rng, n, 1000.0f, true);
    return std::vector<double>(x.begin(), x.end());
}

}  // namespace

TEST(FirSumsKernel, EveryLevelEveryLengthMatchesTheScalarSum) {
    std::mt19937 rng(101);
    for (IsaLevel level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        for (FirTerm term : kTerms) {
            for (int length : TestLengths()) {
                // Taps of mixed sign and size, a few of them special as well.
                std::vector<double> taps = rzf::test::RandomDoubles(rng, length, 2.0);
                if (length % 7 == 0) {
                    taps[static_cast<std::size_t>(length / 2)] = 1e-310;
                }
                for (int count : {0, 1, 7, 8, 15, 16, 17, 33, 64, 71}) {
                    const std::vector<double> window = WidenedSamples(rng, length - 1 + count);
                    std::vector<double> expected(static_cast<std::size_t>(count));
                    for (int i = 0; i < count; ++i) {
                        double y = 0.0;
                        for (int k = 0; k < length; ++k) {
                            y += Term(term, window[static_cast<std::size_t>(i + length - 1 - k)],
                                      taps[static_cast<std::size_t>(length - 1 - k)]);
                        }
                        expected[static_cast<std::size_t>(i)] = y;
                    }
                    rzf::kernels::FirSumsKernel kernel;
                    ASSERT_TRUE(kernel.Init(term, taps.data(), length));
                    std::vector<double> sums(static_cast<std::size_t>(count));
                    kernel.Process(window.data(), sums.data(), count);
                    ASSERT_TRUE(SameBits(sums, expected))
                        << rzf::platform::IsaName(level) << " term " << static_cast<int>(term)
                        << " length " << length << " count " << count;
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
    EXPECT_FALSE(kernel.Init(FirTerm::TapTimesSample, taps, -5));
    EXPECT_TRUE(kernel.Init(FirTerm::TapTimesSample, taps, 2));
}

// Streams through the window in random pieces: every output and the delay line
// after every call equal the shift loop's.
TEST(FirBlockFilter, RandomSplitsKeepOutputsAndDelayLine) {
    std::mt19937 rng(202);
    for (IsaLevel level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        for (FirTerm term : kTerms) {
            for (int length : {1, 2, 3, 5, 51, 52, 75, 333, 601}) {
                const std::vector<double> taps = rzf::test::RandomDoubles(rng, length, 1.0);
                const std::vector<float> signal = rzf::test::RandomFloats(rng, 5000, 3e4f, true);
                std::vector<double> delay = rzf::test::RandomDoubles(rng, length, 10.0);
                std::vector<double> expectedDelay = delay;
                std::vector<float> out(signal.size()), expected(signal.size());
                std::vector<double> storage;
                rzf::kernels::FirSumsKernel kernel;
                ASSERT_TRUE(kernel.Init(term, taps.data(), length));
                int pos = 0;
                for (int n : rzf::test::RandomSplit(rng, static_cast<int>(signal.size()))) {
                    ShiftLoop(term, taps.data(), length, expectedDelay.data(), signal.data() + pos,
                              expected.data() + pos, n);
                    rzf::FilterFloatBlock(kernel, length, storage, delay.data(),
                                          signal.data() + pos, out.data() + pos, n);
                    ASSERT_TRUE(SameBits(delay, expectedDelay))
                        << rzf::platform::IsaName(level) << " length " << length << " at " << pos;
                    pos += n;
                }
                EXPECT_TRUE(SameBits(out, expected))
                    << rzf::platform::IsaName(level) << " length " << length;
            }
        }
    }
}

// In place, and with out starting a few samples after or before in: each input
// is read when the sample-by-sample loop would read it.
TEST(FirBlockFilter, OverlappingBuffersReadInputsInLoopOrder) {
    std::mt19937 rng(303);
    const int count = 3000;
    for (IsaLevel level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        for (int length : {1, 4, 51}) {
            const std::vector<double> taps = rzf::test::RandomDoubles(rng, length, 1.0);
            for (int shift : {-7, -1, 0, 1, 3, 1023, 1024, 1500}) {
                const int pad = shift < 0 ? -shift : shift;
                const std::vector<float> buffer =
                    rzf::test::RandomFloats(rng, count + pad, 100.0f, false);
                std::vector<float> got = buffer, expected = buffer;
                const int inAt = shift < 0 ? pad : 0;
                const int outAt = inAt + shift;
                std::vector<double> delay(static_cast<std::size_t>(length), 0.0);
                std::vector<double> expectedDelay = delay;
                std::vector<double> storage;
                rzf::kernels::FirSumsKernel kernel;
                ASSERT_TRUE(kernel.Init(FirTerm::TapTimesSampleSingle, taps.data(), length));
                ShiftLoop(FirTerm::TapTimesSampleSingle, taps.data(), length, expectedDelay.data(),
                          expected.data() + inAt, expected.data() + outAt, count);
                rzf::FilterFloatBlock(kernel, length, storage, delay.data(), got.data() + inAt,
                                      got.data() + outAt, count);
                EXPECT_TRUE(SameBits(got, expected)) << "length " << length << " shift " << shift;
                EXPECT_TRUE(SameBits(delay, expectedDelay));
            }
        }
    }
}
