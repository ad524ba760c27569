#include "StreamCommands.h"

#include <cstdio>
#include <functional>
#include <limits>

#include <RZFilterFunc/RZFilterFunc.h>

#include "Gbk.h"
#include "Progress.h"
#include "SampleIO.h"

namespace rzft {

namespace {

// Largest block handed to the library in one call.
constexpr int kMaxBlockFrames = 1 << 20;

using BlockFn = std::function<size_t(char* data, size_t frames)>;
using SetupFn = std::function<void(int channels, const std::vector<bool>& selected)>;

std::vector<bool> SelectedMask(const StreamOptions& opt, int channels) {
    std::vector<bool> mask(static_cast<size_t>(channels), opt.selected.empty());
    for (int c : opt.selected) {
        if (c < 0 || c >= channels) {
            throw ToolError("channel " + std::to_string(c) + " does not exist (the input has " +
                                std::to_string(channels) + " channels, numbered from 0)",
                            kExitIo);
        }
        mask[static_cast<size_t>(c)] = true;
    }
    return mask;
}

// Reads the input block by block, hands each block to the library in place,
// and writes what it returns. The output appears only when everything went
// through.
StreamResult Stream(const StreamOptions& opt, const char* verb, const SetupFn& setup,
                    const BlockFn& process) {
    if (opt.blockFrames < 1 || opt.blockFrames > kMaxBlockFrames) {
        throw ToolError("--block must be between 1 and " + std::to_string(kMaxBlockFrames),
                        kExitIo);
    }
    if (opt.input == opt.output) {
        throw ToolError("the output must not overwrite the input", kExitIo);
    }
    const SampleFormat format = ParseFormat(opt.format, opt.input);
    FrameReader reader(opt.input, format, opt.channels);
    const int channels = reader.Channels();
    setup(channels, SelectedMask(opt, channels));

    OutputFile out(opt.output);
    FrameWriter writer(out, format, channels, reader.Header());
    Progress progress(verb, reader.BytesTotal());
    StreamResult result;
    result.channels = channels;
    std::vector<char> block;
    for (;;) {
        const size_t frames = reader.Read(block, static_cast<size_t>(opt.blockFrames));
        if (frames == 0) {
            break;
        }
        const size_t produced = process(block.data(), frames);
        writer.Write(block.data(), produced);
        result.framesIn += frames;
        result.framesOut += produced;
        progress.Update(reader.BytesDone());
    }
    if (result.framesIn == 0) {
        throw ToolError(opt.input + " holds no samples", kExitIo);
    }
    out.Commit();
    return result;
}

int ByteCount(size_t frames, int channels, int width) {
    const size_t bytes = frames * static_cast<size_t>(channels) * static_cast<size_t>(width);
    if (bytes > static_cast<size_t>(std::numeric_limits<int>::max())) {
        throw ToolError("block too large for one library call; lower --block", kExitIo);
    }
    return static_cast<int>(bytes);
}

void RequireNot24(const StreamOptions& opt, const char* command) {
    if (ParseFormat(opt.format, opt.input) == SampleFormat::Int24) {
        throw ToolError(
            std::string("packed int24 samples are supported by decimate only, not by ") + command,
            kExitIo);
    }
}

}  // namespace

StreamResult RunFilter(const StreamOptions& opt, const DesignSpec& spec) {
    RequireNot24(opt, "filter");
    if (spec.kaiser) {
        throw ToolError(
            "the frame filter designs through the filter designer; "
            "the Kaiser method is available to 'design' only",
            kExitRefused);
    }
    CChnsFilterFunc chns;
    RawLayout layout{};
    int channelCount = 0;
    auto setup = [&](int channels, const std::vector<bool>& selected) {
        layout = LayoutOf(ParseFormat(opt.format, opt.input));
        channelCount = channels;
        if (!chns.Init(channels, layout.width, static_cast<float>(spec.fs))) {
            throw ToolError("the frame filter refused " + std::to_string(channels) + " channels",
                            kExitRefused);
        }
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
        for (int c = 0; c < channels; ++c) {
            if (!selected[static_cast<size_t>(c)]) {
                continue;
            }
            chns.DesignFilter(c, &param);
            ChannelFilter* ch = chns.m_ppChannels[c];
            FilterUser* user = ch->m_pFilterUser;
            if (!ch->m_bEnabled || !user->GetIsStability()) {
                std::string msg = GbkToUtf8(user->GetErrorMessage());
                if (msg.empty()) {
                    msg = "the design did not produce a usable filter";
                }
                throw ToolError("specification refused: " + msg, kExitRefused);
            }
        }
    };
    auto process = [&](char* data, size_t frames) {
        const int bytes = ByteCount(frames, channelCount, layout.width);
        return static_cast<size_t>(chns.InputDataAndDeal(data, layout.type, bytes));
    };
    return Stream(opt, "filtering", setup, process);
}

StreamResult RunBessel(const StreamOptions& opt, double fs, int cutoff) {
    RequireNot24(opt, "bessel");
    CChnsBesselFilterFun bessel;
    RawLayout layout{};
    int channelCount = 0;
    auto setup = [&](int channels, const std::vector<bool>& selected) {
        layout = LayoutOf(ParseFormat(opt.format, opt.input));
        channelCount = channels;
        if (!bessel.Init(channels, layout.width, static_cast<float>(fs))) {
            throw ToolError("the Bessel filter refused " + std::to_string(channels) + " channels",
                            kExitRefused);
        }
        for (int c = 0; c < channels; ++c) {
            if (!selected[static_cast<size_t>(c)]) {
                continue;
            }
            bessel.DesignFilter(c, cutoff, true);
            if (!bessel.m_ppChannels[c]->m_bEnabled) {
                char buf[160];
                std::snprintf(buf, sizeof buf,
                              "no Bessel section for cut-off %d Hz at %g Hz sampling "
                              "(the library holds a fixed table of pairs)",
                              cutoff, fs);
                throw ToolError(buf, kExitRefused);
            }
        }
    };
    auto process = [&](char* data, size_t frames) {
        const int bytes = ByteCount(frames, channelCount, layout.width);
        return static_cast<size_t>(bessel.InputDataAndDeal(data, layout.type, bytes));
    };
    return Stream(opt, "filtering", setup, process);
}

StreamResult RunDecimate(const StreamOptions& opt, int ratio, bool keepStart) {
    if (!CFirFunc::IsActiveRatio(ratio)) {
        throw ToolError("decimation ratio " + std::to_string(ratio) +
                            " is not available (2, 5, 10, 20, 50, 100, 200, 500, 1000)",
                        kExitRefused);
    }
    CFirFunc fir;
    int channelCount = 0;
    auto setup = [&](int channels, const std::vector<bool>& selected) {
        const RawLayout layout = LayoutOf(ParseFormat(opt.format, opt.input));
        channelCount = channels;
        std::unique_ptr<bool[]> flags(new bool[static_cast<size_t>(channels)]);
        for (int c = 0; c < channels; ++c) {
            flags[static_cast<size_t>(c)] = selected[static_cast<size_t>(c)];
        }
        const int blockSamples = ByteCount(static_cast<size_t>(opt.blockFrames), channels, 1);
        if (!fir.Init(channels, ratio, blockSamples, flags.get(), layout.type, !keepStart)) {
            throw ToolError("the decimator refused its set-up", kExitRefused);
        }
    };
    auto process = [&](char* data, size_t frames) {
        const int samples = ByteCount(frames, channelCount, 1);
        const int written = fir.InputDataAndDeal(data, samples);
        return static_cast<size_t>(written > 0 ? written / channelCount : 0);
    };
    return Stream(opt, "decimating", setup, process);
}

StreamResult RunIntegrate(const StreamOptions& opt, double fs) {
    RequireNot24(opt, "integrate");
    if (!(fs > 0.0)) {
        throw ToolError("integration needs a sampling frequency above 0 (--fs)", kExitRefused);
    }
    CIntegralDiff integ;
    auto setup = [&](int channels, const std::vector<bool>& selected) {
        const RawLayout layout = LayoutOf(ParseFormat(opt.format, opt.input));
        std::vector<int> list;
        for (int c = 0; c < channels; ++c) {
            if (selected[static_cast<size_t>(c)]) {
                list.push_back(c);
            }
        }
        integ.InitDiff(0, channels, list, fs, layout.type, layout.width);
    };
    auto process = [&](char* data, size_t frames) {
        integ.ContinueIntegral(static_cast<int>(frames), data);
        return frames;
    };
    return Stream(opt, "integrating", setup, process);
}

}  // namespace rzft
