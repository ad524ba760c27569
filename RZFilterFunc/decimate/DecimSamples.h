#pragma once

#include <cstdint>

#include "RZFilterFunc/base/SampleCodec.h"
#include "RZFilterFunc/platform/NumericConvert.h"

namespace rzf {

// Bytes per raw sample of the decimator's sample types 0..3 (0 for others).
inline int DecimSampleWidth(int type) {
    return type == kRawInt24 ? 3 : RawSampleSize(type);
}

// Packed signed 24-bit sample, least significant byte first.
inline float ReadInt24Sample(const char* p) {
    const std::uint32_t b0 = static_cast<unsigned char>(p[0]);
    const std::uint32_t b1 = static_cast<unsigned char>(p[1]);
    const std::uint32_t b2 = static_cast<unsigned char>(p[2]);
    std::int32_t v = static_cast<std::int32_t>(b0 | (b1 << 8) | ((b2 & 0x7Fu) << 16));
    if ((b2 & 0x80u) != 0) {
        v -= 0x800000;
    }
    return static_cast<float>(v);
}

// Truncates toward zero and clamps symmetrically to +-8388607, so the most
// negative 24-bit code is never produced. NaN ends up at -8388607, the value
// the truncation's integer-indefinite result clamps to.
inline void WriteInt24Sample(float value, char* p) {
    std::int32_t v;
    if (value > 8388607.0f) {
        v = 8388607;
    } else if (value < -8388607.0f) {
        v = -8388607;
    } else {
        v = TruncToInt32(value);
        v = v < -8388607 ? -8388607 : v;
    }
    const std::uint32_t bits = static_cast<std::uint32_t>(v);
    p[0] = static_cast<char>(bits & 0xFFu);
    p[1] = static_cast<char>((bits >> 8) & 0xFFu);
    p[2] = static_cast<char>((bits >> 16) & 0xFFu);
}

inline float ReadDecimSample(const char* p, int type) {
    return type == kRawInt24 ? ReadInt24Sample(p) : ReadRawSample(p, type);
}

inline void WriteDecimSample(float value, char* p, int type) {
    if (type == kRawInt24) {
        WriteInt24Sample(value, p);
    } else {
        WriteRawSample(value, p, type);
    }
}

}  // namespace rzf
