#include "RZFilterFunc/decimate/CFirFunc.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "RZFilterFunc/decimate/DecimKernels.h"
#include "RZFilterFunc/decimate/DecimRows.h"
#include "RZFilterFunc/decimate/DecimSamples.h"
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
    for (std::shared_ptr<float[]>& stage : m_stageOwner) {
        stage.reset();
    }
    m_lastOwner.reset();
    m_nLanes = 0;
    m_nOutPending = 0;
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

namespace {

// Start-up span: length of the cascade's impulse response in output samples,
// accumulated in single precision, plus one.
int StartupFrames(const DecimRatioDesc& desc) {
    float span = 0.0f;
    for (int k = 0; k < desc.m_nStageCount; ++k) {
        span = (static_cast<float>(desc.m_pStage[k]->m_nTaps) + span) /
               static_cast<float>(desc.m_pStage[k]->m_nFactor);
    }
    return static_cast<int>(span + 1.0f);
}

}  // namespace

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

    const int delCount = StartupFrames(*desc);
    const int blockOut = perChn / nRatio + (perChn % nRatio > 0 ? 1 : 0);
    const int lanes = rzf::decim::PaddedLanes(nChnCount);
    // Reject block sizes whose buffers could not be indexed with int.
    const std::int64_t blockIn = static_cast<std::int64_t>(blockOut) * nRatio;
    if (blockIn * lanes > INT_MAX / 2) {
        return false;
    }

    std::shared_ptr<FirChannelState[]> states(new FirChannelState[nChnCount]);
    for (int ch = 0; ch < nChnCount; ++ch) {
        states[ch].m_bFilter = pChnFilter[ch];
    }
    // Zero history (and zero padding lanes): the first outputs are deterministic.
    std::shared_ptr<float[]> stages[3];
    for (int k = 0; k < desc->m_nStageCount; ++k) {
        const std::int64_t rows = static_cast<std::int64_t>(desc->m_nInPerOut[k]) * blockOut +
                                  desc->m_pStage[k]->m_nTaps - 1;
        stages[k].reset(new float[rows * lanes]());
    }
    std::shared_ptr<float[]> last(new float[static_cast<std::int64_t>(blockOut) * lanes]());
    std::shared_ptr<float[]> pending(new float[blockIn * nChnCount]());

    m_pRatioDesc = desc;
    m_nDelCount = delCount;
    m_nBlockOut = blockOut;
    m_nBlockIn = static_cast<int>(blockIn);
    m_nLanes = lanes;
    m_chnStateOwner = std::move(states);
    m_pChnState = m_chnStateOwner.get();
    for (int k = 0; k < 3; ++k) {
        m_stageOwner[k] = std::move(stages[k]);
    }
    m_lastOwner = std::move(last);
    m_pendingOwner = std::move(pending);
    m_pPending = m_pendingOwner.get();
    m_nPending = 0;
    m_nOutPending = 0;
    return true;
}

// Keeps the frames still pending at the front of the output buffer.
void CFirFunc::GrowOutput(std::int64_t frames) {
    const std::int64_t need = frames * m_nChnCount;
    if (need <= m_nOutCapacity) {
        return;
    }
    std::shared_ptr<float[]> grown(new float[need]);
    if (m_nOutPending > 0) {
        std::memcpy(grown.get(), m_pOutput,
                    static_cast<std::size_t>(m_nOutPending) * m_nChnCount * sizeof(float));
    }
    m_outputOwner = std::move(grown);
    m_pOutput = m_outputOwner.get();
    m_nOutCapacity = static_cast<int>(need);
}

namespace {

// The samples one call works through: the floats carried over from earlier
// calls, followed by the call's raw samples.
struct CallStream {
    const float* carried;
    std::int64_t carriedCount;
    const char* raw;
    std::int64_t width;
    int type;

    float At(std::int64_t s) const {
        if (s < carriedCount) {
            return carried[s];
        }
        return rzf::ReadDecimSample(raw + (s - carriedCount) * width, type);
    }
};

// Stream samples [base, base + rows * chn) into rows of `lanes` floats:
// carried floats first, then a partly carried row finished sample by sample,
// then whole raw rows.
void LoadInputRows(const CallStream& stream, std::int64_t base, std::int64_t rows, std::int64_t chn,
                   std::int64_t lanes, float* input) {
    const std::int64_t end = base + rows * chn;
    std::int64_t s = base;
    for (; s < end && (s < stream.carriedCount || (s - base) % chn != 0); ++s) {
        input[((s - base) / chn) * lanes + (s - base) % chn] = stream.At(s);
    }
    if (s < end) {
        const std::int64_t row = (s - base) / chn;
        rzf::decim::ReadRawRows(stream.raw + (s - stream.carriedCount) * stream.width, stream.type,
                                static_cast<int>(chn), static_cast<int>(rows - row),
                                input + row * lanes, static_cast<int>(lanes));
    }
}

// Every channel's cascade over one block of nOut output rows, all channels
// together, filtered or not. Each stage keeps its last m_nTaps - 1 rows as
// the next block's history; stage 0's own input rows stay in place for
// pass-through channels.
void RunCascade(const DecimRatioDesc& desc, const std::shared_ptr<float[]> (&stages)[3],
                float* last, int nOut, std::int64_t lanes) {
    for (int k = 0; k < desc.m_nStageCount; ++k) {
        const DecimStageDesc& stage = *desc.m_pStage[k];
        float* buf = stages[k].get();
        const int nOutStage = desc.m_nInPerOut[k] * nOut / stage.m_nFactor;
        float* dst = k + 1 < desc.m_nStageCount
                         ? stages[k + 1].get() + (desc.m_pStage[k + 1]->m_nTaps - 1) * lanes
                         : last;
        rzf::decim::DecimateRows(stage.m_pTapCoef, stage.m_nTaps, stage.m_nFactor, buf, dst,
                                 nOutStage, static_cast<int>(lanes));
        std::memmove(buf, buf + static_cast<std::int64_t>(nOutStage) * stage.m_nFactor * lanes,
                     static_cast<std::size_t>((stage.m_nTaps - 1) * lanes) * sizeof(float));
    }
}

}  // namespace

