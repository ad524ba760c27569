#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <RZFilterFunc/RZFilterFunc.h>

namespace tooltest {

struct RunResult {
    int exitCode;  // -1 when the tool did not exit normally
    std::string out, err;
};
// The tool started in dir with space-separated arguments, stdout and stderr
// to files there, standard input from stdinFile (relative to dir) or, when
// that is empty, from a pipe whose write end is stdinFd.
struct Background {
    int pid = -1, stdinFd = -1;
};
Background StartTool(const std::string& args, const std::string& dir,
                     const std::string& stdinFile = "");
// Runs the tool to its end; an empty stdinFile gives it an empty input.
RunResult RunTool(const std::string& args, const std::string& dir,
                  const std::string& stdinFile = "");

std::string FreshDir(const std::string& name);  // new and empty, for one test
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);
// Sorted, sub-directories included, .stdout and .stderr left out.
std::vector<std::string> Files(const std::string& dir);
std::vector<std::vector<double>> ReadCsv(const std::string& path);  // a header line skipped
bool IsUtf8(const std::string& s);                                  // GBK text is not
inline bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}
template <typename T>
std::string ToBytes(const std::vector<T>& v) {
    return std::string(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(T));
}
// Deterministic interleaved test signal: a few tones plus a pseudo-random part.
std::vector<float> TestSignal(int channels, int frames, double amplitude);
// 4000 samples of +-peak, the sign changing every 100.
std::vector<float> Square(float peak);

}  // namespace tooltest
