// Runs inputs through the library's exported classes and writes what they
// produce: designs as text (hexadecimal floats, exact), streams as raw bytes.
// Usage is listed by running it without arguments.

#include <RZFilterFunc/RZFilterFunc.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Args = std::vector<std::string>;

double Num(const std::string& s) {
    return std::stod(s);  // hexadecimal floats included
}

int Int(const std::string& s) {
    return std::stoi(s);
}

Args Split(const std::string& s, char sep) {
    Args out;
    std::stringstream in(s);
    for (std::string item; std::getline(in, item, sep);) {
        out.push_back(item);
    }
    return out;
}

std::vector<char> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::string& path, const std::vector<char>& data) {
    std::ofstream(path, std::ios::binary).write(data.data(), std::streamsize(data.size()));
}

void PrintValues(const char* name, const double* values, int count) {
    std::printf("%s %d", name, values == nullptr ? 0 : count);
    for (int i = 0; values != nullptr && i < count; ++i) {
        std::printf(" %a", values[i]);
    }
    std::printf("\n");
}

// method band fs f1 f2 f3 f4 length ripple atten window, from args[1..11].
bool Design(FilterUser& user, const Args& a) {
    user.setFilterParameter(Int(a[2]), Int(a[1]), Num(a[4]), Num(a[5]), Num(a[6]), Num(a[7]),
                            Num(a[3]), Int(a[8]), Num(a[9]), Num(a[10]), 0.0);
    user.setWindowType(Int(a[11]));
    return user.DesignFilter();
}

