#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "ToolTestSupport.h"

namespace {

using tooltest::RunTool;
using tooltest::ToBytes;

std::string PackInt24(const std::vector<float>& s) {
    std::string out;
    for (float v : s) {
        const std::int32_t x = static_cast<std::int32_t>(v);
        out += {static_cast<char>(x & 0xFF), static_cast<char>((x >> 8) & 0xFF),
                static_cast<char>((x >> 16) & 0xFF)};
    }
    return out;
}

// Edges 3 and 4 at 160 and 200 Hz, 0.3 dB ripple, 40 dB attenuation.
CFilterParam Param(int method, int band, double f1, double f2, int taps) {
    return CFilterParam{method, taps, band, 0, 0.0, f1, 160.0, f2, 200.0, 0.3, 40.0, 10.0};
}

// The whole recording through the frame filter in one call.
std::string FilterDirect(std::string bytes, int channels, int width, int type, float fs,
                         CFilterParam p) {
    CChnsFilterFunc f;
    EXPECT_TRUE(f.Init(channels, width, fs));
    for (int c = 0; c < channels; ++c) {
        f.DesignFilter(c, &p);
    }
    f.InputDataAndDeal(bytes.data(), type, static_cast<int>(bytes.size()));
    return bytes;
}

// Filtering a generated recording gives exactly what the frame filter gives
// when the host hands it the whole recording at once.
TEST(StreamTool, FilterMatchesLibrary) {
    struct Case {
        const char* args;
        int width, type, method, taps;
    };
    const std::vector<Case> cases = {
        {"-f int16 --f1 100 --f2 200", 2, 0, 0, 9},
        {"-f float32 -m window --f1 100 --taps 31", 4, 1, 3, 31},
        {"-f int32 -m average --f1 100 --taps 9", 4, 2, 5, 9},
    };
    const std::vector<float> signal = tooltest::TestSignal(3, 3000, 9000.0);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        const std::string dir = tooltest::FreshDir("filter_matches");
        const std::string in =
            c.type == 0   ? ToBytes(std::vector<std::int16_t>(signal.begin(), signal.end()))
            : c.type == 1 ? ToBytes(signal)
                          : ToBytes(std::vector<std::int32_t>(signal.begin(), signal.end()));
        tooltest::WriteFile(dir + "/in.raw", in);
        const tooltest::RunResult r =
            RunTool(std::string("filter in.raw out.raw -c 3 --fs 1000 --block 333 ") + c.args, dir);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        const std::string expected =
            FilterDirect(in, 3, c.width, c.type, 1000.0f, Param(c.method, 1, 100, 200, c.taps));
        const std::string got = tooltest::ReadFile(dir + "/out.raw");
        EXPECT_EQ(got.size(), in.size());
        EXPECT_TRUE(got == expected);
        EXPECT_FALSE(got == in);  // something was filtered
    }
}

