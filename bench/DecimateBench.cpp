// Throughput of CFirFunc::InputDataAndDeal: every ratio and sample type at 16
// channels, and 16-bit frames at 1, 4 and 64 channels; named
// BM_Decimate<Type>/<ratio>/<channels>. Each iteration
// decimates one block of 4096 frames in place (as a host feeds them); the
// input is restored before every call and that copy is timed too. Items are
// input samples (all channels). RZF_ISA=baseline|avx2|avx512 picks the level.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

namespace {

constexpr int kFrames = 4096;
constexpr int kRatios[] = {2, 5, 10, 20, 50, 100, 200, 500, 1000};
constexpr int kWidths[] = {2, 4, 4, 3};  // bytes per sample of types 0..3

// Sine of a different frequency per channel, in the raw layout of the type.
std::vector<char> MakeFrames(int type, int chn) {
    const int count = kFrames * chn;
    std::vector<char> raw(static_cast<std::size_t>(count) * kWidths[type]);
    for (int i = 0; i < count; ++i) {
        const double v = 8000.0 * std::sin(0.001 * i * (1 + i % chn));
        char* p = raw.data() + static_cast<std::size_t>(i) * kWidths[type];
        if (type == 0) {
            const auto s = static_cast<std::int16_t>(v);
            std::memcpy(p, &s, sizeof s);
        } else if (type == 1) {
            const auto s = static_cast<float>(v);
            std::memcpy(p, &s, sizeof s);
        } else {
            const auto s = static_cast<std::int32_t>(v * (type == 2 ? 1000.0 : 100.0));
            std::memcpy(p, &s, type == 2 ? 4 : 3);  // little-endian: low 3 bytes for int24
        }
    }
    return raw;
}

void RunDecimate(benchmark::State& state, int type) {
    const int ratio = static_cast<int>(state.range(0));
    const int chn = static_cast<int>(state.range(1));
    const int count = kFrames * chn;
    std::unique_ptr<bool[]> flags(new bool[chn]);
    std::fill(flags.get(), flags.get() + chn, true);
    CFirFunc fir;
    if (!fir.Init(chn, ratio, count, flags.get(), type, true)) {
        state.SkipWithError("Init failed");
        return;
    }
    const std::vector<char> source = MakeFrames(type, chn);
    std::vector<char> work(source.size());
    for (auto _ : state) {
        std::memcpy(work.data(), source.data(), work.size());
        benchmark::DoNotOptimize(fir.InputDataAndDeal(work.data(), count));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}

void BM_DecimateInt16(benchmark::State& state) {
    RunDecimate(state, 0);
}
void BM_DecimateFloat(benchmark::State& state) {
    RunDecimate(state, 1);
}
void BM_DecimateInt32(benchmark::State& state) {
    RunDecimate(state, 2);
}
void BM_DecimateInt24(benchmark::State& state) {
    RunDecimate(state, 3);
}

void EveryRatio16Channels(benchmark::internal::Benchmark* b) {
    for (int ratio : kRatios) {
        b->Args({ratio, 16});
    }
}

void ChannelCounts(benchmark::internal::Benchmark* b) {
    EveryRatio16Channels(b);
    for (int ratio : {2, 10, 100}) {
        for (int chn : {1, 4, 64}) {
            b->Args({ratio, chn});
        }
    }
}

}  // namespace

BENCHMARK(BM_DecimateInt16)->Apply(ChannelCounts);
BENCHMARK(BM_DecimateFloat)->Apply(EveryRatio16Channels);
BENCHMARK(BM_DecimateInt32)->Apply(EveryRatio16Channels);
BENCHMARK(BM_DecimateInt24)->Apply(EveryRatio16Channels);
