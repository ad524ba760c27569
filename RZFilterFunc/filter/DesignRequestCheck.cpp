#include "RZFilterFunc/filter/DesignRequestCheck.h"

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

constexpr RequestVerdict kValid = {true, std::string_view()};

constexpr RequestVerdict Refuse(std::string_view message) {
    return RequestVerdict{false, message};
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

RequestVerdict CheckMovingAverage(const DesignRequest& request) {
    if (!(request.sampleFreq > 0.0) || !(request.freq1 > 0.0)) {
        return Refuse(Message(msg::kMustBePositive));
    }
    // The moving average keeps the conservative limit whatever the hardware.
    if (request.freq1 > DesignFrequencyLimit(request.sampleFreq)) {
        return Refuse(Message(msg::kFreqAboveFs256));
    }
    return kValid;
}

bool AllPositive(const DesignRequest& request) {
    const double values[] = {request.sampleFreq, request.freq1, request.freq2,
                             request.freq3,      request.freq4, request.passRipple,
                             request.stopAtten};
    for (const double v : values) {
        if (!(v > 0.0)) {
            return false;
        }
    }
    return true;
}

}  // namespace

RequestVerdict CheckDesignRequest(const DesignRequest& request, bool halfFsLimit) {
    if (request.designMethod == DM_AVERAGE) {
        return CheckMovingAverage(request);
    }
    const bool iir = IsIirMethod(request.designMethod);
    if (iir && (request.stopAtten < kMinStopAtten || request.stopAtten > kMaxStopAtten)) {
        return Refuse(Message(msg::kAttenRange));
    }
    if (!AllPositive(request)) {
        return Refuse(Message(msg::kMustBePositive));
    }

    const EdgeSet edges = {request.freq1, request.freq2, request.freq3, request.freq4};
    if (iir || request.designMethod == DM_RESERVED) {
        if (const EdgePair* failed = FirstIirOrderFailure(request.bandType, edges)) {
            return Refuse(failed->message);
        }
    }
    if (!iir && IsBandFilter(request.bandType) && OutOfOrder(edges, kWindowBandCutoffs)) {
        return Refuse(kWindowBandCutoffs.message);
    }

    const double highest = edges[HighestUsedEdge(iir, request.bandType)];
    if (halfFsLimit) {
        if (highest > request.sampleFreq * 0.5) {
            return Refuse(Message(msg::kFreqAboveFs20));
        }
    } else if (highest > DesignFrequencyLimit(request.sampleFreq)) {
        return Refuse(Message(msg::kFreqAboveFs256));
    }
    return kValid;
}

}  // namespace rzf
