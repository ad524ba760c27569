#!/usr/bin/python3
"""Reference data for the second-order-section tests, computed with scipy.signal.

    /usr/bin/python3 gen_sections.py

writes sections.txt beside this script from scipy alone. When
library_sections.txt is present (the library's own sections, written by
rzf_iir_tests --gtest_also_run_disabled_tests
--gtest_filter=*DISABLED_WriteLibrarySections), it also writes sosfilt.txt:
scipy.signal.sosfilt of those sections over a fixed noise record. Rerunning the
script reproduces both files byte for byte.

sections.txt, one block per design:
  case <method> <band> <fs> <f1> <f2> <f3> <f4> <Ap> <As> <order> <points>
  mag <w> <|H(e^jw)|>       scipy's butter/cheby1/cheby2(..., output='sos')
  end
method 0 Butterworth, 1 Chebyshev I, 2 Chebyshev II; band 1 LP, 2 HP, 3 BP,
4 BS; edges ascending with the designer's roles. The scipy designs use the
library's order and pre-warped edges: Butterworth and Chebyshev I on the pass
edge(s) (Chebyshev I with the ripple that makes the stop edge meet As),
Chebyshev II on the stop edge(s) the prototype's selectivity lands on.

library_sections.txt / sosfilt.txt:
  case <index> <sections>
  den <a0> ... <aD>          the stored transfer function's denominator
  radius <max |pole|>        (sosfilt.txt only: numpy.roots of that denominator)
  sos <b0 b1 b2 a0 a1 a2>    one line per section, in cascade order
  y <output>                 (sosfilt.txt only: one line per sample)
  end
The input record is NOISE_COUNT samples of float32 uniform noise in [-1, 1)
from numpy's default_rng(NOISE_SEED), written to sosfilt.txt as 'x' lines.
"""

import math
import os

import numpy as np
from scipy import signal

from gen_reference import raw_order

HERE = os.path.dirname(os.path.abspath(__file__))
UNIFORM = 256
LOGSPACED = 128
NOISE_SEED = 20261124
NOISE_COUNT = 2000


def fmt(x):
    return repr(float(x))


def tan_pi(x):
    return math.tan(math.pi * x)


def selectivity(band, q):
    """The Chebyshev prototype's stop edge, relative to its pass edge (> 1)."""
    if band in (1, 2):
        return tan_pi(q[1]) / tan_pi(q[0])
    lo, hi = (q[1], q[2]) if band == 3 else (q[0], q[3])
    ulo, uhi = tan_pi(lo), tan_pi(hi)

    def nat(x):
        return abs((tan_pi(x) ** 2 - ulo * uhi) / ((uhi - ulo) * tan_pi(x)))

    if band == 3:
        return min(nat(q[0]), nat(q[3]))
    return min(1 / nat(q[1]), 1 / nat(q[2]))


