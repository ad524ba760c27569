#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

#include "DecimateTestSupport.h"
#include "RZFilterFunc/decimate/DecimSamples.h"

using decimtest::FloatAt;
using decimtest::FloatsToBytes;
using decimtest::ReferenceDecimate;

namespace {

const int kRatios[] = {2, 5, 10, 20, 50, 100, 200, 500, 1000};

// Feeds interleaved float frames in calls of the given sizes (cycled) and
// collects everything the decimator writes back.
std::vector<float> Feed(CFirFunc& fir, const std::vector<float>& interleaved,
                        const std::vector<int>& cuts, std::vector<int>* delCounts = nullptr) {
    std::vector<float> out;
    std::size_t pos = 0;
    std::size_t c = 0;
    while (pos < interleaved.size()) {
        const std::size_t n =
            std::min<std::size_t>(cuts[c++ % cuts.size()], interleaved.size() - pos);
        std::vector<float> chunk(interleaved.begin() + pos, interleaved.begin() + pos + n);
        std::vector<char> bytes = FloatsToBytes(chunk);
        // Room for one output frame even when the call is shorter.
        bytes.resize(std::max<std::size_t>(bytes.size(), fir.m_nChnCount * sizeof(float)));
        const int written = fir.InputDataAndDeal(bytes.data(), static_cast<int>(n));
        for (int i = 0; i < written; ++i) {
            out.push_back(FloatAt(bytes.data(), i));
        }
        if (delCounts != nullptr) {
            delCounts->push_back(fir.GetDelChnCount());
        }
        pos += n;
    }
    return out;
}

std::vector<float> Channel(const std::vector<float>& interleaved, int chn, int ch) {
    std::vector<float> v;
    for (std::size_t i = ch; i < interleaved.size(); i += chn) {
        v.push_back(interleaved[i]);
    }
    return v;
}

}  // namespace

TEST(CFirFuncSetup, AcceptedRatiosAndStartUpSpans) {
    for (int r : {2, 5, 10, 20, 50, 100, 200, 500, 1000}) {
        EXPECT_TRUE(CFirFunc::IsActiveRatio(r)) << r;
    }
    for (int r : {0, 1, 3, 4, 25, 999, 1001, -2, 2000}) {
        EXPECT_FALSE(CFirFunc::IsActiveRatio(r)) << r;
    }
    // Impulse-response length of each cascade in output samples, plus one.
    const int spans[] = {23, 23, 29, 26, 30, 26, 25, 25, 24};
    bool flags[1] = {true};
    for (int i = 0; i < 9; ++i) {
        for (bool del : {true, false}) {
            CFirFunc fir;
            ASSERT_TRUE(fir.Init(1, kRatios[i], 100, flags, 1, del));
            EXPECT_EQ(fir.GetDelChnCount(), spans[i]) << kRatios[i];
        }
    }
}

TEST(CFirFuncSetup, InnerBlockSizing) {
    bool flags[4] = {true, true, true, true};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(4, 10, 1000, flags, 0, true));
    EXPECT_EQ(fir.m_nBlockOut, 25);
    EXPECT_EQ(fir.m_nBlockIn, 250);
    ASSERT_TRUE(fir.Init(4, 10, 2, flags, 0, true));
    EXPECT_EQ(fir.m_nBlockOut, 1);
    EXPECT_EQ(fir.m_nBlockIn, 10);
    ASSERT_TRUE(fir.Init(3, 100, 1000, flags, 0, true));
    EXPECT_EQ(fir.m_nBlockOut, 4);
    EXPECT_EQ(fir.m_nBlockIn, 400);
    EXPECT_EQ(fir.m_nPending, 0);
    EXPECT_EQ(fir.m_nChnCount, 3);
    EXPECT_EQ(fir.m_nRatio, 100);
    EXPECT_EQ(fir.m_pOutput, nullptr);
    EXPECT_EQ(fir.m_nOutCapacity, 0);
}

