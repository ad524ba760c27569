#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace rzft {

// How progress is shown on stderr.
struct ProgressOptions {
    bool forced = false;  // --progress: show it even for short runs, with a final line
    // Seconds between lines when stderr is not a terminal (logs, pipes);
    // long jobs report this way even without --progress. 0 turns them off.
    double logInterval = 60.0;
};

// Progress of one streaming job: on a terminal, one line rewritten in place;
// otherwise a plain line every logInterval seconds. Each shows the share done
// (when the input size is known), the rate and the estimated time left.
class Progress {
public:
    Progress(std::string label, std::uint64_t total, const ProgressOptions& options);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();
    void Update(std::uint64_t done);
    // The last line, once the job went through.
    void Finish(std::uint64_t done);

private:
    std::string Line(std::uint64_t done, double seconds) const;
    void Show(std::uint64_t done, double seconds);

    std::string m_label;
    std::uint64_t m_total;
    ProgressOptions m_options;
    bool m_terminal;
    bool m_shown = false;
    bool m_finished = false;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_last;
};

}  // namespace rzft