def design_sos(method, band, fs, f, ap, as_):
    """scipy's sections at the library's order and edges; (order, sos)."""
    n = int(raw_order(method, band, fs, f, ap, as_) + 0.9)
    q = [e / fs for e in f]
    btype = {1: 'lowpass', 2: 'highpass', 3: 'bandpass', 4: 'bandstop'}[band]
    passes = {1: 2 * q[0], 2: 2 * q[1], 3: [2 * q[1], 2 * q[2]], 4: [2 * q[0], 2 * q[3]]}
    wp = passes[band]
    if method == 0:
        order = n if band <= 2 else 2 * n
        return order, signal.butter(n, wp, btype, output='sos')

    proto = 2 * ((n + 1) // 2)
    order = proto if band <= 2 else 2 * proto
    kc = selectivity(band, q)
    a = 10 ** (as_ / 20)
    if method == 1:
        eps = a / math.cosh(proto * math.acosh(kc))
        rp = 10 * math.log10(1 + eps * eps)
        return order, signal.cheby1(proto, rp, wp, btype, output='sos')

    if band == 1:
        ws = 2 * math.atan(kc * tan_pi(q[0])) / math.pi
    elif band == 2:
        ws = 2 * math.atan(tan_pi(q[1]) / kc) / math.pi
    else:
        w1 = tan_pi(q[1] if band == 3 else q[0])
        w2 = tan_pi(q[2] if band == 3 else q[3])
        bw, w0sq = w2 - w1, w1 * w2
        c = kc * bw if band == 3 else bw / kc
        root = math.sqrt(c * c + 4 * w0sq)
        ws = [2 * math.atan((root - c) / 2) / math.pi, 2 * math.atan((root + c) / 2) / math.pi]
    return order, signal.cheby2(proto, as_, ws, btype, output='sos')


# Designs whose single transfer function loses its poles outside the unit
# circle (a 360 Hz recording's routine band-pass, narrow bands far below fs/2),
# then a spread of orders, band types and methods, the low orders among them
# well conditioned.
CASES = [
    # method, band, fs, f1, f2, f3, f4, Ap, As
    (0, 3, 360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0),
    (1, 3, 360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0),
    (2, 3, 360.0, 0.1, 0.5, 40.0, 60.0, 1.0, 30.0),
    (0, 3, 10000.0, 90.0, 100.0, 110.0, 120.0, 1.0, 40.0),
    (0, 4, 10000.0, 9.0, 10.0, 11.0, 12.0, 1.0, 40.0),
    (0, 4, 10000.0, 9.0, 10.0, 11.0, 12.0, 0.5, 30.0),
    (1, 3, 10000.0, 45.0, 50.0, 52.0, 57.0, 1.0, 40.0),
    (2, 3, 10000.0, 45.0, 50.0, 52.0, 57.0, 1.0, 40.0),
    (1, 4, 10000.0, 9.0, 10.0, 11.0, 12.0, 1.0, 40.0),
    (2, 4, 10000.0, 9.0, 10.0, 11.0, 12.0, 1.0, 40.0),
    (0, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (0, 1, 48000.0, 3000.0, 6000.0, 7000.0, 8000.0, 0.5, 50.0),
    (0, 1, 10000.0, 20.0, 40.0, 60.0, 80.0, 1.0, 50.0),
    (0, 1, 1000.0, 100.0, 300.0, 350.0, 380.0, 1.0, 30.0),
    (0, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (0, 2, 10000.0, 10.0, 20.0, 60.0, 80.0, 1.0, 50.0),
    (0, 2, 1000.0, 50.0, 150.0, 200.0, 250.0, 1.0, 40.0),
    (0, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (0, 3, 2000.0, 200.0, 220.0, 260.0, 280.0, 0.5, 60.0),
    (0, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 30.0),
    (0, 4, 1000.0, 60.0, 150.0, 200.0, 350.0, 0.5, 40.0),
    (1, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (1, 1, 512.0, 50.0, 80.0, 160.0, 200.0, 0.5, 60.0),
    (1, 1, 10000.0, 20.0, 30.0, 40.0, 50.0, 0.5, 60.0),
    (1, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (1, 2, 10000.0, 20.0, 30.0, 40.0, 50.0, 0.5, 60.0),
    (1, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (1, 3, 8000.0, 980.0, 1000.0, 1100.0, 1120.0, 0.5, 70.0),
    (1, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (2, 1, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.3, 40.0),
    (2, 1, 10000.0, 20.0, 30.0, 40.0, 50.0, 0.5, 60.0),
    (2, 2, 1000.0, 100.0, 200.0, 300.0, 400.0, 0.5, 40.0),
    (2, 2, 10000.0, 20.0, 30.0, 40.0, 50.0, 0.5, 60.0),
    (2, 3, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (2, 3, 8000.0, 980.0, 1000.0, 1100.0, 1120.0, 0.5, 70.0),
    (2, 4, 1000.0, 100.0, 150.0, 250.0, 300.0, 1.0, 40.0),
    (2, 4, 1000.0, 60.0, 150.0, 200.0, 350.0, 0.5, 40.0),
]


def grid():
    """Uniform points up to pi and log-spaced ones down to 1e-5 pi."""
    uniform = np.pi * np.arange(UNIFORM) / UNIFORM
    logs = np.pi * np.logspace(-5, 0, LOGSPACED, endpoint=False)
    return np.concatenate([uniform, logs])


def write_sections(path):
    lines = []
    w = grid()
    for method, band, fs, f1, f2, f3, f4, ap, as_ in CASES:
        order, sos = design_sos(method, band, fs, [f1, f2, f3, f4], ap, as_)
        _, h = signal.sosfreqz(sos, worN=w)
        lines.append('case %d %d %s %s %s %s %s %s %s %d %d' %
                     (method, band, fmt(fs), fmt(f1), fmt(f2), fmt(f3), fmt(f4), fmt(ap),
                      fmt(as_), order, len(w)))
        for wi, hi in zip(w, h):
            lines.append('mag %s %s' % (fmt(wi), fmt(abs(hi))))
        lines.append('end')
    with open(path, 'w') as out:
        out.write('\n'.join(lines) + '\n')


def read_library_sections(path):
    cases = []
    with open(path) as src:
        for line in src:
            parts = line.split()
            if not parts:
                continue
            if parts[0] == 'case':
                cases.append((parts[1], [], []))
            elif parts[0] == 'den':
                cases[-1][1].extend(float(v) for v in parts[1:])
            elif parts[0] == 'sos':
                cases[-1][2].append([float(v) for v in parts[1:7]])
    return cases


def write_sosfilt(src, path):
    rng = np.random.default_rng(NOISE_SEED)
    x = rng.uniform(-1.0, 1.0, NOISE_COUNT).astype(np.float32)
    lines = ['x ' + ' '.join(fmt(v) for v in x)]
    for name, den, rows in read_library_sections(src):
        sos = np.array(rows)
        y = signal.sosfilt(sos, x.astype(np.float64))
        # Poles of the stored transfer function: roots of a0 z^D + ... + aD.
        radius = max(abs(np.roots(den)))
        lines.append('case %s %d' % (name, len(rows)))
        lines.append('den ' + ' '.join(fmt(v) for v in den))
        lines.append('radius ' + fmt(radius))
        for row in rows:
            lines.append('sos ' + ' '.join(fmt(v) for v in row))
        lines.extend('y ' + fmt(v) for v in y)
        lines.append('end')
    with open(path, 'w') as out:
        out.write('\n'.join(lines) + '\n')


if __name__ == '__main__':
    write_sections(os.path.join(HERE, 'sections.txt'))
    library = os.path.join(HERE, 'library_sections.txt')
    if os.path.exists(library):
        write_sosfilt(library, os.path.join(HERE, 'sosfilt.txt'))
