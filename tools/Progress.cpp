#include "Progress.h"

#include <cstdio>

#ifdef _WIN32
#include <io.h>
#define RZFT_ISATTY _isatty
#define RZFT_FILENO _fileno
#else
#include <unistd.h>
#define RZFT_ISATTY isatty
#define RZFT_FILENO fileno
#endif

namespace rzft {

Progress::Progress(std::string label, std::uint64_t total)
    : m_label(std::move(label)),
      m_total(total),
      m_enabled(total > 0 && RZFT_ISATTY(RZFT_FILENO(stderr)) != 0),
      m_last(std::chrono::steady_clock::now()) {}

Progress::~Progress() {
    if (m_shown) {
        Update(m_total);
        std::fputc('\n', stderr);
    }
}

void Progress::Update(std::uint64_t done) {
    if (!m_enabled) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (m_shown && done < m_total && now - m_last < std::chrono::milliseconds(200)) {
        return;
    }
    // Short runs finish before the first tick and print nothing.
    if (!m_shown && done < m_total && now - m_last < std::chrono::milliseconds(500)) {
        return;
    }
    if (!m_shown && done >= m_total) {
        return;
    }
    m_last = now;
    m_shown = true;
    const double pct = 100.0 * static_cast<double>(done) / static_cast<double>(m_total);
    std::fprintf(stderr, "\r%s: %5.1f%% (%.1f of %.1f MB)", m_label.c_str(), pct,
                 static_cast<double>(done) / 1e6, static_cast<double>(m_total) / 1e6);
    std::fflush(stderr);
}

}  // namespace rzft
