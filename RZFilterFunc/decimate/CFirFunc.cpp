#include "RZFilterFunc/decimate/CFirFunc.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "RZFilterFunc/decimate/DecimSamples.h"
#include "RZFilterFunc/decimate/DecimStage.h"
#include "RZFilterFunc/decimate/DecimationTables.h"

FirChannelState::FirChannelState()
    : m_pStageBuf{nullptr, nullptr, nullptr},
      m_pWrite(nullptr),
      m_pChnOut(nullptr),
      m_bFilter(true) {}

FirChannelState::~FirChannelState() {
    for (float*& buf : m_pStageBuf) {
        delete[] buf;
        buf = nullptr;
    }
    delete[] m_pChnOut;
    m_pChnOut = nullptr;
    m_pWrite = nullptr;
}

CFirFunc::CFirFunc()
    : m_pRatioDesc(nullptr),
      m_pChnState(nullptr),
      m_pPending(nullptr),
      m_pOutput(nullptr),
      m_nBlockIn(0),
      m_nBlockOut(0),
      m_nPending(0),
      m_nRatio(0),
      m_nChnCount(0),
      m_nDelCount(0),
      m_bDelStart(true),
      m_nSampleType(0),
      m_nOutCapacity(0) {}

// Member-wise copy: both objects then work on the same buffers and channel
// state, kept alive by the shared owners until the last one lets go.
CFirFunc::CFirFunc(const CFirFunc& other) = default;
CFirFunc& CFirFunc::operator=(const CFirFunc& other) = default;

CFirFunc::~CFirFunc() {
    Release();
}

void CFirFunc::Release() {
    m_chnStateOwner.reset();
    m_pendingOwner.reset();
    m_outputOwner.reset();
    m_pChnState = nullptr;
    m_pPending = nullptr;
    m_pOutput = nullptr;
    m_pRatioDesc = nullptr;
    m_nBlockIn = 0;
    m_nBlockOut = 0;
    m_nPending = 0;
    m_nChnCount = 0;
    m_nDelCount = 0;
    m_nOutCapacity = 0;
    m_bDelStart = true;
}

void CFirFunc::Clear() {}

bool CFirFunc::IsActiveRatio(int nRatio) {
    for (int ratio : rzf::kDecimRatios) {
        if (ratio == nRatio) {
            return true;
        }
    }
    return false;
}

int CFirFunc::GetDelChnCount() {
    return m_nDelCount;
}

bool CFirFunc::Init(int nChnCount, int nRatio, int nBlockSamples, bool* pChnFilter, int nSampleType,
                    bool bDelStart) {
    Release();
    if (nChnCount < 1 || pChnFilter == nullptr) {
        return false;
    }
    m_nSampleType = nSampleType;
    m_bDelStart = bDelStart;
    m_nChnCount = nChnCount;
    m_nRatio = nRatio;
    if (nRatio <= 0) {
        return false;
    }
    const int perChn = std::max(nBlockSamples / nChnCount, nRatio);
    const DecimRatioDesc* desc = rzf::FindDecimRatio(nRatio);
    if (desc == nullptr) {
        return false;
    }

    // Start-up span: length of the cascade's impulse response in output
    // samples, accumulated in single precision, plus one.
    float span = 0.0f;
    for (int k = 0; k < desc->m_nStageCount; ++k) {
        span = (static_cast<float>(desc->m_pStage[k]->m_nTaps) + span) /
               static_cast<float>(desc->m_pStage[k]->m_nFactor);
    }
    const int delCount = static_cast<int>(span + 1.0f);

    const int blockOut = perChn / nRatio + (perChn % nRatio > 0 ? 1 : 0);
    // Reject block sizes whose buffers could not be indexed with int.
    const std::int64_t blockIn = static_cast<std::int64_t>(blockOut) * nRatio;
    if (blockIn * nChnCount > INT_MAX / 2) {
        return false;
    }

    std::shared_ptr<FirChannelState[]> states(new FirChannelState[nChnCount]);
    for (int ch = 0; ch < nChnCount; ++ch) {
        FirChannelState& st = states[ch];
        for (int k = 0; k < desc->m_nStageCount; ++k) {
            const int len = desc->m_nInPerOut[k] * blockOut + desc->m_pStage[k]->m_nTaps - 1;
            // Zero history: the first outputs are deterministic.
            st.m_pStageBuf[k] = new float[len]();
        }
        st.m_pChnOut = new float[blockOut]();
        st.m_pWrite = st.m_pStageBuf[0] + (desc->m_pStage[0]->m_nTaps - 1);
        st.m_bFilter = pChnFilter[ch];
    }
    std::shared_ptr<float[]> pending(new float[blockIn * nChnCount]());

    m_pRatioDesc = desc;
    m_nDelCount = delCount;
    m_nBlockOut = blockOut;
    m_nBlockIn = static_cast<int>(blockIn);
    m_chnStateOwner = std::move(states);
    m_pChnState = m_chnStateOwner.get();
    m_pendingOwner = std::move(pending);
    m_pPending = m_pendingOwner.get();
    m_nPending = 0;
    return true;
}

