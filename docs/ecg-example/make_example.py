#!/usr/bin/python3
"""Worked example of the README: the electrocardiogram shipped with Debian's
scipy (360 Hz, 5 minutes, in mV) through rzfilter.

Usage: make_example.py RZFILTER [WORK_DIR]

Writes ecg.csv into WORK_DIR (default: a temporary directory), runs
`rzfilter design` and `rzfilter filter` on it, and leaves two pictures beside
this script: response.png (the tool's own response plot) and ecg.png (three
seconds of the recording before and after, drawn here with matplotlib).
"""

import os
import shutil
import subprocess
import sys
import tempfile
import warnings

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

from scipy import misc  # noqa: E402

FS = 360.0
# Chebyshev type I low-pass: pass band to 40 Hz within 0.5 dB, 40 dB down from
# 60 Hz (mains hum and muscle noise above the ECG's own band).
SPEC = ["-m", "cheby1", "--fs", "360", "--f1", "40", "--f2", "60", "--ripple", "0.5",
        "--atten", "40"]
SHOW_FROM, SHOW_SECONDS = 10.0, 3.0


def run(args, cwd):
    print("$ rzfilter " + " ".join(args[1:]))
    done = subprocess.run(args, cwd=cwd, capture_output=True, text=True)
    sys.stdout.write(done.stdout)
    sys.stderr.write(done.stderr)
    if done.returncode != 0:
        sys.exit(done.returncode)


def main():
    tool = os.path.abspath(sys.argv[1])
    work = sys.argv[2] if len(sys.argv) > 2 else tempfile.mkdtemp(prefix="rzfilter-ecg-")
    os.makedirs(work, exist_ok=True)
    here = os.path.dirname(os.path.abspath(__file__))

    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # moved to scipy.datasets in later versions
        ecg = misc.electrocardiogram()
    np.savetxt(os.path.join(work, "ecg.csv"), ecg, fmt="%.3f", header="ecg_mv", comments="")

    run([tool, "design", *SPEC, "--png", "-o", "design"], work)
    run([tool, "filter", "ecg.csv", "ecg-filtered.csv", *SPEC], work)
    shutil.copy(os.path.join(work, "design", "response.png"), os.path.join(here, "response.png"))

    out = np.loadtxt(os.path.join(work, "ecg-filtered.csv"), skiprows=1)
    lo, hi = int(SHOW_FROM * FS), int((SHOW_FROM + SHOW_SECONDS) * FS)
    t = np.arange(lo, hi) / FS
    fig, ax = plt.subplots(figsize=(9, 3.2), dpi=80)
    ax.plot(t, ecg[lo:hi], color="0.6", lw=1.0, label="recording")
    ax.plot(t, out[lo:hi], color="tab:blue", lw=1.0, label="rzfilter filter (cheby1 low-pass)")
    ax.set_xlabel("Time (s)")
    ax.set_ylabel("ECG (mV)")
    ax.set_title("scipy.misc.electrocardiogram, 360 Hz: 40 Hz low-pass")
    ax.grid(True, color="0.9")
    ax.legend(loc="upper right", fontsize=9)
    fig.tight_layout()
    fig.savefig(os.path.join(here, "ecg.png"))
    print("pictures written to " + here)


if __name__ == "__main__":
    main()
