#include "Commands.h"

#include <RZFilterFunc/RZFilterFunc.h>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>
#include <string>

#include "DefaultRun.h"
#include "DesignCommand.h"
#include "Messages.h"
#include "OutputFile.h"
#include "Plot.h"
#include "StreamCommands.h"

namespace rzft {

namespace {

constexpr int kKaiserCode = 100;  // not a designer method: routes to the Kaiser design

constexpr const char* kSelectHelp = "channels to process, numbered from 0 (default: all)";

const std::map<std::string, int> kDesignerMethods = {
    {"butterworth", 0}, {"cheby1", 1}, {"chebyshev1", 1}, {"cheby2", 2},        {"chebyshev2", 2},
    {"window", 3},      {"fir", 3},    {"average", 5},    {"moving-average", 5}};
const std::map<std::string, int> kBands = {{"lowpass", 1},  {"highpass", 2}, {"bandpass", 3},
                                           {"bandstop", 4}, {"lp", 1},       {"hp", 2},
                                           {"bp", 3},       {"bs", 4}};
const std::map<std::string, int> kWindows = {{"rect", 0},    {"rectangular", 0}, {"hann", 1},
                                             {"hamming", 2}, {"triangular", 4},  {"blackman", 5}};

// What f1..f4 mean, shown under the help of every command that designs.
constexpr const char* kDesignerEdges = R"(
Band edges f1..f4 (Hz) by method and band type:
  butterworth, cheby1, cheby2 (take --ripple and --atten; the order is estimated):
    lowpass   f1 pass edge, f2 stop edge
    highpass  f1 stop edge, f2 pass edge
    bandpass  f1 lower stop, f2 lower pass, f3 upper pass, f4 upper stop
    bandstop  f1 lower pass, f2 lower stop, f3 upper stop, f4 upper pass
  window (takes -n and -w):
    lowpass, highpass: f1 cut-off; bandpass, bandstop: f1 lower and f2 upper cut-off
  average (takes -n, the length): f1 is only checked against fs/2.56
The designer checks all four edges even where a method uses fewer: each must be
above 0, and the highest edge used must not exceed fs/2.56.
)";

constexpr const char* kSectionsNote = R"(
An IIR design is run as one transfer function B(z)/A(z), as the library does by
default. At high orders or with edges far below fs/2 that polynomial can have
poles outside the unit circle ('rzfilter design' prints its pole radius); such a
design is refused unless --sections runs it as second-order sections, which are
stable.
)";

constexpr const char* kKaiserEdges = R"(  kaiser (takes --atten in whole dB, and --transition):
    lowpass   f1 pass edge, f2 stop edge (f1 < f2)
    highpass  f2 stop edge, f1 pass edge (f2 < f1)
    bandpass  f2 lower stop, f1 lower pass, f4 upper pass, f3 upper stop
    bandstop  f1 lower pass, f2 lower stop, f3 upper stop, f4 upper pass
    with --transition W: f1 (and f2 for bandpass and bandstop) are the pass edges,
    and the stop edges lie W * fs/2 beyond them
)";

constexpr const char* kMainFooter = R"(
Exit codes:
  0  success
  1  the library refused the specification or could not design a usable filter
     (an unstable transfer function without --sections; results that would turn
     NaN or infinite from finite input)
  2  usage: unknown option, missing or invalid value, unsuitable format choice
  3  input/output: unreadable, truncated or malformed input, or a failed write
  4  internal error (out of memory, unexpected failure)
  A run stopped by SIGINT or SIGTERM removes its unfinished output and ends
  through that signal (shells report 130 or 143).
Library messages are shown in Chinese, as the library gives them, with an
English gloss in parentheses. Recording commands read "-" as standard input and
write "-" to standard output.
)";

struct DesignArgs {
    DesignSpec spec = DesignSpec::LibraryDefaults();
    int method = spec.method;
};

void AddMethodOption(CLI::App* app, DesignArgs& a, bool withKaiser) {
    std::map<std::string, int> methods = kDesignerMethods;
    if (withKaiser) {
        methods["kaiser"] = kKaiserCode;
    }
    app->add_option("-m,--method", a.method,
                    withKaiser ? "butterworth, cheby1, cheby2, window, average or kaiser"
                               : "butterworth, cheby1, cheby2, window or average")
        ->transform(CLI::CheckedTransformer(methods, CLI::ignore_case))
        ->option_text("METHOD (default butterworth)");
}

