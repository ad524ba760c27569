// Fuzzes CChnsFilterFunc: Init with fuzzed and hostile sizes, per-channel
// designs from fuzzed parameter records, frame blocks split at fuzzed points
// into exact-size buffers, hostile counts and type codes, repeated Init, copies.

#include <RZFilterFunc/RZFilterFunc.h>

#include <algorithm>
#include <vector>

#include "FuzzSupport.h"

namespace {

using rzf_fuzz::ExactBuffer;

// A negative byte count still comes back as a negative frame count; until it
// is refused with 0, the result is only checked for byte counts of 0 or more
// (only when built with RZF_FUZZ_AVOID_OPEN_FAULTS; fixed now). Reproducer:
// regressions/chns_filter_func/.
constexpr bool kNegativeCountsRefused = !rzf_fuzz::kAvoidOpenFaults;

void Design(FuzzedDataProvider& in, CChnsFilterFunc& f) {
    const double nyquist = f.m_bInit ? f.m_fSampleRate / 2.56 : 100.0;
    CFilterParam p{};
    p.m_nDesignMethod = rzf_fuzz::PickInt(in, -1, 6);
    // Lengths that design quickly, or ones a design must refuse outright.
    static const int kHostileOrders[] = {0, -1, INT_MIN, INT_MAX, 1 << 30, (1 << 21) + 2};
    p.m_nOrder = in.ConsumeIntegralInRange<int>(0, 9) == 0 ? in.PickValueInArray(kHostileOrders)
                                                           : in.ConsumeIntegralInRange<int>(0, 64);
    p.m_nBandType = rzf_fuzz::PickInt(in, 0, 5);
    p.m_nWindowType = rzf_fuzz::PickInt(in, -1, 10);
    p.m_dUnused = rzf_fuzz::PickDouble(in, 1.0);
    p.m_dFreq1 = rzf_fuzz::PickDouble(in, nyquist);
    p.m_dFreq3 = rzf_fuzz::PickDouble(in, nyquist);
    p.m_dFreq2 = rzf_fuzz::PickDouble(in, nyquist);
    p.m_dFreq4 = rzf_fuzz::PickDouble(in, nyquist);
    p.m_dPassRipple = rzf_fuzz::PickDouble(in, 3.0);
    p.m_dStopAtten = rzf_fuzz::PickDouble(in, 100.0);
    p.m_dReserved = rzf_fuzz::PickDouble(in, 1.0);
    const int channel = rzf_fuzz::PickInt(in, -1, f.m_nChannelCount);
    (void)f.DesignFilter(channel, in.ConsumeBool() ? &p : nullptr);
}

void Deal(FuzzedDataProvider& in, CChnsFilterFunc& f) {
    const int type = rzf_fuzz::PickInt(in, 0, 3);
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
        const int count = rzf_fuzz::HostileInt(in);
        const int got = f.InputDataAndDeal(nullptr, type, count);
        rzf_fuzz::Require(got == 0, "a null buffer gave frames");
        return;
    }
    const int bytes = in.ConsumeIntegralInRange<int>(0, rzf_fuzz::kMaxBlock);
    // One byte at least, so that even a count of 0 comes with a real pointer.
    ExactBuffer<char> buf(static_cast<std::size_t>(bytes > 0 ? bytes : 1));
    buf.Fill(in);
    std::vector<char> before(buf.data(), buf.data() + bytes);
    const bool negative = in.ConsumeIntegralInRange<int>(0, 7) == 0;
    const int count = negative ? -in.ConsumeIntegralInRange<int>(1, INT_MAX) : bytes;
    const bool ready = f.m_bInit && f.m_nSampleWidth > 0 && f.m_nChannelCount > 0;
    const int got = f.InputDataAndDeal(buf.data(), type, count);
    if (negative) {
        if (kNegativeCountsRefused) {
            rzf_fuzz::Require(got == 0, "a negative byte count gave a non-zero result");
        }
        rzf_fuzz::Require(std::equal(before.begin(), before.end(), buf.data()),
                          "a negative byte count changed the buffer");
        return;
    }
    if (bytes > 0) {
        const int frames = ready ? bytes / f.m_nSampleWidth / f.m_nChannelCount : 0;
        rzf_fuzz::Require(got == frames, "frame count differs from the whole frames given");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    std::vector<CChnsFilterFunc> filters(2);
    int steps = 0;
    while (in.remaining_bytes() > 0 && steps++ < 24) {
        CChnsFilterFunc& f = filters[in.ConsumeIntegralInRange<int>(0, 1)];
        switch (in.ConsumeIntegralInRange<int>(0, 7)) {
            case 0: {
                static const int kWidths[] = {2, 4, 4, 8, 3, 1, 0, -2};
                const int chn = rzf_fuzz::PickInt(in, 1, 8);
                const int width =
                    in.ConsumeBool() ? in.PickValueInArray(kWidths) : rzf_fuzz::HostileInt(in);
                const float rate = static_cast<float>(
                    in.ConsumeBool() ? 1000.0 : rzf_fuzz::PickDouble(in, 1000.0));
                // Channel counts beyond what a block can hold are requests the
                // object must serve, but a harness keeps them affordable.
                (void)f.Init(chn > 64 ? 64 : chn, width, rate);
                break;
            }
            case 1:
            case 2:
                Design(in, f);
                break;
            case 3:
            case 4:
            case 5:
                Deal(in, f);
                break;
            case 6:
                filters[in.ConsumeIntegralInRange<int>(0, 1)] = f;  // may be self
                break;
            default: {
                auto* early = new CChnsFilterFunc(f);
                if (in.ConsumeBool()) {
                    f = CChnsFilterFunc();  // the original lets go first
                }
                Deal(in, *early);
                delete early;
                break;
            }
        }
    }
    return 0;
}
