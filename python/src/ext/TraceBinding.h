#pragma once

#include <pybind11/pybind11.h>

namespace rzfpy {

namespace py = pybind11;

// Routes the library's trace lines (validation failures, GBK text) to the
// Python logger "rzfilterfunc" at DEBUG level instead of stderr: the package
// raises the same message as an exception.
void BindTrace(py::module_& m);

}  // namespace rzfpy
