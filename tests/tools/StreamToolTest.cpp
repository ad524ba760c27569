// Streaming commands against the library fed the whole recording in one call
// and against hand-derived values; overflow counts; interrupted runs.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>

#include "ToolTestSupport.h"

namespace {

using namespace tooltest;

// By library sample type: int16, float32, int32, packed int24.
constexpr size_t kWidth[] = {2, 4, 4, 3};
const char* const kExt[] = {"i16", "f32", "i32", "i24"};

std::string Encode(const std::vector<float>& s, int type) {
    std::string out;
    for (float v : s) {
        const std::int32_t x = static_cast<std::int32_t>(v);  // little-endian: low bytes first
        out.append(
            type == 1 ? reinterpret_cast<const char*>(&v) : reinterpret_cast<const char*>(&x),
            kWidth[type]);
    }
    return out;
}

std::vector<double> Decode(const std::string& bytes, int type) {
    std::vector<double> v;
    for (size_t i = 0, w = kWidth[type]; i + w <= bytes.size(); i += w) {
        std::uint32_t u = 0;
        float f;
        std::memcpy(&u, &bytes[i], w);
        std::memcpy(&f, &u, 4);
        v.push_back(type == 1 ? static_cast<double>(f)
                              : static_cast<std::int32_t>(u << (32 - 8 * w)) >> (32 - 8 * w));
    }
    return v;
}

struct Stream {
    const char* name;
    const char* args;  // the command and its options (the files go between)
    int channels, type;
    int param;  // the frame filter's method, the decimation ratio or the Bessel cut-off
    int taps;
};

// What the library gives for the whole recording in one call, at 1 kHz: the
// frame filter with a low-pass (edges 100 or taps, 160, 200, 200 Hz; 0.3 and
// 40 dB) on every channel, the decimator (start-up dropped unless
// --keep-start) keeping the selected channels, or Bessel sections.
std::string Library(const Stream& m, std::string bytes, int type) {
    const int w = static_cast<int>(kWidth[type]), size = static_cast<int>(bytes.size());
    CChnsFilterFunc frame;
    CChnsBesselFilterFun bessel;
    const bool filter = Has(m.args, "filter");
    EXPECT_TRUE(filter ? frame.Init(m.channels, w, 1000.0f) : bessel.Init(m.channels, w, 1000.0f));
    CFilterParam p{m.param, m.taps, BAND_LOWPASS, 0, 0.0, 100.0, 160.0, 200.0, 200.0, 0.3, 40.0, 0};
    if (!Has(m.args, "decimate")) {
        for (int c = 0; c < m.channels; ++c) {
            filter ? frame.DesignFilter(c, &p) : bessel.DesignFilter(c, m.param, true);
        }
        filter ? frame.InputDataAndDeal(bytes.data(), type, size)
               : bessel.InputDataAndDeal(bytes.data(), type, size);
        return bytes;
    }
    const bool some = Has(m.args, "-s 0,2");  // of three channels
    std::unique_ptr<bool[]> flags(new bool[static_cast<size_t>(m.channels)]);
    std::vector<int> select;
    for (int c = 0; c < m.channels; ++c) {
        if ((flags[static_cast<size_t>(c)] = !some || c != 1)) {
            select.push_back(c);
        }
    }
    CFirFunc fir;
    EXPECT_TRUE(fir.Init(m.channels, m.param, size / w, flags.get(), type, !Has(m.args, "keep")));
    const int n = fir.InputDataAndDeal(bytes.data(), size / w);
    std::string out;
    for (int k = 0; k < n; k += m.channels) {
        for (int c : select) {
            out.append(bytes, static_cast<size_t>((k + c) * w), kWidth[type]);
        }
    }
    return out;
}

const Stream kMatches[] = {
    {"filter_int16_butterworth", "filter --fs 1000 --f1 100 --f2 200", 3, 0, DM_BUTTERWORTH, 51},
    {"filter_float32_window", "filter --fs 1000 -m window --f1 100 --taps 31", 3, 1, DM_WINDOW_FIR,
     31},
    {"filter_int32_average", "filter --fs 1000 -m average --f1 100 --taps 9", 3, 2, DM_AVERAGE, 9},
    {"decimate_int24", "decimate -r 10", 2, 3, 10, 0},
    {"decimate_keep_start", "decimate -r 2 --keep-start", 2, 0, 2, 0},
    {"decimate_select", "decimate -r 5 -s 0,2", 3, 1, 5, 0},
    {"bessel_int16", "bessel --fs 1000 --cutoff 15", 2, 0, 15, 0},
};

void PrintTo(const Stream& m, std::ostream* os) {
    *os << m.args;
}

class LibraryMatch : public testing::TestWithParam<Stream> {};

// Whatever block size the tool streams in, its output is, bit for bit, what
// the library gives for the whole recording in one call; so is what it writes
// to standard output ("-") from standard input.
TEST_P(LibraryMatch, EveryBlockSizeGivesTheOneCallResult) {
    const Stream& m = GetParam();
    const std::string dir = FreshDir(std::string("match_") + m.name), ext = kExt[m.type];
    const std::string in = Encode(TestSignal(m.channels, 3000, m.type == 3 ? 3e6 : 9000), m.type);
    WriteFile(dir + "/in." + ext, in);
    const std::string want = Library(m, in, m.type), args = m.args;
    ASSERT_FALSE(want.empty());
    EXPECT_NE(want, in.substr(0, want.size()));  // something was filtered
    const std::string verb = args.substr(0, args.find(' ')),
                      options = args.substr(verb.size()) + " -c " + std::to_string(m.channels);
    for (const char* block : {" --block 1", " --block 7", " --block 1000"}) {
        const RunResult r = RunTool(verb + " in." + ext + " out." + ext + options + block, dir);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.err, "");
        EXPECT_TRUE(ReadFile(dir + "/out." + ext) == want) << block;
    }
    const RunResult r = RunTool(verb + " - - -f " + ext + options, dir, "in." + ext);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(r.out == want);
}

