#pragma once

#include <cstddef>

namespace rzf::integ {

// Channels integrated together over a run of frames: each has its sample's
// byte offset within a frame, its divisor (twice the sampling frequency) and
// its running sum and previous sample, read at the start and written back at
// the end. The channels' samples must not overlap one another.
struct IntegralLanes {
    const std::ptrdiff_t* offsets;
    const double* divisors;
    double* sums;
    double* prevs;
    int count;
    // offsets[i] == offsets[0] + i * (sample width): one run of adjacent samples.
    bool adjacent;
};

// For every frame f from 0 to nFrames - 1 and every channel: x = the sample as
// double; sum = sum + (x + prev) / divisor; prev = x; the sample is replaced
// by sum (int16 and int32 truncated toward zero keeping the low bits, float
// rounded). type: 0 int16, 1 float, 2 int32; other types do nothing. Each
// channel performs exactly these operations at every level.
void IntegrateFrames(char* data, std::ptrdiff_t frameBytes, int nFrames, int type,
                     const IntegralLanes& lanes);

namespace baseline {
void IntegrateFrames(char* data, std::ptrdiff_t frameBytes, int nFrames, int type,
                     const IntegralLanes& lanes);
}  // namespace baseline

#if defined(RZF_ISA_DISPATCH)
namespace avx2 {
void IntegrateFrames(char* data, std::ptrdiff_t frameBytes, int nFrames, int type,
                     const IntegralLanes& lanes);
}  // namespace avx2

namespace avx512 {
void IntegrateFrames(char* data, std::ptrdiff_t frameBytes, int nFrames, int type,
                     const IntegralLanes& lanes);
}  // namespace avx512
#endif

}  // namespace rzf::integ
