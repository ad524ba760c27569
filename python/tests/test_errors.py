"""Bad input gets a Python exception that names the argument, never a crash;
the package as shipped: stubs in step with the binding, documented API, the
library's trace lines routed to logging."""

import ast
import inspect
import logging
from pathlib import Path

import numpy as np
import pytest

import rzfilterfunc as rz
from rzfilterfunc import _core


def filter_call(x, out=None):
    return rz.Filter(rz.design("butterworth", "lowpass", 1000.0, [100, 200]))(x, out=out)


def read_only(n):
    a = np.zeros(n, dtype=np.float32)
    a.flags.writeable = False
    return a


BUF = np.zeros(12, dtype=np.float32)
FRAMES = [rz.FrameFilter(2, 1000.0, "int16"), rz.BesselFrameFilter(2, 1000.0, "int16"),
          rz.Decimator(2, 2, "int16"), rz.Integrator(2, 10.0, "int16")]
EDGES4 = [50, 100, 200, 300]
DESIGN = dict(method="butterworth", band="lowpass", fs=1000.0, edges=[100, 200])


@pytest.mark.parametrize("call,exc,text", [
    (lambda: filter_call([1.0, 2.0]), TypeError, "x: expected a numpy.ndarray"),
    (lambda: filter_call(np.zeros(8)), TypeError, "x: expected dtype 'float32'"),
    (lambda: filter_call(np.zeros(8, dtype=">f4")), TypeError, "native byte order"),
    (lambda: filter_call(np.zeros((2, 4), dtype=np.float32)), ValueError, "x: expected a 1-D"),
    (lambda: filter_call(BUF[::2]), ValueError, "x: the array must be C-contiguous"),
    (lambda: filter_call(BUF[:8], BUF[:4]), ValueError, "out: has 4 samples"),
    (lambda: filter_call(BUF[:8], read_only(8)), ValueError, "out: the array is read-only"),
    (lambda: filter_call(BUF[:8], BUF[2:10]), ValueError, "overlaps"),
    *[(lambda kw=kw: rz.design(**{**DESIGN, **kw}), exc, text) for kw, exc, text in [
        (dict(method="bessel"), ValueError, "method: unknown name 'bessel'"),
        (dict(band=7), ValueError, "band: unknown code 7"),
        (dict(fs=float("nan")), ValueError, "fs: must be a finite number"),
        (dict(atten="40"), TypeError, "atten: expected a number"),
        (dict(edges=[100]), ValueError, "edges: this design reads 2 band edges"),
        (dict(edges=[1, 2, 3, 4, 5]), ValueError, "edges: expected 1 to 4"),
        (dict(edges="abc"), TypeError, "edges"),
        (dict(method="window", length=0), ValueError, "length: a window design needs"),
        (dict(method="window", length=2.5), TypeError, "length: expected an integer"),
    ]],
    (lambda: rz.FrameFilter(0, 1000.0, "int16"), ValueError, "channels: must be between 1"),
    (lambda: rz.FrameFilter(2, float("nan"), "int16"), ValueError, "fs: must be a finite"),
    (lambda: rz.FrameFilter(2, -5.0, "int16"), ValueError, "fs: must be a positive"),
    (lambda: rz.FrameFilter(2, 1000.0, "float64"), ValueError, "dtype: float64 is not"),
    (lambda: rz.FrameFilter(2, 1000.0, "int24"), ValueError, "Decimator only"),
    (lambda: rz.Decimator(2, 3, "int16"), ValueError, "ratio: 3 is not one of"),
    (lambda: rz.Decimator(2, 10, "int16", filter_channels=[5]), IndexError,
     "filter_channels: channel 5"),
    (lambda: rz.Decimator(2, 10, "int16", block_frames=0), ValueError, "block_frames"),
    (lambda: rz.Integrator(2, 0.0, "int16"), ValueError, "fs: must be positive"),
    (lambda: rz.Integrator(2, 10.0, "int16", select=[2]), IndexError, "select: channel 2"),
    (lambda: rz.BesselFrameFilter(2, 1e12, "int16"), ValueError, "fs: must be below"),
    (lambda: rz.kaiser(1000.0, "lowpass", [100, 150], 60.5), TypeError, "atten: expected an int"),
    (lambda: rz.kaiser(1000.0, "lowpass", [100], 60), ValueError, "edges: this Kaiser design"),
    (lambda: rz.kaiser(1000.0, "lowpass", [100], 60, transition=0.0), ValueError, "refused"),
    (lambda: rz.Filter("not a design"), TypeError, "design: expected"),
    (lambda: rz.Filter(rz.design(**DESIGN), sections="yes"), TypeError, "sections"),
    (lambda: rz.FrameFilter(1, 360.0, "float32", sections=1), TypeError, "sections"),
    (lambda: FRAMES[0].design(2, "butterworth", "lowpass", [100, 200]), IndexError,
     "channel: 2 is not in 0..1"),
    (lambda: FRAMES[1].enable(-1, 15), IndexError, "channel: -1"),
    (lambda: rz.FrameFilter(1, 1000.1, "float32").design(0, rz.design(**{**DESIGN, "fs": 1000.1})),
     ValueError, "float32"),
    (lambda: rz.Decimator(2, 2, "int24")(np.zeros((10, 5), dtype=np.uint8)), ValueError,
     r"packed int24 frames of 2 channels need shape"),
])
def test_bad_argument_is_refused_by_name(call, exc, text):
    with pytest.raises(exc, match=text):
        call()


