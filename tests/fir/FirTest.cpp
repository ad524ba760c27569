// Window and Kaiser FIR and CFilter against scipy records (tests/data/fir/gen_reference.py) and
// hand-worked values; the FIR kernels and CFilter's blocks against plain loops, bit for bit, at
// every instruction-set level; and the refusals.
#include <gtest/gtest.h>

#include <RZFilterFunc/base/DesignLimits.h>
#include <RZFilterFunc/fir/CFilter.h>
#include <RZFilterFunc/fir/CKaiserFilter.h>
#include <RZFilterFunc/fir/WindowFunctions.h>
#include <RZFilterFunc/fir/WindowsFilter.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "IsaLevels.h"
#include "RZFilterFunc/fir/FirBlockFilter.h"
#include "RZFilterFunc/fir/FirKernels.h"
#include "ReferenceData.h"
#include "SampleData.h"

using namespace rzf::test;
using rzf::kernels::FirTerm;
using rzf::platform::IsaLevel;
using rzf::platform::IsaName;

namespace {

const float kSentinel = -7.0f;

// The records of tests/data/fir/<name>, checked to number as expected.
std::vector<std::vector<double>> ReadFirTable(const std::string& name, size_t records) {
    std::vector<std::vector<double>> rows = ReadNumberRows("fir/" + name);
    EXPECT_EQ(rows.size(), records) << name;
    return rows;
}

int Design(WindowsFilter& f, int band, double fs, double f1, double f2, int window, int length) {
    std::tie(f.m_nBandType, f.m_dSampleFreq, f.m_dFreq1, f.m_dFreq2, f.m_nWindowType) =
        std::tie(band, fs, f1, f2, window);
    return f.DesignFIR(length);
}

// Kaiser taps from the two-edge design or (transition below 0) the four-edge one; a refusal
// designs no taps and clears the caller's pointer.
std::vector<double> Kaiser(int band, float f1, float f2, double transition, float f3 = 0,
                           float f4 = 0, float fs = 1000.0f, int atten = 60) {
    double held = 0.0, *taps = &held;
    const int n = transition < 0 ? CFilter::DesignFilter(taps, fs, band, f1, f2, f3, f4, atten)
                                 : CFilter::DesignFilter(taps, fs, band, f1, f2, atten, transition);
    EXPECT_EQ(taps == nullptr, n == 0) << n;
    std::unique_ptr<double[]> owner(taps == &held ? nullptr : taps);
    return owner ? std::vector<double>(taps, taps + n) : std::vector<double>();
}

// FIR taps (b empty) or IIR feedback a and feed-forward b.
void Load(CFilter& f, std::vector<double> a, std::vector<double> b = {}) {
    const int n = static_cast<int>(a.size());
    b.empty() ? f.SetFIRCoief(n, a.data()) : f.SetIIRCoief(n, a.data(), b.data());
}

const auto kRowName = [](const auto& row) { return std::string(row.param.name); };

template <typename T>
std::vector<T> Block(CFilter& f, std::vector<T> x) {
    EXPECT_TRUE(f.FilterData(x.data(), static_cast<int>(x.size()), 1, 0));
    return x;
}

// The plain FIR sum over an oldest-first window, newest sample first, in the kernel's term.
double Sum(FirTerm term, const double* window, const std::vector<double>& taps) {
    double y = 0.0;
    for (int k = static_cast<int>(taps.size()) - 1; k >= 0; --k) {
        const double p =
            term == FirTerm::SampleTimesTap ? window[k] * taps[k] : taps[k] * window[k];
        y += term == FirTerm::TapTimesSampleSingle ? static_cast<float>(p) : p;
    }
    return y;
}

// Full-range samples, one in 16 at the type's extremes (floats: SpecialFloats()).
template <typename T>
std::vector<T> Samples(std::mt19937& rng, int n) {
    using L = std::numeric_limits<T>;
    std::vector<T> x(static_cast<std::size_t>(n));
    for (T& s : x)
        s = rng() % 16 ? static_cast<T>(static_cast<T>(rng()) >> rng() % 16)
                       : (rng() % 2 ? L::min() : L::max());
    return x;
}
template <>
std::vector<float> Samples(std::mt19937& rng, int n) {
    return RandomFloats(rng, n, 3e4f, true);
}

// CFilter's blocks split at random points against a twin fed one sample per call (stride 0, the
// one-sample step): buffer, state, last output and index. Midway a copy-constructed and an assigned
// copy take turns after the original is gone. Sizes < 0 are FIR tap counts, > 0 IIR orders (34:
// beyond the unrolled ones).
template <typename T>
void CompareEveryLevel() {
    std::mt19937 rng(404);
    for (IsaLevel level : AvailableIsaLevels()) {
        ScopedIsaLevel scoped(level);
        for (int size : {-1, -2, -3, -51, -601, 1, 2, 3, 17, 33, 34}) {
            const int n = std::abs(size);
            auto a = RandomDoubles(rng, n, size < 0 ? 32768.0 / n : 0.3 / n),
                 b = RandomDoubles(rng, n, 1.0);
            a.back() = size == -3 ? 1e12 : a.back();  // results far outside the integer ranges
            for (const auto& [stride, offset] : {std::pair{1, 0}, {3, 2}, {-4, 3}, {0, 5}}) {
                auto original = std::make_unique<CFilter>();
                CFilter twin, assigned, *engine = original.get();
                std::optional<CFilter> copy;
                for (CFilter* f : {engine, &twin})
                    size < 0 ? f->SetFIRCoief(n, a.data()) : f->SetIIRCoief(n, a.data(), b.data());
                const int span = stride == 0 ? 1 : 2499 * std::abs(stride) + 1,
                          first = offset + (stride < 0 ? span - 1 : 0);
                std::vector<T> got = Samples<T>(rng, span + offset + 3), expected = got;
                const std::string at = IsaName(level) + (" size " + std::to_string(size));
                int pos = 0;
                for (int m : RandomSplit(rng, 2500)) {
                    if (pos >= 1250 && original) {
                        copy.emplace(*original);
                        assigned = *copy;
                        original.reset();
                    }
                    engine = original ? engine : pos % 2 ? &*copy : &assigned;
                    ASSERT_TRUE(engine->FilterData(got.data(), m, stride, first + pos * stride));
                    for (int end = pos + m; pos < end; ++pos)
                        ASSERT_TRUE(twin.FilterData(&expected[first + pos * stride], 1, 0, 0));
                    ASSERT_TRUE(SameBits(engine->m_pState, twin.m_pState, n))
                        << at << " at " << pos;
                }
                EXPECT_TRUE(SameBits(got, expected)) << at << " stride " << stride;
                EXPECT_TRUE(SameBits(&engine->m_dLastOutput, &twin.m_dLastOutput, 1)) << at;
                EXPECT_EQ(engine->m_nIndex, twin.m_nIndex) << at;
            }
        }
    }
}

}  // namespace

