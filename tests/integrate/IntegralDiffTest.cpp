#include <gtest/gtest.h>

#include <RZFilterFunc/integrate/CIntegralDiff.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "RZFilterFunc/integrate/IntegralSample.h"

namespace {

template <typename T>
std::vector<char> Pack(const std::vector<T>& v) {
    std::vector<char> bytes(v.size() * sizeof(T));
    std::memcpy(bytes.data(), v.data(), bytes.size());
    return bytes;
}

template <typename T>
std::vector<T> Unpack(const std::vector<char>& bytes) {
    std::vector<T> v(bytes.size() / sizeof(T));
    std::memcpy(v.data(), bytes.data(), v.size() * sizeof(T));
    return v;
}

// Integrates one single-channel block of floats at the given rate.
std::vector<float> IntegrateFloats(CIntegralDiff& d, const std::vector<float>& in) {
    std::vector<char> bytes = Pack(in);
    d.ContinueIntegral(static_cast<int>(in.size()), bytes.data());
    return Unpack<float>(bytes);
}

}  // namespace

TEST(IntegralDiff, WorkedExamplesPerSampleType) {
    CIntegralDiff d32;
    d32.InitDiff(0, 1, {0}, 100.0, 2, 4);
    std::vector<char> ints = Pack(std::vector<std::int32_t>{10, 10, 10});
    d32.ContinueIntegral(3, ints.data());
    EXPECT_EQ(Unpack<std::int32_t>(ints), (std::vector<std::int32_t>{0, 0, 0}));

    CIntegralDiff df;
    df.InitDiff(0, 1, {0}, 100.0, 1, 4);
    EXPECT_EQ(IntegrateFloats(df, {10, 10, 10}), (std::vector<float>{0.0f, 0.1f, 0.2f}));

    // Constant 2.0 at 1 Hz: each step adds (2 + 2) / 2 = 2, across calls.
    CIntegralDiff dc;
    dc.InitDiff(0, 1, {0}, 1.0, 1, 4);
    EXPECT_EQ(IntegrateFloats(dc, {2, 2, 2}), (std::vector<float>{0, 2, 4}));
    EXPECT_EQ(IntegrateFloats(dc, {2, 2, 2}), (std::vector<float>{6, 8, 10}));
}

TEST(IntegralDiff, RampIsIntegratedExactlyAndSineWithinTrapezoidBound) {
    // x_i = i at rate 1: the integral of the line through the samples is i^2/2,
    // which the trapezoid rule reproduces exactly.
    std::vector<float> ramp(200);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<float>(i);
    CIntegralDiff d;
    d.InitDiff(0, 1, {0}, 1.0, 1, 4);
    const std::vector<float> r = IntegrateFloats(d, ramp);
    for (size_t i = 0; i < r.size(); ++i)
        EXPECT_EQ(r[i], 0.5f * i * i) << i;

    // sin(2 pi f t) integrates to (1 - cos(2 pi f t)) / (2 pi f); the composite
    // trapezoid error is at most t h^2 max|x''| / 12 = t h^2 (2 pi f)^2 / 12.
    const double fs = 1000.0, f = 7.0, w = 2.0 * M_PI * f, h = 1.0 / fs;
    std::vector<float> sine(2000);
    for (size_t i = 0; i < sine.size(); ++i)
        sine[i] = static_cast<float>(std::sin(w * i * h));
    d.InitDiff(0, 1, {0}, fs, 1, 4);
    const std::vector<float> s = IntegrateFloats(d, sine);
    for (size_t i = 0; i < s.size(); ++i) {
        const double t = i * h;
        const double bound = t * h * h * w * w / 12.0 + 1e-6;  // plus float rounding
        EXPECT_NEAR(s[i], (1.0 - std::cos(w * t)) / w, bound) << i;
    }
}

