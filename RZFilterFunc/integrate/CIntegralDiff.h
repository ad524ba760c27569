#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

#include <RZFilterFunc/RZFilterFunc_export.h>

// Running integral of one channel.
struct IntegralState {
    double m_dDivisor;  // twice the sampling frequency
    double m_dSum;
    double m_dPrev;
};

// Trapezoid integration of selected channels of interleaved raw frames, in
// place, with one running integral per channel kept between calls.
// Copies share the state records (ownership is shared).
class RZFILTERFUNC_EXPORT CIntegralDiff {
public:
    CIntegralDiff();
    CIntegralDiff(const CIntegralDiff& other);
    CIntegralDiff& operator=(const CIntegralDiff& other);
    ~CIntegralDiff();

    void InitDiff(int nFirstChn, int nChnStride, std::vector<int> vecChannels, double dSampleFreq,
                  int nSampleType, int nSampleBytes);
    // nCount frames; each selected channel's samples become its running integral.
    void ContinueIntegral(int nCount, char* pData);

    bool m_bFirst;
    int m_nSampleType;
    int m_nSampleBytes;
    int m_nChnStride;
    int m_nFirstChn;
    std::vector<int> m_vecChannels;
    std::map<int, IntegralState*> m_mapState;

private:
    void ReserveGroup(std::size_t channels);
    void IntegrateGroup(int count, int nCount, char* pData, std::ptrdiff_t frameBytes);

    std::map<int, std::shared_ptr<IntegralState>> m_stateOwners;
    // Channels integrated together in one pass over the frames: their records,
    // sample offsets and running values. Sized by InitDiff, so that a call
    // allocates nothing.
    std::vector<IntegralState*> m_groupStates;
    std::vector<std::ptrdiff_t> m_groupOffsets;
    std::vector<double> m_groupDivisors;
    std::vector<double> m_groupSums;
    std::vector<double> m_groupPrevs;
};
