#include "FrameBinding.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <string>

#include "ArrayChecks.h"

namespace rzfpy {

namespace {

// Frames per library call: the byte count the frame classes take is an int.
py::ssize_t MaxFramesPerCall(int channels, int sampleCode) {
    const auto frameBytes = static_cast<py::ssize_t>(channels * SampleBytes(sampleCode));
    return std::max<py::ssize_t>(1, INT_MAX / frameBytes);
}

// Runs process(data, byteCount) over the array in pieces of whole frames.
template <typename Process>
void ForEachPiece(py::array& array, py::ssize_t frames, int channels, int sampleCode,
                  Process process) {
    auto* data = static_cast<char*>(array.mutable_data());
    const py::ssize_t frameBytes = channels * static_cast<py::ssize_t>(SampleBytes(sampleCode));
    const py::ssize_t maxFrames = MaxFramesPerCall(channels, sampleCode);
    for (py::ssize_t done = 0; done < frames;) {
        const py::ssize_t step = std::min(frames - done, maxFrames);
        process(data + done * frameBytes, static_cast<int>(step * frameBytes));
        done += step;
    }
}

}  // namespace

void RequireFrameSetup(int channels, int sampleCode, bool allowInt24) {
    if (channels < 1) {
        throw py::value_error("channels: must be at least 1, got " + std::to_string(channels));
    }
    const int last = allowInt24 ? kSampleInt24 : kSampleInt32;
    if (sampleCode < kSampleInt16 || sampleCode > last) {
        throw py::value_error("dtype: unknown sample code " + std::to_string(sampleCode));
    }
    if (static_cast<long long>(channels) * static_cast<long long>(SampleBytes(sampleCode)) >
        INT_MAX) {
        throw py::value_error("channels: too many channels for one frame");
    }
}

void RequireRate(double fs) {
    RequireFinite(fs, "fs");
    // The frame classes keep the rate in single precision.
    if (!(fs > 0.0) || fs > static_cast<double>(FLT_MAX)) {
        throw py::value_error("fs: must be a positive number within float32 range, got " +
                              std::string(py::repr(py::float_(fs))));
    }
}

FrameFilterCore::FrameFilterCore(int channels, int sampleCode, double fs, bool sections)
    : m_channels(channels), m_sampleCode(sampleCode), m_sections(sections) {
    RequireFrameSetup(channels, sampleCode, false);
    RequireRate(fs);
    if (!m_filter.Init(channels, static_cast<int>(SampleBytes(sampleCode)),
                       static_cast<float>(fs))) {
        throw py::value_error("the frame filter refused its set-up");
    }
    m_filter.setSectionMode(sections);
}

void FrameFilterCore::RequireChannel(int channel) const {
    if (channel < 0 || channel >= m_channels) {
        throw py::index_error("channel: " + std::to_string(channel) + " is not in 0.." +
                              std::to_string(m_channels - 1));
    }
}

py::tuple FrameFilterCore::Design(int channel, const DesignSpec& spec) {
    RequireChannel(channel);
    BusyGuard guard(m_busy, "this FrameFilter");
    CFilterParam param{};
    param.m_nDesignMethod = spec.method;
    param.m_nOrder = spec.length;
    param.m_nBandType = spec.band;
    param.m_nWindowType = spec.window;
    param.m_dUnused = spec.fs;
    param.m_dFreq1 = spec.f1;
    param.m_dFreq2 = spec.f2;
    param.m_dFreq3 = spec.f3;
    param.m_dFreq4 = spec.f4;
    param.m_dPassRipple = spec.ripple;
    param.m_dStopAtten = spec.atten;
    param.m_dReserved = 0.0;
    m_filter.DesignFilter(channel, &param);
    ChannelFilter* record = m_filter.m_ppChannels[channel];
    FilterUser* user = record->m_pFilterUser;
    const bool runnable = !m_sections || !IsIir(spec.method) || user->GetSectionCount() > 0;
    return py::make_tuple(record->m_bEnabled, user->GetIsStability(),
                          py::bytes(user->GetErrorMessage()), runnable);
}

void FrameFilterCore::Disable(int channel) {
    RequireChannel(channel);
    BusyGuard guard(m_busy, "this FrameFilter");
    m_filter.m_ppChannels[channel]->m_bEnabled = false;
}

void FrameFilterCore::Process(const py::handle& obj) {
    py::array frames = RequireArray(obj, "frames");
    const py::ssize_t n = RequireFrames(frames, m_sampleCode, m_channels, "frames");
    BusyGuard guard(m_busy, "this FrameFilter");
    py::gil_scoped_release release;
    ForEachPiece(frames, n, m_channels, m_sampleCode, [this](char* data, int bytes) {
        m_filter.InputDataAndDeal(data, m_sampleCode, bytes);
    });
}

BesselFilterCore::BesselFilterCore(int channels, int sampleCode, double fs)
    : m_channels(channels), m_sampleCode(sampleCode) {
    RequireFrameSetup(channels, sampleCode, false);
    RequireRate(fs);
    // The table is looked up with the rate truncated to an int.
    if (!(fs < static_cast<double>(INT_MAX))) {
        throw py::value_error("fs: must be below 2**31 Hz");
    }
    if (!m_filter.Init(channels, static_cast<int>(SampleBytes(sampleCode)),
                       static_cast<float>(fs))) {
        throw py::value_error("the Bessel frame filter refused its set-up");
    }
}

bool BesselFilterCore::Design(int channel, int cutoff, bool enable) {
    if (channel < 0 || channel >= m_channels) {
        throw py::index_error("channel: " + std::to_string(channel) + " is not in 0.." +
                              std::to_string(m_channels - 1));
    }
    BusyGuard guard(m_busy, "this BesselFrameFilter");
    m_filter.DesignFilter(channel, cutoff, enable);
    return m_filter.m_ppChannels[channel]->m_bEnabled;
}

void BesselFilterCore::Process(const py::handle& obj) {
    py::array frames = RequireArray(obj, "frames");
    const py::ssize_t n = RequireFrames(frames, m_sampleCode, m_channels, "frames");
    BusyGuard guard(m_busy, "this BesselFrameFilter");
    py::gil_scoped_release release;
    ForEachPiece(frames, n, m_channels, m_sampleCode, [this](char* data, int bytes) {
        m_filter.InputDataAndDeal(data, m_sampleCode, bytes);
    });
}

void BindFrames(py::module_& m) {
    py::class_<FrameFilterCore>(m, "FrameFilterCore")
        .def(py::init<int, int, double, bool>(), py::arg("channels"), py::arg("sample_code"),
             py::arg("fs"), py::arg("sections") = false)
        .def_property_readonly("sections", &FrameFilterCore::Sections,
                               "Every channel's IIR design runs as its section cascade.")
        .def("_design", &FrameFilterCore::Design, py::arg("channel"), py::arg("spec"))
        .def("disable", &FrameFilterCore::Disable, py::arg("channel"),
             "Leaves the channel unfiltered from the next block on.")
        .def("_process", &FrameFilterCore::Process, py::arg("frames"))
        .def_property_readonly("channels", &FrameFilterCore::Channels)
        .def_property_readonly("sample_code", &FrameFilterCore::SampleCode)
        .def_property_readonly("fs", &FrameFilterCore::Fs,
                               "The sampling rate every channel is designed at (float32).");

    py::class_<BesselFilterCore>(m, "BesselFilterCore")
        .def(py::init<int, int, double>(), py::arg("channels"), py::arg("sample_code"),
             py::arg("fs"))
        .def("_design", &BesselFilterCore::Design, py::arg("channel"), py::arg("cutoff"),
             py::arg("enable"))
        .def("_process", &BesselFilterCore::Process, py::arg("frames"))
        .def_property_readonly("channels", &BesselFilterCore::Channels)
        .def_property_readonly("sample_code", &BesselFilterCore::SampleCode)
        .def_property_readonly("fs", &BesselFilterCore::Fs);
}

}  // namespace rzfpy
