// Fuzzes CChnsBesselFilterFun: Init with fuzzed and hostile sizes and rates,
// channels enabled for table and non-table cut-offs, frame blocks split at
// fuzzed points into exact-size buffers, hostile counts and type codes,
// repeated Init, copies.

#include "FuzzSupport.h"

namespace {

void Design(FuzzedDataProvider& in, CChnsBesselFilterFun& f) {
    static const int kCutoffs[] = {4, 15, 40, 100, 0, -4, 7, 1000};
    const int cutoff = in.ConsumeBool() ? in.PickValueInArray(kCutoffs) : rzf_fuzz::HostileInt(in);
    const int channel = rzf_fuzz::PickInt(in, -1, f.m_nChannelCount);
    (void)f.DesignFilter(channel, cutoff, in.ConsumeBool());
}

// The rates the section table holds, or fuzzed and hostile ones.
float PickRate(FuzzedDataProvider& in) {
    static const float kRates[] = {10, 20, 50, 100, 200, 500, 1000};
    return in.ConsumeBool() ? in.PickValueInArray(kRates)
                            : static_cast<float>(rzf_fuzz::PickDouble(in, 1000.0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return rzf_fuzz::DriveFrames<CChnsBesselFilterFun, PickRate, Design>(data, size);
}
