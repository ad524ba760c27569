#!/usr/bin/python3
"""Reference values for the FIR tests, computed with scipy.signal.

Run from anywhere: /usr/bin/python3 gen_reference.py
Writes windows.txt, window_designs.txt, responses.txt and kaiser_designs.txt beside this
script. Each line holds whitespace-separated fields;
the C++ tests describe the layout of each file.
"""

import os

import numpy as np
from scipy import signal
from scipy.signal import windows

HERE = os.path.dirname(os.path.abspath(__file__))
FLAT_TOP = [0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368]


def fmt(values):
    return " ".join("%.17g" % v for v in values)


def window(code, n, beta=0.0):
    """Symmetric window of length n for a library window code."""
    if code == 0:
        return windows.boxcar(n)
    if code == 1:  # Hann without its zero end points
        return windows.hann(n + 2, sym=True)[1:-1]
    if code == 2:
        return windows.hamming(n, sym=True)
    if code == 3:
        return windows.general_cosine(n, FLAT_TOP, sym=True)
    if code == 4:
        return windows.triang(n, sym=True)
    if code == 5:
        return windows.blackman(n, sym=True)
    if code == 8:
        return windows.hann(n, sym=True)
    if code == 9:
        return windows.kaiser(n, beta, sym=True)
    raise ValueError(code)


def write_windows():
    # code n beta values...
    lines = []
    for code in (1, 2, 3, 4, 5, 8):
        for n in (2, 3, 4, 7, 8, 33, 64, 101):
            lines.append("%d %d 0 %s" % (code, n, fmt(window(code, n))))
    for beta in (0.0, 2.5, 5.65326, 8.6):
        for n in (2, 5, 16, 51, 128):
            lines.append("9 %d %.17g %s" % (n, beta, fmt(window(9, n, beta))))
    with open(os.path.join(HERE, "windows.txt"), "w") as f:
        f.write("\n".join(lines) + "\n")


def ideal(numtaps, band, w1, w2):
    """Unwindowed ideal response (firwin with a rectangular window)."""
    if band == 1:
        return signal.firwin(numtaps, w1, window="boxcar", scale=False)
    if band == 2:
        return signal.firwin(numtaps, w1, window="boxcar", pass_zero=False, scale=False)
    if band == 3:
        return signal.firwin(numtaps, [w1, w2], window="boxcar", pass_zero=False, scale=False)
    return signal.firwin(numtaps, [w1, w2], window="boxcar", pass_zero=True, scale=False)


FIRWIN_NAMES = {0: "boxcar", 2: "hamming", 4: "triang", 5: "blackman", 8: "hann"}


def window_design(numtaps, band, w1, w2, code):
    if code in FIRWIN_NAMES:
        name = FIRWIN_NAMES[code]
        kw = dict(window=name, scale=False)
        if band == 1:
            return signal.firwin(numtaps, w1, **kw)
        if band == 2:
            return signal.firwin(numtaps, w1, pass_zero=False, **kw)
        if band == 3:
            return signal.firwin(numtaps, [w1, w2], pass_zero=False, **kw)
        return signal.firwin(numtaps, [w1, w2], pass_zero=True, **kw)
    # Windows firwin cannot name: the ideal response times the window.
    return ideal(numtaps, band, w1, w2) * window(code, numtaps)


def write_window_designs():
    # band code fs f1 f2 length taps...
    cases = [
        (1, 1000.0, 100.0, 0.0, 21),
        (1, 512.0, 60.0, 0.0, 51),
        (2, 1000.0, 150.0, 0.0, 31),
        (2, 48000.0, 6000.0, 0.0, 65),
        (3, 1000.0, 100.0, 200.0, 41),
        (3, 512.0, 40.0, 120.0, 63),
        (4, 1000.0, 150.0, 300.0, 45),
        (4, 2000.0, 100.0, 700.0, 81),
    ]
    lines = []
    for band, fs, f1, f2, numtaps in cases:
        nyq = fs * 0.5
        for code in (0, 1, 2, 3, 4, 5, 8):
            taps = window_design(numtaps, band, f1 / nyq, f2 / nyq, code)
            lines.append("%d %d %.17g %.17g %.17g %d %s" % (band, code, fs, f1, f2, numtaps, fmt(taps)))
    with open(os.path.join(HERE, "window_designs.txt"), "w") as f:
        f.write("\n".join(lines) + "\n")


