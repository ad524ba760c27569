#include <pybind11/pybind11.h>

#include "DecimatorBinding.h"
#include "DesignBinding.h"
#include "FrameBinding.h"
#include "IntegratorBinding.h"
#include "KaiserBinding.h"
#include "TraceBinding.h"

namespace py = pybind11;

PYBIND11_MODULE(_core, m) {
    m.doc() = "Binding of the RZFilterFunc library's classes; use the rzfilterfunc package.";
    rzfpy::BindDesign(m);
    rzfpy::BindFrames(m);
    rzfpy::BindDecimator(m);
    rzfpy::BindIntegrator(m);
    rzfpy::BindKaiser(m);
    rzfpy::BindTrace(m);
}
