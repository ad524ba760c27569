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

// Per-channel record of CFirFunc. The stage histories of all channels live in
// CFirFunc's channel-interleaved stage buffers, so that the channels are
// filtered together; the buffer pointers of a record stay null.
struct RZFILTERFUNC_EXPORT FirChannelState {
    FirChannelState();
    FirChannelState(const FirChannelState&) = delete;
    FirChannelState& operator=(const FirChannelState&) = delete;
    ~FirChannelState();

    float* m_pStageBuf[3];  // null (freed by the destructor if ever set)
    float* m_pWrite;        // null
    float* m_pChnOut;       // null (freed by the destructor if ever set)
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
    // start of pData; returns the number of samples written (whole frames).
    // Nothing is ever written beyond the nCount samples given: an output frame
    // that does not fit (a call shorter than one frame that completes a frame
    // with samples carried from earlier calls) stays pending and is written,
    // whole and in order, by the next call that has room for it. Ratio 10 with
    // 2 channels: a call with 19 samples returns 0, a following call with 1
    // sample also returns 0, and the frame they complete comes with the next
    // call of at least 2 samples.
    int InputDataAndDeal(char* pData, int nCount);

protected:
    void Release();
    void Clear();

public:
    const DecimRatioDesc* m_pRatioDesc;
    FirChannelState* m_pChnState;
    float* m_pPending;
    float* m_pOutput;  // a call's output; frames still waiting for room come first
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
    void GrowOutput(std::int64_t frames);
    void EmitFrames(const float* filtered, const float* raw, int first, int count,
                    std::int64_t outFrame) const;
    int WriteFittingFrames(char* pData, int nCount, std::int64_t outFrames);

    std::shared_ptr<FirChannelState[]> m_chnStateOwner;
    // Per stage: rows of m_nLanes floats (all channels' sample t), the stage's
    // history rows followed by one inner block of its input.
    std::shared_ptr<float[]> m_stageOwner[3];
    std::shared_ptr<float[]> m_lastOwner;  // the last stage's output rows of one inner block
    int m_nLanes = 0;                      // channels rounded up to the kernels' lane group
    int m_nOutPending = 0;                 // frames in m_pOutput still to be written
    std::shared_ptr<float[]> m_pendingOwner;
    std::shared_ptr<float[]> m_outputOwner;
};
