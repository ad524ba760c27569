#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include <algorithm>
#include <cstddef>

#include "RZFilterFunc/base/SampleCodec.h"
#include "RZFilterFunc/channels/FrameBuffers.h"

namespace {

void FreeChannels(ChannelFilter** channels, int count) {
    for (int i = 0; i < count; ++i) {
        ChannelFilter* ch = channels[i];
        if (ch == nullptr) {
            continue;
        }
        delete[] ch->m_pIn;
        delete[] ch->m_pOut;
        delete ch->m_pFilterUser;
        delete ch;
    }
    delete[] channels;
}

}  // namespace

CChnsFilterFunc::CChnsFilterFunc()
    : m_bInit(false),
      m_ppChannels(nullptr),
      m_nSampleWidth(0),
      m_nChannelCount(0),
      m_fSampleRate(0.0f) {}

// Copies share the channel array (designs, filter states and buffers); the
// shared owner frees it with its last holder, so either object may be
// released or re-initialised first.
CChnsFilterFunc::CChnsFilterFunc(const CChnsFilterFunc& other) = default;

CChnsFilterFunc& CChnsFilterFunc::operator=(const CChnsFilterFunc& other) = default;

CChnsFilterFunc::~CChnsFilterFunc() {
    Release();
}

bool CChnsFilterFunc::Init(int chnCount, int bytesPerSample, float sampleRate) {
    m_bInit = false;
    Release();
    // A sample width below 1 would make the frame count divide by zero (or
    // address backwards), so it is refused like a missing channel count.
    if (chnCount <= 0 || bytesPerSample < 1) {
        return false;
    }

    const int count = chnCount;
    ChannelFilter** channels = new ChannelFilter*[static_cast<std::size_t>(count)]();
    m_channelsOwner = std::shared_ptr<ChannelFilter*>(
        channels, [count](ChannelFilter** p) { FreeChannels(p, count); });
    for (int i = 0; i < count; ++i) {
        ChannelFilter* ch = new ChannelFilter{nullptr, nullptr, 0, nullptr, false};
        channels[i] = ch;
        ch->m_pFilterUser = new FilterUser();
    }
    m_ppChannels = channels;
    m_nChannelCount = count;
    m_nSampleWidth = bytesPerSample;
    m_fSampleRate = sampleRate;
    m_bInit = true;
    return true;
}

bool CChnsFilterFunc::DesignFilter(int channel, CFilterParam* param) {
    // A missing record is refused like a bad channel: there is nothing to copy.
    if (!m_bInit || m_ppChannels == nullptr || channel < 0 || channel >= m_nChannelCount ||
        param == nullptr) {
        return false;
    }
    ChannelFilter* ch = m_ppChannels[channel];
    FilterUser& user = *ch->m_pFilterUser;

    // The record's edges are declared f1, f3, f2, f4, matching FilterUser's
    // fields; each lands in the field of the same name. The rate always comes
    // from Init, never from the record.
    user.m_nDesignMethod = param->m_nDesignMethod;
    user.m_nOrder = param->m_nOrder;
    user.m_nFIRLength = param->m_nOrder;
    user.m_nBandType = param->m_nBandType;
    user.m_nWindowType = param->m_nWindowType;
    user.m_dFreq1 = param->m_dFreq1;
    user.m_dFreq3 = param->m_dFreq3;
    user.m_dFreq2 = param->m_dFreq2;
    user.m_dFreq4 = param->m_dFreq4;
    user.m_dPassRipple = param->m_dPassRipple;
    user.m_dStopAtten = param->m_dStopAtten;
    user.m_dReserved = param->m_dReserved;
    user.m_dSampleFreq = static_cast<double>(m_fSampleRate);
    user.m_bFirstInput = true;  // the channel restarts from zero state

    // Designed twice on purpose: the second pass repeats the same design and
    // its validation result decides whether the channel is filtered.
    user.DesignFilter();
    ch->m_bEnabled = user.DesignFilter();
    return true;
}

int CChnsFilterFunc::InputDataAndDeal(char* data, int type, int byteCount) {
    if (!m_bInit || m_ppChannels == nullptr || data == nullptr || m_nChannelCount < 1 ||
        m_nSampleWidth < 1) {
        return 0;
    }
    // Bytes beyond the last whole frame are left alone; a negative byte count
    // gives a negative frame count and no processing.
    const int frames = byteCount / m_nSampleWidth / m_nChannelCount;
    if (frames <= 0) {
        return frames;
    }

    const int effectiveType = rzf::EffectiveSampleType(type, m_nSampleWidth);
    const std::size_t width = static_cast<std::size_t>(m_nSampleWidth);
    const std::size_t frameBytes = width * static_cast<std::size_t>(m_nChannelCount);
    for (int c = 0; c < m_nChannelCount; ++c) {
        ChannelFilter* ch = m_ppChannels[c];
        if (!ch->m_bEnabled) {
            continue;
        }
        rzf::GrowChannelBuffers(ch->m_pIn, ch->m_pOut, ch->m_nCapacity, frames);
        char* first = data + static_cast<std::size_t>(c) * width;
        for (int j = 0; j < frames; ++j) {
            ch->m_pIn[j] =
                ConvertData(first + static_cast<std::size_t>(j) * frameBytes, effectiveType);
        }
        // A designer without usable coefficients (its design failed after
        // validation) writes no output; the samples then pass through instead
        // of whatever the buffer last held.
        std::copy(ch->m_pIn, ch->m_pIn + frames, ch->m_pOut);
        ch->m_pFilterUser->FilterData(ch->m_pIn, ch->m_pOut, frames);
        for (int j = 0; j < frames; ++j) {
            ConvertData(ch->m_pOut[j], first + static_cast<std::size_t>(j) * frameBytes,
                        effectiveType);
        }
    }
    return frames;
}

void CChnsFilterFunc::Release() {
    m_channelsOwner.reset();
    m_ppChannels = nullptr;
    m_nChannelCount = 0;
}

float CChnsFilterFunc::ConvertData(const char* sample, int type) {
    return rzf::ReadRawSample(sample, type);
}

void CChnsFilterFunc::ConvertData(float value, char* sample, int type) {
    rzf::WriteRawSample(value, sample, type);
}
