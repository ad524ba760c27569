#include "ArrayChecks.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace rzfpy {

namespace {

std::string TypeName(const py::handle& obj) {
    return py::str(py::type::handle_of(obj).attr("__name__"));
}

std::string Repr(const py::handle& obj) {
    return py::repr(obj);
}

}  // namespace

std::size_t SampleBytes(int sampleCode) {
    switch (sampleCode) {
        case kSampleInt16:
            return 2;
        case kSampleInt24:
            return kInt24Bytes;
        default:
            return 4;
    }
}

py::dtype SampleDtype(int sampleCode) {
    switch (sampleCode) {
        case kSampleInt16:
            return py::dtype::of<std::int16_t>();
        case kSampleFloat32:
            return py::dtype::of<float>();
        case kSampleInt32:
            return py::dtype::of<std::int32_t>();
        default:
            return py::dtype::of<std::uint8_t>();
    }
}

const char* SampleName(int sampleCode) {
    switch (sampleCode) {
        case kSampleInt16:
            return "int16";
        case kSampleFloat32:
            return "float32";
        case kSampleInt32:
            return "int32";
        default:
            return "int24";
    }
}

py::array RequireArray(const py::handle& obj, const char* name) {
    if (!py::isinstance<py::array>(obj)) {
        throw py::type_error(std::string(name) + ": expected a numpy.ndarray, got " +
                             TypeName(obj));
    }
    return py::reinterpret_borrow<py::array>(obj);
}

void RequireDtype(const py::array& array, const py::dtype& dtype, const char* name) {
    // Exact match: no silent conversion (which would copy) and no foreign byte order.
    const bool same = array.dtype().attr("__eq__")(dtype).cast<bool>() &&
                      array.dtype().attr("isnative").cast<bool>();
    if (!same) {
        throw py::type_error(std::string(name) + ": expected dtype " + Repr(dtype.attr("name")) +
                             " in native byte order, got " + Repr(array.dtype().attr("str")));
    }
}

void RequireContiguous(const py::array& array, const char* name) {
    if ((array.flags() & py::array::c_style) == 0) {
        throw py::value_error(std::string(name) +
                              ": the array must be C-contiguous (use numpy.ascontiguousarray)");
    }
}

void RequireWritable(const py::array& array, const char* name) {
    if (!array.writeable()) {
        throw py::value_error(std::string(name) +
                              ": the array is read-only, but it is processed in place");
    }
}

void RequireNdim(const py::array& array, py::ssize_t ndim, const char* name) {
    if (array.ndim() != ndim) {
        throw py::value_error(std::string(name) + ": expected a " + std::to_string(ndim) +
                              "-D array, got " + std::to_string(array.ndim()) + "-D");
    }
}

double RequireFinite(double value, const char* name) {
    if (!std::isfinite(value)) {
        throw py::value_error(std::string(name) + ": must be a finite number, got " +
                              Repr(py::float_(value)));
    }
    return value;
}

py::ssize_t RequireFrames(const py::array& array, int sampleCode, int channels, const char* name) {
    RequireDtype(array, SampleDtype(sampleCode), name);
    const std::string shapeText = py::str(array.attr("shape"));
    if (sampleCode == kSampleInt24) {
        const bool flat = array.ndim() == 2 && array.shape(1) == kInt24Bytes * channels;
        const bool split =
            array.ndim() == 3 && array.shape(1) == channels && array.shape(2) == kInt24Bytes;
        if (!flat && !split) {
            throw py::value_error(std::string(name) + ": packed int24 frames of " +
                                  std::to_string(channels) + " channels need shape (frames, " +
                                  std::to_string(kInt24Bytes * channels) + ") or (frames, " +
                                  std::to_string(channels) + ", 3), got " + shapeText);
        }
    } else if (array.ndim() != 2 || array.shape(1) != channels) {
        throw py::value_error(std::string(name) + ": expected shape (frames, " +
                              std::to_string(channels) + "), got " + shapeText);
    }
    RequireContiguous(array, name);
    RequireWritable(array, name);
    return array.shape(0);
}

BusyGuard::BusyGuard(std::atomic<bool>& busy, const char* what) : m_busy(busy) {
    if (m_busy.exchange(true)) {
        throw std::runtime_error(std::string(what) +
                                 " is being used by another thread; use one object per thread");
    }
}

BusyGuard::~BusyGuard() {
    m_busy.store(false);
}

}  // namespace rzfpy
