#!/usr/bin/python3
"""Reference data for the IIR design tests, computed with scipy.signal/numpy.

Writes designs.txt beside this script. Rerunning it reproduces the file byte
for byte.

designs.txt, one block per design:
  case <method> <band> <fs> <f1> <f2> <f3> <f4> <Ap> <As> <order> <points>
  resp <i> <|H|> <dB to the peak of the 2048-point grid> <atan(Im H / Re H)>
  end
method 0 Butterworth, 1 Chebyshev I, 2 Chebyshev II; band 1 LP, 2 HP, 3 BP,
4 BS; edges in ascending order with the roles of the designer.  The response is
sampled at w = pi*i/2048.

The reference filters are scipy's own designs at the same order: Butterworth
with the pass edge(s), Chebyshev I with the pass edge(s) and the ripple that
makes the stop edge meet As, Chebyshev II with the stop edge(s) and As.
"""

import math
import os

import numpy as np
from scipy import signal

GRID = 2048
STEP = 16
HERE = os.path.dirname(os.path.abspath(__file__))


def fmt(x):
    return repr(float(x))


def selectivity(band, fs, f):
    """Prototype selectivity (>= 1) of the order estimate, warped edges."""
    t = [math.tan(math.pi * e / fs) for e in f]
    if band == 1:
        return t[1] / t[0]
    if band == 2:
        return t[1] / t[0]
    if band == 3:
        lo, hi = t[1], t[2]
        nat = [abs((s * s - lo * hi) / (s * (hi - lo))) for s in (t[0], t[3])]
        return min(nat)
    lo, hi = t[0], t[3]
    nat = [abs(s * (hi - lo) / (s * s - lo * hi)) for s in (t[1], t[2])]
    return min(nat)


def raw_order(method, band, fs, f, ap, as_):
    gp = 10 ** (ap / 10) - 1
    gs = 10 ** (as_ / 10) - 1
    nat = selectivity(band, fs, f)
    if method == 0:
        return math.log10(gs / gp) / (2 * math.log10(nat))
    return math.acosh(math.sqrt(gs / gp)) / math.acosh(nat)


def check_scipy_order(method, band, fs, f, ap, as_, raw):
    """scipy's order selection rounds the same quantity up (LP/HP/BP)."""
    if band == 4:
        return
    if band == 1:
        wp, ws = 2 * f[0] / fs, 2 * f[1] / fs
    elif band == 2:
        wp, ws = 2 * f[1] / fs, 2 * f[0] / fs
    else:
        wp, ws = [2 * f[1] / fs, 2 * f[2] / fs], [2 * f[0] / fs, 2 * f[3] / fs]
    fn = signal.buttord if method == 0 else signal.cheb1ord
    n, _ = fn(wp, ws, ap, as_)
    assert n == math.ceil(raw), (n, raw)


