// The frame filters run channels together in SIMD lanes. Every instruction-set
// level must give the bytes of the plain loop that filters one channel after
// another: de-interleave to float, FilterUser::FilterData (or the Bessel
// section with the table's digits), convert back. One table over design kind,
// sample format, channel count and level.
#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>
#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "IsaLevels.h"
#include "RZFilterFunc/base/SampleCodec.h"
#include "RZFilterFunc/channels/BesselTable.h"
#include "RZFilterFunc/channels/FrameBuffers.h"
#include "SampleData.h"
#include "TraceCapture.h"

namespace {

using rzf::platform::IsaLevel;

// Mixed: a random design per channel (IIR orders inside and beyond the lane
// kernels, window FIRs, moving averages, none); Uniform: one design in every
// channel, so whole register sets of adjacent samples convert at once.
enum class Kind { Mixed, Uniform, Bessel };

CFilterParam Param(int method, int order, int band, int window, double f1, double f3, double f2,
                   double f4, double atten) {
    return CFilterParam{method, order, band, window, 0.0, f1, f3, f2, f4, 1.0, atten, 0};
}

const CFilterParam kUniform[] = {Param(DM_BUTTERWORTH, 0, BAND_LOWPASS, 0, 100, 300, 200, 350, 60),
                                 Param(DM_CHEBYSHEV1, 0, BAND_LOWPASS, 0, 100, 300, 130, 350, 60),
                                 Param(DM_WINDOW_FIR, 51, BAND_LOWPASS, 2, 100, 300, 200, 400, 40),
                                 Param(DM_AVERAGE, 9, BAND_LOWPASS, 0, 100, 300, 200, 400, 40)};

int Draw(std::mt19937& rng, int n) {
    return static_cast<int>(rng() % static_cast<unsigned>(n));
}

// A random channel design; false for none. The IIR orders run from low ones
// to band-pass designs (twice the order) beyond the lane kernels.
bool RandomDesign(std::mt19937& rng, CFilterParam* p) {
    const int kind = Draw(rng, 10), method = Draw(rng, 3);
    const double stop = 110 + Draw(rng, 190), atten = 15 + Draw(rng, 100);
    const bool high = Draw(rng, 4) == 0;
    if (kind == 1) {
        *p = Param(method, 0, BAND_BANDPASS, 0, 100, 200, 110 + Draw(rng, 80), 220,
                   20 + Draw(rng, 40));
    } else if (kind <= 4) {
        *p = Param(method, 0, high ? BAND_HIGHPASS : BAND_LOWPASS, 0, high ? stop : 100, 350,
                   high ? 100 : stop, 400, atten);
    } else if (kind <= 7) {
        *p = Param(DM_WINDOW_FIR, 3 + Draw(rng, 60), BAND_LOWPASS, Draw(rng, 4), 100, 300, 200, 400,
                   40);
    } else {
        *p = Param(DM_AVERAGE, 1 + Draw(rng, 24), BAND_LOWPASS, 0, 100, 300, 200, 400, 40);
    }
    return kind != 0;
}

// The per-channel loop over FilterUser objects designed through their public
// setters from the same record, or over Bessel sections.
struct ChannelLoop {
    static constexpr rzf::BesselTableRow kOff{};  // marks a channel left off
    int m_width;
    std::vector<std::unique_ptr<FilterUser>> m_users;
    std::vector<const rzf::BesselTableRow*> m_rows;
    std::vector<double> m_state;

    ChannelLoop(int channels, int width)
        : m_width(width), m_users(channels), m_rows(channels), m_state(2 * channels) {}

    void Design(int c, const CFilterParam& p) {
        m_users[c] = std::make_unique<FilterUser>();
        m_users[c]->setFilterParameter(p.m_nBandType, p.m_nDesignMethod, p.m_dFreq1, p.m_dFreq2,
                                       p.m_dFreq3, p.m_dFreq4, 1000.0, p.m_nOrder, p.m_dPassRipple,
                                       p.m_dStopAtten, p.m_dReserved);
        m_users[c]->setWindowType(p.m_nWindowType);
        m_rows[c] = m_users[c]->DesignFilter() ? nullptr : &kOff;  // on when validation passes
    }

