#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "ToolTestSupport.h"

namespace {

using tooltest::RunTool;
using tooltest::ToBytes;

// "-" reads standard input and writes standard output; the bytes are those of
// the same run between files, and the report moves to stderr.
TEST(PipeTool, DashReadsStdinAndWritesStdout) {
    const std::string dir = tooltest::FreshDir("pipe");
    tooltest::WriteFile(dir + "/in.i16",
                        ToBytes(std::vector<std::int16_t>{100, -200, 300, 4000, -5000, 600, 70}));
    const char* spec = " -f int16 -c 1 -m average -n 3 --fs 100 --f1 10";
    tooltest::RunResult r = RunTool(std::string("filter in.i16 file.i16") + spec, dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string expected = tooltest::ReadFile(dir + "/file.i16");

    r = RunTool(std::string("filter - -") + spec, dir, "in.i16");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(r.out == expected);
    EXPECT_NE(r.err.find("Wrote standard output: 7 frames"), std::string::npos) << r.err;

    // Standard input has no name to take the format from.
    r = RunTool("filter - out.i16 -c 1 -m average --fs 100 --f1 10", dir, "in.i16");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.err.find("give --format"), std::string::npos) << r.err;
}

// SIGINT and SIGTERM in the middle of a run (the tool waits for more input on
// a pipe, its output file open) remove the temporary, and the run ends
// through the signal.
TEST(PipeTool, InterruptRemovesTheTemporaryOutput) {
    for (int sig : {SIGINT, SIGTERM}) {
        SCOPED_TRACE(sig);
        const std::string dir = tooltest::FreshDir("interrupt");
        const tooltest::Background bg =
            tooltest::StartTool("integrate - out.raw -f int16 -c 1 --fs 10", dir);
        ASSERT_GT(bg.pid, 0);
        const std::string block(4096, '\x01');
        ASSERT_EQ(write(bg.stdinFd, block.data(), block.size()),
                  static_cast<ssize_t>(block.size()));
        const std::string temp = dir + "/out.raw.part" + std::to_string(bg.pid);
        for (int i = 0; i < 500 && !std::filesystem::exists(temp); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        ASSERT_TRUE(std::filesystem::exists(temp));
        kill(bg.pid, sig);
        int status = 0;
        ASSERT_EQ(waitpid(bg.pid, &status, 0), bg.pid);
        close(bg.stdinFd);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == sig);
        EXPECT_FALSE(std::filesystem::exists(temp));
        EXPECT_FALSE(std::filesystem::exists(dir + "/out.raw"));
    }
}

int CountLines(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++n;
    }
    return n;
}

// Progress on stderr when it is not a terminal: --progress ends with a
// summary line; a short interval gives periodic lines with the rate and the
// time left; without either a short run prints nothing.
TEST(PipeTool, ProgressLinesForLogs) {
    const std::string dir = tooltest::FreshDir("progress");
    tooltest::WriteFile(dir + "/in.f32", ToBytes(tooltest::TestSignal(2, 50000, 100.0)));
    const char* run = "integrate in.f32 out.f32 -c 2 --fs 100 --block 100";
    tooltest::RunResult r = RunTool(std::string(run) + " --progress", dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.err.find("rzfilter: integrating: 100.0% (0.4 of 0.4 MB)"), std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("MB/s, done in"), std::string::npos) << r.err;

    r = RunTool(std::string(run) + " --progress-interval 1e-9", dir);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_GE(CountLines(r.err, "left\n"), 10) << r.err;

    r = RunTool(run, dir);
    EXPECT_EQ(r.err, "");

    r = RunTool("integrate - out.f32 -f float32 -c 2 --fs 100 --progress", dir, "in.f32");
    EXPECT_NE(r.err.find("rzfilter: integrating: 0.4 MB,"), std::string::npos) << r.err;
}

}  // namespace
