#pragma once

namespace rzf::platform {

// Instruction-set levels the streaming kernels are built for. Each level is a
// separate build of the same arithmetic; every level gives identical bits.
enum class IsaLevel { Baseline = 0, Avx2 = 1, Avx512 = 2 };

// Highest level this build has kernels for and this processor and operating
// system can run.
IsaLevel DetectedIsa();

// Level the kernels use: chosen once, on first use, as the environment
// variable RZF_ISA asks ("baseline", "avx2", "avx512"), capped at
// DetectedIsa(); DetectedIsa() when the variable is unset or unknown.
IsaLevel ActiveIsa();

// Replaces the active level (capped at DetectedIsa()) and returns the one it
// replaces. For tests and benchmarks that compare levels within one process;
// not for use while another thread runs a kernel.
IsaLevel OverrideActiveIsa(IsaLevel level);

// "baseline", "avx2" or "avx512".
const char* IsaName(IsaLevel level);

// Parses a name as RZF_ISA takes it; false for anything else.
bool ParseIsaName(const char* name, IsaLevel* level);

}  // namespace rzf::platform
