#pragma once

#include <string_view>

// The checks a filter specification passes before it is designed. Internal to
// the library.
namespace rzf {

// The values the checks read, as FilterUser holds them.
struct SpecValues {
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
struct SpecVerdict {
    bool valid;
    std::string_view message;
};

// Runs the checks in their fixed order; the first failure decides the message.
// halfFsLimit selects the fs/2 frequency limit of the alternative hardware
// instead of fs/2.56 (the moving average keeps fs/2.56 either way).
SpecVerdict CheckSpec(const SpecValues& spec, bool halfFsLimit);

}  // namespace rzf
