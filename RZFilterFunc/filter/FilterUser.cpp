#include "RZFilterFunc/filter/FilterUser.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "RZFilterFunc/base/DesignLimits.h"
#include "RZFilterFunc/base/FilterMessages.h"
#include "RZFilterFunc/filter/AverageFilter.h"
#include "RZFilterFunc/fir/WindowsFilter.h"
#include "RZFilterFunc/iir/ButwcfFilter.h"
#include "RZFilterFunc/iir/ChebyiFilter.h"
#include "RZFilterFunc/iir/ChebyiiFilter.h"
#include "RZFilterFunc/iir/IIRFilter.h"
#include "RZFilterFunc/platform/HardWareConfig.h"
#include "RZFilterFunc/platform/MathConst.h"
#include "RZFilterFunc/platform/NumericConvert.h"
#include "RZFilterFunc/platform/RZPlatForm.h"

namespace rzf {
namespace {

// Keeps the low 32 bits of v, as the 32-bit integer arithmetic of the axis
// rounding does when it overflows (only reachable for infinite responses).
std::int32_t Wrap32(std::int64_t v) {
    const std::uint32_t bits = static_cast<std::uint32_t>(static_cast<std::uint64_t>(v));
    std::int32_t out;
    std::memcpy(&out, &bits, sizeof out);
    return out;
}

// Shifts the delay line one place towards its end; the oldest value drops out.
void ShiftDelayLine(double* s, int length) {
    if (length > 1) {
        std::memmove(s + 1, s, static_cast<std::size_t>(length - 1) * sizeof(double));
    }
}

}  // namespace
}  // namespace rzf

FilterUser::FilterUser()
    : m_pFilter(nullptr),
      m_pState(nullptr),
      m_nBandType(BAND_LOWPASS),
      m_nOrder(1),
      m_nDesignMethod(DM_BUTTERWORTH),
      m_nWindowType(0),
      m_dSampleFreq(512.0),
      m_dPassRipple(0.3),
      m_dStopAtten(40.0),
      m_dFreq1(100.0),
      m_dFreq3(160.0),
      m_dFreq2(140.0),
      m_dFreq4(200.0),
      m_nIIROrder(24),
      m_nFIRLength(51),
      m_dReserved(10.0),
      m_nAxisReserved1(0),
      m_dMaxValue(0.0),
      m_dMinValue(0.0),
      m_nAxisReserved2(0),
      m_nReserved3(0),
      m_nReserved4(0),
      m_bFirstInput(true),
      m_nStateLength(0) {}

// Member-by-member copies: both objects then use the same filter and state.
// The shared owners keep them alive until the last user lets go.
FilterUser::FilterUser(const FilterUser& other) = default;
FilterUser& FilterUser::operator=(const FilterUser& other) = default;

FilterUser::~FilterUser() {
    DisposeFilterTemp();
    DisposeUserFilter();
}

void FilterUser::DisposeUserFilter() {
    m_filterOwner.reset();
    m_pFilter = nullptr;
}

void FilterUser::DisposeFilterTemp() {
    m_stateOwner.reset();
    m_pState = nullptr;
    m_nStateLength = 0;
}

void FilterUser::RebuildState(int length) {
    DisposeFilterTemp();
    if (length < 1) {
        return;
    }
    m_stateOwner.reset(new double[static_cast<std::size_t>(length)]());
    m_pState = m_stateOwner.get();
    m_nStateLength = length;
}

void FilterUser::PrepareState(int length) {
    if (m_bFirstInput) {
        RebuildState(length);
        m_bFirstInput = false;
        return;
    }
    // Without a restart the array held carries on, as long as it is long enough
    // for the loops; a shorter one (or none) is replaced by zeros.
    if (length >= 1 && (m_pState == nullptr || m_nStateLength < length)) {
        RebuildState(length);
    }
}

