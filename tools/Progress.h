#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace rzft {

// A one-line progress indicator on stderr, shown only when stderr is a
// terminal (so pipes and log files stay clean).
class Progress {
public:
    Progress(std::string label, std::uint64_t total);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();
    void Update(std::uint64_t done);

private:
    std::string m_label;
    std::uint64_t m_total;
    bool m_enabled;
    bool m_shown = false;
    std::chrono::steady_clock::time_point m_last;
};

}  // namespace rzft
