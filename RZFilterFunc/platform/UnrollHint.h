#pragma once

// Unrolls the fixed-count loop that follows (the lanes or outputs a kernel
// computes together), so that their running values stay in registers.
#if defined(__GNUC__) || defined(__clang__)
#define RZF_UNROLL _Pragma("GCC unroll 16")
#else
#define RZF_UNROLL
#endif
