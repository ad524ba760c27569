#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CFilterParam.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "RZFilterFunc/channels/SampleCodec.h"

namespace {

template <typename T>
T WriteAs(float value, int type) {
    char bytes[sizeof(T) + 2];
    std::memset(bytes, 0x5A, sizeof bytes);
    rzf::WriteRawSample(value, bytes, type);
    EXPECT_EQ(bytes[sizeof(T)], 0x5A);  // nothing past the sample
    T out;
    std::memcpy(&out, bytes, sizeof out);
    return out;
}

template <typename T>
float ReadAs(T value, int type) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof value);
    return rzf::ReadRawSample(bytes, type);
}

}  // namespace

TEST(SampleCodec, ConversionTable) {
    EXPECT_EQ(ReadAs<std::int16_t>(-32768, 0), -32768.0f);
    EXPECT_EQ(ReadAs<float>(-1.25f, 1), -1.25f);
    EXPECT_EQ(ReadAs<std::int32_t>(16777217, 2), 16777216.0f);  // nearest float
    EXPECT_EQ(ReadAs<std::int32_t>(INT32_MAX, 2), 2147483648.0f);
    EXPECT_EQ(ReadAs<std::int32_t>(12345, 3), 0.0f);
    EXPECT_EQ(ReadAs<std::int32_t>(12345, -1), 0.0f);

    // Truncation toward zero, 16-bit wrap, NaN and out-of-range to INT32_MIN.
    EXPECT_EQ(WriteAs<std::int16_t>(-1.7f, 0), -1);
    EXPECT_EQ(WriteAs<std::int16_t>(32768.0f, 0), -32768);
    EXPECT_EQ(WriteAs<std::int16_t>(40000.0f, 0), -25536);
    EXPECT_EQ(WriteAs<std::int16_t>(std::nanf(""), 0), 0);
    EXPECT_EQ(WriteAs<std::int16_t>(3e9f, 0), 0);
    EXPECT_EQ(WriteAs<std::int32_t>(-2.9f, 2), -2);
    EXPECT_EQ(WriteAs<std::int32_t>(3e9f, 2), INT32_MIN);
    EXPECT_EQ(WriteAs<std::int32_t>(-std::numeric_limits<float>::infinity(), 2), INT32_MIN);
    EXPECT_EQ(WriteAs<std::int32_t>(std::nanf(""), 2), INT32_MIN);
    EXPECT_EQ(WriteAs<float>(1e30f, 1), 1e30f);
    EXPECT_EQ(WriteAs<std::uint32_t>(7.0f, 3), 0x5A5A5A5Au);  // unknown: nothing written
}

TEST(SampleCodec, FilterParamLayoutIsPinned) {
    EXPECT_EQ(sizeof(CFilterParam), 80u);
    EXPECT_EQ(offsetof(CFilterParam, m_nDesignMethod), 0u);
    EXPECT_EQ(offsetof(CFilterParam, m_nOrder), 4u);
    EXPECT_EQ(offsetof(CFilterParam, m_nBandType), 8u);
    EXPECT_EQ(offsetof(CFilterParam, m_nWindowType), 12u);
    EXPECT_EQ(offsetof(CFilterParam, m_dUnused), 16u);
    EXPECT_EQ(offsetof(CFilterParam, m_dFreq1), 24u);
    EXPECT_EQ(offsetof(CFilterParam, m_dFreq3), 32u);
    EXPECT_EQ(offsetof(CFilterParam, m_dFreq2), 40u);
    EXPECT_EQ(offsetof(CFilterParam, m_dFreq4), 48u);
    EXPECT_EQ(offsetof(CFilterParam, m_dPassRipple), 56u);
    EXPECT_EQ(offsetof(CFilterParam, m_dStopAtten), 64u);
    EXPECT_EQ(offsetof(CFilterParam, m_dReserved), 72u);
}