void CmdDesign(const Args& a) {
    FilterUser user;
    const bool ok = Design(user, a);
    ClassicFilter* f = user.m_pFilter;
    const std::string message = user.GetErrorMessage();
    std::printf("ok %d\nstable %d\niirorder %d\nmessage %zu", ok, user.GetIsStability(),
                user.m_nIIROrder, message.size());
    for (unsigned char c : message) {
        std::printf(" %u", c);
    }
    std::printf("\npoleradius %a\n", user.GetPoleRadius());
    PrintValues("sections", user.GetSections(), user.GetSectionCount() * 6);  // b0 b1 b2 a0 a1 a2
    if (f == nullptr || !ok) {
        return;
    }
    const int method = user.m_nDesignMethod;
    const int n =
        method <= 2 ? user.m_nIIROrder + 1 : (method == 5 ? f->GetCoefCount() : f->m_nLength);
    PrintValues("b", n > 0 ? f->GetNumerator() : nullptr, n);
    if (method <= 2) {
        PrintValues("a", n > 0 ? f->GetDenominator() : nullptr, n);
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

// filter|filter-sections <design 11> pieces in out: FilterData over pieces of
// the given sizes, one after another; a piece of 0 restarts the stream.
void CmdFilter(const Args& a) {
    FilterUser user;
    user.setSectionMode(a[0] == "filter-sections");
    Design(user, a);
    std::vector<char> raw = ReadFile(a[13]);
    std::vector<char> out(raw.size());
    auto* in = reinterpret_cast<float*>(raw.data());
    auto* filtered = reinterpret_cast<float*>(out.data());
    int done = 0;
    for (const auto& piece : Split(a[12], ',')) {
        if (Int(piece) == 0) {
            user.setFirstInputState(true);
        } else {
            user.FilterData(in + done, filtered + done, Int(piece));
            done += Int(piece);
        }
    }
    WriteFile(a[14], out);
}

// <cmd> type channels fs|ratio chunkframes in out items...: streams a raw
// frame file through one class in chunks of whole frames and writes what each
// call leaves at the start of its chunk, one after another. Items, comma-separated:
//   frames|frames-sections: ch,<design 11>   bessel: ch,cutoff   integrate: ch
//   decimate: blockframes,delstart,flags (one 0/1 per channel)
void CmdStream(const Args& a) {
    const int type = Int(a[1]);
    const int channels = Int(a[2]);
    const int width = type == 0 ? 2 : (type == 3 ? 3 : 4);
    const int frameBytes = channels * width;
    const float fs = static_cast<float>(Num(a[3]));
    std::vector<Args> items;
    std::transform(a.begin() + 7, a.end(), std::back_inserter(items),
                   [](const std::string& s) { return Split(s, ','); });
    CChnsFilterFunc chns;
    CChnsBesselFilterFun bessel;
    CIntegralDiff integ;
    CFirFunc fir;
    std::vector<int> selected;
    std::unique_ptr<bool[]> flags(new bool[static_cast<std::size_t>(channels)]);
    std::function<int(char*, int)> process;  // frames in, bytes out (in place: all)
    if (a[0] == "frames" || a[0] == "frames-sections") {
        chns.setSectionMode(a[0] == "frames-sections");  // handed to the channels by Init
        chns.Init(channels, width, fs);
        for (const auto& p : items) {
            // Fields in declaration order: f1 f3 f2 f4; the rate comes from Init.
            CFilterParam param{Int(p[1]), Int(p[8]), Int(p[2]), Int(p[11]), 0.0,        Num(p[4]),
                               Num(p[6]), Num(p[5]), Num(p[7]), Num(p[9]),  Num(p[10]), 0.0};
            chns.DesignFilter(Int(p[0]), &param);
        }
        process = [&](char* d, int n) { return chns.InputDataAndDeal(d, type, n * frameBytes); };
    } else if (a[0] == "bessel") {
        bessel.Init(channels, width, fs);
        for (const auto& p : items) {
            bessel.DesignFilter(Int(p[0]), Int(p[1]), true);
        }
        process = [&](char* d, int n) { return bessel.InputDataAndDeal(d, type, n * frameBytes); };
    } else if (a[0] == "integrate") {
        for (const auto& p : items) {
            selected.push_back(Int(p[0]));
        }
        integ.InitDiff(0, channels, selected, Num(a[3]), type, width);
        process = [&](char* d, int n) { return integ.ContinueIntegral(n, d), n; };
    } else {
        for (int c = 0; c < channels; ++c) {
            flags[static_cast<std::size_t>(c)] = items[0][2][static_cast<std::size_t>(c)] == '1';
        }
        fir.Init(channels, Int(a[3]), Int(items[0][0]) * channels, flags.get(), type,
                 items[0][1] == "1");
        process = [&](char* d, int n) { return fir.InputDataAndDeal(d, n * channels) * width; };
    }
    std::vector<char> raw = ReadFile(a[5]);
    std::vector<char> out;
    const int frames = static_cast<int>(raw.size()) / frameBytes;
    for (int done = 0, step = Int(a[4]); done < frames; done += step) {
        char* chunk = raw.data() + static_cast<std::ptrdiff_t>(done) * frameBytes;
        const int n = std::min(step, frames - done);
        const int bytes = process(chunk, n);
        out.insert(out.end(), chunk, chunk + (a[0] == "decimate" ? bytes : n * frameBytes));
    }
    WriteFile(a[6], out);
}

// kaiser4 fs band f1 f2 f3 f4 atten | kaiser2 fs band f1 f2 atten transition
void CmdKaiser(const Args& a) {
    double* taps = nullptr;
    const auto f = [&](std::size_t i) { return static_cast<float>(Num(a[i])); };
    const int count =
        a[0] == "kaiser4"
            ? CFilter::DesignFilter(taps, f(1), Int(a[2]), f(3), f(4), f(5), f(6), Int(a[7]))
            : CFilter::DesignFilter(taps, f(1), Int(a[2]), f(3), f(4), Int(a[5]), Num(a[6]));
    const std::unique_ptr<double[]> owner(taps);
    PrintValues("taps", taps, count);
}

// time-filter <design 11> samples: seconds of one FilterData call over a
// pseudo-random float block, into a touched buffer and into a fresh one (as a
// caller that allocates its result for every call has it).
void CmdTimeFilter(const Args& a) {
    FilterUser user;
    Design(user, a);
    const std::size_t n = std::stoul(a[12]);
    std::vector<float> in(n), out(n, 0.0f);
    std::uint32_t state = 12345u;
    for (auto& v : in) {
        state = state * 1664525u + 1013904223u;
        v = static_cast<float>(static_cast<std::int32_t>(state)) * 4.656612873e-10f;
    }
    const auto t0 = std::chrono::steady_clock::now();
    user.FilterData(in.data(), out.data(), static_cast<int>(n));
    const auto t1 = std::chrono::steady_clock::now();
    user.setFirstInputState(true);
    std::unique_ptr<float[]> fresh(new float[n]);
    user.FilterData(in.data(), fresh.get(), static_cast<int>(n));
    const std::chrono::duration<double> freshTime = std::chrono::steady_clock::now() - t1;
    double check = 0.0;
    for (std::size_t i = 0; i < n; i += 4096) {
        check += out[i] - fresh[i];
    }
    std::printf("seconds %.6f\nseconds_fresh_output %.6f\nchecksum %a\n",
                std::chrono::duration<double>(t1 - t0).count(), freshTime.count(), check);
}

}  // namespace

int main(int argc, char** argv) {
    const Args a(argv + 1, argv + argc);
    if (a.empty()) {
        std::fprintf(stderr,
                     "usage: rzf_reference design|filter[-sections]|frames[-sections]|"
                     "bessel|decimate|integrate|kaiser4|kaiser2|time-filter ...\n");
        return 2;
    }
    CRZPlatForm::SetTraceSink([](const char*, void*) {}, nullptr);  // refusals are traced
    try {
        const std::string& cmd = a[0];
        if (cmd == "design") {
            CmdDesign(a);
        } else if (cmd == "filter" || cmd == "filter-sections") {
            CmdFilter(a);
        } else if (cmd == "kaiser4" || cmd == "kaiser2") {
            CmdKaiser(a);
        } else if (cmd == "time-filter") {
            CmdTimeFilter(a);
        } else {
            CmdStream(a);
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "rzf_reference: %s\n", e.what());
        return 1;
    }
    return 0;
}
