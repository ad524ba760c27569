#include "RZFilterFunc/filter/ResponseDisplay.h"

#include <cstdint>
#include <cstring>

#include "RZFilterFunc/platform/MathConst.h"
#include "RZFilterFunc/platform/NumericConvert.h"

namespace rzf {
namespace {

// Axis limits are multiples of this step.
constexpr std::int64_t kAxisStep = 50;

// Keeps the low 32 bits of v, as the 32-bit integer arithmetic of the axis
// rounding does when it overflows (only reachable for infinite responses).
std::int32_t Wrap32(std::int64_t v) {
    const std::uint32_t bits = static_cast<std::uint32_t>(static_cast<std::uint64_t>(v));
    std::int32_t out;
    std::memcpy(&out, &bits, sizeof out);
    return out;
}

void AddFrom(double* values, int from, int count, double delta) {
    for (int j = from; j < count; ++j) {
        values[j] += delta;
    }
}

}  // namespace

void UnwrapPhase(double* phase, int count) {
    // Fewer than two points (count < 2 rather than count - 1 < 1, which
    // overflows for the most negative count).
    if (phase == nullptr || count < 2) {
        return;
    }
    const double half = kPi / 2.0;
    for (int i = 0; i < count - 1; ++i) {
        const double d = phase[i] - phase[i + 1];
        if (d > half) {
            AddFrom(phase, i + 1, count, kPi);
        } else if (d < -half) {
            AddFrom(phase, i + 1, count, -kPi);
        }
    }
}

AxisLimits ComputeAxisLimits(const double* amplitude, const double* freq, int count) {
    double lo = 0.0;
    double hi = 0.0;
    for (int i = 0; i < count; ++i) {
        if (amplitude[i] < lo) {
            lo = amplitude[i];
        }
        if (freq != nullptr && freq[i] > hi) {
            hi = freq[i];
        }
    }

    // Truncate first, then round outwards to a multiple of the step.
    const std::int64_t low = TruncToInt32(lo);
    std::int64_t lowLimit = (low / kAxisStep) * kAxisStep;
    if (lowLimit != low) {
        lowLimit -= kAxisStep;
    }
    const std::int64_t high = TruncToInt32(hi);
    const std::int64_t steps = high / kAxisStep;
    const std::int64_t highLimit =
        high % kAxisStep == 0 ? steps * kAxisStep : (steps + 1) * kAxisStep;
    return AxisLimits{static_cast<double>(Wrap32(lowLimit)),
                      static_cast<double>(Wrap32(highLimit))};
}

}  // namespace rzf
