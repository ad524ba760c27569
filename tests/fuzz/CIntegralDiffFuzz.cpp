// Fuzzes CIntegralDiff: InitDiff with fuzzed and hostile frame layouts,
// channel lists, rates, type codes and sample sizes; ContinueIntegral over
// exact-size buffers of the frames given, hostile counts; copies.

#include <RZFilterFunc/RZFilterFunc.h>

#include <vector>

#include "FuzzSupport.h"

namespace {

using rzf_fuzz::ExactBuffer;

void Init(FuzzedDataProvider& in, CIntegralDiff& f) {
    const int first = rzf_fuzz::PickInt(in, -2, 4);
    const int stride = rzf_fuzz::PickInt(in, 0, 8);
    std::vector<int> channels(in.ConsumeIntegralInRange<std::size_t>(0, 6));
    for (int& c : channels) {
        c = rzf_fuzz::PickInt(in, -1, 10);
    }
    const double fs = rzf_fuzz::PickDouble(in, 1000.0);
    const int type = rzf_fuzz::PickInt(in, 0, 3);
    const int bytes = rzf_fuzz::PickInt(in, 0, 8);
    f.InitDiff(first, stride, channels, fs, type, bytes);
}

void Integrate(FuzzedDataProvider& in, CIntegralDiff& f) {
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
        f.ContinueIntegral(rzf_fuzz::HostileInt(in), nullptr);
        return;
    }
    // nCount frames of m_nChnStride samples of m_nSampleBytes bytes: exactly
    // the bytes the call is told it has (one at least, for a real pointer).
    const int frames = in.ConsumeIntegralInRange<int>(-1, 256);
    long long bytes = 1;
    if (frames > 0 && f.m_nChnStride > 0 && f.m_nSampleBytes > 0) {
        // A layout this large is a host's business, not a fuzz input's.
        if (f.m_nChnStride > rzf_fuzz::kMaxBlock || f.m_nSampleBytes > rzf_fuzz::kMaxBlock) {
            return;
        }
        bytes = static_cast<long long>(frames) * f.m_nChnStride * f.m_nSampleBytes;
        if (bytes > 16 * rzf_fuzz::kMaxBlock) {
            return;
        }
    }
    ExactBuffer<char> buf(static_cast<std::size_t>(bytes));
    buf.Fill(in);
    f.ContinueIntegral(frames, buf.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    std::vector<CIntegralDiff> integrators(2);
    int steps = 0;
    while (in.remaining_bytes() > 0 && steps++ < 32) {
        CIntegralDiff& f = integrators[in.ConsumeIntegralInRange<int>(0, 1)];
        switch (in.ConsumeIntegralInRange<int>(0, 5)) {
            case 0:
                Init(in, f);
                break;
            case 1:
            case 2:
            case 3:
                Integrate(in, f);
                break;
            case 4:
                integrators[in.ConsumeIntegralInRange<int>(0, 1)] = f;  // may be self
                break;
            default: {
                auto* early = new CIntegralDiff(f);
                if (in.ConsumeBool()) {
                    f = CIntegralDiff();  // the original lets go first
                }
                Integrate(in, *early);
                delete early;
                break;
            }
        }
    }
    return 0;
}
