"""Times Filter on a large float32 array against FilterUser::FilterData called
from C++ (the reference driver's time-filter command), in the same session.

    python bench_filter.py --driver build/python-reference/rzf_reference [--samples N]

C++ is timed writing into a preallocated, touched buffer and into a freshly
allocated one; the package writing into a preallocated, touched ``out`` and
returning a new array. Fresh output memory costs its first-touch page faults
on either side.
"""

import argparse
import subprocess
import time

import numpy as np

import rzfilterfunc as rz

SPEC = dict(method="chebyshev1", band="lowpass", fs=1000.0, edges=[100, 200])


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--driver", required=True)
    parser.add_argument("--samples", type=int, default=100_000_000)
    parser.add_argument("--repeat", type=int, default=3)
    args = parser.parse_args()
    d = rz.design(**SPEC)
    s = d.spec
    spec_args = [str(s.method), str(s.band), s.fs.hex(), s.f1.hex(), s.f2.hex(), s.f3.hex(),
                 s.f4.hex(), str(s.length), s.ripple.hex(), s.atten.hex(), str(s.window)]
    x = np.random.default_rng(1).standard_normal(args.samples, dtype=np.float32)
    out = np.empty_like(x)
    out.fill(0.0)  # touch every page, as the C++ side does
    f = rz.Filter(d)
    cpp, cpp_fresh, into, new = [], [], [], []
    for _ in range(args.repeat):  # alternated, so that load changes hit all three
        line = subprocess.run([args.driver, "time-filter", *spec_args, str(args.samples)],
                              check=True, capture_output=True, text=True).stdout
        fields = line.split()
        cpp.append(float(fields[1]))
        cpp_fresh.append(float(fields[3]))
        f.reset()
        start = time.perf_counter()
        f(x, out=out)
        into.append(time.perf_counter() - start)
        f.reset()
        start = time.perf_counter()
        y = f(x)
        new.append(time.perf_counter() - start)
        assert y.tobytes() == out.tobytes()
        del y
    print(f"design: {d!r}, {args.samples} samples, {args.repeat} alternated runs")
    print("C++ FilterData:               " + " ".join(f"{t:.3f}" for t in cpp) + " s")
    print("C++ FilterData, fresh output: " + " ".join(f"{t:.3f}" for t in cpp_fresh) + " s")
    print("Filter(x, out=preallocated):  " + " ".join(f"{t:.3f}" for t in into) + " s")
    print("Filter(x) (new output array): " + " ".join(f"{t:.3f}" for t in new) + " s")
    print(f"best-of ratios: out= vs C++ touched {min(into) / min(cpp):.3f}; new array vs C++ "
          f"fresh output {min(new) / min(cpp_fresh):.3f}; new array vs C++ touched "
          f"{min(new) / min(cpp):.3f}")

if __name__ == "__main__":
    main()
