#include "RZFilterFunc/iir/PoleRadius.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

#include "RZFilterFunc/iir/PolyMath.h"

namespace rzf {

namespace {

// Deflation threshold of the QR iteration: one unit of double rounding.
constexpr double kRootEps = 2.220446049250313e-16;
constexpr int kBalanceRadix = 2;
constexpr double kBalanceGain = 0.95;

// Scales rows and columns of the n x n matrix by powers of two until their
// off-diagonal norms are alike (the similarity keeps the eigenvalues and the
// Hessenberg form). The companion matrix of a polynomial with coefficients of
// very different sizes then loses far less to rounding in the QR iteration.
void Balance(double* const* h, int n) {
    const double radix = kBalanceRadix;
    const double radixSq = radix * radix;
    bool changed = true;
    while (changed) {
        changed = false;
        for (int i = 0; i < n; ++i) {
            double col = 0.0;
            double row = 0.0;
            for (int j = 0; j < n; ++j) {
                if (j != i) {
                    col += std::fabs(h[j][i]);
                    row += std::fabs(h[i][j]);
                }
            }
            if (col == 0.0 || row == 0.0) {
                continue;
            }
            double g = row / radix;
            double f = 1.0;
            const double total = col + row;
            while (col < g) {
                f *= radix;
                col *= radixSq;
            }
            g = row * radix;
            while (col > g) {
                f /= radix;
                col /= radixSq;
            }
            if ((col + row) / f < kBalanceGain * total) {
                changed = true;
                for (int j = 0; j < n; ++j) {
                    h[i][j] /= f;
                }
                for (int j = 0; j < n; ++j) {
                    h[j][i] *= f;
                }
            }
        }
    }
}

// Double-double numbers (an unevaluated sum hi + lo) from error-free
// transformations, without fused multiply-add.
struct DD {
    double hi;
    double lo;
};

constexpr double kSplitter = 134217729.0;  // 2^27 + 1

DD TwoSum(double a, double b) {
    const double s = a + b;
    const double bb = s - a;
    return {s, (a - (s - bb)) + (b - bb)};
}

DD TwoProduct(double a, double b) {
    const double p = a * b;
    const double ca = kSplitter * a;
    const double ah = ca - (ca - a);
    const double al = a - ah;
    const double cb = kSplitter * b;
    const double bh = cb - (cb - b);
    const double bl = b - bh;
    return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

DD Add(DD x, DD y) {
    const DD s = TwoSum(x.hi, y.hi);
    const DD t = TwoSum(s.lo, x.lo + y.lo);
    return TwoSum(s.hi, t.hi + t.lo);
}

DD Mul(DD x, DD y) {
    const DD p = TwoProduct(x.hi, y.hi);
    return TwoSum(p.hi, p.lo + (x.hi * y.lo + x.lo * y.hi));
}

DD Neg(DD x) {
    return {-x.hi, -x.lo};
}

struct ComplexDD {
    DD re;
    DD im;
};

ComplexDD Mul(ComplexDD x, ComplexDD y) {
    return {Add(Mul(x.re, y.re), Neg(Mul(x.im, y.im))), Add(Mul(x.re, y.im), Mul(x.im, y.re))};
}

ComplexDD Add(ComplexDD x, ComplexDD y) {
    return {Add(x.re, y.re), Add(x.im, y.im)};
}

std::complex<double> ToComplex(ComplexDD x) {
    return {x.re.hi + x.re.lo, x.im.hi + x.im.lo};
}

// Newton ratio p(z)/p'(z) of c[0] z^n + c[1] z^(n-1) + ... + c[n], both
// evaluated in double-double so that the ratio stays accurate next to
// clustered roots, where plain double evaluation is all rounding.
std::complex<double> NewtonRatio(const double* c, int n, std::complex<double> z) {
    const ComplexDD zz{{z.real(), 0.0}, {z.imag(), 0.0}};
    ComplexDD p{{c[0], 0.0}, {0.0, 0.0}};
    ComplexDD dp{{0.0, 0.0}, {0.0, 0.0}};
    for (int k = 1; k <= n; ++k) {
        dp = Add(Mul(dp, zz), p);
        p = Add(Mul(p, zz), ComplexDD{{c[k], 0.0}, {0.0, 0.0}});
    }
    const std::complex<double> d = ToComplex(dp);
    if (d == std::complex<double>(0.0, 0.0)) {
        return {0.0, 0.0};
    }
    return ToComplex(p) / d;
}

constexpr int kPolishSweeps = 200;
constexpr double kPolishTolerance = 1e-15;

// Aberth-Ehrlich iteration on all roots at once, from the QR estimates: the
// roots of the polynomial as stored, not of its rounding-perturbed companion
// matrix. Leaves the estimates as they are when the iteration does not settle.
void PolishRoots(const double* c, int n, std::vector<std::complex<double>>& roots) {
    std::vector<std::complex<double>> z = roots;
    for (int sweep = 0; sweep < kPolishSweeps; ++sweep) {
        bool settled = true;
        for (int k = 0; k < n; ++k) {
            const std::complex<double> ratio = NewtonRatio(c, n, z[k]);
            std::complex<double> repel(0.0, 0.0);
            for (int j = 0; j < n; ++j) {
                if (j != k && z[j] != z[k]) {
                    repel += 1.0 / (z[k] - z[j]);
                }
            }
            const std::complex<double> step = ratio / (1.0 - ratio * repel);
            if (!std::isfinite(step.real()) || !std::isfinite(step.imag())) {
                return;
            }
            z[k] -= step;
            if (std::abs(step) > kPolishTolerance * std::max(1.0, std::abs(z[k]))) {
                settled = false;
            }
        }
        if (settled) {
            roots = z;
            return;
        }
    }
}

}  // namespace

double PoleRadius(const double* a, int D) {
    if (a == nullptr || D < 1 || a[0] == 0.0) {
        return -1.0;
    }
    for (int j = 0; j <= D; ++j) {
        if (!std::isfinite(a[j])) {
            return -1.0;
        }
    }
    // Trailing zero coefficients are poles at the origin: they add nothing.
    int degree = D;
    while (degree > 0 && a[degree] == 0.0) {
        --degree;
    }
    if (degree == 0) {
        return 0.0;
    }
    // Companion matrix of z^n + (a1/a0) z^(n-1) + ... + an/a0, balanced.
    const int n = degree;
    std::vector<double> storage(static_cast<std::size_t>(n) * n, 0.0);
    std::vector<double*> rows(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        rows[static_cast<std::size_t>(i)] = storage.data() + static_cast<std::size_t>(i) * n;
    }
    for (int j = 0; j < n; ++j) {
        rows[0][j] = -a[j + 1] / a[0];
    }
    for (int i = 1; i < n; ++i) {
        rows[static_cast<std::size_t>(i)][i - 1] = 1.0;
    }
    Balance(rows.data(), n);
    std::vector<double> re(static_cast<std::size_t>(n), 0.0);
    std::vector<double> im(static_cast<std::size_t>(n), 0.0);
    if (HessenbergQR(rows.data(), n, re.data(), im.data(), kRootEps) != 1) {
        return -1.0;
    }
    std::vector<std::complex<double>> roots(static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j) {
        roots[static_cast<std::size_t>(j)] = {re[j], im[j]};
    }
    PolishRoots(a, n, roots);
    double largest = 0.0;
    for (const std::complex<double>& root : roots) {
        const double r = std::abs(root);
        if (!std::isfinite(r)) {
            return -1.0;
        }
        if (r > largest) {
            largest = r;
        }
    }
    return largest;
}

}  // namespace rzf
