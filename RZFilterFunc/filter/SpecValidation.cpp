#include "RZFilterFunc/filter/SpecValidation.h"

#include <cstddef>

#include "RZFilterFunc/base/DesignLimits.h"
#include "RZFilterFunc/base/FilterMessages.h"
#include "RZFilterFunc/base/FilterTypes.h"

namespace rzf {
namespace {

// Stop-band attenuation range (dB, inclusive) of the IIR designs.
constexpr double kMinStopAtten = 20.0;
constexpr double kMaxStopAtten = 160.0;

// Edge frequencies by rank: f1..f4 are kF1..kF4 of an EdgeSet.
enum EdgeRank : int { kF1 = 0, kF2 = 1, kF3 = 2, kF4 = 3 };
using EdgeSet = double[4];

template <std::size_t N>
constexpr std::string_view Message(const char (&bytes)[N]) {
    return std::string_view(bytes, N - 1);
}

// One ordering rule: the check fails when edge `lower` is not below `upper`.
struct EdgePair {
    EdgeRank lower;
    EdgeRank upper;
    std::string_view message;
};

// The ordering rules of one band type, checked in this order.
struct BandEdgeRules {
    int bandType;
    int count;
    EdgePair pairs[3];
};

// Edge order of the IIR methods (and of the method without a filter class).
constexpr BandEdgeRules kIirEdgeRules[] = {
    {BAND_LOWPASS, 1, {{kF1, kF2, Message(msg::kLowpassEdges)}}},
    {BAND_HIGHPASS, 1, {{kF1, kF2, Message(msg::kHighpassEdges)}}},
    {BAND_BANDPASS,
     3,
     {{kF1, kF2, Message(msg::kBandpassLower)},
      {kF3, kF4, Message(msg::kBandpassUpper)},
      {kF2, kF3, Message(msg::kPassUpperAboveLower)}}},
    {BAND_BANDSTOP,
     3,
     {{kF1, kF2, Message(msg::kBandstopLower)},
      {kF3, kF4, Message(msg::kBandstopUpper)},
      {kF2, kF3, Message(msg::kStopUpperAboveLower)}}},
};

// The window design's two cut-offs of a band filter are f1 and f2.
constexpr EdgePair kWindowBandCutoffs = {kF1, kF2, Message(msg::kPassUpperAboveLower)};

constexpr SpecVerdict kValid = {true, std::string_view()};

constexpr SpecVerdict Refuse(std::string_view message) {
    return SpecVerdict{false, message};
}

bool IsBandFilter(int bandType) {
    return bandType >= BAND_BANDPASS;
}

// Methods below the window FIR are the IIR designs (negative codes too).
bool IsIirMethod(int method) {
    return method < DM_WINDOW_FIR;
}

bool OutOfOrder(const EdgeSet& edges, const EdgePair& pair) {
    return edges[pair.lower] >= edges[pair.upper];
}

// The first IIR ordering rule of bandType that fails, or none.
const EdgePair* FirstIirOrderFailure(int bandType, const EdgeSet& edges) {
    for (const BandEdgeRules& rules : kIirEdgeRules) {
        if (rules.bandType != bandType) {
            continue;
        }
        for (int i = 0; i < rules.count; ++i) {
            if (OutOfOrder(edges, rules.pairs[i])) {
                return &rules.pairs[i];
            }
        }
    }
    return nullptr;
}

// Highest edge the design will use: the IIR designs reach f4 (band) or f2,
// the window design f2 (band) or f1.
EdgeRank HighestUsedEdge(bool iir, int bandType) {
    if (iir) {
        return IsBandFilter(bandType) ? kF4 : kF2;
    }
    return IsBandFilter(bandType) ? kF2 : kF1;
}

SpecVerdict CheckMovingAverage(const SpecValues& spec) {
    if (!(spec.sampleFreq > 0.0) || !(spec.freq1 > 0.0)) {
        return Refuse(Message(msg::kMustBePositive));
    }
    // The moving average keeps the conservative limit whatever the hardware.
    if (spec.freq1 > DesignFrequencyLimit(spec.sampleFreq)) {
        return Refuse(Message(msg::kFreqAboveFs256));
    }
    return kValid;
}

bool AllPositive(const SpecValues& spec) {
    const double values[] = {spec.sampleFreq, spec.freq1,      spec.freq2,    spec.freq3,
                             spec.freq4,      spec.passRipple, spec.stopAtten};
    for (const double v : values) {
        if (!(v > 0.0)) {
            return false;
        }
    }
    return true;
}

}  // namespace

SpecVerdict CheckSpec(const SpecValues& spec, bool halfFsLimit) {
    if (spec.designMethod == DM_AVERAGE) {
        return CheckMovingAverage(spec);
    }
    const bool iir = IsIirMethod(spec.designMethod);
    if (iir && (spec.stopAtten < kMinStopAtten || spec.stopAtten > kMaxStopAtten)) {
        return Refuse(Message(msg::kAttenRange));
    }
    if (!AllPositive(spec)) {
        return Refuse(Message(msg::kMustBePositive));
    }

    const EdgeSet edges = {spec.freq1, spec.freq2, spec.freq3, spec.freq4};
    if (iir || spec.designMethod == DM_RESERVED) {
        if (const EdgePair* failed = FirstIirOrderFailure(spec.bandType, edges)) {
            return Refuse(failed->message);
        }
    }
    if (!iir && IsBandFilter(spec.bandType) && OutOfOrder(edges, kWindowBandCutoffs)) {
        return Refuse(kWindowBandCutoffs.message);
    }

    const double highest = edges[HighestUsedEdge(iir, spec.bandType)];
    if (halfFsLimit) {
        if (highest > spec.sampleFreq * 0.5) {
            return Refuse(Message(msg::kFreqAboveFs20));
        }
    } else if (highest > DesignFrequencyLimit(spec.sampleFreq)) {
        return Refuse(Message(msg::kFreqAboveFs256));
    }
    return kValid;
}

}  // namespace rzf
