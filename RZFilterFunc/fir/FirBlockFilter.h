#pragma once

#include <vector>

#include "RZFilterFunc/fir/FirKernels.h"

namespace rzf {

// Streams count float samples through a FIR delay line of length entries
// (newest first, left as the one-sample-at-a-time shift leaves it) and writes
// out[i] = the kernel's sum rounded to single precision. in and out may be the
// same array; when out starts inside in, the blocks are cut so that each input
// is read after the output written over it, as a sample-by-sample loop reads it.
// storage is the reusable working memory (grown only when too small).
void FilterFloatBlock(const kernels::FirSumsKernel& kernel, int length,
                      std::vector<double>& storage, double* delay, const float* in, float* out,
                      int count);

// Largest block that keeps that order for out relative to in.
int OverlapSafeBlock(const void* in, const void* out, int count, int elementSize, int block);

}  // namespace rzf
