// Fuzzes CIntegralDiff: InitDiff with fuzzed and hostile frame layouts,
// channel lists, rates, type codes and sample sizes; ContinueIntegral over
// exact-size buffers of the frames given, hostile counts; copies.

#include "FuzzSupport.h"

namespace {

using rzf_fuzz::PickInt;

void Init(FuzzedDataProvider& in, CIntegralDiff& f) {
    const int first = PickInt(in, -2, 4);
    const int stride = PickInt(in, 0, 8);
    std::vector<int> channels(in.ConsumeIntegralInRange<std::size_t>(0, 6));
    for (int& c : channels) {
        c = PickInt(in, -1, 10);
    }
    const double fs = rzf_fuzz::PickDouble(in, 1000.0);
    const int type = PickInt(in, 0, 3);
    const int bytes = PickInt(in, 0, 8);
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
    rzf_fuzz::ExactBuffer<char> buf(static_cast<std::size_t>(bytes));
    buf.Fill(in);
    f.ContinueIntegral(frames, buf.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const rzf_fuzz::Step<CIntegralDiff> kSteps[] = {Init, Integrate, Integrate, Integrate};
    return rzf_fuzz::Drive<CIntegralDiff>(data, size, 32, kSteps, Integrate);
}
