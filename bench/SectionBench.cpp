// Throughput of FilterUser::FilterData on IIR designs, the single transfer
// function beside the cascade of second-order sections, for stable designs of
// several orders (so both paths see ordinary numbers). Each iteration filters
// one block of 4096 samples, state carried from block to block.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include <RZFilterFunc/filter/FilterUser.h>

namespace {

constexpr int kBlock = 4096;

struct Design {
    int method, band;
    double fs, f1, f2, f3, f4, ap, as;
};

// Orders 8 (Butterworth low-pass), 12 (Chebyshev I band-pass), 16
// (Butterworth band-pass) and a Chebyshev II band-pass of order 20 or more.
const Design kDesigns[] = {
    {0, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0},
    {1, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0},
    {0, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0},
    {2, 3, 2000.0, 200.0, 220.0, 320.0, 340.0, 0.5, 50.0},
};

void BM_IirFilterData(benchmark::State& state) {
    const Design& d = kDesigns[state.range(0)];
    const bool sections = state.range(1) != 0;
    FilterUser user;
    user.setFilterParameter(d.band, d.method, d.f1, d.f2, d.f3, d.f4, d.fs, 0, d.ap, d.as, 0.0);
    user.setSectionMode(sections);
    if (!user.DesignFilter() || !user.GetIsStability() || user.GetPoleRadius() >= 1.0) {
        state.SkipWithError("design failed");
        return;
    }
    std::vector<float> in(kBlock);
    std::vector<float> out(kBlock);
    for (int i = 0; i < kBlock; ++i) {
        in[i] = static_cast<float>(std::sin(0.05 * i) + 0.3 * std::sin(1.3 * i));
    }
    for (auto _ : state) {
        user.FilterData(in.data(), out.data(), kBlock);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBlock));
    state.SetLabel(std::string(sections ? "sections" : "transfer function") + ", order " +
                   std::to_string(user.m_nIIROrder));
}

void AllCases(benchmark::internal::Benchmark* b) {
    for (int design = 0; design < static_cast<int>(std::size(kDesigns)); ++design) {
        for (int sections : {0, 1}) {
            b->Args({design, sections});
        }
    }
}

BENCHMARK(BM_IirFilterData)->Apply(AllCases);

}  // namespace