def design(method, band, fs, f, ap, as_):
    raw = raw_order(method, band, fs, f, ap, as_)
    check_scipy_order(method, band, fs, f, ap, as_, raw)
    n = int(raw + 0.9)
    q = [e / fs for e in f]
    btype = {1: 'lowpass', 2: 'highpass', 3: 'bandpass', 4: 'bandstop'}[band]
    # Pass edges the designer maps the prototype to.
    if band == 1:
        wp = 2 * q[0]
    elif band == 2:
        wp = 2 * q[1]
    elif band == 3:
        wp = [2 * q[1], 2 * q[2]]
    else:
        wp = [2 * q[0], 2 * q[3]]
    if method == 0:
        z, p, k = signal.butter(n, wp, btype, output='zpk')
        order = n if band <= 2 else 2 * n
        return n, order, (z, p, k)

    proto = 2 * ((n + 1) // 2)
    order = proto if band <= 2 else 2 * proto
    u = lambda x: math.tan(math.pi * x)
    if band in (1, 2):
        kc = u(q[1]) / u(q[0])
    elif band == 3:
        lo, hi = u(q[1]), u(q[2])
        kc = min(abs((u(s) ** 2 - lo * hi) / ((hi - lo) * u(s))) for s in (q[0], q[3]))
    else:
        lo, hi = u(q[0]), u(q[3])
        kc = min(abs(1 / ((u(s) ** 2 - lo * hi) / ((hi - lo) * u(s)))) for s in (q[1], q[2]))
    a = 10 ** (as_ / 20)
    if method == 1:
        eps = a / math.cosh(proto * math.acosh(kc))
        rp = 10 * math.log10(1 + eps * eps)
        z, p, k = signal.cheby1(proto, rp, wp, btype, output='zpk')
        return n, order, (z, p, k)

    # Chebyshev II: the stop edge(s) that the prototype's kc lands on.
    if band == 1:
        ws = 2 * math.atan(kc * u(q[0])) / math.pi
    elif band == 2:
        ws = 2 * math.atan(u(q[1]) / kc) / math.pi
    else:
        w1 = u(q[1] if band == 3 else q[0])
        w2 = u(q[2] if band == 3 else q[3])
        bw, w0sq = w2 - w1, w1 * w2
        c = kc * bw if band == 3 else bw / kc
        root = math.sqrt(c * c + 4 * w0sq)
        ws = [2 * math.atan((root - c) / 2) / math.pi, 2 * math.atan((root + c) / 2) / math.pi]
    z, p, k = signal.cheby2(proto, as_, ws, btype, output='zpk')
    return n, order, (z, p, k)


CASES = [
    # method, band, fs, f1, f2, f3, f4, Ap, As
    (0, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (0, 1, 512.0, 50.0, 120.0, 160.0, 200.0, 1.0, 30.0),
    (0, 1, 48000.0, 3000.0, 6000.0, 7000.0, 8000.0, 0.5, 50.0),
    (0, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (0, 2, 2000.0, 150.0, 300.0, 400.0, 500.0, 1.0, 50.0),
    (0, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (0, 3, 1000.0, 100.0, 140.0, 250.0, 300.0, 1.0, 30.0),
    (0, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 30.0),
    (0, 4, 1000.0, 60.0, 150.0, 200.0, 350.0, 0.5, 40.0),
    (1, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (1, 1, 512.0, 50.0, 80.0, 160.0, 200.0, 0.5, 60.0),
    (1, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (1, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (1, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (2, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (2, 1, 512.0, 50.0, 80.0, 160.0, 200.0, 0.5, 60.0),
    (2, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (2, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (2, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
]


def write_designs(path):
    lines = []
    for case in CASES:
        method, band, fs, f1, f2, f3, f4, ap, as_ = case
        n, order, (z, p, k) = design(method, band, fs, [f1, f2, f3, f4], ap, as_)
        w = np.pi * np.arange(GRID) / GRID
        _, h = signal.freqz_zpk(z, p, k, worN=w)
        mag = np.abs(h)
        peak = mag.max()
        idx = list(range(0, GRID, STEP))
        lines.append('case %d %d %s %s %s %s %s %s %s %d %d' %
                     (method, band, fmt(fs), fmt(f1), fmt(f2), fmt(f3), fmt(f4), fmt(ap),
                      fmt(as_), order, len(idx)))
        for i in idx:
            phase = math.atan(h[i].imag / h[i].real) if abs(h[i].real) >= 1e-40 else 0.0
            lines.append('resp %d %s %s %s' %
                         (i, fmt(mag[i]), fmt(db(mag[i] / peak)), fmt(phase)))
        lines.append('end')
    with open(path, 'w') as out:
        out.write('\n'.join(lines) + '\n')


def db(ratio):
    return 20 * math.log10(ratio) if ratio > 0 else -math.inf


if __name__ == '__main__':
    write_designs(os.path.join(HERE, 'designs.txt'))