    void Design(int c, int cutoff) {  // a Bessel section restarts from rest
        m_rows[c] = rzf::FindBesselSection(cutoff, 1000);
        m_state[2 * c] = m_state[2 * c + 1] = 0.0;
    }

    void Deal(char* data, int type, int frames) {
        const int channels = static_cast<int>(m_rows.size());
        const int t = rzf::EffectiveSampleType(type, m_width);
        std::vector<float> x(frames), y(frames);
        for (int c = 0; c < channels; ++c) {
            const rzf::BesselTableRow* r = m_rows[c];
            if (r == &kOff || (r == nullptr && m_users[c] == nullptr)) {
                continue;
            }
            char* first = data + c * m_width;
            for (int j = 0; j < frames; ++j)
                y[j] = x[j] = rzf::ReadRawSample(first + j * channels * m_width, t);
            if (r == nullptr) {
                m_users[c]->FilterData(x.data(), y.data(), frames);
            }
            for (int j = 0; r != nullptr && j < frames; ++j) {
                double* s = &m_state[2 * c];
                const double v = x[j], out = v * r->b0 + s[0];
                s[0] = v * r->b1 - out * r->a1 + s[1];
                s[1] = v * r->b2 - out * r->a2;
                y[j] = static_cast<float>(out);
            }
            for (int j = 0; j < frames; ++j)
                rzf::WriteRawSample(y[j], first + j * channels * m_width, t);
        }
    }
};

// Designs channel c of both alike: a draw of the kind, or the uniform design u.
void Design(CChnsFilterFunc& f, ChannelLoop& loop, int c, Kind kind, int u, std::mt19937& rng) {
    CFilterParam p = kUniform[u % 4];
    if (kind == Kind::Uniform || RandomDesign(rng, &p)) {
        ASSERT_TRUE(f.DesignFilter(c, &p));
        loop.Design(c, p);
    }
}

void Design(CChnsBesselFilterFun& f, ChannelLoop& loop, int c, Kind, int, std::mt19937& rng) {
    const int cutoffs[] = {4, 15, 40, 100, 500};  // 500 has no row: the channel stays off
    if (Draw(rng, 5) != 0) {
        const int cutoff = cutoffs[Draw(rng, 5)];
        ASSERT_TRUE(f.DesignFilter(c, cutoff, true));
        loop.Design(c, cutoff);
    }
}

// Random samples: floats with NaN, infinities and subnormals when specials is
// set; integers in runs per channel (steps, full-scale ones among them, so
// outputs overshoot the type's range).
void Fill(char* p, int frames, int channels, int type, int width, std::mt19937& rng,
          bool specials) {
    const std::vector<float> x = rzf::test::RandomFloats(rng, frames * channels, 3e3f, specials);
    std::vector<std::int32_t> run(channels);
    for (int i = 0; i < frames * channels; ++i, p += width) {
        std::int32_t& v = run[i % channels];
        if (Draw(rng, 6) == 0) {
            v = Draw(rng, 3) == 0 ? (Draw(rng, 2) ? INT32_MIN : INT32_MAX)
                                  : static_cast<std::int32_t>(rng()) >> Draw(rng, 20);
        }
        const std::int16_t h = static_cast<std::int16_t>(v >> 16);
        const void* from = type == 0 ? static_cast<const void*>(&h) : &v;
        std::memcpy(p, type == 1 ? &x[i] : from, type == 0 ? 2 : 4);
    }
}

// Equal bytes, except that float samples NaN in both count as equal: which
// NaN an operation between two NaNs keeps is the compiler's choice of operand
// order, in the loop as well.
bool SameSamples(const std::vector<char>& got, const std::vector<char>& want, int type) {
    std::vector<float> x(type == 1 ? got.size() / 4 : 0), y(x.size());
    if (!x.empty()) {
        std::memcpy(x.data(), got.data(), 4 * x.size());
        std::memcpy(y.data(), want.data(), 4 * y.size());
    }
    return rzf::test::SameBits(x, y) &&
           std::equal(got.begin() + 4 * x.size(), got.end(), want.begin() + 4 * x.size());
}

using LaneCase = std::tuple<Kind, std::pair<int, int>, int, IsaLevel>;  // format: type, width

std::string CaseName(const ::testing::TestParamInfo<LaneCase>& info) {
    const auto& [kind, format, channels, level] = info.param;
    const char* kinds[] = {"mixed", "uniform", "bessel"};
    return std::string(kinds[static_cast<int>(kind)]) + "_type" + std::to_string(format.first) +
           "_width" + std::to_string(format.second) + "_channels" + std::to_string(channels) + "_" +
           rzf::platform::IsaName(level);
}

// A stream split at random points through the filter and the loop; the whole
// buffer (channels left off and a trailing partial frame included) must match
// byte for byte after every block. Block 3 has an unknown type code (zeros
// filtered, nothing written); from block 5 copies carry on after the original
// lets go, with one channel redesigned (uniform: all, IIR and FIR swapped);
// from block 8 two designer channels share one state, so they run one after
// another.
template <class Filter>
void CheckStream(const LaneCase& param) {
    const auto& [kind, format, channels, level] = param;
    const auto [type, width] = format;
    TraceCapture quiet;
    rzf::test::ScopedIsaLevel scoped(level);
    std::mt19937 rng(static_cast<unsigned>(channels * 16 + type * 4 + width));
    auto f = std::make_unique<Filter>();
    ASSERT_TRUE(f->Init(channels, width, 1000.0f));
    ChannelLoop loop(channels, width);
    const int u = channels + type;
    for (int c = 0; c < channels; ++c)
        Design(*f, loop, c, kind, u, rng);
    for (int block = 0; block < 10; ++block) {
        if (block == 5) {
            const Filter copy(*f);
            f = std::make_unique<Filter>();  // the original lets go
            *f = copy;
            const int pick = Draw(rng, channels);
            for (int c = 0; c < channels; ++c) {
                if (kind == Kind::Uniform || c == pick)
                    Design(*f, loop, c, kind, u + 2, rng);
            }
        }
        if constexpr (std::is_same_v<Filter, CChnsFilterFunc>) {
            if (block == 8 && channels > 2 && f->m_ppChannels[0]->m_bEnabled &&
                f->m_ppChannels[2]->m_bEnabled) {
                *f->m_ppChannels[2]->m_pFilterUser = *f->m_ppChannels[0]->m_pFilterUser;
                *loop.m_users[2] = *loop.m_users[0];
            }
        }
        const int frames = 1 + Draw(rng, 300);
        const int frameBytes = channels * width;  // and a trailing partial frame
        std::vector<char> a(static_cast<std::size_t>(frames * frameBytes + Draw(rng, frameBytes)));
        for (char& byte : a)
            byte = static_cast<char>(rng());
        Fill(a.data(), frames, channels, type, width, rng, block > 7);
        std::vector<char> b = a;
        const int t = block == 3 ? 3 : type;
        ASSERT_EQ(f->InputDataAndDeal(a.data(), t, static_cast<int>(a.size())), frames);
        loop.Deal(b.data(), t, frames);
        ASSERT_TRUE(SameSamples(a, b, t)) << "block " << block;
    }
}

class FrameLanes : public ::testing::TestWithParam<LaneCase> {};

TEST_P(FrameLanes, MatchTheChannelLoop) {
    if (std::get<0>(GetParam()) == Kind::Bessel) {
        CheckStream<CChnsBesselFilterFun>(GetParam());
    } else {
        CheckStream<CChnsFilterFunc>(GetParam());
    }
}

// int16 in 4-byte slots is never read a register at a time.
INSTANTIATE_TEST_SUITE_P(, FrameLanes,
                         ::testing::Combine(::testing::Values(Kind::Mixed, Kind::Uniform,
                                                              Kind::Bessel),
                                            ::testing::Values(std::pair{0, 2}, std::pair{1, 4},
                                                              std::pair{2, 4}, std::pair{0, 4}),
                                            ::testing::Values(1, 3, 5, 16, 17, 67),
                                            ::testing::ValuesIn(rzf::test::AvailableIsaLevels())),
                         CaseName);

}  // namespace