@pytest.mark.parametrize("frames,exc,text", [
    (np.zeros((10, 3), dtype=np.int16), ValueError, r"frames: expected shape \(frames, 2\)"),
    (np.zeros(20, dtype=np.int16), ValueError, r"frames: expected shape"),
    (np.zeros((10, 2), dtype=np.int32), TypeError, "frames: expected dtype 'int16'"),
    (np.zeros((2, 10), dtype=np.int16).T, ValueError, "C-contiguous"),
    ([[1, 2]], TypeError, "frames: expected a numpy.ndarray"),
])
@pytest.mark.parametrize("obj", FRAMES, ids=lambda o: type(o).__name__)
def test_frame_classes_reject_bad_frames(obj, frames, exc, text):
    with pytest.raises(exc, match=text):
        obj(frames)


def test_accepted_alternatives():
    # Codes for names; a design made at the frame filter's float32 rate; packed int24 frames.
    a, b = rz.design(1, 3, 1000.0, EDGES4), rz.design("chebyshev1", "bandpass", 1000.0, EDGES4)
    assert a.b.tobytes() == b.b.tobytes()
    assert (a.method, a.band) == ("chebyshev1", "bandpass")
    ff = rz.FrameFilter(1, 1000.1, "float32")
    ff.design(0, rz.design(**{**DESIGN, "fs": ff.fs}))
    assert rz.Decimator(2, 2, "int24")(np.zeros((10, 2, 3), dtype=np.uint8)).shape[1:] == (2, 3)


def test_stubs_declare_every_name_of_the_binding():
    stub = ast.parse(Path(_core.__file__).with_name("_core.pyi").read_text())
    declared = {n.name: {m.name for m in n.body if isinstance(m, ast.FunctionDef)}
                if isinstance(n, ast.ClassDef) else None
                for n in stub.body if isinstance(n, (ast.ClassDef, ast.FunctionDef))}
    assert {n for n in dir(_core) if not n.startswith("__")} == set(declared)
    for name, members in ((n, m) for n, m in declared.items() if m is not None):
        actual = {m for m in vars(getattr(_core, name))
                  if not m.startswith("__") or m in ("__init__", "__call__")}
        assert actual - {"_pybind11_conduit_v1_"} == members, name


def test_public_api_is_documented():
    for name in rz.__all__:
        obj = getattr(rz, name)
        if inspect.isclass(obj) or inspect.isfunction(obj):
            assert obj.__doc__ and len(obj.__doc__) > 40, name
    assert "one thread at a time" in rz.Filter.__doc__
    assert Path(rz.__file__).with_name("py.typed").exists()


def test_validation_failure_is_logged_not_printed(caplog, capfd):
    with caplog.at_level(logging.DEBUG, logger="rzfilterfunc"):
        rz.design("butterworth", "lowpass", 512.0, [100, 300], check=False)
    assert any("输入的频率应小于等于采样频率/2.56！" in r.getMessage() for r in caplog.records)
    assert capfd.readouterr().err == ""
