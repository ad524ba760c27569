#pragma once

#include <atomic>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <RZFilterFunc/RZFilterFunc.h>

namespace rzfpy {

namespace py = pybind11;

// CFirFunc over frames × channels arrays: decimates in place and returns the
// number of output frames now at the start of the array.
class DecimatorCore {
public:
    DecimatorCore(int channels, int ratio, int sampleCode, const std::vector<bool>& filtered,
                  bool discardStartup, int blockFrames);

    py::ssize_t Process(const py::handle& frames);
    int StartupRemaining() { return m_decimator.GetDelChnCount(); }
    int Channels() const { return m_channels; }
    int Ratio() const { return m_ratio; }
    int SampleCode() const { return m_sampleCode; }

private:
    CFirFunc m_decimator;
    int m_channels;
    int m_ratio;
    int m_sampleCode;
    std::atomic<bool> m_busy{false};
};

void BindDecimator(py::module_& m);

}  // namespace rzfpy
