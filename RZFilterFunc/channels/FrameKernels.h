#pragma once

#include <cstddef>

#include "RZFilterFunc/platform/CpuFeatures.h"

// Kernels that filter several channels of interleaved raw frames at once, one
// channel per SIMD lane. Every lane has its own coefficients and state and
// performs exactly the operations of the one-channel loop, in the same order,
// so the results are bit for bit those of filtering each channel alone.
namespace rzf::detail {

// Most channels one kernel call filters together.
constexpr int kMaxFrameLanes = 16;
// Highest IIR order the lane kernels are instantiated for; higher orders are
// filtered channel by channel.
constexpr int kMaxLaneIirOrder = 16;

// The block of frames a call works on. type is the conversion code actually
// applied (0 int16, 1 float, 2 int32; any other value reads zeros and writes
// nothing).
struct FrameBlock {
    char* data;
    int frames;
    std::size_t frameBytes;
    std::size_t sampleWidth;
    int type;
};

// How a transposed direct form II step orders its operations.
enum class IirForm {
    // y = b0 x + s0;  s[k-1] = b[k] x + s[k] - a[k] y;  s[N-1] = b[N] x - a[N] y
    Designer,
    // y = x b0 + s0;  s[k-1] = x b[k] - y a[k] + s[k];  s[N-1] = x b[N] - y a[N]
    Section,
};

// Channels sharing one IIR order. b and a hold order + 1 entries (a[0] is
// never read), state holds order entries and is read and written back.
struct IirLanes {
    IirForm form;
    int order;
    int count;
    std::size_t offset[kMaxFrameLanes];  // byte offset of the lane's sample in a frame
    const double* b[kMaxFrameLanes];
    const double* a[kMaxFrameLanes];
    double* state[kMaxFrameLanes];
};

// Channels sharing one FIR length: y = sum over k of taps[L-1-k] s[k] with
// s[0] the newest input, each product rounded to float first when
// roundProducts is set (the window FIR) and not otherwise (the moving
// average). state holds the last L inputs, newest first.
struct FirLanes {
    bool roundProducts;
    int length;
    int count;
    std::size_t offset[kMaxFrameLanes];
    const double* taps[kMaxFrameLanes];
    double* state[kMaxFrameLanes];
};

// Frames a FIR kernel converts per step. Its scratch holds the lane-major
// taps, the history plus one step of inputs, and one step of outputs:
// FirScratchDoubles(length, lanes) doubles.
constexpr int kFirChunkFrames = 128;
inline std::size_t FirScratchDoubles(int length, int lanes) {
    return (2 * static_cast<std::size_t>(length) - 1 + 2 * kFirChunkFrames) *
           static_cast<std::size_t>(lanes);
}

// One instruction-set level's kernels.
struct FrameKernelSet {
    // Lanes of one vector register; a call takes up to twice as many.
    int registerLanes;
    // Highest IIR order whose state for two registers of lanes still fits the
    // register file; higher orders are run one register of lanes per call.
    int wideIirMaxOrder;
    // Filters lanes.count channels (count <= 2 registerLanes) of block.
    void (*runIir)(const IirLanes& lanes, const FrameBlock& block);
    void (*runFir)(const FirLanes& lanes, const FrameBlock& block, double* scratch);
};

const FrameKernelSet& FrameKernelsBaseline();
#if defined(RZF_ISA_DISPATCH)
const FrameKernelSet& FrameKernelsAvx2();
const FrameKernelSet& FrameKernelsAvx512();
#endif

// The kernels of the active level (platform::ActiveIsa()).
const FrameKernelSet& ActiveFrameKernels();

}  // namespace rzf::detail
