#pragma once

#include <atomic>
#include <cstddef>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace rzfpy {

namespace py = pybind11;

// Raw sample codes of the frame classes: 0 int16, 1 float32, 2 int32, 3 packed int24.
constexpr int kSampleInt16 = 0;
constexpr int kSampleFloat32 = 1;
constexpr int kSampleInt32 = 2;
constexpr int kSampleInt24 = 3;
constexpr int kInt24Bytes = 3;

// Bytes of one raw sample of the given code.
std::size_t SampleBytes(int sampleCode);
// numpy dtype that holds one raw sample of the given code (uint8 for int24).
py::dtype SampleDtype(int sampleCode);
// Name of the samples a code stands for, for messages.
const char* SampleName(int sampleCode);

// The object must be a numpy array; otherwise TypeError naming the argument.
py::array RequireArray(const py::handle& obj, const char* name);
// dtype must be exactly `dtype` in native byte order; otherwise TypeError.
void RequireDtype(const py::array& array, const py::dtype& dtype, const char* name);
// C-contiguous (a view with gaps or reversed strides is refused); ValueError.
void RequireContiguous(const py::array& array, const char* name);
void RequireWritable(const py::array& array, const char* name);
void RequireNdim(const py::array& array, py::ssize_t ndim, const char* name);
// A finite number; ValueError naming the argument otherwise.
double RequireFinite(double value, const char* name);

// Frames × channels array of raw samples for a frame class: a 2-D array of the
// sample dtype with `channels` columns, or for int24 a uint8 array of shape
// (frames, 3 × channels) or (frames, channels, 3). Checked C-contiguous and
// writable. Returns the frame count.
py::ssize_t RequireFrames(const py::array& array, int sampleCode, int channels, const char* name);

// Marks an object busy for the duration of a call. Objects keep filter state,
// so two threads must not feed one object at once; the second caller gets a
// RuntimeError instead of corrupted state.
class BusyGuard {
public:
    BusyGuard(std::atomic<bool>& busy, const char* what);
    ~BusyGuard();
    BusyGuard(const BusyGuard&) = delete;
    BusyGuard& operator=(const BusyGuard&) = delete;

private:
    std::atomic<bool>& m_busy;
};

}  // namespace rzfpy
