#include "OutputFile.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <system_error>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <process.h>
#else
#include <unistd.h>
#endif

namespace rzft {

namespace {

long ProcessId() {
#ifdef _WIN32
    return static_cast<long>(_getpid());
#else
    return static_cast<long>(getpid());
#endif
}

// Temporaries still to be removed if a signal ends the run. The handler may
// only read fixed storage, so the paths live in fixed slots; a slot is
// published by its flag after the path is written.
constexpr int kCleanupSlots = 8;
constexpr size_t kCleanupPathBytes = 4096;
char g_cleanupPath[kCleanupSlots][kCleanupPathBytes];
std::atomic<bool> g_cleanupUsed[kCleanupSlots];

int RegisterCleanup(const std::string& path) {
    if (path.size() >= kCleanupPathBytes) {
        return -1;
    }
    for (int i = 0; i < kCleanupSlots; ++i) {
        if (!g_cleanupUsed[i].load()) {
            std::memcpy(g_cleanupPath[i], path.c_str(), path.size() + 1);
            g_cleanupUsed[i].store(true);
            return i;
        }
    }
    return -1;
}

void UnregisterCleanup(int slot) {
    if (slot >= 0) {
        g_cleanupUsed[slot].store(false);
    }
}

extern "C" void RemoveTemporariesAndExit(int sig) {
    for (int i = 0; i < kCleanupSlots; ++i) {
        if (g_cleanupUsed[i].load()) {
#ifdef _WIN32
            _unlink(g_cleanupPath[i]);
#else
            unlink(g_cleanupPath[i]);
#endif
        }
    }
    // End through the same signal, so the parent sees how the run ended.
    std::signal(sig, SIG_DFL);
    std::raise(sig);
}

}  // namespace

void InstallInterruptCleanup() {
    std::signal(SIGINT, RemoveTemporariesAndExit);
    std::signal(SIGTERM, RemoveTemporariesAndExit);
}

OutputFile::OutputFile(std::string path) : m_path(std::move(path)) {
    if (!IsStdout()) {
        m_tempPath = m_path + ".part" + std::to_string(ProcessId());
        // Registered before anything (stdio or a plotting library) creates it.
        m_slot = RegisterCleanup(m_tempPath);
    }
}

OutputFile::~OutputFile() {
    if (!m_committed) {
        Discard();
    }
}

void OutputFile::Discard() {
    if (m_file != nullptr && !IsStdout()) {
        std::fclose(m_file);
    }
    m_file = nullptr;
    if (!IsStdout()) {
        std::remove(m_tempPath.c_str());
    }
    UnregisterCleanup(m_slot);
    m_slot = -1;
}

std::FILE* OutputFile::Open() {
    if (m_file != nullptr) {
        return m_file;
    }
    if (IsStdout()) {
#ifdef _WIN32
        _setmode(_fileno(stdout), _O_BINARY);
#endif
        m_file = stdout;
        return m_file;
    }
    m_file = std::fopen(m_tempPath.c_str(), "wb");
    if (m_file == nullptr) {
        throw ToolError("cannot create " + m_path + ": " + std::strerror(errno), kExitIo);
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
    if (IsStdout()) {
        Open();
        if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
            throw ToolError("cannot write to standard output", kExitIo);
        }
        m_committed = true;
        return;
    }
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
    UnregisterCleanup(m_slot);
    m_slot = -1;
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
