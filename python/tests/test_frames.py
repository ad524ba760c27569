"""Frame filters, decimator, integrator and Kaiser designs: in-place
processing of frames x channels arrays, bit for bit the C++ classes' output."""

import numpy as np
import pytest
import scipy.signal as ss

import rzfilterfunc as rz
from conftest import CODES, bits, channel_designs
from test_design import WIDE

DTYPES = ["int16", "float32", "int32"]


def raw_frames(rng, frames, channels, dtype):
    t = np.arange(frames)[:, None] / 1000.0
    x = 3000 * np.sin(2 * np.pi * (5 + 40 * np.arange(channels)) * t)
    x = x + 800 * rng.standard_normal((frames, channels))
    return (x * 1000 if dtype == "int32" else x).astype(dtype)  # int32 beyond 2**24: rounding


def run(obj, frames, piece):
    """Processes a copy in pieces of `piece` frames, the last one short."""
    work = frames.copy()
    for start in range(0, len(work), piece):
        obj(work[start:start + piece])
    return work


@pytest.mark.parametrize("sections", [False, True])
@pytest.mark.parametrize("dtype", DTYPES)
def test_frame_filter_identical_to_library(ref, rng, dtype, sections):
    fs = 360.0 if sections else 1000.0
    designs = {0: rz.design(**WIDE), 3: rz.design("chebyshev1", "lowpass", fs, [40, 60])} \
        if sections else {0: rz.design("butterworth", "lowpass", fs, [100, 200]),
                          1: rz.design("window", "highpass", fs, [50], length=31),
                          3: rz.design("chebyshev2", "bandpass", fs, [50, 100, 200, 300])}
    frames = raw_frames(rng, 3000, 4, dtype)
    ff = rz.FrameFilter(4, fs, dtype, sections=sections)
    assert ff.sections == sections
    for ch, d in designs.items():
        ff.design(ch, d)
    ours = run(ff, frames, 700)
    cmd = "frames-sections" if sections else "frames"
    assert bits(ours) == ref.stream(frames, [cmd, CODES[dtype], 4, fs.hex(), 512],
                                    channel_designs(designs))
    assert bits(ours[:, 2]) == bits(frames[:, 2])  # undesigned: passed through
    if dtype == "float32":  # a float channel is the block filter's output
        expected = rz.Filter(designs[0], sections=sections)(np.ascontiguousarray(frames[:, 0]))
        assert bits(ours[:, 0]) == bits(expected)


def test_int16_results_truncate_toward_zero_with_wraparound():
    d = rz.design("window", "lowpass", 1000.0, [100], length=21, window="hann")
    x = np.linspace(-30000, 30000, 4000).astype(np.int16)[:, None]
    f32 = rz.Filter(d)(x[:, 0].astype(np.float32))
    ff = rz.FrameFilter(1, 1000.0, np.int16)
    ff.design(0, d)
    ff(x)
    assert bits(x[:, 0]) == bits(((np.trunc(f32).astype(np.int64) + 32768) % 65536 - 32768)
                                 .astype(np.int16))


def test_refused_design_leaves_channel_unfiltered(rng):
    ff = rz.FrameFilter(2, 512.0, "int16")
    with pytest.raises(rz.DesignError, match="输入的频率应小于等于采样频率/2.56！"):
        ff.design(0, "butterworth", "lowpass", [100, 300])
    frames = raw_frames(rng, 100, 2, "int16")
    assert bits(run(ff, frames, 100)) == bits(frames)


@pytest.mark.parametrize("dtype", DTYPES)
def test_bessel_identical_to_library(ref, rng, dtype):
    frames = raw_frames(rng, 2500, 3, dtype)
    bf = rz.BesselFrameFilter(3, 1000.0, dtype)
    assert bf.enable(0, 15)
    assert bf.enable(2, 100)
    ours = run(bf, frames, 1000)
    assert bits(ours) == ref.stream(frames, ["bessel", CODES[dtype], 3, 1000.0.hex(), 333],
                                    ["0,15", "2,100"])
    assert bits(ours[:, 1]) == bits(frames[:, 1])


def test_bessel_unknown_pair_is_reported():
    bf = rz.BesselFrameFilter(1, 999.9, "float32")
    with pytest.raises(ValueError, match="no Bessel section for 4 Hz at 999 Hz"):
        bf.enable(0, 4)
    assert bf.enable(0, 4, check=False) is False


@pytest.mark.parametrize("make,frames,tol", [
    (lambda: rz.BesselFrameFilter(1, 1000.0, "float32"), 400, 1e-3),  # the table's rounding
    (lambda: rz.Decimator(1, 10, "float32"), 20000, 0.3),  # taps sum to 1 within 0.03 %
])
def test_constant_input_settles_to_the_constant(make, frames, tol):
    obj = make()
    if isinstance(obj, rz.BesselFrameFilter):
        obj.enable(0, 40)
    x = np.full((frames, 1), 1000.0, dtype=np.float32)
    out = obj(x)
    assert np.all(np.abs(out[-100:] - 1000.0) <= tol)


