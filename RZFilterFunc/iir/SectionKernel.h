#pragma once

// Streaming cascade of second-order sections, rows of six doubles
// b0 b1 b2 a0 a1 a2 (a0 = 1) applied in row order, each as a transposed direct
// form II in double precision with two state values (s1, s2) per section.
// Internal to the library.
namespace rzf {

constexpr int kSectionRowWidth = 6;
constexpr int kSectionStateWidth = 2;

// Checks a cascade once, before it streams: at least one row, every
// coefficient finite and every a0 exactly 1. Zeroes the state (two doubles per
// row) when the cascade is usable; returns whether it is.
bool InitSectionCascade(const double* rows, int sectionCount, double* state);

// Filters count samples through the cascade, carrying the state. in and out
// may be the same array. Expects a cascade that InitSectionCascade accepted
// and count >= 0; checks nothing and allocates nothing. Each output is
// rounded to float once, after the last section.
void RunSectionCascade(const double* rows, int sectionCount, double* state, const float* in,
                       float* out, int count);

}  // namespace rzf
