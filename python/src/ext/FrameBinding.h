#pragma once

#include <atomic>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <RZFilterFunc/RZFilterFunc.h>

#include "DesignBinding.h"

namespace rzfpy {

namespace py = pybind11;

// CChnsFilterFunc over frames × channels arrays, filtered in place; in section
// mode every channel's IIR design runs as its second-order section cascade.
class FrameFilterCore {
public:
    FrameFilterCore(int channels, int sampleCode, double fs, bool sections);

    // CChnsFilterFunc::DesignFilter from a CFilterParam filled from spec (the
    // rate is the object's). Returns (enabled, stable, message GBK bytes,
    // whether the channel has what its mode runs: an IIR design in section
    // mode needs sections).
    py::tuple Design(int channel, const DesignSpec& spec);
    bool Sections() const { return m_sections; }
    void Disable(int channel);
    void Process(const py::handle& frames);

    int Channels() const { return m_channels; }
    int SampleCode() const { return m_sampleCode; }
    float Fs() const { return m_filter.m_fSampleRate; }

private:
    void RequireChannel(int channel) const;

    CChnsFilterFunc m_filter;
    int m_channels;
    int m_sampleCode;
    bool m_sections;
    std::atomic<bool> m_busy{false};
};

// CChnsBesselFilterFun over frames × channels arrays, filtered in place.
class BesselFilterCore {
public:
    BesselFilterCore(int channels, int sampleCode, double fs);

    // CChnsBesselFilterFun::DesignFilter; returns whether the channel is enabled
    // afterwards (false when the table has no section for the cut-off and rate).
    bool Design(int channel, int cutoff, bool enable);
    void Process(const py::handle& frames);

    int Channels() const { return m_channels; }
    int SampleCode() const { return m_sampleCode; }
    float Fs() const { return m_filter.m_fSampleRate; }

private:
    CChnsBesselFilterFun m_filter;
    int m_channels;
    int m_sampleCode;
    std::atomic<bool> m_busy{false};
};

// Checks the arguments shared by the frame classes' constructors.
void RequireFrameSetup(int channels, int sampleCode, bool allowInt24);
// A sampling rate the frame classes can hold: finite, positive, float32 range.
void RequireRate(double fs);

void BindFrames(py::module_& m);

}  // namespace rzfpy
