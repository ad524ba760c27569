#pragma once

// Frequency limits shared by the design checks. Internal to the library.
namespace rzf {

// With the default hardware setting a design may use frequencies up to
// fs / 2.56, the usable band of the acquisition front end.
constexpr double kDesignBandwidthDivisor = 2.56;

// Highest frequency (Hz) a design may use at sampling frequency fs (Hz).
inline double DesignFrequencyLimit(double fs) {
    return fs / kDesignBandwidthDivisor;
}

}  // namespace rzf
