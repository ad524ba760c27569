#include <RZFilterFunc/integrate/CIntegralDiff.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "RZFilterFunc/base/SampleCodec.h"
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

            IntegralState& s = *found->second;
            char* sample = pData + static_cast<std::ptrdiff_t>(pos * sampleBytes);
            int frame = 0;
            if (m_bFirst) {
                s.m_dSum = 0.0;
                s.m_dPrev = rzf::ReadIntegralSample(sample, m_nSampleType);
                rzf::WriteIntegralSample(0.0, sample, m_nSampleType);
                frame = 1;
            }
            for (; frame < nCount; ++frame) {
                char* p = sample + static_cast<std::ptrdiff_t>(frame * frameBytes);
                const double x = rzf::ReadIntegralSample(p, m_nSampleType);
                s.m_dSum = s.m_dSum + (x + s.m_dPrev) / s.m_dDivisor;
                s.m_dPrev = x;
                rzf::WriteIntegralSample(s.m_dSum, p, m_nSampleType);
            }
        }
    }

    m_bFirst = false;
}
