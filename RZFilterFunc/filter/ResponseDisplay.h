#pragma once

// Post-processing of a designed filter's response for display. Internal to the
// library.
namespace rzf {

// Removes the jumps of pi that the one-argument arctangent leaves in a phase
// curve of count points, in place.
void UnwrapPhase(double* phase, int count);

// Plot limits of an amplitude curve: the lowest amplitude (dB) rounded down
// to a multiple of 50 and the highest frequency rounded up to one.
struct AxisLimits {
    double minValue;
    double maxValue;
};

// amplitude has count points; freq may be null, which leaves the upper limit 0.
AxisLimits ComputeAxisLimits(const double* amplitude, const double* freq, int count);

}  // namespace rzf
