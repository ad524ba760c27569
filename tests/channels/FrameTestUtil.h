#pragma once

#include <gtest/gtest.h>

#include <RZFilterFunc/channels/CFilterParam.h>
#include <RZFilterFunc/filter/FilterTypes.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

// Interleaved test frames as raw bytes.
template <typename T>
std::vector<char> PackFrames(const std::vector<T>& samples) {
    std::vector<char> bytes(samples.size() * sizeof(T));
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

template <typename T>
std::vector<T> UnpackFrames(const std::vector<char>& bytes) {
    std::vector<T> v(bytes.size() / sizeof(T));
    std::memcpy(v.data(), bytes.data(), v.size() * sizeof(T));
    return v;
}

// Sample width and random contents for the frame filters' type codes.
inline int TypeWidth(int type) {
    return type == 0 ? 2 : 4;
}

inline std::vector<char> RandomFrames(int type, int samples, std::mt19937& rng) {
    std::vector<char> out;
    if (type == 0) {
        std::vector<std::int16_t> v(samples);
        for (auto& x : v)
            x = static_cast<std::int16_t>(rng() % 20001) - 10000;
        out = PackFrames(v);
    } else if (type == 1) {
        std::vector<float> v(samples);
        for (auto& x : v)
            x = static_cast<float>(static_cast<int>(rng() % 2001) - 1000) / 7.0f;
        out = PackFrames(v);
    } else {
        std::vector<std::int32_t> v(samples);
        for (auto& x : v)
            x = static_cast<std::int32_t>(rng() % 2000001) - 1000000;
        out = PackFrames(v);
    }
    return out;
}

// Feeds a buffer of whole frames in random block sizes through process(ptr,
// bytes), which must handle them all. Returns the largest block in frames.
template <typename Process>
int FeedInBlocks(std::vector<char>& buf, int frameBytes, std::mt19937& rng, Process process) {
    const int frames = static_cast<int>(buf.size()) / frameBytes;
    int largest = 0;
    for (int at = 0; at < frames;) {
        int n = static_cast<int>(rng() % 37) + 1;
        if (n > frames - at)
            n = frames - at;
        EXPECT_EQ(process(buf.data() + at * frameBytes, n * frameBytes), n);
        largest = n > largest ? n : largest;
        at += n;
    }
    return largest;
}

// A moving-average design record of n taps; f1 only has to stay within
// fs / 2.56 of the rates the tests use.
inline CFilterParam Average(int n) {
    CFilterParam p{};
    p.m_nDesignMethod = DM_AVERAGE;
    p.m_nOrder = n;
    p.m_nBandType = BAND_LOWPASS;
    p.m_dFreq1 = 10.0;
    p.m_dFreq3 = 30.0;
    p.m_dFreq2 = 20.0;
    p.m_dFreq4 = 40.0;
    p.m_dPassRipple = 0.3;
    p.m_dStopAtten = 40.0;
    return p;
}
