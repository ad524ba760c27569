#include "RZFilterFunc/iir/PolyMath.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <vector>

namespace rzf {

namespace {

constexpr int kMaxSweeps = 2000;
// A Householder vector this small carries nothing to reflect.
constexpr double kTinyReflector = 1e-28;

}  // namespace

int FallingFactorial(int n, int k) {
    if (n < 0 || k < 0 || k > n) {
        return 0;
    }
    std::int64_t product = 1;
    for (int i = 0; i < k; ++i) {
        product *= static_cast<std::int64_t>(n - i);
        if (product > INT_MAX) {
            return INT_MAX;
        }
    }
    return static_cast<int>(product);
}

BilinearResult BilinearSection(const double* b, const double* a, int inCount, int outCount,
                               double* outB, double* outA) {
    int m = -1;
    for (int j = inCount - 1; j >= 0; --j) {
        if (std::fabs(b[j]) > 1e-10 || std::fabs(a[j]) > 1e-10) {
            m = j;
            break;
        }
    }
    if (m < 0) {
        return kBilinearNegligible;
    }

    // rows[k] holds (1 - z^-1)^k (1 + z^-1)^(m-k), m + 1 coefficients each.
    const int width = m + 1;
    std::vector<double> rows(static_cast<std::size_t>(width) * width, 0.0);
    auto at = [&](int k, int j) -> double& {
        return rows[static_cast<std::size_t>(k) * width + j];
    };
    at(0, 0) = 1.0;
    for (int j = 1; j <= m; ++j) {
        at(0, j) = at(0, j - 1) * (m - j + 1) / j;
    }
    for (int k = 1; k <= m; ++k) {
        at(k, 0) = 1.0;
        for (int j = 1; j <= m; ++j) {
            at(k, j) = at(k - 1, j) - at(k - 1, j - 1) - at(k, j - 1);
        }
    }

    std::vector<double> d(width, 0.0);
    std::vector<double> e(width, 0.0);
    for (int j = 0; j <= m; ++j) {
        double sb = 0.0;
        double sa = 0.0;
        for (int k = 0; k <= m; ++k) {
            sb += b[k] * at(k, j);
            sa += a[k] * at(k, j);
        }
        d[j] = sb;
        e[j] = sa;
    }
    if (e[0] == 0.0) {
        return kBilinearZeroLead;
    }
    const double e0 = e[0];
    for (int j = 0; j < outCount; ++j) {
        if (j <= m) {
            outB[j] = d[j] / e0;
            outA[j] = e[j] / e0;
        } else {
            outB[j] = 0.0;
            outA[j] = 0.0;
        }
    }
    return kBilinearDone;
}

void PolyMultiply(const double* a, int L, const double* b, int R, double* out) {
    if (L <= 0 || R <= 0) {
        return;
    }
    const int lenB = R - L + 1;
    std::vector<double> wa(a, a + L);
    std::vector<double> wb(lenB > 0 ? lenB : 0, 0.0);
    for (int i = 0; i < lenB; ++i) {
        wb[i] = b[i];
    }
    for (int j = 0; j < R; ++j) {
        double sum = 0.0;
        for (int i = 0; i < L; ++i) {
            const int t = j - i;
            if (t >= 0 && t < lenB) {
                sum += wa[i] * wb[t];
            }
        }
        out[j] = sum;
    }
}

int PolyRoots(const double* c, int n, double* re, double* im, double eps) {
    if (n <= 0) {
        return 1;
    }
    const double lead = c[n];
    if (lead == 0.0 || !std::isfinite(lead)) {
        return -1;
    }
    std::vector<double> storage(static_cast<std::size_t>(n) * n, 0.0);
    std::vector<double*> rows(n);
    for (int i = 0; i < n; ++i) {
        rows[i] = storage.data() + static_cast<std::size_t>(i) * n;
    }
    for (int j = 0; j < n; ++j) {
        rows[0][j] = -c[n - 1 - j] / lead;
    }
    for (int i = 1; i < n; ++i) {
        rows[i][i - 1] = 1.0;
    }
    return HessenbergQR(rows.data(), n, re, im, eps);
}

namespace {

// One implicit double-shift sweep over the unreduced block lo..hi (hi - lo >= 2),
// shifts from its trailing 2x2 block, bulge chased with 3-element reflections.
// Kept in one piece: the reflection, its row and its column updates share the
// same running values, and the operation order fixes the roots' last bits.
void FrancisSweep(double* const* h, int lo, int hi) {
    const double x = h[hi][hi];
    const double y = h[hi - 1][hi - 1];
    const double w = h[hi][hi - 1] * h[hi - 1][hi];

    // First column of (H - s1)(H - s2), written to avoid cancellation.
    const double z0 = h[lo][lo];
    const double r0 = x - z0;
    const double s0 = y - z0;
    double p = (r0 * s0 - w) + h[lo][lo + 1] * h[lo + 1][lo];
    double q = h[lo + 1][lo] * (h[lo + 1][lo + 1] - z0 - r0 - s0);
    double r = h[lo + 1][lo] * h[lo + 2][lo + 1];

    // Clear rounding left below the subdiagonal by the previous sweep.
    for (int i = lo + 2; i <= hi; ++i) {
        h[i][i - 2] = 0.0;
        if (i != lo + 2) {
            h[i][i - 3] = 0.0;
        }
    }

    for (int k = lo; k <= hi - 1; ++k) {
        const bool last = (k == hi - 1);
        if (k != lo) {
            p = h[k][k - 1];
            q = h[k + 1][k - 1];
            r = last ? 0.0 : h[k + 2][k - 1];
        }
        const double scale = std::fabs(p) + std::fabs(q) + std::fabs(r);
        if (scale <= kTinyReflector) {
            continue;
        }
        p /= scale;
        q /= scale;
        r /= scale;
        const double norm = std::copysign(std::sqrt(p * p + q * q + r * r), p);
        if (k != lo) {
            h[k][k - 1] = -norm * scale;
            h[k + 1][k - 1] = 0.0;
            if (!last) {
                h[k + 2][k - 1] = 0.0;
            }
        }
        // Reflection I - v v^T / (norm (norm + p)) with v = (p + norm, q, r).
        p += norm;
        const double vx = p / norm;
        const double vy = q / norm;
        const double vz = r / norm;
        q /= p;
        r /= p;
        for (int j = k; j <= hi; ++j) {
            double t = h[k][j] + q * h[k + 1][j];
            if (!last) {
                t += r * h[k + 2][j];
                h[k + 2][j] -= t * vz;
            }
            h[k + 1][j] -= t * vy;
            h[k][j] -= t * vx;
        }
        const int rowEnd = (hi < k + 3) ? hi : k + 3;
        for (int i = lo; i <= rowEnd; ++i) {
            double t = vx * h[i][k] + vy * h[i][k + 1];
            if (!last) {
                t += vz * h[i][k + 2];
                h[i][k + 2] -= t * r;
            }
            h[i][k + 1] -= t * q;
            h[i][k] -= t;
        }
    }
}

}  // namespace

int HessenbergQR(double* const* h, int n, double* re, double* im, double eps) {
    int hi = n - 1;
    int sweeps = 0;
    while (hi >= 0) {
        // Start of the unreduced block that ends at row hi.
        int lo = hi;
        while (lo > 0) {
            const double sub = std::fabs(h[lo][lo - 1]);
            if (sub <= eps * (std::fabs(h[lo - 1][lo - 1]) + std::fabs(h[lo][lo]))) {
                break;
            }
            --lo;
        }

        if (lo == hi) {
            re[hi] = h[hi][hi];
            im[hi] = 0.0;
            --hi;
            sweeps = 0;
            continue;
        }
        if (lo == hi - 1) {
            const double a = h[hi - 1][hi - 1];
            const double d = h[hi][hi];
            const double p = a + d;
            const double q = a * d - h[hi - 1][hi] * h[hi][hi - 1];
            const double disc = p * p - 4.0 * q;
            if (disc > 0.0) {
                const double sgn = (p > 0.0) ? 1.0 : -1.0;
                const double r1 = (p + sgn * std::sqrt(disc)) / 2.0;
                re[hi - 1] = r1;
                re[hi] = q / r1;
                im[hi - 1] = 0.0;
                im[hi] = 0.0;
            } else {
                const double half = std::sqrt(std::fabs(disc)) / 2.0;
                re[hi - 1] = p / 2.0;
                re[hi] = p / 2.0;
                im[hi - 1] = half;
                im[hi] = -half;
            }
            hi -= 2;
            sweeps = 0;
            continue;
        }
        if (sweeps >= kMaxSweeps) {
            return -1;
        }
        ++sweeps;
        FrancisSweep(h, lo, hi);
    }
    return 1;
}

}  // namespace rzf