// Records: code n beta w[0..n-1], from scipy.signal.windows (symmetric).
TEST(WindowFunctions, MatchScipyExactlySymmetric) {
    for (const auto& r : ReadFirTable("windows.txt", 68)) {
        const int code = int(r[0]), n = int(r[1]);
        std::vector<float> w(n, kSentinel);
        ASSERT_EQ(r.size(), n + 3u);
        ASSERT_TRUE(rzf::MakeWindow(w.data(), n, code, r[2], 1, 1, -3));
        for (int k = 0; k < n; ++k) {
            EXPECT_NEAR(w[k], r[3 + k], 6e-8) << "code " << code << " n " << n << " k " << k;
            EXPECT_EQ(w[k], w[n - 1 - k]) << "code " << code << " n " << n << " k " << k;
        }
    }
}

// Segment and taper windows by hand in 10 sentinels (to 1e-6 relative); a refusal writes nothing.
TEST(WindowFunctions, ShortWindowsByHand) {
    // clang-format off
    const struct { int code, n; double from, to, span; bool ok; std::vector<float> w; } cases[] = {
        {7, 8, 0.25, 0.75, 1, 1, {0, 0, 1, 1, 1, 1, 0, 0}},
        // Segment [2, 7) falling three decades over its 5 points.
        {6, 10, 0.2, 0.7, 1, 1,
         {0, 0, 1, 0.251188643f, 0.0630957344f, 0.0158489319f, 0.00398107171f, 0, 0, 0}},
        {2, 0, 0, 1, 1, 0, {}}, {6, 10, 0.2, 0.7, 0, 0, {}}, {6, 10, 0, 1.5, 1, 0, {}},
        {7, 10, -0.5, 1, 1, 0, {}}};
    // clang-format on
    for (const auto& c : cases) {
        std::vector<float> w(10, kSentinel);
        EXPECT_EQ(rzf::MakeWindow(w.data(), c.n, c.code, c.from, c.to, c.span, -3), c.ok);
        for (size_t k = 0; k < w.size(); ++k) {
            const float e = k < c.w.size() ? c.w[k] : kSentinel;
            EXPECT_NEAR(w[k], e, 1e-6f * std::fabs(e)) << "code " << c.code << " k " << k;
        }
    }
    EXPECT_FALSE(rzf::MakeCosineWindow(nullptr, 4, 4));  // triangular is no cosine sum
}

