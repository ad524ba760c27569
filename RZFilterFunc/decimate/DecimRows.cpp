#include "RZFilterFunc/decimate/DecimRows.h"

#include <cstdint>
#include <cstring>

#include "RZFilterFunc/decimate/DecimSamples.h"

namespace rzf::decim {

namespace {

template <typename T>
void ReadTypedRows(const char* src, int chn, int nRows, float* rows, int lanes) {
    for (int r = 0; r < nRows; ++r) {
        const char* p = src + static_cast<long>(r) * chn * sizeof(T);
        float* row = rows + static_cast<long>(r) * lanes;
        for (int ch = 0; ch < chn; ++ch) {
            T v;
            std::memcpy(&v, p + ch * sizeof(T), sizeof v);
            row[ch] = static_cast<float>(v);
        }
    }
}

void ReadInt24Rows(const char* src, int chn, int nRows, float* rows, int lanes) {
    constexpr int kWidth = 3;
    for (int r = 0; r < nRows; ++r) {
        const char* p = src + static_cast<long>(r) * chn * kWidth;
        float* row = rows + static_cast<long>(r) * lanes;
        for (int ch = 0; ch < chn; ++ch) {
            row[ch] = ReadInt24Sample(p + ch * kWidth);
        }
    }
}

void WriteInt16(const float* src, long n, char* dst) {
    for (long i = 0; i < n; ++i) {
        const std::int16_t v = LowBits16(TruncToInt32(src[i]));
        std::memcpy(dst + i * sizeof v, &v, sizeof v);
    }
}

void WriteInt32(const float* src, long n, char* dst) {
    for (long i = 0; i < n; ++i) {
        const std::int32_t v = TruncToInt32(src[i]);
        std::memcpy(dst + i * sizeof v, &v, sizeof v);
    }
}

void WriteInt24(const float* src, long n, char* dst) {
    constexpr int kWidth = 3;
    for (long i = 0; i < n; ++i) {
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

void WriteRawSamples(const float* src, long n, int type, char* dst) {
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

}  // namespace rzf::decim
