#!/usr/bin/python3
"""Bit-exact replay of the IIR designs, read by tests/iir/IirTest.cpp
(IirReference.DesignsMatchTheDoublePrecisionReplay).

Each design step (order estimate, prototype sections, band mapping with
pre-warping, bilinear transform, section product, frequency response) is
written out here in Python doubles with the same operation order as the
library's designs and the same C math library (math.tan, math.cos,
math.log10 and ** all call libm). The C++ designs must reproduce these numbers
bit for bit; gen_reference.py checks the same filters against scipy to a
tolerance.

Writes designs_exact.txt beside this script; rerunning it reproduces the file
byte for byte (on the same C library):
  case <method> <band> <fs> <f1> <f2> <f3> <f4> <Ap> <As> <order>
  coef <k> <b_k> <a_k>            (hex floats, k = 0 .. order + 2)
  resp <i> <freq> <dB> <phase>    (hex floats, every 97th of 2048 points)
  end
method 0 Butterworth, 1 Chebyshev I, 2 Chebyshev II; band 1 LP, 2 HP, 3 BP,
4 BS. A refused design has order -1 and no coef/resp lines.

Every expression below keeps the exact form that produced the committed file:
regrouping a product or replacing a power by repeated multiplication changes
the last bits.
"""

import math
import os

PI = 4 * math.atan(1.0)

LOWPASS, HIGHPASS, BANDPASS, BANDSTOP = 1, 2, 3, 4
BUTTERWORTH, CHEBYSHEV1, CHEBYSHEV2 = 0, 1, 2

COEF_CAPACITY = 200      # entries of the coefficient arrays
RESPONSE_POINTS = 2048   # points of the frequency response
RESPONSE_STRIDE = 97     # every 97th response point is written
ROUNDING_BIAS = 0.9      # added to the real order estimate before truncation
BILINEAR_NEGLIGIBLE = 1e-10
DESIGN_LIMIT_DIVISOR = 2.56


# --- numerical support -------------------------------------------------------

def falling_factorial(n, k):
    if n < 0 or k < 0 or k > n:
        return 0
    p = 1
    for i in range(k):
        p *= (n - i)
    return p


def binomial(i, j):
    return falling_factorial(i, j) / falling_factorial(j, j)


def poly_multiply(a, a_len, b, out_len):
    """Coefficients 0 .. out_len - 1 of a (a_len entries) times b."""
    b_len = out_len - a_len + 1
    out = []
    for j in range(out_len):
        s = 0.0
        for i in range(a_len):
            t = j - i
            if 0 <= t < b_len:
                s += a[i] * b[t]
        out.append(s)
    return out


def pascal_matrix(m):
    """Rows k of the bilinear substitution s = (1 - x)/(1 + x) for degree m."""
    P = [[0.0] * (m + 1) for _ in range(m + 1)]
    P[0][0] = 1.0
    for j in range(1, m + 1):
        P[0][j] = P[0][j - 1] * (m - j + 1) / j
    for k in range(1, m + 1):
        P[k][0] = 1.0
        for j in range(1, m + 1):
            P[k][j] = P[k - 1][j] - P[k - 1][j - 1] - P[k][j - 1]
    return P


def bilinear(b, a, count):
    """Digital section (count coefficients each, a0 = 1) of the analog b/a."""
    m = -1
    for j in range(len(b) - 1, -1, -1):
        if abs(b[j]) > BILINEAR_NEGLIGIBLE or abs(a[j]) > BILINEAR_NEGLIGIBLE:
            m = j
            break
    if m < 0:
        return None
    P = pascal_matrix(m)
    d = []
    e = []
    for j in range(m + 1):
        sb = 0.0
        sa = 0.0
        for k in range(m + 1):
            sb += b[k] * P[k][j]
            sa += a[k] * P[k][j]
        d.append(sb)
        e.append(sa)
    e0 = e[0]
    d = [x / e0 for x in d]
    e = [x / e0 for x in e]
    return (d + [0.0] * count)[:count], (e + [0.0] * count)[:count]


# --- design steps --------------------------------------------------------------

