#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>

#include "ToolTestSupport.h"

namespace {

using tooltest::RunTool;
using tooltest::ToBytes;

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string PackInt24(const std::vector<std::int32_t>& s) {
    std::string out;
    for (std::int32_t x : s) {
        out += {static_cast<char>(x & 0xFF), static_cast<char>((x >> 8) & 0xFF),
                static_cast<char>((x >> 16) & 0xFF)};
    }
    return out;
}

// A full-scale square wave overshoots after a sharp low-pass: the integer
// output wraps (16-bit filter) or clamps (24-bit decimation). The tool counts
// those samples exactly: the reference count comes from the library fed the
// same samples as floats, and every other output must be that float value
// truncated. --out-format float32 writes the float results themselves.
TEST(HazardTool, IntegerOverflowIsCountedAndFloatOutputKeepsIt) {
    struct Case {
        const char* args;
        bool int24;
        const char* kind;
    };
    const std::vector<Case> cases = {
        {"filter in out.raw -f int16 -c 1 -m cheby1 --fs 1000 --f1 100 --f2 150", false,
         "wrapped around"},
        {"decimate in out.raw -f int24 -c 1 -r 2", true, "clamped to +-8388607"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        const double full = c.int24 ? 8380000.0 : 32000.0;
        std::vector<std::int32_t> wave(4000);
        for (size_t i = 0; i < wave.size(); ++i) {
            wave[i] = static_cast<std::int32_t>((i / 100) % 2 == 0 ? full : -full);
        }
        const std::string in = c.int24
                                   ? PackInt24(wave)
                                   : ToBytes(std::vector<std::int16_t>(wave.begin(), wave.end()));
        std::vector<float> asFloat(wave.begin(), wave.end());
        // The library's float path on the same values.
        std::vector<float> ref = asFloat;
        ref.push_back(0.0f);  // spare frame for the decimator
        size_t refFrames = 0;
        if (c.int24) {
            CFirFunc fir;
            bool flag = true;
            ASSERT_TRUE(fir.Init(1, 2, 1024, &flag, 1, true));
            refFrames = static_cast<size_t>(fir.InputDataAndDeal(
                reinterpret_cast<char*>(ref.data()), static_cast<int>(asFloat.size())));
        } else {
            CChnsFilterFunc f;
            ASSERT_TRUE(f.Init(1, 4, 1000.0f));
            CFilterParam p{DM_CHEBYSHEV1, 51,    1,     0,   0.0,  100.0,
                           160.0,         150.0, 200.0, 0.3, 40.0, 10.0};
            f.DesignFilter(0, &p);
            std::string buf = ToBytes(asFloat);
            f.InputDataAndDeal(buf.data(), 1, static_cast<int>(buf.size()));
            std::memcpy(ref.data(), buf.data(), buf.size());
            refFrames = asFloat.size();
        }
        // 16-bit: -32768..32767; 24-bit: the decimator clamps to +-8388607.
        const double hi = c.int24 ? 8388607.0 : 32767.0;
        const double lo = c.int24 ? -8388607.0 : -32768.0;
        size_t over = 0;
        for (size_t i = 0; i < refFrames; ++i) {
            over += std::trunc(ref[i]) > hi || std::trunc(ref[i]) < lo;
        }
        ASSERT_GT(over, 0u);

        const std::string dir = tooltest::FreshDir("overflow");
        tooltest::WriteFile(dir + "/in", in);
        tooltest::RunResult r = RunTool(c.args, dir);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_TRUE(Has(r.err, "warning: " + std::to_string(over) + " output samples left the"))
            << r.err;
        EXPECT_TRUE(Has(r.err, c.kind)) << r.err;
        // In range, the integer output is the float result truncated.
        const std::string got = tooltest::ReadFile(dir + "/out.raw");
        const size_t width = c.int24 ? 3 : 2;
        ASSERT_EQ(got.size(), refFrames * width);
        for (size_t i = 0; i < refFrames; ++i) {
            std::int32_t v = 0;
            if (c.int24) {
                const auto* b = reinterpret_cast<const unsigned char*>(got.data() + 3 * i);
                v = b[0] | (b[1] << 8) | (b[2] << 16);
                v = (b[2] & 0x80) ? v - (1 << 24) : v;
            } else {
                std::int16_t s;
                std::memcpy(&s, got.data() + 2 * i, 2);
                v = s;
            }
            const double t = std::trunc(ref[i]);
            if (t <= hi && t >= lo) {
                ASSERT_EQ(v, static_cast<std::int32_t>(t)) << i;
            }
        }

        r = RunTool(std::string(c.args) + " --out-format float32", dir);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.err, "");  // nothing wrapped; .raw names no sample type
        const std::string floats = tooltest::ReadFile(dir + "/out.raw");
        ASSERT_EQ(floats.size(), refFrames * 4);
        EXPECT_EQ(std::memcmp(floats.data(), ref.data(), floats.size()), 0);
    }
}

// The decimator's output lags its input by the cascade's delay; the report
// says by how much. A ramp n on channel 0 divided by a constant on channel 1
// (which cancels the cascade's gain) reads back the input frame each output
// frame stands for. Hand-derived: ratio 2 has one 45-tap stage, delay 22
// frames, start-up span 23 outputs: frame k stands for 2k + 46 - 22. Ratio 10
// has 44 taps /5 then 48 taps /2: delay 21.5 + 23.5 * 5 = 139, span 29:
// 10k + 290 - 139 = 10k + 151. With --keep-start, frame k stands for
// ratio * k - delay once the start-up span is over.
TEST(HazardTool, DecimateReportsAndKeepsItsAlignment) {
    struct Case {
        int ratio;
        bool keepStart;
        double offset;
        const char* note;
        size_t firstValid;
    };
    const std::vector<Case> cases = {
        {2, false, 24, "output frame k lines up with input frame 2*k + 24", 0},
        {10, false, 151, "output frame k lines up with input frame 10*k + 151", 0},
        {10, true, -139, "output frame k lines up with input frame 10*k - 139", 29},
    };
    const std::string dir = tooltest::FreshDir("decimate_align");
    std::string csv;
    for (int i = 0; i < 6000; ++i) {
        csv += std::to_string(i) + ",1\n";
    }
    tooltest::WriteFile(dir + "/ramp.csv", csv);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.note);
        const tooltest::RunResult r =
            RunTool("decimate ramp.csv out.csv -r " + std::to_string(c.ratio) +
                        (c.keepStart ? " --keep-start" : ""),
                    dir);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_TRUE(Has(r.out, c.note)) << r.out;
        const auto rows = tooltest::ReadCsv(dir + "/out.csv");
        ASSERT_GT(rows.size(), c.firstValid + 100);
        for (size_t k = c.firstValid; k < rows.size(); ++k) {
            ASSERT_NEAR(rows[k][0] / rows[k][1], c.ratio * static_cast<double>(k) + c.offset, 0.05)
                << k;
        }
    }
}