void FilterUser::setFilterParameter(int bandType, int designMethod, double f1, double f2, double f3,
                                    double f4, double sampleFreq, int orderOrLength,
                                    double passRipple, double stopAtten, double reserved) {
    m_nBandType = bandType;
    m_nDesignMethod = designMethod;
    m_dFreq1 = f1;
    m_dFreq2 = f2;
    m_dFreq3 = f3;
    m_dFreq4 = f4;
    m_dSampleFreq = sampleFreq;
    m_nOrder = orderOrLength;
    m_nFIRLength = orderOrLength;
    m_dPassRipple = passRipple;
    m_dStopAtten = stopAtten;
    m_dReserved = reserved;
    m_bFirstInput = true;
}

void FilterUser::setWindowType(int windowType) {
    m_nWindowType = windowType;
}

bool FilterUser::JudgeIsValidData() {
    if (m_pFilter == nullptr) {
        return false;
    }
    const auto fail = [this](const auto& message) {
        m_pFilter->m_bStable = false;
        m_pFilter->m_strError = rzf::msg::Text(message);
        return false;
    };

    const int method = m_nDesignMethod;
    const int band = m_nBandType;
    const double fs = m_dSampleFreq;
    const double f1 = m_dFreq1;
    const double f2 = m_dFreq2;
    const double f3 = m_dFreq3;
    const double f4 = m_dFreq4;

    if (method == DM_AVERAGE) {
        if (!(fs > 0.0) || !(f1 > 0.0)) {
            return fail(rzf::msg::kMustBePositive);
        }
        // The moving average keeps the conservative limit whatever the hardware.
        if (f1 > rzf::DesignFrequencyLimit(fs)) {
            return fail(rzf::msg::kFreqAboveFs256);
        }
        return true;
    }

    const bool iir = method < DM_WINDOW_FIR;
    if (iir && (m_dStopAtten < 20.0 || m_dStopAtten > 160.0)) {
        return fail(rzf::msg::kAttenRange);
    }
    if (!(fs > 0.0) || !(f1 > 0.0) || !(f2 > 0.0) || !(f3 > 0.0) || !(f4 > 0.0) ||
        !(m_dPassRipple > 0.0) || !(m_dStopAtten > 0.0)) {
        return fail(rzf::msg::kMustBePositive);
    }

    if (iir || method == DM_RESERVED) {
        switch (band) {
            case BAND_LOWPASS:
                if (f1 >= f2) {
                    return fail(rzf::msg::kLowpassEdges);
                }
                break;
            case BAND_HIGHPASS:
                if (f1 >= f2) {
                    return fail(rzf::msg::kHighpassEdges);
                }
                break;
            case BAND_BANDPASS:
                if (f1 >= f2) {
                    return fail(rzf::msg::kBandpassLower);
                }
                if (f3 >= f4) {
                    return fail(rzf::msg::kBandpassUpper);
                }
                if (f2 >= f3) {
                    return fail(rzf::msg::kPassUpperAboveLower);
                }
                break;
            case BAND_BANDSTOP:
                if (f1 >= f2) {
                    return fail(rzf::msg::kBandstopLower);
                }
                if (f3 >= f4) {
                    return fail(rzf::msg::kBandstopUpper);
                }
                if (f2 >= f3) {
                    return fail(rzf::msg::kStopUpperAboveLower);
                }
                break;
            default:
                break;
        }
    }
    // The window design uses f1 and f2 as its two cut-offs.
    if (!iir && band >= BAND_BANDPASS && f1 >= f2) {
        return fail(rzf::msg::kPassUpperAboveLower);
    }

    // Highest frequency the design will use.
    double fmax;
    if (iir) {
        fmax = band >= BAND_BANDPASS ? f4 : f2;
    } else {
        fmax = band >= BAND_BANDPASS ? f2 : f1;
    }
    if (HardWareConfig::g_bIs7306K_FirFunc) {
        if (fmax > fs * 0.5) {
            return fail(rzf::msg::kFreqAboveFs20);
        }
    } else if (fmax > rzf::DesignFrequencyLimit(fs)) {
        return fail(rzf::msg::kFreqAboveFs256);
    }
    return true;
}

