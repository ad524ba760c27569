#!/usr/bin/python3
"""Worked example of the README: the electrocardiogram shipped with Debian's
scipy (360 Hz, 5 minutes, in mV) through rzfilter.

Usage: make_example.py RZFILTER [WORK_DIR]

Writes ecg.csv into WORK_DIR (default: a temporary directory), runs
`rzfilter design` and `rzfilter filter` on it for a low-pass and for a
band-pass that also removes the baseline wander, and leaves three pictures
beside this script: response.png and response-bandpass.png (the tool's own
response plots) and ecg.png (three seconds of the recording before and after
each filter, drawn here with matplotlib).

The band-pass is a Butterworth design of order 18 whose single transfer
function is unstable at 360 Hz: `rzfilter filter` refuses it (exit 1) and
runs it with --sections, as second-order sections. The script checks both.
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
# Butterworth band-pass: 0.5-40 Hz within 1 dB, 30 dB down below 0.1 Hz
# (baseline wander from breathing and electrode drift) and above 60 Hz.
BANDPASS = ["-b", "bandpass", "--fs", "360", "--f1", "0.1", "--f2", "0.5", "--f3", "40",
            "--f4", "60", "--ripple", "1", "--atten", "30"]
SHOW_FROM, SHOW_SECONDS = 10.0, 3.0


def run(args, cwd, expect=0):
    print("$ rzfilter " + " ".join(args[1:]))
    done = subprocess.run(args, cwd=cwd, capture_output=True, text=True)
    sys.stdout.write(done.stdout)
    sys.stderr.write(done.stderr)
    if done.returncode != expect:
        sys.exit("exit code %d, expected %d" % (done.returncode, expect))


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

    run([tool, "design", *BANDPASS, "--png", "-o", "design-bandpass"], work)
    # The transfer function is unstable: refused without --sections, and no
    # output file appears.
    run([tool, "filter", "ecg.csv", "ecg-bandpass.csv", *BANDPASS], work, expect=1)
    assert not os.path.exists(os.path.join(work, "ecg-bandpass.csv"))
    run([tool, "filter", "ecg.csv", "ecg-bandpass.csv", *BANDPASS, "--sections"], work)
    shutil.copy(os.path.join(work, "design-bandpass", "response.png"),
                os.path.join(here, "response-bandpass.png"))

    out = np.loadtxt(os.path.join(work, "ecg-filtered.csv"), skiprows=1)
    band = np.loadtxt(os.path.join(work, "ecg-bandpass.csv"), skiprows=1)
    assert np.isfinite(band).all()
    lo, hi = int(SHOW_FROM * FS), int((SHOW_FROM + SHOW_SECONDS) * FS)
    t = np.arange(lo, hi) / FS
    fig, ax = plt.subplots(figsize=(9, 3.6), dpi=80)
    ax.plot(t, ecg[lo:hi], color="0.6", lw=1.0, label="recording")
    ax.plot(t, out[lo:hi], color="tab:blue", lw=1.0, label="rzfilter filter (cheby1 low-pass)")
    ax.plot(t, band[lo:hi], color="tab:red", lw=1.0,
            label="rzfilter filter --sections (butterworth 0.5-40 Hz band-pass)")
    ax.set_xlabel("Time (s)")
    ax.set_ylabel("ECG (mV)")
    ax.set_title("scipy.misc.electrocardiogram, 360 Hz: 40 Hz low-pass and 0.5-40 Hz band-pass")
    ax.grid(True, color="0.9")
    ax.legend(loc="upper right", fontsize=8)
    fig.tight_layout()
    fig.savefig(os.path.join(here, "ecg.png"))
    print("pictures written to " + here)


if __name__ == "__main__":
    main()
