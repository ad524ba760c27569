#pragma once

// Instruction-set levels for tests that run the same kernel at each level.

#include <vector>

#include "RZFilterFunc/platform/CpuFeatures.h"

namespace rzf::test {

// Forces a level for its lifetime and restores the previous one, whatever the
// test asserted in between.
class ScopedIsaLevel {
public:
    explicit ScopedIsaLevel(platform::IsaLevel level)
        : m_saved(platform::OverrideActiveIsa(level)) {}
    ~ScopedIsaLevel() { platform::OverrideActiveIsa(m_saved); }
    ScopedIsaLevel(const ScopedIsaLevel&) = delete;
    ScopedIsaLevel& operator=(const ScopedIsaLevel&) = delete;

private:
    platform::IsaLevel m_saved;
};

// Every level this processor runs, baseline first.
inline std::vector<platform::IsaLevel> AvailableIsaLevels() {
    std::vector<platform::IsaLevel> levels;
    for (platform::IsaLevel level :
         {platform::IsaLevel::Baseline, platform::IsaLevel::Avx2, platform::IsaLevel::Avx512}) {
        if (static_cast<int>(level) <= static_cast<int>(platform::DetectedIsa())) {
            levels.push_back(level);
        }
    }
    return levels;
}

}  // namespace rzf::test
