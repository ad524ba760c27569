#pragma once

#include <string>
#include <vector>

#include "PoleZero.h"
#include "Response.h"

namespace rzft {

// A filter specification as the user gives it. Method codes are the library's
// design methods; kaiser selects the Kaiser FIR design of the per-sample engine.
struct DesignSpec {
    bool kaiser = false;
    int method = 0;
    int band = 1;
    int window = 0;
    double fs = 0.0;
    double f1 = 0.0;
    double f2 = 0.0;
    double f3 = 0.0;
    double f4 = 0.0;
    double ripple = 0.0;
    double atten = 0.0;
    int taps = 0;
    double reserved = 0.0;
    double transition = 0.0;  // Kaiser only: > 0 selects the transition-width design

    // The library's own default specification (a fresh FilterUser's fields).
    static DesignSpec LibraryDefaults();
};

// What a design produced.
struct DesignOutcome {
    bool accepted = false;  // passed validation
    bool stable = false;    // usable filter
    std::string message;    // UTF-8; empty when the design went through
    std::string gloss;      // English gloss of a library message; empty for the tool's own
    std::vector<std::string> warnings;  // settings the design changed on its own
    int order = 0;                      // IIR order, or FIR tap count
    std::vector<double> numerator;
    std::vector<double> denominator;  // empty for FIR designs
    double tapScale = 1.0;            // Kaiser taps are scaled for fixed point
    Response response;
    // Largest pole magnitude of the stored transfer function as the library
    // gives it: 0 for FIR designs, -1 without a usable design.
    double poleRadius = -1.0;
    // The IIR design as second-order sections, rows of b0 b1 b2 a0 a1 a2, and
    // their poles and zeros; empty for FIR designs.
    std::vector<double> sections;
    SectionRoots roots;

    int SectionCount() const { return static_cast<int>(sections.size()) / kSectionWidth; }
    // The transfer function B(z)/A(z) has a pole on or outside the unit circle.
    bool TransferFunctionUnstable() const { return !denominator.empty() && poleRadius >= 1.0; }
};

DesignOutcome DesignWithLibrary(const DesignSpec& spec);

std::string MethodName(const DesignSpec& spec);
std::string BandName(int band);
std::string WindowName(int window);

// Where the design command writes its files; empty paths are skipped.
struct DesignFiles {
    std::string csv;
    std::string svg;
    std::string png;
    double dbRange = 0.0;  // amplitude axis depth of the plots; 0 chooses from the design
    bool logFreq = false;  // logarithmic frequency axis
};

// The refusal as shown to the user: the message with its English gloss.
std::string ShownMessage(const DesignOutcome& outcome);

// Why a design's transfer function cannot be run, in plain words, and what
// runs instead (its sections); empty when the transfer function is stable.
std::string UnstableExplanation(const DesignOutcome& outcome);

// Prints the human summary of a design to stdout.
void PrintDesignSummary(const DesignSpec& spec, const DesignOutcome& outcome);
// Writes the response files; requires a stable outcome with a response.
void WriteDesignFiles(const DesignSpec& spec, const DesignOutcome& outcome,
                      const DesignFiles& files);
// The whole design command: design, report (text or JSON), write the files.
int RunDesignCommand(const DesignSpec& spec, const DesignFiles& files, bool json);

}  // namespace rzft