TEST(CFirFuncSetup, RejectedConfigurations) {
    bool flags[2] = {true, true};
    std::vector<char> buf(400, 7);
    const std::vector<char> original = buf;

    CFirFunc fresh;  // never initialised
    EXPECT_EQ(fresh.InputDataAndDeal(buf.data(), 100), 0);

    CFirFunc fir;
    EXPECT_FALSE(fir.Init(2, 3, 100, flags, 0, true));
    EXPECT_EQ(fir.m_pRatioDesc, nullptr);
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 100), 0);
    EXPECT_FALSE(fir.Init(2, 0, 100, flags, 0, true));
    EXPECT_FALSE(fir.Init(2, -10, 100, flags, 0, true));
    EXPECT_FALSE(fir.Init(2, 10, 100, nullptr, 0, true));
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 100), 0);

    ASSERT_TRUE(fir.Init(2, 10, 100, flags, 0, true));
    EXPECT_FALSE(fir.Init(0, 20, 100, flags, 0, true));
    EXPECT_EQ(fir.m_nRatio, 10);  // zero channels leave the ratio alone
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 100), 0);

    // Unknown sample types are accepted by Init but every call returns 0.
    ASSERT_TRUE(fir.Init(2, 10, 100, flags, 4, true));
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 100), 0);
    ASSERT_TRUE(fir.Init(2, 10, 100, flags, -1, true));
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 100), 0);

    ASSERT_TRUE(fir.Init(2, 10, 100, flags, 0, false));
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 0), 0);
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), -20), 0);
    EXPECT_EQ(fir.InputDataAndDeal(nullptr, 20), 0);
    EXPECT_EQ(fir.m_nPending, 0);  // nothing carried from the refused calls
    EXPECT_EQ(buf, original);
}

TEST(CFirFuncStream, CarriesSamplesUntilAFrameIsComplete) {
    bool flags[2] = {true, true};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(2, 10, 100, flags, 1, false));
    std::vector<float> x(20);
    for (int i = 0; i < 20; ++i) {
        x[i] = static_cast<float>(i + 1);
    }
    std::vector<char> first = FloatsToBytes(std::vector<float>(x.begin(), x.begin() + 19));
    EXPECT_EQ(fir.InputDataAndDeal(first.data(), 19), 0);
    EXPECT_EQ(fir.m_nPending, 19);
    // One new sample completes a frame whose output is a whole frame: the
    // buffer needs room for one frame even though the call brings less.
    std::vector<char> last = FloatsToBytes({x[19], -1.0f});
    ASSERT_EQ(fir.InputDataAndDeal(last.data(), 1), 2);
    EXPECT_EQ(fir.m_nPending, 0);
    // The single output frame is the first output of each channel's cascade.
    for (int ch = 0; ch < 2; ++ch) {
        EXPECT_EQ(FloatAt(last.data(), ch), ReferenceDecimate(10, Channel(x, 2, ch))[0]);
    }
}

