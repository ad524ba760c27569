#pragma once

#include <cstddef>

namespace rzf::decim {

// Converts nRows frames of chn raw samples of a decimator sample type (0
// int16, 1 float, 2 int32, 3 packed int24) into rows of `lanes` floats, the
// first chn of each row; the other lanes are left as they are.
void ReadRawRows(const char* src, int type, int chn, int nRows, float* rows, int lanes);

// Writes n floats as raw samples of the type, truncating toward zero (int16
// wraps, int32 out of range gives its most negative value, int24 clamps to
// +-8388607).
void WriteRawSamples(const float* src, std::ptrdiff_t n, int type, char* dst);

namespace baseline {
void ReadRawRows(const char* src, int type, int chn, int nRows, float* rows, int lanes);
void WriteRawSamples(const float* src, std::ptrdiff_t n, int type, char* dst);
}  // namespace baseline

#if defined(RZF_ISA_DISPATCH)
// Also used at the AVX-512 level (the conversions gain nothing from wider
// vectors next to the filtering).
namespace avx2 {
void ReadRawRows(const char* src, int type, int chn, int nRows, float* rows, int lanes);
void WriteRawSamples(const float* src, std::ptrdiff_t n, int type, char* dst);
}  // namespace avx2
#endif

}  // namespace rzf::decim
