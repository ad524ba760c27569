#pragma once

#include <memory>

#include "RZFilterFunc/base/ClassicFilter.h"

// Builds the designed-filter object of a design method. Internal to the
// library.
namespace rzf {

// A fresh filter of the class that designs method (DESIGN_METHOD code), or none
// when the method has no class. windowType reaches the window design when it
// names one of its windows; any other code leaves it rectangular.
std::unique_ptr<ClassicFilter> MakeDesignFilter(int method, int windowType);

}  // namespace rzf
