// Fuzzes CFirFunc: Init with fuzzed and hostile channel counts, ratios, block
// sizes and type codes; streams split at fuzzed points, each call given an
// exact-size buffer of its nCount samples; hostile counts; repeated Init; copies.

#include <RZFilterFunc/RZFilterFunc.h>

#include <memory>
#include <vector>

#include "FuzzSupport.h"

namespace {

using rzf_fuzz::ExactBuffer;

// The decimator may still complete a carried frame into a call given fewer
// samples than one frame, writing that frame past the call's count. Until it
// keeps such a frame for the next call, calls shorter than a frame get a
// buffer of one whole frame (the room the decimator's header asks for), and
// the result is checked against that room (only when built with
// RZF_FUZZ_AVOID_OPEN_FAULTS; fixed now). Reproducer: regressions/cfir_func/.
constexpr bool kShortCallsGetFrameRoom = rzf_fuzz::kAvoidOpenFaults;

int SampleBytes(int type) {
    switch (type) {
        case 0:
            return 2;
        case 3:
            return 3;
        default:
            return 4;
    }
}

void Init(FuzzedDataProvider& in, CFirFunc& f) {
    static const int kRatios[] = {2, 5, 10, 20, 50, 100, 200, 500, 1000};
    const int chn = rzf_fuzz::PickInt(in, 1, 8);
    const int ratio = in.ConsumeIntegralInRange<int>(0, 7) == 0 ? rzf_fuzz::PickInt(in, -3, 1001)
                                                                : in.PickValueInArray(kRatios);
    // Block sizes a host asks for, or hostile ones that must be refused or
    // served with buffers of the size asked.
    static const int kHostileBlocks[] = {0, -1, INT_MIN, INT_MAX};
    const int block = in.ConsumeIntegralInRange<int>(0, 7) == 0
                          ? in.PickValueInArray(kHostileBlocks)
                          : in.ConsumeIntegralInRange<int>(0, 8 * rzf_fuzz::kMaxBlock);
    const int type = rzf_fuzz::PickInt(in, 0, 3);
    const bool delStart = in.ConsumeBool();
    if (chn < 1 || chn > 64 || in.ConsumeIntegralInRange<int>(0, 15) == 0) {
        (void)f.Init(chn, ratio, block, nullptr, type, delStart);
        return;
    }
    // The flags array holds exactly one entry per channel.
    ExactBuffer<bool> flags(static_cast<std::size_t>(chn));
    for (int c = 0; c < chn; ++c) {
        flags.data()[c] = in.ConsumeBool();
    }
    (void)f.Init(chn, ratio, block, flags.data(), type, delStart);
}

void Deal(FuzzedDataProvider& in, CFirFunc& f) {
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
        rzf_fuzz::Require(f.InputDataAndDeal(nullptr, rzf_fuzz::HostileInt(in)) == 0,
                          "a null buffer gave samples");
        return;
    }
    const int bytesPerSample = SampleBytes(f.m_nSampleType);
    const int count = in.ConsumeIntegralInRange<int>(-1, rzf_fuzz::kMaxBlock / 2);
    int room = count > 0 ? count : 1;
    if (kShortCallsGetFrameRoom && f.m_nChnCount > room) {
        room = f.m_nChnCount;
    }
    ExactBuffer<char> buf(static_cast<std::size_t>(room) * bytesPerSample);
    buf.Fill(in);
    const int got = f.InputDataAndDeal(buf.data(), count);
    rzf_fuzz::Require(got >= 0, "negative sample count returned");
    rzf_fuzz::Require(got <= room, "more samples returned than the buffer holds");
    if (got > 0) {
        rzf_fuzz::Require(f.m_nChnCount > 0 && got % f.m_nChnCount == 0,
                          "output is not whole frames");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    std::vector<CFirFunc> filters(2);
    int steps = 0;
    while (in.remaining_bytes() > 0 && steps++ < 32) {
        CFirFunc& f = filters[in.ConsumeIntegralInRange<int>(0, 1)];
        switch (in.ConsumeIntegralInRange<int>(0, 7)) {
            case 0:
                Init(in, f);
                break;
            case 1:
            case 2:
            case 3:
            case 4:
                Deal(in, f);
                break;
            case 5:
                (void)f.GetDelChnCount();
                (void)CFirFunc::IsActiveRatio(rzf_fuzz::PickInt(in, 0, 1001));
                break;
            case 6:
                filters[in.ConsumeIntegralInRange<int>(0, 1)] = f;  // may be self
                break;
            default: {
                auto* early = new CFirFunc(f);
                if (in.ConsumeBool()) {
                    f = CFirFunc();  // the original lets go first
                }
                Deal(in, *early);
                delete early;
                break;
            }
        }
    }
    return 0;
}
