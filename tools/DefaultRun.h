#pragma once

#include <string>

namespace rzft {

// The tool's main job without arguments: design the library's default
// specification, plot its response, filter a built-in multi-channel signal
// with it and plot before/after, all into outDir.
int RunDefault(const std::string& outDir);

}  // namespace rzft
