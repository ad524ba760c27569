#include "RZFilterFunc/iir/SectionKernel.h"

#include <cmath>
#include <cstddef>

namespace rzf {

namespace {

// Samples carried through all sections at a time, in double precision on the
// stack: each section then runs over a whole chunk with its state in locals.
constexpr int kChunk = 256;

}  // namespace

bool InitSectionCascade(const double* rows, int sectionCount, double* state) {
    if (rows == nullptr || state == nullptr || sectionCount < 1) {
        return false;
    }
    for (int j = 0; j < sectionCount; ++j) {
        const double* r = rows + static_cast<std::size_t>(j) * kSectionRowWidth;
        for (int k = 0; k < kSectionRowWidth; ++k) {
            if (!std::isfinite(r[k])) {
                return false;
            }
        }
        if (r[3] != 1.0) {
            return false;
        }
    }
    for (int k = 0; k < sectionCount * kSectionStateWidth; ++k) {
        state[k] = 0.0;
    }
    return true;
}

void RunSectionCascade(const double* rows, int sectionCount, double* state, const float* in,
                       float* out, int count) {
    double buffer[kChunk];
    for (int start = 0; start < count; start += kChunk) {
        const int n = (count - start < kChunk) ? count - start : kChunk;
        for (int i = 0; i < n; ++i) {
            buffer[i] = in[start + i];
        }
        for (int j = 0; j < sectionCount; ++j) {
            const double* r = rows + static_cast<std::size_t>(j) * kSectionRowWidth;
            const double b0 = r[0];
            const double b1 = r[1];
            const double b2 = r[2];
            const double a1 = r[4];
            const double a2 = r[5];
            double* s = state + static_cast<std::size_t>(j) * kSectionStateWidth;
            double s1 = s[0];
            double s2 = s[1];
            for (int i = 0; i < n; ++i) {
                const double x = buffer[i];
                const double y = b0 * x + s1;
                s1 = b1 * x + s2 - a1 * y;
                s2 = b2 * x - a2 * y;
                buffer[i] = y;
            }
            s[0] = s1;
            s[1] = s2;
        }
        for (int i = 0; i < n; ++i) {
            out[start + i] = static_cast<float>(buffer[i]);
        }
    }
}

}  // namespace rzf
