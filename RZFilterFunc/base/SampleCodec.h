#pragma once

#include <cstdint>
#include <cstring>

#include "RZFilterFunc/platform/NumericConvert.h"

namespace rzf {

// Raw sample type codes of interleaved acquisition frames (little-endian).
enum RawSampleType : int {
    kRawInt16 = 0,
    kRawFloat32 = 1,
    kRawInt32 = 2,
    kRawInt24 = 3,  // packed, decimator only
};

// Bytes one raw sample of codes 0..2 occupies; 0 for any other code.
inline int RawSampleSize(int type) {
    switch (type) {
        case kRawInt16:
            return 2;
        case kRawFloat32:
        case kRawInt32:
            return 4;
        default:
            return 0;
    }
}

// One raw sample to float: 16-bit exactly, float as is, 32-bit rounded to the
// nearest float; any other code reads as 0.0 (24-bit is the decimator's own).
inline float ReadRawSample(const char* p, int type) {
    switch (type) {
        case kRawInt16: {
            std::int16_t v;
            std::memcpy(&v, p, sizeof v);
            return static_cast<float>(v);
        }
        case kRawFloat32: {
            float v;
            std::memcpy(&v, p, sizeof v);
            return v;
        }
        case kRawInt32: {
            std::int32_t v;
            std::memcpy(&v, p, sizeof v);
            return static_cast<float>(v);
        }
        default:
            return 0.0f;
    }
}

// One float back to a raw sample: truncation toward zero, 16-bit wrap-around,
// out-of-range and NaN to the most negative 32-bit integer; other codes write
// nothing.
inline void WriteRawSample(float value, char* p, int type) {
    switch (type) {
        case kRawInt16: {
            const std::int16_t v = LowBits16(TruncToInt32(value));
            std::memcpy(p, &v, sizeof v);
            break;
        }
        case kRawFloat32:
            std::memcpy(p, &value, sizeof value);
            break;
        case kRawInt32: {
            const std::int32_t v = TruncToInt32(value);
            std::memcpy(p, &v, sizeof v);
            break;
        }
        default:
            break;
    }
}

}  // namespace rzf
