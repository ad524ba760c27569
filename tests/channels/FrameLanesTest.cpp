// The frame filters run channels together in SIMD lanes. Every instruction-set
// level must give the bytes of the plain loop that filters one channel after
// another: de-interleave to float, FilterUser::FilterData (or the Bessel
// section), convert back. That loop is written out here as the reference.
#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>
#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "RZFilterFunc/base/SampleCodec.h"
#include "RZFilterFunc/channels/BesselTable.h"
#include "RZFilterFunc/platform/CpuFeatures.h"
#include "TraceCapture.h"

namespace {

using rzf::platform::IsaLevel;

// Runs the kernels of one level while it lives.
class IsaGuard {
public:
    explicit IsaGuard(IsaLevel level) : m_previous(rzf::platform::OverrideActiveIsa(level)) {}
    ~IsaGuard() { rzf::platform::OverrideActiveIsa(m_previous); }
    IsaGuard(const IsaGuard&) = delete;
    IsaGuard& operator=(const IsaGuard&) = delete;

private:
    IsaLevel m_previous;
};

std::vector<IsaLevel> Levels() {
    std::vector<IsaLevel> levels = {IsaLevel::Baseline};
    const int top = static_cast<int>(rzf::platform::DetectedIsa());
    for (IsaLevel l : {IsaLevel::Avx2, IsaLevel::Avx512}) {
        if (static_cast<int>(l) <= top) {
            levels.push_back(l);
        }
    }
    return levels;
}

int EffectiveType(int type, int width) {
    const int size = rzf::RawSampleSize(type);
    return size > 0 && size <= width ? type : -1;
}

// The plain per-channel loop over FilterUser objects designed as
// CChnsFilterFunc::DesignFilter designs its channels.
class DesignerReference {
public:
    DesignerReference(int channels, int width, float rate)
        : m_width(width), m_rate(rate), m_users(channels), m_enabled(channels, false) {
        for (auto& u : m_users) {
            u = std::make_unique<FilterUser>();
        }
    }

    void Design(int c, const CFilterParam& p) {
        FilterUser& u = *m_users[c];
        u.m_nDesignMethod = p.m_nDesignMethod;
        u.m_nOrder = p.m_nOrder;
        u.m_nFIRLength = p.m_nOrder;
        u.m_nBandType = p.m_nBandType;
        u.m_nWindowType = p.m_nWindowType;
        u.m_dFreq1 = p.m_dFreq1;
        u.m_dFreq3 = p.m_dFreq3;
        u.m_dFreq2 = p.m_dFreq2;
        u.m_dFreq4 = p.m_dFreq4;
        u.m_dPassRipple = p.m_dPassRipple;
        u.m_dStopAtten = p.m_dStopAtten;
        u.m_dReserved = p.m_dReserved;
        u.m_dSampleFreq = static_cast<double>(m_rate);
        u.m_bFirstInput = true;
        u.DesignFilter();
        m_enabled[c] = u.DesignFilter();
    }

    FilterUser& User(int c) { return *m_users[c]; }

