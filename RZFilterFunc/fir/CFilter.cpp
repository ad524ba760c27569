#include "RZFilterFunc/fir/CFilter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "RZFilterFunc/base/FilterTypes.h"
#include "RZFilterFunc/fir/CKaiserFilter.h"
#include "RZFilterFunc/fir/EngineIirKernel.h"
#include "RZFilterFunc/fir/FirHistoryWindow.h"
#include "RZFilterFunc/fir/FirKernels.h"
#include "RZFilterFunc/platform/NumericConvert.h"

namespace {

// Inverse of the 2^14 tap scale of the Kaiser design.
const double kInverseTapScale = 6.103515625e-5;

// Transition width between two edges as a fraction of Nyquist; the
// difference and division in single precision, the doubling in double.
double EdgeDistance(float a, float b, float fs) {
    const float diff = std::fabs(a - b) / fs;
    return 2.0 * static_cast<double>(diff);
}

std::shared_ptr<double[]> CopyArray(const double* src, int count) {
    const std::size_t size = static_cast<std::size_t>(count);
    std::shared_ptr<double[]> out(new double[size]);
    std::copy(src, src + size, out.get());
    return out;
}

int RunKaiserDesign(double*& taps, float fs, int bandType, float f1, float f2, int attenuationDb,
                    double transition) {
    // Only a positive, finite sampling frequency gives finite taps.
    if (!(fs > 0.0f) || !std::isfinite(fs)) {
        taps = nullptr;
        return 0;
    }
    CKaiserFilter design;
    design.m_nBandType = bandType;
    design.m_dFreq1 = f1;
    design.m_dFreq2 = f2;
    design.m_dAtten = static_cast<double>(attenuationDb);
    design.m_dTransition = transition;
    design.m_dNyquist = fs * 0.5;
    const int count = design.Design();
    if (count < 1 || design.m_pCoef == nullptr) {
        taps = nullptr;
        return 0;
    }
    taps = new double[static_cast<std::size_t>(count)];
    std::copy(design.m_pCoef, design.m_pCoef + count, taps);
    return count;
}

}  // namespace

CFilter::CFilter()
    : m_bPrepared(false),
      m_bResetPending(true),
      m_bIIR(false),
      m_nDelCount(0),
      m_nCoefCount(0),
      m_pCoefA(nullptr),
      m_pCoefB(nullptr),
      m_pState(nullptr),
      m_dLastOutput(0.0),
      m_nIndex(0) {}

CFilter::CFilter(const CFilter& other) = default;

CFilter& CFilter::operator=(const CFilter& other) = default;

CFilter::~CFilter() {
    // The owners release the arrays once the last copy is gone.
    m_pCoefA = nullptr;
    m_pCoefB = nullptr;
    m_pState = nullptr;
    m_bPrepared = false;
    m_bResetPending = true;
    m_nCoefCount = 0;
}

int CFilter::DesignFilter(double*& taps, float fs, int bandType, float f1, float f2,
                          int attenuationDb, double transition) {
    return RunKaiserDesign(taps, fs, bandType, f1, f2, attenuationDb, transition);
}

int CFilter::DesignFilter(double*& taps, float fs, int bandType, float f1, float f2, float f3,
                          float f4, int attenuationDb) {
    taps = nullptr;
    double transition = 0.0;
    switch (bandType) {
        case BAND_LOWPASS:
            if (!(f1 < f2)) {
                return 0;
            }
            transition = EdgeDistance(f2, f1, fs);
            break;
        case BAND_HIGHPASS:
            if (!(f2 < f1)) {
                return 0;
            }
            transition = EdgeDistance(f2, f1, fs);
            break;
        case BAND_BANDPASS:
            if (!(f2 < f1) || !(f4 < f3)) {
                return 0;
            }
            transition = std::min(EdgeDistance(f2, f1, fs), EdgeDistance(f3, f4, fs));
            break;
        case BAND_BANDSTOP:
            if (!(f1 < f2) || !(f3 < f4)) {
                return 0;
            }
            transition = std::min(EdgeDistance(f2, f1, fs), EdgeDistance(f3, f4, fs));
            break;
        default:
            break;  // transition 0: the design refuses it
    }
    return RunKaiserDesign(taps, fs, bandType, f1, f4, attenuationDb, transition);
}

void CFilter::SetFIRCoief(int count, double* taps) {
    // Copy first: the caller may pass this object's own taps.
    std::shared_ptr<double[]> coef;
    if (count >= 1 && taps != nullptr) {
        coef = CopyArray(taps, count);
    }
    Load(false, count, std::move(coef), nullptr);
}

