#include "RZFilterFunc/filter/DesignFactory.h"

#include "RZFilterFunc/base/FilterTypes.h"
#include "RZFilterFunc/filter/AverageFilter.h"
#include "RZFilterFunc/fir/WindowsFilter.h"
#include "RZFilterFunc/iir/ButwcfFilter.h"
#include "RZFilterFunc/iir/ChebyiFilter.h"
#include "RZFilterFunc/iir/ChebyiiFilter.h"

namespace rzf {
namespace {

// Window codes passed on to the window design; 3 and every other code keep
// its rectangular default.
bool IsPassedWindowCode(int windowType) {
    switch (windowType) {
        case 0:
        case 1:
        case 2:
        case 4:
        case 5:
            return true;
        default:
            return false;
    }
}

}  // namespace

std::unique_ptr<ClassicFilter> MakeDesignFilter(int method, int windowType) {
    switch (method) {
        case DM_BUTTERWORTH:
            return std::make_unique<ButwcfFilter>();
        case DM_CHEBYSHEV1:
            return std::make_unique<ChebyiFilter>();
        case DM_CHEBYSHEV2:
            return std::make_unique<ChebyiiFilter>();
        case DM_WINDOW_FIR: {
            auto windowed = std::make_unique<WindowsFilter>();
            if (IsPassedWindowCode(windowType)) {
                windowed->m_nWindowType = windowType;
            }
            return windowed;
        }
        case DM_AVERAGE:
            return std::make_unique<AverageFilter>();
        default:
            return nullptr;
    }
}

}  // namespace rzf