// Records: band code fs f1 f2 length taps, scipy.signal.firwin(scale=False). Codes 6, 7, 9 have
// no parameters here and design rectangular, also redesigning on one object with edges in Hz.
TEST(WindowsFilter, DesignsMatchScipy) {
    WindowsFilter f;
    for (const auto& r : ReadFirTable("window_designs.txt", 56)) {
        const int band = int(r[0]), code = int(r[1]), length = int(r[5]);
        for (int as : code == 0 ? std::vector<int>{0, 6, 7, 9} : std::vector<int>{code}) {
            ASSERT_EQ(Design(f, band, r[2], r[3], r[4], as, length), 0);
            ASSERT_EQ(f.m_nLength, length);
            ASSERT_EQ(r.size(), length + 6u);
            for (int k = 0; k < length; ++k)  // window held in float: half an ulp of 1 is 3e-8
                EXPECT_NEAR(f.m_pCoef[k], r[6 + k], 6e-8) << band << " " << as << " " << k;
        }
    }
}

// Records: band code fs f1 f2 length points |H|/max|H| phase, scipy.signal.freqz on the grid
// k * 3.1415926 / points (to 1e-7 and 1e-6 rad).
TEST(WindowsFilter, ResponsesMatchScipy) {
    for (const auto& r : ReadFirTable("responses.txt", 2)) {
        const int points = int(r[6]);
        WindowsFilter f;
        int count = -1, phaseCount = -1;
        EXPECT_EQ(f.GetAmplitudeResponse(&count), nullptr);  // no taps yet
        ASSERT_EQ(Design(f, int(r[0]), r[2], r[3], r[4], int(r[1]), int(r[5])), 0);
        const double *amp = f.GetAmplitudeResponse(&count),
                     *phase = f.GetPhaseResponse(&phaseCount);
        ASSERT_EQ(count, points);
        ASSERT_EQ(phaseCount, points);
        ASSERT_EQ(r.size(), 7u + 2u * points);
        for (int k = 0; k < points; ++k) {  // phase compared where the response is not tiny
            EXPECT_NEAR(std::pow(10.0, amp[k] / 20.0), r[7 + k], 1e-7) << k;
            EXPECT_DOUBLE_EQ(f.m_pFreqAxis[k], k * r[2] / (2.0 * points));
            EXPECT_NEAR(phase[k], r[7 + k] > 1e-3 ? r[7 + points + k] : phase[k], 1e-6) << k;
        }
        f.m_nRespCount = 0;  // no response points: nothing returned
        EXPECT_EQ(f.GetPhaseResponse(&phaseCount), nullptr);
    }
}

