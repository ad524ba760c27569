#pragma once

#include <vector>

#include "RZFilterFunc/platform/CpuFeatures.h"

namespace isatest {

// Makes `level` the active kernel level for its lifetime and then restores the
// level it replaced, whatever the test asserted in between.
class IsaLevelScope {
public:
    explicit IsaLevelScope(rzf::platform::IsaLevel level)
        : saved_(rzf::platform::OverrideActiveIsa(level)) {}
    ~IsaLevelScope() { rzf::platform::OverrideActiveIsa(saved_); }
    IsaLevelScope(const IsaLevelScope&) = delete;
    IsaLevelScope& operator=(const IsaLevelScope&) = delete;

private:
    rzf::platform::IsaLevel saved_;
};

// Every level this build and this processor can run, baseline first.
inline std::vector<rzf::platform::IsaLevel> AvailableIsaLevels() {
    using rzf::platform::IsaLevel;
    std::vector<IsaLevel> levels;
    for (IsaLevel level : {IsaLevel::Baseline, IsaLevel::Avx2, IsaLevel::Avx512}) {
        if (static_cast<int>(level) <= static_cast<int>(rzf::platform::DetectedIsa())) {
            levels.push_back(level);
        }
    }
    return levels;
}

}  // namespace isatest
