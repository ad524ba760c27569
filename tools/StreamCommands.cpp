#include "StreamCommands.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>

#include <RZFilterFunc/RZFilterFunc.h>

#include "Messages.h"
#include "SampleIO.h"

namespace rzft {

namespace {

// Largest block handed to the library in one call.
constexpr int kMaxBlockFrames = 1 << 20;
// Largest 24-bit magnitude the decimator writes; beyond it, it clamps.
constexpr double kInt24Limit = 8388607.0;

// One configured library object, fed in place: returns the frames it left at
// the start of the buffer.
using Processor = std::function<size_t(char* data, size_t frames)>;
// Builds a processor for samples of the given layout.
using ProcessorFactory = std::function<Processor(const RawLayout& layout, int channels,
                                                 const std::vector<bool>& selected)>;

std::vector<bool> SelectedMask(const StreamOptions& opt, int channels) {
    std::vector<bool> mask(static_cast<size_t>(channels), opt.selected.empty());
    for (int c : opt.selected) {
        if (c < 0 || c >= channels) {
            throw ToolError("channel " + std::to_string(c) + " does not exist (the input has " +
                                std::to_string(channels) + " channels, numbered from 0)",
                            kExitUsage);
        }
        mask[static_cast<size_t>(c)] = true;
    }
    return mask;
}

int ByteCount(size_t frames, int channels, int width) {
    const size_t bytes = frames * static_cast<size_t>(channels) * static_cast<size_t>(width);
    if (bytes > static_cast<size_t>(std::numeric_limits<int>::max())) {
        throw ToolError("block too large for one library call; lower --block", kExitUsage);
    }
    return static_cast<int>(bytes);
}

bool IsInteger(SampleFormat f) {
    return f == SampleFormat::Int16 || f == SampleFormat::Int32 || f == SampleFormat::Int24;
}

// Integer samples as the float values the library itself converts them to.
void ToFloat(const char* raw, SampleFormat format, size_t samples, std::vector<char>& out) {
    out.resize(std::max(out.size(), samples * sizeof(float)));
    for (size_t i = 0; i < samples; ++i) {
        float v = 0.0f;
        if (format == SampleFormat::Int16) {
            std::int16_t x;
            std::memcpy(&x, raw + 2 * i, 2);
            v = static_cast<float>(x);
        } else if (format == SampleFormat::Int32) {
            std::int32_t x;
            std::memcpy(&x, raw + 4 * i, 4);
            v = static_cast<float>(x);
        } else {
            const auto* b = reinterpret_cast<const unsigned char*>(raw + 3 * i);
            std::int32_t x = b[0] | (b[1] << 8) | (b[2] << 16);
            if ((b[2] & 0x80) != 0) {
                x -= 1 << 24;
            }
            v = static_cast<float>(x);
        }
        std::memcpy(out.data() + i * sizeof(float), &v, sizeof v);
    }
}

// Whether the value, truncated as the library truncates it, fits the type.
bool FitsType(float v, SampleFormat format) {
    const double d = std::trunc(static_cast<double>(v));
    switch (format) {
        case SampleFormat::Int16:
            return d >= -32768.0 && d <= 32767.0;
        case SampleFormat::Int32:
            return d >= -2147483648.0 && d <= 2147483647.0;
        case SampleFormat::Int24:
            return d >= -kInt24Limit && d <= kInt24Limit;
        default:
            return true;
    }
}

// Keeps the listed channels of each frame, in place.
void KeepColumns(char* data, size_t frames, int channels, int width,
                 const std::vector<int>& columns) {
    const size_t in = static_cast<size_t>(channels) * static_cast<size_t>(width);
    const size_t out = columns.size() * static_cast<size_t>(width);
    for (size_t j = 0; j < frames; ++j) {
        for (size_t k = 0; k < columns.size(); ++k) {
            std::memmove(data + j * out + k * static_cast<size_t>(width),
                         data + j * in + static_cast<size_t>(columns[k]) * width,
                         static_cast<size_t>(width));
        }
    }
}

std::string CsvColumns(const std::string& header, const std::vector<int>& columns) {
    if (header.empty()) {
        return header;
    }
    std::vector<std::string> fields;
    size_t start = 0;
    for (;;) {
        const size_t comma = header.find(',', start);
        fields.push_back(header.substr(start, comma == std::string::npos ? comma : comma - start));
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    std::string out;
    for (size_t k = 0; k < columns.size(); ++k) {
        out += (k == 0 ? "" : ",") + fields[static_cast<size_t>(columns[k])];
    }
    return out;
}

// What a command adds to the streaming loop.
struct StreamSetup {
    ProcessorFactory make;
    // Channels to write, in order; empty = all.
    std::function<std::vector<int>(int channels, const std::vector<bool>& selected)> columns;
};

struct FirstSeen {
    std::uint64_t count = 0;
    std::uint64_t frame = 0;
    int channel = 0;

    void Add(std::uint64_t frameIndex, int ch) {
        if (count++ == 0) {
            frame = frameIndex;
            channel = ch;
        }
    }
};

// Sample formats of a run: what is read, what the library sees, what is written.
struct StreamFormats {
    SampleFormat in;
    SampleFormat out;
    bool convert;     // integer input handed to the library as float32
    bool watchRange;  // integer output: a float copy shows which results left the range
    RawLayout inLayout;
    RawLayout workLayout;
};

StreamFormats CheckedFormats(const StreamOptions& opt) {
    if (opt.blockFrames < 1 || opt.blockFrames > kMaxBlockFrames) {
        throw ToolError("--block must be between 1 and " + std::to_string(kMaxBlockFrames),
                        kExitUsage);
    }
    if (opt.input == opt.output && opt.input != kStdStream) {
        throw ToolError("the output must not overwrite the input", kExitUsage);
    }
    if (opt.outFormat != "same" && opt.outFormat != "float32") {
        throw ToolError("--out-format must be 'same' or 'float32'", kExitUsage);
    }
    StreamFormats f;
    f.in = ParseFormat(opt.format, opt.input);
    f.convert = opt.outFormat == "float32" && IsInteger(f.in);
    f.out = f.convert ? SampleFormat::Float32 : f.in;
    f.watchRange = IsInteger(f.out);
    f.inLayout = LayoutOf(f.in);
    f.workLayout = f.convert ? LayoutOf(SampleFormat::Float32) : f.inLayout;
    return f;
}

// Channels to write, in order: the command's choice, or all of them.
std::vector<int> OutputColumns(const StreamSetup& setup, int channels,
                               const std::vector<bool>& selected) {
    std::vector<int> columns =
        setup.columns ? setup.columns(channels, selected) : std::vector<int>();
    if (columns.empty()) {
        for (int c = 0; c < channels; ++c) {
            columns.push_back(c);
        }
    }
    return columns;
}

// NaN, Inf and out-of-range samples met in a run: how many, and the first.
struct StreamChecks {
    explicit StreamChecks(int channelCount)
        : channels(channelCount),
          badIn(static_cast<size_t>(channelCount), false),
          badOut(static_cast<size_t>(channelCount)) {}

    int channels;
    FirstSeen nonFinite;
    FirstSeen outOfRange;
    FirstSeen badOutput;
    // Per channel: NaN or Inf seen in its input, and in its output.
    std::vector<bool> badIn;
    std::vector<FirstSeen> badOut;

    // Float input samples that are NaN or Inf.
    void ScanInput(const char* block, size_t frames, std::uint64_t firstFrame) {
        const size_t samples = frames * static_cast<size_t>(channels);
        for (size_t i = 0; i < samples; ++i) {
            float v;
            std::memcpy(&v, block + i * sizeof v, sizeof v);
            if (!std::isfinite(v)) {
                const size_t ch = i % static_cast<size_t>(channels);
                nonFinite.Add(firstFrame + i / static_cast<size_t>(channels), static_cast<int>(ch));
                badIn[ch] = true;
            }
        }
    }

    // The float copy's results for integer output: NaN or Inf, or beyond the type.
    void ScanShadow(const char* work, size_t produced, const std::vector<int>& columns,
                    std::uint64_t firstFrame, SampleFormat outFormat) {
        for (size_t j = 0; j < produced; ++j) {
            for (int c : columns) {
                float v;
                std::memcpy(&v, work + (j * channels + c) * sizeof v, sizeof v);
                if (!std::isfinite(v)) {
                    badOut[static_cast<size_t>(c)].Add(firstFrame + j, c);
                } else if (!FitsType(v, outFormat)) {
                    outOfRange.Add(firstFrame + j, c);
                }
            }
        }
    }

    // Float output samples that are NaN or Inf.
    void ScanOutput(const char* data, size_t produced, const std::vector<int>& columns,
                    std::uint64_t firstFrame) {
        for (size_t j = 0; j < produced; ++j) {
            for (int c : columns) {
                float v;
                std::memcpy(&v, data + (j * channels + c) * sizeof v, sizeof v);
                if (!std::isfinite(v)) {
                    badOutput.Add(firstFrame + j, c);
                    badOut[static_cast<size_t>(c)].Add(firstFrame + j, c);
                }
            }
        }
    }

    // Finite input must not come out NaN or infinite: such output is not
    // written, whatever the command.
    void RefuseNewNonFinite() const {
        for (int c = 0; c < channels; ++c) {
            const FirstSeen& bad = badOut[static_cast<size_t>(c)];
            if (bad.count > 0 && !badIn[static_cast<size_t>(c)]) {
                throw ToolError(
                    "channel " + std::to_string(c) + " holds only finite samples, but " +
                        std::to_string(bad.count) +
                        " of its results would be NaN or infinite (the first at output frame " +
                        std::to_string(bad.frame) +
                        "): the processing is numerically unstable at these settings or its "
                        "results exceed the float range; nothing was written",
                    kExitRefused);
            }
        }
    }

    void WarnAfterRun(SampleFormat outFormat) const {
        if (nonFinite.count > 0) {
            Warn("the input holds " + std::to_string(nonFinite.count) +
                 " NaN or infinite samples (first: channel " + std::to_string(nonFinite.channel) +
                 ", frame " + std::to_string(nonFinite.frame) +
                 "); a filter that meets one carries it into every later output of that channel");
        }
        if (badOutput.count > nonFinite.count) {
            // Only channels whose input held NaN or Inf get here.
            Warn(std::to_string(badOutput.count) + " output samples are NaN or infinite (first: " +
                 "channel " + std::to_string(badOutput.channel) + ", output frame " +
                 std::to_string(badOutput.frame) + ")");
        }
        if (outOfRange.count > 0) {
            const bool clamps = outFormat == SampleFormat::Int24;
            Warn(std::to_string(outOfRange.count) + " output samples left the " +
                 FormatName(outFormat) + " range and " +
                 (clamps ? "were clamped to +-8388607" : "wrapped around") + " (first: channel " +
                 std::to_string(outOfRange.channel) + ", output frame " +
                 std::to_string(outOfRange.frame) +
                 "); --out-format float32 writes the full values instead");
        }
    }
};

// The library objects of a run: the one whose output is written and, for
// integer output, a float copy fed the same input.
struct StreamProcessors {
    Processor process;
    Processor shadow;
};

// One block through the library, in place in block or, for float work on
// integer input, in work; data is left pointing at the results. Returns the
// frames produced.
size_t ProcessBlock(const StreamFormats& fmt, const StreamProcessors& proc,
                    const std::vector<int>& columns, std::uint64_t framesOut,
                    std::vector<char>& block, std::vector<char>& work, size_t frames,
                    StreamChecks& checks, char*& data) {
    const size_t samples = frames * static_cast<size_t>(checks.channels);
    data = block.data();
    if (fmt.convert) {
        ToFloat(block.data(), fmt.in, samples, work);
        // One spare frame, as the reader keeps for the decimator.
        work.resize(std::max(work.size(), (samples + static_cast<size_t>(checks.channels)) * 4));
        data = work.data();
        return proc.process(data, frames);
    }
    if (fmt.watchRange) {
        ToFloat(block.data(), fmt.in, samples, work);
        work.resize(std::max(work.size(), (samples + static_cast<size_t>(checks.channels)) * 4));
        proc.shadow(work.data(), frames);
    }
    const size_t produced = proc.process(data, frames);
    if (fmt.watchRange) {
        checks.ScanShadow(work.data(), produced, columns, framesOut, fmt.out);
    }
    return produced;
}

// Reads the input block by block, hands each block to the library in place,
// and writes what it returns. The output appears only when everything went
// through. For integer output a second, float copy of the same processing
// shows which results left the integer range.
StreamResult Stream(const StreamOptions& opt, const char* verb, const StreamSetup& setup) {
    const StreamFormats fmt = CheckedFormats(opt);
    FrameReader reader(opt.input, fmt.in, opt.channels);
    const int channels = reader.Channels();
    const std::vector<bool> selected = SelectedMask(opt, channels);
    StreamProcessors proc;
    proc.process = setup.make(fmt.workLayout, channels, selected);
    proc.shadow = fmt.watchRange ? setup.make(LayoutOf(SampleFormat::Float32), channels, selected)
                                 : Processor();
    const std::vector<int> columns = OutputColumns(setup, channels, selected);
    const bool allColumns = static_cast<int>(columns.size()) == channels;

    const std::string mismatch = ExtensionMismatch(opt.output, fmt.out);
    if (!mismatch.empty()) {
        Warn(mismatch);
    }
    OutputFile out(opt.output);
    FrameWriter writer(out, fmt.out, static_cast<int>(columns.size()),
                       CsvColumns(reader.Header(), columns));
    Progress progress(verb, reader.BytesTotal(), opt.progress);
    StreamResult result;
    result.channels = static_cast<int>(columns.size());
    StreamChecks checks(channels);
    std::vector<char> block;
    std::vector<char> work;
    for (;;) {
        const size_t frames = reader.Read(block, static_cast<size_t>(opt.blockFrames));
        if (frames == 0) {
            break;
        }
        if (fmt.inLayout.type == 1) {
            checks.ScanInput(block.data(), frames, result.framesIn);
        }
        char* data = nullptr;
        const size_t produced =
            ProcessBlock(fmt, proc, columns, result.framesOut, block, work, frames, checks, data);
        if (fmt.workLayout.type == 1) {
            checks.ScanOutput(data, produced, columns, result.framesOut);
        }
        if (!allColumns) {
            KeepColumns(data, produced, channels, fmt.workLayout.width, columns);
        }
        writer.Write(data, produced);
        result.framesIn += frames;
        result.framesOut += produced;
        progress.Update(reader.BytesDone());
    }
    if (result.framesIn == 0) {
        throw ToolError(opt.input + " holds no samples", kExitIo);
    }
    checks.RefuseNewNonFinite();
    out.Commit();
    progress.Finish(reader.BytesDone());
    result.nonFinite = checks.nonFinite.count;
    result.outOfRange = checks.outOfRange.count;
    checks.WarnAfterRun(fmt.out);
    return result;
}

void RequireNot24(const StreamOptions& opt, const char* command) {
    if (ParseFormat(opt.format, opt.input) == SampleFormat::Int24) {
        throw ToolError(
            std::string("packed int24 samples are supported by decimate only, not by ") + command,
            kExitUsage);
    }
}

// The frame filter's parameter block for a design.
CFilterParam FilterParamOf(const DesignSpec& spec) {
    CFilterParam param{};
    param.m_nDesignMethod = spec.method;
    param.m_nOrder = spec.taps;
    param.m_nBandType = spec.band;
    param.m_nWindowType = spec.window;
    param.m_dUnused = spec.fs;
    param.m_dFreq1 = spec.f1;
    param.m_dFreq2 = spec.f2;
    param.m_dFreq3 = spec.f3;
    param.m_dFreq4 = spec.f4;
    param.m_dPassRipple = spec.ripple;
    param.m_dStopAtten = spec.atten;
    param.m_dReserved = spec.reserved;
    return param;
}

// Designs the filter of each selected channel; refuses a design the channel
// cannot run.
void DesignChannels(CChnsFilterFunc& chns, const CFilterParam& param,
                    const std::vector<bool>& selected, bool sections,
                    const DesignOutcome& outcome) {
    CFilterParam p = param;
    for (int c = 0; c < static_cast<int>(selected.size()); ++c) {
        if (!selected[static_cast<size_t>(c)]) {
            continue;
        }
        chns.DesignFilter(c, &p);
        ChannelFilter* ch = chns.m_ppChannels[c];
        FilterUser* user = ch->m_pFilterUser;
        if (!ch->m_bEnabled || !user->GetIsStability()) {
            std::string msg = ShowLibraryMessage(user->GetErrorMessage());
            if (msg.empty()) {
                msg = "the design did not produce a usable filter";
            }
            throw ToolError("specification refused: " + msg, kExitRefused);
        }
        // Checked on the channel's own design, which is what runs.
        if (!sections && user->GetPoleRadius() >= 1.0) {
            throw ToolError("specification refused: " + UnstableExplanation(outcome), kExitRefused);
        }
    }
}

}  // namespace

StreamResult RunFilter(const StreamOptions& opt, const DesignSpec& spec, bool sections) {
    RequireNot24(opt, "filter");
    if (spec.kaiser) {
        throw ToolError(
            "the frame filter designs through the filter designer; "
            "the Kaiser method is available to 'design' and 'kaiser' only",
            kExitUsage);
    }
    // Settings the designer changes on its own (an even tap count made odd).
    const DesignOutcome outcome = DesignWithLibrary(spec);
    if (outcome.accepted && outcome.stable) {
        for (const std::string& w : outcome.warnings) {
            Warn(w);
        }
        if (sections && outcome.denominator.empty()) {
            Note("--sections applies to IIR designs only; this " + MethodName(spec) +
                 " design runs as it is");
        }
    }
    StreamSetup setup;
    setup.make = [&](const RawLayout& layout, int channels, const std::vector<bool>& selected) {
        auto chns = std::make_shared<CChnsFilterFunc>();
        if (!chns->Init(channels, layout.width, static_cast<float>(spec.fs))) {
            throw ToolError("the frame filter refused " + std::to_string(channels) + " channels",
                            kExitRefused);
        }
        chns->setSectionMode(sections);
        DesignChannels(*chns, FilterParamOf(spec), selected, sections, outcome);
        const int typeCode = layout.type;
        const int width = layout.width;
        return Processor([chns, typeCode, width, channels](char* data, size_t frames) {
            const int bytes = ByteCount(frames, channels, width);
            return static_cast<size_t>(chns->InputDataAndDeal(data, typeCode, bytes));
        });
    };
    return Stream(opt, "filtering", setup);
}

std::vector<std::pair<int, int>> BesselPairs() {
    std::vector<std::pair<int, int>> pairs;
    CChnsBesselFilterFun probe;
    for (int decade = 1; decade <= 100000; decade *= 10) {
        for (int step : {1, 2, 5}) {
            const int rate = decade * step;
            if (rate > 100000 || !probe.Init(1, 4, static_cast<float>(rate))) {
                continue;
            }
            for (int cutoff = 1; cutoff <= rate / 2; ++cutoff) {
                probe.DesignFilter(0, cutoff, true);
                if (probe.m_ppChannels[0]->m_bEnabled) {
                    pairs.emplace_back(cutoff, rate);
                }
            }
        }
    }
    return pairs;
}

StreamResult RunBessel(const StreamOptions& opt, double fs, int cutoff) {
    RequireNot24(opt, "bessel");
    if (!(fs > 0.0) || fs > 2147483647.0) {
        throw ToolError("--fs must be a sampling rate above 0 Hz", kExitUsage);
    }
    if (fs != std::trunc(fs)) {
        Warn("the Bessel table is keyed by whole rates: --fs " + std::to_string(fs) +
             " is looked up as " + std::to_string(static_cast<long long>(fs)) + " Hz");
    }
    StreamSetup setup;
    setup.make = [&](const RawLayout& layout, int channels, const std::vector<bool>& selected) {
        auto bessel = std::make_shared<CChnsBesselFilterFun>();
        if (!bessel->Init(channels, layout.width, static_cast<float>(fs))) {
            throw ToolError("the Bessel filter refused " + std::to_string(channels) + " channels",
                            kExitRefused);
        }
        for (int c = 0; c < channels; ++c) {
            if (!selected[static_cast<size_t>(c)]) {
                continue;
            }
            bessel->DesignFilter(c, cutoff, true);
            if (!bessel->m_ppChannels[c]->m_bEnabled) {
                std::string list;
                for (const auto& [cut, rate] : BesselPairs()) {
                    list += (list.empty() ? "" : ", ") + std::to_string(cut) + "/" +
                            std::to_string(rate);
                }
                char buf[160];
                std::snprintf(buf, sizeof buf,
                              "no Bessel section for cut-off %d Hz at %g Hz sampling; the "
                              "library holds these cut-off/rate pairs (Hz): ",
                              cutoff, fs);
                throw ToolError(buf + list, kExitRefused);
            }
        }
        const int typeCode = layout.type;
        const int width = layout.width;
        return Processor([bessel, typeCode, width, channels](char* data, size_t frames) {
            const int bytes = ByteCount(frames, channels, width);
            return static_cast<size_t>(bessel->InputDataAndDeal(data, typeCode, bytes));
        });
    };
    return Stream(opt, "filtering", setup);
}

namespace {

// Input frames by which the cascade's output lags the input: each stage is a
// symmetric FIR of T taps, delaying by (T - 1) / 2 of its own input samples,
// which are worth the product of the earlier factors in input frames.
double CascadeDelay(const DecimRatioDesc& desc) {
    double delay = 0.0;
    double scale = 1.0;
    for (int k = 0; k < desc.m_nStageCount; ++k) {
        delay += (desc.m_pStage[k]->m_nTaps - 1) / 2.0 * scale;
        scale *= desc.m_pStage[k]->m_nFactor;
    }
    return delay;
}

std::string Number(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

// The selected channels, in input order.
std::vector<int> SelectedColumns(int channels, const std::vector<bool>& selected) {
    std::vector<int> cols;
    for (int c = 0; c < channels; ++c) {
        if (selected[static_cast<size_t>(c)]) {
            cols.push_back(c);
        }
    }
    return cols;
}

// What was done with the decimator's start-up span, and how output frames line
// up with input frames.
std::string StartSpanNote(bool keepStart, int ratio, int span, double delay) {
    const std::string ratioText = std::to_string(ratio);
    if (keepStart) {
        return "kept the start-up span: the first " + std::to_string(span) +
               " output frames are the filters settling; output frame k lines up "
               "with input frame " +
               ratioText + "*k - " + Number(delay) + " (the filters' delay)";
    }
    return "removed the start-up span of " + std::to_string(span) + " output frames (" +
           std::to_string(span * ratio) +
           " input frames): output frame k lines up with input frame " + ratioText + "*k + " +
           Number(span * ratio - delay) + " (" + std::to_string(span * ratio) +
           " removed, less the filters' delay of " + Number(delay) +
           "); --keep-start keeps it, so that frame k lines up with " + ratioText + "*k - " +
           Number(delay);
}

}  // namespace

StreamResult RunDecimate(const StreamOptions& opt, int ratio, bool keepStart) {
    if (!CFirFunc::IsActiveRatio(ratio)) {
        throw ToolError("decimation ratio " + std::to_string(ratio) +
                            " is not available (2, 5, 10, 20, 50, 100, 200, 500, 1000)",
                        kExitUsage);
    }
    int span = 0;
    double delay = 0.0;
    StreamSetup setup;
    setup.make = [&](const RawLayout& layout, int channels, const std::vector<bool>& selected) {
        auto fir = std::make_shared<CFirFunc>();
        std::unique_ptr<bool[]> flags(new bool[static_cast<size_t>(channels)]);
        for (int c = 0; c < channels; ++c) {
            flags[static_cast<size_t>(c)] = selected[static_cast<size_t>(c)];
        }
        const int blockSamples = ByteCount(static_cast<size_t>(opt.blockFrames), channels, 1);
        if (!fir->Init(channels, ratio, blockSamples, flags.get(), layout.type, !keepStart)) {
            throw ToolError("the decimator refused its set-up", kExitRefused);
        }
        span = fir->GetDelChnCount();
        delay = CascadeDelay(*fir->m_pRatioDesc);
        return Processor([fir, channels](char* data, size_t frames) {
            const int samples = ByteCount(frames, channels, 1);
            const int written = fir->InputDataAndDeal(data, samples);
            return static_cast<size_t>(written > 0 ? written / channels : 0);
        });
    };
    // Channels the decimator does not filter come out as the leading raw
    // samples of each of its inner blocks, which depend on the block size; they
    // are left out of the output.
    setup.columns = SelectedColumns;
    StreamResult r = Stream(opt, "decimating", setup);
    r.notes.push_back(StartSpanNote(keepStart, ratio, span, delay));
    if (!opt.selected.empty()) {
        r.notes.push_back("wrote only the selected channels, in input order");
    }
    return r;
}

StreamResult RunIntegrate(const StreamOptions& opt, double fs) {
    RequireNot24(opt, "integrate");
    if (!(fs > 0.0)) {
        throw ToolError("integration needs a sampling frequency above 0 (--fs)", kExitUsage);
    }
    StreamSetup setup;
    setup.make = [&](const RawLayout& layout, int channels, const std::vector<bool>& selected) {
        auto integ = std::make_shared<CIntegralDiff>();
        std::vector<int> list;
        for (int c = 0; c < channels; ++c) {
            if (selected[static_cast<size_t>(c)]) {
                list.push_back(c);
            }
        }
        integ->InitDiff(0, channels, list, fs, layout.type, layout.width);
        return Processor([integ](char* data, size_t frames) {
            integ->ContinueIntegral(static_cast<int>(frames), data);
            return frames;
        });
    };
    return Stream(opt, "integrating", setup);
}

}  // namespace rzft
