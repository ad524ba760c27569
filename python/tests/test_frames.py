"""Frame filters, decimator and integrator: in-place processing of
frames × channels arrays, bit for bit the C++ classes' output."""

import numpy as np
import pytest

import rzfilterfunc as rz
from conftest import bits

DTYPES = [("int16", 0), ("float32", 1), ("int32", 2)]


def raw_frames(rng, frames, channels, dtype):
    t = np.arange(frames)[:, None] / 1000.0
    x = 3000 * np.sin(2 * np.pi * (5 + 40 * np.arange(channels)) * t)
    x = x + 800 * rng.standard_normal((frames, channels))
    if dtype == "int32":
        x = x * 1000  # values beyond 2**24 exercise the float rounding
    return x.astype(dtype)


@pytest.mark.parametrize("dtype,code", DTYPES)
def test_frame_filter_identical_to_library(ref, rng, dtype, code):
    fs = 1000.0
    frames = raw_frames(rng, 3000, 4, dtype)
    designs = {
        0: rz.design("butterworth", "lowpass", fs, [100, 200]),
        1: rz.design("window", "highpass", fs, [50], length=31, window="hamming"),
        3: rz.design("chebyshev2", "bandpass", fs, [50, 100, 200, 300]),
    }  # channel 2 stays undesigned and passes through
    ff = rz.FrameFilter(4, fs, dtype)
    for ch, d in designs.items():
        ff.design(ch, d)
    ours = frames.copy()
    for start in range(0, 3000, 700):  # blocks of 700 frames, the last one short
        ff(ours[start:start + 700])
    theirs = ref.frames(code, fs, frames, 512, [(ch, d.spec) for ch, d in designs.items()])
    assert bits(ours) == theirs
    assert bits(ours[:, 2]) == bits(frames[:, 2])


def test_frame_filter_matches_block_filter_on_float_channel(rng):
    # A float32 channel goes through the channel's FilterData unchanged.
    fs = 1000.0
    d = rz.design("chebyshev1", "lowpass", fs, [100, 200])
    frames = raw_frames(rng, 2000, 2, "float32")
    expected = rz.Filter(d)(np.ascontiguousarray(frames[:, 1]))
    ff = rz.FrameFilter(2, fs, "float32")
    ff.design(1, "chebyshev1", "lowpass", [100, 200])
    ff(frames)
    assert bits(frames[:, 1]) == bits(expected)


def test_int16_results_truncate_and_wrap():
    # A moving average of length 1 is the identity gain 1.0; a Filter-side
    # check of the conversion: scale through a float channel is exact, so the
    # int16 path shows truncation toward zero of the same float results.
    fs = 1000.0
    d = rz.design("window", "lowpass", fs, [100], length=21, window="hann")
    x = (np.linspace(-30000, 30000, 4000)).astype(np.int16)[:, None]
    f32 = rz.Filter(d)(x[:, 0].astype(np.float32))
    ff = rz.FrameFilter(1, fs, np.int16)
    ff.design(0, d)
    ff(x)
    expected = np.trunc(f32).astype(np.int64)
    expected = ((expected + 32768) % 65536 - 32768).astype(np.int16)
    assert bits(x[:, 0]) == bits(expected)


def test_frame_filter_refusal_leaves_channel_unfiltered(rng):
    ff = rz.FrameFilter(2, 512.0, "int16")
    with pytest.raises(rz.DesignError) as info:
        ff.design(0, "butterworth", "lowpass", [100, 300])
    assert info.value.message == "输入的频率应小于等于采样频率/2.56！"
    frames = raw_frames(rng, 100, 2, "int16")
    before = frames.copy()
    ff(frames)
    assert bits(frames) == bits(before)


@pytest.mark.parametrize("dtype,code", DTYPES)
def test_bessel_identical_to_library(ref, rng, dtype, code):
    frames = raw_frames(rng, 2500, 3, dtype)
    bf = rz.BesselFrameFilter(3, 1000.0, dtype)
    assert bf.enable(0, 15) and bf.enable(2, 100)
    ours = frames.copy()
    bf(ours[:1000])
    bf(ours[1000:])
    assert bits(ours) == ref.bessel(code, 1000.0, frames, 333, [(0, 15), (2, 100)])
    assert bits(ours[:, 1]) == bits(frames[:, 1])


def test_bessel_unknown_pair_is_reported():
    bf = rz.BesselFrameFilter(1, 999.9, "float32")
    with pytest.raises(ValueError, match="no Bessel section for 4 Hz at 999 Hz"):
        bf.enable(0, 4)
    assert bf.enable(0, 4, check=False) is False


def test_bessel_constant_input_settles_to_the_constant():
    # Unity gain at 0 Hz within the table's rounding (1e-6 relative).
    bf = rz.BesselFrameFilter(1, 1000.0, "float32")
    bf.enable(0, 40)
    x = np.full((400, 1), 1000.0, dtype=np.float32)
    bf(x)
    assert abs(x[-1, 0] - 1000.0) < 1e-3


