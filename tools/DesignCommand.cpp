#include "DesignCommand.h"

#include <cmath>
#include <complex>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include <RZFilterFunc/RZFilterFunc.h>

#include "Gbk.h"
#include "Messages.h"
#include "OutputFile.h"
#include "ResponsePlot.h"

namespace rzft {

namespace {

// Kaiser taps come scaled by 2^14 for fixed-point use.
constexpr double kKaiserTapScale = 16384.0;
// Response points for designs the library gives no response for; the same
// count the library uses for its own.
constexpr int kResponsePoints = 2048;

std::vector<double> CopyArray(const double* p, int n) {
    if (p == nullptr || n <= 0) {
        return {};
    }
    return std::vector<double>(p, p + n);
}

void DesignKaiser(const DesignSpec& spec, DesignOutcome& out) {
    // The engine's Kaiser design checks only the edge order; refuse here what
    // it would divide by zero on or could not size.
    if (!(spec.fs > 0.0) || !std::isfinite(spec.fs)) {
        out.message = "sampling frequency must be greater than 0";
        return;
    }
    if (!(spec.atten > 0.0) || spec.atten > 1000.0) {
        out.message = "attenuation must be between 0 and 1000 dB";
        return;
    }
    if (spec.band < 1 || spec.band > 4) {
        out.message = "band type must be 1..4 (lowpass, highpass, bandpass, bandstop)";
        return;
    }
    const int atten = static_cast<int>(spec.atten);
    if (atten != spec.atten) {
        out.warnings.push_back("the Kaiser design takes whole decibels: --atten " +
                               std::to_string(spec.atten).substr(0, 8) + " is used as " +
                               std::to_string(atten) + " dB");
    }
    double* taps = nullptr;
    int count = 0;
    if (spec.transition > 0.0) {
        if (spec.transition < 1e-4) {
            out.message = "transition width below 1e-4 of Nyquist would need too many taps";
            return;
        }
        count = CFilter::DesignFilter(taps, static_cast<float>(spec.fs), spec.band,
                                      static_cast<float>(spec.f1), static_cast<float>(spec.f2),
                                      atten, spec.transition);
    } else {
        count =
            CFilter::DesignFilter(taps, static_cast<float>(spec.fs), spec.band,
                                  static_cast<float>(spec.f1), static_cast<float>(spec.f2),
                                  static_cast<float>(spec.f3), static_cast<float>(spec.f4), atten);
    }
    if (count <= 0 || taps == nullptr) {
        delete[] taps;
        out.accepted = false;
        out.message =
            "band edges in the wrong order for a Kaiser " + BandName(spec.band) +
            " design (f1 pass, f2 stop, f3 stop, f4 pass: low-pass needs f1 < f2, high-pass "
            "f2 < f1, band-pass f2 < f1 and f4 < f3, band-stop f1 < f2 and f3 < f4)";
        return;
    }
    out.accepted = true;
    out.stable = true;
    out.poleRadius = 0.0;
    out.order = count;
    out.numerator.assign(taps, taps + count);
    delete[] taps;
    out.tapScale = kKaiserTapScale;
    out.response = FirResponse(out.numerator, kKaiserTapScale, spec.fs, kResponsePoints);
}

// The coefficients of an accepted design: IIR transfer function and
// sections, window FIR taps (with a word where the tap count was changed), or
// the moving average's taps.
void CopyCoefficients(const DesignSpec& spec, FilterUser& user, ClassicFilter& filter,
                      DesignOutcome& out) {
    if (spec.method <= DM_CHEBYSHEV2) {
        out.order = user.m_nIIROrder;
        out.numerator = CopyArray(filter.GetNumerator(), out.order + 1);
        out.denominator = CopyArray(filter.GetDenominator(), out.order + 1);
        out.sections = CopyArray(user.GetSections(), user.GetSectionCount() * kSectionWidth);
        out.roots = RootsOfSections(out.sections);
    } else if (spec.method == DM_WINDOW_FIR) {
        out.order = filter.m_nLength;
        out.numerator = CopyArray(filter.GetNumerator(), out.order);
        if (out.order != spec.taps) {
            out.warnings.push_back(
                "the window design uses an odd tap count: " + std::to_string(spec.taps) +
                " taps requested, " + std::to_string(out.order) + " designed");
        }
    } else {
        out.order = filter.GetCoefCount();
        out.numerator = CopyArray(filter.GetNumerator(), out.order);
    }
}

// The library's response of the design, or for the moving average, which has
// none of its own, the response of its taps.
void CopyResponse(const DesignSpec& spec, FilterUser& user, ClassicFilter& filter,
                  DesignOutcome& out) {
    if (filter.m_pAmplitude != nullptr && filter.m_pFreqAxis != nullptr &&
        filter.m_pPhase != nullptr && filter.m_nRespCount > 0) {
        user.getUnwrapedPhase();
        user.GetMaxMin();
        const int n = filter.m_nRespCount;
        out.response.freq = CopyArray(filter.m_pFreqAxis, n);
        out.response.ampDb = CopyArray(filter.m_pAmplitude, n);
        out.response.phase = CopyArray(filter.m_pPhase, n);
        out.response.axisMaxFreq = user.m_dMaxValue;
        out.response.axisMinDb = user.m_dMinValue;
        out.response.fromLibrary = true;
    } else if (out.denominator.empty() && !out.numerator.empty()) {
        // The moving average has no response of its own.
        out.response = FirResponse(out.numerator, 1.0, spec.fs, kResponsePoints);
    }
}

}  // namespace

DesignSpec DesignSpec::LibraryDefaults() {
    FilterUser user;
    DesignSpec s;
    s.method = user.m_nDesignMethod;
    s.band = user.m_nBandType;
    s.window = user.m_nWindowType;
    s.fs = user.m_dSampleFreq;
    s.f1 = user.m_dFreq1;
    s.f2 = user.m_dFreq2;
    s.f3 = user.m_dFreq3;
    s.f4 = user.m_dFreq4;
    s.ripple = user.m_dPassRipple;
    s.atten = user.m_dStopAtten;
    s.taps = user.m_nFIRLength;
    s.reserved = user.m_dReserved;
    return s;
}

std::string MethodName(const DesignSpec& spec) {
    if (spec.kaiser) {
        return "kaiser";
    }
    switch (spec.method) {
        case DM_BUTTERWORTH:
            return "butterworth";
        case DM_CHEBYSHEV1:
            return "chebyshev1";
        case DM_CHEBYSHEV2:
            return "chebyshev2";
        case DM_WINDOW_FIR:
            return "window";
        case DM_RESERVED:
            return "reserved";
        case DM_AVERAGE:
            return "average";
        default:
            return "method " + std::to_string(spec.method);
    }
}

std::string BandName(int band) {
    switch (band) {
        case BAND_LOWPASS:
            return "lowpass";
        case BAND_HIGHPASS:
            return "highpass";
        case BAND_BANDPASS:
            return "bandpass";
        case BAND_BANDSTOP:
            return "bandstop";
        default:
            return "band " + std::to_string(band);
    }
}

std::string WindowName(int window) {
    switch (window) {
        case 1:
            return "hann";
        case 2:
            return "hamming";
        case 4:
            return "triangular";
        case 5:
            return "blackman";
        default:
            return "rectangular";
    }
}

DesignOutcome DesignWithLibrary(const DesignSpec& spec) {
    DesignOutcome out;
    if (spec.kaiser) {
        DesignKaiser(spec, out);
        return out;
    }
    FilterUser user;
    user.setFilterParameter(spec.band, spec.method, spec.f1, spec.f2, spec.f3, spec.f4, spec.fs,
                            spec.taps, spec.ripple, spec.atten, spec.reserved);
    user.setWindowType(spec.window);
    out.accepted = user.DesignFilter();
    out.stable = user.GetIsStability();
    out.message = GbkToUtf8(user.GetErrorMessage());
    out.gloss = EnglishGloss(user.GetErrorMessage());
    ClassicFilter* filter = user.m_pFilter;
    if (filter == nullptr) {
        out.accepted = false;
        out.stable = false;
        if (out.message.empty()) {
            out.message = "design method " + std::to_string(spec.method) + " builds no filter";
        }
        return out;
    }
    if (!out.accepted || !out.stable) {
        if (out.message.empty()) {
            out.message = "the design did not produce a usable filter";
        }
        return out;
    }
    out.poleRadius = user.GetPoleRadius();
    CopyCoefficients(spec, user, *filter, out);
    CopyResponse(spec, user, *filter, out);
    if (out.numerator.empty()) {
        out.stable = false;
        out.message = "the library returned no coefficients";
    }
    return out;
}

namespace {

// Enough digits to tell a radius just below 1 from 1.
std::string Radius(double r) {
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.9g", r);
    return buf;
}

void PrintCoefficients(const char* label, const std::vector<double>& values) {
    std::printf("%s (%zu):\n", label, values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        std::printf("  [%3zu] % .17g\n", i, values[i]);
    }
}

std::string SpecLine(const DesignSpec& spec) {
    char buf[512];
    std::string line = MethodName(spec) + " " + BandName(spec.band);
    // Only the edges the design reads.
    const bool band = spec.band >= BAND_BANDPASS;
    int edges = band ? 4 : 2;
    if (spec.kaiser && spec.transition > 0.0) {
        edges = band ? 2 : 1;
    } else if (!spec.kaiser && spec.method == DM_WINDOW_FIR) {
        edges = band ? 2 : 1;
    } else if (!spec.kaiser && spec.method == DM_AVERAGE) {
        edges = 1;
    }
    const double f[4] = {spec.f1, spec.f2, spec.f3, spec.f4};
    std::snprintf(buf, sizeof buf, ", fs %g Hz, %s %g", spec.fs, edges == 1 ? "edge" : "edges",
                  f[0]);
    line += buf;
    for (int i = 1; i < edges; ++i) {
        std::snprintf(buf, sizeof buf, " / %g", f[i]);
        line += buf;
    }
    line += " Hz";
    if (spec.kaiser) {
        std::snprintf(buf, sizeof buf, ", attenuation %d dB", static_cast<int>(spec.atten));
        line += buf;
        if (spec.transition > 0.0) {
            std::snprintf(buf, sizeof buf, ", transition %g of Nyquist", spec.transition);
            line += buf;
        }
    } else if (spec.method <= DM_CHEBYSHEV2) {
        std::snprintf(buf, sizeof buf, ", ripple %g dB, attenuation %g dB", spec.ripple,
                      spec.atten);
        line += buf;
    } else if (spec.method == DM_WINDOW_FIR) {
        std::snprintf(buf, sizeof buf, ", %d taps, %s window", spec.taps,
                      WindowName(spec.window).c_str());
        line += buf;
    } else {
        std::snprintf(buf, sizeof buf, ", length %d", spec.taps);
        line += buf;
    }
    return line;
}

nlohmann::json SpecJson(const DesignSpec& spec) {
    nlohmann::json j;
    j["method"] = MethodName(spec);
    j["band"] = BandName(spec.band);
    j["band_code"] = spec.band;
    j["fs"] = spec.fs;
    j["edges"] = {spec.f1, spec.f2, spec.f3, spec.f4};
    j["ripple_db"] = spec.ripple;
    j["attenuation_db"] = spec.atten;
    j["taps_requested"] = spec.taps;
    j["window"] = WindowName(spec.window);
    return j;
}

nlohmann::json SectionRows(const DesignOutcome& o) {
    nlohmann::json rows = nlohmann::json::array();
    for (int k = 0; k < o.SectionCount(); ++k) {
        rows.push_back(std::vector<double>(o.sections.begin() + k * kSectionWidth,
                                           o.sections.begin() + (k + 1) * kSectionWidth));
    }
    return rows;
}

// [re, im] pairs.
nlohmann::json Points(const std::vector<std::complex<double>>& values) {
    nlohmann::json list = nlohmann::json::array();
    for (const std::complex<double>& v : values) {
        list.push_back({v.real(), v.imag()});
    }
    return list;
}

// Files are written only when there is a response to show.
nlohmann::json FilesJson(const DesignOutcome& o, const DesignFiles& files) {
    nlohmann::json fj = nlohmann::json::object();
    if (!o.response.freq.empty()) {
        for (const auto& [key, path] :
             {std::pair<const char*, const std::string*>{"csv", &files.csv},
              {"svg", &files.svg},
              {"png", &files.png}}) {
            if (!path->empty()) {
                fj[key] = *path;
            }
        }
    }
    return fj;
}

nlohmann::json OutcomeJson(const DesignSpec& spec, const DesignOutcome& o,
                           const DesignFiles& files) {
    nlohmann::json j = SpecJson(spec);
    j["accepted"] = o.accepted;
    j["stable"] = o.stable;
    j["message"] = o.message;
    j["message_en"] = o.gloss;
    j["warnings"] = o.warnings;
    j["pole_radius"] = o.poleRadius;
    j["sections"] = SectionRows(o);
    if (o.accepted && o.stable) {
        j["transfer_function_stable"] = !o.TransferFunctionUnstable();
        j["explanation"] = UnstableExplanation(o);
        j["section_pole_radius"] = LargestMagnitude(o.roots.poles);
        j["poles"] = Points(o.roots.poles);
        j["zeros"] = Points(o.roots.zeros);
        j["zeros_at_infinity"] = o.roots.zerosAtInfinity;
        j["order"] = o.order;
        j["numerator"] = o.numerator;
        j["denominator"] = o.denominator;
        j["tap_scale"] = o.tapScale;
        j["response"] = {{"points", o.response.freq.size()},
                         {"from_library", o.response.fromLibrary},
                         {"axis_max_frequency_hz", o.response.axisMaxFreq},
                         {"axis_min_amplitude_db", o.response.axisMinDb}};
        j["files"] = FilesJson(o, files);
    }
    return j;
}

}  // namespace

std::string ShownMessage(const DesignOutcome& o) {
    return o.gloss.empty() ? o.message : o.message + " (" + o.gloss + ")";
}

std::string UnstableExplanation(const DesignOutcome& o) {
    if (!o.TransferFunctionUnstable()) {
        return "";
    }
    const int order = static_cast<int>(o.denominator.size()) - 1;
    std::string s =
        "The transfer function B(z)/A(z) is unstable: multiplied out into one polynomial of "
        "order " +
        std::to_string(order) +
        ", the design's poles are lost to rounding, and the largest lies at radius " +
        Radius(o.poleRadius) +
        ", outside the unit circle. Run as it is (the library's default filtering), it turns any "
        "input into output that grows without bound until it is infinite or NaN. The library's "
        "stability flag says only that the order is within its range.";
    const double sectionRadius = LargestMagnitude(o.roots.poles);
    if (o.SectionCount() > 0 && sectionRadius < 1.0) {
        s += " The same design as " + std::to_string(o.SectionCount()) +
             " second-order sections keeps its poles inside the unit circle (largest radius " +
             Radius(sectionRadius) +
             ") and is stable: filter with 'rzfilter filter --sections' (in the library: "
             "setSectionMode(true)).";
    } else {
        s += " Its second-order sections are not stable either (largest pole radius " +
             Radius(sectionRadius) + "), so this design cannot be run.";
    }
    return s;
}

void PrintDesignSummary(const DesignSpec& spec, const DesignOutcome& o) {
    std::printf("Design: %s\n", SpecLine(spec).c_str());
    if (!o.accepted || !o.stable) {
        std::printf("Result: %s: %s\n", o.accepted ? "unusable" : "refused",
                    ShownMessage(o).c_str());
        return;
    }
    if (!o.TransferFunctionUnstable()) {
        std::printf("Result: accepted, stable\n");
    } else if (LargestMagnitude(o.roots.poles) < 1.0 && o.SectionCount() > 0) {
        std::printf(
            "Result: accepted; the transfer function is unstable, the second-order sections "
            "are stable (see below)\n");
    } else {
        std::printf("Result: accepted, but unstable (see below)\n");
    }
    if (o.denominator.empty()) {
        std::printf("Taps: %d\n", o.order);
    } else {
        std::printf("Order: %d\n", o.order);
    }
    if (o.tapScale != 1.0) {
        std::printf("Taps are scaled by %g for fixed-point use.\n", o.tapScale);
    }
    PrintCoefficients(o.denominator.empty() ? "Taps h[0..L-1]" : "Numerator b[0..N]", o.numerator);
    if (!o.denominator.empty()) {
        PrintCoefficients("Denominator a[0..N]", o.denominator);
        std::printf(
            "Pole radius: %s (largest pole magnitude of B(z)/A(z); 1 or more is unstable)\n",
            Radius(o.poleRadius).c_str());
    }
    if (o.SectionCount() > 0) {
        std::printf("Second-order sections (%d), rows b0 b1 b2 a0 a1 a2:\n", o.SectionCount());
        for (int k = 0; k < o.SectionCount(); ++k) {
            const double* r = o.sections.data() + k * kSectionWidth;
            std::printf("  [%2d] % .17g % .17g % .17g % .17g % .17g % .17g\n", k, r[0], r[1], r[2],
                        r[3], r[4], r[5]);
        }
        std::printf("Section pole radius: %s (largest pole magnitude of the sections)\n",
                    Radius(LargestMagnitude(o.roots.poles)).c_str());
    }
    const std::string why = UnstableExplanation(o);
    if (!why.empty()) {
        std::printf("\n%s\n\n", why.c_str());
    }
    if (!o.response.freq.empty()) {
        std::printf("Response: %zu points, %s; library axis limits 0..%g Hz, %g..0 dB\n",
                    o.response.freq.size(),
                    o.response.fromLibrary ? "from the library" : "computed from the taps",
                    o.response.axisMaxFreq, o.response.axisMinDb);
    }
}

void WriteDesignFiles(const DesignSpec& spec, const DesignOutcome& o, const DesignFiles& files) {
    if (o.response.freq.empty()) {
        return;
    }
    const std::string title = SpecLine(spec);
    if (!files.csv.empty()) {
        WriteResponseCsv(files.csv, o.response);
    }
    ResponsePlotOptions options;
    options.dbRange = files.dbRange;
    options.logFreq = files.logFreq;
    for (const std::string* plot : {&files.svg, &files.png}) {
        if (!plot->empty()) {
            PlotDesignResponse(*plot, spec, o, options, title);
        }
    }
}

int RunDesignCommand(const DesignSpec& spec, const DesignFiles& files, bool json) {
    const DesignOutcome o = DesignWithLibrary(spec);
    const bool ok = o.accepted && o.stable;
    for (const std::string& w : o.warnings) {
        Warn(w);
    }
    if (ok) {
        WriteDesignFiles(spec, o, files);
    }
    if (json && ok && o.TransferFunctionUnstable()) {
        Warn("the transfer function is unstable (pole radius " + Radius(o.poleRadius) +
             "); filter this design with --sections");
    }
    if (json) {
        std::cout << OutcomeJson(spec, o, ok ? files : DesignFiles{}).dump(2) << std::endl;
    } else {
        PrintDesignSummary(spec, o);
        if (ok) {
            for (const std::string* p : {&files.csv, &files.svg, &files.png}) {
                if (!p->empty() && !o.response.freq.empty()) {
                    std::printf("Wrote %s\n", p->c_str());
                }
            }
        }
    }
    if (!ok) {
        std::fflush(stdout);
        std::fprintf(stderr, "rzfilter: %s: %s\n",
                     o.accepted ? "design unusable" : "specification refused",
                     ShownMessage(o).c_str());
        return kExitRefused;
    }
    return 0;
}

}  // namespace rzft
