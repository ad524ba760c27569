#include "RZFilterFunc/filter/RecordSmoother.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "RZFilterFunc/platform/NumericConvert.h"

namespace rzf {
namespace {

// The tap count is this constant over the normalised cut-off, within limits.
constexpr double kTapsTimesCutoff = 0.889892578125;
constexpr int kMinTaps = 10;
constexpr int kMaxTaps = 500;

// Shifts the history one place towards its end; the oldest value drops out.
void ShiftHistory(double* d, int length) {
    if (length > 1) {
        std::memmove(d + 1, d, static_cast<std::size_t>(length - 1) * sizeof(double));
    }
}

}  // namespace

int SmootherTaps(float cutoffRatio) {
    int taps = TruncToInt32(kTapsTimesCutoff / static_cast<double>(cutoffRatio));
    if (taps < kMinTaps) {
        taps = kMinTaps;
    }
    if (taps > kMaxTaps) {
        taps = kMaxTaps;
    }
    return taps;
}

void SmoothRecord(const float* in, int count, int taps, float* out) {
    if (count < 1 || in == nullptr || out == nullptr) {
        return;
    }
    std::vector<float> coef(static_cast<std::size_t>(taps), 1.0f / static_cast<float>(taps));
    if (count > 3 * taps) {
        FilterZeroPhase(in, count, coef.data(), taps, out);
    } else if (count > taps) {
        std::memmove(out, in, static_cast<std::size_t>(count) * sizeof(float));
        FilterInPlace(out, count, coef.data(), taps);
    } else {
        for (int i = 0; i < count; ++i) {
            out[i] = 0.0f;
        }
    }
}

void FilterZeroPhase(const float* in, int count, const float* coef, int taps, float* out) {
    // The odd reflection needs more than 3 taps of input on each side.
    if (in == nullptr || out == nullptr || coef == nullptr || taps < 1 ||
        static_cast<std::int64_t>(count) <= 3 * static_cast<std::int64_t>(taps)) {
        return;
    }
    const int pad = 3 * taps - 3;
    // The padded record goes through FilterInPlace's int count; one that would
    // not fit is left alone rather than overflow.
    if (static_cast<std::int64_t>(count) + 2 * static_cast<std::int64_t>(pad) > INT32_MAX) {
        return;
    }
    const int total = count + 2 * pad;
    const auto at = [](int i) { return static_cast<std::size_t>(i); };

    std::vector<float> ext(at(total));
    for (int j = 0; j < pad; ++j) {
        ext[at(j)] = 2.0f * in[0] - in[pad - j];
    }
    for (int i = 0; i < count; ++i) {
        ext[at(pad + i)] = in[i];
    }
    for (int j = 0; j < pad; ++j) {
        ext[at(pad + count + j)] = 2.0f * in[count - 1] - in[count - 2 - j];
    }
    FilterInPlace(ext.data(), total, coef, taps);

    std::vector<float> rev(at(total));
    for (int i = 0; i < total; ++i) {
        rev[at(i)] = ext[at(total - 1 - i)];
    }
    FilterInPlace(rev.data(), total, coef, taps);

    for (int i = 0; i < count; ++i) {
        out[i] = rev[at(total - pad - 1 - i)];
    }
}

void FilterInPlace(float* data, int count, const float* coef, int taps) {
    if (data == nullptr || coef == nullptr || taps < 1 || count < 1) {
        return;
    }
    std::vector<double> d(static_cast<std::size_t>(taps), 0.0);
    for (int i = 0; i < count; ++i) {
        d[0] = data[i];
        double y = 0.0;
        for (int k = 0; k < taps; ++k) {
            y += static_cast<double>(coef[k]) * d[static_cast<std::size_t>(k)];
        }
        data[i] = static_cast<float>(y);
        ShiftHistory(d.data(), taps);
    }
}

}  // namespace rzf