TEST(CFirFuncStream, MatchesWholeSignalReferenceWhateverTheCallSizes) {
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> val(-1000.0f, 1000.0f);
    const int spans[] = {23, 23, 29, 26, 30, 26, 25, 25, 24};
    for (int r = 0; r < 9; ++r) {
        const int ratio = kRatios[r];
        const int chn = 3;
        const int frames = ratio * 60 + 7;
        std::vector<float> x(static_cast<std::size_t>(frames) * chn);
        for (float& v : x) {
            v = val(rng);
        }
        std::vector<std::vector<float>> ref;
        for (int ch = 0; ch < chn; ++ch) {
            ref.push_back(ReferenceDecimate(ratio, Channel(x, chn, ch)));
        }
        // Every output kept, fixed call sizes that are neither multiples of
        // the channel count nor of the ratio, some shorter than one frame.
        bool flags[3] = {true, true, true};
        CFirFunc fir;
        ASSERT_TRUE(fir.Init(chn, ratio, 5 * chn * ratio, flags, 1, false));
        std::vector<int> cuts = {1, 2 * ratio + 1, 7, 3 * chn * ratio + 5, 13 * ratio - 1};
        const std::vector<float> out = Feed(fir, x, cuts);
        ASSERT_EQ(out.size(), static_cast<std::size_t>(frames / ratio) * chn) << ratio;
        for (int ch = 0; ch < chn; ++ch) {
            ASSERT_EQ(Channel(out, chn, ch), ref[ch]) << "ratio " << ratio << " ch " << ch;
        }

        // Start-up span dropped, random call sizes, a pass-through channel in
        // the middle (its samples follow the inner blocks, which the call
        // sizes move, so only the filtered channels are compared).
        std::uniform_int_distribution<int> cut(1, 3 * ratio * chn);
        std::vector<int> randomCuts(40);
        for (int& c : randomCuts) {
            c = cut(rng);
        }
        bool mixed[3] = {true, false, true};
        CFirFunc drop;
        ASSERT_TRUE(drop.Init(chn, ratio, 1000, mixed, 1, true));
        std::vector<int> dels;
        const std::vector<float> got = Feed(drop, x, randomCuts, &dels);
        ASSERT_EQ(got.size(), out.size() - static_cast<std::size_t>(spans[r]) * chn) << ratio;
        for (int ch : {0, 2}) {
            EXPECT_TRUE(std::equal(ref[ch].begin() + spans[r], ref[ch].end(),
                                   Channel(got, chn, ch).begin()))
                << ratio;
        }
        for (std::size_t i = 1; i < dels.size(); ++i) {
            EXPECT_LE(dels[i], dels[i - 1]);
        }
        EXPECT_EQ(dels.back(), 0);
    }
}

TEST(CFirFuncStream, StartUpSpanIsDroppedAndCountsDown) {
    std::vector<float> x(2 * 400);
    for (std::size_t i = 0; i < x.size(); ++i) {
        x[i] = static_cast<float>(std::sin(0.05 * static_cast<double>(i)));
    }
    bool flags[1] = {true};
    CFirFunc keep;
    ASSERT_TRUE(keep.Init(1, 2, 64, flags, 1, false));
    const std::vector<float> all = Feed(keep, x, {static_cast<int>(x.size())});
    EXPECT_EQ(keep.GetDelChnCount(), 23);  // never updated without discarding

    CFirFunc drop;
    ASSERT_TRUE(drop.Init(1, 2, 64, flags, 1, true));
    std::vector<int> dels;
    const std::vector<float> got = Feed(drop, x, {10, 10, 10, 10, 10, 100}, &dels);
    ASSERT_EQ(got.size() + 23, all.size());
    EXPECT_TRUE(std::equal(got.begin(), got.end(), all.begin() + 23));
    EXPECT_EQ(dels[0], 18);  // 5 frames out of 10 samples, all discarded
    EXPECT_EQ(dels[3], 3);
    EXPECT_EQ(dels[4], 0);
    EXPECT_EQ(dels.back(), 0);
}

TEST(CFirFuncStream, PassThroughChannelYieldsLeadingBlockSamples) {
    // Two channels, ratio 10, 200 block samples: inner blocks of 100 frames
    // giving 10 outputs each. The pass-through channel repeats the first ten
    // raw samples of each block.
    const int frames = 300;
    std::vector<float> x(frames * 2);
    for (int n = 0; n < frames; ++n) {
        x[2 * n] = 1.0f;
        x[2 * n + 1] = static_cast<float>(n);
    }
    bool flags[2] = {true, false};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(2, 10, 200, flags, 1, false));
    const std::vector<float> out = Feed(fir, x, {frames * 2});
    const std::vector<float> pass = Channel(out, 2, 1);
    std::vector<float> expect;
    for (int b = 0; b < 3; ++b) {
        for (int j = 0; j < 10; ++j) {
            expect.push_back(static_cast<float>(100 * b + j));
        }
    }
    EXPECT_EQ(pass, expect);

    // With the start-up span (29) discarded, only the last output of the third
    // block remains: raw sample 200 + 9.
    CFirFunc del;
    ASSERT_TRUE(del.Init(2, 10, 200, flags, 1, true));
    const std::vector<float> out2 = Feed(del, x, {frames * 2});
    ASSERT_EQ(out2.size(), 2u);
    EXPECT_EQ(out2[1], 209.0f);
    EXPECT_EQ(del.GetDelChnCount(), 0);
}

