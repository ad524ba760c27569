// Throughput of CFirFunc::InputDataAndDeal on 16-bit frames for every ratio
// and 1, 8 and 32 channels. Each iteration decimates one block of 8192
// frames in place; the input is restored before every call.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

namespace {

constexpr int kFrames = 8192;

void BM_Decimate(benchmark::State& state) {
    const int ratio = static_cast<int>(state.range(0));
    const int chn = static_cast<int>(state.range(1));
    const int count = kFrames * chn;
    std::unique_ptr<bool[]> flags(new bool[chn]);
    std::fill(flags.get(), flags.get() + chn, true);
    CFirFunc fir;
    if (!fir.Init(chn, ratio, count, flags.get(), 0, true)) {
        state.SkipWithError("Init failed");
        return;
    }
    std::vector<std::int16_t> samples(count);
    for (int i = 0; i < count; ++i) {
        samples[i] = static_cast<std::int16_t>(8000.0 * std::sin(0.001 * i * (1 + i % chn)));
    }
    std::vector<char> source(count * sizeof(std::int16_t));
    std::memcpy(source.data(), samples.data(), source.size());
    std::vector<char> work(source.size());
    for (auto _ : state) {
        std::memcpy(work.data(), source.data(), work.size());
        benchmark::DoNotOptimize(fir.InputDataAndDeal(work.data(), count));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}

void AllCases(benchmark::internal::Benchmark* b) {
    for (int ratio : {2, 5, 10, 20, 50, 100, 200, 500, 1000}) {
        for (int chn : {1, 8, 32}) {
            b->Args({ratio, chn});
        }
    }
}

}  // namespace

BENCHMARK(BM_Decimate)->Apply(AllCases)->ArgNames({"ratio", "channels"});
