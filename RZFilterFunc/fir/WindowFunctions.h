#pragma once

class WindowsFilter;

namespace rzf {

// Window codes understood by MakeWindow.
enum WindowCode {
    kWindowRectangular = 0,
    kWindowHannOpen = 1,  // Hann without its zero end points
    kWindowHamming = 2,
    kWindowFlatTop = 3,
    kWindowTriangular = 4,
    kWindowBlackman = 5,
    kWindowExpTaper = 6,
    kWindowSegment = 7,
    kWindowHann = 8,
    kWindowKaiser = 9,
};

// Fills out[0..n-1] with the window of the given code. For the Kaiser code
// startFraction is the shape parameter beta; the taper and segment codes use
// [startFraction*n, endFraction*n) and refuse a segment outside the window.
// Unknown codes give the rectangular window. Returns false when nothing
// (or not the whole window) could be written.
bool MakeWindow(float* out, int n, int type, double startFraction, double endFraction,
                double taperSpan, float decades);

// Cosine-sum windows (Hamming, flat top, Blackman, Hann), exactly symmetric.
// Any other code returns false and writes nothing.
bool MakeCosineWindow(float* out, int n, int type);

// Modified Bessel function of the first kind, order 0, by its power series;
// terms are added until one whose square is not above 1e-8.
double BesselI0(double x);

// Ideal (sinc) impulse response of the filter's band type over n taps,
// centred on (filter.m_nLength - 1) / 2. Returns false, writing nothing,
// for a band type outside 1..4.
bool MakeIdealImpulse(const WindowsFilter& filter, double* out, int n, int bandType);

// Recomputes the filter's frequency axis, amplitude (dB, peak 0) and phase
// arrays from its first tapCount taps; returns the amplitude array.
double* ComputeResponse(WindowsFilter& filter, int tapCount);

}  // namespace rzf