def estimate_order(edges, fs, ap, as_, band, formula):
    """Truncated order estimate and the design edges (the first two)."""
    e = list(edges)
    t1 = math.tan(PI * e[0] / fs)
    t2 = math.tan(PI * e[1] / fs)
    x1 = 10.0 ** (ap / 10.0) - 1.0
    x2 = 10.0 ** (as_ / 10.0) - 1.0
    k = t1 / t2
    if band == HIGHPASS:
        e[0] = e[1]
        e[1] = 0.0
    elif band == BANDPASS:
        t3 = math.tan(PI * e[2] / fs)
        t4 = math.tan(PI * e[3] / fs)

        def omega(t):
            return (t * t - t2 * t3) / (t * (t3 - t2))
        k = max(omega(t3) / omega(t4), omega(t2) / omega(t1))
        e[0] = e[1]
        e[1] = e[2]
    elif band == BANDSTOP:
        t3 = math.tan(PI * e[2] / fs)
        t4 = math.tan(PI * e[3] / fs)

        def omega(t):
            return t * (t4 - t1) / (t * t - t1 * t4)
        k = max(omega(t1) / omega(t2), omega(t4) / omega(t3))
        e[0] = e[1]
        e[1] = e[3]
    return int(formula(x1, x2, k)), e


def butterworth_estimate(x1, x2, k):
    return 0.5 * (math.log10(x1) - math.log10(x2)) / math.log10(k) + ROUNDING_BIAS


def chebyshev_estimate(x1, x2, k):
    return (math.log(math.sqrt(x2 / x1 - 1.0) + math.sqrt(x2 / x1))
            / math.log(math.sqrt(1.0 / k ** 2 - 1.0) + 1.0 / k) + ROUNDING_BIAS)


def map_band(b, a, band, w1, f2):
    """Analog section b/a mapped from the low-pass prototype to band."""
    m = max(j for j in range(len(b)) if b[j] != 0.0 or a[j] != 0.0)
    if band >= BANDPASS:
        w2 = math.tan(PI * f2)
        bw = w2 - w1
        w0sq = w1 * w2
        degree = 2 * m
    else:
        degree = m
    nb = [0.0] * (degree + 1)
    na = [0.0] * (degree + 1)
    if band == LOWPASS:
        for j in range(m + 1):
            nb[j] = b[j] / w1 ** j
            na[j] = a[j] / w1 ** j
    elif band == HIGHPASS:
        for j in range(m + 1):
            nb[j] = b[m - j] / w1 ** j
            na[j] = a[m - j] / w1 ** j
    elif band == BANDPASS:
        for i in range(m + 1):
            for j in range(i + 1):
                t = binomial(i, j) * w0sq ** (i - j) * bw ** (m - i)
                nb[2 * j + m - i] += b[i] * t
                na[2 * j + m - i] += a[i] * t
    else:
        for i in range(m + 1):
            for j in range(m - i + 1):
                t = binomial(m - i, j) * w0sq ** (m - i - j) * bw ** i
                nb[i + 2 * j] += b[i] * t
                na[i + 2 * j] += a[i] * t
    return nb, na


def transform_section(b, a, length, band, f1, f2):
    """Digital section of length coefficients for the normalised edges f1, f2."""
    nb, na = map_band(b, a, band, math.tan(PI * f1), f2)
    return bilinear(nb, na, length)


def combine_sections(nums, dens, count, length):
    """Product of the sections, COEF_CAPACITY entries each."""
    num = nums[0][:] + [0.0] * COEF_CAPACITY
    den = dens[0][:] + [0.0] * COEF_CAPACITY
    for i in range(count - 1):
        product_len = (i + 2) * (length - 1) + 1
        num = poly_multiply(nums[i + 1], length, num, product_len) + [0.0] * COEF_CAPACITY
        den = poly_multiply(dens[i + 1], length, den, product_len) + [0.0] * COEF_CAPACITY
    return num[:COEF_CAPACITY], den[:COEF_CAPACITY]


def section_length(band):
    return 5 if band >= BANDPASS else 3


# --- Butterworth -----------------------------------------------------------------

def butterworth_prototype(order, k):
    """Analog section k (1-based) of the order-N Butterworth low-pass."""
    an = [0.0] * 10
    ad = [0.0] * 10
    an[0] = 1.0
    ad[0] = 1.0
    if k - (order + 1) * 0.5 == 0.0:
        ad[1] = 1.0
    else:
        ad[1] = -2.0 * math.cos((order + 2 * k - 1) * PI / (2 * order))
        ad[2] = 1.0
    return an, ad


