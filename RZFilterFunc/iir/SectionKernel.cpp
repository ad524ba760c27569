#include "RZFilterFunc/iir/SectionKernel.h"

#include <cmath>
#include <cstddef>

namespace rzf {

namespace {

// Samples carried through all sections at a time, in double precision on the
// stack: each section then runs over a whole chunk with its state in locals.
constexpr int kChunk = 256;

// One section over n samples in place, its state in locals.
void RunSection(const double* r, double* s, double* buffer, int n) {
    const double b0 = r[0];
    const double b1 = r[1];
    const double b2 = r[2];
    const double a1 = r[4];
    const double a2 = r[5];
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

// Two consecutive sections over n >= 1 samples in place, the second one
// sample behind the first: the two recursions are independent within a step,
// so their latencies overlap. Each sample meets the same operations as in two
// RunSection passes.
void RunSectionPair(const double* r, double* s, double* buffer, int n) {
    const double p0 = r[0];
    const double p1 = r[1];
    const double p2 = r[2];
    const double pa1 = r[4];
    const double pa2 = r[5];
    const double q0 = r[kSectionRowWidth + 0];
    const double q1 = r[kSectionRowWidth + 1];
    const double q2 = r[kSectionRowWidth + 2];
    const double qa1 = r[kSectionRowWidth + 4];
    const double qa2 = r[kSectionRowWidth + 5];
    double ps1 = s[0];
    double ps2 = s[1];
    double qs1 = s[kSectionStateWidth + 0];
    double qs2 = s[kSectionStateWidth + 1];

    // First section's output waiting for the second.
    double pending;
    {
        const double x = buffer[0];
        const double y = p0 * x + ps1;
        ps1 = p1 * x + ps2 - pa1 * y;
        ps2 = p2 * x - pa2 * y;
        pending = y;
    }
    for (int i = 1; i < n; ++i) {
        const double x = buffer[i];
        const double y = p0 * x + ps1;
        ps1 = p1 * x + ps2 - pa1 * y;
        ps2 = p2 * x - pa2 * y;

        const double u = pending;
        const double v = q0 * u + qs1;
        qs1 = q1 * u + qs2 - qa1 * v;
        qs2 = q2 * u - qa2 * v;
        buffer[i - 1] = v;
        pending = y;
    }
    {
        const double u = pending;
        const double v = q0 * u + qs1;
        qs1 = q1 * u + qs2 - qa1 * v;
        qs2 = q2 * u - qa2 * v;
        buffer[n - 1] = v;
    }
    s[0] = ps1;
    s[1] = ps2;
    s[kSectionStateWidth + 0] = qs1;
    s[kSectionStateWidth + 1] = qs2;
}

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
        int j = 0;
        for (; j + 1 < sectionCount; j += 2) {
            RunSectionPair(rows + static_cast<std::size_t>(j) * kSectionRowWidth,
                           state + static_cast<std::size_t>(j) * kSectionStateWidth, buffer, n);
        }
        if (j < sectionCount) {
            RunSection(rows + static_cast<std::size_t>(j) * kSectionRowWidth,
                       state + static_cast<std::size_t>(j) * kSectionStateWidth, buffer, n);
        }
        for (int i = 0; i < n; ++i) {
            out[start + i] = static_cast<float>(buffer[i]);
        }
    }
}

}  // namespace rzf
