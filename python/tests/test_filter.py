"""Block filtering: the package's Filter against FilterUser::FilterData run by
the C++ driver (bit for bit), and against scipy.signal.lfilter."""

import threading

import numpy as np
import pytest
import scipy.signal as ss

import rzfilterfunc as rz
from conftest import bits

DESIGNS = {
    "butterworth": dict(method="butterworth", band="bandpass", fs=1000.0,
                        edges=[50, 100, 200, 300]),
    "chebyshev1": dict(method="chebyshev1", band="lowpass", fs=1000.0, edges=[100, 200]),
    "chebyshev2": dict(method="chebyshev2", band="highpass", fs=1000.0, edges=[100, 200]),
    "window": dict(method="window", band="bandstop", fs=1000.0, edges=[100, 200], length=40,
                   window="blackman"),
    "average": dict(method="average", band="lowpass", fs=1000.0, edges=[100], length=7),
}


def signal(rng, n):
    t = np.arange(n) / 1000.0
    return (np.sin(2 * np.pi * 30 * t) + 0.5 * rng.standard_normal(n)).astype(np.float32) * 1000


@pytest.mark.parametrize("name", DESIGNS)
def test_blocks_and_reset_identical_to_library(ref, rng, name):
    d = rz.design(**DESIGNS[name])
    x = signal(rng, 5000)
    f = rz.Filter(d)
    # The package in uneven pieces; the driver in other pieces and one restart.
    ours = np.concatenate([f(x[:1]), f(x[1:1234]), f(x[1234:3000])])
    f.reset()
    ours = np.concatenate([ours, f(x[3000:])])
    theirs = ref.filter(d.spec, x, blocks=(997, 13), reset_at=3000)
    assert bits(ours) == bits(theirs)


def test_in_place_and_out_argument_give_the_same_bits(rng):
    d = rz.design(**DESIGNS["chebyshev1"])
    x = signal(rng, 3000)
    expected = rz.Filter(d)(x)
    y = x.copy()
    assert rz.Filter(d)(y, out=y) is y
    out = np.empty_like(x)
    rz.Filter(d)(x, out=out)
    assert bits(y) == bits(expected) == bits(out)


@pytest.mark.parametrize("name", ["butterworth", "chebyshev1", "chebyshev2"])
def test_iir_agrees_with_lfilter(rng, name):
    # Same transposed direct form II in double precision; the library rounds
    # each output to float32, so agreement is to float32 rounding (1e-6 of the
    # signal scale covers a few ulp).
    d = rz.design(**DESIGNS[name])
    x = signal(rng, 20000)
    y = rz.Filter(d)(x)
    expected = ss.lfilter(d.b, d.a, x.astype(np.float64))
    np.testing.assert_allclose(y, expected, rtol=0, atol=1e-6 * np.abs(expected).max())


@pytest.mark.parametrize("name", ["window", "average"])
def test_fir_agrees_with_lfilter(rng, name):
    # The FIR branch rounds every product to float32 before summing: 1e-5 of
    # the signal scale bounds that for these tap counts.
    d = rz.design(**DESIGNS[name])
    x = signal(rng, 20000)
    y = rz.Filter(d)(x)
    expected = ss.lfilter(d.b, d.a, x.astype(np.float64))
    np.testing.assert_allclose(y, expected, rtol=0, atol=1e-5 * np.abs(expected).max())


def test_moving_average_step_response():
    # Length 4 on a step from 0 to 1: 0.25, 0.5, 0.75, 1, 1 (exact binary fractions).
    f = rz.Filter(rz.design("average", "lowpass", 1000.0, [10], length=4))
    y = f(np.array([1, 1, 1, 1, 1], dtype=np.float32))
    assert y.tolist() == [0.25, 0.5, 0.75, 1.0, 1.0]


def test_two_threads_filter_in_parallel_as_sequentially(rng):
    d1 = rz.design(**DESIGNS["chebyshev1"])
    d2 = rz.design(**DESIGNS["window"])
    x1, x2 = signal(rng, 400_000), signal(rng, 400_000)
    sequential = (rz.Filter(d1)(x1), rz.Filter(d2)(x2))
    results = [None, None]
    filters = (rz.Filter(d1), rz.Filter(d2))

    def work(i, x):
        results[i] = filters[i](x)

    threads = [threading.Thread(target=work, args=(i, x)) for i, x in enumerate((x1, x2))]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert bits(results[0]) == bits(sequential[0]) and bits(results[1]) == bits(sequential[1])


def test_gil_is_released_while_filtering(rng):
    # While one thread filters a long array, another thread keeps running Python.
    f = rz.Filter(rz.design(**DESIGNS["window"]))
    x = signal(rng, 3_000_000)
    ticks = []
    done = threading.Event()

    def count():
        while not done.is_set():
            ticks.append(1)

    t = threading.Thread(target=count)
    t.start()
    try:
        f(x)
    finally:
        done.set()
        t.join()
    # With the GIL held the counter would get only the interpreter's switch slices.
    assert len(ticks) > 1000


def test_second_thread_on_a_busy_filter_is_refused(rng):
    f = rz.Filter(rz.design(**DESIGNS["window"]))
    x = signal(rng, 3_000_000)
    errors, finished = [], []

    def long_call():
        while True:  # retried until this thread, not the short calls, holds the filter
            try:
                f(x)
                finished.append(True)
                return
            except RuntimeError:
                pass

    t = threading.Thread(target=long_call)
    t.start()
    while t.is_alive() and not errors:
        try:
            f(x[:10])
        except RuntimeError as err:
            errors.append(str(err))
    t.join()
    assert finished and errors and "another thread" in errors[0]
