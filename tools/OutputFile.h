#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>

namespace rzft {

// A failure the user must hear about; the exit code says which kind.
class ToolError : public std::runtime_error {
public:
    ToolError(const std::string& message, int exitCode)
        : std::runtime_error(message), m_exitCode(exitCode) {}
    int ExitCode() const { return m_exitCode; }

private:
    int m_exitCode;
};

// Exit codes of the tool (listed in `rzfilter --help`). A run stopped by
// SIGINT or SIGTERM ends through that signal (shells show 130 or 143).
inline constexpr int kExitOk = 0;
inline constexpr int kExitRefused = 1;   // the library refused or could not design the filter
inline constexpr int kExitUsage = 2;     // bad command line: unknown option, missing or bad value
inline constexpr int kExitIo = 3;        // unreadable, truncated or malformed input; write failure
inline constexpr int kExitInternal = 4;  // anything else (out of memory, unexpected failure)

// The name that stands for standard input or standard output.
inline constexpr const char* kStdStream = "-";

// A result file that appears only when complete: everything goes to a temporary
// name beside the target, renamed over it by Commit. Dropped uncommitted, or
// when the run is interrupted by SIGINT or SIGTERM, the temporary is removed,
// so a failed run leaves no partial output. The path "-" writes to standard
// output directly (a pipe cannot be taken back, so a failure there is only
// reported).
class OutputFile {
public:
    explicit OutputFile(std::string path);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    const std::string& Path() const { return m_path; }
    const std::string& TempPath() const { return m_tempPath; }
    bool IsStdout() const { return m_path == kStdStream; }
    // Opens the temporary for binary writing (for writers that use stdio).
    std::FILE* Open();
    void Write(const void* data, size_t bytes);
    void Commit();

private:
    void Discard();

    std::string m_path;
    std::string m_tempPath;
    std::FILE* m_file = nullptr;
    int m_slot = -1;  // entry in the interrupt clean-up list
    bool m_committed = false;
};

// Installs the SIGINT/SIGTERM handlers that remove unfinished temporaries
// before the process ends through the signal.
void InstallInterruptCleanup();

// Creates the directory (and its parents) when missing.
void EnsureDirectory(const std::string& dir);
std::string JoinPath(const std::string& dir, const std::string& name);

}  // namespace rzft
