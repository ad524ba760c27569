"""Bad input gets a Python exception that names the argument, never a crash."""

import numpy as np
import pytest

import rzfilterfunc as rz


@pytest.fixture(scope="module")
def flt():
    return rz.Filter(rz.design("butterworth", "lowpass", 1000.0, [100, 200]))


@pytest.mark.parametrize("x,exc,text", [
    ([1.0, 2.0], TypeError, "x: expected a numpy.ndarray"),
    (np.zeros(8, dtype=np.float64), TypeError, "x: expected dtype 'float32'"),
    (np.zeros(8, dtype=">f4"), TypeError, "native byte order"),
    (np.zeros((2, 4), dtype=np.float32), ValueError, "x: expected a 1-D array"),
    (np.zeros(16, dtype=np.float32)[::2], ValueError, "x: the array must be C-contiguous"),
])
def test_filter_rejects_bad_arrays(flt, x, exc, text):
    with pytest.raises(exc, match=text):
        flt(x)


def test_filter_out_argument_checks(flt):
    x = np.zeros(8, dtype=np.float32)
    with pytest.raises(ValueError, match="out: has 4 samples"):
        flt(x, out=np.zeros(4, dtype=np.float32))
    ro = np.zeros(8, dtype=np.float32)
    ro.flags.writeable = False
    with pytest.raises(ValueError, match="out: the array is read-only"):
        flt(x, out=ro)
    buf = np.zeros(12, dtype=np.float32)
    with pytest.raises(ValueError, match="overlaps"):
        flt(buf[:8], out=buf[2:10])


@pytest.mark.parametrize("kwargs,exc,text", [
    (dict(method="bessel"), ValueError, "method: unknown name 'bessel'"),
    (dict(method=4), ValueError, "method: unknown code 4"),
    (dict(band="notch"), ValueError, "band: unknown name"),
    (dict(band=7), ValueError, "band: unknown code 7"),
    (dict(fs=float("nan")), ValueError, "fs: must be a finite number"),
    (dict(fs=float("inf")), ValueError, "fs: must be a finite number"),
    (dict(edges=[100, float("nan")]), ValueError, r"edges\[1\]: must be a finite"),
    (dict(edges=[100]), ValueError, "edges: this design reads 2 band edges"),
    (dict(edges=[1, 2, 3, 4, 5]), ValueError, "edges: expected 1 to 4"),
    (dict(edges="abc"), TypeError, "edges"),
    (dict(ripple=float("nan")), ValueError, "ripple: must be a finite"),
    (dict(atten="40"), TypeError, "atten: expected a number"),
    (dict(method="window", length=0), ValueError, "length: a window design needs"),
    (dict(method="window", length=2.5), TypeError, "length: expected an integer"),
    (dict(method="window", window="kaiser"), ValueError, "window: unknown name"),
])
def test_design_rejects_bad_arguments(kwargs, exc, text):
    args = dict(method="butterworth", band="lowpass", fs=1000.0, edges=[100, 200])
    args.update(kwargs)
    with pytest.raises(exc, match=text):
        rz.design(**args)


def test_codes_and_names_are_equivalent():
    a = rz.design(1, 3, 1000.0, [50, 100, 200, 300])
    b = rz.design("chebyshev1", "bandpass", 1000.0, [50, 100, 200, 300])
    assert a.b.tobytes() == b.b.tobytes() and a.method == "chebyshev1" and a.band == "bandpass"


@pytest.mark.parametrize("make,exc,text", [
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
])
def test_constructors_reject_bad_arguments(make, exc, text):
    with pytest.raises(exc, match=text):
        make()


@pytest.mark.parametrize("frames,exc,text", [
    (np.zeros((10, 3), dtype=np.int16), ValueError, r"frames: expected shape \(frames, 2\)"),
    (np.zeros(20, dtype=np.int16), ValueError, r"frames: expected shape"),
    (np.zeros((10, 2), dtype=np.int32), TypeError, "frames: expected dtype 'int16'"),
    (np.zeros((2, 10), dtype=np.int16).T, ValueError, "C-contiguous"),
    ([[1, 2]], TypeError, "frames: expected a numpy.ndarray"),
])
def test_frame_classes_reject_bad_frames(frames, exc, text):
    objs = [rz.FrameFilter(2, 1000.0, "int16"), rz.BesselFrameFilter(2, 1000.0, "int16"),
            rz.Decimator(2, 2, "int16"), rz.Integrator(2, 10.0, "int16")]
    for obj in objs:
        with pytest.raises(exc, match=text):
            obj(frames)


def test_int24_frames_need_packed_shape():
    dec = rz.Decimator(2, 2, "int24")
    with pytest.raises(ValueError, match=r"packed int24 frames of 2 channels need shape"):
        dec(np.zeros((10, 5), dtype=np.uint8))
    assert dec(np.zeros((10, 2, 3), dtype=np.uint8)).shape[1:] == (2, 3)


def test_channel_index_errors():
    ff = rz.FrameFilter(2, 1000.0, "int16")
    with pytest.raises(IndexError, match="channel: 2 is not in 0..1"):
        ff.design(2, "butterworth", "lowpass", [100, 200])
    with pytest.raises(IndexError, match="channel: -1"):
        rz.BesselFrameFilter(2, 1000.0, "int16").enable(-1, 15)


def test_design_for_another_rate_is_refused_by_frame_filter():
    ff = rz.FrameFilter(1, 1000.1, "float32")
    with pytest.raises(ValueError, match="float32"):
        ff.design(0, rz.design("butterworth", "lowpass", 1000.1, [100, 200]))
    ff.design(0, rz.design("butterworth", "lowpass", ff.fs, [100, 200]))
