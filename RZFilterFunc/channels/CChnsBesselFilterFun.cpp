#include <RZFilterFunc/channels/CChnsBesselFilterFun.h>

#include <cstddef>

#include "RZFilterFunc/base/SampleCodec.h"
#include "RZFilterFunc/channels/BesselTable.h"
#include "RZFilterFunc/channels/FrameBuffers.h"
#include "RZFilterFunc/platform/NumericConvert.h"

namespace {

constexpr int kSectionOrder = 2;
constexpr int kMaxSectionOrder = 5;

void FreeSectionArrays(BesselSection& s) {
    delete[] s.m_pA;
    delete[] s.m_pB;
    delete[] s.m_pState;
    s.m_pA = nullptr;
    s.m_pB = nullptr;
    s.m_pState = nullptr;
}

void FreeChannels(BesselChannel** channels, int count) {
    for (int i = 0; i < count; ++i) {
        BesselChannel* ch = channels[i];
        if (ch == nullptr) {
            continue;
        }
        delete[] ch->m_pIn;
        delete[] ch->m_pOut;
        if (ch->m_pSection != nullptr) {
            FreeSectionArrays(*ch->m_pSection);
            delete ch->m_pSection;
        }
        delete ch;
    }
    delete[] channels;
}

// Fresh arrays of order + 1 entries with the state at rest, then the table's
// coefficients. False (coefficients left zero) when the order is unusable or
// the table has no section for (cutoff, rate).
bool DesignSection(BesselSection& s, int order, int rate, int cutoff) {
    if (order > kMaxSectionOrder || order < 1) {
        return false;
    }
    FreeSectionArrays(s);
    s.m_nCoefCount = order + 1;
    const std::size_t n = static_cast<std::size_t>(s.m_nCoefCount);
    s.m_pA = new double[n]();
    s.m_pB = new double[n]();
    s.m_pState = new double[n]();

    const rzf::BesselTableRow* row = rzf::FindBesselSection(cutoff, rate);
    // The table holds second-order sections only.
    if (row == nullptr || s.m_nCoefCount != 3) {
        return false;
    }
    s.m_pA[0] = 1.0;
    s.m_pA[1] = row->a1;
    s.m_pA[2] = row->a2;
    s.m_pB[0] = row->b0;
    s.m_pB[1] = row->b1;
    s.m_pB[2] = row->b2;
    return true;
}

// Transposed direct form II; a[0] is taken as 1 and never read. The state
// carries over from block to block.
void RunSection(BesselSection& s, const float* in, float* out, int count) {
    const int n = s.m_nCoefCount;
    const double* a = s.m_pA;
    const double* b = s.m_pB;
    double* state = s.m_pState;
    for (int j = 0; j < count; ++j) {
        const double x = in[j];
        const double y = x * b[0] + state[0];
        for (int i = 1; i <= n - 2; ++i) {
            state[i - 1] = x * b[i] - y * a[i] + state[i];
        }
        state[n - 2] = x * b[n - 1] - y * a[n - 1];
        out[j] = static_cast<float>(y);
    }
}

}  // namespace

CChnsBesselFilterFun::CChnsBesselFilterFun()
    : m_bInit(false),
      m_ppChannels(nullptr),
      m_nSampleWidth(0),
      m_nChannelCount(0),
      m_fSampleRate(0.0f) {}

// Copies share the channel array; the shared owner frees it with its last
// holder, so either object may be released or re-initialised first.
CChnsBesselFilterFun::CChnsBesselFilterFun(const CChnsBesselFilterFun& other) = default;

CChnsBesselFilterFun& CChnsBesselFilterFun::operator=(const CChnsBesselFilterFun& other) = default;

CChnsBesselFilterFun::~CChnsBesselFilterFun() {
    Release();
}

bool CChnsBesselFilterFun::Init(int channelCount, int sampleWidth, float sampleRate) {
    m_bInit = false;
    Release();
    // A sample width below 1 would make the frame count divide by zero (or
    // address backwards), so it is refused like a missing channel count.
    if (channelCount < 1 || sampleWidth < 1) {
        return false;
    }

    const int count = channelCount;
    BesselChannel** channels = new BesselChannel*[static_cast<std::size_t>(count)]();
    m_channelsOwner = std::shared_ptr<BesselChannel*>(
        channels, [count](BesselChannel** p) { FreeChannels(p, count); });
    for (int i = 0; i < count; ++i) {
        BesselChannel* ch = new BesselChannel{nullptr, nullptr, 0, nullptr, false};
        channels[i] = ch;
        ch->m_pSection = new BesselSection{nullptr, nullptr, nullptr, 0};
    }
    m_ppChannels = channels;
    m_nChannelCount = count;
    m_nSampleWidth = sampleWidth;
    m_fSampleRate = sampleRate;
    m_bInit = true;
    return true;
}

bool CChnsBesselFilterFun::DesignFilter(int channel, int cutoff, bool enable) {
    if (!m_bInit || m_ppChannels == nullptr || channel < 0 || channel >= m_nChannelCount) {
        return false;
    }
    BesselChannel* ch = m_ppChannels[channel];
    ch->m_bEnabled = enable;
    if (!enable) {
        return true;  // coefficients and state are kept for a later run
    }
    // The table is keyed by whole hertz: the rate is truncated, so 999.9 Hz
    // looks for a 999 Hz row. A missing row quietly disables the channel.
    const int rate = rzf::TruncToInt32(m_fSampleRate);
    if (!DesignSection(*ch->m_pSection, kSectionOrder, rate, cutoff)) {
        ch->m_bEnabled = false;
    }
    return true;
}

int CChnsBesselFilterFun::InputDataAndDeal(char* data, int sampleType, int byteCount) {
    if (!m_bInit || m_ppChannels == nullptr || data == nullptr || m_nChannelCount < 1 ||
        m_nSampleWidth < 1) {
        return 0;
    }
    const int frames = byteCount / m_nSampleWidth / m_nChannelCount;
    if (frames < 1) {
        return frames;
    }

    const int type = rzf::EffectiveSampleType(sampleType, m_nSampleWidth);
    const std::size_t width = static_cast<std::size_t>(m_nSampleWidth);
    const std::size_t frameBytes = width * static_cast<std::size_t>(m_nChannelCount);
    for (int c = 0; c < m_nChannelCount; ++c) {
        BesselChannel* ch = m_ppChannels[c];
        if (!ch->m_bEnabled) {
            continue;
        }
        rzf::GrowChannelBuffers(ch->m_pIn, ch->m_pOut, ch->m_nCapacity, frames);
        char* first = data + static_cast<std::size_t>(c) * width;
        for (int j = 0; j < frames; ++j) {
            ch->m_pIn[j] = ConvertData(first + static_cast<std::size_t>(j) * frameBytes, type);
        }
        RunSection(*ch->m_pSection, ch->m_pIn, ch->m_pOut, frames);
        for (int j = 0; j < frames; ++j) {
            ConvertData(ch->m_pOut[j], first + static_cast<std::size_t>(j) * frameBytes, type);
        }
    }
    return frames;
}

void CChnsBesselFilterFun::Release() {
    m_channelsOwner.reset();
    m_ppChannels = nullptr;
    m_nChannelCount = 0;
}

float CChnsBesselFilterFun::ConvertData(const char* sample, int sampleType) {
    return rzf::ReadRawSample(sample, sampleType);
}

void CChnsBesselFilterFun::ConvertData(float value, char* sample, int sampleType) {
    rzf::WriteRawSample(value, sample, sampleType);
}
