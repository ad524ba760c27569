#pragma once

#include <string>
#include <vector>

namespace rzft {

// A frequency response ready to show: amplitude in dB (0 dB at the peak) and
// unwrapped phase in radians against frequency in Hz, with the axis limits.
struct Response {
    std::vector<double> freq;
    std::vector<double> ampDb;
    std::vector<double> phase;
    double axisMaxFreq = 0.0;  // upper limit of the frequency axis
    double axisMinDb = 0.0;    // lower limit of the amplitude axis
    bool fromLibrary = false;  // false: computed by the tool from the taps
};

// Response of FIR taps (scaled by 1/scale) at n points from 0 Hz in steps of
// fs/(2n), as the library lays out its own responses. Used where the library
// computes none (moving average, Kaiser taps).
Response FirResponse(const std::vector<double>& taps, double scale, double fs, int points);

// Axis limits by the library's rule: truncate, then round outwards to 50.
double RoundDownTo50(double lowest);
double RoundUpTo50(double highest);

// Writes "frequency_hz,amplitude_db,phase_rad" rows through a temporary file.
void WriteResponseCsv(const std::string& path, const Response& r);

}  // namespace rzft
