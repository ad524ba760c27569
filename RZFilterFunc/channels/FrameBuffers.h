#pragma once

#include <cstddef>

#include "RZFilterFunc/base/SampleCodec.h"

namespace rzf {

// The type code a block is actually converted with. A sample wider than the
// frame's sample slot cannot be read without running past the frame, so such a
// block is handled like an unknown code: it reads as zeros and nothing is
// written back.
inline int EffectiveSampleType(int type, int sampleWidth) {
    const int size = RawSampleSize(type);
    return (size > 0 && size <= sampleWidth) ? type : -1;
}

// Grows a channel's pair of float buffers to hold frames samples. Buffers are
// replaced only when too small and never shrink, so a steady stream of blocks
// allocates nothing.
inline void GrowChannelBuffers(float*& in, float*& out, int& capacity, int frames) {
    if (frames <= capacity) {
        return;
    }
    delete[] in;
    delete[] out;
    in = nullptr;
    out = nullptr;
    capacity = 0;
    in = new float[static_cast<std::size_t>(frames)];
    out = new float[static_cast<std::size_t>(frames)];
    capacity = frames;
}

}  // namespace rzf
