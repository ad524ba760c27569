#pragma once

#include <pybind11/pybind11.h>

namespace rzfpy {

namespace py = pybind11;

// CFilter::DesignFilter, both overloads, returning the taps (scaled by 16384).
void BindKaiser(py::module_& m);

}  // namespace rzfpy
