#include "DefaultRun.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <RZFilterFunc/RZFilterFunc.h>

#include "DesignCommand.h"
#include "OutputFile.h"
#include "Plot.h"
#include "SampleIO.h"
#include "StreamCommands.h"

namespace rzft {

namespace {

constexpr int kSignalChannels = 3;
constexpr double kSignalSeconds = 2.0;
constexpr double kPlotSeconds = 0.5;
constexpr int kBlockFrames = 256;

// Three channels that show what a low-pass does: two tones each side of the
// pass band, and a square wave whose sharp edges are high harmonics.
std::vector<float> TestSignal(double fs, size_t frames) {
    const double twoPi = 8.0 * std::atan(1.0);
    std::vector<float> s(frames * kSignalChannels);
    for (size_t i = 0; i < frames; ++i) {
        const double t = static_cast<double>(i) / fs;
        const double ch0 =
            1000.0 * std::sin(twoPi * 20.0 * t) + 400.0 * std::sin(twoPi * 0.35 * fs * t);
        const double ch1 =
            800.0 * std::sin(twoPi * 7.0 * t + 0.5) + 300.0 * std::sin(twoPi * 0.42 * fs * t);
        const double ch2 = std::fmod(t * 8.0, 1.0) < 0.5 ? 600.0 : -600.0;
        s[i * kSignalChannels + 0] = static_cast<float>(ch0);
        s[i * kSignalChannels + 1] = static_cast<float>(ch1);
        s[i * kSignalChannels + 2] = static_cast<float>(ch2);
    }
    return s;
}

std::vector<float> ReadAll(const std::string& path, size_t frames) {
    FrameReader reader(path, SampleFormat::Csv, kSignalChannels);
    std::vector<char> raw;
    const size_t got = reader.Read(raw, frames);
    std::vector<float> out(got * kSignalChannels);
    std::memcpy(out.data(), raw.data(), out.size() * sizeof(float));
    return out;
}

// The default specification's design. The default edges are too close for a
// Butterworth low-pass within the designer's order limit; Chebyshev type I
// meets the same specification at a lower order, and is used instead.
DesignOutcome DesignDefault(DesignSpec& spec) {
    DesignOutcome outcome = DesignWithLibrary(spec);
    PrintDesignSummary(spec, outcome);
    if (outcome.accepted && !outcome.stable && spec.method == DM_BUTTERWORTH) {
        spec.method = DM_CHEBYSHEV1;
        std::printf(
            "\nThe Butterworth order needed exceeds the designer's limit; the same "
            "specification with a Chebyshev type I design instead:\n\n");
        outcome = DesignWithLibrary(spec);
        PrintDesignSummary(spec, outcome);
    }
    return outcome;
}

// Files the built-in recording's run wrote, and what it did.
struct SignalRun {
    std::string inPath;
    std::string outPath;
    std::string svg;
    std::string png;
    StreamResult result;
};

// Writes the built-in recording, runs it through the same path as 'rzfilter
// filter', and plots its start before and after.
SignalRun FilterTestSignal(const std::string& outDir, const DesignSpec& spec) {
    SignalRun run;
    const size_t frames = static_cast<size_t>(spec.fs * kSignalSeconds);
    const std::vector<float> signal = TestSignal(spec.fs, frames);
    run.inPath = JoinPath(outDir, "signal-in.csv");
    run.outPath = JoinPath(outDir, "signal-out.csv");
    {
        OutputFile in(run.inPath);
        FrameWriter writer(in, SampleFormat::Csv, kSignalChannels, "ch0,ch1,ch2");
        writer.Write(reinterpret_cast<const char*>(signal.data()), frames);
        in.Commit();
    }
    StreamOptions opt;
    opt.input = run.inPath;
    opt.output = run.outPath;
    opt.format = "csv";
    opt.blockFrames = kBlockFrames;
    run.result = RunFilter(opt, spec, false);

    const size_t plotFrames = static_cast<size_t>(spec.fs * kPlotSeconds);
    const std::vector<float> before(signal.begin(), signal.begin() + plotFrames * kSignalChannels);
    const std::vector<float> after = ReadAll(run.outPath, plotFrames);
    const std::string plotTitle = "Built-in test signal through the default filter (first " +
                                  std::to_string(kPlotSeconds).substr(0, 3) + " s)";
    run.svg = JoinPath(outDir, "signal.svg");
    run.png = JoinPath(outDir, "signal.png");
    PlotSignals(run.svg, before, after, kSignalChannels, spec.fs, plotTitle);
    PlotSignals(run.png, before, after, kSignalChannels, spec.fs, plotTitle);
    return run;
}

}  // namespace

int RunDefault(const std::string& outDir) {
    EnsureDirectory(outDir);
    DesignSpec spec = DesignSpec::LibraryDefaults();
    std::printf("rzfilter: no command given; running the default specification.\n\n");

    const DesignOutcome outcome = DesignDefault(spec);
    if (!outcome.accepted || !outcome.stable) {
        std::fflush(stdout);
        std::fprintf(stderr, "rzfilter: the default specification was refused: %s\n",
                     ShownMessage(outcome).c_str());
        return kExitRefused;
    }
    DesignFiles files{JoinPath(outDir, "response.csv"), JoinPath(outDir, "response.svg"),
                      JoinPath(outDir, "response.png")};
    WriteDesignFiles(spec, outcome, files);
    const SignalRun run = FilterTestSignal(outDir, spec);

    std::printf("\nFiltered %llu frames of %d channels in blocks of %d frames.\n",
                static_cast<unsigned long long>(run.result.framesIn), run.result.channels,
                kBlockFrames);
    std::printf("Files written to %s:\n",
                std::filesystem::absolute(outDir).lexically_normal().string().c_str());
    for (const std::string& p :
         {files.csv, files.svg, files.png, run.inPath, run.outPath, run.svg, run.png}) {
        std::printf("  %s\n", std::filesystem::path(p).filename().string().c_str());
    }
    std::printf(
        "Run 'rzfilter --help' for the design, filter, bessel, decimate and integrate "
        "commands.\n");
    return 0;
}

}  // namespace rzft
