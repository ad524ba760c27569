#include "Progress.h"

#include <cstdio>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace rzft {

namespace {

// A terminal line appears once a job has run this long (short jobs stay quiet)
// and is redrawn at most this often.
constexpr double kTerminalDelaySeconds = 0.5;
constexpr double kTerminalRedrawSeconds = 0.2;

bool StderrIsTerminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}

double Since(std::chrono::steady_clock::time_point t) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

std::string Duration(double seconds) {
    char buf[32];
    if (seconds < 60.0) {
        std::snprintf(buf, sizeof buf, "%.0f s", seconds);
    } else if (seconds < 3600.0) {
        std::snprintf(buf, sizeof buf, "%d min %02d s", static_cast<int>(seconds / 60.0),
                      static_cast<int>(seconds) % 60);
    } else {
        std::snprintf(buf, sizeof buf, "%d h %02d min", static_cast<int>(seconds / 3600.0),
                      (static_cast<int>(seconds) / 60) % 60);
    }
    return buf;
}

}  // namespace

Progress::Progress(std::string label, std::uint64_t total, const ProgressOptions& options)
    : m_label(std::move(label)),
      m_total(total),
      m_options(options),
      m_terminal(StderrIsTerminal()),
      m_start(std::chrono::steady_clock::now()),
      m_last(m_start) {}

Progress::~Progress() {
    // An interrupted or failed job ends its terminal line so the error that
    // follows starts on a line of its own.
    if (m_terminal && m_shown && !m_finished) {
        std::fputc('\n', stderr);
    }
}

std::string Progress::Line(std::uint64_t done, double seconds) const {
    const double mb = static_cast<double>(done) / 1e6;
    const double rate = seconds > 0.0 ? mb / seconds : 0.0;
    char buf[256];
    if (m_total > 0) {
        const double share = static_cast<double>(done) / static_cast<double>(m_total);
        std::snprintf(buf, sizeof buf, "rzfilter: %s: %5.1f%% (%.1f of %.1f MB), %.1f MB/s",
                      m_label.c_str(), 100.0 * share, mb, static_cast<double>(m_total) / 1e6, rate);
        std::string line = buf;
        if (done >= m_total) {
            line += ", done in " + Duration(seconds);
        } else if (rate > 0.0) {
            const double left = (static_cast<double>(m_total - done) / 1e6) / rate;
            line += ", about " + Duration(left) + " left";
        }
        return line;
    }
    // Standard input: the size is not known, so neither is the time left.
    std::snprintf(buf, sizeof buf, "rzfilter: %s: %.1f MB, %.1f MB/s", m_label.c_str(), mb, rate);
    return buf;
}

void Progress::Show(std::uint64_t done, double seconds) {
    const std::string line = Line(done, seconds);
    if (m_terminal) {
        std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
    } else {
        std::fprintf(stderr, "%s\n", line.c_str());
    }
    std::fflush(stderr);
    m_shown = true;
    m_last = std::chrono::steady_clock::now();
}

void Progress::Update(std::uint64_t done) {
    const double seconds = Since(m_start);
    const double sinceLast = Since(m_last);
    if (m_terminal) {
        const bool due = m_shown ? sinceLast >= kTerminalRedrawSeconds
                                 : (m_options.forced || seconds >= kTerminalDelaySeconds);
        if (due) {
            Show(done, seconds);
        }
        return;
    }
    if (m_options.logInterval > 0.0 && sinceLast >= m_options.logInterval) {
        Show(done, seconds);
    }
}

void Progress::Finish(std::uint64_t done) {
    if (m_options.forced || m_shown) {
        Show(m_total > 0 ? m_total : done, Since(m_start));
        if (m_terminal) {
            std::fputc('\n', stderr);
        }
    }
    m_finished = true;
}

}  // namespace rzft