// Records: band fs f1 f2 atten transition numtaps taps*16384, scipy.signal.firwin, Kaiser window,
// scale=False (to 1e-6).
TEST(KaiserDesign, DesignsMatchScipy) {
    for (const auto& r : ReadFirTable("kaiser_designs.txt", 9)) {
        const auto h =
            Kaiser(int(r[0]), float(r[2]), float(r[3]), r[5], 0, 0, float(r[1]), int(r[4]));
        const int n = static_cast<int>(h.size());
        ASSERT_EQ(n, int(r[6])) << "band " << r[0] << " " << r[4];
        ASSERT_EQ(r.size(), n + 7u);
        for (int k = 0; k < n; ++k)
            EXPECT_NEAR(h[k], r[7 + k], 1e-6) << "band " << r[0] << " k " << k;
    }
}

// Kaiser beta by attenuation A: 0.1102 (A - 8.7) from 50 dB up (the lower piece would give 4.5335
// at 50), 0.5842 (A - 21)^0.4 + 0.07886 (A - 21) above 21 dB (by hand to 8 digits), else 0 (to
// 1e-7; the middle piece is NaN at 10 dB).
TEST(KaiserDesign, BetaFollowsTheAttenuationPieces) {
    for (const auto& [atten, beta] :
         {std::pair{50.0, 0.1102 * 41.3}, {49.9, 4.5225262}, {10.0, 0.0}}) {
        CKaiserFilter k;
        std::tie(k.m_nBandType, k.m_dFreq1, k.m_dFreq2, k.m_dNyquist, k.m_dAtten, k.m_dTransition) =
            std::make_tuple(1, 100.0, 0.0, 500.0, atten, 0.1);
        ASSERT_GT(k.Design(), 0) << atten;
        EXPECT_NEAR(k.m_dBeta, beta, 1e-7) << atten;
    }
}

// Four edges design as two with the narrower single-precision gap as transition (bit-exact).
TEST(KaiserDesign, FourEdgesDesignAsTwo) {
    const double t = 2.0 * static_cast<double>(50.0f / 1000.0f);
    EXPECT_EQ(Kaiser(1, 100, 150, -1), Kaiser(1, 100, 0, t));
    EXPECT_EQ(Kaiser(2, 250, 200, -1), Kaiser(2, 250, 0, t));
    EXPECT_EQ(Kaiser(3, 200, 150, -1, 400, 300), Kaiser(3, 200, 300, t));
    const auto bandStop = Kaiser(4, 100, 150, -1, 250, 400);
    EXPECT_EQ(bandStop.size(), 75u);
    EXPECT_EQ(bandStop, Kaiser(4, 100, 400, t));
}

