// Runs inputs through the library's exported classes and writes what they
// produce: designs as text (hexadecimal floats, exact), streams as raw bytes.
// Usage is listed by running it without arguments.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <RZFilterFunc/RZFilterFunc.h>

namespace {

using Args = std::vector<std::string>;

// Doubles per second-order section row: b0 b1 b2 a0 a1 a2.
constexpr int kSectionWidth = 6;

double Num(const std::string& s) {
    char* end = nullptr;
    const double v = std::strtod(s.c_str(), &end);
    if (end == s.c_str() || *end != '\0') {
        throw std::runtime_error("not a number: " + s);
    }
    return v;
}

int Int(const std::string& s) {
    return static_cast<int>(std::stol(s));
}

std::vector<std::string> Split(const std::string& s, char sep) {
    std::vector<std::string> out;
    std::stringstream in(s);
    std::string item;
    while (std::getline(in, item, sep)) {
        out.push_back(item);
    }
    return out;
}

std::vector<char> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + path);
    }
    return std::vector<char>(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::string& path, const char* data, std::size_t size) {
    std::ofstream out(path, std::ios::binary);
    out.write(data, static_cast<std::streamsize>(size));
    if (!out) {
        throw std::runtime_error("cannot write " + path);
    }
}

void PrintValues(const char* name, const double* values, int count) {
    std::printf("%s %d", name, values == nullptr ? 0 : count);
    for (int i = 0; values != nullptr && i < count; ++i) {
        std::printf(" %a", values[i]);
    }
    std::printf("\n");
}

int SampleWidth(int type) {
    return type == 0 ? 2 : (type == 3 ? 3 : 4);
}

// method band fs f1 f2 f3 f4 length ripple atten window, from args[at..at+10].
bool Design(FilterUser& user, const Args& a, std::size_t at) {
    user.setFilterParameter(Int(a[at + 1]), Int(a[at]), Num(a[at + 3]), Num(a[at + 4]),
                            Num(a[at + 5]), Num(a[at + 6]), Num(a[at + 2]), Int(a[at + 7]),
                            Num(a[at + 8]), Num(a[at + 9]), 0.0);
    user.setWindowType(Int(a[at + 10]));
    return user.DesignFilter();
}

void CmdDesign(const Args& a) {
    FilterUser user;
    const bool ok = Design(user, a, 1);
    ClassicFilter* f = user.m_pFilter;
    std::printf("ok %d\nstable %d\niirorder %d\n", ok ? 1 : 0, user.GetIsStability() ? 1 : 0,
                user.m_nIIROrder);
    const std::string msg = user.GetErrorMessage();
    std::printf("message %zu", msg.size());
    for (unsigned char c : msg) {
        std::printf(" %u", c);
    }
    std::printf("\n");
    std::printf("poleradius %a\n", user.GetPoleRadius());
    const double* rows = user.GetSections();
    PrintValues("sections", rows, rows == nullptr ? 0 : user.GetSectionCount() * kSectionWidth);
    if (f == nullptr || !ok) {
        return;
    }
    const int method = user.m_nDesignMethod;
    if (method <= 2) {
        const int n = user.m_nIIROrder + 1;
        PrintValues("b", n > 0 ? f->GetNumerator() : nullptr, n);
        PrintValues("a", n > 0 ? f->GetDenominator() : nullptr, n);
    } else if (method == 5) {
        PrintValues("b", f->GetNumerator(), f->GetCoefCount());
    } else {
        PrintValues("b", f->GetNumerator(), f->m_nLength);
    }
    if (f->m_pAmplitude != nullptr) {
        PrintValues("freq", f->m_pFreqAxis, f->m_nRespCount);
        PrintValues("amp", f->m_pAmplitude, f->m_nRespCount);
        PrintValues("phase", f->m_pPhase, f->m_nRespCount);
        user.getUnwrapedPhase();
        PrintValues("unwrapped", f->m_pPhase, f->m_nRespCount);
        user.GetMaxMin();
        std::printf("limits %a %a\n", user.m_dMaxValue, user.m_dMinValue);
    }
}

