#include "RZFilterFunc/integrate/IntegralKernels.h"

#include <cstdint>
#include <cstring>

#include "RZFilterFunc/base/SampleCodec.h"
#include "RZFilterFunc/integrate/IntegralSample.h"
#include "RZFilterFunc/platform/CpuFeatures.h"

namespace rzf::integ {

namespace baseline {

namespace {

// Channels per pass of the frame loop; their running values stay in locals.
constexpr int kChunk = 4;

template <typename T>
double Load(const char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return static_cast<double>(v);
}

template <typename T>
void Store(double v, char* p);

template <>
void Store<std::int16_t>(double v, char* p) {
    const std::int16_t s = TruncLow16(v);
    std::memcpy(p, &s, sizeof s);
}

template <>
void Store<float>(double v, char* p) {
    const float s = RoundToFloat(v);
    std::memcpy(p, &s, sizeof s);
}

template <>
void Store<std::int32_t>(double v, char* p) {
    const std::int32_t s = TruncLow32(v);
    std::memcpy(p, &s, sizeof s);
}

template <typename T, int N>
void Chunk(char* data, std::ptrdiff_t frameBytes, int nFrames, const IntegralLanes& lanes,
           int first) {
    double sum[N], prev[N], div[N];
    std::ptrdiff_t off[N];
    for (int l = 0; l < N; ++l) {
        sum[l] = lanes.sums[first + l];
        prev[l] = lanes.prevs[first + l];
        div[l] = lanes.divisors[first + l];
        off[l] = lanes.offsets[first + l];
    }
    for (int f = 0; f < nFrames; ++f) {
        char* frame = data + f * frameBytes;
        for (int l = 0; l < N; ++l) {
            const double x = Load<T>(frame + off[l]);
            sum[l] = sum[l] + (x + prev[l]) / div[l];
            prev[l] = x;
            Store<T>(sum[l], frame + off[l]);
        }
    }
    for (int l = 0; l < N; ++l) {
        lanes.sums[first + l] = sum[l];
        lanes.prevs[first + l] = prev[l];
    }
}

template <typename T>
void Typed(char* data, std::ptrdiff_t frameBytes, int nFrames, const IntegralLanes& lanes) {
    int c = 0;
    for (; c + kChunk <= lanes.count; c += kChunk) {
        Chunk<T, kChunk>(data, frameBytes, nFrames, lanes, c);
    }
    for (; c < lanes.count; ++c) {
        Chunk<T, 1>(data, frameBytes, nFrames, lanes, c);
    }
}

}  // namespace

void IntegrateFrames(char* data, std::ptrdiff_t frameBytes, int nFrames, int type,
                     const IntegralLanes& lanes) {
    switch (type) {
        case kRawInt16:
            Typed<std::int16_t>(data, frameBytes, nFrames, lanes);
            break;
        case kRawFloat32:
            Typed<float>(data, frameBytes, nFrames, lanes);
            break;
        case kRawInt32:
            Typed<std::int32_t>(data, frameBytes, nFrames, lanes);
            break;
        default:
            break;
    }
}

}  // namespace baseline

void IntegrateFrames(char* data, std::ptrdiff_t frameBytes, int nFrames, int type,
                     const IntegralLanes& lanes) {
#if defined(RZF_ISA_DISPATCH)
    switch (platform::ActiveIsa()) {
        case platform::IsaLevel::Avx512:
            avx512::IntegrateFrames(data, frameBytes, nFrames, type, lanes);
            return;
        case platform::IsaLevel::Avx2:
            avx2::IntegrateFrames(data, frameBytes, nFrames, type, lanes);
            return;
        case platform::IsaLevel::Baseline:
            break;
    }
#endif
    baseline::IntegrateFrames(data, frameBytes, nFrames, type, lanes);
}

}  // namespace rzf::integ
