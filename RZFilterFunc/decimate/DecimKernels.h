#pragma once

namespace rzf::decim {

// Channel-interleaved decimation kernels. A stage buffer holds rows of `lanes`
// floats, one float per channel (lanes is the channel count rounded up to
// kLaneGroup; the extra lanes stay zero). Row t is the stage's input sample t
// of every channel, the m_nTaps - 1 history rows first.

// Channels are padded to a multiple of this many lanes.
constexpr int kLaneGroup = 4;

inline int PaddedLanes(int channels) {
    return (channels + kLaneGroup - 1) / kLaneGroup * kLaneGroup;
}

// One stage over nOut output rows: out[j * lanes + l] is the sum, for i from
// 0 to taps - 1 in increasing order, of in[(j * factor + i) * lanes + l] *
// coef[i] in single precision, starting from 0.0f. Every lane performs exactly
// those operations, so each level gives the bits of the plain loop.
void DecimateRows(const float* coef, int taps, int factor, const float* in, float* out, int nOut,
                  int lanes);

namespace baseline {
void DecimateRows(const float* coef, int taps, int factor, const float* in, float* out, int nOut,
                  int lanes);
}  // namespace baseline

#if defined(RZF_ISA_DISPATCH)
namespace avx2 {
void DecimateRows(const float* coef, int taps, int factor, const float* in, float* out, int nOut,
                  int lanes);
}  // namespace avx2

namespace avx512 {
void DecimateRows(const float* coef, int taps, int factor, const float* in, float* out, int nOut,
                  int lanes);
}  // namespace avx512
#endif

}  // namespace rzf::decim