TEST(CFirFuncStream, ConstantInputSettlesToItsValue) {
    for (int ratio : kRatios) {
        const float v = 1000.0f;
        std::vector<float> x(static_cast<std::size_t>(ratio) * 40, v);
        bool flags[1] = {true};
        CFirFunc fir;
        ASSERT_TRUE(fir.Init(1, ratio, 4096, flags, 1, true));
        const std::vector<float> out = Feed(fir, x, {static_cast<int>(x.size())});
        ASSERT_GE(out.size(), 10u) << ratio;
        for (float y : out) {
            EXPECT_NEAR(y, v, 0.0003 * v) << ratio;
        }
    }
}

TEST(CFirFuncSamples, RawSampleCodes) {
    char b[3];
    const unsigned char ff[3] = {0xFF, 0xFF, 0xFF};
    const unsigned char min24[3] = {0x00, 0x00, 0x80};
    const unsigned char max24[3] = {0xFF, 0xFF, 0x7F};
    const unsigned char mixed[3] = {0x34, 0x12, 0xF0};  // 0xF01234
    std::memcpy(b, ff, 3);
    EXPECT_EQ(rzf::ReadDecimSample(b, 3), -1.0f);
    std::memcpy(b, min24, 3);
    EXPECT_EQ(rzf::ReadDecimSample(b, 3), -8388608.0f);
    std::memcpy(b, max24, 3);
    EXPECT_EQ(rzf::ReadDecimSample(b, 3), 8388607.0f);
    std::memcpy(b, mixed, 3);
    EXPECT_EQ(rzf::ReadDecimSample(b, 3), static_cast<float>(0xF01234 - 0x1000000));

    auto write24 = [](float v) {
        char p[3];
        rzf::WriteDecimSample(v, p, 3);
        return std::vector<unsigned char>(p, p + 3);
    };
    using Bytes = std::vector<unsigned char>;
    EXPECT_EQ(write24(9000000.0f), (Bytes{0xFF, 0xFF, 0x7F}));
    EXPECT_EQ(write24(-9000000.0f), (Bytes{0x01, 0x00, 0x80}));
    EXPECT_EQ(write24(-8388608.0f), (Bytes{0x01, 0x00, 0x80}));
    EXPECT_EQ(write24(-1.9f), (Bytes{0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(write24(1.9f), (Bytes{0x01, 0x00, 0x00}));
    EXPECT_EQ(write24(std::nanf("")), (Bytes{0x01, 0x00, 0x80}));
    EXPECT_EQ(write24(INFINITY), (Bytes{0xFF, 0xFF, 0x7F}));

    char s16[2];
    rzf::WriteDecimSample(40000.0f, s16, 0);
    std::int16_t v16;
    std::memcpy(&v16, s16, 2);
    EXPECT_EQ(v16, -25536);
    char s32[4];
    std::int32_t v32;
    for (float big : {3.0e9f, -3.0e9f, std::nanf("")}) {
        rzf::WriteDecimSample(big, s32, 2);
        std::memcpy(&v32, s32, 4);
        EXPECT_EQ(v32, INT32_MIN);
    }
    rzf::WriteDecimSample(-7.9f, s32, 2);
    std::memcpy(&v32, s32, 4);
    EXPECT_EQ(v32, -7);
}

TEST(CFirFuncSamples, TwentyFourBitStreamRoundTrip) {
    // A pass-through channel returns raw samples: the most negative code
    // reads as -8388608 and is written back clamped to -8388607.
    bool flags[2] = {true, false};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(2, 2, 8, flags, 3, false));
    const unsigned char frames[12] = {0x10, 0, 0, 0x00, 0x00, 0x80, 0x10, 0, 0, 0xFF, 0xFF, 0xFF};
    char buf[12];
    std::memcpy(buf, frames, 12);
    ASSERT_EQ(fir.InputDataAndDeal(buf, 4), 2);
    const unsigned char expect1[3] = {0x01, 0x00, 0x80};
    EXPECT_EQ(std::memcmp(buf + 3, expect1, 3), 0);

    // 16-bit: a filtered channel fed a constant settles on it.
    CFirFunc f16;
    bool one[1] = {true};
    ASSERT_TRUE(f16.Init(1, 5, 100, one, 0, true));
    std::vector<std::int16_t> in(500, -12000);
    std::vector<char> raw(in.size() * 2);
    std::memcpy(raw.data(), in.data(), raw.size());
    const int n = f16.InputDataAndDeal(raw.data(), 500);
    ASSERT_EQ(n, 100 - 23);
    for (int i = 0; i < n; ++i) {
        std::int16_t v;
        std::memcpy(&v, raw.data() + 2 * i, 2);
        EXPECT_NEAR(v, -12000, 4);
    }
}

TEST(CFirFuncCopy, CopiesShareStateAndOutliveEachOther) {
    std::vector<float> x(2 * 1000);
    for (std::size_t i = 0; i < x.size(); ++i) {
        x[i] = static_cast<float>(std::cos(0.01 * static_cast<double>(i)));
    }
    bool flags[2] = {true, true};
    CFirFunc ref;
    ASSERT_TRUE(ref.Init(2, 20, 200, flags, 1, true));
    const std::vector<float> whole = Feed(ref, x, {static_cast<int>(x.size())});

    auto a = std::make_unique<CFirFunc>();
    ASSERT_TRUE(a->Init(2, 20, 200, flags, 1, true));
    CFirFunc b(*a);
    EXPECT_EQ(b.m_pChnState, a->m_pChnState);
    EXPECT_EQ(b.m_pPending, a->m_pPending);
    std::vector<float> first(x.begin(), x.begin() + 999);
    std::vector<float> second(x.begin() + 999, x.end());
    std::vector<float> got = Feed(*a, first, {999});
    // The copy saw none of the scalar updates (member-wise copy), so the
    // assigned object continues the stream with the shared buffers.
    CFirFunc c;
    c = *a;
    a.reset();  // the shared buffers stay alive for the copies
    const std::vector<float> rest = Feed(c, second, {1001});
    got.insert(got.end(), rest.begin(), rest.end());
    EXPECT_EQ(got, whole);

    // Re-initialising one copy leaves the other's buffers intact.
    float* shared = b.m_pPending;
    c.Init(1, 2, 10, flags, 1, true);
    EXPECT_NE(c.m_pPending, shared);
    // b kept its own scalars from before any data: one frame, still inside
    // its start-up span.
    std::vector<char> bytes = FloatsToBytes(std::vector<float>(40, 1.0f));
    EXPECT_EQ(b.InputDataAndDeal(bytes.data(), 40), 0);
    EXPECT_EQ(b.GetDelChnCount(), 25);
}

TEST(CFirFuncSetup, FailedInitResetsStateButKeepsRatioAndSampleType) {
    bool flags[2] = {true, true};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(2, 10, 100, flags, 2, false));
    std::vector<char> buf(4 * 45, 0);
    EXPECT_EQ(fir.InputDataAndDeal(buf.data(), 45), 4);  // two frames, five carried
    ASSERT_EQ(fir.m_nPending, 5);
    ASSERT_NE(fir.m_pOutput, nullptr);

    EXPECT_FALSE(fir.Init(0, 20, 100, flags, 1, true));
    EXPECT_EQ(fir.m_pRatioDesc, nullptr);
    EXPECT_EQ(fir.m_pChnState, nullptr);
    EXPECT_EQ(fir.m_pPending, nullptr);
    EXPECT_EQ(fir.m_pOutput, nullptr);
    EXPECT_EQ(fir.m_nBlockIn, 0);
    EXPECT_EQ(fir.m_nBlockOut, 0);
    EXPECT_EQ(fir.m_nPending, 0);
    EXPECT_EQ(fir.m_nChnCount, 0);
    EXPECT_EQ(fir.m_nDelCount, 0);
    EXPECT_EQ(fir.m_nOutCapacity, 0);
    EXPECT_TRUE(fir.m_bDelStart);  // back to its default
    EXPECT_EQ(fir.m_nRatio, 10);
    EXPECT_EQ(fir.m_nSampleType, 2);
}

TEST(CFirFuncStream, CarriedSamplesKeepStreamOrder) {
    // Ratio 10, 2 channels: a frame needs 20 samples.
    bool flags[2] = {true, true};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(2, 10, 100, flags, 1, false));
    std::vector<float> x(40);
    for (int i = 0; i < 40; ++i) {
        x[i] = static_cast<float>(i + 1);
    }
    // Nothing consumed yet: the new samples are appended after the carried ones.
    std::vector<char> a = FloatsToBytes(std::vector<float>(x.begin(), x.begin() + 7));
    ASSERT_EQ(fir.InputDataAndDeal(a.data(), 7), 0);
    std::vector<char> b = FloatsToBytes(std::vector<float>(x.begin() + 7, x.begin() + 12));
    ASSERT_EQ(fir.InputDataAndDeal(b.data(), 5), 0);
    ASSERT_EQ(fir.m_nPending, 12);
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(fir.m_pPending[i], x[i]) << i;
    }
    // 12 carried + 25 new: one frame (stream samples 0..19) is consumed and the
    // last 17 new samples (stream 20..36) are kept.
    std::vector<char> c = FloatsToBytes(std::vector<float>(x.begin() + 12, x.begin() + 37));
    ASSERT_EQ(fir.InputDataAndDeal(c.data(), 25), 2);
    ASSERT_EQ(fir.m_nPending, 17);
    for (int i = 0; i < 17; ++i) {
        EXPECT_EQ(fir.m_pPending[i], x[20 + i]) << i;
    }
}

