#include "RZFilterFunc/fir/FirHistoryWindow.h"

#include <cstddef>
#include <cstring>

namespace rzf {

FirHistoryWindow::FirHistoryWindow(std::vector<double>& storage, int length) : m_length(length) {
    const std::size_t windowSize = static_cast<std::size_t>(length) - 1 + kBlock;
    const std::size_t needed = windowSize + kBlock;
    if (storage.size() < needed) {
        storage.resize(needed);
    }
    m_window = storage.data();
    m_sums = m_window + windowSize;
}

void FirHistoryWindow::Begin(const double* delay) {
    const int history = m_length - 1;
    for (int j = 0; j < history; ++j) {
        m_window[j] = delay[history - 1 - j];
    }
}

void FirHistoryWindow::Advance(int blockCount) {
    const int history = m_length - 1;
    if (history > 0) {
        std::memmove(m_window, m_window + blockCount,
                     static_cast<std::size_t>(history) * sizeof(double));
    }
}

void FirHistoryWindow::End(double* delay, int blockCount) const {
    // The newest sample sits at index length - 2 + blockCount of the window.
    const double* newest = m_window + m_length - 2 + blockCount;
    for (int k = 0; k < m_length; ++k) {
        delay[k] = newest[-k];
    }
}

}  // namespace rzf
