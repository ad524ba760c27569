#include <RZFilterFunc/channels/CChnsFilterFunc.h>

#include <algorithm>
#include <cstddef>

#include "RZFilterFunc/base/ClassicFilter.h"
#include "RZFilterFunc/base/FilterTypes.h"
#include "RZFilterFunc/base/SampleCodec.h"
#include "RZFilterFunc/channels/FrameBuffers.h"
#include "RZFilterFunc/channels/FrameChannelArray.h"

namespace {

using Channels = rzf::detail::FrameChannelArray<ChannelFilter>;

ChannelFilter* NewChannel() {
    ChannelFilter* ch = new ChannelFilter{nullptr, nullptr, 0, nullptr, false};
    ch->m_pFilterUser = new FilterUser();
    return ch;
}

void DeleteChannel(ChannelFilter* ch) {
    delete[] ch->m_pIn;
    delete[] ch->m_pOut;
    delete ch->m_pFilterUser;
    delete ch;
}

// Lists a channel with the lane plan when its designer's branch can run in
// lanes, with the coefficients, lengths and checks FilterUser::FilterData uses
// for that branch. False for everything else (no filter, missing
// coefficients, an IIR order beyond the lane kernels, section mode): such a
// channel goes through FilterData itself.
bool ListLanes(FilterUser& user, int channel, std::size_t offset,
               rzf::detail::FrameLanePlan& plan) {
    ClassicFilter* filter = user.m_pFilter;
    if (filter == nullptr) {
        return false;
    }
    // A call without samples prepares the state as the block's own call would
    // (a zeroed array after a restart, the window FIR length made odd), so the
    // lanes start from exactly that state and leave it as FilterData would.
    float none = 0.0f;
    user.FilterData(&none, &none, 0);
    const double* b = filter->GetNumerator();
    const double* a = filter->GetDenominator();
    double* state = user.m_pState;
    if (b == nullptr || state == nullptr) {
        return false;
    }
    switch (user.m_nDesignMethod) {
        case DM_BUTTERWORTH:
        case DM_CHEBYSHEV1:
        case DM_CHEBYSHEV2: {
            // Section mode runs the cascade inside FilterData.
            if (user.GetSectionMode()) {
                return false;
            }
            const int order = user.m_nIIROrder;
            if (a == nullptr || order < 1 || order >= filter->GetCoefCount() ||
                order > rzf::detail::kMaxLaneIirOrder) {
                return false;
            }
            plan.AddIir(channel, offset, rzf::detail::IirForm::Designer, order, b, a, state);
            return true;
        }
        case DM_AVERAGE: {
            const int length = filter->GetCoefCount();
            if (length < 1) {
                return false;
            }
            plan.AddFir(channel, offset, false, length, b, state);
            return true;
        }
        default: {
            const int length = user.m_nFIRLength;
            const int available = std::max(filter->m_nLength, filter->GetCoefCount());
            if (length < 1 || length > available) {
                return false;
            }
            plan.AddFir(channel, offset, true, length, b, state);
            return true;
        }
    }
}

// One channel through its own FilterUser: de-interleaved, filtered, written
// back. A designer without usable coefficients writes no output; the samples
// then pass through instead of whatever the buffer last held.
void FilterOneChannel(ChannelFilter& ch, std::size_t offset, const rzf::detail::FrameBlock& block) {
    const int frames = block.frames;
    char* first = block.data + offset;
    for (int j = 0; j < frames; ++j) {
        ch.m_pIn[j] =
            rzf::ReadRawSample(first + static_cast<std::size_t>(j) * block.frameBytes, block.type);
    }
    std::copy(ch.m_pIn, ch.m_pIn + frames, ch.m_pOut);
    ch.m_pFilterUser->FilterData(ch.m_pIn, ch.m_pOut, frames);
    for (int j = 0; j < frames; ++j) {
        rzf::WriteRawSample(ch.m_pOut[j], first + static_cast<std::size_t>(j) * block.frameBytes,
                            block.type);
    }
}

}  // namespace

CChnsFilterFunc::CChnsFilterFunc()
    : m_bInit(false),
      m_ppChannels(nullptr),
      m_nSampleWidth(0),
      m_nChannelCount(0),
      m_fSampleRate(0.0f),
      m_bSectionMode(false) {}

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
    if (!Channels::AcceptsLayout(chnCount, bytesPerSample)) {
        return false;
    }
    m_channelsOwner = Channels::Create(chnCount, &NewChannel, &DeleteChannel);
    m_ppChannels = m_channelsOwner->Records();
    m_nChannelCount = chnCount;
    for (int i = 0; i < chnCount; ++i) {
        m_ppChannels[i]->m_pFilterUser->setSectionMode(m_bSectionMode);
    }
    m_nSampleWidth = bytesPerSample;
    m_fSampleRate = sampleRate;
    m_bInit = true;
    return true;
}

void CChnsFilterFunc::setSectionMode(bool bSections) {
    m_bSectionMode = bSections;
    if (m_ppChannels == nullptr) {
        return;
    }
    for (int i = 0; i < m_nChannelCount; ++i) {
        if (m_ppChannels[i] != nullptr && m_ppChannels[i]->m_pFilterUser != nullptr) {
            m_ppChannels[i]->m_pFilterUser->setSectionMode(bSections);
        }
    }
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
    if (!m_bInit || m_ppChannels == nullptr || m_channelsOwner == nullptr) {
        return 0;
    }
    rzf::detail::FrameBlock block;
    const int frames =
        rzf::detail::MakeFrameBlock(data, type, byteCount, m_nSampleWidth, m_nChannelCount, &block);
    if (frames <= 0) {
        return 0;
    }

    // Enabled channels whose design runs in lanes are filtered together,
    // straight from the frames; the others one by one through their
    // FilterUser. Every enabled channel keeps its buffers grown to the block.
    rzf::detail::FrameLanePlan& plan = m_channelsOwner->Plan();
    plan.Begin();
    for (int c = 0; c < m_nChannelCount; ++c) {
        ChannelFilter* ch = m_ppChannels[c];
        if (!ch->m_bEnabled) {
            continue;
        }
        rzf::GrowChannelBuffers(ch->m_pIn, ch->m_pOut, ch->m_nCapacity, frames);
        const std::size_t offset = static_cast<std::size_t>(c) * block.sampleWidth;
        // A channel whose FilterUser runs a mode the lanes do not follow takes
        // the per-channel path; every other channel is offered to the lanes.
        if (!ListLanes(*ch->m_pFilterUser, c, offset, plan)) {
            plan.AddPerChannel(c, ch->m_pFilterUser->m_pState);
        }
    }
    if (plan.Run(block)) {
        for (int c : plan.PerChannel()) {
            FilterOneChannel(*m_ppChannels[c], static_cast<std::size_t>(c) * block.sampleWidth,
                             block);
        }
        return frames;
    }
    for (int c = 0; c < m_nChannelCount; ++c) {
        if (m_ppChannels[c]->m_bEnabled) {
            FilterOneChannel(*m_ppChannels[c], static_cast<std::size_t>(c) * block.sampleWidth,
                             block);
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
