#pragma once

#include <string>
#include <vector>

namespace rzft {

// One panel per channel with the input and the filtered signal over time.
// before/after are interleaved frames of the given channel count.
void PlotSignals(const std::string& path, const std::vector<float>& before,
                 const std::vector<float>& after, int channels, double fs,
                 const std::string& title);

// Drops the font caches that drawing text fills (cairo's and fontconfig's),
// so a leak checker sees a clean exit. Call once, after the last plot.
void ReleasePlotResources();

}  // namespace rzft