def write_responses():
    # band code fs f1 f2 length points magnitude(points)... phase(points)...
    # Magnitude relative to its peak, on the grid k * 3.1415926 / points.
    lines = []
    points = 2048
    for band, fs, f1, f2, numtaps, code in ((1, 1000.0, 100.0, 0.0, 21, 0),
                                           (3, 1000.0, 100.0, 200.0, 41, 2)):
        nyq = fs * 0.5
        taps = window_design(numtaps, band, f1 / nyq, f2 / nyq, code)
        w = np.arange(points) * (3.1415926 / points)
        _, h = signal.freqz(taps, worN=w)
        mag = np.abs(h) / np.max(np.abs(h))
        phase = np.arctan(h.imag / h.real)
        lines.append("%d %d %.17g %.17g %.17g %d %d %s %s" % (
            band, code, fs, f1, f2, numtaps, points, fmt(mag), fmt(phase)))
    with open(os.path.join(HERE, "responses.txt"), "w") as f:
        f.write("\n".join(lines) + "\n")


def kaiser_numtaps(atten, width):
    if atten > 21:
        n = int((atten - 7.95) / (width * 14.36) + 1.0)
    else:
        n = int(0.9222 / width + 1.0)
    return 2 * n + 1


def write_kaiser_designs():
    # band fs f1 f2 atten transition numtaps taps... (taps scaled by 16384)
    cases = [
        (1, 1000.0, 100.0, 0.0, 60, 0.1),
        (1, 8000.0, 1000.0, 0.0, 40, 0.05),
        (1, 1000.0, 200.0, 0.0, 20, 0.1),
        (2, 1000.0, 250.0, 0.0, 60, 0.08),
        (2, 44100.0, 5000.0, 0.0, 30, 0.1),
        (3, 1000.0, 150.0, 300.0, 80, 0.1),
        (3, 2000.0, 200.0, 600.0, 45, 0.06),
        (4, 1000.0, 100.0, 300.0, 60, 0.1),
        (4, 1000.0, 200.0, 260.0, 25, 0.04),
    ]
    lines = []
    for band, fs, f1, f2, atten, width in cases:
        # The design takes fs and edges in single precision.
        fs32 = float(np.float32(fs))
        c1 = float(np.float32(f1)) / (fs32 * 0.5)
        c2 = float(np.float32(f2)) / (fs32 * 0.5)
        g = width / 2.0
        numtaps = kaiser_numtaps(float(atten), width)
        beta = signal.kaiser_beta(float(atten)) if atten > 21 else 0.0
        win = ("kaiser", beta)
        if band == 1:
            taps = signal.firwin(numtaps, g + c1, window=win, scale=False)
        elif band == 2:
            taps = signal.firwin(numtaps, c1 - g, window=win, pass_zero=False, scale=False)
        elif band == 3:
            taps = signal.firwin(numtaps, [c1 - g, c2 + g], window=win, pass_zero=False,
                                 scale=False)
        else:
            taps = signal.firwin(numtaps, [c1 + g, c2 - g], window=win, pass_zero=True,
                                 scale=False)
        lines.append("%d %.17g %.17g %.17g %d %.17g %d %s" % (
            band, fs, f1, f2, atten, width, numtaps, fmt(taps * 16384.0)))
    with open(os.path.join(HERE, "kaiser_designs.txt"), "w") as f:
        f.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    write_windows()
    write_window_designs()
    write_responses()
    write_kaiser_designs()
