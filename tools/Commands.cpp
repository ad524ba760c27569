#include "Commands.h"

#include <RZFilterFunc/RZFilterFunc.h>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>
#include <string>

#include "DefaultRun.h"
#include "DesignCommand.h"
#include "OutputFile.h"
#include "Plot.h"
#include "StreamCommands.h"

namespace rzft {

namespace {

constexpr int kKaiserCode = 100;  // not a designer method: routes to the Kaiser design

constexpr const char* kSelectHelp = "channels to process, numbered from 0 (default: all)";

const std::map<std::string, int> kMethods = {
    {"butterworth", 0},    {"cheby1", 1},          {"chebyshev1", 1}, {"cheby2", 2},
    {"chebyshev2", 2},     {"window", 3},          {"fir", 3},        {"average", 5},
    {"moving-average", 5}, {"kaiser", kKaiserCode}};
const std::map<std::string, int> kBands = {{"lowpass", 1},  {"highpass", 2}, {"bandpass", 3},
                                           {"bandstop", 4}, {"lp", 1},       {"hp", 2},
                                           {"bp", 3},       {"bs", 4}};
const std::map<std::string, int> kWindows = {{"rect", 0},    {"rectangular", 0}, {"hann", 1},
                                             {"hamming", 2}, {"triangular", 4},  {"blackman", 5}};

struct DesignArgs {
    DesignSpec spec = DesignSpec::LibraryDefaults();
    int method = spec.method;
};

void AddSpecOptions(CLI::App* app, DesignArgs& a, bool withMethod) {
    if (withMethod) {
        app->add_option("-m,--method", a.method,
                        "butterworth, cheby1, cheby2, window, average or kaiser")
            ->transform(CLI::CheckedTransformer(kMethods, CLI::ignore_case))
            ->option_text("METHOD (default butterworth)");
    }
    app->add_option("-b,--band", a.spec.band, "lowpass, highpass, bandpass or bandstop")
        ->transform(CLI::CheckedTransformer(kBands, CLI::ignore_case))
        ->option_text("BAND (default lowpass)");
    app->add_option("--fs", a.spec.fs, "sampling frequency (Hz)")->capture_default_str();
    app->add_option("--f1", a.spec.f1, "lowest band edge (Hz)")->capture_default_str();
    app->add_option("--f2", a.spec.f2, "second band edge (Hz)")->capture_default_str();
    app->add_option("--f3", a.spec.f3, "third band edge (Hz)")->capture_default_str();
    app->add_option("--f4", a.spec.f4, "highest band edge (Hz)")->capture_default_str();
    app->add_option("--ripple", a.spec.ripple, "pass-band ripple (dB)")->capture_default_str();
    app->add_option("--atten,--attenuation", a.spec.atten, "stop-band attenuation (dB)")
        ->capture_default_str();
    app->add_option("-n,--taps,--order", a.spec.taps,
                    "FIR tap count / moving-average length (IIR orders are estimated)")
        ->capture_default_str();
    app->add_option("-w,--window", a.spec.window,
                    "window of the window FIR: rect, hann, hamming, triangular, blackman")
        ->transform(CLI::CheckedTransformer(kWindows, CLI::ignore_case))
        ->option_text("WINDOW (default rect)");
}

void AddKaiserOptions(CLI::App* app, DesignArgs& a) {
    app->add_option("--transition", a.spec.transition,
                    "Kaiser: transition width as a fraction of Nyquist; with it f1 (and f2 for "
                    "band filters) are the pass-band edges, without it the width comes from "
                    "f1 pass, f2 stop, f3 stop, f4 pass");
}

DesignSpec Finish(DesignArgs& a) {
    DesignSpec s = a.spec;
    s.kaiser = a.method == kKaiserCode;
    s.method = s.kaiser ? 3 : a.method;
    return s;
}

void AddStreamOptions(CLI::App* app, StreamOptions& o, const char* selectHelp) {
    app->add_option("input", o.input, "recording to read")->required();
    app->add_option("output", o.output, "file to write (same format)")->required();
    app->add_option("-f,--format", o.format,
                    "int16, int32, float32, int24 (decimate only), csv, or auto (by extension)")
        ->capture_default_str();
    app->add_option("-c,--channels", o.channels,
                    "interleaved channels in a raw file (CSV: taken from the columns)");
    app->add_option("--block", o.blockFrames, "frames handed to the library per call")
        ->capture_default_str();
    app->add_option("-s,--select", o.selected, selectHelp)->delimiter(',');
}

void Report(const StreamOptions& o, const StreamResult& r) {
    std::printf("Wrote %s: %llu frames of %d channels (read %llu).\n", o.output.c_str(),
                static_cast<unsigned long long>(r.framesOut), r.channels,
                static_cast<unsigned long long>(r.framesIn));
}

}  // namespace

namespace {

int Run(int argc, char** argv) {
    CLI::App app{
        "rzfilter: design digital filters, look at their response, and run recordings "
        "through them.\nWithout a command it designs the default specification, filters a "
        "built-in test signal and writes plots."};
    std::string outDir = "rzfilter-out";
    app.add_option("-o,--out-dir", outDir, "where the default run writes its files")
        ->capture_default_str();
    app.require_subcommand(0, 1);

    // design / kaiser
    DesignArgs designArgs;
    std::string designDir = "rzfilter-out";
    std::string designName = "response";
    bool json = false;
    bool png = false;
    bool noFiles = false;
    auto addDesignOutputs = [&](CLI::App* cmd) {
        cmd->add_option("-o,--out-dir", designDir, "directory of the response files")
            ->capture_default_str();
        cmd->add_option("--name", designName, "base name of the response files")
            ->capture_default_str();
        cmd->add_flag("--png", png, "also write a PNG plot");
        cmd->add_flag("--no-files", noFiles, "print the outcome only");
        cmd->add_flag("--json", json, "print the outcome as JSON");
    };
    CLI::App* design = app.add_subcommand(
        "design", "design a filter, print it and write its response (CSV, SVG, PNG)");
    AddSpecOptions(design, designArgs, true);
    AddKaiserOptions(design, designArgs);
    addDesignOutputs(design);
    CLI::App* kaiser = app.add_subcommand(
        "kaiser", "Kaiser-window FIR design of the per-sample engine (same as design -m kaiser)");
    AddSpecOptions(kaiser, designArgs, false);
    AddKaiserOptions(kaiser, designArgs);
    addDesignOutputs(kaiser);

    // filter
    DesignArgs filterArgs;
    StreamOptions filterOpt;
    CLI::App* filter =
        app.add_subcommand("filter", "run a recording through the designed filter, per channel");
    AddStreamOptions(filter, filterOpt, kSelectHelp);
    AddSpecOptions(filter, filterArgs, true);

    // bessel
    StreamOptions besselOpt;
    double besselFs = 0.0;
    int cutoff = 0;
    CLI::App* bessel =
        app.add_subcommand("bessel", "low-pass a recording with the fixed Bessel sections");
    AddStreamOptions(bessel, besselOpt, kSelectHelp);
    bessel->add_option("--fs", besselFs, "sampling frequency (Hz)")->required();
    bessel->add_option("--cutoff", cutoff, "cut-off frequency (Hz)")->required();

    // decimate
    StreamOptions decimOpt;
    int ratio = 0;
    bool keepStart = false;
    CLI::App* decimate = app.add_subcommand(
        "decimate", "lower the sampling rate by 2, 5, 10, 20, 50, 100, 200, 500 or 1000");
    AddStreamOptions(decimate, decimOpt,
                     "channels to low-pass before decimating, numbered from 0 (default: all); "
                     "the others keep the first samples of each block unfiltered");
    decimate->add_option("-r,--ratio", ratio, "decimation ratio")->required();
    decimate->add_flag("--keep-start", keepStart,
                       "keep the start-up span of the output (dropped by default)");

    // integrate
    StreamOptions integOpt;
    double integFs = 0.0;
    CLI::App* integrate =
        app.add_subcommand("integrate", "replace channels by their running (trapezoid) integral");
    AddStreamOptions(integrate, integOpt, kSelectHelp);
    integrate->add_option("--fs", integFs, "sampling frequency (Hz)")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }

