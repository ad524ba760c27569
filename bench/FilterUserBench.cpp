// Throughput of FilterUser::FilterData on 4096-sample blocks, as a host feeds
// them: Butterworth order 8, window FIR of 51 taps, moving average of 51.
// Items are samples; the instruction-set level is the detected one unless
// RZF_ISA says otherwise.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include <RZFilterFunc/filter/FilterUser.h>

namespace {

constexpr int kBlock = 4096;

std::vector<float> Signal() {
    std::vector<float> x(kBlock);
    for (int i = 0; i < kBlock; ++i) {
        x[i] = static_cast<float>(1000.0 * std::sin(0.01 * i) + 300.0 * std::sin(0.37 * i));
    }
    return x;
}

void Run(benchmark::State& state, FilterUser& user) {
    const std::vector<float> in = Signal();
    std::vector<float> out(kBlock);
    for (auto _ : state) {
        user.FilterData(const_cast<float*>(in.data()), out.data(), kBlock);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBlock));
}

// Low-pass 100 Hz pass / 230 Hz stop at 1 kHz, 1 dB ripple, 60 dB: order 8.
void BM_FilterUserIirOrder8(benchmark::State& state) {
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_BUTTERWORTH, 100, 230, 300, 350, 1000, 0, 1.0, 60.0,
                            0);
    if (!user.DesignFilter() || !user.GetIsStability() || user.m_nIIROrder != 8) {
        state.SkipWithError("design is not order 8");
        return;
    }
    Run(state, user);
}

void BM_FilterUserWindowFir51(benchmark::State& state) {
    FilterUser user;
    user.setWindowType(2);
    user.setFilterParameter(BAND_LOWPASS, DM_WINDOW_FIR, 100, 140, 160, 200, 1000, 51, 1.0, 60.0,
                            0);
    if (!user.DesignFilter() || !user.GetIsStability()) {
        state.SkipWithError("window design failed");
        return;
    }
    Run(state, user);
}

void BM_FilterUserAverage51(benchmark::State& state) {
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_AVERAGE, 10, 140, 160, 200, 1000, 51, 1.0, 60.0, 0);
    if (!user.DesignFilter()) {
        state.SkipWithError("moving average design failed");
        return;
    }
    Run(state, user);
}

}  // namespace

BENCHMARK(BM_FilterUserIirOrder8);
BENCHMARK(BM_FilterUserWindowFir51);
BENCHMARK(BM_FilterUserAverage51);
