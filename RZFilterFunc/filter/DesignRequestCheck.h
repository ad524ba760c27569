#pragma once

#include <string_view>

// The checks a filter request passes before it is designed. Internal to
// the library.
namespace rzf {

// The values the checks read, as FilterUser holds them.
struct DesignRequest {
    int designMethod;  // DESIGN_METHOD code
    int bandType;      // BAND_* code
    double sampleFreq;
    double freq1;
    double freq2;
    double freq3;
    double freq4;
    double passRipple;
    double stopAtten;
};

// Outcome of the checks: valid, or the refusal message (GBK bytes) of the first
// check that failed.
struct RequestVerdict {
    bool valid;
    std::string_view message;
};

// Runs the checks in their fixed order; the first failure decides the message.
// halfFsLimit selects the fs/2 frequency limit of the alternative hardware
// instead of fs/2.56 (the moving average keeps fs/2.56 either way).
RequestVerdict CheckDesignRequest(const DesignRequest& request, bool halfFsLimit);

}  // namespace rzf
