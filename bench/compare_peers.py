#!/usr/bin/python3
"""Runs the library's streaming benchmarks and their scipy/numpy equivalents in
the same run and prints library / peer throughput ratios.

Each repetition measures every workload once on each side, interleaved
(library, peer, next workload ...), so that both see the same machine load;
the table shows the medians. Throughput is samples per second of CPU time on
both sides (Google Benchmark's items_per_second; the peer's thread CPU time),
which keeps the comparison fair on a shared, busy machine.

Usage (Debian's python3, which has scipy and numpy):
    /usr/bin/python3 bench/compare_peers.py --build-dir build [--repetitions 7]
        [--min-time 0.3] [--only REGEX] [--markdown]
The benchmarks are built with -DRZF_BUILD_BENCH=ON. RZF_ISA in the environment
(baseline, avx2, avx512) is passed on to the library's programs.

A new workload is one entry in WORKLOADS: the benchmark program and the exact
benchmark name (as `program --benchmark_list_tests` prints it), a label, a peer
factory returning (run_one_block, samples_per_block), and the target ratio if
there is one. Workloads whose program or benchmark is not built are skipped.
"""
import argparse
import datetime
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import time

import numpy as np
import scipy
from scipy import signal

BLOCK = 4096  # samples (frames for multi-channel workloads) per call, as a host feeds them


# --- Filters shared with the library's benchmarks ----------------------------
# Coefficient values do not change the work of the peers; sizes and orders do.

def iir_order8():
    # Same order as the benchmarks' Butterworth low-pass (100 Hz / 1 kHz).
    return signal.butter(8, 0.2)


def fir_taps(n):
    return signal.firwin(n, 0.2)


def test_signal(n, channels=1, scale=1000.0):
    t = np.arange(n * channels, dtype=np.float64)
    x = scale * (0.7 * np.sin(0.01 * t) + 0.2 * np.sin(0.37 * t))
    return x.reshape(n, channels) if channels > 1 else x


# --- Peers -------------------------------------------------------------------

def peer_lfilter_block(b, a, dtype=np.float32):
    """lfilter over one 4096-sample block with the state carried in zi."""
    x = test_signal(BLOCK).astype(dtype)
    state = {"zi": np.zeros(max(len(a), len(b)) - 1)}

    def run():
        y, state["zi"] = signal.lfilter(b, a, x, zi=state["zi"])
        return y if dtype == np.float32 else y.astype(dtype)

    return run, BLOCK


def peer_frames_lfilter(b, a, channels, dtype=np.int16):
    """Deinterleave, lfilter along time for every channel with zi, cast back."""
    frames = test_signal(BLOCK, channels).astype(dtype).reshape(-1)
    state = {"zi": np.zeros((max(len(a), len(b)) - 1, channels))}

    def run():
        x = frames.reshape(BLOCK, channels).astype(np.float32)
        y, state["zi"] = signal.lfilter(b, a, x, axis=0, zi=state["zi"])
        return y.astype(dtype).reshape(-1)

    return run, BLOCK * channels


def peer_sosfilt_block(sos):
    x = test_signal(BLOCK).astype(np.float32)
    state = {"zi": np.zeros((sos.shape[0], 2))}

    def run():
        y, state["zi"] = signal.sosfilt(sos, x, zi=state["zi"])
        return y

    return run, BLOCK


