#pragma once

// Frequency limits shared by the design checks. Internal to the library.
namespace rzf {

// With the default hardware setting a design may use frequencies up to
// fs / 2.56, the usable band of the acquisition front end.
constexpr double kDesignBandwidthDivisor = 2.56;

// Most taps a window-method FIR or a moving average may have, the same limit
// as the Kaiser design's (2 * 2^20 + 1): longer designs are refused with the
// order message instead of allocating and evaluating gigabytes of taps.
constexpr int kMaxFirTaps = (1 << 21) + 1;

// Highest frequency (Hz) a design may use at sampling frequency fs (Hz).
inline double DesignFrequencyLimit(double fs) {
    return fs / kDesignBandwidthDivisor;
}

}  // namespace rzf
