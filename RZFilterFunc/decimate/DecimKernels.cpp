#include "RZFilterFunc/decimate/DecimKernels.h"

#include <cstddef>

#include "RZFilterFunc/platform/UnrollHint.h"

#include "RZFilterFunc/platform/CpuFeatures.h"

namespace rzf::decim {

namespace baseline {

namespace {

constexpr int kOutputsPerStep = 4;

// J outputs of one group of kLaneGroup lanes: J independent sums per lane,
// each in tap order.
template <int J>
void GroupOutputs(const float* coef, int taps, int rowStep, const float* in, float* out,
                  int lanes) {
    float s[J][kLaneGroup] = {};
    for (int i = 0; i < taps; ++i) {
        const float c = coef[i];
        const float* x = in + static_cast<std::ptrdiff_t>(i) * lanes;
        RZF_UNROLL
        for (int q = 0; q < J; ++q) {
            for (int l = 0; l < kLaneGroup; ++l) {
                s[q][l] += x[static_cast<std::ptrdiff_t>(q) * rowStep + l] * c;
            }
        }
    }
    RZF_UNROLL
    for (int q = 0; q < J; ++q) {
        for (int l = 0; l < kLaneGroup; ++l) {
            out[static_cast<std::ptrdiff_t>(q) * lanes + l] = s[q][l];
        }
    }
}

}  // namespace

void DecimateRows(const float* coef, int taps, int factor, const float* in, float* out, int nOut,
                  int lanes) {
    const int rowStep = factor * lanes;  // floats between the windows of two outputs
    for (int g = 0; g < lanes; g += kLaneGroup) {
        int j = 0;
        for (; j + kOutputsPerStep <= nOut; j += kOutputsPerStep) {
            GroupOutputs<kOutputsPerStep>(coef, taps, rowStep,
                                          in + static_cast<std::ptrdiff_t>(j) * rowStep + g,
                                          out + static_cast<std::ptrdiff_t>(j) * lanes + g, lanes);
        }
        for (; j < nOut; ++j) {
            GroupOutputs<1>(coef, taps, rowStep, in + static_cast<std::ptrdiff_t>(j) * rowStep + g,
                            out + static_cast<std::ptrdiff_t>(j) * lanes + g, lanes);
        }
    }
}

}  // namespace baseline

void DecimateRows(const float* coef, int taps, int factor, const float* in, float* out, int nOut,
                  int lanes) {
#if defined(RZF_ISA_DISPATCH)
    switch (platform::ActiveIsa()) {
        case platform::IsaLevel::Avx512:
            avx512::DecimateRows(coef, taps, factor, in, out, nOut, lanes);
            return;
        case platform::IsaLevel::Avx2:
            avx2::DecimateRows(coef, taps, factor, in, out, nOut, lanes);
            return;
        case platform::IsaLevel::Baseline:
            break;
    }
#endif
    baseline::DecimateRows(coef, taps, factor, in, out, nOut, lanes);
}

}  // namespace rzf::decim
