#include "OutputFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#ifdef _WIN32
#include <process.h>
#define RZFT_GETPID _getpid
#else
#include <unistd.h>
#define RZFT_GETPID getpid
#endif

namespace rzft {

OutputFile::OutputFile(std::string path) : m_path(std::move(path)) {
    m_tempPath = m_path + ".part" + std::to_string(static_cast<long>(RZFT_GETPID()));
}

OutputFile::~OutputFile() {
    if (m_file != nullptr) {
        std::fclose(m_file);
    }
    if (!m_committed) {
        std::remove(m_tempPath.c_str());
    }
}

std::FILE* OutputFile::Open() {
    if (m_file == nullptr) {
        m_file = std::fopen(m_tempPath.c_str(), "wb");
        if (m_file == nullptr) {
            throw ToolError("cannot create " + m_path + ": " + std::strerror(errno), kExitIo);
        }
    }
    return m_file;
}

void OutputFile::Write(const void* data, size_t bytes) {
    std::FILE* f = Open();
    if (bytes > 0 && std::fwrite(data, 1, bytes, f) != bytes) {
        throw ToolError("cannot write " + m_path + ": " + std::strerror(errno), kExitIo);
    }
}

void OutputFile::Commit() {
    if (m_file != nullptr) {
        const bool failed = std::ferror(m_file) != 0;
        const int rc = std::fclose(m_file);
        m_file = nullptr;
        if (failed || rc != 0) {
            throw ToolError("cannot write " + m_path, kExitIo);
        }
    }
    std::error_code ec;
    std::filesystem::rename(m_tempPath, m_path, ec);
    if (ec) {
        throw ToolError("cannot move the result to " + m_path + ": " + ec.message(), kExitIo);
    }
    m_committed = true;
}

void EnsureDirectory(const std::string& dir) {
    if (dir.empty()) {
        return;
    }
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) {
        throw ToolError("cannot create directory " + dir + ": " + ec.message(), kExitIo);
    }
}

std::string JoinPath(const std::string& dir, const std::string& name) {
    if (dir.empty()) {
        return name;
    }
    return (std::filesystem::path(dir) / name).string();
}

}  // namespace rzft