    try {
        if (design->parsed() || kaiser->parsed()) {
            DesignSpec spec = Finish(designArgs);
            if (kaiser->parsed()) {
                spec.kaiser = true;
            }
            DesignFiles files;
            if (!noFiles) {
                EnsureDirectory(designDir);
                files.csv = JoinPath(designDir, designName + ".csv");
                files.svg = JoinPath(designDir, designName + ".svg");
                if (png) {
                    files.png = JoinPath(designDir, designName + ".png");
                }
            }
            return RunDesignCommand(spec, files, json);
        }
        if (filter->parsed()) {
            Report(filterOpt, RunFilter(filterOpt, Finish(filterArgs)));
            return 0;
        }
        if (bessel->parsed()) {
            Report(besselOpt, RunBessel(besselOpt, besselFs, cutoff));
            return 0;
        }
        if (decimate->parsed()) {
            Report(decimOpt, RunDecimate(decimOpt, ratio, keepStart));
            return 0;
        }
        if (integrate->parsed()) {
            Report(integOpt, RunIntegrate(integOpt, integFs));
            return 0;
        }
        return RunDefault(outDir);
    } catch (const ToolError& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "rzfilter: %s\n", e.what());
        return e.ExitCode();
    } catch (const std::exception& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "rzfilter: %s\n", e.what());
        return kExitIo;
    }
}

}  // namespace

int RunCommandLine(int argc, char** argv) {
    // The library traces each refusal as raw GBK bytes; the tool reports the
    // same message itself, converted to UTF-8, so the trace lines are dropped.
    CRZPlatForm::SetTraceSink([](const char*, void*) {}, nullptr);
    const int code = Run(argc, argv);
    ReleasePlotResources();
    return code;
}

}  // namespace rzft
