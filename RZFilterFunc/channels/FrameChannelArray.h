#pragma once

#include <cstddef>
#include <memory>

#include "RZFilterFunc/channels/FrameBuffers.h"
#include "RZFilterFunc/channels/FrameKernels.h"
#include "RZFilterFunc/channels/FrameLanePlan.h"

namespace rzf::detail {

// Channel bookkeeping of the frame filters: the array of channel records and
// the lane plan that filters them, owned together and shared by copies of the
// filter (the last holder frees them). Records are made and destroyed by the
// filter's own functions.
template <class Channel>
class FrameChannelArray {
public:
    using MakeRecord = Channel* (*)();
    using DestroyRecord = void (*)(Channel*);

    // Whether a filter may be laid out with these counts: a sample width below
    // 1 would make the frame count divide by zero (or address backwards).
    static bool AcceptsLayout(int channelCount, int sampleWidth) {
        return channelCount > 0 && sampleWidth > 0;
    }

    static std::shared_ptr<FrameChannelArray> Create(int count, MakeRecord make,
                                                     DestroyRecord destroy) {
        return std::shared_ptr<FrameChannelArray>(new FrameChannelArray(count, make, destroy));
    }

    ~FrameChannelArray() {
        for (int i = 0; i < m_count; ++i) {
            if (m_records[i] != nullptr) {
                m_destroy(m_records[i]);
            }
        }
        delete[] m_records;
    }

    FrameChannelArray(const FrameChannelArray&) = delete;
    FrameChannelArray& operator=(const FrameChannelArray&) = delete;

    Channel** Records() const { return m_records; }
    FrameLanePlan& Plan() { return m_plan; }

private:
    FrameChannelArray(int count, MakeRecord make, DestroyRecord destroy)
        : m_records(new Channel*[static_cast<std::size_t>(count)]()),
          m_count(count),
          m_destroy(destroy),
          m_plan(count) {
        for (int i = 0; i < count; ++i) {
            m_records[i] = make();
        }
    }

    Channel** m_records;
    int m_count;
    DestroyRecord m_destroy;
    FrameLanePlan m_plan;
};

// The block a frame filter's call works on: whole frames only (bytes past the
// last whole frame are left alone), converted by the code a frame slot can
// hold (a sample wider than its slot reads as zeros and is not written). The
// frame count, or 0 for a count that holds no whole frame or is negative.
inline int MakeFrameBlock(char* data, int type, int byteCount, int sampleWidth, int channelCount,
                          FrameBlock* block) {
    if (data == nullptr || byteCount < 0 || sampleWidth < 1 || channelCount < 1) {
        return 0;
    }
    const int frames = byteCount / sampleWidth / channelCount;
    block->data = data;
    block->frames = frames;
    block->sampleWidth = static_cast<std::size_t>(sampleWidth);
    block->frameBytes = block->sampleWidth * static_cast<std::size_t>(channelCount);
    block->type = EffectiveSampleType(type, sampleWidth);
    return frames;
}

}  // namespace rzf::detail
