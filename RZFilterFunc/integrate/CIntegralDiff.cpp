#include <RZFilterFunc/integrate/CIntegralDiff.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "RZFilterFunc/base/SampleCodec.h"
#include "RZFilterFunc/integrate/IntegralKernels.h"
#include "RZFilterFunc/integrate/IntegralSample.h"

CIntegralDiff::CIntegralDiff()
    : m_bFirst(true), m_nSampleType(0), m_nSampleBytes(2), m_nChnStride(1), m_nFirstChn(0) {}

// Copies share the state records: integrating through either object advances
// both. The shared owners keep each record alive until its last holder goes.
CIntegralDiff::CIntegralDiff(const CIntegralDiff& other) = default;

CIntegralDiff& CIntegralDiff::operator=(const CIntegralDiff& other) = default;

CIntegralDiff::~CIntegralDiff() = default;

void CIntegralDiff::InitDiff(int nFirstChn, int nChnStride, std::vector<int> vecChannels,
                             double dSampleFreq, int nSampleType, int nSampleBytes) {
    m_mapState.clear();
    m_stateOwners.clear();

    m_bFirst = true;
    m_nSampleType = nSampleType;
    m_nSampleBytes = nSampleBytes;
    m_nChnStride = nChnStride;
    m_nFirstChn = nFirstChn;
    m_vecChannels = std::move(vecChannels);

    for (int chn : m_vecChannels) {
        auto state = std::make_shared<IntegralState>();
        state->m_dDivisor = dSampleFreq * 2.0;
        state->m_dSum = 0.0;
        state->m_dPrev = 0.0;
        // A number listed again replaces its earlier record, which is released
        // here unless a copy still holds it.
        m_mapState[chn] = state.get();
        m_stateOwners[chn] = std::move(state);
    }
    ReserveGroup(m_vecChannels.size());
}

namespace {

// Most channels integrated in one pass; bounds the search for a channel listed
// twice within a pass.
constexpr std::size_t kMaxGroup = 64;

}  // namespace

void CIntegralDiff::ReserveGroup(std::size_t channels) {
    const std::size_t n = channels < kMaxGroup ? channels : kMaxGroup;
    if (m_groupStates.size() < n) {
        m_groupStates.resize(n);
        m_groupOffsets.resize(n);
        m_groupDivisors.resize(n);
        m_groupSums.resize(n);
        m_groupPrevs.resize(n);
    }
}

void CIntegralDiff::ContinueIntegral(int nCount, char* pData) {
    if (nCount < 1 || pData == nullptr) {
        return;
    }

    const int width = rzf::RawSampleSize(m_nSampleType);
    // Addressing needs a positive sample size and frame length; without them
    // (or with an unknown type) nothing can be located and nothing is touched.
    const std::int64_t sampleBytes = m_nSampleBytes;
    const std::int64_t frameBytes = static_cast<std::int64_t>(m_nChnStride) * sampleBytes;
    // A block whose size does not fit an offset cannot be a real buffer.
    const bool addressable = width > 0 && m_nSampleBytes > 0 && m_nChnStride > 0 &&
                             frameBytes <= std::numeric_limits<std::ptrdiff_t>::max() / nCount;
    if (addressable) {
        // The public channel list may have grown since InitDiff.
        ReserveGroup(m_vecChannels.size());
        // Samples narrower than their type overlap their neighbours, whose
        // order then matters: such channels are integrated one at a time.
        const bool separate = sampleBytes >= width;
        int count = 0;
        for (int chn : m_vecChannels) {
            const auto found = m_mapState.find(chn);
            if (found == m_mapState.end() || found->second == nullptr) {
                continue;
            }
            // Channels that do not lie inside the frame are skipped, so no read
            // or write strays outside the caller's nCount frames.
            const std::int64_t pos = static_cast<std::int64_t>(chn) - m_nFirstChn;
            if (pos < 0 || pos >= m_nChnStride || pos * sampleBytes + width > frameBytes) {
                continue;
            }
            // A channel listed again integrates the output of its earlier pass,
            // so the pass holding it is finished first.
            bool again = false;
            for (int i = 0; i < count; ++i) {
                again = again || m_groupStates[i] == found->second;
            }
            if (again || static_cast<std::size_t>(count) == m_groupStates.size()) {
                IntegrateGroup(count, nCount, pData, frameBytes);
                count = 0;
            }
            m_groupStates[count] = found->second;
            m_groupOffsets[count] = static_cast<std::ptrdiff_t>(pos * sampleBytes);
            ++count;
            if (!separate) {
                IntegrateGroup(count, nCount, pData, frameBytes);
                count = 0;
            }
        }
        IntegrateGroup(count, nCount, pData, frameBytes);
    }

    m_bFirst = false;
}

// The group's channels have distinct records and samples that do not overlap,
// so integrating them together gives what one after the other gives.
void CIntegralDiff::IntegrateGroup(int count, int nCount, char* pData, std::ptrdiff_t frameBytes) {
    if (count == 0) {
        return;
    }
    const int width = rzf::RawSampleSize(m_nSampleType);
    bool adjacent = true;
    for (int i = 0; i < count; ++i) {
        IntegralState& s = *m_groupStates[i];
        if (m_bFirst) {
            // Each integral starts afresh at 0 from the first frame's sample.
            char* sample = pData + m_groupOffsets[i];
            s.m_dSum = 0.0;
            s.m_dPrev = rzf::ReadIntegralSample(sample, m_nSampleType);
            rzf::WriteIntegralSample(0.0, sample, m_nSampleType);
        }
        m_groupSums[i] = s.m_dSum;
        m_groupPrevs[i] = s.m_dPrev;
        m_groupDivisors[i] = s.m_dDivisor;
        adjacent = adjacent && m_groupOffsets[i] == m_groupOffsets[0] + i * width;
    }
    const int start = m_bFirst ? 1 : 0;
    if (nCount > start) {
        const rzf::integ::IntegralLanes lanes{m_groupOffsets.data(),
                                              m_groupDivisors.data(),
                                              m_groupSums.data(),
                                              m_groupPrevs.data(),
                                              count,
                                              adjacent};
        rzf::integ::IntegrateFrames(pData + start * frameBytes, frameBytes, nCount - start,
                                    m_nSampleType, lanes);
    }
    for (int i = 0; i < count; ++i) {
        m_groupStates[i]->m_dSum = m_groupSums[i];
        m_groupStates[i]->m_dPrev = m_groupPrevs[i];
    }
}
