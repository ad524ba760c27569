// Throughput of the frame filters on blocks of 4096 frames, as an acquisition
// host feeds them: CChnsFilterFunc with an order-8 Chebyshev IIR or a 51-tap
// window FIR in every channel, and CChnsBesselFilterFun, for 16-bit, 32-bit
// and float samples and 1 to 64 channels. Items are samples (frames times
// channels). The filters run in place, so each block is restored from a
// source copy first, as a host's fresh block would arrive; the restore is
// timed too. RZF_ISA=baseline|avx2|avx512 picks the kernels.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>
#include <RZFilterFunc/channels/CChnsFilterFunc.h>

namespace {

constexpr int kFrames = 4096;
constexpr float kRate = 1000.0f;

enum Design { kIirOrder8 = 0, kFir51 = 1 };

// Chebyshev I low-pass, 100 Hz pass / 130 Hz stop, 1 dB / 40 dB at 1 kHz:
// the order estimate gives 8.
const CFilterParam kIir{DM_CHEBYSHEV1, 0, BAND_LOWPASS, 0, 0.0, 100, 350, 130, 400, 1, 40, 0};
const CFilterParam kFir{DM_WINDOW_FIR, 51, BAND_LOWPASS, 0, 0.0, 100, 300, 200, 400, 1, 40, 0};

int SampleWidth(int type) {
    return type == 0 ? 2 : 4;
}

// A few sines of different pitch per channel, in the sample type's units.
std::vector<char> Source(int type, int channels) {
    const int width = SampleWidth(type);
    std::vector<char> bytes(static_cast<std::size_t>(kFrames) * channels * width);
    for (int j = 0; j < kFrames; ++j) {
        for (int c = 0; c < channels; ++c) {
            const double v = 8000.0 * std::sin(0.01 * j * (1 + c % 7)) + 50.0 * (c % 3);
            char* p = &bytes[(static_cast<std::size_t>(j) * channels + c) * width];
            if (type == 0) {
                const std::int16_t s = static_cast<std::int16_t>(v);
                std::memcpy(p, &s, sizeof s);
            } else if (type == 1) {
                const float s = static_cast<float>(v);
                std::memcpy(p, &s, sizeof s);
            } else {
                const std::int32_t s = static_cast<std::int32_t>(v * 1000.0);
                std::memcpy(p, &s, sizeof s);
            }
        }
    }
    return bytes;
}

template <typename Filter>
void Stream(benchmark::State& state, Filter& filter, int type, int channels) {
    const std::vector<char> source = Source(type, channels);
    std::vector<char> work(source.size());
    for (auto _ : state) {
        std::memcpy(work.data(), source.data(), work.size());
        benchmark::DoNotOptimize(
            filter.InputDataAndDeal(work.data(), type, static_cast<int>(work.size())));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kFrames) * channels);
}

void BM_ChnsFilter(benchmark::State& state) {
    const int design = static_cast<int>(state.range(0));
    const int type = static_cast<int>(state.range(1));
    const int channels = static_cast<int>(state.range(2));
    CChnsFilterFunc filter;
    filter.Init(channels, SampleWidth(type), kRate);
    CFilterParam param = design == kIirOrder8 ? kIir : kFir;
    for (int c = 0; c < channels; ++c) {
        filter.DesignFilter(c, &param);
    }
    const FilterUser& user = *filter.m_ppChannels[0]->m_pFilterUser;
    if (!filter.m_ppChannels[0]->m_bEnabled || (design == kIirOrder8 && user.m_nIIROrder != 8)) {
        state.SkipWithError("design did not give the intended filter");
        return;
    }
    Stream(state, filter, type, channels);
}

void BM_BesselFilter(benchmark::State& state) {
    const int type = static_cast<int>(state.range(0));
    const int channels = static_cast<int>(state.range(1));
    CChnsBesselFilterFun filter;
    filter.Init(channels, SampleWidth(type), kRate);
    for (int c = 0; c < channels; ++c) {
        filter.DesignFilter(c, 40, true);
    }
    if (!filter.m_ppChannels[0]->m_bEnabled) {
        state.SkipWithError("no Bessel section for 40 Hz at 1 kHz");
        return;
    }
    Stream(state, filter, type, channels);
}

void ChnsCases(benchmark::internal::Benchmark* b) {
    for (int type : {0, 2, 1}) {
        for (int channels : {1, 4, 16, 64}) {
            b->Args({kIirOrder8, type, channels});
        }
    }
    for (int channels : {1, 16}) {
        b->Args({kFir51, 0, channels});
    }
}

void BesselCases(benchmark::internal::Benchmark* b) {
    for (int type : {0, 2, 1}) {
        for (int channels : {1, 4, 16, 64}) {
            b->Args({type, channels});
        }
    }
}

}  // namespace

BENCHMARK(BM_ChnsFilter)->Apply(ChnsCases)->ArgNames({"design", "type", "channels"});
BENCHMARK(BM_BesselFilter)->Apply(BesselCases)->ArgNames({"type", "channels"});
