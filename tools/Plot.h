#pragma once

#include <string>
#include <vector>

#include "Response.h"

namespace rzft {

// Amplitude (dB) and unwrapped phase against frequency, two panels with grid
// and labelled axes; the frequency axis runs 0..r.axisMaxFreq and the
// amplitude axis r.axisMinDb..0. The format follows the extension (.svg, .png).
void PlotResponse(const std::string& path, const Response& r, const std::string& title);

// One panel per channel with the input and the filtered signal over time.
// before/after are interleaved frames of the given channel count.
void PlotSignals(const std::string& path, const std::vector<float>& before,
                 const std::vector<float>& after, int channels, double fs,
                 const std::string& title);

// Drops the font caches that drawing text fills (cairo's and fontconfig's),
// so a leak checker sees a clean exit. Call once, after the last plot.
void ReleasePlotResources();

}  // namespace rzft