void AddEdgeOptions(CLI::App* app, DesignArgs& a) {
    app->add_option("-b,--band", a.spec.band, "lowpass, highpass, bandpass or bandstop")
        ->transform(CLI::CheckedTransformer(kBands, CLI::ignore_case))
        ->option_text("BAND (default lowpass)");
    app->add_option("--fs", a.spec.fs, "sampling frequency (Hz)")->capture_default_str();
    app->add_option("--f1", a.spec.f1, "first band edge (Hz); see the table below")
        ->capture_default_str();
    app->add_option("--f2", a.spec.f2, "second band edge (Hz)")->capture_default_str();
    app->add_option("--f3", a.spec.f3, "third band edge (Hz)")->capture_default_str();
    app->add_option("--f4", a.spec.f4, "fourth band edge (Hz)")->capture_default_str();
}

void AddDesignerOptions(CLI::App* app, DesignArgs& a) {
    app->add_option("--ripple", a.spec.ripple, "IIR: pass-band ripple (dB)")->capture_default_str();
    app->add_option("--atten,--attenuation", a.spec.atten, "IIR: stop-band attenuation (dB)")
        ->capture_default_str();
    app->add_option("-n,--taps", a.spec.taps,
                    "window: tap count (made odd); average: length. IIR orders are estimated")
        ->capture_default_str();
    app->add_option("-w,--window", a.spec.window,
                    "window FIR: rect, hann, hamming, triangular or blackman")
        ->transform(CLI::CheckedTransformer(kWindows, CLI::ignore_case))
        ->option_text("WINDOW (default rect)");
}

void AddKaiserOptions(CLI::App* app, DesignArgs& a, bool withAtten) {
    if (withAtten) {
        app->add_option("--atten,--attenuation", a.spec.atten, "stop-band attenuation (dB, whole)")
            ->capture_default_str();
    }
    app->add_option("--transition", a.spec.transition,
                    "kaiser: transition width as a fraction of fs/2; see the table below");
}

DesignSpec Finish(const DesignArgs& a, bool kaiser) {
    DesignSpec s = a.spec;
    s.kaiser = kaiser || a.method == kKaiserCode;
    s.method = s.kaiser ? DM_WINDOW_FIR : a.method;
    return s;
}

void AddStreamOptions(CLI::App* app, StreamOptions& o, const char* selectHelp) {
    app->add_option("input", o.input, "recording to read (- for standard input)")->required();
    app->add_option("output", o.output, "file to write (- for standard output)")->required();
    app->add_option("-f,--format", o.format,
                    "int16, int32, float32, int24 (decimate only), csv, or auto (by extension)")
        ->capture_default_str();
    app->add_option("--out-format", o.outFormat,
                    "same, or float32: integer input is filtered and written as float32, so "
                    "results cannot wrap around (CSV and float input are unchanged)")
        ->capture_default_str();
    app->add_option("-c,--channels", o.channels,
                    "interleaved channels in a raw file (CSV: taken from the columns)");
    app->add_option("--block", o.blockFrames, "frames handed to the library per call")
        ->capture_default_str();
    app->add_option("-s,--select", o.selected, selectHelp)->delimiter(',');
    app->add_flag("--progress", o.progress.forced,
                  "show progress (share done, rate, time left) on stderr");
    app->add_option("--progress-interval", o.progress.logInterval,
                    "seconds between progress lines when stderr is not a terminal; long jobs "
                    "report this way even without --progress (0: never)")
        ->capture_default_str();
}

void Report(const StreamOptions& o, const StreamResult& r) {
    // With the data on standard output, the report goes to stderr.
    std::FILE* to = o.output == kStdStream ? stderr : stdout;
    std::fprintf(to, "Wrote %s: %llu frames of %d channels (read %llu).\n",
                 o.output == kStdStream ? "standard output" : o.output.c_str(),
                 static_cast<unsigned long long>(r.framesOut), r.channels,
                 static_cast<unsigned long long>(r.framesIn));
    for (const std::string& note : r.notes) {
        std::fprintf(to, "Note: %s.\n", note.c_str());
    }
}

