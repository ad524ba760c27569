// Throughput of CIntegralDiff::ContinueIntegral on 16-bit, float and 32-bit
// frames of 16 channels, all integrated; named BM_IntegralDiff/<type>/<channels>. Each iteration
// integrates one block of 4096 frames in place (as a host feeds them); the input is restored before
// every call and that copy is timed too. Items are samples (all channels).
// RZF_ISA=baseline|avx2|avx512 picks the level.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include <RZFilterFunc/integrate/CIntegralDiff.h>

namespace {

constexpr int kFrames = 4096;
constexpr int kWidths[] = {2, 4, 4};  // bytes per sample of types 0..2

void BM_IntegralDiff(benchmark::State& state, int type) {
    const int chn = static_cast<int>(state.range(0));
    const int count = kFrames * chn;
    std::vector<char> source(static_cast<std::size_t>(count) * kWidths[type]);
    for (int i = 0; i < count; ++i) {
        const double v = 8000.0 * std::sin(0.001 * i * (1 + i % chn));
        char* p = source.data() + static_cast<std::size_t>(i) * kWidths[type];
        if (type == 0) {
            const auto s = static_cast<std::int16_t>(v);
            std::memcpy(p, &s, sizeof s);
        } else if (type == 1) {
            const auto s = static_cast<float>(v);
            std::memcpy(p, &s, sizeof s);
        } else {
            const auto s = static_cast<std::int32_t>(v * 1000.0);
            std::memcpy(p, &s, sizeof s);
        }
    }
    std::vector<int> channels(chn);
    std::iota(channels.begin(), channels.end(), 0);
    CIntegralDiff integ;
    integ.InitDiff(0, chn, channels, 50000.0, type, kWidths[type]);
    std::vector<char> work(source.size());
    for (auto _ : state) {
        std::memcpy(work.data(), source.data(), work.size());
        integ.ContinueIntegral(kFrames, work.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}

}  // namespace

BENCHMARK_CAPTURE(BM_IntegralDiff, int16, 0)->Arg(1)->Arg(16)->Arg(64);
BENCHMARK_CAPTURE(BM_IntegralDiff, float, 1)->Arg(16);
BENCHMARK_CAPTURE(BM_IntegralDiff, int32, 2)->Arg(16);
