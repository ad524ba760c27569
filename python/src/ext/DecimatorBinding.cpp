#include "DecimatorBinding.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <string>

#include "ArrayChecks.h"
#include "FrameBinding.h"

namespace rzfpy {

DecimatorCore::DecimatorCore(int channels, int ratio, int sampleCode,
                             const std::vector<bool>& filtered, bool discardStartup,
                             int blockFrames)
    : m_channels(channels), m_ratio(ratio), m_sampleCode(sampleCode) {
    RequireFrameSetup(channels, sampleCode, true);
    if (!CFirFunc::IsActiveRatio(ratio)) {
        throw py::value_error("ratio: " + std::to_string(ratio) +
                              " is not one of 2, 5, 10, 20, 50, 100, 200, 500, 1000");
    }
    if (filtered.size() != static_cast<std::size_t>(channels)) {
        throw py::value_error("filter_channels: expected one flag per channel (" +
                              std::to_string(channels) + "), got " +
                              std::to_string(filtered.size()));
    }
    if (blockFrames < 1 || blockFrames > INT_MAX / channels) {
        throw py::value_error("block_frames: must be between 1 and " +
                              std::to_string(INT_MAX / channels));
    }
    std::unique_ptr<bool[]> flags(new bool[static_cast<std::size_t>(channels)]);
    std::copy(filtered.begin(), filtered.end(), flags.get());
    if (!m_decimator.Init(channels, ratio, blockFrames * channels, flags.get(), sampleCode,
                          discardStartup)) {
        throw py::value_error("the decimator refused its set-up");
    }
}

py::ssize_t DecimatorCore::Process(const py::handle& obj) {
    py::array frames = RequireArray(obj, "frames");
    const py::ssize_t n = RequireFrames(frames, m_sampleCode, m_channels, "frames");
    BusyGuard guard(m_busy, "this Decimator");
    py::gil_scoped_release release;

    // The library counts samples in an int; longer arrays go in pieces of whole
    // frames. Each piece's output lands at the piece's start and is moved down
    // behind the output so far (it never outgrows its piece for whole frames).
    auto* data = static_cast<char*>(frames.mutable_data());
    const py::ssize_t sampleBytes = static_cast<py::ssize_t>(SampleBytes(m_sampleCode));
    const py::ssize_t frameBytes = m_channels * sampleBytes;
    const py::ssize_t maxFrames = std::max<py::ssize_t>(1, INT_MAX / m_channels);
    py::ssize_t written = 0;  // samples
    for (py::ssize_t done = 0; done < n;) {
        const py::ssize_t step = std::min(n - done, maxFrames);
        char* piece = data + done * frameBytes;
        const int out = m_decimator.InputDataAndDeal(piece, static_cast<int>(step * m_channels));
        if (out > 0) {
            char* dst = data + written * sampleBytes;
            if (dst != piece) {
                std::memmove(dst, piece, static_cast<std::size_t>(out * sampleBytes));
            }
            written += out;
        }
        done += step;
    }
    return written / m_channels;
}

void BindDecimator(py::module_& m) {
    py::class_<DecimatorCore>(m, "DecimatorCore")
        .def(py::init<int, int, int, const std::vector<bool>&, bool, int>(), py::arg("channels"),
             py::arg("ratio"), py::arg("sample_code"), py::arg("filtered"),
             py::arg("discard_startup"), py::arg("block_frames"))
        .def("_process", &DecimatorCore::Process, py::arg("frames"))
        .def_property_readonly("startup_remaining", &DecimatorCore::StartupRemaining,
                               "Output frames per channel still to be discarded.")
        .def_property_readonly("channels", &DecimatorCore::Channels)
        .def_property_readonly("ratio", &DecimatorCore::Ratio)
        .def_property_readonly("sample_code", &DecimatorCore::SampleCode);
}

}  // namespace rzfpy
