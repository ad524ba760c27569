#pragma once

#include <string>
#include <vector>

#include "DesignCommand.h"

namespace rzft {

// What the specification asks of the response, for drawing it over the curve.
struct SpecMask {
    struct Band {
        double lo, hi;  // Hz
        bool pass;
    };
    std::vector<Band> bands;
    double rippleDb = 0.0;  // pass-band ripple the gain must stay within (0: none)
    double attenDb = 0.0;   // stop-band attenuation required (0: none)
    struct Edge {
        double freq;
        std::string label;
    };
    std::vector<Edge> edges;
};

// The bands, ripple and attenuation a design's options ask for. IIR designs
// and the Kaiser design have pass and stop bands; the window FIR and the
// moving average have cut-offs only (pass bands without a ripple bound).
SpecMask MaskOf(const DesignSpec& spec);

// Response of the designed coefficients at the given frequencies: gain in dB
// (re 1, not normalised), unwrapped phase (rad) and group delay (samples).
struct ResponseCurves {
    std::vector<double> freq, gainDb, phase, delay;
};
ResponseCurves EvaluateDesign(const std::vector<double>& num, const std::vector<double>& den,
                              double scale, double fs, const std::vector<double>& freq);

// The same for a cascade of second-order sections (rows b0 b1 b2 a0 a1 a2):
// the sections' gains, phases and delays add up.
ResponseCurves EvaluateSections(const std::vector<double>& rows, double fs,
                                const std::vector<double>& freq);

struct ResponsePlotOptions {
    double dbRange = 0.0;  // depth of the amplitude axis in dB; 0 chooses from the design
    bool logFreq = false;  // logarithmic frequency axis
};

// Depth of the amplitude axis: the requested range, or the stop-band
// attenuation plus a margin, rounded to 10 dB (100 dB without one).
double AmplitudeDepth(const SpecMask& mask, const ResponsePlotOptions& options);

// Response plot of a design: amplitude with the specification's mask and band
// edges, a zoom on the pass band, the group delay and the phase, from 0 to
// fs/2, and for IIR designs the poles and zeros of its second-order sections
// around the unit circle. The curves are those of the transfer function, or of
// the sections when the transfer function is unstable. The format follows the
// extension (.svg, .png).
void PlotDesignResponse(const std::string& path, const DesignSpec& spec,
                        const DesignOutcome& outcome, const ResponsePlotOptions& options,
                        const std::string& title);

}  // namespace rzft
