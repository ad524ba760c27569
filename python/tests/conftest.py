"""Shared fixtures: the C++ reference driver and helpers to call it.

The driver (tests/reference) links the shared library RZFilterFunc and runs
the same inputs through the C++ classes; the tests compare its raw output with
the package's byte for byte. Set RZF_REFERENCE_DRIVER to a built driver, or
let the session build it with CMake under <repo>/build/python-reference.
"""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

import numpy as np
import pytest

REPO = Path(__file__).resolve().parents[2]


def _build_driver() -> Path:
    build = Path(os.environ.get("RZF_REFERENCE_BUILD", REPO / "build" / "python-reference"))
    subprocess.run(["cmake", "-S", str(Path(__file__).parent / "reference"), "-B", str(build),
                    "-DCMAKE_BUILD_TYPE=Release"], check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", str(build), "--target", "rzf_reference", "-j", "2"],
                   check=True, stdout=subprocess.DEVNULL)
    return build / "rzf_reference"


def _spec_args(spec) -> list[str]:
    return [str(spec.method), str(spec.band), spec.fs.hex(), spec.f1.hex(), spec.f2.hex(),
            spec.f3.hex(), spec.f4.hex(), str(spec.length), spec.ripple.hex(),
            spec.atten.hex(), str(spec.window)]


class Reference:
    """Calls the reference driver; every result comes from the C++ library."""

    def __init__(self, driver: Path, work: Path):
        self.driver = driver
        self.work = work
        self._count = 0

    def _paths(self):
        self._count += 1
        return self.work / f"in{self._count}.raw", self.work / f"out{self._count}.raw"

    def run(self, *args: str) -> str:
        done = subprocess.run([str(self.driver), *args], check=True, capture_output=True,
                              text=True)
        return done.stdout

    def design(self, spec) -> dict:
        out = {}
        for line in self.run("design", *_spec_args(spec)).splitlines():
            key, *values = line.split()
            if key in ("ok", "stable", "iirorder"):
                out[key] = int(values[0])
            elif key == "message":
                out[key] = bytes(int(v) for v in values[1:])
            elif key == "limits":
                out[key] = tuple(float.fromhex(v) for v in values)
            elif key == "poleradius":
                out[key] = float.fromhex(values[0])
            elif key == "sections":
                out[key] = np.array([float.fromhex(v) for v in values[1:]],
                                    dtype=np.float64).reshape(-1, 6)
            else:
                out[key] = np.array([float.fromhex(v) for v in values[1:]], dtype=np.float64)
        return out

    def filter(self, spec, x: np.ndarray, blocks=(4096,), reset_at=None,
               sections=False) -> np.ndarray:
        src, dst = self._paths()
        x.astype(np.float32).tofile(src)
        extra = [] if reset_at is None else [str(reset_at)]
        self.run("filter-sections" if sections else "filter", *_spec_args(spec), ",".join(map(str, blocks)), str(src), str(dst),
                 *extra)
        return np.fromfile(dst, dtype=np.float32)

    def frames(self, code: int, fs: float, frames: np.ndarray, block: int, designs,
               sections=False) -> bytes:
        src, dst = self._paths()
        frames.tofile(src)
        items = [",".join([str(ch)] + _design_fields(spec)) for ch, spec in designs]
        self.run("frames-sections" if sections else "frames", str(code), str(frames.shape[1]), fs.hex(), str(block), str(src),
                 str(dst), *items)
        return dst.read_bytes()

    def bessel(self, code: int, fs: float, frames: np.ndarray, block: int, cutoffs) -> bytes:
        src, dst = self._paths()
        frames.tofile(src)
        self.run("bessel", str(code), str(frames.shape[1]), fs.hex(), str(block), str(src),
                 str(dst), *[f"{ch}:{cut}" for ch, cut in cutoffs])
        return dst.read_bytes()

    def decimate(self, code: int, channels: int, ratio: int, block_frames: int, discard: bool,
                 flags, raw: bytes, chunk_frames: int) -> bytes:
        src, dst = self._paths()
        src.write_bytes(raw)
        self.run("decimate", str(code), str(channels), str(ratio), str(block_frames),
                 "1" if discard else "0", "".join("1" if f else "0" for f in flags),
                 str(chunk_frames), str(src), str(dst))
        return dst.read_bytes()

    def integrate(self, code: int, fs: float, frames: np.ndarray, chunk: int, select) -> bytes:
        src, dst = self._paths()
        frames.tofile(src)
        self.run("integrate", str(code), str(frames.shape[1]), fs.hex(), str(chunk), str(src),
                 str(dst), *map(str, select))
        return dst.read_bytes()

    def kaiser(self, *args) -> np.ndarray:
        kind, *values = args
        line = self.run(kind, *[v.hex() if isinstance(v, float) else str(v) for v in values])
        fields = line.split()
        return np.array([float.fromhex(v) for v in fields[2:]], dtype=np.float64)


def _design_fields(spec) -> list[str]:
    return [str(spec.method), str(spec.band), spec.f1.hex(), spec.f2.hex(), spec.f3.hex(),
            spec.f4.hex(), str(spec.length), spec.ripple.hex(), spec.atten.hex(),
            str(spec.window)]


@pytest.fixture(scope="session")
def ref(tmp_path_factory) -> Reference:
    driver = os.environ.get("RZF_REFERENCE_DRIVER")
    path = Path(driver) if driver else _build_driver()
    return Reference(path, tmp_path_factory.mktemp("reference"))


@pytest.fixture
def rng() -> np.random.Generator:
    return np.random.default_rng(20240611)


def bits(a: np.ndarray) -> bytes:
    """The exact bytes of an array, for bit-for-bit comparisons."""
    return np.ascontiguousarray(a).tobytes()
