// CFilter's block operations (gathered blocks through the kernels) against the
// engine's arithmetic written out as a plain one-sample-at-a-time loop: every
// buffer bit, the state, the last output and the working index, at every
// instruction-set level, for each sample type, stride and random split.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <RZFilterFunc/fir/CFilter.h>

#include "IsaLevels.h"
#include "SampleData.h"

using rzf::platform::IsaLevel;
using rzf::test::SameBits;

namespace {

std::int32_t Trunc32(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) {
        return INT32_MIN;
    }
    return static_cast<std::int32_t>(v);
}

short Low16(std::int32_t v) {
    const std::uint16_t bits = static_cast<std::uint16_t>(static_cast<std::uint32_t>(v));
    short out;
    std::memcpy(&out, &bits, sizeof out);
    return out;
}

float In(float v) {
    return v;
}
float In(short v) {
    return static_cast<float>(v);
}
float In(int v) {
    return static_cast<float>(v);
}
void Out(float& s, float y) {
    s = y;
}
void Out(short& s, float y) {
    s = Low16(Trunc32(y));
}
void Out(int& s, float y) {
    s = Trunc32(y);
}

// The engine's step as a plain loop: a shifting delay line for FIR (taps
// reversed, scaled back by 2^-14), transposed direct form II for IIR.
struct ReferenceEngine {
    bool iir = false;
    std::vector<double> a, b, state;
    double last = 0.0;
    int index = 0;

    float Step(float x) {
        const int n = static_cast<int>(a.size());
        if (!iir) {
            for (int i = n - 1; i >= 1; --i) {
                state[i] = state[i - 1];
            }
            state[0] = static_cast<double>(x);
            double acc = 0.0;
            for (int i = 0; i < n; ++i) {
                acc += a[n - 1 - i] * state[i];
            }
            index = n;
            last = acc;
            return static_cast<float>(acc * 6.103515625e-5);
        }
        const double xd = static_cast<double>(x);
        if (n == 1) {
            last = xd * b[0];
            return static_cast<float>(last);
        }
        const double y = xd * b[0] + state[0];
        last = y;
        for (int i = 1; i <= n - 2; ++i) {
            state[i - 1] = xd * b[i] + state[i] - a[i] * y;
        }
        state[n - 2] = xd * b[n - 1] - a[n - 1] * y;
        index = n - 1;
        return static_cast<float>(y);
    }

    template <typename T>
    void Run(T* data, int count, int stride, int offset) {
        std::int64_t at = offset;
        for (int i = 0; i < count; ++i, at += stride) {
            T& s = data[at];
            Out(s, Step(In(s)));
        }
    }
};

template <typename T>
std::vector<T> Samples(std::mt19937& rng, int n);

template <>
std::vector<float> Samples<float>(std::mt19937& rng, int n) {
    return rzf::test::RandomFloats(rng, n, 3e4f, true);
}

template <>
std::vector<short> Samples<short>(std::mt19937& rng, int n) {
    std::uniform_int_distribution<int> v(SHRT_MIN, SHRT_MAX), pick(0, 15);
    const short extremes[] = {SHRT_MIN, SHRT_MAX, -1, 0, 1, SHRT_MIN + 1};
    std::vector<short> x(static_cast<std::size_t>(n));
    for (short& s : x) {
        s = pick(rng) == 0 ? extremes[v(rng) & 3] : static_cast<short>(v(rng));
    }
    return x;
}

template <>
std::vector<int> Samples<int>(std::mt19937& rng, int n) {
    std::uniform_int_distribution<int> v(INT_MIN, INT_MAX), pick(0, 15);
    const int extremes[] = {INT_MIN, INT_MAX, 16777217, -16777217, 0, -1, 2000000000, 7};
    std::vector<int> x(static_cast<std::size_t>(n));
    for (int& s : x) {
        s = pick(rng) == 0 ? extremes[v(rng) & 7] : v(rng) >> (v(rng) & 15);
    }
    return x;
}

struct Layout {
    int stride;
    int offset;  // of sample 0; the others follow at stride
};

template <typename T>
void CompareStreams(std::mt19937& rng, CFilter& engine, ReferenceEngine& reference, int count,
                    const std::string& what) {
    for (Layout layout :
         {Layout{1, 0}, Layout{2, 1}, Layout{3, 2}, Layout{-1, 0}, Layout{-4, 3}, Layout{0, 5}}) {
        const int span = layout.stride == 0 ? 1 : (count - 1) * std::abs(layout.stride) + 1;
        const int first = layout.stride < 0 ? span - 1 + layout.offset : layout.offset;
        const std::vector<T> buffer = Samples<T>(rng, span + layout.offset + 3);
        std::vector<T> got = buffer, expected = buffer;
        int pos = 0;
        for (int n : rzf::test::RandomSplit(rng, count)) {
            const int offset = first + pos * layout.stride;
            reference.Run(expected.data(), n, layout.stride, offset);
            ASSERT_TRUE(engine.FilterData(got.data(), n, layout.stride, offset));
            ASSERT_TRUE(SameBits(engine.m_pState, reference.state.data(),
                                 static_cast<int>(reference.state.size())))
                << what << " stride " << layout.stride << " at " << pos;
            pos += n;
        }
        EXPECT_TRUE(SameBits(got, expected)) << what << " stride " << layout.stride;
        EXPECT_TRUE(SameBits(&engine.m_dLastOutput, &reference.last, 1)) << what;
        EXPECT_EQ(engine.m_nIndex, reference.index) << what;
    }
}

template <typename T>
void CompareEveryLevel(const char* type) {
    std::mt19937 rng(404);
    for (IsaLevel level : rzf::test::AvailableIsaLevels()) {
        rzf::test::ScopedIsaLevel scoped(level);
        const std::string at = std::string(rzf::platform::IsaName(level)) + " " + type;
        for (int taps : {1, 2, 3, 7, 16, 51, 75, 76, 257, 601}) {
            ReferenceEngine reference;
            reference.a = rzf::test::RandomDoubles(rng, taps, 16384.0 / taps * 2.0);
            if (taps == 3) {
                reference.a[1] = 1e12;  // results far outside the integer ranges
            }
            reference.state.assign(static_cast<std::size_t>(taps), 0.0);
            CFilter engine;
            engine.SetFIRCoief(taps, reference.a.data());
            CompareStreams<T>(rng, engine, reference, 2500, at + " FIR " + std::to_string(taps));
        }
        for (int n : {1, 2, 3, 4, 5, 9, 13, 17, 25, 31, 33, 34, 40}) {
            ReferenceEngine reference;
            reference.iir = true;
            reference.a = rzf::test::RandomDoubles(rng, n, 0.3 / n);
            reference.b = rzf::test::RandomDoubles(rng, n, 1.0);
            reference.state.assign(static_cast<std::size_t>(n), 0.0);
            CFilter engine;
            engine.SetIIRCoief(n, reference.a.data(), reference.b.data());
            CompareStreams<T>(rng, engine, reference, 2500, at + " IIR " + std::to_string(n));
        }
    }
}

}  // namespace

TEST(CFilterBlocks, FloatSamplesMatchThePlainLoopBitForBit) {
    CompareEveryLevel<float>("float");
}

TEST(CFilterBlocks, ShortSamplesMatchThePlainLoopBitForBit) {
    CompareEveryLevel<short>("short");
}

TEST(CFilterBlocks, IntSamplesMatchThePlainLoopBitForBit) {
    CompareEveryLevel<int>("int");
}
