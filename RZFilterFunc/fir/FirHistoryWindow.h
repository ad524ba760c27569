#pragma once

#include <vector>

namespace rzf {

// Working view for the block FIR engines. Their delay line (newest sample
// first, length entries) is unrolled into one contiguous window, oldest first:
// length - 1 history samples followed by up to kBlock new ones, so that the
// sums of many outputs read straight runs of memory and no sample is moved per
// output. The delay line is read at the start of a call and written back at its
// end with the values the one-sample-at-a-time shift would leave there.
class FirHistoryWindow {
public:
    static constexpr int kBlock = 1024;

    // storage grows here when it is too small for length (the only allocation;
    // a stream of the same length reuses it). length >= 1.
    FirHistoryWindow(std::vector<double>& storage, int length);

    // Unrolls delay[0 .. length-2] as the history before the first block.
    void Begin(const double* delay);
    // Room for the next block's samples (at most kBlock), widened by the caller.
    double* BlockInput() { return m_window + m_length - 1; }
    const double* Window() const { return m_window; }
    double* Sums() { return m_sums; }
    // Keeps the newest length - 1 samples as the history of the next block.
    void Advance(int blockCount);
    // After the last block: writes the delay line as the shift would have left
    // it, delay[k] = the sample k places before the newest.
    void End(double* delay, int blockCount) const;

private:
    double* m_window;
    double* m_sums;
    int m_length;
};

}  // namespace rzf
