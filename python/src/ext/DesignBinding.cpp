#include "DesignBinding.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <stdexcept>

#include "ArrayChecks.h"

namespace rzfpy {

namespace {

// FilterData takes an int count; longer arrays go through in pieces, which the
// carried state makes identical to one call.
constexpr py::ssize_t kMaxSamplesPerCall = py::ssize_t{1} << 30;

// The value FilterUser keeps in m_dReserved; nothing reads it.
constexpr double kReservedField = 0.0;

py::array_t<double> CopyOf(const double* values, int count) {
    py::array_t<double> out(count);
    if (count > 0) {
        std::memcpy(out.mutable_data(), values, static_cast<std::size_t>(count) * sizeof(double));
    }
    return out;
}

}  // namespace

bool IsIir(int method) {
    return method == DM_BUTTERWORTH || method == DM_CHEBYSHEV1 || method == DM_CHEBYSHEV2;
}

bool DesignInto(FilterUser& user, const DesignSpec& spec) {
    user.setFilterParameter(spec.band, spec.method, spec.f1, spec.f2, spec.f3, spec.f4, spec.fs,
                            spec.length, spec.ripple, spec.atten, kReservedField);
    user.setWindowType(spec.window);
    return user.DesignFilter();
}

Coefficients CoefficientsOf(FilterUser& user) {
    Coefficients c;
    ClassicFilter* filter = user.m_pFilter;
    if (filter == nullptr || !filter->m_bStable) {
        return c;
    }
    const double* b = filter->GetNumerator();
    if (b == nullptr) {
        return c;
    }
    if (IsIir(user.m_nDesignMethod)) {
        const double* a = filter->GetDenominator();
        const int order = user.m_nIIROrder;
        if (a == nullptr || order < 1 || order >= filter->GetCoefCount()) {
            return c;
        }
        c.b = b;
        c.a = a;
        c.count = order + 1;
    } else if (user.m_nDesignMethod == DM_AVERAGE) {
        c.b = b;
        c.count = filter->GetCoefCount();
    } else {
        // The block filter runs an odd tap count, as the window design does.
        const int length = user.m_nFIRLength % 2 == 0 ? user.m_nFIRLength + 1 : user.m_nFIRLength;
        if (length < 1 || length > std::max(filter->m_nLength, filter->GetCoefCount())) {
            return c;
        }
        c.b = b;
        c.count = length;
    }
    return c;
}

DesignCore::DesignCore(const DesignSpec& spec) : m_spec(spec), m_ok(DesignInto(m_user, spec)) {
    const ClassicFilter* filter = m_user.m_pFilter;
    if (filter != nullptr && filter->m_pPhase != nullptr && filter->m_nRespCount > 0) {
        m_phase = CopyOf(filter->m_pPhase, filter->m_nRespCount);
    }
}

int DesignCore::Order() {
    const Coefficients c = CoefficientsOf(m_user);
    return c.count > 0 ? c.count - 1 : -1;
}

bool DesignCore::Usable() {
    return m_ok && CoefficientsOf(m_user).count > 0;
}

py::array_t<double> DesignCore::B() {
    const Coefficients c = CoefficientsOf(m_user);
    return CopyOf(c.b, c.count);
}

py::array_t<double> DesignCore::A() {
    const Coefficients c = CoefficientsOf(m_user);
    if (c.count == 0) {
        return py::array_t<double>(0);
    }
    if (c.a == nullptr) {
        const double one = 1.0;
        return CopyOf(&one, 1);
    }
    return CopyOf(c.a, c.count);
}

py::array_t<double> DesignCore::Sos() {
    const double* rows = m_user.GetSections();
    const int count = rows == nullptr ? 0 : m_user.GetSectionCount();
    py::array_t<double> out({static_cast<py::ssize_t>(count), py::ssize_t{kSectionWidth}});
    if (count > 0) {
        std::memcpy(out.mutable_data(), rows,
                    static_cast<std::size_t>(count) * kSectionWidth * sizeof(double));
    }
    return out;
}

py::tuple DesignCore::Response(bool unwrap) {
    ClassicFilter* filter = m_user.m_pFilter;
    if (filter == nullptr || filter->m_pAmplitude == nullptr || filter->m_pFreqAxis == nullptr ||
        m_phase.size() == 0) {
        throw py::value_error(
            "this design has no frequency response (the moving average and "
            "refused designs compute none)");
    }
    const int n = filter->m_nRespCount;
    if (unwrap && !m_unwrapped) {
        m_user.getUnwrapedPhase();  // in place, on the filter's own array
        m_unwrappedPhase = CopyOf(filter->m_pPhase, n);
        m_unwrapped = true;
    }
    const py::array_t<double> phase = unwrap ? m_unwrappedPhase : m_phase;
    return py::make_tuple(CopyOf(filter->m_pFreqAxis, n), CopyOf(filter->m_pAmplitude, n),
                          py::array_t<double>(phase.attr("copy")()));
}

py::tuple DesignCore::AxisLimits() {
    ClassicFilter* filter = m_user.m_pFilter;
    if (filter == nullptr || filter->m_pAmplitude == nullptr) {
        throw py::value_error("this design has no frequency response to take limits from");
    }
    m_user.GetMaxMin();
    return py::make_tuple(m_user.m_dMaxValue, m_user.m_dMinValue);
}

FilterCore::FilterCore(const DesignSpec& spec, bool sections) : m_sections(sections) {
    m_user.setSectionMode(sections);
    if (!DesignInto(m_user, spec) || CoefficientsOf(m_user).count == 0) {
        throw py::value_error("design: the specification does not give a usable filter");
    }
    // In section mode an IIR design without sections would leave the output unwritten.
    if (sections && IsIir(spec.method) && m_user.GetSectionCount() < 1) {
        throw py::value_error("sections: this design has no second-order sections to run");
    }
}

py::array FilterCore::Call(const py::handle& xObj, const py::handle& outObj) {
    const py::array x = RequireArray(xObj, "x");
    const py::dtype f32 = py::dtype::of<float>();
    RequireDtype(x, f32, "x");
    RequireNdim(x, 1, "x");
    RequireContiguous(x, "x");
    const py::ssize_t n = x.shape(0);

    py::array out;
    if (outObj.is_none()) {
        out = py::array_t<float>(n);
    } else {
        out = RequireArray(outObj, "out");
        RequireDtype(out, f32, "out");
        RequireNdim(out, 1, "out");
        RequireContiguous(out, "out");
        RequireWritable(out, "out");
        if (out.shape(0) != n) {
            throw py::value_error("out: has " + std::to_string(out.shape(0)) + " samples, x has " +
                                  std::to_string(n));
        }
    }
    const auto* in = static_cast<const float*>(x.data());
    auto* dst = static_cast<float*>(out.mutable_data());
    // The filter reads each input before writing its output: the same array is
    // fine, a shifted overlap is not.
    if (n > 0 && in != dst && in < dst + n && dst < in + n) {
        throw py::value_error("out: overlaps x without being the same array");
    }

    BusyGuard guard(m_busy, "this Filter");
    py::gil_scoped_release release;
    for (py::ssize_t done = 0; done < n;) {
        const py::ssize_t step = std::min(n - done, kMaxSamplesPerCall);
        m_user.FilterData(const_cast<float*>(in + done), dst + done, static_cast<int>(step));
        done += step;
    }
    return out;
}

void FilterCore::Reset() {
    BusyGuard guard(m_busy, "this Filter");
    m_user.setFirstInputState(true);
}

void BindDesign(py::module_& m) {
    py::class_<DesignSpec>(m, "DesignSpec",
                           "A specification in the library's codes (edges f1 < f2 < f3 < f4).")
        .def(py::init([](int method, int band, double fs, double f1, double f2, double f3,
                         double f4, int length, double ripple, double atten, int window) {
                 return DesignSpec{method, band, fs, f1, f2, f3, f4, length, ripple, atten, window};
             }),
             py::arg("method"), py::arg("band"), py::arg("fs"), py::arg("f1"), py::arg("f2"),
             py::arg("f3"), py::arg("f4"), py::arg("length"), py::arg("ripple"), py::arg("atten"),
             py::arg("window"))
        .def_readonly("method", &DesignSpec::method)
        .def_readonly("band", &DesignSpec::band)
        .def_readonly("fs", &DesignSpec::fs)
        .def_readonly("f1", &DesignSpec::f1)
        .def_readonly("f2", &DesignSpec::f2)
        .def_readonly("f3", &DesignSpec::f3)
        .def_readonly("f4", &DesignSpec::f4)
        .def_readonly("length", &DesignSpec::length)
        .def_readonly("ripple", &DesignSpec::ripple)
        .def_readonly("atten", &DesignSpec::atten)
        .def_readonly("window", &DesignSpec::window)
        .def(py::pickle(
            [](const DesignSpec& s) {
                return py::make_tuple(s.method, s.band, s.fs, s.f1, s.f2, s.f3, s.f4, s.length,
                                      s.ripple, s.atten, s.window);
            },
            [](const py::tuple& t) {
                return DesignSpec{t[0].cast<int>(),    t[1].cast<int>(),    t[2].cast<double>(),
                                  t[3].cast<double>(), t[4].cast<double>(), t[5].cast<double>(),
                                  t[6].cast<double>(), t[7].cast<int>(),    t[8].cast<double>(),
                                  t[9].cast<double>(), t[10].cast<int>()};
            }));

    py::class_<DesignCore>(m, "DesignCore", "FilterUser designed from one specification.")
        .def(py::init<const DesignSpec&>(), py::arg("spec"))
        .def_property_readonly("spec", &DesignCore::Spec)
        .def_property_readonly("ok", &DesignCore::Ok,
                               "The specification passed the library's validation.")
        .def_property_readonly("stable", &DesignCore::Stable,
                               "The library reports the design stable and usable.")
        .def_property_readonly("message_gbk", &DesignCore::MessageGbk,
                               "The library's message, GBK bytes (empty when none).")
        .def_property_readonly("order", &DesignCore::Order)
        .def_property_readonly("usable", &DesignCore::Usable,
                               "Validated, stable and holding coefficients to filter with.")
        .def_property_readonly("b", &DesignCore::B)
        .def_property_readonly("a", &DesignCore::A)
        .def_property_readonly("sos", &DesignCore::Sos,
                               "Second-order sections, (n, 6) rows b0 b1 b2 a0 a1 a2.")
        .def_property_readonly("pole_radius", &DesignCore::PoleRadius,
                               "Largest pole magnitude of the stored denominator.")
        .def("response", &DesignCore::Response, py::arg("unwrap") = false)
        .def("axis_limits", &DesignCore::AxisLimits);

    py::class_<FilterCore>(m, "FilterCore", "FilterUser::FilterData with carried state.")
        .def(py::init<const DesignSpec&, bool>(), py::arg("spec"), py::arg("sections") = false)
        .def_property_readonly("sections", &FilterCore::Sections,
                               "IIR designs run as the second-order section cascade.")
        .def("__call__", &FilterCore::Call, py::arg("x"), py::arg("out") = py::none())
        .def("reset", &FilterCore::Reset);
}

}  // namespace rzfpy