// decimate -s writes only the selected channels; they are what the library
// gives for them, whatever the block size.
TEST(HazardTool, DecimateSelectWritesOnlySelectedChannels) {
    const std::string dir = tooltest::FreshDir("decimate_select");
    const std::vector<float> signal = tooltest::TestSignal(3, 3000, 1000.0);
    tooltest::WriteFile(dir + "/in.f32", ToBytes(signal));
    CFirFunc fir;
    bool flags[3] = {true, false, true};
    ASSERT_TRUE(fir.Init(3, 5, 3 * 3000, flags, 1, true));
    std::vector<float> lib = signal;
    lib.resize(lib.size() + 3);
    const int n = fir.InputDataAndDeal(reinterpret_cast<char*>(lib.data()), 3 * 3000);
    std::vector<float> want;
    for (int j = 0; j < n / 3; ++j) {
        want.push_back(lib[static_cast<size_t>(j) * 3]);
        want.push_back(lib[static_cast<size_t>(j) * 3 + 2]);
    }
    for (const char* block : {"3000", "7", "256"}) {
        SCOPED_TRACE(block);
        const tooltest::RunResult r =
            RunTool(std::string("decimate in.f32 out.f32 -c 3 -r 5 -s 0,2 --block ") + block, dir);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_TRUE(Has(r.out, "of 2 channels"));
        EXPECT_TRUE(tooltest::ReadFile(dir + "/out.f32") == ToBytes(want));
    }
}