def butterworth(band, fs, edges, ap, as_):
    limit = fs / DESIGN_LIMIT_DIVISOR
    if band == LOWPASS and edges[1] > limit:
        return -1, None
    if band == BANDSTOP and edges[3] > limit:
        return -1, None
    lower_pass_edge = edges[0]
    n, e = estimate_order(edges, fs, ap, as_, band, butterworth_estimate)
    if band == BANDSTOP:
        e[0] = lower_pass_edge
    if n < 3 or n > (10 if band <= HIGHPASS else 15):
        return -1, None
    order = n if band <= HIGHPASS else 2 * n
    f1 = e[0] / fs
    f2 = e[1] / fs
    count = (n + 1) // 2
    length = section_length(band)
    nums = []
    dens = []
    for k in range(1, count + 1):
        an, ad = butterworth_prototype(n, k)
        dn, dd = transform_section(an, ad, length, band, f1, f2)
        dd[0] = 1.0
        nums.append(dn)
        dens.append(dd)
    return order, combine_sections(nums, dens, count, length)


# --- Chebyshev I and II ------------------------------------------------------------

def selectivity(band, q, lo, hi):
    """kc of the normalised edges q (fractions of fs)."""
    def u(x):
        return math.tan(PI * x)
    if band <= HIGHPASS:
        return u(q[1]) / u(q[0])
    ulo = u(lo)
    uhi = u(hi)
    if band == BANDPASS:
        return min(abs((u(q[0]) * u(q[0]) - ulo * uhi) / ((uhi - ulo) * u(q[0]))),
                   abs((u(q[3]) * u(q[3]) - ulo * uhi) / ((uhi - ulo) * u(q[3]))))
    return min(abs(1 / ((u(q[1]) * u(q[1]) - ulo * uhi) / ((uhi - ulo) * u(q[1])))),
               abs(1 / ((u(q[2]) * u(q[2]) - ulo * uhi) / ((uhi - ulo) * u(q[2])))))


def chebyshev1_prototype(i, nn, kc, stop_gain):
    th = (2 * i + 1) * PI / (2 * nn)
    n = [0.0] * 5
    d = [0.0] * 5
    eps = stop_gain / math.cosh(nn * math.log(math.sqrt(kc * kc - 1.0) + kc))
    g = math.sqrt(eps * eps + 1.0)
    beta = ((g + 1.0) / eps) ** (1.0 / nn)
    sg = math.sin(th) * (1.0 / beta - beta) / 2.0
    om = math.cos(th) * (1.0 / beta + beta) / 2.0
    p = sg * sg + om * om
    d[0] = p
    d[1] = -2.0 * sg
    d[2] = 1.0
    n[0] = p
    if i == 0:
        n[0] = p / g
    return n, d


def chebyshev2_prototype(i, nn, kc, stop_gain):
    th = (2 * i + 1) * PI / (2 * nn)
    n = [0.0] * 5
    d = [0.0] * 5
    r = (stop_gain + math.sqrt(stop_gain * stop_gain - 1.0)) ** (1.0 / nn)
    sg = math.sin(th) * (1.0 / r - r) / 2.0
    om = (1.0 / r + r) / 2.0 * math.cos(th)
    dd = sg * sg + om * om
    pr = sg * kc / dd
    pim = -kc * om / dd
    z = (kc / math.cos(th)) ** 2
    p = pr * pr + pim * pim
    n[0] = z * p
    n[2] = p
    d[0] = z * p
    d[1] = -2.0 * pr * z
    d[2] = z
    return n, d


