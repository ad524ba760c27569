#include "RZFilterFunc/channels/FrameKernels.h"

namespace rzf::detail {

const FrameKernelSet& ActiveFrameKernels() {
#if defined(RZF_ISA_DISPATCH)
    switch (platform::ActiveIsa()) {
        case platform::IsaLevel::Avx512:
            return FrameKernelsAvx512();
        case platform::IsaLevel::Avx2:
            return FrameKernelsAvx2();
        case platform::IsaLevel::Baseline:
            break;
    }
#endif
    return FrameKernelsBaseline();
}

}  // namespace rzf::detail
