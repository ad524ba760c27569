// Fuzzes FilterUser through its public interface: specifications with fuzzed
// and hostile values, designs, block filtering with fuzzed split points into
// exact-size buffers, restarts, response post-processing and copies.

#include "FuzzSupport.h"

namespace {

using rzf_fuzz::ExactBuffer;

void RequireFinite(const double* v, long long n, const char* what) {
    if (v != nullptr) {
        rzf_fuzz::Require(rzf_fuzz::AllFinite(v, n), what);
    }
}

// A usable design never holds a non-finite coefficient.
void CheckDesign(FilterUser& user) {
    ClassicFilter* f = user.m_pFilter;
    const int method = user.m_nDesignMethod;
    if (!user.GetIsStability() || f == nullptr) {
        return;
    }
    if (method >= DM_BUTTERWORTH && method <= DM_CHEBYSHEV2 && f->GetDenominator() != nullptr &&
        user.m_nIIROrder >= 1) {
        RequireFinite(f->GetNumerator(), user.m_nIIROrder + 1, "IIR numerator not finite");
        RequireFinite(f->GetDenominator(), user.m_nIIROrder + 1, "IIR denominator not finite");
    } else if (method == DM_WINDOW_FIR || method == DM_AVERAGE) {
        const int taps = method == DM_AVERAGE ? f->GetCoefCount() : f->m_nLength;
        RequireFinite(f->GetNumerator(), taps, "FIR tap not finite");
    }
}

void SetSpecification(FuzzedDataProvider& in, FilterUser& user) {
    static const double kRates[] = {512.0, 1000.0, 44100.0, 1.0, 51200.0};
    const double fs =
        in.ConsumeBool() ? in.PickValueInArray(kRates) : rzf_fuzz::PickDouble(in, 1000.0);
    // Edges as fractions of the highest accepted frequency, so that most
    // specifications pass validation and reach the designs.
    double edge[4];
    for (double& e : edge) {
        e = rzf_fuzz::PickDouble(in, fs / 2.56);
    }
    const int band = rzf_fuzz::PickInt(in, 0, 5);
    const int method = rzf_fuzz::PickInt(in, -1, 6);
    // Tap counts and orders that design quickly, plus the hostile ones (which a
    // design must refuse without allocating for them).
    static const int kHostile[] = {0, -1, INT_MIN, INT_MAX, (1 << 21) + 2, 1 << 30, 1 << 24};
    const int length = in.ConsumeIntegralInRange<int>(0, 9) == 0
                           ? in.PickValueInArray(kHostile)
                           : in.ConsumeIntegralInRange<int>(-2, 200);
    const double ripple = rzf_fuzz::PickDouble(in, 3.0);
    const double atten = rzf_fuzz::PickDouble(in, 100.0);
    const double reserved = rzf_fuzz::PickDouble(in, 10.0);
    user.setFilterParameter(band, method, edge[0], edge[1], edge[2], edge[3], fs, length, ripple,
                            atten, reserved);
}

void FilterBlock(FuzzedDataProvider& in, FilterUser& user) {
    const int count = in.ConsumeIntegralInRange<int>(0, rzf_fuzz::kMaxBlock / 4);
    ExactBuffer<float> src(static_cast<std::size_t>(count));
    src.Fill(in);
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0: {  // separate output buffer
            ExactBuffer<float> dst(static_cast<std::size_t>(count));
            user.FilterData(src.data(), dst.data(), count);
            break;
        }
        case 1:  // in place
            user.FilterData(src.data(), src.data(), count);
            break;
        case 2:  // hostile counts with no buffer at all
            user.FilterData(nullptr, nullptr, rzf_fuzz::HostileInt(in));
            break;
        default:  // a count that says nothing is there
            user.FilterData(src.data(), src.data(), -in.ConsumeIntegralInRange<int>(0, INT_MAX));
            break;
    }
}

void Smooth(FuzzedDataProvider& in, FilterUser&) {
    const int count = in.ConsumeIntegralInRange<int>(0, rzf_fuzz::kMaxBlock / 2);
    ExactBuffer<float> src(static_cast<std::size_t>(count));
    ExactBuffer<float> dst(static_cast<std::size_t>(count));
    const float fs = static_cast<float>(rzf_fuzz::PickDouble(in, 1000.0));
    const float cutoff = static_cast<float>(rzf_fuzz::PickDouble(in, 100.0));
    src.Fill(in);
    FilterUser::PingJunFilter(src.data(), count, fs, cutoff, dst.data());
}

void SetWindow(FuzzedDataProvider& in, FilterUser& user) {
    user.setWindowType(rzf_fuzz::PickInt(in, -1, 10));
}

void Design(FuzzedDataProvider&, FilterUser& user) {
    user.DesignFilter();
    CheckDesign(user);
    (void)user.GetErrorMessage();
}

void SetFirstInput(FuzzedDataProvider& in, FilterUser& user) {
    user.setFirstInputState(in.ConsumeBool());
}

void Respond(FuzzedDataProvider&, FilterUser& user) {
    user.getUnwrapedPhase();
    user.GetMaxMin();
}

// Copies and assignments between `user` and `other` (possibly the same one).
void Copy(FuzzedDataProvider& in, FilterUser& user, FilterUser& other) {
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0:
            other = user;  // shared filter and state
            break;
        case 1: {
            FilterUser copy(user);  // destroyed before the original
            copy.DesignFilter();
            CheckDesign(copy);
            break;
        }
        case 2:
            user.InitDes(other);
            CheckDesign(other);
            break;
        default: {
            const FilterUser early(user);
            user = FilterUser();  // the original lets go first
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Code 9 copies between the two objects; the others are calls on one.
    static const rzf_fuzz::Step<FilterUser> kSteps[] = {
        SetSpecification, SetSpecification, SetWindow, Design,  Design, FilterBlock,
        FilterBlock,      SetFirstInput,    Respond,   nullptr, Smooth};
    FuzzedDataProvider in(data, size);
    std::vector<FilterUser> users(2);
    for (int steps = 0; in.remaining_bytes() > 0 && steps < 24; ++steps) {
        FilterUser& user = users[in.ConsumeIntegralInRange<std::size_t>(0, 1)];
        const int code = in.ConsumeIntegralInRange<int>(0, 10);
        if (code == 9) {
            Copy(in, user, users[in.ConsumeIntegralInRange<std::size_t>(0, 1)]);
        } else {
            kSteps[code](in, user);
        }
    }
    return 0;
}
