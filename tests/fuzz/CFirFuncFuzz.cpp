// Fuzzes CFirFunc: Init with fuzzed and hostile channel counts, ratios, block
// sizes and type codes; streams split at fuzzed points, each call given an
// exact-size buffer of its nCount samples; hostile counts; repeated Init; copies.

#include "FuzzSupport.h"

namespace {

using rzf_fuzz::ExactBuffer;

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

// A call given exactly its count of samples (a real pointer even for a count
// below one); what comes back is whole frames within that room.
void Deal(FuzzedDataProvider& in, CFirFunc& f) {
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0) {
        rzf_fuzz::Require(f.InputDataAndDeal(nullptr, rzf_fuzz::HostileInt(in)) == 0,
                          "a null buffer gave samples");
        return;
    }
    const int bytesPerSample = f.m_nSampleType == 0 ? 2 : (f.m_nSampleType == 3 ? 3 : 4);
    const int count = in.ConsumeIntegralInRange<int>(-1, rzf_fuzz::kMaxBlock / 2);
    const int room = count > 0 ? count : 1;
    ExactBuffer<char> buf(static_cast<std::size_t>(room * bytesPerSample));
    buf.Fill(in);
    const int got = f.InputDataAndDeal(buf.data(), count);
    rzf_fuzz::Require(got >= 0, "negative sample count returned");
    rzf_fuzz::Require(got <= room, "more samples returned than the buffer holds");
    if (got > 0) {
        rzf_fuzz::Require(f.m_nChnCount > 0 && got % f.m_nChnCount == 0,
                          "output is not whole frames");
    }
}

void Query(FuzzedDataProvider& in, CFirFunc& f) {
    (void)f.GetDelChnCount();
    (void)CFirFunc::IsActiveRatio(rzf_fuzz::PickInt(in, 0, 1001));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const rzf_fuzz::Step<CFirFunc> kSteps[] = {Init, Deal, Deal, Deal, Deal, Query};
    return rzf_fuzz::Drive<CFirFunc>(data, size, 32, kSteps, Deal);
}