void FilterUser::GetNewFilter(DESIGN_METHOD method) {
    DisposeUserFilter();

    ClassicFilter* filter = nullptr;
    switch (static_cast<int>(method)) {
        case DM_BUTTERWORTH:
            filter = new ButwcfFilter();
            break;
        case DM_CHEBYSHEV1:
            filter = new ChebyiFilter();
            break;
        case DM_CHEBYSHEV2:
            filter = new ChebyiiFilter();
            break;
        case DM_WINDOW_FIR: {
            auto* windowed = new WindowsFilter();
            switch (m_nWindowType) {
                case 0:
                case 1:
                case 2:
                case 4:
                case 5:
                    windowed->m_nWindowType = m_nWindowType;
                    break;
                default:
                    break;  // rectangular
            }
            filter = windowed;
            break;
        }
        case DM_AVERAGE:
            filter = new AverageFilter();
            break;
        default:
            return;  // no filter class for this method
    }
    m_filterOwner.reset(filter);
    m_pFilter = filter;
    m_pFilter->ResetDesign();
}

bool FilterUser::DesignFilter() {
    if (m_nDesignMethod >= DM_BUTTERWORTH && m_nDesignMethod <= DM_AVERAGE) {
        GetNewFilter(static_cast<DESIGN_METHOD>(m_nDesignMethod));
    } else {
        DisposeUserFilter();  // codes outside the enumeration build no filter either
    }
    // A method without a filter class has nothing to validate or design.
    if (m_pFilter == nullptr) {
        return false;
    }
    m_pFilter->m_bStable = true;
    if (!JudgeIsValidData()) {
        CRZPlatForm::RZTRACE(m_pFilter->m_strError.c_str());
        return false;
    }

    m_nIIROrder = 0;
    switch (m_nDesignMethod) {
        case DM_BUTTERWORTH:
        case DM_CHEBYSHEV1:
        case DM_CHEBYSHEV2: {
            auto* iir = static_cast<IIRFilter*>(m_pFilter);
            iir->m_dSampleFreq = m_dSampleFreq;
            iir->m_nBandType = m_nBandType;
            iir->m_dFreq1 = m_dFreq1;
            iir->m_dFreq2 = m_dFreq2;
            iir->m_dFreq3 = m_dFreq3;
            iir->m_dFreq4 = m_dFreq4;
            iir->m_dPassRipple = m_dPassRipple;
            iir->m_dStopAtten = m_dStopAtten;
            m_nIIROrder = iir->DesignIIR();
            break;
        }
        case DM_WINDOW_FIR:
            m_pFilter->m_dSampleFreq = m_dSampleFreq;
            m_pFilter->m_nBandType = m_nBandType;
            m_pFilter->m_dFreq1 = m_dFreq1;
            m_pFilter->m_dFreq2 = m_dFreq2;
            m_pFilter->DesignFIR(m_nFIRLength);
            break;
        case DM_AVERAGE:
            m_pFilter->DesignFIR(m_nFIRLength);
            break;
        default:
            break;
    }

    // Computes the response now so that it is ready for display.
    int count = 0;
    m_pFilter->GetAmplitudeResponse(&count);
    return true;
}

std::string FilterUser::GetErrorMessage() {
    if (m_pFilter == nullptr) {
        return std::string();
    }
    return m_pFilter->m_strError;
}

bool FilterUser::GetIsStability() {
    return m_pFilter != nullptr && m_pFilter->m_bStable;
}

void FilterUser::setFirstInputState(bool first) {
    m_bFirstInput = first;
}