def chebyshev(kind, band, fs, edges, ap, as_):
    n, _ = estimate_order(edges, fs, ap, as_, band, chebyshev_estimate)
    if n < 3 or n > (10 if band <= HIGHPASS else 12):
        return -1, None
    degree = 2 if band < BANDPASS else 4
    count = (n + 1) // 2 if n % 2 else n // 2
    order = count * degree
    length = section_length(band)
    q = [x / fs for x in edges]
    lo = q[0] if band in (LOWPASS, BANDSTOP) else q[1]
    hi = q[2] if band <= BANDPASS else q[3]
    kc = selectivity(band, q, lo, hi)
    stop_gain = 10.0 ** (as_ / 20.0)
    prototype = chebyshev1_prototype if kind == CHEBYSHEV1 else chebyshev2_prototype
    nums = []
    dens = []
    for i in range(count):
        an, ad = prototype(i, 2 * count, kc, stop_gain)
        dn, dd = transform_section(an, ad, length, band, lo, hi)
        nums.append(dn)
        dens.append(dd)
    return order, combine_sections(nums, dens, count, length)


# --- frequency response ------------------------------------------------------------

def response(order, num, den, fs, n=RESPONSE_POINTS):
    """Frequency axis, amplitude (dB to the peak) and phase on n points."""
    amp = []
    ph = []
    fa = []
    for i in range(n):
        w = PI * i / n
        rb = ib = ra = ia = 0.0
        for k in range(order + 1):
            c = math.cos(k * w)
            s = math.sin(k * w)
            rb += num[k] * c
            ib -= num[k] * s
            ra += den[k] * c
            ia -= den[k] * s
        m = ra * ra + ia * ia
        rh = (rb * ra + ib * ia) / m
        ih = (ib * ra - rb * ia) / m
        fa.append(i * (fs * 0.5 / n))
        amp.append(math.sqrt(rh * rh + ih * ih))
        ph.append(0.0 if abs(rh) < 1e-40 else math.atan(ih / rh))
    peak = max(amp)
    amp = [x / peak for x in amp]
    for i in range(n):
        if amp[i] == 0.0:
            amp[i] = amp[i + 1] if i + 1 < n else amp[i - 1]
    amp = [20.0 * math.log10(x) for x in amp]
    return fa, amp, ph


# --- output ----------------------------------------------------------------------

CASES = [  # method, band, fs, f1, f2, f3, f4, Ap, As
    (0, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (0, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (0, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (0, 3, 1000.0, 100.0, 140.0, 250.0, 300.0, 1.0, 30.0),
    (0, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 30.0),
    (0, 1, 512.0, 100.0, 140.0, 160.0, 200.0, 0.3, 40.0),
    (1, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (1, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (1, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (1, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 30.0),
    (2, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (2, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (2, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (2, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 30.0),
    (0, 1, 512.0, 50.0, 120.0, 160.0, 200.0, 1.0, 30.0),
    (0, 1, 48000.0, 3000.0, 6000.0, 7000.0, 8000.0, 0.5, 50.0),
    (0, 2, 2000.0, 150.0, 300.0, 400.0, 500.0, 1.0, 50.0),
    (0, 4, 1000.0, 60.0, 150.0, 200.0, 350.0, 0.5, 40.0),
    (1, 1, 512.0, 50.0, 80.0, 160.0, 200.0, 0.5, 60.0),
    (1, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (2, 1, 512.0, 50.0, 80.0, 160.0, 200.0, 0.5, 60.0),
    (2, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
]


def design(method, band, fs, edges, ap, as_):
    if method == BUTTERWORTH:
        return butterworth(band, fs, edges, ap, as_)
    return chebyshev(method, band, fs, edges, ap, as_)


def case_lines(method, band, fs, f1, f2, f3, f4, ap, as_):
    order, coefs = design(method, band, fs, [f1, f2, f3, f4], ap, as_)
    lines = ['case %d %d %r %r %r %r %r %r %r %d'
             % (method, band, fs, f1, f2, f3, f4, ap, as_, order)]
    if order > 0:
        num, den = coefs
        for k in range(order + 3):
            lines.append('coef %d %s %s' % (k, num[k].hex(), den[k].hex()))
        fa, amp, ph = response(order, num, den, fs)
        for i in range(0, RESPONSE_POINTS, RESPONSE_STRIDE):
            lines.append('resp %d %s %s %s' % (i, fa[i].hex(), amp[i].hex(), ph[i].hex()))
    lines.append('end')
    return lines


def main():
    out = []
    for case in CASES:
        out.extend(case_lines(*case))
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'designs_exact.txt')
    with open(path, 'w') as f:
        f.write('\n'.join(out) + '\n')


if __name__ == '__main__':
    main()