TEST(CFirFuncSamples, ThirtyTwoBitSamplesRoundToFloatOnTheWayIn) {
    // A pass-through channel returns its samples after the trip through
    // single precision: 16777217 rounds to 16777216, and 2147483647 rounds to
    // 2^31, which no longer fits and comes back as the most negative integer.
    bool flags[2] = {true, false};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(2, 2, 8, flags, 2, false));  // inner blocks of 4 frames
    const std::int32_t in[8] = {0, 16777217, 0, 2147483647, 0, -2147483647 - 1, 0, 5};
    char buf[sizeof in];
    std::memcpy(buf, in, sizeof in);
    ASSERT_EQ(fir.InputDataAndDeal(buf, 8), 4);
    std::int32_t out[4];
    std::memcpy(out, buf, sizeof out);
    // Leading two samples of the block on channel 1.
    EXPECT_EQ(out[1], 16777216);
    EXPECT_EQ(out[3], INT32_MIN);
}

TEST(CFirFuncSamples, FloatSamplesPassThroughBitForBit) {
    // Negative zero, a NaN with a payload (signalling) and the smallest
    // subnormal keep their exact bits on a pass-through channel.
    bool flags[2] = {true, false};
    CFirFunc fir;
    ASSERT_TRUE(fir.Init(2, 2, 12, flags, 1, false));  // inner blocks of 6 frames
    const std::uint32_t pass[6] = {0x80000000u, 0x7FA00001u, 0x00000001u, 0, 0, 0};
    std::uint32_t in[12] = {};
    for (int j = 0; j < 6; ++j) {
        in[2 * j + 1] = pass[j];
    }
    char buf[sizeof in];
    std::memcpy(buf, in, sizeof in);
    ASSERT_EQ(fir.InputDataAndDeal(buf, 12), 6);
    std::uint32_t out[6];
    std::memcpy(out, buf, sizeof out);
    for (int j = 0; j < 3; ++j) {
        EXPECT_EQ(out[2 * j + 1], pass[j]) << j;
    }
}
