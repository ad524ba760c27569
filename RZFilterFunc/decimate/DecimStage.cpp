#include "RZFilterFunc/decimate/DecimStage.h"

#include <cstring>

namespace rzf {

void FilterDecimate(const DecimStageDesc& stage, float* buf, float* dst, int nIn) {
    const int taps = stage.m_nTaps;
    const int step = stage.m_nFactor;
    const float* coef = stage.m_pTapCoef;
    const int nOut = nIn / step;
    int j = 0;
    // Four outputs at a time: independent sums, each still in tap order, so
    // the results are the same as one at a time.
    for (; j + 4 <= nOut; j += 4) {
        const float* x0 = buf + j * step;
        const float* x1 = x0 + step;
        const float* x2 = x1 + step;
        const float* x3 = x2 + step;
        float s0 = 0.0f;
        float s1 = 0.0f;
        float s2 = 0.0f;
        float s3 = 0.0f;
        for (int i = 0; i < taps; ++i) {
            const float c = coef[i];
            s0 += x0[i] * c;
            s1 += x1[i] * c;
            s2 += x2[i] * c;
            s3 += x3[i] * c;
        }
        dst[j] = s0;
        dst[j + 1] = s1;
        dst[j + 2] = s2;
        dst[j + 3] = s3;
    }
    for (; j < nOut; ++j) {
        const float* x = buf + j * step;
        float s = 0.0f;
        for (int i = 0; i < taps; ++i) {
            s += x[i] * coef[i];
        }
        dst[j] = s;
    }
    if (taps > 1) {
        std::memmove(buf, buf + nOut * step, static_cast<std::size_t>(taps - 1) * sizeof(float));
    }
}

void ProcessCascade(const DecimRatioDesc& desc, FirChannelState& chn, float* out, int nOut) {
    const int last = desc.m_nStageCount - 1;
    for (int k = 0; k < last; ++k) {
        const DecimStageDesc& next = *desc.m_pStage[k + 1];
        FilterDecimate(*desc.m_pStage[k], chn.m_pStageBuf[k],
                       chn.m_pStageBuf[k + 1] + (next.m_nTaps - 1), desc.m_nInPerOut[k] * nOut);
    }
    FilterDecimate(*desc.m_pStage[last], chn.m_pStageBuf[last], out,
                   desc.m_pStage[last]->m_nFactor * nOut);
}

}  // namespace rzf