// FIR taps are scaled by 16384, the newest sample meets the last tap (0.25 * 8 + 0.5 * 4 = 4); IIR
// takes a[0] as 1 whatever it holds, one coefficient is a gain. Exact values.
TEST(CFilter, HandWorkedSamples) {
    // clang-format off
    const struct { std::vector<double> a, b; std::vector<float> in, out; } cases[] = {
        {{16384}, {}, {1.5f, -2.25f, 1e6f, -3e-3f}, {1.5f, -2.25f, 1e6f, -3e-3f}},
        {{16384, 0}, {}, {1, 2, 3, 4}, {0, 1, 2, 3}}, {{8192, 4096}, {}, {4, 8}, {1, 4}},
        {{4, -0.5}, {1, 0}, {1, 0, 0, 0, 0}, {1, 0.5f, 0.25f, 0.125f, 0.0625f}},
        {{1}, {0.5}, {4, -2, 1}, {2, -1, 0.5f}}};
    // Integers truncate toward zero, 16 bits keep the low 16, outside 32 bits or NaN is INT32_MIN.
    const struct { double tap; short in, out16; int out32; } integers[] = {
        {32768, 20000, -25536, 40000}, {1638.4, -17, -1, -1}, {1638.4, 17, 1, 1},
        {NAN, 5, 0, INT32_MIN}};
    // clang-format on
    CFilter f;
    for (const auto& c : cases) {
        Load(f, c.a, c.b);
        EXPECT_EQ(Block(f, c.in), c.out) << c.a[0];
        EXPECT_EQ(f.m_dLastOutput, c.out.back() * (c.b.empty() ? 16384.0 : 1.0));  // unscaled
    }
    for (const auto& c : integers) {
        Load(f, {c.tap});
        EXPECT_EQ(Block<short>(f, {c.in})[0], c.out16) << c.tap << " " << c.in;
        EXPECT_EQ(Block<int>(f, {c.in})[0], c.out32) << c.tap << " " << c.in;
    }
    EXPECT_EQ(Block<int>(f, {2000000000, -2000000000}), (std::vector<int>{INT32_MIN, INT32_MIN}));
}

// A reload from the engine's own taps copies them before freeing them: a bit-exact restart.
TEST(CFilter, ReloadsFromItsOwnTaps) {
    const std::vector<float> x(100, 1000.0f);
    CFilter f;
    Load(f, Kaiser(1, 100, 0, 0.1));
    const auto one = Block(f, x);
    f.SetFIRCoief(f.m_nCoefCount, f.m_pCoefA);
    EXPECT_EQ(Block(f, x), one);
}