TEST(IntegralDiff, IntegersWrapInsteadOfSaturating) {
    // 16-bit constant 30000 at 1 Hz: sums 0, 30000, 60000, 90000 keep running
    // in double; only the stored low 16 bits wrap.
    CIntegralDiff d;
    d.InitDiff(0, 1, {0}, 1.0, 0, 2);
    std::vector<char> b = Pack(std::vector<std::int16_t>{30000, 30000, 30000, 30000});
    d.ContinueIntegral(4, b.data());
    EXPECT_EQ(Unpack<std::int16_t>(b),
              (std::vector<std::int16_t>{0, 30000, -5536, -41072 + 65536}));
    b = Pack(std::vector<std::int16_t>{30000});
    d.ContinueIntegral(1, b.data());  // 120000 - 131072
    EXPECT_EQ(Unpack<std::int16_t>(b)[0], -11072);

    // 32-bit: 2^30 at 1 Hz adds 2^30 per step; 2^31 and 3 * 2^30 keep their
    // low 32 bits rather than saturating.
    d.InitDiff(0, 1, {0}, 1.0, 2, 4);
    const std::int32_t q = 1 << 30;
    b = Pack(std::vector<std::int32_t>{q, q, q, q});
    d.ContinueIntegral(4, b.data());
    EXPECT_EQ(Unpack<std::int32_t>(b), (std::vector<std::int32_t>{0, q, INT32_MIN, -q}));

    EXPECT_EQ(rzf::TruncLow32(4294967296.0 + 5.9), 5);
    EXPECT_EQ(rzf::TruncLow32(-7.9), -7);
    EXPECT_EQ(rzf::TruncLow32(-2147483649.0), 2147483647);
    EXPECT_EQ(rzf::TruncLow16(-40000.5), 25536);
    EXPECT_EQ(rzf::TruncLow32(std::nan("")), 0);
    EXPECT_EQ(rzf::TruncLow32(1e300), 0);
    EXPECT_EQ(rzf::TruncLow16(-std::numeric_limits<double>::infinity()), 0);
    EXPECT_EQ(rzf::RoundToFloat(340282356779733661637539395458142568448.0),
              std::numeric_limits<float>::infinity());
    EXPECT_EQ(rzf::RoundToFloat(std::nextafter(340282356779733661637539395458142568448.0, 0.0)),
              std::numeric_limits<float>::max());
    EXPECT_EQ(rzf::RoundToFloat(-1e300), -std::numeric_limits<float>::infinity());
}

TEST(IntegralDiff, FrameLayoutTouchesOnlyTheSelectedChannel) {
    // Stride 4 with channel numbers 1..4: channel 3 is the third sample of
    // every frame. Everything else, including a guard frame, stays.
    std::vector<std::int16_t> in(4 * 4);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = static_cast<std::int16_t>(100 + i);
    std::vector<std::int16_t> want = in;
    // Channel 3 holds 102, 106, 110 at rate 0.5 (divisor 1): 0, 208, 424.
    want[2] = 0;
    want[6] = 208;
    want[10] = 424;
    std::vector<char> b = Pack(in);
    CIntegralDiff d;
    d.InitDiff(1, 4, {3}, 0.5, 0, 2);
    d.ContinueIntegral(3, b.data());
    EXPECT_EQ(Unpack<std::int16_t>(b), want);
}

TEST(IntegralDiff, DuplicatedChannelIsIntegratedTwiceWithOneRecord) {
    CIntegralDiff d;
    d.InitDiff(0, 1, {0, 0}, 1.0, 1, 4);
    EXPECT_EQ(d.m_mapState.size(), 1u);
    // First pass 1,1,1 -> 0,1,2; second pass integrates that -> 0,0.5,2.
    EXPECT_EQ(IntegrateFloats(d, {1, 1, 1}), (std::vector<float>{0, 0.5f, 2}));
    // Record after the call: sum 2, previous 2. Input 1: first pass 2 + 1.5 =
    // 3.5 (previous 1), second pass 3.5 + (3.5 + 1) / 2 = 5.75.
    EXPECT_EQ(IntegrateFloats(d, {1}), (std::vector<float>{5.75f}));
}

