#include "DeterminismProbe.h"

#include <RZFilterFunc/RZFilterFunc.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <istream>
#include <memory>
#include <ostream>
#include <sstream>

namespace rzf_probe {

namespace {

constexpr int kSamples = 1200;

// A fixed integer sequence (no library maths): pseudo-random noise from a
// linear congruential generator on a square wave.
std::vector<float> Signal(int n, float scale) {
    std::vector<float> v(static_cast<std::size_t>(n));
    std::uint32_t state = 12345u;
    for (std::size_t i = 0; i < v.size(); ++i) {
        state = state * 1664525u + 1013904223u;
        const int noise = static_cast<int>(state >> 20) - 2048;  // -2048 .. 2047
        v[i] = static_cast<float>(noise + ((i / 16) % 2 == 0 ? 1500 : -1500)) * scale / 4096.0f;
    }
    return v;
}

template <typename T>
std::vector<double> Widen(const T* p, int n) {
    return std::vector<double>(p, p + std::max(n, 0));
}

// Raw samples by the library's type codes: 0 int16, 1 float32, 2 int32, 3
// packed int24, little-endian as on both platforms.
std::size_t Width(int type) {
    return type == 0 ? 2 : type == 3 ? 3 : 4;
}

std::vector<char> Frames(int channels, int frames, int type) {
    const std::vector<float> s = Signal(channels * frames, 8000.0f);
    const std::size_t w = Width(type);
    std::vector<char> bytes(s.size() * w);
    for (std::size_t i = 0; i < s.size(); ++i) {
        const std::int32_t v = static_cast<std::int32_t>(s[i]);
        std::memcpy(&bytes[i * w], type == 1 ? static_cast<const void*>(&s[i]) : &v, w);
    }
    return bytes;
}

std::vector<double> RawValues(const std::vector<char>& bytes, int type) {
    std::vector<double> out;
    for (std::size_t i = 0, w = Width(type); i + w <= bytes.size(); i += w) {
        std::uint32_t u = 0;
        float f;
        std::memcpy(&u, &bytes[i], w);
        std::memcpy(&f, &u, 4);
        out.push_back(type == 1 ? static_cast<double>(f)
                                : static_cast<std::int32_t>(u << (32 - 8 * w)) >> (32 - 8 * w));
    }
    return out;
}

// Every method and band at 1 kHz, the window FIR with several windows and
// lengths: method, band, window, length.
const int kSpecs[][4] = {{0, 1, 0, 1},  {0, 2, 0, 1},  {0, 3, 0, 1},  {0, 4, 0, 1},  {1, 1, 0, 1},
                         {1, 2, 0, 1},  {1, 3, 0, 1},  {1, 4, 0, 1},  {2, 1, 0, 1},  {2, 2, 0, 1},
                         {2, 3, 0, 1},  {2, 4, 0, 1},  {3, 1, 0, 51}, {3, 2, 2, 50}, {3, 3, 1, 41},
                         {3, 4, 5, 61}, {3, 1, 4, 31}, {5, 1, 0, 7}};

}  // namespace

std::vector<Record> RunProbe() {
    std::vector<Record> out;
    std::vector<float> signal = Signal(kSamples, 1000.0f), y(kSamples);
    for (const auto& [method, band, window, length] : kSpecs) {
        const bool iir = method <= DM_CHEBYSHEV2, narrow = iir && band >= 3;  // edges of their own
        FilterUser user;
        user.setFilterParameter(band, method,
                                narrow        ? 80
                                : window == 4 ? 150
                                              : 100,
                                narrow ? 150 : 200, narrow ? 250 : 300, narrow ? 320 : 380, 1000.0,
                                length, 0.5, 40.0, 0.0);
        user.setWindowType(window);
        const std::string name = "m" + std::to_string(method) + "b" + std::to_string(band) + "w" +
                                 std::to_string(window) + "n" + std::to_string(length);
        const std::string family = iir ? "iir" : method == DM_WINDOW_FIR ? "window" : "average";
        auto add = [&](const char* what, const std::string& kind, std::vector<double> values) {
            out.push_back({name + what, kind, std::move(values)});
        };
        ClassicFilter* f = user.DesignFilter() ? user.m_pFilter : nullptr;
        if (f == nullptr) {
            add(".refused", "design-outcome", {1.0});
            continue;
        }
        const double order = user.m_nIIROrder, taps = f->m_nLength;
        add(".outcome", "design-outcome", {user.GetIsStability() ? 1.0 : 0.0, order, taps});
        const int coefs = iir                       ? user.m_nIIROrder + 1
                          : method == DM_WINDOW_FIR ? f->m_nLength
                                                    : f->GetCoefCount();
        add(".numerator", family + "-coefficients", Widen(f->GetNumerator(), coefs));
        if (iir) {
            add(".denominator", family + "-coefficients", Widen(f->GetDenominator(), coefs));
        }
        if (f->m_pAmplitude != nullptr) {
            add(".axis", "frequency-axis", Widen(f->m_pFreqAxis, f->m_nRespCount));
            add(".amplitude", family + "-amplitude-db", Widen(f->m_pAmplitude, f->m_nRespCount));
            add(".phase", family + "-phase", Widen(f->m_pPhase, f->m_nRespCount));
            user.getUnwrapedPhase();
            user.GetMaxMin();
            add(".limits", family + "-axis-limits", {user.m_dMaxValue, user.m_dMinValue});
        }
        // Two blocks, so that the state carries over.
        user.FilterData(signal.data(), y.data(), kSamples / 2);
        user.FilterData(signal.data() + kSamples / 2, y.data() + kSamples / 2, kSamples / 2);
        add(".block", family + "-block-output", Widen(y.data(), kSamples));
    }
    // Kaiser designs through the per-sample engine.
    const float edges[4][4] = {
        {100, 150, 100, 150}, {150, 100, 150, 100}, {150, 100, 300, 250}, {100, 150, 250, 300}};
    for (int band = 1; band <= 4; ++band) {
        for (int atten : {30, 60}) {
            const float* e = edges[band - 1];
            double* taps = nullptr;
            const int n = CFilter::DesignFilter(taps, 1000.0f, band, e[0], e[1], e[2], e[3], atten);
            const std::unique_ptr<double[]> owned(taps);
            const std::string name =
                "kaiser.b" + std::to_string(band) + "a" + std::to_string(atten);
            out.push_back({name + ".taps", "kaiser-taps", Widen(taps, n)});
            if (n > 0) {
                CFilter engine;
                engine.SetFIRCoief(n, taps);
                y = signal;
                engine.FilterData(y.data(), kSamples, 1, 0);
                out.push_back({name + ".engine", "engine-fir-output", Widen(y.data(), kSamples)});
            }
        }
    }
    // The engine's IIR path on fixed coefficients (no design maths involved).
    double a[3] = {1.0, -1.1430, 0.4128}, b[3] = {0.0675, 0.1349, 0.0675};
    CFilter engine;
    engine.SetIIRCoief(3, a, b);
    y = signal;
    engine.FilterData(y.data(), kSamples, 1, 0);
    out.push_back({"engine.iir.float", "engine-iir-output", Widen(y.data(), kSamples)});
    std::vector<short> s16(signal.begin(), signal.end());
    engine.Reset();
    engine.FilterData(s16.data(), kSamples / 2, 2, 1);
    out.push_back({"engine.iir.int16", "engine-iir-output", Widen(s16.data(), kSamples)});
    FilterUser::PingJunFilter(const_cast<float*>(signal.data()), kSamples, 1000.0f, 20.0f,
                              y.data());
    out.push_back({"smoother", "smoother-output", Widen(y.data(), kSamples)});
    // Three channels of each sample type in two calls (the state carries over).
    constexpr int kChannels = 3, kFrames = 400;
    for (int type : {0, 1, 2}) {
        const int width = static_cast<int>(Width(type)), half = kFrames / 2 * kChannels * width;
        const std::string t = ".t" + std::to_string(type);
        std::vector<char> frames = Frames(kChannels, kFrames, type), bessel = frames, sums = frames;
        CChnsFilterFunc filter;
        filter.Init(kChannels, width, 1000.0f);
        CFilterParam iir{DM_CHEBYSHEV1, 1, BAND_LOWPASS, 0, 0, 100, 300, 200, 380, 0.5, 40, 0};
        CFilterParam fir{DM_WINDOW_FIR, 31, BAND_LOWPASS, 2, 0, 100, 300, 200, 380, 0.5, 40, 0};
        filter.DesignFilter(0, &iir);
        filter.DesignFilter(2, &fir);
        filter.InputDataAndDeal(frames.data(), type, half);
        filter.InputDataAndDeal(frames.data() + half, type, half);
        out.push_back({"frames" + t, "frame-filter-output", RawValues(frames, type)});
        CChnsBesselFilterFun bessels;
        bessels.Init(kChannels, width, 1000.0f);
        bessels.DesignFilter(0, 100, true);
        bessels.DesignFilter(1, 15, true);
        bessels.InputDataAndDeal(bessel.data(), type, half);
        bessels.InputDataAndDeal(bessel.data() + half, type, half);
        out.push_back({"bessel" + t, "bessel-output", RawValues(bessel, type)});
        CIntegralDiff integral;
        integral.InitDiff(0, kChannels, {0, 2}, 1000.0, type, width);
        integral.ContinueIntegral(kFrames / 2, sums.data());
        integral.ContinueIntegral(kFrames / 2, sums.data() + half);
        out.push_back({"integral" + t, "integral-output", RawValues(sums, type)});
    }
    // Calls of 700 samples, not a whole number of frames.
    for (int type : {0, 1, 2, 3}) {
        for (int ratio : {2, 10, 100}) {
            const std::size_t w = Width(type);
            bool filter[kChannels] = {true, false, true};
            CFirFunc decim;
            decim.Init(kChannels, ratio, 600, filter, type, false);
            std::vector<char> raw = Frames(kChannels, 2000, type), result;
            for (std::size_t at = 0; at < raw.size(); at += 700 * w) {  // decimated in place
                const int n = static_cast<int>(std::min<std::size_t>(700, (raw.size() - at) / w));
                const int got = decim.InputDataAndDeal(&raw[at], n);
                result.insert(result.end(), &raw[at], &raw[at] + got * static_cast<int>(w));
            }
            out.push_back({"decimate.t" + std::to_string(type) + "r" + std::to_string(ratio),
                           "decimation-output", RawValues(result, type)});
        }
    }
    return out;
}

void WriteRecords(std::ostream& out, const std::vector<Record>& records) {
    for (const Record& r : records) {
        out << r.name << ' ' << r.kind << ' ' << r.values.size() << std::hex;
        for (double v : r.values) {
            std::uint64_t u;
            std::memcpy(&u, &v, sizeof u);
            out << ' ' << u;
        }
        out << std::dec << '\n';
    }
}

std::vector<Record> ReadRecords(std::istream& in) {
    std::vector<Record> records;
    for (std::string line; std::getline(in, line);) {
        std::istringstream ls(line);
        Record r;
        std::size_t count = 0;
        ls >> r.name >> r.kind >> count >> std::hex;
        for (std::uint64_t u = 0; r.values.size() < count && ls >> u;) {
            r.values.push_back(0.0);
            std::memcpy(&r.values.back(), &u, sizeof u);
        }
        if (ls || ls.eof()) {
            records.push_back(r);
        }
    }
    return records;
}

}  // namespace rzf_probe
