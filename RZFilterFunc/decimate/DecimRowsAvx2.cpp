// Built with AVX2 (no FMA); everything here stays in this file's namespaces so
// no out-of-line copy can be shared with the baseline build.
#include <immintrin.h>
#include <cstddef>

#include <cstdint>
#include <cstring>

#include "RZFilterFunc/decimate/DecimRows.h"

namespace rzf::decim::avx2 {

namespace {

constexpr int kStep = 8;  // samples per vector
// Raw sample type codes (those of base/SampleCodec.h, whose inline functions
// this file does not include, so that it shares no code with the baseline).
constexpr int kInt16Code = 0;
constexpr int kFloatCode = 1;
constexpr int kInt32Code = 2;

// Truncation toward zero; NaN and values outside the int32 range give
// INT32_MIN, as the vector conversion does.
std::int32_t Trunc32(float v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) {
        return INT32_MIN;
    }
    return static_cast<std::int32_t>(v);
}

template <typename T>
float ReadOne(const char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return static_cast<float>(v);
}

template <typename T>
__m256 Read8(const char* p) {
    if constexpr (sizeof(T) == 2) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(v));
    } else {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        return _mm256_cvtepi32_ps(v);
    }
}

template <typename T>
void ReadRows(const char* src, int chn, int nRows, float* rows, int lanes) {
    if (chn == 1) {  // one sample per row: no per-row loop set-up
        for (int r = 0; r < nRows; ++r) {
            rows[static_cast<std::ptrdiff_t>(r) * lanes] =
                ReadOne<T>(src + static_cast<std::ptrdiff_t>(r) * sizeof(T));
        }
        return;
    }
    for (int r = 0; r < nRows; ++r) {
        const char* p = src + static_cast<std::ptrdiff_t>(r) * chn * sizeof(T);
        float* row = rows + static_cast<std::ptrdiff_t>(r) * lanes;
        int ch = 0;
        for (; ch + kStep <= chn; ch += kStep) {
            _mm256_storeu_ps(row + ch, Read8<T>(p + ch * sizeof(T)));
        }
        for (; ch < chn; ++ch) {
            row[ch] = ReadOne<T>(p + ch * sizeof(T));
        }
    }
}

void ReadFloatRows(const char* src, int chn, int nRows, float* rows, int lanes) {
    for (int r = 0; r < nRows; ++r) {
        std::memcpy(rows + static_cast<std::ptrdiff_t>(r) * lanes,
                    src + static_cast<std::ptrdiff_t>(r) * chn * 4,
                    static_cast<std::size_t>(chn) * sizeof(float));
    }
}

void WriteInt32(const float* src, std::ptrdiff_t n, char* dst) {
    std::ptrdiff_t i = 0;
    for (; i + kStep <= n; i += kStep) {
        const __m256i v = _mm256_cvttps_epi32(_mm256_loadu_ps(src + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i * 4), v);
    }
    for (; i < n; ++i) {
        const std::int32_t v = Trunc32(src[i]);
        std::memcpy(dst + i * 4, &v, sizeof v);
    }
}

// Low 16 bits of each truncated value (wrap-around, no saturation).
void WriteInt16(const float* src, std::ptrdiff_t n, char* dst) {
    const __m128i lowHalves =
        _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1);
    std::ptrdiff_t i = 0;
    for (; i + kStep <= n; i += kStep) {
        const __m256i v = _mm256_cvttps_epi32(_mm256_loadu_ps(src + i));
        const __m128i lo = _mm_shuffle_epi8(_mm256_castsi256_si128(v), lowHalves);
        const __m128i hi = _mm_shuffle_epi8(_mm256_extracti128_si256(v, 1), lowHalves);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i * 2), _mm_unpacklo_epi64(lo, hi));
    }
    for (; i < n; ++i) {
        const std::uint16_t v =
            static_cast<std::uint16_t>(static_cast<std::uint32_t>(Trunc32(src[i])) & 0xFFFFu);
        std::memcpy(dst + i * 2, &v, sizeof v);
    }
}

}  // namespace

void ReadRawRows(const char* src, int type, int chn, int nRows, float* rows, int lanes) {
    switch (type) {
        case kInt16Code:
            ReadRows<std::int16_t>(src, chn, nRows, rows, lanes);
            break;
        case kFloatCode:
            ReadFloatRows(src, chn, nRows, rows, lanes);
            break;
        case kInt32Code:
            ReadRows<std::int32_t>(src, chn, nRows, rows, lanes);
            break;
        default:
            baseline::ReadRawRows(src, type, chn, nRows, rows, lanes);
            break;
    }
}

void WriteRawSamples(const float* src, std::ptrdiff_t n, int type, char* dst) {
    switch (type) {
        case kInt16Code:
            WriteInt16(src, n, dst);
            break;
        case kInt32Code:
            WriteInt32(src, n, dst);
            break;
        default:
            baseline::WriteRawSamples(src, n, type, dst);
            break;
    }
}

}  // namespace rzf::decim::avx2
