// One row per command line: the exit status (0 success, 1 refused by the
// library, 2 usage, 3 input/output), what the tool must ("out:", "err:") or
// must not ("!out:") say and the files it writes ("file:"). The Inputs() the
// line names and in.csv are written first; "<name" feeds standard input. The
// messages are UTF-8 and a failed run leaves no file (output or temporary).

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "ToolTestSupport.h"

namespace {

using namespace tooltest;

struct Cli {
    const char* name;
    int exitCode;
    const char* args;
    const char* expect[11];
};

const std::map<std::string, std::string>& Inputs() {
    static const std::map<std::string, std::string> inputs = {
        {"in.csv", "1\n2\n"},
        {"trunc.i16", std::string(4001, '\x01')},
        {"six.f32", std::string(6, '\0')},
        {"empty.i16", ""},
        {"word.csv", "a,b\n1,2\n3,x\n4,5\n"},
        {"ragged.csv", "1,2\n3,4\n5\n"},
        {"two.csv", "1,2\n3,4\n"},
        {"zero.i24", std::string(12, '\0')},
        {"zero.i16", std::string(8, '\0')},
        {"noext", "1\n"},
        {"nan.csv", "1,2\nnan,3\n4,inf\n5,6\n"},
        {"seven.i16", ToBytes(std::vector<std::int16_t>{100, -200, 300, 4000, -5000, 600, 70})},
        {"square.f32",
         ToBytes(Square(3.3e38f))},  // overshoots past the float range after a low-pass
        {"long.f32", ToBytes(TestSignal(2, 50000, 100.0))},  // 0.4 MB
    };
    return inputs;
}

// Whose single transfer function has a pole outside the unit circle.
#define UNSTABLE " -b bandpass --fs 10000 --f1 90 --f2 100 --f3 110 --f4 120"
#define LONG_RUN "integrate long.f32 out.f32 -c 2 --fs 100 --block 100"

const Cli kRows[] = {
    {"help", 0, "--help", "out:Exit codes:", "out:1  the library refused", "out:2  usage",
     "out:3  input/output", "out:4  internal error"},
    {"help_design", 0, "design --help", "out:-n,--taps", "out:--transition", "out:--log-freq",
     "out:lowpass, highpass: f1 cut-off",
     "out:bandpass  f1 lower stop, f2 lower pass, f3 upper pass, f4 upper stop"},
    {"help_kaiser", 0, "kaiser --help", "out:--transition", "out:highpass  f2 stop edge, f1 pass",
     "!out:--taps", "!out:--window", "!out:--ripple", "!out:-m,", "!out:butterworth"},
    {"help_filter", 0, "filter --help", "out:--out-format", "out:--progress",
     "out:f1 pass edge, f2 stop edge", "!out:kaiser", "!out:--transition", "!out:--db-range"},
    // Usage.
    {"unknown_option", 2, "design --bogus", "err:not expected: --bogus"},
    {"no_files_named", 2, "filter", "err:input is required"},
    {"method_of_design_only", 2, "filter in.csv out.csv -m kaiser", "err:--method: Check kaiser"},
    {"option_of_other_command", 2, "kaiser --no-files -n 5", "err:not expected: 5 -n"},
    {"ratio_missing", 2, "decimate in.csv out.csv", "err:--ratio is required"},
    {"channel_missing", 2, "integrate two.csv out.csv --fs 10 -s 0,2",
     "err:channel 2 does not exist"},
    {"int24_filter", 2, "filter zero.i24 out -c 2", "err:decimate only"},
    {"format_unknown", 2, "filter noext out", "err:cannot tell the format of noext"},
    {"stdin_format_unknown", 2, "filter - out.i16 -c 1 -m average --fs 100 --f1 10 <seven.i16",
     "err:give --format"},
    {"block_zero", 2, "filter in.csv out.csv --block 0", "err:--block must be between"},
    {"out_format", 2, "filter in.csv out.csv --out-format int8", "err:--out-format must be"},
    {"ratio_unavailable", 2, "decimate in.csv out.csv -r 3", "err:ratio 3 is not available"},
    // Input and output.
    {"truncated_file", 3, "filter trunc.i16 out -c 2 -m average",
     "err:4001 bytes is not a whole number of 4-byte frames"},
    {"truncated_stdin", 3, "integrate - out -f float32 -c 1 --fs 10 <six.f32",
     "err:truncated: it ends 2 bytes into a 4-byte frame"},
    {"empty", 3, "integrate empty.i16 out -c 1 --fs 10", "err:no samples"},
    {"not_a_number", 3, "filter word.csv out -m average",
     "err:line 3, column 2: 'x' is not a number"},
    {"ragged", 3, "integrate ragged.csv out --fs 10",
     "err:line 3: 1 columns where 2 were expected"},
    {"missing", 3, "integrate nothere.csv out.csv --fs 10", "err:cannot open nothere.csv"},
    {"unwritable", 3, "integrate in.csv nodir/out.csv --fs 10", "err:cannot create nodir"},
    // Refused by the library: its message, then the English gloss.
    {"atten_filter", 1, "filter in.csv out.csv --fs 1000 --atten 170",
     "err:阻带衰减范围20-160dB！ (the stop-band attenuation must be between 20 and 160 dB)"},
    {"above_fs_over_2_56", 1, "filter in.csv out.csv --fs 1000 --f1 600 --f2 700",
     "err:specification refused: 输入的频率应小于等于采样频率/2.56！ (",
     "err:sampling rate / 2.56"},
    {"edges_swapped", 1, "design -o out --png --f1 150 --f2 140",
     "err:阻带边界频率应大于通带边界频率！ (", "err:stop-band edge f2"},
    // The default Butterworth low-pass (fs 512, 100/140 Hz, 0.3/40 dB) needs
    // 0.5 log10(x2 / x1) / log10(1 / k) + 0.9 = 12.8 with k = tan(100 pi / 512)
    // / tan(140 pi / 512): order 12, above the low-pass limit of 10.
    {"order_too_high", 1, "design -o out --png", "err:阶数太大，滤波器不稳定，返回 (",
     "err:outside the designer's range"},
    {"order_too_high_json", 1, "design --json --no-files", "out:\"accepted\": true",
     "out:\"stable\": false", "out:\"message\": \"阶数太大，滤波器不稳定，返回\"",
     "out:outside the designer's range"},
    {"refused_json", 1, "design --json --no-files --atten 10", "out:\"accepted\": false",
     "out:\"message\": \"阻带衰减范围20-160dB！\"",
     "out:\"message_en\": \"the stop-band attenuation must be between 20 and 160 dB\""},
    {"kaiser_edges", 1, "kaiser -o k --fs 1000 --f1 150 --f2 100", "err:wrong order"},
    {"bessel_pair", 1, "bessel in.csv out.csv --fs 1000 --cutoff 20",
     "err:no Bessel section for cut-off 20 Hz at 1000 Hz",
     "err:pairs (Hz): 4/10, 4/20, 4/50, 15/50, 4/100, 15/100, 40/100, 4/200, 15/200, 40/200, "
     "4/500, 15/500, 40/500, 100/500, 4/1000, 15/1000, 40/1000, 100/1000\n"},
    {"unstable_filter", 1, "filter in.csv out.csv" UNSTABLE,
     "err:specification refused: The transfer function B(z)/A(z) is unstable", "err:--sections"},
    {"overflow_filter", 1, "filter square.f32 out.f32 -c 1 -m cheby1 --fs 1000 --f1 100 --f2 150",
     "err:channel 0 holds only finite samples", "err:nothing was written"},
    // Success, with what the user should know.
    {"default_run", 0, "-o out", "out:阶数太大，滤波器不稳定，返回 (",
     "out:Design: chebyshev1 lowpass, fs 512 Hz", "out:Result: accepted, stable", "out:signal.png",
     "file:out/response.csv", "file:out/response.svg", "file:out/response.png",
     "file:out/signal-in.csv", "file:out/signal-out.csv", "file:out/signal.svg"},
    // Hand-derived: ratio 2 has one 45-tap stage, delay 22 frames, start-up span
    // 23 outputs: 2k + 46 - 22. Ratio 10 has 44 taps /5 then 48 taps /2: delay
    // 21.5 + 23.5 * 5 = 139, span 29: 10k + 290 - 139, or 10k - 139 kept.
    {"decimate_2", 0, "decimate in.csv o.csv -r 2",
     "out:output frame k lines up with input frame 2*k + 24"},
    {"decimate_10", 0, "decimate in.csv o.csv -r 10",
     "out:output frame k lines up with input frame 10*k + 151"},
    {"decimate_10_keep_start", 0, "decimate in.csv o.csv -r 10 --keep-start",
     "out:output frame k lines up with input frame 10*k - 139"},
    // 60 dB over a transition of 0.1: n = trunc(52.05 / 1.436 + 1) = 37, 2 * 37 + 1 taps.
    {"kaiser_taps", 0, "kaiser --json --no-files --fs 1000 --f1 100 --atten 60 --transition 0.1",
     "out:\"order\": 75,"},
    {"unstable_design", 0, "design --no-files" UNSTABLE,
     "out:the transfer function is unstable, the second-order sections are stable",
     "out:The transfer function B(z)/A(z) is unstable", "out:rzfilter filter --sections",
     "!out:accepted, stable"},
    {"unstable_design_json", 0, "design --json --no-files" UNSTABLE,
     "err:filter this design with --sections", "out:\"transfer_function_stable\": false"},
    {"non_finite_input", 0, "filter nan.csv out.csv -m average -n 3 --fs 100 --f1 10",
     "err:warning: the input holds 2 NaN or infinite samples (first: channel 0, frame 1)"},
    {"even_taps", 0, "filter in.csv out.csv -m window -n 50 --fs 1000",
     "err:warning: the window design uses an odd tap count: 50 taps requested, 51 designed"},
    {"csv_into_raw", 0, "integrate in.csv x.raw --fs 10",
     "err:warning: x.raw receives CSV text, which its extension does not suggest"},
    {"int16_into_f32", 0, "integrate zero.i16 x.f32 -c 1 --fs 10",
     "err:warning: x.f32 receives int16 samples"},
    {"pipe", 0, "filter - - -f int16 -c 1 -m average -n 3 --fs 100 --f1 10 <seven.i16",
     "err:Wrote standard output: 7 frames"},
    // Progress when stderr is not a terminal: lines for logs, only on request.
    {"progress", 0, LONG_RUN " --progress", "err:rzfilter: integrating: 100.0% (0.4 of 0.4 MB)",
     "err:MB/s, done in"},
    {"progress_interval", 0, LONG_RUN " --progress-interval 1e-9", "err:left\n"},
    {"progress_stdin", 0, "integrate - out.f32 -f float32 -c 2 --fs 100 --progress <long.f32",
     "err:rzfilter: integrating: 0.4 MB,"},
};

void PrintTo(const Cli& c, std::ostream* os) {
    *os << c.args;
}

class ToolRun : public testing::TestWithParam<Cli> {};

TEST_P(ToolRun, EndsAsTheRowSays) {
    const Cli& c = GetParam();
    const std::string dir = FreshDir(std::string("cli_") + c.name);
    std::string args, stdinFile;
    std::vector<std::string> inputs{"in.csv"};
    std::istringstream words(c.args);
    for (std::string w; words >> w;) {
        if (w[0] == '<') {
            stdinFile = w = w.substr(1);
        } else {
            args += " " + w;
        }
        if (w != "in.csv" && Inputs().count(w) != 0) {
            inputs.push_back(w);
        }
    }
    for (const std::string& name : inputs) {
        WriteFile(dir + "/" + name, Inputs().at(name));
    }
    const RunResult r = RunTool(args, dir, stdinFile);
    EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
    for (const char* e : c.expect) {
        if (e == nullptr) {
            break;
        }
        const std::string s = e;
        if (s.compare(0, 5, "file:") == 0) {
            EXPECT_FALSE(ReadFile(dir + "/" + s.substr(5)).empty()) << s;
            continue;
        }
        const bool absent = s[0] == '!';
        const std::string& text = s.compare(absent, 4, "out:") == 0 ? r.out : r.err;
        EXPECT_NE(Has(text, s.substr(absent + 4)), absent) << s << " in:\n" << text;
    }
    EXPECT_TRUE(IsUtf8(r.err)) << r.err;
    if (!Has(args, " - -")) {  // unless samples go to stdout
        EXPECT_TRUE(IsUtf8(r.out)) << r.out;
    }
    if (c.exitCode != 0) {
        std::sort(inputs.begin(), inputs.end());
        EXPECT_EQ(Files(dir), inputs);
    }
}

INSTANTIATE_TEST_SUITE_P(CommandLine, ToolRun, testing::ValuesIn(kRows),
                         [](const testing::TestParamInfo<Cli>& i) { return i.param.name; });

}  // namespace
