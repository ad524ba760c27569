#pragma once

#include <RZFilterFunc/RZFilterFunc_export.h>

// Stand-in for the host's hardware configuration. When the flag is true the
// designer accepts band edges up to fs/2 instead of fs/2.56.
namespace HardWareConfig {
RZFILTERFUNC_EXPORT extern bool g_bIs7306K_FirFunc;
}  // namespace HardWareConfig