void FilterUser::FilterData(float* in, float* out, int count) {
    if (m_pFilter == nullptr) {
        return;
    }
    double* b = m_pFilter->GetNumerator();
    double* a = m_pFilter->GetDenominator();

    switch (m_nDesignMethod) {
        case DM_BUTTERWORTH:
        case DM_CHEBYSHEV1:
        case DM_CHEBYSHEV2: {
            // Transposed direct form II; a[0] is taken as 1 and never read.
            const int order = m_nIIROrder;
            if (b == nullptr || a == nullptr || order < 1 || order >= m_pFilter->GetCoefCount()) {
                return;
            }
            PrepareState(order);
            if (count < 1 || in == nullptr || out == nullptr) {
                return;
            }
            double* s = m_pState;
            for (int i = 0; i < count; ++i) {
                const double x = in[i];
                const double y = b[0] * x + s[0];
                out[i] = static_cast<float>(y);
                for (int k = 1; k < order; ++k) {
                    s[k - 1] = b[k] * x + s[k] - a[k] * y;
                }
                s[order - 1] = b[order] * x - a[order] * y;
            }
            return;
        }
        case DM_AVERAGE: {
            if (b == nullptr) {
                return;
            }
            const int length = m_pFilter->GetCoefCount();
            PrepareState(length);
            if (length < 1 || count < 1 || in == nullptr || out == nullptr) {
                return;
            }
            double* s = m_pState;
            for (int i = 0; i < count; ++i) {
                rzf::ShiftDelayLine(s, length);
                s[0] = in[i];
                double y = 0.0;
                for (int k = 0; k < length; ++k) {
                    y += s[k] * b[length - 1 - k];
                }
                out[i] = static_cast<float>(y);
            }
            return;
        }
        default: {
            if (b == nullptr) {
                return;
            }
            if (m_bFirstInput && m_nFIRLength % 2 == 0) {
                // The window design makes the same adjustment to its tap count.
                ++m_nFIRLength;
            }
            const int length = m_nFIRLength;
            PrepareState(length);
            // Taps the filter actually holds: the window design keeps its count in
            // m_nLength, the other classes report theirs through GetCoefCount.
            int available = m_pFilter->m_nLength;
            const int reported = m_pFilter->GetCoefCount();
            if (reported > available) {
                available = reported;
            }
            if (length < 1 || length > available || count < 1 || in == nullptr || out == nullptr) {
                return;
            }
            double* s = m_pState;
            for (int i = 0; i < count; ++i) {
                rzf::ShiftDelayLine(s, length);
                s[0] = in[i];
                double y = 0.0;
                for (int k = 0; k < length; ++k) {
                    // Each product is rounded to single precision before summing.
                    y += static_cast<float>(b[length - 1 - k] * s[k]);
                }
                out[i] = static_cast<float>(y);
            }
            return;
        }
    }
}

void FilterUser::PingJunFilter(float* in, int count, float sampleFreq, float cutoff, float* out) {
    const float ratio = cutoff * 2.0f / sampleFreq;
    int taps = rzf::TruncToInt32(0.889892578125 / static_cast<double>(ratio));
    if (taps < 10) {
        taps = 10;
    }
    if (taps > 500) {
        taps = 500;
    }
    if (count < 1 || in == nullptr || out == nullptr) {
        return;
    }
    std::vector<float> coef(static_cast<std::size_t>(taps), 1.0f / static_cast<float>(taps));

    if (count > 3 * taps) {
        InputToFilter(in, count, coef.data(), taps, out);
    } else if (count > taps) {
        std::memmove(out, in, static_cast<std::size_t>(count) * sizeof(float));
        Fir_Filter(out, count, coef.data(), taps);
    } else {
        for (int i = 0; i < count; ++i) {
            out[i] = 0.0f;
        }
    }
}

void FilterUser::InputToFilter(float* in, int count, float* coef, int taps, float* out) {
    // The odd reflection needs more than 3 taps of input on each side.
    if (in == nullptr || out == nullptr || coef == nullptr || taps < 1 ||
        static_cast<std::int64_t>(count) <= 3 * static_cast<std::int64_t>(taps)) {
        return;
    }
    const int pad = 3 * taps - 3;
    // The padded record goes through Fir_Filter's int count; one that would not
    // fit is left alone rather than overflow.
    if (static_cast<std::int64_t>(count) + 2 * static_cast<std::int64_t>(pad) > INT32_MAX) {
        return;
    }
    const int total = count + 2 * pad;

    std::vector<float> ext(static_cast<std::size_t>(total));
    for (int j = 0; j < pad; ++j) {
        ext[j] = 2.0f * in[0] - in[pad - j];
    }
    for (int i = 0; i < count; ++i) {
        ext[pad + i] = in[i];
    }
    for (int j = 0; j < pad; ++j) {
        ext[pad + count + j] = 2.0f * in[count - 1] - in[count - 2 - j];
    }
    Fir_Filter(ext.data(), total, coef, taps);

    std::vector<float> rev(static_cast<std::size_t>(total));
    for (int i = 0; i < total; ++i) {
        rev[i] = ext[total - 1 - i];
    }
    Fir_Filter(rev.data(), total, coef, taps);

    for (int i = 0; i < count; ++i) {
        out[i] = rev[total - pad - 1 - i];
    }
}

