#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "DesignCommand.h"
#include "Progress.h"

namespace rzft {

// Options common to the commands that run a recording through the library.
struct StreamOptions {
    std::string input;   // "-": standard input
    std::string output;  // "-": standard output
    std::string format = "auto";
    // "same": the input's format; "float32": integer input is converted to
    // float before the library sees it, so results cannot wrap.
    std::string outFormat = "same";
    int channels = 0;           // raw input: required; CSV: 0 = from the columns
    int blockFrames = 1024;     // frames handed to the library per call
    std::vector<int> selected;  // channels to process; empty = all
    ProgressOptions progress;
};

// Frames processed and written, and what the user should know about them.
struct StreamResult {
    std::uint64_t framesIn = 0;
    std::uint64_t framesOut = 0;
    int channels = 0;                // channels written
    std::uint64_t outOfRange = 0;    // integer outputs that wrapped or saturated
    std::uint64_t nonFinite = 0;     // NaN or Inf input samples
    std::vector<std::string> notes;  // facts about the run for the report
};

// filter: each selected channel through its own designed filter, IIR designs
// as their single transfer function or, with sections, as cascaded
// second-order sections. A transfer function with a pole on or outside the
// unit circle is refused unless sections are asked for.
StreamResult RunFilter(const StreamOptions& opt, const DesignSpec& spec, bool sections);
// bessel: each selected channel through the fixed Bessel low-pass section.
StreamResult RunBessel(const StreamOptions& opt, double fs, int cutoff);
// decimate: the selected channels (default all) by ratio; only they are written.
StreamResult RunDecimate(const StreamOptions& opt, int ratio, bool keepStart);
// integrate: selected channels replaced by their running integral.
StreamResult RunIntegrate(const StreamOptions& opt, double fs);

// The (cut-off, rate) pairs the Bessel frame filter holds, found by asking it:
// integer cut-offs up to half the rate, at rates of 1, 2 and 5 times a power
// of ten up to 100 kHz.
std::vector<std::pair<int, int>> BesselPairs();

}  // namespace rzft
