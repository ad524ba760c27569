#pragma once

#include <algorithm>
#include <vector>

#include <RZFilterFunc/decimate/CFirFunc.h>

#include "RZFilterFunc/decimate/DecimationTables.h"

namespace decimtest {

constexpr int kRatios[9] = {2, 5, 10, 20, 50, 100, 200, 500, 1000};
// Start-up span of each ratio: impulse-response length in output samples, plus one.
constexpr int kSpans[9] = {23, 23, 29, 26, 30, 26, 25, 25, 24};

// Whole-signal reference: each stage convolves the complete signal after a
// zero history in single precision, taps in increasing order, and keeps every
// factor-th result.
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

// Feeds float samples in calls of the given sizes (cycled) and collects the
// output; optionally records the discard count after each call.
inline std::vector<float> Feed(CFirFunc& fir, const std::vector<float>& x,
                               const std::vector<int>& cuts, std::vector<int>* dels = nullptr) {
    std::vector<float> out;
    for (std::size_t pos = 0, c = 0, n = 0; pos < x.size(); pos += n, ++c) {
        n = std::min<std::size_t>(cuts[c % cuts.size()], x.size() - pos);
        std::vector<float> buf(n);  // exactly the call's samples: a write beyond is caught
        std::copy(x.begin() + pos, x.begin() + pos + n, buf.begin());
        const int written = fir.InputDataAndDeal(reinterpret_cast<char*>(buf.data()), int(n));
        out.insert(out.end(), buf.begin(), buf.begin() + written);
        if (dels != nullptr)
            dels->push_back(fir.GetDelChnCount());
    }
    return out;
}

inline std::vector<float> Channel(const std::vector<float>& v, int chn, int ch) {
    std::vector<float> r;
    for (std::size_t i = ch; i < v.size(); i += chn)
        r.push_back(v[i]);
    return r;
}

}  // namespace decimtest
