#pragma once

#include <string>
#include <vector>

#include "DesignCommand.h"

namespace rzft {

// Options common to the commands that run a recording through the library.
struct StreamOptions {
    std::string input;
    std::string output;
    std::string format = "auto";
    int channels = 0;           // raw input: required; CSV: 0 = from the columns
    int blockFrames = 1024;     // frames handed to the library per call
    std::vector<int> selected;  // channels to process; empty = all
    bool quiet = false;
};

// Frames processed and written.
struct StreamResult {
    std::uint64_t framesIn = 0;
    std::uint64_t framesOut = 0;
    int channels = 0;
};

// filter: each selected channel through its own designed filter.
StreamResult RunFilter(const StreamOptions& opt, const DesignSpec& spec);
// bessel: each selected channel through the fixed Bessel low-pass section.
StreamResult RunBessel(const StreamOptions& opt, double fs, int cutoff);
// decimate: every channel by ratio (unselected channels pass through).
StreamResult RunDecimate(const StreamOptions& opt, int ratio, bool keepStart);
// integrate: selected channels replaced by their running integral.
StreamResult RunIntegrate(const StreamOptions& opt, double fs);

}  // namespace rzft