// Lengths and counts both sides of the kernels' steps of 2 to 16 outputs; odd lengths get a
// subnormal tap.
TEST(FirSumsKernel, EveryLevelMatchesTheScalarSum) {
    std::mt19937 rng(101);
    for (IsaLevel level : AvailableIsaLevels()) {
        ScopedIsaLevel scoped(level);
        for (FirTerm term :
             {FirTerm::SampleTimesTap, FirTerm::TapTimesSample, FirTerm::TapTimesSampleSingle}) {
            for (int length : {1, 2, 3, 7, 16, 33, 67, 601}) {
                std::vector<double> taps = RandomDoubles(rng, length, 2.0);
                taps[length / 2] = length % 2 == 1 ? 1e-310 : taps[length / 2];
                rzf::kernels::FirSumsKernel kernel;
                ASSERT_TRUE(kernel.Init(term, taps.data(), length));
                for (int count : {0, 1, 3, 7, 8, 15, 16, 17, 33, 71}) {
                    const auto x = RandomFloats(rng, length - 1 + count, 1e3f, true);
                    const std::vector<double> window(x.begin(), x.end());
                    std::vector<double> expected(count), sums(count);
                    for (int i = 0; i < count; ++i)
                        expected[i] = Sum(term, &window[i], taps);
                    kernel.Process(window.data(), sums.data(), count);
                    ASSERT_TRUE(SameBits(sums, expected))
                        << IsaName(level) << " " << int(term) << " " << length << " " << count;
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

// A stream in random pieces, out before, on, just after or well after in: outputs and the
// newest-first delay line equal a plain loop's (the single-precision term stands for all three).
TEST(FirBlockFilter, RandomSplitsOverlappingBuffersMatchTheShiftLoop) {
    std::mt19937 rng(202);
    const int count = 5000;
    for (IsaLevel level : AvailableIsaLevels()) {
        ScopedIsaLevel scoped(level);
        const FirTerm term = FirTerm::TapTimesSampleSingle;
        for (int length : {1, 2, 5, 52, 601}) {
            const auto taps = RandomDoubles(rng, length, 1.0);
            for (int shift : {-7, -1, 0, 1, 3, 1023, 1024, count}) {
                const int inAt = std::max(0, -shift), outAt = inAt + shift;
                auto got = RandomFloats(rng, count + std::abs(shift), 3e4f, true), expected = got;
                auto delay = RandomDoubles(rng, length, 10.0);
                std::vector<double> history(delay.rbegin(), delay.rend()), storage;
                rzf::kernels::FirSumsKernel kernel;
                ASSERT_TRUE(kernel.Init(term, taps.data(), length));
                int pos = 0;
                for (int n : RandomSplit(rng, count)) {
                    rzf::FilterFloatBlock(kernel, length, storage, delay.data(), &got[inAt + pos],
                                          &got[outAt + pos], n);
                    for (int end = pos + n; pos < end; ++pos) {
                        history.push_back(expected[inAt + pos]);
                        expected[outAt + pos] = float(Sum(term, &*(history.end() - length), taps));
                    }
                    ASSERT_TRUE(SameBits(
                        delay, std::vector<double>(history.rbegin(), history.rbegin() + length)))
                        << IsaName(level) << " length " << length << " at " << pos;
                }
                EXPECT_TRUE(SameBits(got, expected))
                    << IsaName(level) << " length " << length << " shift " << shift;
            }
        }
    }
}

TEST(CFilterBlocks, EverySampleTypeMatchesTheOneSampleStepBitForBit) {
    CompareEveryLevel<float>();
    CompareEveryLevel<short>();
    CompareEveryLevel<int>();
}

// clang-format off
// One row per check of WindowsFilter::DesignFIR (taps 0: refused, nothing changed). An even
// length designs one tap more; one tap of a cosine sum is NaN, of the open Hann 0.2; band types
// without an ideal response design zero taps.
struct WindowLengthCase { const char* name; int band; double fs, f1, f2; int window, length, taps; };
const WindowLengthCase kWindowLengthCases[] = {
    {"even_length", 1, 1000, 100, -1, 0, 50, 51}, {"band_5", 5, 1000, 100, 300, 0, 21, 21},
    {"one_tap_open_hann", 1, 1000, 100, -1, 1, 1, 1}, {"one_tap_hamming", 1, 1000, 100, -1, 2, 1, 1},
    {"bandpass_f2_zero", 3, 1000, 100, 0, 0, 21, 0}, {"f1_zero", 1, 1000, 0, 300, 0, 21, 0},
    {"fs_zero", 1, 0, 100, 300, 0, 21, 0}, {"length_negative", 1, 1000, 100, 300, 0, -3, 0},
    {"length_too_long", 1, 1000, 100, 300, 0, rzf::kMaxFirTaps + 1, 0}};
// One row per refusal of the Kaiser designs; a transition below 0 takes the four-edge overload.
struct KaiserCase {
    const char* name; int band; float f1, f2; double transition; float f3 = 0, f4 = 0, fs = 1000;
    int atten = 60;
};
const KaiserCase kKaiserCases[] = {
    {"transition_zero", 1, 100, 0, 0.0}, {"transition_nan", 1, 100, 0, std::nan("")},
    {"transition_tiny", 1, 100, 0, 1e-300}, {"atten_int_max", 1, 100, 0, 0.1, 0, 0, 1000, INT_MAX},
    {"fs_zero", 1, 100, 0, 0.1, 0, 0, 0}, {"fs_inf", 1, 100, 0, 0.1, 0, 0, HUGE_VALF},
    {"edge_nan", 1, NAN, 0, 0.1}, {"band_0", 0, 100, 0, 0.1}, {"band_5", 5, 100, 300, 0.1},
    {"four_edge_band_0", 0, 100, 150, -1}, {"lowpass_unordered", 1, 150, 100, -1},
    {"highpass_unordered", 2, 100, 150, -1}, {"bandpass_low_unordered", 3, 150, 200, -1, 400, 300},
    {"bandpass_high_unordered", 3, 200, 150, -1, 300, 400},
    {"bandstop_low_unordered", 4, 150, 100, -1, 300, 400},
    {"bandstop_high_unordered", 4, 100, 150, -1, 400, 300}};
// One row per check of CFilter::FilterData on an engine with a gain of 2 (load 1), reloaded without
// taps (2) or feed-forward (3), or never loaded (0): unprepared, it refuses buffers and passes
// samples through; an empty block is done whatever the buffer; a null buffer or an index before
// the start is refused; the buffer stays unchanged. A negative delay count is taken as 0.
struct EngineCall { const char* name; int load, count, stride, offset; bool nullData, accepted; };
const EngineCall kEngineCalls[] = {
    {"not_loaded", 0, 1, 1, 0, 0, 0}, {"fir_without_taps", 2, 1, 1, 0, 0, 0},
    {"iir_without_feed_forward", 3, 1, 1, 0, 0, 0}, {"count_zero", 1, 0, 1, 0, 0, 1},
    {"count_negative_null", 1, -3, 1, 0, 1, 1}, {"null_data", 1, 4, 1, 0, 1, 0},
    {"offset_negative", 1, 2, 1, -1, 0, 0}, {"backwards_past_start", 1, 3, -2, 2, 0, 0}};
// clang-format on

class WindowLength : public ::testing::TestWithParam<WindowLengthCase> {};

TEST_P(WindowLength, DesignedLengthOrRefusal) {
    const WindowLengthCase& c = GetParam();
    WindowsFilter f;
    ASSERT_EQ(Design(f, c.band, c.fs, c.f1, c.f2, c.window, c.length), c.taps > 0 ? 0 : -1);
    EXPECT_EQ(f.m_nLength, std::max(c.taps, 1));
    EXPECT_EQ(f.m_pCoef != nullptr, c.taps > 0);
    if (c.taps == 1) {
        EXPECT_TRUE(SameValue(f.m_pCoef[0], c.window == 1 ? 0.2 : NAN)) << f.m_pCoef[0];
    } else if (c.band == 5) {
        EXPECT_EQ(std::count(f.m_pCoef, f.m_pCoef + c.taps, 0.0), c.taps);
    }
}

INSTANTIATE_TEST_SUITE_P(BadInput, WindowLength, ::testing::ValuesIn(kWindowLengthCases), kRowName);

class KaiserDesignBadInput : public ::testing::TestWithParam<KaiserCase> {};

TEST_P(KaiserDesignBadInput, Refused) {
    const KaiserCase& c = GetParam();
    EXPECT_EQ(Kaiser(c.band, c.f1, c.f2, c.transition, c.f3, c.f4, c.fs, c.atten).size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(BadInput, KaiserDesignBadInput, ::testing::ValuesIn(kKaiserCases),
                         kRowName);

class EngineBadCall : public ::testing::TestWithParam<EngineCall> {};

TEST_P(EngineBadCall, LeavesTheBufferUnchanged) {
    const EngineCall& c = GetParam();
    CFilter f;
    double gain = 32768.0;
    if (c.load > 0)
        f.SetFIRCoief(1, &gain);
    if (c.load > 1)
        c.load == 2 ? f.SetFIRCoief(0, &gain) : f.SetIIRCoief(2, &gain, nullptr);
    std::vector<float> data = {1, 2, 3, 4};
    EXPECT_EQ(f.FilterData(c.nullData ? nullptr : data.data(), c.count, c.stride, c.offset),
              c.accepted);
    EXPECT_EQ(data, (std::vector<float>{1, 2, 3, 4}));
    EXPECT_EQ(f.IsPrePare(), c.load == 1);
    EXPECT_EQ(f.FilterFIRData(3.5f), c.load == 1 ? 7.0f : 3.5f);
    EXPECT_EQ(f.FilterIIRData(3.5f), 3.5f);
    f.SetDelCount(c.count);
    EXPECT_EQ(f.GetDelCount(), std::max(c.count, 0));
}

INSTANTIATE_TEST_SUITE_P(BadInput, EngineBadCall, ::testing::ValuesIn(kEngineCalls), kRowName);
