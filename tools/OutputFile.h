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

// Exit codes of the tool.
inline constexpr int kExitRefused = 1;  // the library refused or could not design the filter
inline constexpr int kExitIo = 2;       // unreadable, truncated or malformed input; write failure

// A result file that appears only when complete: everything goes to a temporary
// name beside the target, renamed over it by Commit. Dropped uncommitted, the
// temporary is removed, so a failed run leaves no partial output.
class OutputFile {
public:
    explicit OutputFile(std::string path);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    const std::string& Path() const { return m_path; }
    const std::string& TempPath() const { return m_tempPath; }
    // Opens the temporary for binary writing (for writers that use stdio).
    std::FILE* Open();
    void Write(const void* data, size_t bytes);
    void Commit();

private:
    std::string m_path;
    std::string m_tempPath;
    std::FILE* m_file = nullptr;
    bool m_committed = false;
};

// Creates the directory (and its parents) when missing.
void EnsureDirectory(const std::string& dir);
std::string JoinPath(const std::string& dir, const std::string& name);

}  // namespace rzft