INSTANTIATE_TEST_SUITE_P(StreamTool, LibraryMatch, testing::ValuesIn(kMatches),
                         [](const testing::TestParamInfo<Stream>& i) { return i.param.name; });

// Hand-derived, across block boundaries, with one channel selected and the
// other passed through: a 4-tap moving average turns a step into 0.25, 0.5,
// 0.75, 1; the trapezoid integral of a constant 2 at 1 Hz is 0, 2, 4, ...
TEST(StreamTool, HandDerivedCsvResults) {
    const std::string dir = FreshDir("csv_hand");
    WriteFile(dir + "/step.csv", "signal,other\n0,5\n1,5\n1,5\n1,5\n1,5\n1,5\n");
    WriteFile(dir + "/const.csv", "2,7\n2,7\n2,7\n2,7\n2,7\n2,7\n");
    ASSERT_EQ(
        RunTool("filter step.csv f.csv -m average --taps 4 --fs 1000 --block 2 -s 0", dir).exitCode,
        0);
    ASSERT_EQ(RunTool("integrate const.csv i.csv --fs 1 --block 3 -s 0", dir).exitCode, 0);
    EXPECT_EQ(ReadFile(dir + "/f.csv").substr(0, 13), "signal,other\n");
    EXPECT_EQ(
        ReadCsv(dir + "/f.csv"),
        (std::vector<std::vector<double>>{{0, 5}, {0.25, 5}, {0.5, 5}, {0.75, 5}, {1, 5}, {1, 5}}));
    EXPECT_EQ(ReadCsv(dir + "/i.csv"),
              (std::vector<std::vector<double>>{{0, 7}, {2, 7}, {4, 7}, {6, 7}, {8, 7}, {10, 7}}));
}

// A full-scale square wave overshoots after a sharp low-pass: 16-bit output
// wraps (the frame filter), 24-bit output clamps (the decimator). The tool
// counts those samples exactly, by the library's float results for the same
// values; every other sample is that float truncated. --out-format float32
// writes the float results themselves.
TEST(StreamTool, OutputOverflowIsReportedPerFormat) {
    struct Case {
        Stream run;
        double full, hi;  // the output range is -hi-1..hi (int16) or -hi..hi (int24)
        const char* kind;
    };
    const Case cases[] = {
        {{"", "filter in out.raw -f int16 -m cheby1 --fs 1000 --f1 100 --f2 200", 1, 0,
          DM_CHEBYSHEV1, 51},
         32000.0,
         32767.0,
         "wrapped around"},
        {{"", "decimate in out.raw -f int24 -r 2", 1, 3, 2, 0},
         8380000.0,
         8388607.0,
         "clamped to +-8388607"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.run.args);
        const std::vector<float> wave = Square(static_cast<float>(c.full));
        const std::vector<double> ref = Decode(Library(c.run, ToBytes(wave), 1), 1);
        const double lo = c.run.type == 0 ? -c.hi - 1 : -c.hi;
        const auto inRange = [&](double v) { return std::trunc(v) <= c.hi && std::trunc(v) >= lo; };
        const auto over =
            std::count_if(ref.begin(), ref.end(), [&](double v) { return !inRange(v); });
        ASSERT_GT(over, 0);
        const std::string dir = FreshDir("overflow");
        WriteFile(dir + "/in", Encode(wave, c.run.type));
        RunResult r = RunTool(std::string(c.run.args) + " -c 1", dir);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_TRUE(Has(r.err, "warning: " + std::to_string(over) + " output samples left the"))
            << r.err;
        EXPECT_TRUE(Has(r.err, c.kind)) << r.err;
        const std::vector<double> got = Decode(ReadFile(dir + "/out.raw"), c.run.type);
        ASSERT_EQ(got.size(), ref.size());
        for (size_t i = 0; i < ref.size(); ++i) {
            if (inRange(ref[i])) {
                ASSERT_EQ(got[i], std::trunc(ref[i])) << i;
            }
        }
        r = RunTool(std::string(c.run.args) + " -c 1 --out-format float32", dir);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(Decode(ReadFile(dir + "/out.raw"), 1), ref);
    }
}

// SIGINT and SIGTERM in the middle of a run (the tool waits for more input on
// a pipe, its output open) remove the temporary; the run ends by the signal.
TEST(StreamTool, InterruptRemovesTheTemporaryOutput) {
    for (int sig : {SIGINT, SIGTERM}) {
        SCOPED_TRACE(sig);
        const std::string dir = FreshDir("interrupt");
        const Background bg = StartTool("integrate - out.raw -f int16 -c 1 --fs 10", dir);
        ASSERT_GT(bg.pid, 0);
        const std::string block(4096, '\x01');
        ASSERT_EQ(write(bg.stdinFd, block.data(), block.size()), 4096);
        const std::string temp = dir + "/out.raw.part" + std::to_string(bg.pid);
        for (int i = 0; i < 500 && !std::filesystem::exists(temp); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        ASSERT_TRUE(std::filesystem::exists(temp));
        kill(bg.pid, sig);
        int status = 0;
        ASSERT_EQ(waitpid(bg.pid, &status, 0), bg.pid);
        close(bg.stdinFd);
        ASSERT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), sig);
        EXPECT_EQ(Files(dir), std::vector<std::string>{});
    }
}

}  // namespace
