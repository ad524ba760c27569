#pragma once

#include <memory>

#include <RZFilterFunc/RZFilterFunc_export.h>

namespace rzf::detail {
template <class Channel>
class FrameChannelArray;
}  // namespace rzf::detail

// Second-order section of one Bessel channel (a[0] = 1, never read).
struct BesselSection {
    double* m_pA;      // owned, feedback coefficients
    double* m_pB;      // owned, feed-forward coefficients
    double* m_pState;  // owned
    int m_nCoefCount;
};

struct BesselChannel {
    float* m_pIn;   // owned
    float* m_pOut;  // owned
    int m_nCapacity;
    BesselSection* m_pSection;  // owned
    bool m_bEnabled;
};

// Low-passes enabled channels of interleaved raw frames in place with fixed
// second-order Bessel sections taken from a table of (cut-off, rate) pairs.
// Copies share the channel array (ownership is shared).
class RZFILTERFUNC_EXPORT CChnsBesselFilterFun {
public:
    CChnsBesselFilterFun();
    CChnsBesselFilterFun(const CChnsBesselFilterFun& other);
    CChnsBesselFilterFun& operator=(const CChnsBesselFilterFun& other);
    ~CChnsBesselFilterFun();

    bool Init(int channelCount, int sampleWidth, float sampleRate);
    // Enables or disables a channel; enabling looks up the section for cutoff
    // at the object's rate, and a missing entry silently disables the channel.
    bool DesignFilter(int channel, int cutoff, bool enable);
    // Filters the whole frames of data in place; returns the frame count (0 for
    // a negative byteCount).
    int InputDataAndDeal(char* data, int sampleType, int byteCount);

protected:
    void Release();
    float ConvertData(const char* sample, int sampleType);
    void ConvertData(float value, char* sample, int sampleType);

public:
    bool m_bInit;
    BesselChannel** m_ppChannels;
    int m_nSampleWidth;
    int m_nChannelCount;
    float m_fSampleRate;

private:
    // Owns the records behind m_ppChannels and the lane plan that filters them.
    std::shared_ptr<rzf::detail::FrameChannelArray<BesselChannel>> m_channelsOwner;
};