// Hand-derived results from CSV, across block boundaries, with one channel
// selected and the other passed through untouched: a 4-tap moving average
// turns a step into 0.25, 0.5, 0.75, 1; the trapezoid integral of a constant
// 2.0 at 1 Hz is 0, 2, 4, ...
TEST(StreamTool, HandDerivedCsvResults) {
    const std::string dir = tooltest::FreshDir("csv_hand");
    tooltest::WriteFile(dir + "/step.csv", "signal,other\n0,5\n1,5\n1,5\n1,5\n1,5\n1,5\n");
    tooltest::RunResult r =
        RunTool("filter step.csv out.csv -m average --taps 4 --fs 1000 --block 2 --select 0", dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string text = tooltest::ReadFile(dir + "/out.csv");
    EXPECT_EQ(text.substr(0, text.find('\n')), "signal,other");  // header kept
    EXPECT_EQ(
        tooltest::ReadCsv(dir + "/out.csv"),
        (std::vector<std::vector<double>>{{0, 5}, {0.25, 5}, {0.5, 5}, {0.75, 5}, {1, 5}, {1, 5}}));

    tooltest::WriteFile(dir + "/const.csv", "2,7\n2,7\n2,7\n2,7\n2,7\n2,7\n");
    r = RunTool("integrate const.csv int.csv --fs 1 --block 3 -s 0", dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(tooltest::ReadCsv(dir + "/int.csv"),
              (std::vector<std::vector<double>>{{0, 7}, {2, 7}, {4, 7}, {6, 7}, {8, 7}, {10, 7}}));
}

// Decimating packed 24-bit samples agrees with the decimator fed directly.
TEST(StreamTool, DecimateInt24MatchesLibrary) {
    const std::string dir = tooltest::FreshDir("decimate_int24");
    std::string in = PackInt24(tooltest::TestSignal(2, 5000, 3.0e6));
    tooltest::WriteFile(dir + "/in.i24", in);
    const tooltest::RunResult r = RunTool("decimate in.i24 out.i24 -c 2 -r 10 --block 500", dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;

    CFirFunc fir;
    bool flags[2] = {true, true};
    ASSERT_TRUE(fir.Init(2, 10, 500 * 2, flags, 3, true));
    const int written = fir.InputDataAndDeal(in.data(), 5000 * 2);
    const std::string got = tooltest::ReadFile(dir + "/out.i24");
    ASSERT_EQ(got.size(), static_cast<size_t>(written) * 3);
    EXPECT_TRUE(got == in.substr(0, got.size()));
    // 5000 frames / 10, less the 29 start-up frames of the ratio-10 cascade.
    EXPECT_EQ(written, (500 - 29) * 2);
}

// Bessel sections from the library's table agree with the class fed
// directly; a cut-off the table lacks is refused without output.
TEST(StreamTool, BesselMatchesLibraryAndRefusesUnknownCutoff) {
    const std::string dir = tooltest::FreshDir("bessel");
    const std::vector<float> signal = tooltest::TestSignal(2, 2000, 12000.0);
    std::string in = ToBytes(std::vector<std::int16_t>(signal.begin(), signal.end()));
    tooltest::WriteFile(dir + "/in.i16", in);
    tooltest::RunResult r = RunTool("bessel in.i16 out.i16 -c 2 --fs 1000 --cutoff 15", dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    CChnsBesselFilterFun b;
    ASSERT_TRUE(b.Init(2, 2, 1000.0f));
    b.DesignFilter(0, 15, true);
    b.DesignFilter(1, 15, true);
    b.InputDataAndDeal(in.data(), 0, static_cast<int>(in.size()));
    EXPECT_TRUE(tooltest::ReadFile(dir + "/out.i16") == in);

    r = RunTool("bessel in.i16 out2.i16 -c 2 --fs 1000 --cutoff 500", dir);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("no Bessel section"), std::string::npos) << r.err;
    EXPECT_FALSE(std::filesystem::exists(dir + "/out2.i16"));
}

// The block size a host chooses does not change any result.
TEST(StreamTool, BlockSizeDoesNotChangeResults) {
    const std::string dir = tooltest::FreshDir("blocks");
    tooltest::WriteFile(dir + "/in.f32", ToBytes(tooltest::TestSignal(2, 4000, 5000.0)));
    for (const char* cmd :
         {"filter --fs 1000 --f1 100 --f2 200", "filter --fs 1000 -m window --f1 100 --taps 41",
          "bessel --fs 1000 --cutoff 40", "decimate -r 5", "integrate --fs 1000"}) {
        SCOPED_TRACE(cmd);
        std::string first;
        for (const char* block : {"4000", "1", "7", "1024"}) {
            const tooltest::RunResult r =
                RunTool(std::string(cmd) + " in.f32 out.f32 -c 2 --block " + block, dir);
            ASSERT_EQ(r.exitCode, 0) << r.err;
            EXPECT_EQ(r.err, "");  // no progress line when stderr is not a terminal
            const std::string got = tooltest::ReadFile(dir + "/out.f32");
            ASSERT_FALSE(got.empty());
            first = first.empty() ? got : first;
            EXPECT_TRUE(got == first) << "block " << block;
        }
    }
}

// Truncated, malformed or missing recordings (exit status 3), option values
// that do not fit the input (2) and a specification the designer refuses (1):
// a clear message in UTF-8, and neither the output nor a temporary left
// behind.
TEST(StreamTool, BadInputOrRefusedSpecificationWritesNothing) {
    struct Case {
        std::string content;
        const char* args;
        int exitCode;
        const char* expect;
    };
    const std::vector<Case> cases = {
        {std::string(4001, '\x01'), "filter in out -f int16 -c 2 -m average", 3, "truncated"},
        {std::string(6, '\0'), "integrate in out -f float32 -c 1 --fs 10", 3, "truncated"},
        {std::string(3 * 2 * 100 + 4, '\0'), "decimate in out -f int24 -c 2 -r 2", 3, "truncated"},
        {"a,b\n1,2\n3,x\n4,5\n", "filter in out -f csv -m average", 3,
         "line 3, column 2: 'x' is not a number"},
        {"1,2\n3,4\n5\n", "integrate in out -f csv --fs 10", 3,
         "line 3: 1 columns where 2 were expected"},
        {"", "integrate in out -f int16 -c 1 --fs 10", 3, "no samples"},
        {"1\n", "integrate nothere.csv out.csv --fs 10", 3, "cannot open nothere.csv"},
        {"1,2\n3,4\n", "integrate in out -f csv --fs 10 -s 0,2", 2, "channel 2 does not exist"},
        {std::string(12, '\0'), "filter in out -f int24 -c 2", 2, "decimate only"},
        {"1\n", "filter in out", 2, "cannot tell the format of in"},
        {"1\n", "filter in out -f csv --block 0", 2, "--block must be between"},
        {"1\n", "filter in out -f csv --out-format int8", 2, "--out-format must be"},
        {"1\n", "decimate in out -f csv -r 3", 2, "ratio 3 is not available"},
        {"1\n2\n3\n", "filter in out -f csv --fs 1000 --atten 170", 1,
         "阻带衰减范围20-160dB！ (the stop-band attenuation must be between 20 and 160 dB)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        const std::string dir = tooltest::FreshDir("bad_input");
        tooltest::WriteFile(dir + "/in", c.content);
        const tooltest::RunResult r = RunTool(c.args, dir);
        EXPECT_EQ(r.exitCode, c.exitCode);
        EXPECT_NE(r.err.find(c.expect), std::string::npos) << r.err;
        EXPECT_TRUE(tooltest::IsUtf8(r.err));
        EXPECT_EQ(tooltest::ListDir(dir), std::vector<std::string>{"in"});
    }
}

// With no arguments the tool designs the default specification, filters its
// built-in signal and says where everything went; the filtered signal is what
// the frame filter gives for the written input.
TEST(StreamTool, DefaultRun) {
    const std::string dir = tooltest::FreshDir("default_run");
    const tooltest::RunResult r = RunTool("-o out", dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (const char* f : {"response.csv", "response.svg", "response.png", "signal-in.csv",
                          "signal-out.csv", "signal.svg", "signal.png"}) {
        EXPECT_TRUE(std::filesystem::exists(dir + "/out/" + f)) << f;
        EXPECT_NE(r.out.find(f), std::string::npos) << f;
    }
    EXPECT_NE(r.out.find(dir + "/out"), std::string::npos) << r.out;
    // The library's default specification asks Butterworth for order 12 (see
    // the design tests), above its low-pass limit of 10; the default run says
    // so and designs the same specification with Chebyshev type I.
    EXPECT_NE(r.out.find("阶数太大，滤波器不稳定，返回"), std::string::npos) << r.out;

    const auto in = tooltest::ReadCsv(dir + "/out/signal-in.csv");
    const auto out = tooltest::ReadCsv(dir + "/out/signal-out.csv");
    ASSERT_FALSE(in.empty());
    ASSERT_EQ(in.size(), out.size());
    const size_t channels = in[0].size();
    EXPECT_GE(channels, 2u);
    std::vector<float> frames;
    for (const auto& row : in) {
        frames.insert(frames.end(), row.begin(), row.end());
    }
    const FilterUser d;
    const std::string expected = FilterDirect(
        ToBytes(frames), static_cast<int>(channels), 4, 1, static_cast<float>(d.m_dSampleFreq),
        Param(DM_CHEBYSHEV1, d.m_nBandType, d.m_dFreq1, d.m_dFreq2, d.m_nFIRLength));
    std::vector<float> want(frames.size());
    std::memcpy(want.data(), expected.data(), expected.size());
    for (size_t i = 0; i < out.size(); ++i) {
        for (size_t c = 0; c < channels; ++c) {
            ASSERT_EQ(static_cast<float>(out[i][c]), want[i * channels + c])
                << "frame " << i << " channel " << c;
        }
    }
}

}  // namespace
