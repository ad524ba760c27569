// Throughput of CFilter::FilterData on 4096-sample blocks filtered in place:
// FIR of 75 taps (scaled by 16384 as the Kaiser design scales them) and IIR of
// order 8 (the Butterworth low-pass of the FilterUser benchmark), over float
// and 16-bit samples, contiguous (stride 1). Items are samples.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include <RZFilterFunc/base/ClassicFilter.h>
#include <RZFilterFunc/filter/FilterUser.h>
#include <RZFilterFunc/fir/CFilter.h>

namespace {

constexpr int kBlock = 4096;
constexpr int kFirTaps = 75;
constexpr double kTapScale = 16384.0;

// Hamming-windowed sinc low-pass at a fifth of Nyquist.
std::vector<double> FirTaps() {
    const double pi = 3.14159265358979323846;
    std::vector<double> taps(kFirTaps);
    const int mid = kFirTaps / 2;
    for (int k = 0; k < kFirTaps; ++k) {
        const double t = k - mid;
        const double sinc = t == 0 ? 0.2 : std::sin(0.2 * pi * t) / (pi * t);
        const double window = 0.54 - 0.46 * std::cos(2.0 * pi * k / (kFirTaps - 1));
        taps[k] = kTapScale * sinc * window;
    }
    return taps;
}

bool LoadIirOrder8(CFilter& engine) {
    FilterUser user;
    user.setFilterParameter(BAND_LOWPASS, DM_BUTTERWORTH, 100, 230, 300, 350, 1000, 0, 1.0, 60.0,
                            0);
    if (!user.DesignFilter() || !user.GetIsStability() || user.m_nIIROrder != 8) {
        return false;
    }
    engine.SetIIRCoief(9, user.m_pFilter->GetDenominator(), user.m_pFilter->GetNumerator());
    return engine.IsPrePare();
}

template <typename T>
void Run(benchmark::State& state, CFilter& engine, double amplitude) {
    std::vector<T> source(kBlock);
    for (int i = 0; i < kBlock; ++i) {
        source[i] =
            static_cast<T>(amplitude * (0.7 * std::sin(0.01 * i) + 0.2 * std::sin(0.37 * i)));
    }
    // Filtered again and again in place: the low-pass keeps the slow sine, so
    // the samples stay in the same range.
    std::vector<T> work = source;
    for (auto _ : state) {
        benchmark::DoNotOptimize(engine.FilterData(work.data(), kBlock, 1, 0));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBlock));
}

template <typename T>
void BM_CFilterFir75(benchmark::State& state) {
    CFilter engine;
    std::vector<double> taps = FirTaps();
    engine.SetFIRCoief(kFirTaps, taps.data());
    Run<T>(state, engine, 20000.0);
}

template <typename T>
void BM_CFilterIirOrder8(benchmark::State& state) {
    CFilter engine;
    if (!LoadIirOrder8(engine)) {
        state.SkipWithError("design is not order 8");
        return;
    }
    Run<T>(state, engine, 20000.0);
}

}  // namespace

BENCHMARK_TEMPLATE(BM_CFilterFir75, float);
BENCHMARK_TEMPLATE(BM_CFilterFir75, short);
BENCHMARK_TEMPLATE(BM_CFilterIirOrder8, float);
BENCHMARK_TEMPLATE(BM_CFilterIirOrder8, short);
