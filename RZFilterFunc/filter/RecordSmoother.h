#pragma once

// Moving-average smoothing of a whole record, run forwards and backwards so
// that it adds no delay. Internal to the library.
namespace rzf {

// Taps of the smoother for a cut-off at cutoffRatio = 2 * cutoff / fs,
// truncated and clamped to 10..500.
int SmootherTaps(float cutoffRatio);

// Smooths count samples of in into out with a taps-long moving average:
// zero-phase when the record is longer than three times taps, one forward
// pass when it is longer than taps, zeros otherwise.
void SmoothRecord(const float* in, int count, int taps, float* out);

// Zero-phase filtering (forwards, then backwards) of a record padded by odd
// reflection of 3 * taps - 3 samples at each end. Needs count > 3 * taps;
// otherwise, or when the padded record would not fit an int, out is left alone.
void FilterZeroPhase(const float* in, int count, const float* coef, int taps, float* out);

// Causal FIR over data in place, starting from a zero history; the sum runs in
// double precision.
void FilterInPlace(float* data, int count, const float* coef, int taps);

}  // namespace rzf
