#pragma once

#include <cstdint>
#include <memory>

#include <RZFilterFunc/RZFilterFunc_export.h>

// One fixed FIR stage: taps and decimation factor.
struct DecimStageDesc {
    std::uint16_t m_nTaps;
    std::uint16_t m_nFactor;
    const float* m_pTapCoef;
};

// Cascade of one to three stages for one decimation ratio.
struct DecimRatioDesc {
    std::uint8_t m_nStageCount;
    int m_nInPerOut[3];  // stage input samples per final output sample
    const DecimStageDesc* m_pStage[3];
};

// Per-channel running state of CFirFunc.
struct RZFILTERFUNC_EXPORT FirChannelState {
    FirChannelState();
    FirChannelState(const FirChannelState&) = delete;
    FirChannelState& operator=(const FirChannelState&) = delete;
    ~FirChannelState();

    float* m_pStageBuf[3];  // owned: stage history followed by one inner block
    float* m_pWrite;        // into m_pStageBuf[0], where new input goes
    float* m_pChnOut;       // owned, m_nBlockOut entries
    bool m_bFilter;         // false: the channel passes through unfiltered
};

// Decimates interleaved raw frames in place by 2, 5, 10, 20, 50, 100, 200, 500
// or 1000 through cascades of fixed linear-phase FIR stages, carrying state
// and unconsumed samples from call to call. Sample types: 0 int16, 1 float,
// 2 int32, 3 packed int24.
// Copies share buffers and channel state (ownership is shared).
class RZFILTERFUNC_EXPORT CFirFunc {
public:
    CFirFunc();
    CFirFunc(const CFirFunc& other);
    CFirFunc& operator=(const CFirFunc& other);
    ~CFirFunc();

    bool Init(int nChnCount, int nRatio, int nBlockSamples, bool* pChnFilter, int nSampleType,
              bool bDelStart);
    static bool IsActiveRatio(int nRatio);
    int GetDelChnCount();
    // Decimates nCount raw samples (all channels) and writes the result to the
    // start of pData; returns the number of samples written. The output is
    // never longer than the input except when samples carried from earlier
    // calls complete a frame: pData must then have room for one frame
    // (m_nChnCount samples) even if nCount is smaller.
    int InputDataAndDeal(char* pData, int nCount);

protected:
    void Release();
    void Clear();

public:
    const DecimRatioDesc* m_pRatioDesc;
    FirChannelState* m_pChnState;
    float* m_pPending;
    float* m_pOutput;
    int m_nBlockIn;
    int m_nBlockOut;
    int m_nPending;
    int m_nRatio;
    int m_nChnCount;
    int m_nDelCount;
    bool m_bDelStart;
    int m_nSampleType;
    int m_nOutCapacity;

private:
    std::shared_ptr<FirChannelState[]> m_chnStateOwner;
    std::shared_ptr<float[]> m_pendingOwner;
    std::shared_ptr<float[]> m_outputOwner;
};