def peer_upfirdn_cascade(stages, channels):
    """Decimation cascade with upfirdn, streamed: each stage keeps its last
    taps - 1 inputs and passes on only the outputs with a full history."""
    frames = 4000  # a multiple of every stage factor of ratio 10
    x0 = test_signal(frames, channels).astype(np.float32)
    hist = [np.zeros((len(h) - 1, channels), np.float32) for h, _ in stages]

    def run():
        x = x0
        for i, (h, down) in enumerate(stages):
            buf = np.concatenate([hist[i], x])
            y = signal.upfirdn(h, buf, down=down, axis=0)
            first = -(-(len(h) - 1) // down)
            x = y[first:len(buf) // down]
            hist[i] = buf[len(buf) - (len(h) - 1):]
        return x

    return run, frames * channels


def peer_cumsum_trapezoid(channels, fs=1000.0):
    """Running trapezoid integral of every channel with numpy, carried over."""
    frames = test_signal(BLOCK, channels).astype(np.int16).reshape(-1)
    state = {"prev": np.zeros(channels), "sum": np.zeros(channels)}

    def run():
        x = frames.reshape(BLOCK, channels).astype(np.float64)
        prev = np.vstack([state["prev"], x[:-1]])
        y = state["sum"] + np.cumsum((x + prev) / (2.0 * fs), axis=0)
        state["prev"], state["sum"] = x[-1], y[-1]
        return y.astype(np.int16).reshape(-1)

    return run, BLOCK * channels


def ratio10_stages():
    # Stage sizes of the library's ratio-10 cascade: 44 taps down 5, 48 down 2.
    return [(signal.firwin(44, 0.18).astype(np.float32), 5),
            (signal.firwin(48, 0.4).astype(np.float32), 2)]


# --- Registry ----------------------------------------------------------------

class Workload:
    def __init__(self, label, program, benchmark, peer_label, peer, target=None):
        self.label = label
        self.program = program
        self.benchmark = benchmark
        self.peer_label = peer_label
        self.peer = peer
        self.target = target


def _iir_peer():
    b, a = iir_order8()
    return peer_lfilter_block(b, a)


def _fir_peer(n):
    return lambda: peer_lfilter_block(fir_taps(n), [1.0])


WORKLOADS = [
    Workload("FilterUser IIR order 8", "rzf_filteruser_bench", "BM_FilterUserIirOrder8",
             "lfilter per block, zi", _iir_peer, 2.2),
    Workload("FilterUser window FIR 51 taps", "rzf_filteruser_bench",
             "BM_FilterUserWindowFir51", "lfilter(b, 1) per block, zi", _fir_peer(51), 4.0),
    Workload("FilterUser moving average 51", "rzf_filteruser_bench", "BM_FilterUserAverage51",
             "lfilter(b, 1) per block, zi", _fir_peer(51)),
    Workload("CFilter FIR 75 taps, float", "rzf_cfilter_bench", "BM_CFilterFir75<float>",
             "lfilter(b, 1) per block, zi", _fir_peer(75), 4.0),
    Workload("CFilter FIR 75 taps, int16", "rzf_cfilter_bench", "BM_CFilterFir75<short>",
             "lfilter(b, 1) per block, zi, int16",
             lambda: peer_lfilter_block(fir_taps(75), [1.0], np.int16)),
    Workload("CFilter IIR order 8, float", "rzf_cfilter_bench", "BM_CFilterIirOrder8<float>",
             "lfilter per block, zi", _iir_peer, 2.2),
    Workload("CFilter IIR order 8, int16", "rzf_cfilter_bench", "BM_CFilterIirOrder8<short>",
             "lfilter per block, zi, int16",
             lambda: peer_lfilter_block(*iir_order8(), np.int16)),
    # Section mode of FilterUser: order 8 as four second-order sections.
    Workload("FilterUser sections, order 8", "rzf_section_bench",
             "BM_IirFilterData/0/1", "sosfilt per block, zi",
             lambda: peer_sosfilt_block(signal.butter(8, 0.2, output="sos"))),
    Workload("CChnsFilterFunc 16 ch int16, IIR order 8", "rzf_frame_filter_bench",
             "BM_ChnsFilter/design:0/type:0/channels:16",
             "deinterleave + lfilter(axis=0, zi) + int16",
             lambda: peer_frames_lfilter(*iir_order8(), 16), 6.0),
    Workload("CChnsBesselFilterFun 16 ch int16", "rzf_frame_filter_bench",
             "BM_BesselFilter/type:0/channels:16",
             "deinterleave + lfilter(axis=0, zi) + int16 (2nd order)",
             lambda: peer_frames_lfilter(*signal.bessel(2, 0.1), 16)),
    Workload("CFirFunc ratio 10, 16 ch float", "rzf_decimate_bench", "BM_DecimateFloat/10/16",
             "upfirdn cascade, streamed",
             lambda: peer_upfirdn_cascade(ratio10_stages(), 16), 3.5),
    Workload("CIntegralDiff 16 ch int16", "rzf_integrate_bench", "BM_IntegralDiff/int16/16",
             "numpy cumsum trapezoid", lambda: peer_cumsum_trapezoid(16), 2.0),
]


# --- Measurement -------------------------------------------------------------

def list_benchmarks(program):
    try:
        out = subprocess.run([str(program), "--benchmark_list_tests=true"], check=True,
                             capture_output=True, text=True).stdout
    except (OSError, subprocess.CalledProcessError):
        return set()
    return set(line.strip() for line in out.splitlines() if line.strip())


def library_rate(program, benchmark, min_time):
    cmd = [str(program), "--benchmark_filter=^" + re.escape(benchmark) + "$",
           "--benchmark_min_time=%g" % min_time, "--benchmark_format=json"]
    out = subprocess.run(cmd, check=True, capture_output=True, text=True).stdout
    runs = [b for b in json.loads(out)["benchmarks"] if b.get("run_type") == "iteration"]
    if not runs or "error_occurred" in runs[0]:
        raise RuntimeError("%s %s: no result" % (program, benchmark))
    return runs[0]["items_per_second"]


def peer_rate(run, samples, min_time):
    run()  # warm-up: first-call costs are not streaming costs
    blocks = 0
    start = time.thread_time()
    while True:
        run()
        blocks += 1
        elapsed = time.thread_time() - start
        if elapsed >= min_time and blocks >= 3:
            return blocks * samples / elapsed


def cpu_model():
    try:
        for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
            if line.startswith("model name"):
                return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return platform.processor() or "unknown"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build-dir", default="build")
    parser.add_argument("--repetitions", type=int, default=7)
    parser.add_argument("--min-time", type=float, default=0.3,
                        help="seconds of CPU time per measurement on each side")
    parser.add_argument("--only", default="", help="regex on workload labels")
    parser.add_argument("--markdown", action="store_true", help="print a Markdown table")
    args = parser.parse_args()

    bench_dir = pathlib.Path(args.build_dir) / "bench"
    available = {}
    chosen = []
    for w in WORKLOADS:
        if args.only and not re.search(args.only, w.label):
            continue
        program = bench_dir / w.program
        if program not in available:
            available[program] = list_benchmarks(program) if program.exists() else set()
        if w.benchmark not in available[program]:
            print("skipped (not built): %s [%s %s]" % (w.label, w.program, w.benchmark),
                  file=sys.stderr)
            continue
        run, samples = w.peer()
        chosen.append((w, program, run, samples))
    if not chosen:
        print("nothing to measure: build with -DRZF_BUILD_BENCH=ON", file=sys.stderr)
        return 1

    lib = {w.label: [] for w, *_ in chosen}
    peer = {w.label: [] for w, *_ in chosen}
    for rep in range(args.repetitions):
        for w, program, run, samples in chosen:
            lib[w.label].append(library_rate(program, w.benchmark, args.min_time))
            peer[w.label].append(peer_rate(run, samples, args.min_time))
        print("repetition %d/%d done" % (rep + 1, args.repetitions), file=sys.stderr)

    isa = os.environ.get("RZF_ISA", "detected")
    header = ("CPU: %s; %s UTC; instruction set: %s; scipy %s, numpy %s; %d interleaved "
              "repetitions, medians, MS/s of CPU time" % (
                  cpu_model(), datetime.datetime.utcnow().strftime("%Y-%m-%d %H:%M"), isa,
                  scipy.__version__, np.__version__, args.repetitions))
    rows = []
    for w, *_ in chosen:
        lm = statistics.median(lib[w.label]) / 1e6
        pm = statistics.median(peer[w.label]) / 1e6
        target = "%.1f" % w.target if w.target else "-"
        rows.append((w.label, "%.1f" % lm, w.peer_label, "%.1f" % pm, "%.2f" % (lm / pm), target))
    titles = ("workload", "library MS/s", "peer", "peer MS/s", "library / peer", "target")
    print(header)
    if args.markdown:
        print("| " + " | ".join(titles) + " |")
        print("|" + "|".join("---" for _ in titles) + "|")
        for r in rows:
            print("| " + " | ".join(r) + " |")
    else:
        widths = [max(len(t), *(len(r[i]) for r in rows)) for i, t in enumerate(titles)]
        print("  ".join(t.ljust(widths[i]) for i, t in enumerate(titles)))
        for r in rows:
            print("  ".join(c.ljust(widths[i]) for i, c in enumerate(r)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
