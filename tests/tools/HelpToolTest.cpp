#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Messages.h"
#include "ToolTestSupport.h"

namespace {

using tooltest::RunTool;

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Each command's help lists the options it takes and no others, and the
// commands that design explain f1..f4; the main help documents the exit codes.
TEST(HelpTool, EachCommandListsItsOwnOptions) {
    struct Case {
        const char* command;
        std::vector<const char*> present;
        std::vector<const char*> absent;
    };
    const std::vector<Case> cases = {
        {"--help", {"Exit codes:", "2  usage", "3  input/output", "1  the library refused"}, {}},
        {"design --help",
         {"-m,--method", "kaiser", "-n,--taps", "-w,--window", "--transition", "--db-range",
          "--log-freq", "bandpass  f1 lower stop, f2 lower pass, f3 upper pass, f4 upper stop",
          "lowpass, highpass: f1 cut-off", "bandpass  f2 lower stop, f1 lower pass"},
         {}},
        {"kaiser --help",
         {"--atten", "--transition", "highpass  f2 stop edge, f1 pass edge"},
         {"-n,", "--taps", "-w,", "--window", "--ripple", "-m,", "butterworth"}},
        {"filter --help",
         {"-m,--method", "--out-format", "--progress", "f1 pass edge, f2 stop edge"},
         {"kaiser", "--transition", "--db-range"}},
        {"decimate --help", {"--keep-start", "only these are written"}, {"--cutoff", "--f1"}},
        {"bessel --help", {"--cutoff", "pairs"}, {"--f1", "-m,"}},
    };
    const std::string dir = tooltest::FreshDir("help");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.command);
        const tooltest::RunResult r = RunTool(c.command, dir);
        EXPECT_EQ(r.exitCode, 0);
        for (const char* p : c.present) {
            EXPECT_TRUE(Has(r.out, p)) << p;
        }
        for (const char* a : c.absent) {
            EXPECT_FALSE(Has(r.out, a)) << a;
        }
    }
}

// Exit codes by kind of failure: 2 for the command line, 3 for input and
// output, 1 for a refused specification.
TEST(HelpTool, ExitCodesFollowTheDocumentedTable) {
    struct Case {
        const char* args;
        int code;
    };
    const std::vector<Case> cases = {
        {"design --no-files", 1},  // the default Butterworth needs order 12
        {"design --no-files -m cheby1", 0},
        {"design --bogus", 2},
        {"filter", 2},                           // input and output missing
        {"filter in.csv out.csv -m kaiser", 2},  // not a method of the frame filter
        {"design --no-files -b sideways", 2},
        {"kaiser --no-files -n 5", 2},   // not an option of kaiser
        {"decimate in.csv out.csv", 2},  // --ratio missing
        {"integrate missing.csv out.csv --fs 10", 3},
        {"filter in.csv out.csv --fs 1000 --f1 600 --f2 700", 1},
    };
    const std::string dir = tooltest::FreshDir("exit_codes");
    tooltest::WriteFile(dir + "/in.csv", "1\n2\n");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        EXPECT_EQ(RunTool(c.args, dir).exitCode, c.code);
    }
}

std::string FromHex(const std::string& hex) {
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

// Every message the designer can give has an English gloss: the validation
// messages from the reference list (GBK bytes written by a script from the
// texts) and the order message, taken from the library itself.
TEST(HelpTool, EveryLibraryMessageHasAGloss) {
    std::ifstream list(std::string(RZF_TOOL_DATA_DIR) + "/filter/messages_gbk.txt");
    ASSERT_TRUE(list.good());
    int count = 0;
    for (std::string key, hex; list >> key;) {
        size_t length = 0;
        list >> length >> hex;
        const std::string gbk = FromHex(hex);
        ASSERT_EQ(gbk.size(), length) << key;
        EXPECT_FALSE(rzft::EnglishGloss(gbk).empty()) << key;
        ++count;
    }
    EXPECT_EQ(count, 12);

    FilterUser user;  // the library's default Butterworth low-pass needs order 12
    ASSERT_TRUE(user.DesignFilter());
    ASSERT_FALSE(user.GetIsStability());
    const std::string order = user.GetErrorMessage();
    EXPECT_NE(rzft::EnglishGloss(order).find("order"), std::string::npos);
    EXPECT_EQ(rzft::ShowLibraryMessage(order),
              "阶数太大，滤波器不稳定，返回 (" + rzft::EnglishGloss(order) + ")");
    EXPECT_EQ(rzft::EnglishGloss("not a library message"), "");
}

// A cut-off the Bessel table lacks is refused with the pairs the table holds:
// cut-off 4 Hz at 10, 20, 50, 100, 200, 500 and 1000 Hz, 15 Hz from 50 Hz,
// 40 Hz from 100 Hz and 100 Hz at 500 and 1000 Hz (18 pairs).
TEST(HelpTool, RefusedBesselPairListsTheTable) {
    const std::string dir = tooltest::FreshDir("bessel_pairs");
    tooltest::WriteFile(dir + "/in.csv", "1\n2\n");
    const tooltest::RunResult r = RunTool("bessel in.csv out.csv --fs 1000 --cutoff 20", dir);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(Has(r.err,
                    "pairs (Hz): 4/10, 4/20, 4/50, 15/50, 4/100, 15/100, 40/100, 4/200, 15/200, "
                    "40/200, 4/500, 15/500, 40/500, 100/500, 4/1000, 15/1000, 40/1000, "
                    "100/1000\n"))
        << r.err;
    EXPECT_FALSE(std::filesystem::exists(dir + "/out.csv"));
}

}  // namespace
