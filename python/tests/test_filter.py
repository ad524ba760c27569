"""Block filtering: Filter bit for bit FilterUser::FilterData (direct form
and section cascade), and the same filtering as scipy.signal."""

import threading
import warnings

import numpy as np
import pytest
import scipy.misc
import scipy.signal as ss

import rzfilterfunc as rz
from conftest import bits
from test_design import ALL, IIR, WIDE

ROWS = [(n, False) for n in ("butterworth-bandpass", "chebyshev1-lowpass",
                             "chebyshev2-highpass", "window-bandstop", "average")]
ROWS += [(n, True) for n in ("chebyshev2-bandstop", "wide-bandpass", "window-bandpass")]


def signal(rng, n, fs=1000.0):
    t = np.arange(n) / fs
    return ((np.sin(2 * np.pi * 30 * t) + 0.5 * rng.standard_normal(n) + 0.3) * 1000).astype(
        np.float32)


@pytest.mark.parametrize("name,sections", ROWS)
def test_pieces_with_a_restart_identical_to_library(ref, rng, name, sections):
    d = rz.design(**ALL[name])
    x = signal(rng, 5000, d.fs)
    f = rz.Filter(d, sections=sections)
    assert f.sections == sections
    ours = [f(x[:1]), f(x[1:1234]), f(x[1234:3000])]
    f.reset()
    ours = np.concatenate(ours + [f(x[3000:])])
    assert bits(ours) == bits(ref.filter(d.spec, x, [997, 13, 1990, 0, 1021, 7, 972], sections))
    if name.startswith("window"):  # the mode only concerns IIR designs
        assert bits(rz.Filter(d)(x[3000:])) == bits(ours[3000:])


@pytest.mark.parametrize("sections", [False, True])
def test_in_place_or_out_argument_gives_the_same_bits(rng, sections):
    d = rz.design(**WIDE)
    x = signal(rng, 3000, d.fs)
    expected = rz.Filter(d, sections=sections)(x)
    y, out = x.copy(), np.empty_like(x)
    assert rz.Filter(d, sections=sections)(y, out=y) is y
    assert rz.Filter(d, sections=sections)(x, out=out) is out
    assert bits(y) == bits(expected)
    assert bits(out) == bits(expected)


def sosfilt_tolerance(expected):
    """The cascade runs in double precision and rounds each output to float32
    once; scipy's sosfilt may sum in another order: half a float32 ulp (2**-24
    relative) plus 1e-9 of the signal's scale."""
    return np.abs(expected) * 2.0**-24 + 1e-9 * np.abs(expected).max()


@pytest.mark.parametrize("name", ["butterworth-bandpass", "chebyshev1-lowpass",
                                  "chebyshev2-highpass", "window-bandstop", "average"])
def test_direct_form_agrees_with_lfilter(rng, name):
    # IIR: the same transposed direct form II in double precision, each output
    # rounded to float32 (1e-6 of the signal scale covers a few ulp). FIR: every
    # product is rounded to float32 before summing (1e-5 of the scale).
    d = rz.design(**ALL[name])
    x = signal(rng, 20000)
    expected = ss.lfilter(d.b, d.a, x.astype(np.float64))
    atol = (1e-6 if name in IIR else 1e-5) * np.abs(expected).max()
    np.testing.assert_allclose(rz.Filter(d)(x), expected, rtol=0, atol=atol)


@pytest.mark.parametrize("name", ["butterworth-lowpass", "chebyshev1-bandpass",
                                  "chebyshev2-bandstop", "wide-bandpass"])
def test_sections_agree_with_sosfilt(rng, name):
    d = rz.design(**ALL[name])
    x = signal(rng, 30000, d.fs)
    expected = ss.sosfilt(d.sos, x.astype(np.float64))
    assert np.all(np.abs(rz.Filter(d, sections=True)(x) - expected) <= sosfilt_tolerance(expected))


def test_moving_average_step_response():
    # Length 4 on a step from 0 to 1: 0.25, 0.5, 0.75, 1, 1 (exact binary fractions).
    f = rz.Filter(rz.design("average", "lowpass", 1000.0, [10], length=4))
    assert f(np.ones(5, dtype=np.float32)).tolist() == [0.25, 0.5, 0.75, 1.0, 1.0]


def test_wide_bandpass_on_ecg_stays_finite_only_with_sections():
    with warnings.catch_warnings():  # Debian's scipy ships the recording, offline
        warnings.simplefilter("ignore", DeprecationWarning)
        ecg = scipy.misc.electrocardiogram().astype(np.float32)
    d = rz.design(**WIDE)
    assert not np.all(np.isfinite(rz.Filter(d)(ecg)))  # the single polynomial diverges
    clean = rz.Filter(d, sections=True)(ecg)
    expected = ss.sosfilt(d.sos, ecg.astype(np.float64))
    assert np.all(np.abs(clean - expected) <= sosfilt_tolerance(expected))
    # Baseline out: after 10 s of settling the mean of each 10 s window is within
    # 0.02 mV of zero, where the recording's baseline moves by tenths of a mV.
    window = int(10 * d.fs)
    settled = clean[window:][: (len(clean) - window) // window * window]
    assert np.abs(settled.reshape(-1, window).mean(axis=1)).max() < 0.02


def test_busy_filter_refuses_other_threads_while_they_keep_running(rng):
    # While one thread filters a long array, another keeps running Python (the
    # GIL is released) and its calls on that filter are refused; the long call's
    # result is the one a single thread gets.
    f = rz.Filter(rz.design(**ALL["window-bandstop"]))
    x = signal(rng, 3_000_000)
    result, errors = [], []

    def long_call():
        while not result:  # retried until this thread, not the short calls, holds the filter
            try:
                result.append(f(x))
            except RuntimeError:
                pass

    worker = threading.Thread(target=long_call)
    worker.start()
    while worker.is_alive():
        try:
            f(x[:10])
        except RuntimeError as err:
            errors.append(str(err))
    worker.join()
    assert len(errors) > 100  # with the GIL held during the call, hardly any
    assert "another thread" in errors[0]
    assert bits(result[0]) == bits(rz.Filter(f.design)(x))