@pytest.mark.parametrize("dtype,code", DTYPES + [("int24", 3)])
@pytest.mark.parametrize("ratio", [2, 10, 100])
def test_decimator_identical_to_library(ref, rng, dtype, code, ratio):
    channels, n = 3, 12345
    values = raw_frames(rng, n, channels, "int32" if dtype == "int24" else dtype)
    if dtype == "int24":
        values = np.clip(values, -(1 << 23), (1 << 23) - 1)
        frames = rz.pack_int24(values).reshape(n, channels * 3)
    else:
        frames = values
    flags = [True, False, True]
    theirs = ref.decimate(code, channels, ratio, 1000, True, flags, frames.tobytes(), 4096)
    dec = rz.Decimator(channels, ratio, dtype, filter_channels=[0, 2], block_frames=1000)
    assert dec.startup_remaining > 0
    out = feed(dec, frames.copy(), 4096)  # the driver's pieces
    assert bits(out) == theirs
    assert dec.startup_remaining == 0
    # Filtered channels do not depend on how the stream is cut; the pass-through
    # channel does (it takes the leading samples of each inner block).
    other = feed(rz.Decimator(channels, ratio, dtype, filter_channels=[0, 2], block_frames=1000),
                 frames.copy(), 777)
    width = 3 if dtype == "int24" else 1
    cols = lambda a: a.reshape(len(a), channels, -1)[:, [0, 2]]  # noqa: E731
    assert other.shape == out.shape and bits(cols(other)) == bits(cols(out)), width


def feed(dec, work, piece):
    return np.concatenate([dec(work[s:s + piece]).copy() for s in range(0, len(work), piece)])


def test_decimator_returns_a_view_of_its_input(rng):
    frames = raw_frames(rng, 1000, 2, "float32")
    dec = rz.Decimator(2, 5, "float32", discard_startup=False)
    out = dec(frames)
    assert out.base is frames or out.base is frames.base
    assert out.shape == (200, 2)


def test_decimator_constant_settles_to_the_taps_sum():
    # Unit gain at 0 Hz within 0.03 %, after the start-up span.
    dec = rz.Decimator(1, 10, "float32")
    out = dec(np.full((20000, 1), 1000.0, dtype=np.float32))
    assert np.all(np.abs(out[-100:] - 1000.0) <= 0.3)


def test_int24_packing_round_trip():
    values = np.array([0, 1, -1, 8388607, -8388608, 123456, -654321], dtype=np.int32)
    packed = rz.pack_int24(values)
    assert packed[3].tolist() == [0xFF, 0xFF, 0x7F] and packed[4].tolist() == [0, 0, 0x80]
    assert rz.unpack_int24(packed).tolist() == values.tolist()


@pytest.mark.parametrize("dtype,code", DTYPES)
def test_integrator_identical_to_library(ref, rng, dtype, code):
    frames = raw_frames(rng, 5000, 4, dtype)
    select = [1, 3, 3]  # channel 3 twice: integrated twice per call, one record
    ours = frames.copy()
    integ = rz.Integrator(4, 250.0, dtype, select=select)
    for start in range(0, 5000, 999):
        integ(ours[start:start + 999])
    # The same pieces as the driver: a channel listed twice makes the result
    # depend on where calls cut the stream.
    assert bits(ours) == ref.integrate(code, 250.0, frames, 999, select)


def test_integrator_trapezoid_example():
    # Constant 2.0 at 1 Hz in two calls of 3 frames: 0, 2, 4 then 6, 8, 10.
    integ = rz.Integrator(1, 1.0, "float32")
    a = np.full((3, 1), 2.0, dtype=np.float32)
    b = a.copy()
    integ(a)
    integ(b)
    assert a[:, 0].tolist() == [0.0, 2.0, 4.0] and b[:, 0].tolist() == [6.0, 8.0, 10.0]


def test_kaiser_identical_to_library_and_close_to_firwin(ref):
    import scipy.signal as ss

    taps = rz.kaiser(1000.0, "lowpass", [100, 150], 60)
    assert bits(taps) == bits(ref.kaiser("kaiser4", 1000.0, 1, 100.0, 150.0, 150.0, 150.0, 60))
    # 60 dB, transition 0.1 of Nyquist: n = trunc(52.05 / 1.436 + 1) = 37, 75 taps.
    t2 = rz.kaiser(1000.0, "bandpass", [100, 200], 60, transition=0.1)
    assert bits(t2) == bits(ref.kaiser("kaiser2", 1000.0, 3, 100.0, 200.0, 60, 0.1))
    assert len(t2) == 75
    # Kaiser's window with beta = 0.1102 (A - 8.7), cut-offs moved half a
    # transition outwards: scipy's firwin builds the same taps (scaled 2**14).
    beta = 0.1102 * (60 - 8.7)
    ref_taps = ss.firwin(75, [0.2 - 0.05, 0.4 + 0.05], window=("kaiser", beta), pass_zero=False,
                         scale=False, fs=2.0) * 16384
    np.testing.assert_allclose(t2, ref_taps, rtol=0, atol=1e-9 * 16384)
    with pytest.raises(ValueError, match="refused"):
        rz.kaiser(1000.0, "lowpass", [150, 100], 60)