// Options of 'design' and 'kaiser'; the two commands share them.
struct DesignCommand {
    DesignArgs args;
    std::string dir = "rzfilter-out";
    std::string name = "response";
    bool json = false;
    bool png = false;
    bool noFiles = false;
    double dbRange = 0.0;
    bool logFreq = false;
    CLI::App* design = nullptr;
    CLI::App* kaiser = nullptr;
};

struct FilterCommand {
    DesignArgs args;
    StreamOptions opt;
    bool sections = false;
    CLI::App* cmd = nullptr;
};

struct BesselCommand {
    StreamOptions opt;
    double fs = 0.0;
    int cutoff = 0;
    CLI::App* cmd = nullptr;
};

struct DecimateCommand {
    StreamOptions opt;
    int ratio = 0;
    bool keepStart = false;
    CLI::App* cmd = nullptr;
};

struct IntegrateCommand {
    StreamOptions opt;
    double fs = 0.0;
    CLI::App* cmd = nullptr;
};

void AddDesignOutputs(CLI::App* cmd, DesignCommand& d) {
    cmd->add_option("-o,--out-dir", d.dir, "directory of the response files")
        ->capture_default_str();
    cmd->add_option("--name", d.name, "base name of the response files")->capture_default_str();
    cmd->add_flag("--png", d.png, "also write a PNG plot");
    cmd->add_option("--db-range", d.dbRange,
                    "depth of the plots' amplitude axis in dB (default: the stop-band "
                    "attenuation plus 20 dB, or 100 dB)");
    cmd->add_flag("--log-freq", d.logFreq, "plot against a logarithmic frequency axis");
    cmd->add_flag("--no-files", d.noFiles, "print the outcome only");
    cmd->add_flag("--json", d.json, "print the outcome as JSON");
    cmd->footer(std::string(kDesignerEdges) + kKaiserEdges);
}

void AddDesignCommands(CLI::App& app, DesignCommand& d) {
    d.design = app.add_subcommand(
        "design", "design a filter, print it and write its response (CSV, SVG, PNG)");
    AddMethodOption(d.design, d.args, true);
    AddEdgeOptions(d.design, d.args);
    AddDesignerOptions(d.design, d.args);
    AddKaiserOptions(d.design, d.args, false);
    AddDesignOutputs(d.design, d);
    d.kaiser = app.add_subcommand(
        "kaiser", "Kaiser-window FIR design of the per-sample engine (same as design -m kaiser)");
    AddEdgeOptions(d.kaiser, d.args);
    AddKaiserOptions(d.kaiser, d.args, true);
    AddDesignOutputs(d.kaiser, d);
    d.kaiser->footer(std::string("\nBand edges f1..f4 (Hz) by band type:\n") + kKaiserEdges);
}

void AddFilterCommand(CLI::App& app, FilterCommand& f) {
    f.cmd =
        app.add_subcommand("filter", "run a recording through the designed filter, per channel");
    AddStreamOptions(f.cmd, f.opt, kSelectHelp);
    AddMethodOption(f.cmd, f.args, false);
    AddEdgeOptions(f.cmd, f.args);
    AddDesignerOptions(f.cmd, f.args);
    f.cmd->add_flag("--sections", f.sections,
                    "run IIR designs as cascaded second-order sections; needed where the single "
                    "transfer function is unstable (its pole radius is 1 or more)");
    f.cmd->footer(std::string(kDesignerEdges) + kSectionsNote);
}

void AddBesselCommand(CLI::App& app, BesselCommand& b) {
    b.cmd = app.add_subcommand("bessel", "low-pass a recording with the fixed Bessel sections");
    AddStreamOptions(b.cmd, b.opt, kSelectHelp);
    b.cmd->add_option("--fs", b.fs, "sampling frequency (Hz)")->required();
    b.cmd->add_option("--cutoff", b.cutoff, "cut-off frequency (Hz)")->required();
    b.cmd->footer(
        "\nThe library holds second-order sections for fixed (cut-off, rate) pairs only; a "
        "pair it lacks is refused with the list of those it has.\n");
}

