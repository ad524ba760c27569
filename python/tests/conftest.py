"""Shared fixtures: the C++ reference driver (tests/reference), linked against
the shared library RZFilterFunc, runs the same inputs through the C++ classes
for byte-for-byte comparisons. RZF_REFERENCE_DRIVER names a built driver;
without it the session builds one under <repo>/build/python-reference."""

import os
import subprocess
from pathlib import Path

import numpy as np
import pytest

REPO = Path(__file__).resolve().parents[2]
CODES = {"int16": 0, "float32": 1, "int32": 2, "int24": 3}


def spec_args(spec) -> list:
    return [spec.method, spec.band, spec.fs.hex(), spec.f1.hex(), spec.f2.hex(), spec.f3.hex(),
            spec.f4.hex(), spec.length, spec.ripple.hex(), spec.atten.hex(), spec.window]


def channel_designs(designs: dict) -> list:
    """Frame-filter items: channel and design, as the driver reads them."""
    return [",".join(map(str, [ch, *spec_args(d.spec)])) for ch, d in designs.items()]


class Reference:
    def __init__(self, driver: Path, work: Path):
        self.driver, self.work, self.count = driver, work, 0

    def run(self, *args) -> str:
        return subprocess.run([str(self.driver), *map(str, args)], check=True,
                              capture_output=True, text=True).stdout

    def design(self, spec) -> dict:
        out = {}
        for line in self.run("design", *spec_args(spec)).splitlines():
            key, *values = line.split()
            if key in ("ok", "stable", "iirorder"):
                out[key] = int(values[0])
            elif key == "message":
                out[key] = bytes(int(v) for v in values[1:])
            else:
                numbers = [float.fromhex(v) for v in values]
                out[key] = {"poleradius": numbers[0], "limits": tuple(numbers)}.get(
                    key, np.array(numbers[1:], dtype=np.float64))
        out["sections"] = out["sections"].reshape(-1, 6)
        return out

    def stream(self, data: np.ndarray, before: list, after=()) -> bytes:
        """Runs <before> in out <after> on data's bytes; the output file's bytes."""
        self.count += 1
        src, dst = self.work / f"in{self.count}.raw", self.work / f"out{self.count}.raw"
        src.write_bytes(np.ascontiguousarray(data).tobytes())
        self.run(*before, src, dst, *after)
        return dst.read_bytes()

    def filter(self, spec, x: np.ndarray, pieces, sections=False) -> np.ndarray:
        """FilterData over pieces of these sizes; a piece of 0 restarts."""
        cmd = "filter-sections" if sections else "filter"
        out = self.stream(x.astype(np.float32), [cmd, *spec_args(spec), ",".join(map(str, pieces))])
        return np.frombuffer(out, dtype=np.float32)


@pytest.fixture(scope="session")
def ref(tmp_path_factory) -> Reference:
    driver = os.environ.get("RZF_REFERENCE_DRIVER")
    if not driver:
        build = REPO / "build" / "python-reference"
        subprocess.run(["cmake", "-S", Path(__file__).parent / "reference", "-B", build,
                        "-DCMAKE_BUILD_TYPE=Release"], check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", build, "--target", "rzf_reference", "-j", "2"],
                       check=True, stdout=subprocess.DEVNULL)
        driver = build / "rzf_reference"
    return Reference(Path(driver), tmp_path_factory.mktemp("reference"))


@pytest.fixture
def rng() -> np.random.Generator:
    return np.random.default_rng(20240611)


def bits(a: np.ndarray) -> bytes:
    """The exact bytes of an array, for bit-for-bit comparisons."""
    return np.ascontiguousarray(a).tobytes()
