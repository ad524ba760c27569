#pragma once

#include <cstdint>
#include <cstring>

namespace rzf {

// Truncates toward zero to a 32-bit integer. NaN and values outside the 32-bit
// range give the most negative integer, as the processor's conversion does;
// written out so that no out-of-range conversion (undefined in C++) happens.
inline std::int32_t TruncToInt32(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) {
        return INT32_MIN;
    }
    return static_cast<std::int32_t>(v);
}

// Keeps the low 16 bits of a 32-bit integer (two's complement wrap-around).
inline std::int16_t LowBits16(std::int32_t v) {
    const std::uint16_t bits = static_cast<std::uint16_t>(static_cast<std::uint32_t>(v) & 0xFFFFu);
    std::int16_t out;
    std::memcpy(&out, &bits, sizeof out);
    return out;
}

}  // namespace rzf
