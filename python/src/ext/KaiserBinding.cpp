#include "KaiserBinding.h"

#include <cfloat>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>

#include <pybind11/numpy.h>

#include <RZFilterFunc/RZFilterFunc.h>

#include "ArrayChecks.h"

namespace rzfpy {

namespace {

// The design takes its frequencies in single precision.
float RequireFloat32(double value, const char* name) {
    RequireFinite(value, name);
    if (std::fabs(value) > static_cast<double>(FLT_MAX)) {
        throw py::value_error(std::string(name) + ": outside the float32 range");
    }
    return static_cast<float>(value);
}

// Takes ownership of the array the design handed out and copies it to numpy.
py::array_t<double> Adopt(double* taps, int count) {
    std::unique_ptr<double[]> owner(taps);
    if (count < 1 || taps == nullptr) {
        throw py::value_error(
            "the Kaiser design refused the specification (edges out of order, "
            "band outside 1..4 or a transition width that is not positive)");
    }
    py::array_t<double> out(count);
    std::memcpy(out.mutable_data(), taps, static_cast<std::size_t>(count) * sizeof(double));
    return out;
}

py::array_t<double> KaiserFromEdges(double fs, int band, double f1, double f2, double f3, double f4,
                                    int atten) {
    const float fsF = RequireFloat32(fs, "fs");
    const float e1 = RequireFloat32(f1, "edges[0]");
    const float e2 = RequireFloat32(f2, "edges[1]");
    const float e3 = RequireFloat32(f3, "edges[2]");
    const float e4 = RequireFloat32(f4, "edges[3]");
    double* taps = nullptr;
    int count;
    {
        py::gil_scoped_release release;
        count = CFilter::DesignFilter(taps, fsF, band, e1, e2, e3, e4, atten);
    }
    return Adopt(taps, count);
}

py::array_t<double> KaiserFromTransition(double fs, int band, double f1, double f2, int atten,
                                         double transition) {
    const float fsF = RequireFloat32(fs, "fs");
    const float e1 = RequireFloat32(f1, "edges[0]");
    const float e2 = RequireFloat32(f2, "edges[1]");
    RequireFinite(transition, "transition");
    double* taps = nullptr;
    int count;
    {
        py::gil_scoped_release release;
        count = CFilter::DesignFilter(taps, fsF, band, e1, e2, atten, transition);
    }
    return Adopt(taps, count);
}

}  // namespace

void BindKaiser(py::module_& m) {
    m.def("_kaiser_edges", &KaiserFromEdges, py::arg("fs"), py::arg("band"), py::arg("f1"),
          py::arg("f2"), py::arg("f3"), py::arg("f4"), py::arg("atten"));
    m.def("_kaiser_transition", &KaiserFromTransition, py::arg("fs"), py::arg("band"),
          py::arg("f1"), py::arg("f2"), py::arg("atten"), py::arg("transition"));
}

}  // namespace rzfpy
