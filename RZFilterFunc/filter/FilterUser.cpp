#include "RZFilterFunc/filter/FilterUser.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "RZFilterFunc/base/FilterTypes.h"
#include "RZFilterFunc/filter/DesignFactory.h"
#include "RZFilterFunc/filter/DesignRequestCheck.h"
#include "RZFilterFunc/filter/RecordSmoother.h"
#include "RZFilterFunc/filter/ResponseDisplay.h"
#include "RZFilterFunc/fir/FirBlockFilter.h"
#include "RZFilterFunc/fir/FirKernels.h"
#include "RZFilterFunc/iir/IIRFilter.h"
#include "RZFilterFunc/iir/IirKernel.h"
#include "RZFilterFunc/iir/PoleRadius.h"
#include "RZFilterFunc/iir/SectionDesign.h"
#include "RZFilterFunc/iir/SectionKernel.h"
#include "RZFilterFunc/platform/HardWareConfig.h"
#include "RZFilterFunc/platform/RZPlatForm.h"

namespace rzf {
namespace {

// Hands the specification to the filter and designs it; returns the IIR order
// (0 for the FIR methods).
int DesignFromSpec(const FilterUser& user, ClassicFilter& filter) {
    switch (user.m_nDesignMethod) {
        case DM_BUTTERWORTH:
        case DM_CHEBYSHEV1:
        case DM_CHEBYSHEV2: {
            auto& iir = static_cast<IIRFilter&>(filter);
            iir.m_dSampleFreq = user.m_dSampleFreq;
            iir.m_nBandType = user.m_nBandType;
            iir.m_dFreq1 = user.m_dFreq1;
            iir.m_dFreq2 = user.m_dFreq2;
            iir.m_dFreq3 = user.m_dFreq3;
            iir.m_dFreq4 = user.m_dFreq4;
            iir.m_dPassRipple = user.m_dPassRipple;
            iir.m_dStopAtten = user.m_dStopAtten;
            return iir.DesignIIR();
        }
        case DM_WINDOW_FIR:
            filter.m_dSampleFreq = user.m_dSampleFreq;
            filter.m_nBandType = user.m_nBandType;
            filter.m_dFreq1 = user.m_dFreq1;
            filter.m_dFreq2 = user.m_dFreq2;
            filter.DesignFIR(user.m_nFIRLength);
            return 0;
        case DM_AVERAGE:
            filter.DesignFIR(user.m_nFIRLength);
            return 0;
        default:
            return 0;
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
      m_nStateLength(0),
      m_nSectionCount(0),
      m_bSectionMode(false) {}

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
    const rzf::DesignRequest request = {m_nDesignMethod, m_nBandType,   m_dSampleFreq,
                                        m_dFreq1,        m_dFreq2,      m_dFreq3,
                                        m_dFreq4,        m_dPassRipple, m_dStopAtten};
    const rzf::RequestVerdict verdict =
        rzf::CheckDesignRequest(request, HardWareConfig::g_bIs7306K_FirFunc);
    if (!verdict.valid) {
        m_pFilter->m_bStable = false;
        m_pFilter->m_strError = std::string(verdict.message);
    }
    return verdict.valid;
}

void FilterUser::GetNewFilter(DESIGN_METHOD method) {
    DisposeUserFilter();
    std::unique_ptr<ClassicFilter> filter =
        rzf::MakeDesignFilter(static_cast<int>(method), m_nWindowType);
    if (filter == nullptr) {
        return;  // no filter class for this method
    }
    m_pFilter = filter.get();
    m_filterOwner = std::move(filter);
    m_pFilter->ResetDesign();
}

bool FilterUser::DesignFilter() {
    // Every design starts without sections; an IIR design makes its own.
    m_sectionOwner.reset();
    m_sectionStateOwner.reset();
    m_nSectionCount = 0;
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

    m_nIIROrder = 0;  // cleared first: a design that throws leaves no stale order
    m_nIIROrder = rzf::DesignFromSpec(*this, *m_pFilter);
    const bool iir = m_nDesignMethod == DM_BUTTERWORTH || m_nDesignMethod == DM_CHEBYSHEV1 ||
                     m_nDesignMethod == DM_CHEBYSHEV2;
    if (iir && m_nIIROrder > 0) {
        DesignSections();
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
        case DM_CHEBYSHEV2:
            if (m_bSectionMode) {
                FilterSections(in, out, count);
                return;
            }
            FilterIir(b, a, in, out, count);
            return;
        case DM_AVERAGE:
            FilterMovingAverage(b, in, out, count);
            return;
        default:
            FilterFir(b, in, out, count);
            return;
    }
}

void FilterUser::DesignSections() {
    rzf::SectionRequest request;
    request.family = m_nDesignMethod == DM_BUTTERWORTH  ? rzf::IirFamily::kButterworth
                     : m_nDesignMethod == DM_CHEBYSHEV1 ? rzf::IirFamily::kChebyshevI
                                                        : rzf::IirFamily::kChebyshevII;
    request.bandType = m_nBandType;
    request.filterOrder = m_nIIROrder;
    request.sampleFreq = m_dSampleFreq;
    request.freq1 = m_dFreq1;
    request.freq2 = m_dFreq2;
    request.freq3 = m_dFreq3;
    request.freq4 = m_dFreq4;
    request.stopAtten = m_dStopAtten;
    const rzf::SectionSet sections = rzf::DesignSections(request);
    const int count = sections.Count();
    if (count < 1) {
        return;
    }
    std::shared_ptr<double[]> rows(new double[sections.rows.size()]);
    std::copy(sections.rows.begin(), sections.rows.end(), rows.get());
    std::shared_ptr<double[]> state(
        new double[static_cast<std::size_t>(count) * rzf::kSectionStateWidth]);
    if (!rzf::InitSectionCascade(rows.get(), count, state.get())) {
        return;
    }
    m_sectionOwner = std::move(rows);
    m_sectionStateOwner = std::move(state);
    m_nSectionCount = count;
}

void FilterUser::FilterSections(float* in, float* out, int count) {
    if (m_nSectionCount < 1 || !m_sectionOwner || !m_sectionStateOwner) {
        return;
    }
    if (m_bFirstInput) {
        // Zeroes the state it has; the rows were checked at the design.
        rzf::InitSectionCascade(m_sectionOwner.get(), m_nSectionCount, m_sectionStateOwner.get());
        m_bFirstInput = false;
    }
    if (count < 1 || in == nullptr || out == nullptr) {
        return;
    }
    rzf::RunSectionCascade(m_sectionOwner.get(), m_nSectionCount, m_sectionStateOwner.get(), in,
                           out, count);
}

double FilterUser::GetPoleRadius() {
    if (m_pFilter == nullptr) {
        return -1.0;
    }
    if (auto* iir = dynamic_cast<IIRFilter*>(m_pFilter)) {
        return rzf::PoleRadius(iir->m_pDenominator, iir->m_nFilterOrder);
    }
    // FIR and moving-average designs have all their poles at the origin.
    return m_pFilter->GetNumerator() != nullptr ? 0.0 : -1.0;
}

int FilterUser::GetSectionCount() {
    return m_nSectionCount;
}

const double* FilterUser::GetSections() {
    return m_nSectionCount > 0 ? m_sectionOwner.get() : nullptr;
}

bool FilterUser::GetSectionMode() {
    return m_bSectionMode;
}

void FilterUser::setSectionMode(bool bSections) {
    if (bSections != m_bSectionMode) {
        m_bSectionMode = bSections;
        m_bFirstInput = true;
    }
}

void FilterUser::FilterIir(const double* b, const double* a, float* in, float* out, int count) {
    const int order = m_nIIROrder;
    if (order >= m_pFilter->GetCoefCount()) {
        return;  // beyond the coefficient arrays
    }
    rzf::kernels::IirKernel kernel;
    if (!kernel.Init(b, a, order)) {
        return;
    }
    PrepareState(order);
    if (count < 1 || in == nullptr || out == nullptr) {
        return;
    }
    kernel.Process(m_pState, in, out, count);
}

// Sum of s[k] b[L-1-k] over the delay line, newest sample first.
void FilterUser::FilterMovingAverage(const double* b, float* in, float* out, int count) {
    if (b == nullptr) {
        return;
    }
    const int length = m_pFilter->GetCoefCount();
    PrepareState(length);
    rzf::kernels::FirSumsKernel kernel;
    if (!kernel.Init(rzf::kernels::FirTerm::SampleTimesTap, b, length) || count < 1 ||
        in == nullptr || out == nullptr) {
        return;
    }
    rzf::FilterFloatBlock(kernel, length, m_firWindow, m_pState, in, out, count);
}

// Sum of b[L-1-k] s[k], each product rounded to single precision first.
void FilterUser::FilterFir(const double* b, float* in, float* out, int count) {
    if (b == nullptr) {
        return;
    }
    if (m_bFirstInput && m_nFIRLength % 2 == 0) {
        // The window design makes the same adjustment to its tap count.
        ++m_nFIRLength;
    }
    const int length = m_nFIRLength;
    // Taps the filter actually holds: the window design keeps its count in
    // m_nLength, the other classes report theirs through GetCoefCount.
    int available = m_pFilter->m_nLength;
    const int reported = m_pFilter->GetCoefCount();
    if (reported > available) {
        available = reported;
    }
    if (length > available) {
        // Nothing can be filtered with more taps than the design holds. The
        // restart (or the zeroed rebuild a too-short state would get) still
        // takes effect, without building a state of that length.
        if (m_bFirstInput || m_pState == nullptr || m_nStateLength < length) {
            DisposeFilterTemp();
            m_bFirstInput = false;
        }
        return;
    }
    PrepareState(length);
    rzf::kernels::FirSumsKernel kernel;
    if (!kernel.Init(rzf::kernels::FirTerm::TapTimesSampleSingle, b, length) || count < 1 ||
        in == nullptr || out == nullptr) {
        return;
    }
    rzf::FilterFloatBlock(kernel, length, m_firWindow, m_pState, in, out, count);
}

void FilterUser::PingJunFilter(float* in, int count, float sampleFreq, float cutoff, float* out) {
    const float ratio = cutoff * 2.0f / sampleFreq;
    rzf::SmoothRecord(in, count, rzf::SmootherTaps(ratio), out);
}

void FilterUser::InputToFilter(float* in, int count, float* coef, int taps, float* out) {
    rzf::FilterZeroPhase(in, count, coef, taps, out);
}

void FilterUser::Fir_Filter(float* data, int count, float* coef, int taps) {
    rzf::FilterInPlace(data, count, coef, taps);
}

void FilterUser::getUnwrapedPhase() {
    if (m_pFilter == nullptr) {
        return;
    }
    rzf::UnwrapPhase(m_pFilter->m_pPhase, m_pFilter->m_nRespCount);
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
    if (m_pFilter->m_pAmplitude == nullptr) {
        m_pFilter->m_bStable = false;
        return;
    }
    const rzf::AxisLimits limits = rzf::ComputeAxisLimits(
        m_pFilter->m_pAmplitude, m_pFilter->m_pFreqAxis, m_pFilter->m_nRespCount);
    m_dMinValue = limits.minValue;
    m_dMaxValue = limits.maxValue;
}
