#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <RZFilterFunc/RZFilterFunc.h>

namespace tooltest {

struct RunResult {
    int exitCode;
    std::string out, err;
};

// A fresh, empty directory for one test.
std::string FreshDir(const std::string& name);
// Runs the tool inside dir with space-separated arguments (paths relative to dir).
// stdinFile (relative to dir) feeds standard input; empty means /dev/null.
RunResult RunTool(const std::string& args, const std::string& dir,
                  const std::string& stdinFile = "");

// The tool started in the background inside dir, its standard input a pipe
// the test holds open (so the tool waits for data); stdout and stderr go to
// files in dir.
struct Background {
    int pid = -1;
    int stdinFd = -1;
};
Background StartTool(const std::string& args, const std::string& dir);

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);
// Names of the files in dir (no directories).
std::vector<std::string> ListDir(const std::string& dir);
// Numbers of a CSV file, row by row (a header line is skipped).
std::vector<std::vector<double>> ReadCsv(const std::string& path);
// Whether the bytes are well-formed UTF-8 (GBK text is not).
bool IsUtf8(const std::string& s);

template <typename T>
std::string ToBytes(const std::vector<T>& v) {
    return std::string(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(T));
}

// Deterministic test signal: a few tones plus a pseudo-random part.
std::vector<float> TestSignal(int channels, int frames, double amplitude);

}  // namespace tooltest
