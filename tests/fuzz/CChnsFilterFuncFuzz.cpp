// Fuzzes CChnsFilterFunc: Init with fuzzed and hostile sizes, per-channel
// designs from fuzzed parameter records, frame blocks split at fuzzed points
// into exact-size buffers, hostile counts and type codes, repeated Init, copies.

#include "FuzzSupport.h"

namespace {

using rzf_fuzz::PickDouble;
using rzf_fuzz::PickInt;

void Design(FuzzedDataProvider& in, CChnsFilterFunc& f) {
    const double nyquist = f.m_bInit ? f.m_fSampleRate / 2.56 : 100.0;
    CFilterParam p{};
    p.m_nDesignMethod = PickInt(in, -1, 6);
    // Lengths that design quickly, or ones a design must refuse outright.
    static const int kHostileOrders[] = {0, -1, INT_MIN, INT_MAX, 1 << 30, (1 << 21) + 2};
    p.m_nOrder = in.ConsumeIntegralInRange<int>(0, 9) == 0 ? in.PickValueInArray(kHostileOrders)
                                                           : in.ConsumeIntegralInRange<int>(0, 64);
    p.m_nBandType = PickInt(in, 0, 5);
    p.m_nWindowType = PickInt(in, -1, 10);
    p.m_dUnused = PickDouble(in, 1.0);
    p.m_dFreq1 = PickDouble(in, nyquist);
    p.m_dFreq3 = PickDouble(in, nyquist);
    p.m_dFreq2 = PickDouble(in, nyquist);
    p.m_dFreq4 = PickDouble(in, nyquist);
    p.m_dPassRipple = PickDouble(in, 3.0);
    p.m_dStopAtten = PickDouble(in, 100.0);
    p.m_dReserved = PickDouble(in, 1.0);
    const int channel = PickInt(in, -1, f.m_nChannelCount);
    (void)f.DesignFilter(channel, in.ConsumeBool() ? &p : nullptr);
}

float PickRate(FuzzedDataProvider& in) {
    return static_cast<float>(in.ConsumeBool() ? 1000.0 : PickDouble(in, 1000.0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return rzf_fuzz::DriveFrames<CChnsFilterFunc, PickRate, Design>(data, size);
}
