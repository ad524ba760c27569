#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

#include "RZFilterFunc/decimate/DecimationTables.h"

namespace decimtest {

constexpr int kRatios[9] = {2, 5, 10, 20, 50, 100, 200, 500, 1000};
// Start-up span of each ratio: impulse-response length in output samples, plus one.
constexpr int kSpans[9] = {23, 23, 29, 26, 30, 26, 25, 25, 24};
constexpr int kWidth[4] = {2, 4, 4, 3};  // bytes per sample of types 0..3

// Whole-signal reference: each stage convolves the signal after a zero history
// in single precision, taps in increasing order, keeping every factor-th sum.
inline std::vector<float> ReferenceDecimate(int ratio, std::vector<float> cur) {
    const DecimRatioDesc* d = rzf::FindDecimRatio(ratio);
    for (int k = 0; k < d->m_nStageCount; ++k) {
        const DecimStageDesc& st = *d->m_pStage[k];
        std::vector<float> next(cur.size() / st.m_nFactor, 0.0f);
        cur.insert(cur.begin(), st.m_nTaps - 1, 0.0f);
        for (std::size_t j = 0; j < next.size(); ++j)
            for (int i = 0; i < st.m_nTaps; ++i)
                next[j] += cur[j * st.m_nFactor + i] * st.m_pTapCoef[i];
        cur.swap(next);
    }
    return cur;
}

// Feeds samples of `width` bytes in calls of the given sizes (cycled), each in
// a heap buffer of exactly its samples (the sanitizer build sees any write
// beyond), and returns the output; records each call's result when asked.
template <typename T>
std::vector<T> Feed(CFirFunc& fir, const std::vector<T>& x, int width, const std::vector<int>& cuts,
                    std::vector<int>* results = nullptr) {
    const char* raw = reinterpret_cast<const char*>(x.data());
    const std::size_t n = x.size() * sizeof(T) / width;
    std::vector<char> bytes;
    for (std::size_t pos = 0, c = 0, k = 0; pos < n; pos += k, ++c) {
        k = std::min<std::size_t>(cuts[c % cuts.size()], n - pos);
        std::unique_ptr<char[]> buf(new char[k * width]);
        std::memcpy(buf.get(), raw + pos * width, k * width);
        const int written = fir.InputDataAndDeal(buf.get(), static_cast<int>(k));
        EXPECT_LE(written, static_cast<int>(k));
        bytes.insert(bytes.end(), buf.get(), buf.get() + written * width);
        if (results != nullptr)
            results->push_back(written);
    }
    std::vector<T> out(bytes.size() / sizeof(T));
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(out.data()));
    return out;
}

template <typename T>
std::vector<T> Channel(const std::vector<T>& v, int chn, int ch) {
    std::vector<T> r;
    for (std::size_t i = ch; i < v.size(); i += chn)
        r.push_back(v[i]);
    return r;
}

}  // namespace decimtest