void FilterUser::Fir_Filter(float* data, int count, float* coef, int taps) {
    if (data == nullptr || coef == nullptr || taps < 1 || count < 1) {
        return;
    }
    std::vector<double> d(static_cast<std::size_t>(taps), 0.0);
    for (int i = 0; i < count; ++i) {
        d[0] = data[i];
        double y = 0.0;
        for (int k = 0; k < taps; ++k) {
            y += static_cast<double>(coef[k]) * d[k];
        }
        data[i] = static_cast<float>(y);
        rzf::ShiftDelayLine(d.data(), taps);
    }
}

void FilterUser::getUnwrapedPhase() {
    if (m_pFilter == nullptr) {
        return;
    }
    double* p = m_pFilter->m_pPhase;
    const int n = m_pFilter->m_nRespCount;
    // Fewer than two points (n < 2 rather than n - 1 < 1, which overflows for
    // the most negative count).
    if (p == nullptr || n < 2) {
        return;
    }
    // The designs' phase is a one-argument arctangent: its jumps are of pi.
    const double half = rzf::kPi / 2.0;
    for (int i = 0; i < n - 1; ++i) {
        const double d = p[i] - p[i + 1];
        if (d > half) {
            for (int j = i + 1; j < n; ++j) {
                p[j] += rzf::kPi;
            }
        } else if (d < -half) {
            for (int j = i + 1; j < n; ++j) {
                p[j] -= rzf::kPi;
            }
        }
    }
}

void FilterUser::InitDes(FilterUser& target) {
    target.m_nBandType = m_nBandType;
    target.m_nDesignMethod = m_nDesignMethod;
    target.m_nWindowType = m_nWindowType;
    target.m_dSampleFreq = m_dSampleFreq;
    target.m_dPassRipple = m_dPassRipple;
    target.m_dStopAtten = m_dStopAtten;
    target.m_dFreq1 = m_dFreq1;
    target.m_dFreq2 = m_dFreq2;
    target.m_dFreq3 = m_dFreq3;
    target.m_dFreq4 = m_dFreq4;
    target.m_dReserved = m_dReserved;
    // The order argument doubles as the tap count, as in setFilterParameter.
    const int order = m_nOrder;
    target.m_nOrder = order;
    target.m_nFIRLength = order;
    target.m_bFirstInput = true;
    target.DesignFilter();
    if (target.m_pFilter != nullptr && target.m_pFilter->m_bStable) {
        target.GetMaxMin();
    }
}

void FilterUser::GetMaxMin() {
    m_nAxisReserved1 = 0;
    m_dMaxValue = 0.0;
    m_dMinValue = 0.0;
    m_nAxisReserved2 = 0;
    if (m_pFilter == nullptr) {
        return;
    }
    const double* amplitude = m_pFilter->m_pAmplitude;
    if (amplitude == nullptr) {
        m_pFilter->m_bStable = false;
        return;
    }
    const double* freq = m_pFilter->m_pFreqAxis;
    double lo = 0.0;
    double hi = 0.0;
    for (int i = 0; i < m_pFilter->m_nRespCount; ++i) {
        if (amplitude[i] < lo) {
            lo = amplitude[i];
        }
        if (freq != nullptr && freq[i] > hi) {
            hi = freq[i];
        }
    }

    // Truncate first, then round outwards to a multiple of 50.
    const std::int64_t low = rzf::TruncToInt32(lo);
    std::int64_t lowLimit = (low / 50) * 50;
    if (lowLimit != low) {
        lowLimit -= 50;
    }
    m_dMinValue = rzf::Wrap32(lowLimit);

    const std::int64_t high = rzf::TruncToInt32(hi);
    const std::int64_t steps = high / 50;
    m_dMaxValue = rzf::Wrap32(high % 50 == 0 ? steps * 50 : (steps + 1) * 50);
}
