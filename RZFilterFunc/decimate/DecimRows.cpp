#include "RZFilterFunc/decimate/DecimRows.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "RZFilterFunc/decimate/DecimSamples.h"
#include "RZFilterFunc/platform/CpuFeatures.h"
#include "RZFilterFunc/platform/UnrollHint.h"

namespace rzf::decim {

namespace baseline {

namespace {

// Samples converted per step: a fixed count the compiler turns into vector
// conversions.
constexpr int kConvertStep = 8;

template <typename T>
void ReadTypedRows(const char* src, int chn, int nRows, float* rows, int lanes) {
    if (chn == 1) {  // one sample per row: no per-row loop set-up
        for (int r = 0; r < nRows; ++r) {
            T v;
            std::memcpy(&v, src + static_cast<std::ptrdiff_t>(r) * sizeof(T), sizeof v);
            rows[static_cast<std::ptrdiff_t>(r) * lanes] = static_cast<float>(v);
        }
        return;
    }
    for (int r = 0; r < nRows; ++r) {
        const char* p = src + static_cast<std::ptrdiff_t>(r) * chn * sizeof(T);
        float* row = rows + static_cast<std::ptrdiff_t>(r) * lanes;
        int ch = 0;
        for (; ch + kConvertStep <= chn; ch += kConvertStep) {
            T v[kConvertStep];
            std::memcpy(v, p + ch * sizeof(T), sizeof v);
            RZF_UNROLL
            for (int k = 0; k < kConvertStep; ++k) {
                row[ch + k] = static_cast<float>(v[k]);
            }
        }
        for (; ch < chn; ++ch) {
            T v;
            std::memcpy(&v, p + ch * sizeof(T), sizeof v);
            row[ch] = static_cast<float>(v);
        }
    }
}

void ReadInt24Rows(const char* src, int chn, int nRows, float* rows, int lanes) {
    constexpr int kWidth = 3;
    for (int r = 0; r < nRows; ++r) {
        const char* p = src + static_cast<std::ptrdiff_t>(r) * chn * kWidth;
        float* row = rows + static_cast<std::ptrdiff_t>(r) * lanes;
        for (int ch = 0; ch < chn; ++ch) {
            row[ch] = ReadInt24Sample(p + ch * kWidth);
        }
    }
}

void WriteInt16(const float* src, std::ptrdiff_t n, char* dst) {
    std::ptrdiff_t i = 0;
    for (; i + kConvertStep <= n; i += kConvertStep) {
        std::int16_t v[kConvertStep];
        RZF_UNROLL
        for (int k = 0; k < kConvertStep; ++k) {
            v[k] = LowBits16(TruncToInt32(src[i + k]));
        }
        std::memcpy(dst + i * sizeof(std::int16_t), v, sizeof v);
    }
    for (; i < n; ++i) {
        const std::int16_t v = LowBits16(TruncToInt32(src[i]));
        std::memcpy(dst + i * sizeof v, &v, sizeof v);
    }
}

void WriteInt32(const float* src, std::ptrdiff_t n, char* dst) {
    std::ptrdiff_t i = 0;
    for (; i + kConvertStep <= n; i += kConvertStep) {
        std::int32_t v[kConvertStep];
        RZF_UNROLL
        for (int k = 0; k < kConvertStep; ++k) {
            v[k] = TruncToInt32(src[i + k]);
        }
        std::memcpy(dst + i * sizeof(std::int32_t), v, sizeof v);
    }
    for (; i < n; ++i) {
        const std::int32_t v = TruncToInt32(src[i]);
        std::memcpy(dst + i * sizeof v, &v, sizeof v);
    }
}

void WriteInt24(const float* src, std::ptrdiff_t n, char* dst) {
    constexpr int kWidth = 3;
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        WriteInt24Sample(src[i], dst + i * kWidth);
    }
}

}  // namespace

void ReadRawRows(const char* src, int type, int chn, int nRows, float* rows, int lanes) {
    switch (type) {
        case kRawInt16:
            ReadTypedRows<std::int16_t>(src, chn, nRows, rows, lanes);
            break;
        case kRawFloat32:
            ReadTypedRows<float>(src, chn, nRows, rows, lanes);
            break;
        case kRawInt32:
            ReadTypedRows<std::int32_t>(src, chn, nRows, rows, lanes);
            break;
        case kRawInt24:
            ReadInt24Rows(src, chn, nRows, rows, lanes);
            break;
        default:
            break;
    }
}

void WriteRawSamples(const float* src, std::ptrdiff_t n, int type, char* dst) {
    switch (type) {
        case kRawInt16:
            WriteInt16(src, n, dst);
            break;
        case kRawFloat32:
            std::memcpy(dst, src, static_cast<std::size_t>(n) * sizeof(float));
            break;
        case kRawInt32:
            WriteInt32(src, n, dst);
            break;
        case kRawInt24:
            WriteInt24(src, n, dst);
            break;
        default:
            break;
    }
}

}  // namespace baseline

void ReadRawRows(const char* src, int type, int chn, int nRows, float* rows, int lanes) {
#if defined(RZF_ISA_DISPATCH)
    if (platform::ActiveIsa() != platform::IsaLevel::Baseline) {
        avx2::ReadRawRows(src, type, chn, nRows, rows, lanes);
        return;
    }
#endif
    baseline::ReadRawRows(src, type, chn, nRows, rows, lanes);
}

void WriteRawSamples(const float* src, std::ptrdiff_t n, int type, char* dst) {
#if defined(RZF_ISA_DISPATCH)
    if (platform::ActiveIsa() != platform::IsaLevel::Baseline) {
        avx2::WriteRawSamples(src, n, type, dst);
        return;
    }
#endif
    baseline::WriteRawSamples(src, n, type, dst);
}

}  // namespace rzf::decim