// filter|filter-sections <design 11> <blocks a,b,..> in out [reset_at]
void CmdFilter(const Args& a, bool sections) {
    FilterUser user;
    user.setSectionMode(sections);
    Design(user, a, 1);
    std::vector<int> blocks;
    for (const auto& s : Split(a[12], ',')) {
        blocks.push_back(Int(s));
    }
    std::vector<char> raw = ReadFile(a[13]);
    const std::size_t n = raw.size() / sizeof(float);
    std::vector<float> in(n), out(n, 0.0f);
    std::memcpy(in.data(), raw.data(), n * sizeof(float));
    const std::size_t resetAt = a.size() > 15 ? static_cast<std::size_t>(std::stol(a[15])) : n + 1;
    std::size_t done = 0;
    for (std::size_t k = 0; done < n; ++k) {
        std::size_t step = static_cast<std::size_t>(blocks[k % blocks.size()]);
        if (done < resetAt && done + step > resetAt) {
            step = resetAt - done;
        }
        if (done == resetAt) {
            user.setFirstInputState(true);
        }
        step = std::min(step, n - done);
        user.FilterData(in.data() + done, out.data() + done, static_cast<int>(step));
        done += step;
    }
    WriteFile(a[14], reinterpret_cast<const char*>(out.data()), n * sizeof(float));
}

// Feeds a raw frame file through process(data, frames) in blocks of whole frames.
template <typename Process>
void StreamFrames(std::vector<char>& raw, int frameBytes, int blockFrames, Process process) {
    const std::size_t frames = raw.size() / static_cast<std::size_t>(frameBytes);
    for (std::size_t done = 0; done < frames;) {
        const std::size_t step =
            std::min<std::size_t>(static_cast<std::size_t>(blockFrames), frames - done);
        process(raw.data() + done * static_cast<std::size_t>(frameBytes), static_cast<int>(step));
        done += step;
    }
}

// frames|frames-sections type channels fs blockframes in out
//     ch,M,B,f1,f2,f3,f4,len,ripple,atten,win ...
// frames-sections sets the mode before Init, which hands it to the channels.
void CmdFrames(const Args& a, bool sections) {
    const int type = Int(a[1]);
    const int channels = Int(a[2]);
    const int width = SampleWidth(type);
    CChnsFilterFunc chns;
    chns.setSectionMode(sections);
    if (!chns.Init(channels, width, static_cast<float>(Num(a[3])))) {
        throw std::runtime_error("Init refused");
    }
    for (std::size_t i = 7; i < a.size(); ++i) {
        const auto p = Split(a[i], ',');
        CFilterParam param{};
        param.m_nDesignMethod = Int(p[1]);
        param.m_nBandType = Int(p[2]);
        param.m_dFreq1 = Num(p[3]);
        param.m_dFreq2 = Num(p[4]);
        param.m_dFreq3 = Num(p[5]);
        param.m_dFreq4 = Num(p[6]);
        param.m_nOrder = Int(p[7]);
        param.m_dPassRipple = Num(p[8]);
        param.m_dStopAtten = Num(p[9]);
        param.m_nWindowType = Int(p[10]);
        chns.DesignFilter(Int(p[0]), &param);
    }
    std::vector<char> raw = ReadFile(a[5]);
    StreamFrames(raw, channels * width, Int(a[4]), [&](char* data, int frames) {
        chns.InputDataAndDeal(data, type, frames * channels * width);
    });
    WriteFile(a[6], raw.data(), raw.size());
}

// bessel type channels fs blockframes in out ch:cutoff ...
void CmdBessel(const Args& a) {
    const int type = Int(a[1]);
    const int channels = Int(a[2]);
    const int width = SampleWidth(type);
    CChnsBesselFilterFun bessel;
    if (!bessel.Init(channels, width, static_cast<float>(Num(a[3])))) {
        throw std::runtime_error("Init refused");
    }
    for (std::size_t i = 7; i < a.size(); ++i) {
        const auto p = Split(a[i], ':');
        bessel.DesignFilter(Int(p[0]), Int(p[1]), true);
    }
    std::vector<char> raw = ReadFile(a[5]);
    StreamFrames(raw, channels * width, Int(a[4]), [&](char* data, int frames) {
        bessel.InputDataAndDeal(data, type, frames * channels * width);
    });
    WriteFile(a[6], raw.data(), raw.size());
}

// decimate type channels ratio blockframes delstart flags chunkframes in out
void CmdDecimate(const Args& a) {
    const int type = Int(a[1]);
    const int channels = Int(a[2]);
    const int width = SampleWidth(type);
    std::unique_ptr<bool[]> flags(new bool[static_cast<std::size_t>(channels)]);
    for (int c = 0; c < channels; ++c) {
        flags[static_cast<std::size_t>(c)] = a[6][static_cast<std::size_t>(c)] == '1';
    }
    CFirFunc fir;
    if (!fir.Init(channels, Int(a[3]), Int(a[4]) * channels, flags.get(), type, a[5] == "1")) {
        throw std::runtime_error("Init refused");
    }
    std::vector<char> raw = ReadFile(a[8]);
    std::vector<char> result;
    StreamFrames(raw, channels * width, Int(a[7]), [&](char* data, int frames) {
        const int written = fir.InputDataAndDeal(data, frames * channels);
        result.insert(result.end(), data, data + static_cast<std::ptrdiff_t>(written) * width);
    });
    WriteFile(a[9], result.data(), result.size());
}

