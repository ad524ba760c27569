#include "DeterminismProbe.h"

#include <RZFilterFunc/RZFilterFunc.h>

#include <cstdint>
#include <cstring>
#include <istream>
#include <ostream>
#include <sstream>

namespace rzf_probe {

namespace {

constexpr double kFs = 1000.0;
constexpr int kSamples = 1200;

// Test signal: a fixed integer sequence (no library maths), two tones' worth
// of structure from a linear congruential generator.
std::vector<float> Signal(int n, float scale) {
    std::vector<float> v(static_cast<std::size_t>(n));
    std::uint32_t state = 12345u;
    for (int i = 0; i < n; ++i) {
        state = state * 1664525u + 1013904223u;
        const int noise = static_cast<int>(state >> 20) - 2048;  // -2048 .. 2047
        const int square = (i / 16) % 2 == 0 ? 1500 : -1500;
        v[static_cast<std::size_t>(i)] = static_cast<float>(noise + square) * scale / 4096.0f;
    }
    return v;
}

template <typename T>
std::vector<double> Widen(const T* p, int n) {
    std::vector<double> out;
    out.reserve(static_cast<std::size_t>(n > 0 ? n : 0));
    for (int i = 0; i < n; ++i) {
        out.push_back(static_cast<double>(p[i]));
    }
    return out;
}

// Raw sample bytes as the integers they encode (for int24: three bytes).
std::vector<double> RawValues(const std::vector<char>& bytes, int type) {
    std::vector<double> out;
    const int width = type == 0 ? 2 : type == 3 ? 3 : 4;
    for (std::size_t i = 0; i + width <= bytes.size(); i += static_cast<std::size_t>(width)) {
        if (type == 0) {
            std::int16_t v;
            std::memcpy(&v, &bytes[i], 2);
            out.push_back(v);
        } else if (type == 1) {
            float v;
            std::memcpy(&v, &bytes[i], 4);
            out.push_back(v);
        } else if (type == 2) {
            std::int32_t v;
            std::memcpy(&v, &bytes[i], 4);
            out.push_back(v);
        } else {
            const std::uint32_t u = static_cast<std::uint8_t>(bytes[i]) |
                                    static_cast<std::uint8_t>(bytes[i + 1]) << 8 |
                                    static_cast<std::uint8_t>(bytes[i + 2]) << 16;
            out.push_back(static_cast<double>(static_cast<std::int32_t>(u << 8) >> 8));
        }
    }
    return out;
}

// Interleaved raw frames of `channels` channels from the test signal.
std::vector<char> Frames(int channels, int frames, int type, float scale) {
    const std::vector<float> s = Signal(channels * frames, scale);
    const int width = type == 0 ? 2 : type == 3 ? 3 : 4;
    std::vector<char> bytes(s.size() * static_cast<std::size_t>(width));
    for (std::size_t i = 0; i < s.size(); ++i) {
        char* p = &bytes[i * static_cast<std::size_t>(width)];
        if (type == 0) {
            const std::int16_t v = static_cast<std::int16_t>(s[i]);
            std::memcpy(p, &v, 2);
        } else if (type == 1) {
            std::memcpy(p, &s[i], 4);
        } else if (type == 2) {
            const std::int32_t v = static_cast<std::int32_t>(s[i]);
            std::memcpy(p, &v, 4);
        } else {
            const std::int32_t v = static_cast<std::int32_t>(s[i]);
            p[0] = static_cast<char>(v & 0xff);
            p[1] = static_cast<char>((v >> 8) & 0xff);
            p[2] = static_cast<char>((v >> 16) & 0xff);
        }
    }
    return bytes;
}

struct Spec {
    int method;
    int band;
    int window;
    double f1, f2, f3, f4;
    int length;
};

const Spec kSpecs[] = {
    {DM_BUTTERWORTH, BAND_LOWPASS, 0, 100, 200, 300, 380, 1},
    {DM_BUTTERWORTH, BAND_HIGHPASS, 0, 100, 200, 300, 380, 1},
    {DM_BUTTERWORTH, BAND_BANDPASS, 0, 80, 150, 250, 320, 1},
    {DM_BUTTERWORTH, BAND_BANDSTOP, 0, 80, 150, 250, 320, 1},
    {DM_CHEBYSHEV1, BAND_LOWPASS, 0, 100, 200, 300, 380, 1},
    {DM_CHEBYSHEV1, BAND_HIGHPASS, 0, 100, 200, 300, 380, 1},
    {DM_CHEBYSHEV1, BAND_BANDPASS, 0, 80, 150, 250, 320, 1},
    {DM_CHEBYSHEV1, BAND_BANDSTOP, 0, 80, 150, 250, 320, 1},
    {DM_CHEBYSHEV2, BAND_LOWPASS, 0, 100, 200, 300, 380, 1},
    {DM_CHEBYSHEV2, BAND_HIGHPASS, 0, 100, 200, 300, 380, 1},
    {DM_CHEBYSHEV2, BAND_BANDPASS, 0, 80, 150, 250, 320, 1},
    {DM_CHEBYSHEV2, BAND_BANDSTOP, 0, 80, 150, 250, 320, 1},
    {DM_WINDOW_FIR, BAND_LOWPASS, 0, 100, 200, 300, 380, 51},
    {DM_WINDOW_FIR, BAND_HIGHPASS, 2, 100, 200, 300, 380, 50},
    {DM_WINDOW_FIR, BAND_BANDPASS, 1, 100, 200, 300, 380, 41},
    {DM_WINDOW_FIR, BAND_BANDSTOP, 5, 100, 200, 300, 380, 61},
    {DM_WINDOW_FIR, BAND_LOWPASS, 4, 150, 200, 300, 380, 31},
    {DM_AVERAGE, BAND_LOWPASS, 0, 100, 200, 300, 380, 7},
};

std::string SpecName(const Spec& s) {
    std::ostringstream name;
    name << "m" << s.method << "b" << s.band << "w" << s.window << "n" << s.length;
    return name.str();
}

void DesignsAndBlocks(std::vector<Record>& out) {
    const std::vector<float> signal = Signal(kSamples, 1000.0f);
    for (const Spec& s : kSpecs) {
        FilterUser user;
        user.setFilterParameter(s.band, s.method, s.f1, s.f2, s.f3, s.f4, kFs, s.length, 0.5, 40.0,
                                0.0);
        user.setWindowType(s.window);
        const std::string name = SpecName(s);
        if (!user.DesignFilter() || user.m_pFilter == nullptr) {
            out.push_back({name + ".refused", "design-outcome", {1.0}});
            continue;
        }
        ClassicFilter* f = user.m_pFilter;
        const bool iir = s.method <= DM_CHEBYSHEV2;
        const std::string family = iir ? "iir" : s.method == DM_WINDOW_FIR ? "window" : "average";
        out.push_back({name + ".outcome",
                       "design-outcome",
                       {user.GetIsStability() ? 1.0 : 0.0, static_cast<double>(user.m_nIIROrder),
                        static_cast<double>(f->m_nLength)}});
        const int coefs = iir                         ? user.m_nIIROrder + 1
                          : s.method == DM_WINDOW_FIR ? f->m_nLength
                                                      : f->GetCoefCount();
        if (f->GetNumerator() != nullptr) {
            out.push_back(
                {name + ".numerator", family + "-coefficients", Widen(f->GetNumerator(), coefs)});
        }
        if (iir && f->GetDenominator() != nullptr) {
            out.push_back({name + ".denominator", family + "-coefficients",
                           Widen(f->GetDenominator(), coefs)});
        }
        if (f->m_pAmplitude != nullptr) {
            out.push_back(
                {name + ".axis", "frequency-axis", Widen(f->m_pFreqAxis, f->m_nRespCount)});
            out.push_back({name + ".amplitude", family + "-amplitude-db",
                           Widen(f->m_pAmplitude, f->m_nRespCount)});
            out.push_back(
                {name + ".phase", family + "-phase", Widen(f->m_pPhase, f->m_nRespCount)});
            user.getUnwrapedPhase();
            user.GetMaxMin();
            out.push_back(
                {name + ".limits", family + "-axis-limits", {user.m_dMaxValue, user.m_dMinValue}});
        }
        // Two blocks, so that the state carries over.
        std::vector<float> y(signal.size());
        user.FilterData(const_cast<float*>(signal.data()), y.data(), kSamples / 2);
        user.FilterData(const_cast<float*>(signal.data()) + kSamples / 2, y.data() + kSamples / 2,
                        kSamples / 2);
        out.push_back({name + ".block", family + "-block-output", Widen(y.data(), kSamples)});
    }
}

void KaiserAndEngine(std::vector<Record>& out) {
    const std::vector<float> signal = Signal(kSamples, 1000.0f);
    const float edges[4][4] = {
        {100, 150, 0, 0}, {150, 100, 0, 0}, {150, 100, 300, 250}, {100, 150, 250, 300}};
    for (int band = 1; band <= 4; ++band) {
        for (int atten : {30, 60}) {
            const float* e = edges[band - 1];
            double* taps = nullptr;
            const int n =
                band <= 2
                    ? CFilter::DesignFilter(taps, 1000.0f, band, e[0], e[1], e[0], e[1], atten)
                    : CFilter::DesignFilter(taps, 1000.0f, band, e[0], e[1], e[2], e[3], atten);
            std::ostringstream name;
            name << "kaiser.b" << band << "a" << atten;
            out.push_back({name.str() + ".taps", "kaiser-taps", Widen(taps, n)});
            if (n > 0) {
                CFilter engine;
                engine.SetFIRCoief(n, taps);
                std::vector<float> y = signal;
                engine.FilterData(y.data(), kSamples, 1, 0);
                out.push_back(
                    {name.str() + ".engine", "engine-fir-output", Widen(y.data(), kSamples)});
            }
            delete[] taps;
        }
    }
    // The engine's IIR path on fixed coefficients (no design maths involved).
    double a[3] = {1.0, -1.1430, 0.4128};
    double b[3] = {0.0675, 0.1349, 0.0675};
    CFilter engine;
    engine.SetIIRCoief(3, a, b);
    std::vector<float> y = signal;
    engine.FilterData(y.data(), kSamples, 1, 0);
    out.push_back({"engine.iir.float", "engine-iir-output", Widen(y.data(), kSamples)});
    std::vector<short> s16(signal.begin(), signal.end());
    engine.Reset();
    engine.FilterData(s16.data(), kSamples / 2, 2, 1);
    out.push_back({"engine.iir.int16", "engine-iir-output", Widen(s16.data(), kSamples)});

    std::vector<float> smooth(signal.size());
    FilterUser::PingJunFilter(const_cast<float*>(signal.data()), kSamples, 1000.0f, 20.0f,
                              smooth.data());
    out.push_back({"smoother", "smoother-output", Widen(smooth.data(), kSamples)});
}

void FrameStreams(std::vector<Record>& out) {
    constexpr int kChannels = 3, kFrames = 400;
    for (int type : {0, 1, 2}) {
        const int width = type == 0 ? 2 : 4;
        CChnsFilterFunc frames;
        frames.Init(kChannels, width, 1000.0f);
        CFilterParam iir{DM_CHEBYSHEV1, 1, BAND_LOWPASS, 0, 0, 100, 300, 200, 380, 0.5, 40, 0};
        CFilterParam fir{DM_WINDOW_FIR, 31, BAND_LOWPASS, 2, 0, 100, 300, 200, 380, 0.5, 40, 0};
        frames.DesignFilter(0, &iir);
        frames.DesignFilter(2, &fir);
        std::vector<char> bytes = Frames(kChannels, kFrames, type, 8000.0f);
        const int half = kFrames / 2 * kChannels * width;
        frames.InputDataAndDeal(bytes.data(), type, half);
        frames.InputDataAndDeal(bytes.data() + half, type, static_cast<int>(bytes.size()) - half);
        out.push_back(
            {"frames.t" + std::to_string(type), "frame-filter-output", RawValues(bytes, type)});

        CChnsBesselFilterFun bessel;
        bessel.Init(kChannels, width, 1000.0f);
        bessel.DesignFilter(0, 100, true);
        bessel.DesignFilter(1, 15, true);
        std::vector<char> raw = Frames(kChannels, kFrames, type, 8000.0f);
        bessel.InputDataAndDeal(raw.data(), type, half);
        bessel.InputDataAndDeal(raw.data() + half, type, static_cast<int>(raw.size()) - half);
        out.push_back({"bessel.t" + std::to_string(type), "bessel-output", RawValues(raw, type)});

        CIntegralDiff integral;
        integral.InitDiff(0, kChannels, {0, 2}, 1000.0, type, width);
        std::vector<char> acc = Frames(kChannels, kFrames, type, 8000.0f);
        integral.ContinueIntegral(kFrames / 2, acc.data());
        integral.ContinueIntegral(kFrames / 2, acc.data() + half);
        out.push_back(
            {"integral.t" + std::to_string(type), "integral-output", RawValues(acc, type)});
    }
    for (int type : {0, 1, 2, 3}) {
        for (int ratio : {2, 10, 100}) {
            const int width = type == 0 ? 2 : type == 3 ? 3 : 4;
            CFirFunc decim;
            bool filter[kChannels] = {true, false, true};
            decim.Init(kChannels, ratio, 600, filter, type, false);
            const int frames = 2000;
            std::vector<char> raw = Frames(kChannels, frames, type, 8000.0f);
            std::vector<char> result;
            const int call = 700;  // samples per call, not a whole number of frames
            for (int start = 0; start < frames * kChannels; start += call) {
                const int n =
                    start + call <= frames * kChannels ? call : frames * kChannels - start;
                std::vector<char> chunk(raw.begin() + start * width,
                                        raw.begin() + (start + n) * width);
                const int got = decim.InputDataAndDeal(chunk.data(), n);
                result.insert(result.end(), chunk.begin(), chunk.begin() + got * width);
            }
            out.push_back({"decimate.t" + std::to_string(type) + "r" + std::to_string(ratio),
                           "decimation-output", RawValues(result, type)});
        }
    }
}

std::uint64_t Bits(double v) {
    std::uint64_t u;
    std::memcpy(&u, &v, sizeof u);
    return u;
}

}  // namespace

std::vector<Record> RunProbe() {
    std::vector<Record> out;
    DesignsAndBlocks(out);
    KaiserAndEngine(out);
    FrameStreams(out);
    return out;
}

void WriteRecords(std::ostream& out, const std::vector<Record>& records) {
    for (const Record& r : records) {
        out << r.name << ' ' << r.kind << ' ' << r.values.size() << std::hex;
        for (double v : r.values) {
            out << ' ' << Bits(v);
        }
        out << std::dec << '\n';
    }
}

std::vector<Record> ReadRecords(std::istream& in) {
    std::vector<Record> records;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream ls(line);
        Record r;
        std::size_t count = 0;
        if (!(ls >> r.name >> r.kind >> count)) {
            continue;
        }
        for (std::size_t i = 0; i < count; ++i) {
            std::uint64_t u = 0;
            ls >> std::hex >> u;
            double v;
            std::memcpy(&v, &u, sizeof v);
            r.values.push_back(v);
        }
        records.push_back(r);
    }
    return records;
}

}  // namespace rzf_probe
