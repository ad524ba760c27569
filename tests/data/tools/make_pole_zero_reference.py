#!/usr/bin/python3
"""Reference poles and zeros for rzfilter's pole-zero diagram, by numpy.

Usage: make_pole_zero_reference.py cheby2_bandpass_design.json > pole_zero_reference.json

The design file is `rzfilter design --json --no-files -m cheby2 -b bandpass
--fs 1000 --f1 50 --f2 80 --f3 120 --f4 150` as the tool printed it; its
second-order sections are taken as they are. Beside them: scipy's own sections
of two designs (a Chebyshev II low-pass and the ECG band-pass at 360 Hz, whose
zeros are double roots at +1 and -1) and a few rows made by hand (a first-order
section, a section without b0, real and repeated poles).

Each case lists its rows (b0 b1 b2 a0 a1 a2) and, per row, numpy.roots of
[b0, b1, b2] and of [a0, a1, a2] after leading zeros are dropped, with a
pole and a zero at the origin cancelled when a row has both.
"""

import json
import sys

import numpy as np
from scipy import signal


def roots(coefs):
    c = list(coefs)
    infinite = 0
    while c and c[0] == 0.0:
        c.pop(0)
        infinite += 1
    return [complex(r) for r in np.roots(c)] if len(c) > 1 else [], infinite


def case(name, rows, tolerance):
    poles, zeros, at_infinity = [], [], 0
    for row in rows:
        z, inf = roots(row[0:3])
        p, _ = roots(row[3:6])
        at_infinity += inf
        while 0j in z and 0j in p:
            z.remove(0j)
            p.remove(0j)
        poles += p
        zeros += z
    pair = lambda v: [[x.real, x.imag] for x in v]
    return {"name": name, "rows": [list(map(float, r)) for r in rows],
            "poles": pair(poles), "zeros": pair(zeros), "zeros_at_infinity": at_infinity,
            "tolerance": tolerance}


def main():
    with open(sys.argv[1]) as f:
        design = json.load(f)
    # Simple roots: numpy's companion-matrix eigenvalues and a quadratic
    # formula agree to a few units of rounding; 1e-9 leaves room.
    # Double roots move by about the square root of the rounding (1e-8).
    cases = [
        case("rzfilter cheby2 bandpass 50/80/120/150 Hz at 1 kHz", design["sections"], 1e-9),
        case("scipy cheby2 lowpass order 6", signal.cheby2(6, 40, 0.3, output="sos"), 1e-9),
        case("scipy butter bandpass 0.5-40 Hz at 360 Hz order 9",
             signal.butter(9, [0.5, 40.0], btype="bandpass", fs=360.0, output="sos"), 1e-6),
        case("hand-made rows",
             [[0.5, 0.25, 0.0, 1.0, -0.5, 0.0],     # first order: origin cancels
              [0.0, 1.0, 0.5, 1.0, -1.5, 0.56],     # no b0: a zero at infinity; real poles
              [1.0, -2.0, 1.0, 1.0, -1.8, 0.81],    # double zero at 1, double pole at 0.9
              [2.0, 0.0, 2.0, 1.0, 0.0, 0.25]],     # zeros at +-i, poles at +-0.5i
             1e-6),
    ]
    json.dump({"cases": cases}, sys.stdout, indent=1)
    sys.stdout.write("\n")


if __name__ == "__main__":
    main()