// integrate type channels fs chunkframes in out ch ...
void CmdIntegrate(const Args& a) {
    const int type = Int(a[1]);
    const int channels = Int(a[2]);
    const int width = SampleWidth(type);
    std::vector<int> selected;
    for (std::size_t i = 7; i < a.size(); ++i) {
        selected.push_back(Int(a[i]));
    }
    CIntegralDiff integ;
    integ.InitDiff(0, channels, selected, Num(a[3]), type, width);
    std::vector<char> raw = ReadFile(a[5]);
    StreamFrames(raw, channels * width, Int(a[4]),
                 [&](char* data, int frames) { integ.ContinueIntegral(frames, data); });
    WriteFile(a[6], raw.data(), raw.size());
}

void PrintTaps(double* taps, int count) {
    std::unique_ptr<double[]> owner(taps);
    PrintValues("taps", taps, count);
}

void CmdKaiser(const Args& a) {
    double* taps = nullptr;
    const auto f = [&](std::size_t i) { return static_cast<float>(Num(a[i])); };
    int count;
    if (a[0] == "kaiser4") {
        count = CFilter::DesignFilter(taps, f(1), Int(a[2]), f(3), f(4), f(5), f(6), Int(a[7]));
    } else {
        count = CFilter::DesignFilter(taps, f(1), Int(a[2]), f(3), f(4), Int(a[5]), Num(a[6]));
    }
    PrintTaps(taps, count);
}

// time-filter <design 11> samples: seconds of one FilterData call over a
// pseudo-random float block, into a touched buffer and into a fresh one.
void CmdTimeFilter(const Args& a) {
    FilterUser user;
    Design(user, a, 1);
    const std::size_t n = static_cast<std::size_t>(std::stoll(a[12]));
    std::vector<float> in(n), out(n, 0.0f);
    std::uint32_t state = 12345u;
    for (auto& v : in) {
        state = state * 1664525u + 1013904223u;
        v = static_cast<float>(static_cast<std::int32_t>(state)) * 4.656612873e-10f;
    }
    const auto start = std::chrono::steady_clock::now();
    user.FilterData(in.data(), out.data(), static_cast<int>(n));
    const auto stop = std::chrono::steady_clock::now();
    // The same call into a freshly allocated, untouched output, as a caller
    // that allocates its result for every call has it.
    user.setFirstInputState(true);
    const auto freshStart = std::chrono::steady_clock::now();
    std::unique_ptr<float[]> fresh(new float[n]);
    user.FilterData(in.data(), fresh.get(), static_cast<int>(n));
    const auto freshStop = std::chrono::steady_clock::now();
    double check = 0.0;
    for (std::size_t i = 0; i < n; i += 4096) {
        check += out[i] - fresh[i];
    }
    std::printf("seconds %.6f\nseconds_fresh_output %.6f\nchecksum %a\n",
                std::chrono::duration<double>(stop - start).count(),
                std::chrono::duration<double>(freshStop - freshStart).count(), check);
}

}  // namespace

int main(int argc, char** argv) {
    const Args a(argv + 1, argv + argc);
    if (a.empty()) {
        std::fprintf(stderr,
                     "usage: rzf_reference design|filter|filter-sections|frames|"
                     "frames-sections|bessel|decimate|integrate|kaiser4|kaiser2|"
                     "time-filter ...\n");
        return 2;
    }
    // Validation failures are traced; keep stderr for real errors.
    CRZPlatForm::SetTraceSink([](const char*, void*) {}, nullptr);
    try {
        const std::string& cmd = a[0];
        if (cmd == "design") {
            CmdDesign(a);
        } else if (cmd == "filter" || cmd == "filter-sections") {
            CmdFilter(a, cmd == "filter-sections");
        } else if (cmd == "frames" || cmd == "frames-sections") {
            CmdFrames(a, cmd == "frames-sections");
        } else if (cmd == "bessel") {
            CmdBessel(a);
        } else if (cmd == "decimate") {
            CmdDecimate(a);
        } else if (cmd == "integrate") {
            CmdIntegrate(a);
        } else if (cmd == "kaiser4" || cmd == "kaiser2") {
            CmdKaiser(a);
        } else if (cmd == "time-filter") {
            CmdTimeFilter(a);
        } else {
            std::fprintf(stderr, "unknown command %s\n", cmd.c_str());
            return 2;
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "rzf_reference: %s\n", e.what());
        return 1;
    }
    return 0;
}