void CFilter::SetIIRCoief(int count, double* a, double* b) {
    std::shared_ptr<double[]> coefA;
    std::shared_ptr<double[]> coefB;
    if (count >= 1 && a != nullptr && b != nullptr) {
        coefA = CopyArray(a, count);
        coefB = CopyArray(b, count);
    }
    Load(true, count, std::move(coefA), std::move(coefB));
}

// Replaces the loaded set; without coefficients the engine stays unprepared.
void CFilter::Load(bool iir, int count, std::shared_ptr<double[]> coefA,
                   std::shared_ptr<double[]> coefB) {
    m_coefAOwner = std::move(coefA);
    m_coefBOwner = std::move(coefB);
    m_stateOwner.reset();
    m_bResetPending = true;
    m_bIIR = iir;
    m_nCoefCount = count;
    m_bPrepared = static_cast<bool>(m_coefAOwner);
    if (m_bPrepared) {
        m_stateOwner.reset(new double[static_cast<std::size_t>(count)]());
    }
    m_pCoefA = m_coefAOwner.get();
    m_pCoefB = m_coefBOwner.get();
    m_pState = m_stateOwner.get();
}

void CFilter::Reset() {
    m_bResetPending = true;
    if (m_pState != nullptr && m_nCoefCount > 0) {
        std::fill(m_pState, m_pState + m_nCoefCount, 0.0);
    }
}

bool CFilter::IsPrePare() const {
    return m_bPrepared;
}

bool CFilter::IsIIRFilter() const {
    return m_bIIR;
}

int CFilter::GetDelCount() const {
    return m_nDelCount;
}

void CFilter::SetDelCount(int n) {
    m_nDelCount = n < 0 ? 0 : n;
}

// Without loaded taps a sample passes through unchanged.
float CFilter::FilterFIRData(float x) {
    const int n = m_nCoefCount;
    if (m_pCoefA == nullptr || m_pState == nullptr || n < 1) {
        return x;
    }
    double* state = m_pState;
    for (int i = n - 1; i >= 1; --i) {
        state[i] = state[i - 1];
    }
    state[0] = static_cast<double>(x);
    double acc = 0.0;
    for (int i = 0; i < n; ++i) {
        acc += m_pCoefA[n - 1 - i] * state[i];
    }
    m_nIndex = n;
    m_dLastOutput = acc;
    return static_cast<float>(acc * kInverseTapScale);
}

// Without loaded coefficients a sample passes through unchanged; a single
// coefficient pair has no state and acts as the gain b[0].
float CFilter::FilterIIRData(float x) {
    const int n = m_nCoefCount;
    if (m_pCoefA == nullptr || m_pCoefB == nullptr || m_pState == nullptr || n < 1) {
        return x;
    }
    const double* a = m_pCoefA;
    const double* b = m_pCoefB;
    double* state = m_pState;
    const double xd = static_cast<double>(x);
    if (n == 1) {
        const double y = xd * b[0];
        m_dLastOutput = y;
        return static_cast<float>(y);
    }
    const double y = xd * b[0] + state[0];
    m_dLastOutput = y;
    for (int i = 1; i <= n - 2; ++i) {
        state[i - 1] = xd * b[i] + state[i] - a[i] * y;
    }
    state[n - 2] = xd * b[n - 1] - a[n - 1] * y;
    m_nIndex = n - 1;
    return static_cast<float>(y);
}