// Block rows [first, count) to interleaved output frames; a pass-through
// channel yields the block's leading raw samples.
void CFirFunc::EmitFrames(const float* filtered, const float* raw, int first, int count,
                          std::int64_t outFrame) const {
    const std::int64_t chn = m_nChnCount;
    bool allFiltered = true;
    for (std::int64_t ch = 0; ch < chn; ++ch) {
        allFiltered = allFiltered && m_pChnState[ch].m_bFilter;
    }
    for (int j = first; j < count; ++j) {
        float* out = m_pOutput + (outFrame + j - first) * chn;
        const float* f = filtered + static_cast<std::int64_t>(j) * m_nLanes;
        if (allFiltered) {
            std::memcpy(out, f, static_cast<std::size_t>(chn) * sizeof(float));
            continue;
        }
        const float* r = raw + static_cast<std::int64_t>(j) * m_nLanes;
        for (std::int64_t ch = 0; ch < chn; ++ch) {
            out[ch] = m_pChnState[ch].m_bFilter ? f[ch] : r[ch];
        }
    }
}

int CFirFunc::InputDataAndDeal(char* pData, int nCount) {
    if (m_pRatioDesc == nullptr || m_pChnState == nullptr || m_pPending == nullptr ||
        pData == nullptr || nCount < 1) {
        return 0;
    }
    if (m_nSampleType < rzf::kRawInt16 || m_nSampleType > rzf::kRawInt24) {
        return 0;
    }
    const std::int64_t chn = m_nChnCount;
    const std::int64_t lanes = m_nLanes;
    const std::int64_t frameIn = static_cast<std::int64_t>(m_nRatio) * chn;
    const CallStream stream{m_pPending, m_nPending, pData, rzf::DecimSampleWidth(m_nSampleType),
                            m_nSampleType};
    const std::int64_t total = nCount + stream.carriedCount;
    std::int64_t remaining = total;
    int skip = m_bDelStart ? m_nDelCount : 0;

    // New frames follow the ones still pending from earlier calls. Sized for
    // the most frames any call of this length can complete, whatever it
    // carries, so that calls of one length never grow it again.
    std::int64_t outFrames = m_nOutPending;
    GrowOutput(outFrames + (nCount + frameIn - 1) / frameIn);

    const DecimRatioDesc& desc = *m_pRatioDesc;
    float* input = m_stageOwner[0].get() + (desc.m_pStage[0]->m_nTaps - 1) * lanes;
    while (remaining >= frameIn) {
        const std::int64_t take = std::min<std::int64_t>(remaining, m_nBlockIn * chn);
        const int nOut = static_cast<int>((take / m_nRatio) / chn);
        if (nOut < 1) {
            break;
        }
        const std::int64_t nIn = static_cast<std::int64_t>(m_nRatio) * nOut;
        LoadInputRows(stream, total - remaining, nIn, chn, lanes, input);
        RunCascade(desc, m_stageOwner, m_lastOwner.get(), nOut, lanes);
        if (nOut > skip) {
            EmitFrames(m_lastOwner.get(), input, skip, nOut, outFrames);
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

    // Carry the tail of the stream over; it is always shorter than one input
    // frame, and copying forward is safe when it starts inside the carried part.
    const std::int64_t tail = total - remaining;
    for (std::int64_t i = 0; i < remaining; ++i) {
        m_pPending[i] = stream.At(tail + i);
    }
    m_nPending = static_cast<int>(remaining > 0 ? remaining : 0);
    return WriteFittingFrames(pData, nCount, outFrames);
}

// Only whole frames that fit in the caller's nCount samples are written; the
// others wait, in order, for the next call with room.
int CFirFunc::WriteFittingFrames(char* pData, int nCount, std::int64_t outFrames) {
    const std::int64_t chn = m_nChnCount;
    const std::int64_t fit = std::min<std::int64_t>(outFrames, nCount / chn);
    rzf::decim::WriteRawSamples(m_pOutput, fit * chn, m_nSampleType, pData);
    if (fit < outFrames) {
        std::memmove(m_pOutput, m_pOutput + fit * chn,
                     static_cast<std::size_t>((outFrames - fit) * chn) * sizeof(float));
    }
    m_nOutPending = static_cast<int>(outFrames - fit);
    return static_cast<int>(fit * chn);
}