@pytest.mark.parametrize("dtype", DTYPES + ["int24"])
@pytest.mark.parametrize("ratio", [2, 10, 100])
def test_decimator_identical_to_library(ref, rng, dtype, ratio):
    values = raw_frames(rng, 12345, 3, "int32" if dtype == "int24" else dtype)
    frames = values if dtype != "int24" else rz.pack_int24(
        np.clip(values, -(1 << 23), (1 << 23) - 1)).reshape(len(values), 9)
    theirs = ref.stream(frames, ["decimate", CODES[dtype], 3, ratio, 4096], ["1000,1,101"])
    dec = rz.Decimator(3, ratio, dtype, filter_channels=[0, 2], block_frames=1000)
    assert dec.startup_remaining > 0
    out = feed(dec, frames, 4096)
    assert bits(out) == theirs
    assert dec.startup_remaining == 0
    # Filtered channels do not depend on where the stream is cut; the pass-through
    # channel does (it takes the leading samples of each inner block).
    other = feed(rz.Decimator(3, ratio, dtype, filter_channels=[0, 2], block_frames=1000),
                 frames, 777)
    cols = lambda a: a.reshape(len(a), 3, -1)[:, [0, 2]]  # noqa: E731
    assert other.shape == out.shape
    assert bits(cols(other)) == bits(cols(out))


def feed(dec, frames, piece):
    work = frames.copy()
    return np.concatenate([dec(work[s:s + piece]).copy() for s in range(0, len(work), piece)])


def test_decimator_returns_a_view_of_its_input(rng):
    frames = raw_frames(rng, 1000, 2, "float32")
    out = rz.Decimator(2, 5, "float32", discard_startup=False)(frames)
    assert out.base is frames or out.base is frames.base
    assert out.shape == (200, 2)


def test_int24_packing_round_trip():
    values = np.array([0, 1, -1, 8388607, -8388608, 123456, -654321], dtype=np.int32)
    packed = rz.pack_int24(values)
    assert packed[3].tolist() == [0xFF, 0xFF, 0x7F]
    assert packed[4].tolist() == [0, 0, 0x80]
    assert rz.unpack_int24(packed).tolist() == values.tolist()


@pytest.mark.parametrize("dtype", DTYPES)
def test_integrator_identical_to_library(ref, rng, dtype):
    # Channel 3 listed twice: integrated twice per call, so the result depends on
    # where calls cut the stream; both sides use pieces of 999 frames.
    frames = raw_frames(rng, 5000, 4, dtype)
    ours = run(rz.Integrator(4, 250.0, dtype, select=[1, 3, 3]), frames, 999)
    assert bits(ours) == ref.stream(frames, ["integrate", CODES[dtype], 4, 250.0.hex(), 999],
                                    [1, 3, 3])


def test_integrator_trapezoid_example():
    # Constant 2.0 at 1 Hz in two calls of 3 frames: 0, 2, 4 then 6, 8, 10.
    out = run(rz.Integrator(1, 1.0, "float32"), np.full((6, 1), 2.0, dtype=np.float32), 3)
    assert out[:, 0].tolist() == [0.0, 2.0, 4.0, 6.0, 8.0, 10.0]


def test_kaiser_identical_to_library(ref):
    taps = rz.kaiser(1000.0, "lowpass", [100, 150], 60)
    assert bits(taps) == bits(np.array([float.fromhex(v) for v in ref.run(
        "kaiser4", 1000.0.hex(), 1, 100.0.hex(), 150.0.hex(), 150.0.hex(), 150.0.hex(), 60)
        .split()[2:]]))
    # 60 dB, transition 0.1 of Nyquist: n = trunc(52.05 / 1.436 + 1) = 37, 75 taps.
    t2 = rz.kaiser(1000.0, "bandpass", [100, 200], 60, transition=0.1)
    assert bits(t2) == bits(np.array([float.fromhex(v) for v in ref.run(
        "kaiser2", 1000.0.hex(), 3, 100.0.hex(), 200.0.hex(), 60, 0.1.hex()).split()[2:]]))
    assert len(t2) == 75
    with pytest.raises(ValueError, match="refused"):
        rz.kaiser(1000.0, "lowpass", [150, 100], 60)


def test_kaiser_bandpass_matches_firwin():
    # Kaiser's window with beta = 0.1102 (A - 8.7), cut-offs moved half a
    # transition outwards: scipy's firwin builds the same taps (scaled 2**14).
    expected = ss.firwin(75, [0.15, 0.45], window=("kaiser", 0.1102 * (60 - 8.7)),
                         pass_zero=False, scale=False, fs=2.0) * 16384
    t2 = rz.kaiser(1000.0, "bandpass", [100, 200], 60, transition=0.1)
    np.testing.assert_allclose(t2, expected, rtol=0, atol=1e-9 * 16384)
