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
#include <iterator>
#include <sstream>

namespace tooltest {

namespace fs = std::filesystem;

Background StartTool(const std::string& args, const std::string& dir,
                     const std::string& stdinFile) {
    std::istringstream in(args);
    std::vector<std::string> words{RZF_TOOL_PATH};
    words.insert(words.end(), std::istream_iterator<std::string>(in), {});
    std::vector<char*> argv;
    for (std::string& w : words) {
        argv.push_back(w.data());
    }
    argv.push_back(nullptr);
    const std::string out = dir + "/.stdout", err = dir + "/.stderr", input = dir + "/" + stdinFile;
    int fds[2];
    const int pid = pipe(fds) == 0 ? fork() : -1;
    if (pid == 0) {
        dup2(stdinFile.empty() ? fds[0] : open(input.c_str(), O_RDONLY), 0);
        dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 1);
        dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 2);
        close(fds[1]);
        if (chdir(dir.c_str()) == 0) {
            execv(argv[0], argv.data());
        }
        _exit(127);
    }
    close(fds[0]);
    return {pid, fds[1]};
}

RunResult RunTool(const std::string& args, const std::string& dir, const std::string& stdinFile) {
    const Background bg = StartTool(args, dir, stdinFile);
    close(bg.stdinFd);
    int status = 0;
    if (bg.pid <= 0 || waitpid(bg.pid, &status, 0) != bg.pid) {
        return {-1, "", "could not run the tool"};
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(dir + "/.stdout"),
            ReadFile(dir + "/.stderr")};
}

std::string FreshDir(const std::string& name) {
    const fs::path dir = fs::path(RZF_TOOL_WORK_DIR) / name;
    fs::remove_all(dir);
    fs::create_directories(dir);
    return dir.string();
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

std::vector<std::string> Files(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::recursive_directory_iterator(dir)) {
        if (e.is_regular_file() && e.path().filename().string()[0] != '.') {  // not .stdout
            names.push_back(fs::relative(e.path(), dir).string());
        }
    }
    std::sort(names.begin(), names.end());
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
            EXPECT_EQ(*end, '\0') << path << ": " << line;
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
    for (size_t k = 0, n = static_cast<size_t>(channels); k < s.size(); ++k) {
        const double i = static_cast<double>(k / n), c = static_cast<double>(k % n);
        seed = seed * 1664525u + 1013904223u;
        const double noise = (static_cast<double>(seed >> 8) / 16777216.0 - 0.5) * 0.3;
        s[k] = static_cast<float>(
            amplitude * (std::sin(0.05 * (c + 1) * i) + 0.5 * std::sin(1.3 * i + c) + noise));
    }
    return s;
}

std::vector<float> Square(float peak) {
    std::vector<float> s(4000);
    for (size_t i = 0; i < s.size(); ++i) {
        s[i] = (i / 100) % 2 == 0 ? peak : -peak;
    }
    return s;
}

}  // namespace tooltest
