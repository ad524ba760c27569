#pragma once

#include <memory>

#include <RZFilterFunc/RZFilterFunc_export.h>
#include <RZFilterFunc/channels/CFilterParam.h>
#include <RZFilterFunc/filter/FilterUser.h>

// One channel of CChnsFilterFunc: its de-interleaved buffers and designer.
struct ChannelFilter {
    float* m_pIn;   // owned, m_nCapacity entries
    float* m_pOut;  // owned, m_nCapacity entries
    int m_nCapacity;
    FilterUser* m_pFilterUser;  // owned
    bool m_bEnabled;
};

// Filters chosen channels of interleaved raw frames in place, each through its
// own FilterUser, with state carried from call to call. Sample types: 0 int16,
// 1 float, 2 int32 (little-endian).
// Copies share the channel array (ownership is shared).
class RZFILTERFUNC_EXPORT CChnsFilterFunc {
public:
    CChnsFilterFunc();
    CChnsFilterFunc(const CChnsFilterFunc& other);
    CChnsFilterFunc& operator=(const CChnsFilterFunc& other);
    ~CChnsFilterFunc();

    // Discards all channels; false for chnCount < 1 or bytesPerSample < 1.
    bool Init(int chnCount, int bytesPerSample, float sampleRate);
    // Designs one channel from param; true whenever the channel exists (the
    // channel is then enabled only if validation passed).
    bool DesignFilter(int channel, CFilterParam* param);
    // Filters the whole frames of data in place; returns the frame count. An
    // enabled channel whose design left no coefficients passes through.
    int InputDataAndDeal(char* data, int type, int byteCount);
    // Runs every channel's IIR filter as cascaded second-order sections (on)
    // or as its single transfer function (off, the default); applies to the
    // channels there are and to those a later Init makes. A change restarts
    // each channel from zero state.
    void setSectionMode(bool bSections);

protected:
    void Release();
    float ConvertData(const char* sample, int type);
    void ConvertData(float value, char* sample, int type);

public:
    bool m_bInit;
    ChannelFilter** m_ppChannels;
    int m_nSampleWidth;
    int m_nChannelCount;
    float m_fSampleRate;

private:
    std::shared_ptr<ChannelFilter*> m_channelsOwner;
    bool m_bSectionMode;
};