namespace {

// Samples gathered from the strided buffer per kernel call.
constexpr int kGatherBlock = rzf::FirHistoryWindow::kBlock;

// Samples enter the engine as float and leave it truncated toward zero; a
// 16-bit sample keeps the low 16 bits of the 32-bit result.
inline float ToFloat(float v) {
    return v;
}
inline float ToFloat(short v) {
    return static_cast<float>(v);
}
inline float ToFloat(int v) {
    return static_cast<float>(v);
}
inline bool Contiguous(const float*, int stride) {
    return stride == 1;
}
template <typename T>
inline bool Contiguous(const T*, int) {
    return false;
}
inline float* AsFloats(float* data) {
    return data;
}
template <typename T>
inline float* AsFloats(T*) {
    return nullptr;  // never reached: only float buffers are contiguous here
}
inline void Store(float& sample, float y) {
    sample = y;
}
inline void Store(short& sample, float y) {
    sample = static_cast<short>(rzf::LowBits16(rzf::TruncToInt32(y)));
}
inline void Store(int& sample, float y) {
    sample = static_cast<int>(rzf::TruncToInt32(y));
}

// Strided samples through the IIR kernel, kGatherBlock at a time; returns the
// last output.
template <typename T>
double GatherIir(const rzf::kernels::EngineIirKernel& kernel, double* state, T* data, int count,
                 int stride, std::int64_t offset) {
    float block[kGatherBlock];
    std::int64_t index = offset;
    double y = 0.0;
    for (int pos = 0; pos < count;) {
        const int n = count - pos < kGatherBlock ? count - pos : kGatherBlock;
        std::int64_t at = index;
        for (int i = 0; i < n; ++i, at += stride) {
            block[i] = ToFloat(data[static_cast<std::size_t>(at)]);
        }
        y = kernel.Process(state, block, n);
        for (int i = 0; i < n; ++i, index += stride) {
            Store(data[static_cast<std::size_t>(index)], block[i]);
        }
        pos += n;
    }
    return y;
}

// Strided samples through the FIR sums kernel over the unrolled history
// window, kGatherBlock at a time; leaves the delay line as the sample-by-sample
// path would and returns the last (unscaled) sum.
template <typename T>
double GatherFir(const rzf::kernels::FirSumsKernel& kernel, rzf::FirHistoryWindow& window,
                 double* delay, T* data, int count, int stride, std::int64_t offset) {
    window.Begin(delay);
    std::int64_t index = offset;
    double acc = 0.0;
    for (int pos = 0; pos < count;) {
        const int n = count - pos < kGatherBlock ? count - pos : kGatherBlock;
        double* input = window.BlockInput();
        std::int64_t at = index;
        for (int i = 0; i < n; ++i, at += stride) {
            input[i] = static_cast<double>(ToFloat(data[static_cast<std::size_t>(at)]));
        }
        double* sums = window.Sums();
        kernel.Process(window.Window(), sums, n);
        for (int i = 0; i < n; ++i, index += stride) {
            Store(data[static_cast<std::size_t>(index)],
                  static_cast<float>(sums[i] * kInverseTapScale));
        }
        acc = sums[n - 1];
        pos += n;
        if (pos < count) {
            window.Advance(n);
        } else {
            window.End(delay, n);
        }
    }
    return acc;
}

}  // namespace

// Filters data[offset + i*stride], i = 0..count-1. An empty block is done at
// once; otherwise a null buffer or any index before the buffer's start is
// refused (nothing is changed then). Blocks are gathered, run through the
// kernels and scattered back; a stride of 0 (each result is the next input)
// and an engine without usable arrays go one sample at a time.
template <typename T>
bool CFilter::FilterBlock(T* data, int count, int stride, int offset) {
    if (!m_bPrepared) {
        return false;
    }
    if (count <= 0) {
        return true;
    }
    if (data == nullptr) {
        return false;
    }
    const std::int64_t last =
        static_cast<std::int64_t>(offset) + static_cast<std::int64_t>(count - 1) * stride;
    if (offset < 0 || last < 0) {
        return false;
    }

    if (stride != 0 && m_pState != nullptr) {
        if (m_bIIR) {
            rzf::kernels::EngineIirKernel kernel;
            if (kernel.Init(m_pCoefA, m_pCoefB, m_nCoefCount)) {
                // Contiguous float samples are filtered where they are.
                m_dLastOutput = Contiguous(data, stride)
                                    ? kernel.Process(m_pState, AsFloats(data) + offset, count)
                                    : GatherIir(kernel, m_pState, data, count, stride, offset);
                m_nIndex = m_nCoefCount - 1;
                return true;
            }
        } else {
            rzf::kernels::FirSumsKernel kernel;
            if (kernel.Init(rzf::kernels::FirTerm::TapTimesSample, m_pCoefA, m_nCoefCount)) {
                rzf::FirHistoryWindow window(m_firWindow, m_nCoefCount);
                m_dLastOutput = GatherFir(kernel, window, m_pState, data, count, stride, offset);
                m_nIndex = m_nCoefCount;
                return true;
            }
        }
    }

    std::int64_t index = offset;
    for (int i = 0; i < count; ++i, index += stride) {
        T& sample = data[static_cast<std::size_t>(index)];
        const float in = ToFloat(sample);
        Store(sample, m_bIIR ? FilterIIRData(in) : FilterFIRData(in));
    }
    return true;
}

bool CFilter::FilterData(float* data, int count, int stride, int offset) {
    return FilterBlock(data, count, stride, offset);
}

bool CFilter::FilterData(short* data, int count, int stride, int offset) {
    return FilterBlock(data, count, stride, offset);
}

bool CFilter::FilterData(int* data, int count, int stride, int offset) {
    return FilterBlock(data, count, stride, offset);
}
