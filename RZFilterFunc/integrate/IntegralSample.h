#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

#include "RZFilterFunc/base/SampleCodec.h"

namespace rzf {

// Raw sample access for the running integrator. Samples are read as doubles
// and the running sum is written back truncated toward zero with only its low
// bits kept, so an integral that leaves the sample's range wraps around.

// Truncates toward zero to a 64-bit integer. NaN and values outside the 64-bit
// range give the most negative 64-bit integer (whose low 32 and 16 bits are
// zero), with no out-of-range conversion.
inline std::int64_t TruncToInt64(double v) {
    // -2^63 is exact in double and the next double below it is 2048 lower, so
    // every double in [-2^63, 2^63) truncates into range.
    if (!(v >= -9223372036854775808.0 && v < 9223372036854775808.0)) {
        return std::numeric_limits<std::int64_t>::min();
    }
    return static_cast<std::int64_t>(v);
}

// Low 32 bits of the truncated value, as a two's complement signed integer.
inline std::int32_t TruncLow32(double v) {
    const std::uint32_t bits =
        static_cast<std::uint32_t>(static_cast<std::uint64_t>(TruncToInt64(v)) & 0xFFFFFFFFu);
    std::int32_t out;
    std::memcpy(&out, &bits, sizeof out);
    return out;
}

// Low 16 bits of the truncated value, as a two's complement signed integer.
inline std::int16_t TruncLow16(double v) {
    const std::uint16_t bits =
        static_cast<std::uint16_t>(static_cast<std::uint64_t>(TruncToInt64(v)) & 0xFFFFu);
    std::int16_t out;
    std::memcpy(&out, &bits, sizeof out);
    return out;
}

// Rounds a double to single precision; finite values beyond the float range
// become infinities (the IEEE result) without an out-of-range conversion.
inline float RoundToFloat(double v) {
    // Doubles at or above FLT_MAX + half an ulp round to infinity.
    const double overflow = 340282356779733661637539395458142568448.0;  // 2^128 - 2^103
    if (v >= overflow) {
        return std::numeric_limits<float>::infinity();
    }
    if (v <= -overflow) {
        return -std::numeric_limits<float>::infinity();
    }
    return static_cast<float>(v);
}

inline double ReadIntegralSample(const char* p, int type) {
    switch (type) {
        case kRawInt16: {
            std::int16_t v;
            std::memcpy(&v, p, sizeof v);
            return v;
        }
        case kRawFloat32: {
            float v;
            std::memcpy(&v, p, sizeof v);
            return v;
        }
        case kRawInt32: {
            std::int32_t v;
            std::memcpy(&v, p, sizeof v);
            return v;
        }
        default:
            return 0.0;
    }
}

inline void WriteIntegralSample(double v, char* p, int type) {
    switch (type) {
        case kRawInt16: {
            const std::int16_t s = TruncLow16(v);
            std::memcpy(p, &s, sizeof s);
            break;
        }
        case kRawFloat32: {
            const float s = RoundToFloat(v);
            std::memcpy(p, &s, sizeof s);
            break;
        }
        case kRawInt32: {
            const std::int32_t s = TruncLow32(v);
            std::memcpy(p, &s, sizeof s);
            break;
        }
        default:
            break;
    }
}

}  // namespace rzf