TEST(IntegralDiff, EmptyCallsKeepTheFreshStart) {
    CIntegralDiff d;
    d.InitDiff(0, 1, {0}, 1.0, 1, 4);
    std::vector<char> b = Pack(std::vector<float>{5});
    d.ContinueIntegral(0, b.data());
    d.ContinueIntegral(-3, b.data());
    d.ContinueIntegral(1, nullptr);
    EXPECT_TRUE(d.m_bFirst);
    EXPECT_EQ(IntegrateFloats(d, {4, 4}), (std::vector<float>{0, 4}));
}

TEST(IntegralDiff, BlocksOfAnySizeMatchOneBlock) {
    std::mt19937 rng(7);
    std::uniform_int_distribution<std::int32_t> value(-100000, 100000);
    const int stride = 3, frames = 500;
    std::vector<std::int32_t> data(stride * frames);
    for (auto& v : data)
        v = value(rng);

    CIntegralDiff whole, pieces;
    whole.InitDiff(5, stride, {5, 7}, 250.0, 2, 4);
    pieces.InitDiff(5, stride, {5, 7}, 250.0, 2, 4);
    std::vector<char> a = Pack(data), b = Pack(data);
    whole.ContinueIntegral(frames, a.data());
    for (int at = 0; at < frames;) {
        const int n = std::min(frames - at, std::uniform_int_distribution<int>(1, 40)(rng));
        pieces.ContinueIntegral(n, b.data() + at * stride * 4);
        at += n;
    }
    EXPECT_EQ(a, b);
}

TEST(IntegralDiff, CopiesShareRecordsSafely) {
    CIntegralDiff a;
    a.InitDiff(0, 1, {0}, 1.0, 1, 4);
    IntegrateFloats(a, {2, 2});  // sum 2, previous 2
    {
        CIntegralDiff b(a);
        EXPECT_EQ(IntegrateFloats(b, {2}), (std::vector<float>{4}));
        CIntegralDiff c;
        c = b;
        EXPECT_EQ(IntegrateFloats(c, {2}), (std::vector<float>{6}));
    }  // the copies go first; a's record must survive them
    EXPECT_EQ(IntegrateFloats(a, {2}), (std::vector<float>{8}));

    CIntegralDiff keep(a);
    a.InitDiff(0, 1, {0}, 1.0, 1, 4);  // a starts afresh; keep holds the old record
    EXPECT_EQ(IntegrateFloats(keep, {2}), (std::vector<float>{10}));
    EXPECT_EQ(IntegrateFloats(a, {2, 2}), (std::vector<float>{0, 2}));
}

TEST(IntegralDiff, BadLayoutsWriteNothing) {
    struct Case {
        int first, stride, chn, type, bytes;
    } cases[] = {
        {0, 0, 0, 0, 2},   // no frame
        {0, -2, 0, 0, 2},  // negative frame
        {0, 2, 0, 0, 0},   // no sample size
        {0, 2, 0, 0, -2},  // negative sample size
        {2, 2, 1, 0, 2},   // channel before the frame
        {0, 2, 2, 0, 2},   // channel after the frame
        {0, 2, 1, 2, 2},   // 4-byte sample in the frame's last 2-byte slot
        {0, 2, 0, 7, 2},   // unknown type
        {0, 2, 9, 0, 2},   // channel without a record
    };
    for (const Case& c : cases) {
        std::vector<char> buf(64);
        for (size_t i = 0; i < buf.size(); ++i)
            buf[i] = static_cast<char>(i * 7 + 1);
        const std::vector<char> before = buf;
        CIntegralDiff d;
        d.InitDiff(c.first, c.stride, {c.chn}, 10.0, c.type, c.bytes);
        if (c.chn == 9)
            d.m_vecChannels = {4};
        d.ContinueIntegral(4, buf.data());
        EXPECT_EQ(buf, before) << c.first << ' ' << c.stride << ' ' << c.chn << ' ' << c.type;
        EXPECT_FALSE(d.m_bFirst);
    }
}