int CFirFunc::InputDataAndDeal(char* pData, int nCount) {
    if (m_pRatioDesc == nullptr || m_pChnState == nullptr || m_pPending == nullptr ||
        pData == nullptr || nCount < 1) {
        return 0;
    }
    if (m_nSampleType < rzf::kRawInt16 || m_nSampleType > rzf::kRawInt24) {
        return 0;
    }
    const int type = m_nSampleType;
    const int width = rzf::DecimSampleWidth(type);
    const std::int64_t chn = m_nChnCount;
    const std::int64_t ratio = m_nRatio;
    const std::int64_t frameIn = ratio * chn;
    const std::int64_t carried = m_nPending;
    const std::int64_t total = nCount + carried;
    std::int64_t remaining = total;
    int skip = m_bDelStart ? m_nDelCount : 0;
    std::int64_t outFrames = 0;

    // Stream sample s: a carried float while s < carried, else a new raw one.
    auto streamSample = [&](std::int64_t s) -> float {
        if (s < carried) {
            return m_pPending[s];
        }
        return rzf::ReadDecimSample(pData + (s - carried) * width, type);
    };

    const std::int64_t q = total / frameIn;
    if (q * chn > m_nOutCapacity) {
        m_outputOwner.reset();
        m_pOutput = nullptr;
        m_nOutCapacity = 0;
        m_outputOwner.reset(new float[q * chn]);
        m_pOutput = m_outputOwner.get();
        m_nOutCapacity = static_cast<int>(q * chn);
    }

    while (remaining >= frameIn) {
        const std::int64_t take = std::min<std::int64_t>(remaining, m_nBlockIn * chn);
        const int nOut = static_cast<int>((take / ratio) / chn);
        if (nOut < 1) {
            break;
        }
        const std::int64_t base = total - remaining;
        const std::int64_t nIn = ratio * nOut;
        for (std::int64_t ch = 0; ch < chn; ++ch) {
            FirChannelState& st = m_pChnState[ch];
            for (std::int64_t i = 0; i < nIn; ++i) {
                st.m_pWrite[i] = streamSample(base + i * chn + ch);
            }
            rzf::ProcessCascade(*m_pRatioDesc, st, st.m_pChnOut, nOut);
        }
        if (nOut > skip) {
            for (std::int64_t ch = 0; ch < chn; ++ch) {
                const FirChannelState& st = m_pChnState[ch];
                const float* src = st.m_bFilter ? st.m_pChnOut : st.m_pWrite;
                for (int j = skip; j < nOut; ++j) {
                    m_pOutput[(outFrames + j - skip) * chn + ch] = src[j];
                }
            }
            outFrames += nOut - skip;
            skip = 0;
        } else {
            skip -= nOut;
        }
        remaining -= nIn * chn;
    }
    if (m_bDelStart) {
        m_nDelCount = skip;
    }

    // Carry the tail of the stream over; it is always shorter than one output
    // frame, and copying forward is safe when it starts inside the carried part.
    const std::int64_t tail = total - remaining;
    for (std::int64_t i = 0; i < remaining; ++i) {
        m_pPending[i] = streamSample(tail + i);
    }
    m_nPending = static_cast<int>(remaining > 0 ? remaining : 0);

    const std::int64_t written = outFrames * chn;
    for (std::int64_t i = 0; i < written; ++i) {
        rzf::WriteDecimSample(m_pOutput[i], pData + i * width, type);
    }
    return static_cast<int>(written);
}