// Silent changes made visible: NaN/Inf in the input, an even tap count made
// odd, and an output whose extension names another format.
TEST(HazardTool, WarningsForNonFiniteInputChangedTapsAndExtensions) {
    struct Case {
        const char* input;
        std::string content;
        const char* args;
        const char* warning;  // nullptr: no warning at all
    };
    const float nan = std::nanf("");
    const std::vector<Case> cases = {
        {"in.csv", "1,2\nnan,3\n4,inf\n5,6\n",
         "filter in.csv out.csv -m average -n 3 --fs 100 --f1 10",
         "the input holds 2 NaN or infinite samples (first: channel 0, frame 1)"},
        {"in.f32", ToBytes(std::vector<float>{1.0f, nan, 2.0f}),
         "integrate in.f32 out.f32 -c 1 --fs 10",
         "the input holds 1 NaN or infinite samples (first: channel 0, frame 1)"},
        {"in.csv", "1\n2\n", "filter in.csv out.csv -m window -n 50 --fs 1000",
         "the window design uses an odd tap count: 50 taps requested, 51 designed"},
        {"in.csv", "1\n2\n", "integrate in.csv x.raw --fs 10",
         "x.raw receives CSV text, which its extension does not suggest"},
        {"in.i16", std::string(8, '\0'), "integrate in.i16 x.f32 -c 1 --fs 10",
         "x.f32 receives int16 samples"},
        {"in.i16", std::string(8, '\0'), "integrate in.i16 x.i16 -c 1 --fs 10", nullptr},
        {"in.csv", "1\n2\n", "integrate in.csv x.csv --fs 10", nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        const std::string dir = tooltest::FreshDir("warnings");
        tooltest::WriteFile(dir + "/" + c.input, c.content);
        const tooltest::RunResult r = RunTool(c.args, dir);
        EXPECT_EQ(r.exitCode, 0) << r.err;
        if (c.warning == nullptr) {
            EXPECT_EQ(r.err, "");
        } else {
            EXPECT_TRUE(Has(r.err, std::string("rzfilter: warning: ") + c.warning)) << r.err;
        }
    }
    // Finite input must never come out NaN or infinite with success: a
    // full-scale float square wave overshoots past the float range after a
    // sharp low-pass (the float32 maximum is 3.40282e38), and a running
    // integral of it leaves the range after a few samples. Both runs fail
    // with exit 1 and write nothing.
    for (const char* args : {"filter in.f32 out.f32 -c 1 -m cheby1 --fs 1000 --f1 100 --f2 150",
                             "integrate in.f32 out.f32 -c 1 --fs 1"}) {
        SCOPED_TRACE(args);
        const std::string dir = tooltest::FreshDir("warnings_overflow");
        std::vector<float> square(4000);
        for (size_t i = 0; i < square.size(); ++i) {
            square[i] = (i / 100) % 2 == 0 ? 3.3e38f : -3.3e38f;
        }
        tooltest::WriteFile(dir + "/in.f32", ToBytes(square));
        const tooltest::RunResult r = RunTool(args, dir);
        EXPECT_EQ(r.exitCode, 1) << r.err;
        EXPECT_FALSE(std::filesystem::exists(dir + "/out.f32"));
        EXPECT_TRUE(Has(r.err, "channel 0 holds only finite samples")) << r.err;
        EXPECT_TRUE(Has(r.err, "nothing was written")) << r.err;
    }
    // The design command says it too, on stderr and in JSON.
    const std::string dir = tooltest::FreshDir("warnings_design");
    const tooltest::RunResult r =
        RunTool("design --json --no-files -m window -n 50 --fs 1000", dir);
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(Has(r.err, "50 taps requested, 51 designed"));
    EXPECT_TRUE(Has(r.out, "50 taps requested, 51 designed"));
}

}  // namespace
