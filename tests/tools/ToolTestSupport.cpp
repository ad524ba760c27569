#include "ToolTestSupport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace tooltest {

namespace fs = std::filesystem;

std::string FreshDir(const std::string& name) {
    const fs::path dir = fs::path(RZF_TOOL_WORK_DIR) / name;
    fs::remove_all(dir);
    fs::create_directories(dir);
    return dir.string();
}

namespace {

std::string Quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) {
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return q + "'";
}

}  // namespace

RunResult RunTool(const std::string& args, const std::string& dir, const std::string& stdinFile) {
    const std::string outPath = dir + "/.stdout";
    const std::string errPath = dir + "/.stderr";
    std::string cmd = "cd " + Quote(dir) + " && " + Quote(RZF_TOOL_PATH);
    std::istringstream words(args);
    for (std::string w; words >> w;) {
        cmd += " " + Quote(w);
    }
    cmd += " >" + Quote(outPath) + " 2>" + Quote(errPath) + " <" +
           (stdinFile.empty() ? std::string("/dev/null") : Quote(stdinFile));
    const int status = std::system(cmd.c_str());
    RunResult r{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(outPath), ReadFile(errPath)};
    fs::remove(outPath);
    fs::remove(errPath);
    return r;
}

Background StartTool(const std::string& args, const std::string& dir) {
    std::vector<std::string> words{RZF_TOOL_PATH};
    std::istringstream in(args);
    for (std::string w; in >> w;) {
        words.push_back(w);
    }
    int fds[2];
    if (pipe(fds) != 0) {
        return {};
    }
    const std::string outPath = dir + "/.stdout";
    const std::string errPath = dir + "/.stderr";
    const int pid = fork();
    if (pid == 0) {
        dup2(fds[0], 0);
        close(fds[0]);
        close(fds[1]);
        const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(out, 1);
        dup2(err, 2);
        if (chdir(dir.c_str()) != 0) {
            _exit(127);
        }
        std::vector<char*> argv;
        for (std::string& w : words) {
            argv.push_back(w.data());
        }
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(fds[0]);
    return {pid, fds[1]};
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::vector<std::string> ListDir(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) {
        if (e.is_regular_file()) {
            names.push_back(e.path().filename().string());
        }
    }
    return names;
}

std::vector<std::vector<double>> ReadCsv(const std::string& path) {
    std::vector<std::vector<double>> rows;
    std::istringstream in(ReadFile(path));
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || (rows.empty() && std::isalpha(static_cast<unsigned char>(line[0])))) {
            continue;
        }
        std::vector<double> row;
        std::istringstream fields(line);
        for (std::string f; std::getline(fields, f, ',');) {
            char* end = nullptr;
            row.push_back(std::strtod(f.c_str(), &end));
            EXPECT_TRUE(end != f.c_str() && *end == '\0') << path << ": " << line;
        }
        rows.push_back(row);
    }
    return rows;
}

bool IsUtf8(const std::string& s) {
    for (size_t i = 0, n = 0; i < s.size(); i += n) {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (n == 0 || i + n > s.size()) {
            return false;
        }
        for (size_t k = 1; k < n; ++k) {
            if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) {
                return false;
            }
        }
    }
    return true;
}

std::vector<float> TestSignal(int channels, int frames, double amplitude) {
    std::vector<float> s(static_cast<size_t>(channels) * static_cast<size_t>(frames));
    std::uint32_t seed = 12345u;
    for (int i = 0; i < frames; ++i) {
        for (int c = 0; c < channels; ++c) {
            seed = seed * 1664525u + 1013904223u;
            const double noise = (static_cast<double>(seed >> 8) / 16777216.0 - 0.5) * 0.3;
            const double tone = std::sin(0.05 * (c + 1) * i) + 0.5 * std::sin(1.3 * i + c);
            s[static_cast<size_t>(i) * channels + c] =
                static_cast<float>(amplitude * (tone + noise));
        }
    }
    return s;
}

}  // namespace tooltest
