// Fuzzes CFilter: both Kaiser design overloads with fuzzed and hostile rates,
// edges, attenuations and transitions; the per-sample engine with fuzzed
// coefficient sets, strides, offsets and counts over exact-size buffers; copies.

#include <utility>

#include "FuzzSupport.h"

namespace {

using rzf_fuzz::ExactBuffer;

// The designs hand out a new array of the returned size, or nothing; a
// returned design has only finite taps.
void CheckTaps(int count, double* taps) {
    rzf_fuzz::Require(count >= 0, "negative tap count");
    rzf_fuzz::Require((count == 0) == (taps == nullptr), "taps and their count disagree");
    rzf_fuzz::Require(rzf_fuzz::AllFinite(taps, count), "Kaiser design with a non-finite tap");
}

// A transition width whose design stays small, or a hostile one.
double PickTransition(FuzzedDataProvider& in) {
    if (in.ConsumeIntegralInRange<int>(0, 5) == 0) {
        return rzf_fuzz::HostileDouble(in);
    }
    return in.ConsumeFloatingPointInRange<double>(0.005, 1.5);
}

void Design(FuzzedDataProvider& in, CFilter& engine) {
    const float fs =
        static_cast<float>(in.ConsumeBool() ? 1000.0 : rzf_fuzz::PickDouble(in, 1000.0));
    const int band = rzf_fuzz::PickInt(in, 0, 5);
    const int atten = rzf_fuzz::PickInt(in, 0, 120);
    double* taps = nullptr;
    int count = 0;
    if (in.ConsumeBool()) {
        const float f1 = static_cast<float>(rzf_fuzz::PickDouble(in, fs / 2));
        const float f2 = static_cast<float>(rzf_fuzz::PickDouble(in, fs / 2));
        count = CFilter::DesignFilter(taps, fs, band, f1, f2, atten, PickTransition(in));
    } else {
        // Edges in ascending order with gaps of at least a hundredth of fs, so
        // that most designs stay short; hostile values now and then.
        float f[4];
        float edge = 0.0f;
        for (float& e : f) {
            edge += fs * in.ConsumeFloatingPointInRange<float>(0.01f, 0.2f);
            e = in.ConsumeIntegralInRange<int>(0, 9) == 0
                    ? static_cast<float>(rzf_fuzz::HostileDouble(in))
                    : edge;
        }
        if (in.ConsumeBool()) {
            std::swap(f[0], f[1]);
        }
        static double stale[1];
        taps = stale;  // the overload must replace or clear what the caller held
        count = CFilter::DesignFilter(taps, fs, band, f[0], f[1], f[2], f[3], atten);
    }
    CheckTaps(count, taps);
    if (count > 0 && in.ConsumeBool()) {
        engine.SetFIRCoief(count, taps);
    }
    delete[] taps;
}

void LoadCoefficients(FuzzedDataProvider& in, CFilter& engine) {
    const int count = in.ConsumeIntegralInRange<int>(0, 64);
    ExactBuffer<double> a(static_cast<std::size_t>(count));
    ExactBuffer<double> b(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        a.data()[i] = rzf_fuzz::PickDouble(in, 1.0);
        b.data()[i] = rzf_fuzz::PickDouble(in, 1.0);
    }
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0:
            engine.SetFIRCoief(count, b.data());
            break;
        case 1:
            engine.SetIIRCoief(count, a.data(), b.data());
            break;
        case 2:  // hostile counts with no arrays
            engine.SetFIRCoief(rzf_fuzz::HostileInt(in), nullptr);
            break;
        default:
            engine.SetIIRCoief(rzf_fuzz::HostileInt(in), nullptr, nullptr);
            break;
    }
}

// Runs FilterData over data[offset + i*stride], i < count, in a buffer that
// holds exactly the elements those indices reach (indices before data[0]
// must be refused).
template <typename T>
void FilterStrided(FuzzedDataProvider& in, CFilter& engine) {
    const int count = in.ConsumeIntegralInRange<int>(-2, 512);
    const int stride = in.ConsumeIntegralInRange<int>(-3, 6);
    const int offset = in.ConsumeIntegralInRange<int>(0, 40);
    const long long highest =
        offset + (count > 0 && stride > 0 ? static_cast<long long>(count - 1) * stride : 0);
    ExactBuffer<T> buf(static_cast<std::size_t>(highest + 1));
    buf.Fill(in);
    (void)engine.FilterData(buf.data(), count, stride, offset);
}

void FilterOne(FuzzedDataProvider& in, CFilter& engine) {
    const float x = static_cast<float>(rzf_fuzz::PickDouble(in, 1000.0));
    (void)(in.ConsumeBool() ? engine.FilterFIRData(x) : engine.FilterIIRData(x));
}

void ResetAndQuery(FuzzedDataProvider& in, CFilter& engine) {
    engine.Reset();
    engine.SetDelCount(rzf_fuzz::PickInt(in, 0, 100));
    (void)engine.GetDelCount();
    (void)engine.IsPrePare();
    (void)engine.IsIIRFilter();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const rzf_fuzz::Step<CFilter> kSteps[] = {Design,
                                                     Design,
                                                     LoadCoefficients,
                                                     FilterStrided<float>,
                                                     FilterStrided<short>,
                                                     FilterStrided<int>,
                                                     FilterOne,
                                                     ResetAndQuery};
    return rzf_fuzz::Drive<CFilter>(data, size, 24, kSteps, FilterStrided<float>);
}