    void Deal(char* data, int type, int frames) {
        const int channels = static_cast<int>(m_users.size());
        const int t = EffectiveType(type, m_width);
        std::vector<float> in(frames), out(frames);
        for (int c = 0; c < channels; ++c) {
            if (!m_enabled[c]) {
                continue;
            }
            for (int j = 0; j < frames; ++j) {
                in[j] = rzf::ReadRawSample(data + (j * channels + c) * m_width, t);
            }
            out = in;
            m_users[c]->FilterData(in.data(), out.data(), frames);
            for (int j = 0; j < frames; ++j) {
                rzf::WriteRawSample(out[j], data + (j * channels + c) * m_width, t);
            }
        }
    }

private:
    int m_width;
    float m_rate;
    std::vector<std::unique_ptr<FilterUser>> m_users;
    std::vector<bool> m_enabled;
};

// Samples that exercise the conversions: full-range and extreme integers,
// and for floats NaN, infinities, subnormals, signed zeros and huge values.
void FillRandom(std::vector<char>& buf, int type, int width, std::mt19937& rng, bool specials) {
    const int count = static_cast<int>(buf.size()) / width;
    std::uniform_int_distribution<int> pick(0, 999);
    for (int i = 0; i < count; ++i) {
        char* p = buf.data() + i * width;
        const int r = pick(rng);
        if (type == 0) {
            const std::int16_t extremes[] = {INT16_MIN, INT16_MAX, -1, 0};
            std::int16_t v = static_cast<std::int16_t>(rng());
            if (r < 20) {
                v = extremes[r % 4];
            }
            std::memcpy(p, &v, sizeof v);
        } else if (type == 2) {
            const std::int32_t extremes[] = {INT32_MIN, INT32_MAX, 16777217, -16777217};
            std::int32_t v = static_cast<std::int32_t>(rng());
            if (r < 20) {
                v = extremes[r % 4];
            } else if (r < 500) {
                v >>= 12;
            }
            std::memcpy(p, &v, sizeof v);
        } else {
            const float inf = std::numeric_limits<float>::infinity();
            const float extremes[] = {std::nanf(""), inf,   -inf,  1e-40f,
                                      -1e-42f,       -0.0f, 3e38f, -3e38f};
            float v = std::normal_distribution<float>(0.0f, 1000.0f)(rng);
            if (specials && r < 8) {
                v = extremes[r];
            } else if (r < 16) {
                v = extremes[3 + r % 5];  // no NaN or infinity
            }
            std::memcpy(p, &v, sizeof v);
        }
    }
}

// A random channel design: IIR of many orders (some beyond the lane kernels,
// some failing validation or design), window FIRs and moving averages of many lengths, or none.
bool RandomDesign(std::mt19937& rng, CFilterParam* p) {
    const int kind = static_cast<int>(rng() % 10);
    const double stop = 110.0 + static_cast<double>(rng() % 190);
    const double atten = 15.0 + static_cast<double>(rng() % 100);
    switch (kind) {
        case 0:
            return false;
        case 1: {  // band-pass designs double the order, past the lane kernels' reach
            const double edge = 110.0 + static_cast<double>(rng() % 80);
            *p = CFilterParam{static_cast<int>(rng() % 3),
                              0,
                              BAND_BANDPASS,
                              0,
                              0.0,
                              100,
                              200,
                              edge,
                              220,
                              1.0,
                              20.0 + static_cast<double>(rng() % 40),
                              0};
            return true;
        }
        case 2:
        case 3:
        case 4: {
            const int method = static_cast<int>(rng() % 3);
            const bool high = rng() % 4 == 0;
            *p = CFilterParam{method,
                              0,
                              high ? BAND_HIGHPASS : BAND_LOWPASS,
                              0,
                              0.0,
                              high ? stop : 100.0,
                              350,
                              high ? 100.0 : stop,
                              400,
                              1.0,
                              atten,
                              0};
            return true;
        }
        case 5:
        case 6:
        case 7:
            *p = CFilterParam{DM_WINDOW_FIR,
                              3 + static_cast<int>(rng() % 60),
                              BAND_LOWPASS,
                              static_cast<int>(rng() % 4),
                              0.0,
                              100,
                              300,
                              200,
                              400,
                              1,
                              40,
                              0};
            return true;
        default:
            *p = CFilterParam{DM_AVERAGE,   1 + static_cast<int>(rng() % 24),
                              BAND_LOWPASS, 0,
                              0.0,          100,
                              300,          200,
                              400,          1,
                              40,           0};
            return true;
    }
}

// Index of the first byte where got and want differ, or -1. Float samples
// (4-byte words from the start) that are NaN in both count as equal: which NaN
// an operation between two NaNs keeps depends on the operand order the
// compiler picks for a commutative addition, in the one-channel loop as well.
long FirstDifference(const std::vector<char>& got, const std::vector<char>& want, int type) {
    if (got.size() != want.size()) {
        return 0;
    }
    for (std::size_t i = 0; i < got.size(); ++i) {
        if (got[i] == want[i]) {
            continue;
        }
        const std::size_t word = i / 4 * 4;
        if (type == 1 && word + 4 <= got.size()) {
            float x, y;
            std::memcpy(&x, &got[word], 4);
            std::memcpy(&y, &want[word], 4);
            if (std::isnan(x) && std::isnan(y)) {
                continue;
            }
        }
        return static_cast<long>(i);
    }
    return -1;
}

struct StreamCase {
    int channels;
    int type;
    int width;
    unsigned seed;
};

// Streams random blocks through the filter and the reference; the whole
// buffer (disabled channels and trailing bytes included) must match byte for
// byte after every block. Midway the filter is replaced by a copy, one channel
// is redesigned and another restarts from zero history.
void CheckDesignerStream(const StreamCase& sc, std::set<int>* iirOrders) {
    std::mt19937 rng(sc.seed);
    const float rate = 1000.0f;
    auto filter = std::make_unique<CChnsFilterFunc>();
    ASSERT_TRUE(filter->Init(sc.channels, sc.width, rate));
    DesignerReference ref(sc.channels, sc.width, rate);
    std::vector<CFilterParam> params(sc.channels);
    for (int c = 0; c < sc.channels; ++c) {
        if (RandomDesign(rng, &params[c])) {
            ASSERT_TRUE(filter->DesignFilter(c, &params[c]));
            ref.Design(c, params[c]);
            if (filter->m_ppChannels[c]->m_bEnabled && params[c].m_nDesignMethod <= DM_CHEBYSHEV2)
                iirOrders->insert(ref.User(c).m_nIIROrder);
        }
    }
    const int frameBytes = sc.channels * sc.width;
    for (int block = 0; block < 14; ++block) {
        if (block == 7) {
            auto copy = std::make_unique<CChnsFilterFunc>(*filter);
            filter = std::move(copy);  // the original lets go; the copy carries on
            const int c = static_cast<int>(rng() % sc.channels);
            CFilterParam p;
            if (RandomDesign(rng, &p)) {
                ASSERT_TRUE(filter->DesignFilter(c, &p));
                ref.Design(c, p);
            }
            const int d = static_cast<int>(rng() % sc.channels);
            filter->m_ppChannels[d]->m_pFilterUser->setFirstInputState(true);
            ref.User(d).setFirstInputState(true);
        }
        const int frames = 1 + static_cast<int>(rng() % 300);
        const int extra = static_cast<int>(rng() % frameBytes);  // a trailing partial frame
        std::vector<char> a(static_cast<std::size_t>(frames * frameBytes + extra));
        for (char& byte : a) {
            byte = static_cast<char>(rng());
        }
        std::vector<char> samples(static_cast<std::size_t>(frames * frameBytes));
        FillRandom(samples, sc.type, sc.width, rng, sc.seed % 2 == 0 && block > 10);
        std::copy(samples.begin(), samples.end(), a.begin());
        std::vector<char> b = a;
        // Now and then a block of an unknown code: zeros filtered, nothing written.
        const int type = block == 3 ? 3 : sc.type;
        ASSERT_EQ(filter->InputDataAndDeal(a.data(), type, static_cast<int>(a.size())), frames);
        ref.Deal(b.data(), type, frames);
        ASSERT_EQ(FirstDifference(a, b, type), -1)
            << "block " << block << " channels " << sc.channels << " type " << sc.type << " width "
            << sc.width;
    }
}

TEST(FrameLanes, DesignerChannelsMatchThePerChannelLoopAtEveryLevel) {
    TraceCapture quiet;
    std::set<int> orders;
    for (IsaLevel level : Levels()) {
        IsaGuard guard(level);
        unsigned seed = 1;
        for (int channels : {1, 2, 3, 5, 9, 17, 33, 67}) {
            for (const auto& tw : {std::pair<int, int>{0, 2}, {1, 4}, {2, 4}, {0, 4}, {2, 8}}) {
                SCOPED_TRACE(rzf::platform::IsaName(level));
                CheckDesignerStream(StreamCase{channels, tw.first, tw.second, seed++}, &orders);
                if (HasFatalFailure())
                    return;
            }
        }
    }
    // The random designs covered IIR orders inside and beyond the lane kernels.
    EXPECT_GE(orders.size(), 8u);
    EXPECT_GT(*orders.rbegin(), 16);
}

// Every channel with the same design, so whole register sets of adjacent
// samples are converted at once; blocks cross the kernels' step sizes.
TEST(FrameLanes, UniformDesignsMatchThePerChannelLoopAtEveryLevel) {
    TraceCapture quiet;
    const CFilterParam designs[] = {
        {DM_BUTTERWORTH, 0, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 350, 1, 60, 0},
        {DM_CHEBYSHEV1, 0, BAND_LOWPASS, 0, 0.0, 100, 300, 130, 350, 1, 60, 0},
        {DM_WINDOW_FIR, 51, BAND_LOWPASS, 2, 0.0, 100, 300, 200, 400, 1, 40, 0},
        {DM_AVERAGE, 9, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 400, 1, 40, 0}};
    std::mt19937 rng(5);
    for (IsaLevel level : Levels()) {
        IsaGuard guard(level);
        for (const CFilterParam& p : designs) {
            for (int channels : {5, 16, 40}) {
                for (int type : {0, 1, 2}) {
                    const int width = type == 0 ? 2 : 4;
                    CChnsFilterFunc f;
                    DesignerReference ref(channels, width, 1000.0f);
                    ASSERT_TRUE(f.Init(channels, width, 1000.0f));
                    for (int c = 0; c < channels; ++c) {
                        ASSERT_TRUE(f.DesignFilter(c, const_cast<CFilterParam*>(&p)));
                        ref.Design(c, p);
                    }
                    ASSERT_TRUE(f.m_ppChannels[0]->m_bEnabled);
                    for (int frames : {1, 63, 64, 65, 127, 128, 129, 700}) {
                        std::vector<char> a(static_cast<std::size_t>(frames * channels * width));
                        FillRandom(a, type, width, rng, false);
                        std::vector<char> b = a;
                        ASSERT_EQ(f.InputDataAndDeal(a.data(), type, static_cast<int>(a.size())),
                                  frames);
                        ref.Deal(b.data(), type, frames);
                        ASSERT_EQ(FirstDifference(a, b, type), -1)
                            << rzf::platform::IsaName(level) << " method " << p.m_nDesignMethod
                            << " channels " << channels << " type " << type << " frames " << frames;
                    }
                }
            }
        }
    }
}

// Copies share the channels, so a block through either continues the same
// streams; the states left behind are those of the per-channel loop.
TEST(FrameLanes, StatesAtCallBoundariesAreThoseOfThePerChannelLoop) {
    TraceCapture quiet;
    const CFilterParam bw{DM_BUTTERWORTH, 0, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 350, 1, 60, 0};
    const CFilterParam fir{DM_WINDOW_FIR, 21, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 400, 1, 40, 0};
    std::mt19937 rng(9);
    for (IsaLevel level : Levels()) {
        IsaGuard guard(level);
        CChnsFilterFunc f;
        DesignerReference ref(6, 2, 1000.0f);
        ASSERT_TRUE(f.Init(6, 2, 1000.0f));
        for (int c = 0; c < 6; ++c) {
            const CFilterParam& p = c % 2 == 0 ? bw : fir;
            ASSERT_TRUE(f.DesignFilter(c, const_cast<CFilterParam*>(&p)));
            ref.Design(c, p);
        }
        for (int block = 0; block < 5; ++block) {
            CChnsFilterFunc copy(f);
            std::vector<char> a(static_cast<std::size_t>(6 * 2 * (1 + block * 37)));
            FillRandom(a, 0, 2, rng, false);
            std::vector<char> b = a;
            copy.InputDataAndDeal(a.data(), 0, static_cast<int>(a.size()));
            ref.Deal(b.data(), 0, static_cast<int>(a.size()) / 12);
            ASSERT_EQ(a, b);
            for (int c = 0; c < 6; ++c) {
                const FilterUser& got = *f.m_ppChannels[c]->m_pFilterUser;
                FilterUser& want = ref.User(c);
                const int n = c % 2 == 0 ? want.m_nIIROrder : want.m_nFIRLength;
                ASSERT_GT(n, 0);
                EXPECT_EQ(got.m_nFIRLength, want.m_nFIRLength);
                EXPECT_EQ(got.m_bFirstInput, want.m_bFirstInput);
                EXPECT_EQ(std::memcmp(got.m_pState, want.m_pState, n * sizeof(double)), 0)
                    << rzf::platform::IsaName(level) << " channel " << c;
            }
        }
    }
}

// A FilterUser copied onto another channel shares its state array; the
// second channel then continues from where the first left it, so channel
// order matters and the block is filtered channel after channel.
TEST(FrameLanes, ChannelsSharingOneStateRunInChannelOrder) {
    TraceCapture quiet;
    const CFilterParam bw{DM_BUTTERWORTH, 0, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 350, 1, 60, 0};
    std::mt19937 rng(21);
    for (IsaLevel level : Levels()) {
        IsaGuard guard(level);
        CChnsFilterFunc f;
        DesignerReference ref(4, 2, 1000.0f);
        ASSERT_TRUE(f.Init(4, 2, 1000.0f));
        for (int c = 0; c < 4; ++c) {
            ASSERT_TRUE(f.DesignFilter(c, const_cast<CFilterParam*>(&bw)));
            ref.Design(c, bw);
        }
        for (int block = 0; block < 3; ++block) {
            if (block == 1) {
                *f.m_ppChannels[2]->m_pFilterUser = *f.m_ppChannels[0]->m_pFilterUser;
                ref.User(2) = ref.User(0);
                ASSERT_EQ(f.m_ppChannels[2]->m_pFilterUser->m_pState,
                          f.m_ppChannels[0]->m_pFilterUser->m_pState);
            }
            std::vector<char> a(4 * 2 * 100);
            FillRandom(a, 0, 2, rng, false);
            std::vector<char> b = a;
            ASSERT_EQ(f.InputDataAndDeal(a.data(), 0, static_cast<int>(a.size())), 100);
            ref.Deal(b.data(), 0, 100);
            ASSERT_EQ(a, b) << rzf::platform::IsaName(level) << " block " << block;
        }
    }
}

// The Bessel section written out, with the table's digits.
void BesselReference(const std::vector<const rzf::BesselTableRow*>& rows,
                     std::vector<double>& state, char* data, int type, int width, int frames) {
    const int channels = static_cast<int>(rows.size());
    const int t = EffectiveType(type, width);
    for (int c = 0; c < channels; ++c) {
        const rzf::BesselTableRow* r = rows[c];
        if (r == nullptr) {
            continue;
        }
        double* s = &state[2 * c];
        for (int j = 0; j < frames; ++j) {
            char* p = data + (j * channels + c) * width;
            const double x = rzf::ReadRawSample(p, t);
            const double y = x * r->b0 + s[0];
            s[0] = x * r->b1 - y * r->a1 + s[1];
            s[1] = x * r->b2 - y * r->a2;
            rzf::WriteRawSample(static_cast<float>(y), p, t);
        }
    }
}

TEST(FrameLanes, BesselChannelsMatchTheSectionLoopAtEveryLevel) {
    const int cutoffs[] = {4, 15, 40, 100, 500};  // 500 has no row: the channel stays off
    for (IsaLevel level : Levels()) {
        IsaGuard guard(level);
        unsigned seed = 100;
        for (int channels : {1, 2, 5, 8, 16, 17, 40, 67}) {
            for (const auto& tw : {std::pair<int, int>{0, 2}, {1, 4}, {2, 4}, {0, 4}}) {
                std::mt19937 rng(seed++);
                CChnsBesselFilterFun f;
                ASSERT_TRUE(f.Init(channels, tw.second, 1000.0f));
                std::vector<const rzf::BesselTableRow*> rows(channels, nullptr);
                std::vector<double> state(2 * channels, 0.0);
                for (int c = 0; c < channels; ++c) {
                    if (rng() % 5 == 0) {
                        continue;  // never enabled
                    }
                    const int cutoff = cutoffs[rng() % 5];
                    ASSERT_TRUE(f.DesignFilter(c, cutoff, true));
                    rows[c] = rzf::FindBesselSection(cutoff, 1000);
                }
                for (int block = 0; block < 6; ++block) {
                    const int frames = 1 + static_cast<int>(rng() % 200);
                    std::vector<char> a(static_cast<std::size_t>(frames * channels * tw.second));
                    FillRandom(a, tw.first, tw.second, rng, seed % 2 == 0 && block > 3);
                    std::vector<char> b = a;
                    ASSERT_EQ(f.InputDataAndDeal(a.data(), tw.first, static_cast<int>(a.size())),
                              frames);
                    BesselReference(rows, state, b.data(), tw.first, tw.second, frames);
                    ASSERT_EQ(FirstDifference(a, b, tw.first), -1)
                        << rzf::platform::IsaName(level) << " channels " << channels << " type "
                        << tw.first << " width " << tw.second;
                }
            }
        }
    }
}

// Bad byte counts, with buffers of exactly the size given: nothing is read or
// written past them (the sanitizer builds check), and a negative count is
// refused as 0.
TEST(FrameLanes, ByteCountsNeverReachPastTheBuffer) {
    TraceCapture quiet;
    const CFilterParam bw{DM_BUTTERWORTH, 0, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 350, 1, 60, 0};
    for (IsaLevel level : Levels()) {
        IsaGuard guard(level);
        for (int channels : {1, 3, 16}) {
            CChnsFilterFunc f;
            CChnsBesselFilterFun g;
            ASSERT_TRUE(f.Init(channels, 2, 1000.0f) && g.Init(channels, 2, 1000.0f));
            for (int c = 0; c < channels; ++c) {
                ASSERT_TRUE(f.DesignFilter(c, const_cast<CFilterParam*>(&bw)) &&
                            g.DesignFilter(c, 100, true));
            }
            for (int bytes : {0, 1, 2 * channels - 1, 2 * channels, 2 * channels * 65 + 1}) {
                for (int type : {0, 1, 2, 3}) {
                    std::unique_ptr<char[]> own(new char[static_cast<std::size_t>(bytes)]);
                    for (int i = 0; i < bytes; ++i) {
                        own[i] = static_cast<char>(i * 37);
                    }
                    const int frames = bytes / 2 / channels;
                    EXPECT_EQ(f.InputDataAndDeal(own.get(), type, bytes), frames);
                    EXPECT_EQ(g.InputDataAndDeal(own.get(), type, bytes), frames);
                }
            }
            char two[2] = {5, 6};
            for (int bad : {INT_MIN, INT_MIN + 1, -1, -2 * channels, -9}) {
                EXPECT_EQ(f.InputDataAndDeal(two, 0, bad), 0) << bad;
                EXPECT_EQ(g.InputDataAndDeal(two, 0, bad), 0) << bad;
            }
            EXPECT_EQ(two[0], 5);
            EXPECT_EQ(two[1], 6);
        }
    }
}

}  // namespace
