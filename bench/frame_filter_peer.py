#!/usr/bin/python3
"""CChnsFilterFunc against a numpy/scipy pipeline doing the same job, in one run.

The peer filters 16 interleaved int16 channels block by block, as a host would:
deinterleave (a reshape), convert to float64, scipy.signal.lfilter along the
frame axis with the carried state zi, cast back to int16 and store in place.
The library side is rzf_frame_filter_bench (order-8 IIR, 16 channels, int16,
4096-frame blocks). Both are repeated in alternation; medians are printed.
Both sides count process CPU time (the benchmark library's default), so that
other load on a shared machine does not count against either.

usage: bench/frame_filter_peer.py build/bench/rzf_frame_filter_bench [rounds]
"""
import json
import statistics
import subprocess
import sys
import time

import numpy as np
import scipy
from scipy import signal

FRAMES = 4096
CHANNELS = 16
ORDER = 8


def peer_rate(seconds=1.0):
    """Samples per second of the scipy pipeline on 4096-frame int16 blocks."""
    b, a = signal.cheby1(ORDER, 1.0, 100.0 / 500.0)
    j = np.arange(FRAMES)[:, None]
    c = np.arange(CHANNELS)[None, :]
    source = (8000.0 * np.sin(0.01 * j * (1 + c % 7))).astype(np.int16).ravel()
    zi = np.zeros((ORDER, CHANNELS))
    buf = source.copy()
    blocks = 0
    start = time.process_time()
    while time.process_time() - start < seconds:
        buf[:] = source
        x = buf.reshape(FRAMES, CHANNELS).astype(np.float64)
        y, zi = signal.lfilter(b, a, x, axis=0, zi=zi)
        buf[:] = y.astype(np.int16).ravel()
        blocks += 1
    return blocks * FRAMES * CHANNELS / (time.process_time() - start)


def library_rate(binary, isa):
    name = "BM_ChnsFilter/design:0/type:0/channels:16"
    out = subprocess.run(
        [binary, "--benchmark_filter=^" + name + "$", "--benchmark_format=json",
         "--benchmark_min_time=1"],
        check=True, capture_output=True, text=True,
        env={"RZF_ISA": isa} if isa else {})
    return json.loads(out.stdout)["benchmarks"][0]["items_per_second"]


def main():
    binary = sys.argv[1]
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    print(f"numpy {np.__version__}, scipy {scipy.__version__}; {rounds} alternating rounds")
    results = {"peer": [], "baseline": [], "avx2": [], "avx512": []}
    for _ in range(rounds):
        for isa in ("avx512", "avx2", "baseline"):
            results[isa].append(library_rate(binary, isa))
        results["peer"].append(peer_rate())
    peer = statistics.median(results["peer"])
    print(f"peer (deinterleave + lfilter(axis=0, zi) + int16): {peer / 1e6:8.1f} MS/s")
    for isa in ("baseline", "avx2", "avx512"):
        lib = statistics.median(results[isa])
        print(f"CChnsFilterFunc 16 ch int16 IIR 8, RZF_ISA={isa:8s}: {lib / 1e6:8.1f} MS/s"
              f"  ratio {lib / peer:5.2f}")


if __name__ == "__main__":
    main()
