#pragma once

#include <atomic>
#include <string>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <RZFilterFunc/RZFilterFunc.h>

namespace rzfpy {

namespace py = pybind11;

// A FilterUser specification in the library's codes. The four edges are in
// ascending rank (f1 < f2 < f3 < f4 for band filters).
struct DesignSpec {
    int method;
    int band;
    double fs;
    double f1;
    double f2;
    double f3;
    double f4;
    int length;
    double ripple;
    double atten;
    int window;
};

// Loads spec into user (setFilterParameter and setWindowType) and designs.
// Returns DesignFilter's result.
bool DesignInto(FilterUser& user, const DesignSpec& spec);

// Coefficients the block filter of a designed FilterUser runs, in the layout
// FilterUser::FilterData reads them. Empty when the design left nothing to run.
struct Coefficients {
    const double* b = nullptr;
    const double* a = nullptr;  // null for the FIR-type designs
    int count = 0;              // entries of b (and of a when present)
};
Coefficients CoefficientsOf(FilterUser& user);

// One design: the outcome, the coefficients and the response.
class DesignCore {
public:
    explicit DesignCore(const DesignSpec& spec);

    const DesignSpec& Spec() const { return m_spec; }
    bool Ok() const { return m_ok; }
    bool Stable() { return m_user.GetIsStability(); }
    py::bytes MessageGbk() { return py::bytes(m_user.GetErrorMessage()); }
    // Order of the transfer function: the IIR order, or taps - 1 for the FIR-type
    // designs; -1 when the design left no coefficients.
    int Order();
    bool Usable();
    py::array_t<double> B();
    py::array_t<double> A();
    // The library's second-order sections, (n, 6) rows b0 b1 b2 a0 a1 a2;
    // (0, 6) for FIR-type and failed designs.
    py::array_t<double> Sos();
    // Largest pole magnitude of the stored denominator (0.0 FIR-type, -1.0 no design).
    double PoleRadius() { return m_user.GetPoleRadius(); }
    // (frequency Hz, amplitude dB, phase rad); phase unwrapped by the library's
    // own unwrapping when asked. Raises when the design computed no response.
    py::tuple Response(bool unwrap);
    // Axis limits the library derives for display: (highest frequency, lowest dB).
    py::tuple AxisLimits();

private:
    DesignSpec m_spec;
    FilterUser m_user;
    bool m_ok;
    bool m_unwrapped = false;
    py::array_t<double> m_phase;
    py::array_t<double> m_unwrappedPhase;
};

// Rows of the sections array: b0 b1 b2 a0 a1 a2.
constexpr int kSectionWidth = 6;

// FilterUser::FilterData with carried state over float32 arrays, running IIR
// designs as their single transfer function or, in section mode, as the
// cascade of second-order sections.
class FilterCore {
public:
    FilterCore(const DesignSpec& spec, bool sections);

    bool Sections() const { return m_sections; }

    // Filters x into out (a new array when out is None; out may be x itself).
    py::array Call(const py::handle& x, const py::handle& out);
    void Reset();

private:
    FilterUser m_user;
    bool m_sections;
    std::atomic<bool> m_busy{false};
};

// Whether the design method is one of the IIR families (the ones with sections).
bool IsIir(int method);

void BindDesign(py::module_& m);

}  // namespace rzfpy
