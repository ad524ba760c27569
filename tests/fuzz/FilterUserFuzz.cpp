// Fuzzes FilterUser through its public interface: specifications with fuzzed
// and hostile values, designs, block filtering with fuzzed split points into
// exact-size buffers, restarts, response post-processing and copies.

#include <RZFilterFunc/RZFilterFunc.h>

#include <vector>

#include "FuzzSupport.h"

namespace {

using rzf_fuzz::ExactBuffer;

// FilterData once sized a restarted FIR state from the specification's length
// before comparing it with the taps the current design holds, so a huge length
// set without a redesign allocated for it. Built with RZF_FUZZ_AVOID_OPEN_FAULTS,
// a hostile length is designed right away (the design refuses it) instead of
// meeting a stale design.
constexpr bool kRestartSizedBeforeCheck = rzf_fuzz::kAvoidOpenFaults;

// Tap counts and orders that design quickly, plus the hostile ones (which a
// design must refuse without allocating for them).
int PickLength(FuzzedDataProvider& in) {
    static const int kHostile[] = {0, -1, INT_MIN, INT_MAX, (1 << 21) + 2, 1 << 30, 1 << 24};
    if (in.ConsumeIntegralInRange<int>(0, 9) == 0) {
        return in.PickValueInArray(kHostile);
    }
    return in.ConsumeIntegralInRange<int>(-2, 200);
}

// A usable design never holds a non-finite coefficient.
void CheckDesign(FilterUser& user) {
    if (!user.GetIsStability() || user.m_pFilter == nullptr) {
        return;
    }
    ClassicFilter* f = user.m_pFilter;
    double* b = f->GetNumerator();
    double* a = f->GetDenominator();
    switch (user.m_nDesignMethod) {
        case DM_BUTTERWORTH:
        case DM_CHEBYSHEV1:
        case DM_CHEBYSHEV2:
            if (b != nullptr && a != nullptr && user.m_nIIROrder >= 1) {
                rzf_fuzz::Require(rzf_fuzz::AllFinite(b, user.m_nIIROrder + 1),
                                  "usable IIR design with a non-finite numerator");
                rzf_fuzz::Require(rzf_fuzz::AllFinite(a, user.m_nIIROrder + 1),
                                  "usable IIR design with a non-finite denominator");
            }
            break;
        case DM_WINDOW_FIR:
            if (b != nullptr) {
                rzf_fuzz::Require(rzf_fuzz::AllFinite(b, f->m_nLength),
                                  "usable window design with a non-finite tap");
            }
            break;
        case DM_AVERAGE:
            if (b != nullptr) {
                rzf_fuzz::Require(rzf_fuzz::AllFinite(b, f->GetCoefCount()),
                                  "usable moving average with a non-finite tap");
            }
            break;
        default:
            break;
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
    const int length = PickLength(in);
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

void Smooth(FuzzedDataProvider& in) {
    const int count = in.ConsumeIntegralInRange<int>(0, rzf_fuzz::kMaxBlock / 2);
    ExactBuffer<float> src(static_cast<std::size_t>(count));
    ExactBuffer<float> dst(static_cast<std::size_t>(count));
    const float fs = static_cast<float>(rzf_fuzz::PickDouble(in, 1000.0));
    const float cutoff = static_cast<float>(rzf_fuzz::PickDouble(in, 100.0));
    src.Fill(in);
    FilterUser::PingJunFilter(src.data(), count, fs, cutoff, dst.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    std::vector<FilterUser> users(2);
    int steps = 0;
    while (in.remaining_bytes() > 0 && steps++ < 24) {
        FilterUser& user = users[in.ConsumeIntegralInRange<int>(0, 1)];
        switch (in.ConsumeIntegralInRange<int>(0, 10)) {
            case 0:
            case 1:
                SetSpecification(in, user);
                if (kRestartSizedBeforeCheck && user.m_nFIRLength > 4096) {
                    user.DesignFilter();
                    CheckDesign(user);
                }
                break;
            case 2:
                user.setWindowType(rzf_fuzz::PickInt(in, -1, 10));
                break;
            case 3:
            case 4:
                user.DesignFilter();
                CheckDesign(user);
                (void)user.GetErrorMessage();
                break;
            case 5:
            case 6:
                FilterBlock(in, user);
                break;
            case 7:
                user.setFirstInputState(in.ConsumeBool());
                break;
            case 8:
                user.getUnwrapedPhase();
                user.GetMaxMin();
                break;
            case 9: {
                FilterUser& other = users[in.ConsumeIntegralInRange<int>(0, 1)];
                switch (in.ConsumeIntegralInRange<int>(0, 3)) {
                    case 0:
                        other = user;  // shared filter and state, possibly self-assignment
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
                        auto* early = new FilterUser(user);
                        user = FilterUser();  // the original lets go first
                        delete early;
                        break;
                    }
                }
                break;
            }
            default:
                Smooth(in);
                break;
        }
    }
    return 0;
}
