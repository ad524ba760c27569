#pragma once

#include <cstring>
#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

#include "RZFilterFunc/decimate/DecimationTables.h"

namespace decimtest {

// Straightforward whole-signal decimator used as the reference: each stage
// convolves the complete signal (preceded by a zero history) in single
// precision, tap order increasing, and keeps every factor-th result.
inline std::vector<float> ReferenceDecimate(int ratio, const std::vector<float>& x) {
    const DecimRatioDesc* desc = rzf::FindDecimRatio(ratio);
    std::vector<float> cur = x;
    for (int k = 0; k < desc->m_nStageCount; ++k) {
        const DecimStageDesc& st = *desc->m_pStage[k];
        std::vector<float> padded(st.m_nTaps - 1, 0.0f);
        padded.insert(padded.end(), cur.begin(), cur.end());
        std::vector<float> next(cur.size() / st.m_nFactor);
        for (std::size_t j = 0; j < next.size(); ++j) {
            float s = 0.0f;
            for (int i = 0; i < st.m_nTaps; ++i) {
                s += padded[j * st.m_nFactor + i] * st.m_pTapCoef[i];
            }
            next[j] = s;
        }
        cur.swap(next);
    }
    return cur;
}

inline std::vector<char> FloatsToBytes(const std::vector<float>& v) {
    std::vector<char> out(v.size() * sizeof(float));
    if (!v.empty()) {
        std::memcpy(out.data(), v.data(), out.size());
    }
    return out;
}

inline float FloatAt(const char* p, int index) {
    float v;
    std::memcpy(&v, p + index * sizeof(float), sizeof v);
    return v;
}

}  // namespace decimtest
