#include "RZFilterFunc/platform/HardWareConfig.h"

namespace HardWareConfig {
bool g_bIs7306K_FirFunc = false;
}  // namespace HardWareConfig
