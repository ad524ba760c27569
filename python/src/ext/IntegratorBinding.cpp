#include "IntegratorBinding.h"

#include <algorithm>
#include <climits>
#include <string>

#include "ArrayChecks.h"
#include "FrameBinding.h"

namespace rzfpy {

IntegratorCore::IntegratorCore(int channels, double fs, int sampleCode,
                               const std::vector<int>& selected)
    : m_channels(channels), m_sampleCode(sampleCode) {
    RequireFrameSetup(channels, sampleCode, false);
    RequireFinite(fs, "fs");
    if (!(fs > 0.0)) {
        throw py::value_error("fs: must be positive, got " + std::string(py::repr(py::float_(fs))));
    }
    for (int c : selected) {
        // The library addresses a channel's samples without a range check.
        if (c < 0 || c >= channels) {
            throw py::index_error("select: channel " + std::to_string(c) + " is not in 0.." +
                                  std::to_string(channels - 1));
        }
    }
    m_integrator.InitDiff(0, channels, selected, fs, sampleCode,
                          static_cast<int>(SampleBytes(sampleCode)));
}

void IntegratorCore::Process(const py::handle& obj) {
    py::array frames = RequireArray(obj, "frames");
    const py::ssize_t n = RequireFrames(frames, m_sampleCode, m_channels, "frames");
    BusyGuard guard(m_busy, "this Integrator");
    py::gil_scoped_release release;
    auto* data = static_cast<char*>(frames.mutable_data());
    const py::ssize_t frameBytes = m_channels * static_cast<py::ssize_t>(SampleBytes(m_sampleCode));
    // Frame counts are ints in the library, and so are its byte offsets.
    const py::ssize_t maxFrames = std::max<py::ssize_t>(1, INT_MAX / frameBytes);
    for (py::ssize_t done = 0; done < n;) {
        const py::ssize_t step = std::min(n - done, maxFrames);
        m_integrator.ContinueIntegral(static_cast<int>(step), data + done * frameBytes);
        done += step;
    }
}

void BindIntegrator(py::module_& m) {
    py::class_<IntegratorCore>(m, "IntegratorCore")
        .def(py::init<int, double, int, const std::vector<int>&>(), py::arg("channels"),
             py::arg("fs"), py::arg("sample_code"), py::arg("select"))
        .def("_process", &IntegratorCore::Process, py::arg("frames"))
        .def_property_readonly("channels", &IntegratorCore::Channels)
        .def_property_readonly("sample_code", &IntegratorCore::SampleCode);
}

}  // namespace rzfpy
