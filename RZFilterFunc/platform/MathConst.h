#pragma once

#include <cmath>

namespace rzf {

// The module's pi, 4*atan(1), as every design computes it.
inline const double kPi = 4.0 * std::atan(1.0);

}  // namespace rzf
