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

// Exact arithmetic on floating-point expansions: a value held as a sum of
// non-overlapping doubles in increasing magnitude, built with error-free
// transformations (no fused multiply-add). Only the truncation to the
// kExpansionTerms largest components rounds, far below double precision.
constexpr double kSplitter = 134217729.0;  // 2^27 + 1
constexpr int kExpansionTerms = 6;

using Expansion = std::vector<double>;

void TwoSum(double a, double b, double* sum, double* err) {
    const double s = a + b;
    const double bb = s - a;
    *sum = s;
    *err = (a - (s - bb)) + (b - bb);
}

void TwoProduct(double a, double b, double* product, double* err) {
    const double p = a * b;
    const double ca = kSplitter * a;
    const double ah = ca - (ca - a);
    const double al = a - ah;
    const double cb = kSplitter * b;
    const double bh = cb - (cb - b);
    const double bl = b - bh;
    *product = p;
    *err = ((ah * bh - p) + ah * bl + al * bh) + al * bl;
}

// e + b, exactly.
Expansion Grow(const Expansion& e, double b) {
    Expansion h;
    h.reserve(e.size() + 1);
    double q = b;
    for (double term : e) {
        double err;
        TwoSum(q, term, &q, &err);
        if (err != 0.0) {
            h.push_back(err);
        }
    }
    if (q != 0.0 || h.empty()) {
        h.push_back(q);
    }
    return h;
}

// e * b, exactly.
Expansion Scale(const Expansion& e, double b) {
    Expansion h;
    if (e.empty()) {
        return h;
    }
    h.reserve(2 * e.size());
    double q;
    double err;
    TwoProduct(e[0], b, &q, &err);
    if (err != 0.0) {
        h.push_back(err);
    }
    for (std::size_t i = 1; i < e.size(); ++i) {
        double big;
        double small;
        TwoProduct(e[i], b, &big, &small);
        TwoSum(q, small, &q, &err);
        if (err != 0.0) {
            h.push_back(err);
        }
        // |big| >= |q| here, so the fast two-sum is exact.
        const double sum = big + q;
        err = q - (sum - big);
        q = sum;
        if (err != 0.0) {
            h.push_back(err);
        }
    }
    if (q != 0.0 || h.empty()) {
        h.push_back(q);
    }
    return h;
}

// The same value with every component as large as it can be, so that each one
// holds the rest to within its own last bit and the largest components carry
// the precision (the components of a plain sum may hold a few bits each).
Expansion Compress(const Expansion& e) {
    const int m = static_cast<int>(e.size());
    if (m < 2) {
        return e;
    }
    std::vector<double> g(static_cast<std::size_t>(m));
    double q = e[static_cast<std::size_t>(m - 1)];
    int bottom = m - 1;
    for (int i = m - 2; i >= 0; --i) {
        const double small = e[static_cast<std::size_t>(i)];
        const double sum = q + small;
        const double err = small - (sum - q);
        if (err != 0.0) {
            g[static_cast<std::size_t>(bottom--)] = sum;
            q = err;
        } else {
            q = sum;
        }
    }
    g[static_cast<std::size_t>(bottom)] = q;
    Expansion h;
    for (int i = bottom + 1; i < m; ++i) {
        const double big = g[static_cast<std::size_t>(i)];
        const double sum = big + q;
        const double err = q - (sum - big);
        if (err != 0.0) {
            h.push_back(err);
        }
        q = sum;
    }
    h.push_back(q);
    return h;
}

// e + f, then cut to the largest components.
Expansion Sum(const Expansion& e, const Expansion& f) {
    Expansion h = e;
    for (double term : f) {
        h = Grow(h, term);
    }
    h = Compress(h);
    if (h.size() > static_cast<std::size_t>(kExpansionTerms)) {
        h.erase(h.begin(), h.end() - kExpansionTerms);
    }
    return h;
}

double Approximate(const Expansion& e) {
    double v = 0.0;
    for (double term : e) {
        v += term;
    }
    return v;
}

// Newton ratio p(z)/p'(z) of c[0] z^n + c[1] z^(n-1) + ... + c[n], with p and
// p' evaluated at the double point z almost exactly: next to clustered
// roots, plain double evaluation is all rounding.
std::complex<double> NewtonRatio(const double* c, int n, std::complex<double> z) {
    const double zr = z.real();
    const double zi = z.imag();
    Expansion pr{c[0]};
    Expansion pi{0.0};
    Expansion dr{0.0};
    Expansion di{0.0};
    for (int k = 1; k <= n; ++k) {
        // p' := p' z + p, then p := p z + c[k].
        Expansion ndr = Sum(Sum(Scale(dr, zr), Scale(di, -zi)), pr);
        Expansion ndi = Sum(Sum(Scale(dr, zi), Scale(di, zr)), pi);
        Expansion npr = Sum(Sum(Scale(pr, zr), Scale(pi, -zi)), Expansion{c[k]});
        Expansion npi = Sum(Scale(pr, zi), Scale(pi, zr));
        dr = std::move(ndr);
        di = std::move(ndi);
        pr = std::move(npr);
        pi = std::move(npi);
    }
    const std::complex<double> d(Approximate(dr), Approximate(di));
    if (d == std::complex<double>(0.0, 0.0)) {
        return {0.0, 0.0};
    }
    return std::complex<double>(Approximate(pr), Approximate(pi)) / d;
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