void AddDecimateCommand(CLI::App& app, DecimateCommand& d) {
    d.cmd = app.add_subcommand(
        "decimate", "lower the sampling rate by 2, 5, 10, 20, 50, 100, 200, 500 or 1000");
    AddStreamOptions(d.cmd, d.opt,
                     "channels to decimate, numbered from 0 (default: all); only these are "
                     "written");
    d.cmd->add_option("-r,--ratio", d.ratio, "decimation ratio")->required();
    d.cmd->add_flag("--keep-start", d.keepStart,
                    "keep the start-up span of the output (dropped by default)");
    d.cmd->footer(
        "\nThe decimator's filters need a start-up span before their output is valid; it is "
        "dropped\nunless --keep-start is given. The run reports the span and which input frame "
        "each\noutput frame lines up with.");
}

void AddIntegrateCommand(CLI::App& app, IntegrateCommand& i) {
    i.cmd =
        app.add_subcommand("integrate", "replace channels by their running (trapezoid) integral");
    AddStreamOptions(i.cmd, i.opt, kSelectHelp);
    i.cmd->add_option("--fs", i.fs, "sampling frequency (Hz)")->required();
}

int RunDesign(const DesignCommand& d) {
    const DesignSpec spec = Finish(d.args, d.kaiser->parsed());
    DesignFiles files;
    files.dbRange = d.dbRange;
    files.logFreq = d.logFreq;
    if (d.dbRange < 0.0) {
        throw ToolError("--db-range must be above 0 dB", kExitUsage);
    }
    if (!d.noFiles) {
        EnsureDirectory(d.dir);
        files.csv = JoinPath(d.dir, d.name + ".csv");
        files.svg = JoinPath(d.dir, d.name + ".svg");
        if (d.png) {
            files.png = JoinPath(d.dir, d.name + ".png");
        }
    }
    return RunDesignCommand(spec, files, d.json);
}

// The command that was parsed, run; a failure becomes a message and an exit code.
int Dispatch(const DesignCommand& design, const FilterCommand& filter, const BesselCommand& bessel,
             const DecimateCommand& decimate, const IntegrateCommand& integrate,
             const std::string& outDir) {
    try {
        if (design.design->parsed() || design.kaiser->parsed()) {
            return RunDesign(design);
        }
        if (filter.cmd->parsed()) {
            Report(filter.opt, RunFilter(filter.opt, Finish(filter.args, false), filter.sections));
            return kExitOk;
        }
        if (bessel.cmd->parsed()) {
            Report(bessel.opt, RunBessel(bessel.opt, bessel.fs, bessel.cutoff));
            return kExitOk;
        }
        if (decimate.cmd->parsed()) {
            Report(decimate.opt, RunDecimate(decimate.opt, decimate.ratio, decimate.keepStart));
            return kExitOk;
        }
        if (integrate.cmd->parsed()) {
            Report(integrate.opt, RunIntegrate(integrate.opt, integrate.fs));
            return kExitOk;
        }
        return RunDefault(outDir);
    } catch (const ToolError& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "rzfilter: %s\n", e.what());
        return e.ExitCode();
    } catch (const std::exception& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "rzfilter: internal error: %s\n", e.what());
        return kExitInternal;
    }
}

int Run(int argc, char** argv) {
    CLI::App app{
        "rzfilter: design digital filters, look at their response, and run recordings "
        "through them.\nWithout a command it designs the default specification, filters a "
        "built-in test signal and writes plots."};
    app.footer(kMainFooter);
    std::string outDir = "rzfilter-out";
    app.add_option("-o,--out-dir", outDir, "where the default run writes its files")
        ->capture_default_str();
    app.require_subcommand(0, 1);
    DesignCommand design;
    FilterCommand filter;
    BesselCommand bessel;
    DecimateCommand decimate;
    IntegrateCommand integrate;
    AddDesignCommands(app, design);
    AddFilterCommand(app, filter);
    AddBesselCommand(app, bessel);
    AddDecimateCommand(app, decimate);
    AddIntegrateCommand(app, integrate);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        // Help and version requests succeed; every parse failure is a usage error.
        return app.exit(e) == 0 ? kExitOk : kExitUsage;
    }
    return Dispatch(design, filter, bessel, decimate, integrate, outDir);
}

}  // namespace

int RunCommandLine(int argc, char** argv) {
    // The library traces each refusal as raw GBK bytes; the tool reports the
    // same message itself, converted to UTF-8 with a gloss, so the trace
    // lines are dropped.
    CRZPlatForm::SetTraceSink([](const char*, void*) {}, nullptr);
    InstallInterruptCleanup();
    const int code = Run(argc, argv);
    ReleasePlotResources();
    return code;
}

}  // namespace rzft
