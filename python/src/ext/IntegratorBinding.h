#pragma once

#include <atomic>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <RZFilterFunc/RZFilterFunc.h>

namespace rzfpy {

namespace py = pybind11;

// CIntegralDiff over frames × channels arrays, integrated in place.
class IntegratorCore {
public:
    IntegratorCore(int channels, double fs, int sampleCode, const std::vector<int>& selected);

    void Process(const py::handle& frames);
    int Channels() const { return m_channels; }
    int SampleCode() const { return m_sampleCode; }

private:
    CIntegralDiff m_integrator;
    int m_channels;
    int m_sampleCode;
    std::atomic<bool> m_busy{false};
};

void BindIntegrator(py::module_& m);

}  // namespace rzfpy
