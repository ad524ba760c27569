"""Second-order sections and pole radius: bit for bit the C++ FilterUser's and
CChnsFilterFunc's, the same responses scipy.signal designs as sos arrays, the
same filtering as scipy.signal.sosfilt, and the ill-conditioned wide band-pass
at 360 Hz that only the section cascade can run."""

import warnings

import mpmath
import numpy as np
import pytest
import scipy.misc
import scipy.signal as ss

import rzfilterfunc as rz
from conftest import bits

FS = 1000.0
ECG_FS = 360.0
# Baseline wander and everything above 40 Hz out of an ECG: pass band
# 0.5..40 Hz. Multiplied into one polynomial the poles near z = 1 are lost.
WIDE_BANDPASS = dict(method="butterworth", band="bandpass", fs=ECG_FS, edges=[0.3, 0.5, 40, 60])

IIR = {
    "butter-lowpass": dict(method="butterworth", band="lowpass", fs=FS, edges=[100, 200]),
    "butter-bandstop": dict(method="butterworth", band="bandstop", fs=FS,
                            edges=[50, 100, 200, 300]),
    "cheby1-highpass": dict(method="chebyshev1", band="highpass", fs=FS, edges=[100, 200]),
    "cheby1-bandpass": dict(method="chebyshev1", band="bandpass", fs=FS,
                            edges=[50, 100, 200, 300], ripple=0.5),
    "cheby2-lowpass": dict(method="chebyshev2", band="lowpass", fs=FS, edges=[100, 200],
                           atten=60.0),
    "cheby2-bandstop": dict(method="chebyshev2", band="bandstop", fs=FS,
                            edges=[50, 100, 200, 300]),
    "wide-bandpass": WIDE_BANDPASS,
}
FIR = {
    "window": dict(method="window", band="bandpass", fs=FS, edges=[100, 200], length=41,
                   window="hamming"),
    "average": dict(method="average", band="lowpass", fs=FS, edges=[100], length=7),
}


def signal(rng, n, fs=FS):
    t = np.arange(n) / fs
    x = np.sin(2 * np.pi * 30 * t) + 0.5 * rng.standard_normal(n) + 0.3
    return (x * 1000).astype(np.float32)


def sosfilt_tolerance(expected):
    """The cascade runs in double precision and rounds each output to float32
    once; scipy's sosfilt is the same recursion in double precision, whose
    summation order may differ in the last bits. So every sample agrees to one
    float32 rounding (half a float32 ulp of the value, 2**-24 relative) plus
    double-precision noise of 1e-9 of the signal's scale."""
    return np.abs(expected) * 2.0**-24 + 1e-9 * np.abs(expected).max()


@pytest.mark.parametrize("name", list(IIR) + list(FIR))
def test_sections_and_pole_radius_identical_to_library(ref, name):
    d = rz.design(**{**IIR, **FIR}[name])
    r = ref.design(d.spec)
    assert d.sos.shape == r["sections"].shape and d.sos.dtype == np.float64
    assert bits(d.sos) == bits(r["sections"])
    assert d.pole_radius == r["poleradius"]
    if name in FIR:
        assert d.sos.shape == (0, 6) and d.pole_radius == 0.0
    else:
        assert d.sos.shape[0] >= 1 and np.all(d.sos[:, 3] == 1.0)


def test_refused_design_has_no_sections(ref):
    refused = rz.design("butterworth", "lowpass", 512.0, [100, 300], check=False)
    r = ref.design(refused.spec)
    assert refused.sos.shape == (0, 6) == r["sections"].shape
    assert refused.pole_radius == r["poleradius"]


@pytest.mark.parametrize("name", list(IIR) + list(FIR))
def test_section_filter_identical_to_library(ref, rng, name):
    d = rz.design(**{**IIR, **FIR}[name])
    x = signal(rng, 6000, d.fs)
    f = rz.Filter(d, sections=True)
    assert f.sections
    ours = np.concatenate([f(x[:1]), f(x[1:2345]), f(x[2345:4000])])
    f.reset()
    ours = np.concatenate([ours, f(x[4000:])])
    theirs = ref.filter(d.spec, x, blocks=(1021, 7), reset_at=4000, sections=True)
    assert bits(ours) == bits(theirs)
    if name in FIR:  # the mode only concerns IIR designs
        plain = rz.Filter(d)
        assert bits(np.concatenate([plain(x[:4000]), rz.Filter(d)(x[4000:])])) == bits(ours)


@pytest.mark.parametrize("name", list(IIR))
def test_section_filter_agrees_with_sosfilt(rng, name):
    d = rz.design(**IIR[name])
    x = signal(rng, 30000, d.fs)
    y = rz.Filter(d, sections=True)(x)
    expected = ss.sosfilt(d.sos, x.astype(np.float64))
    assert np.all(np.isfinite(y))
    assert np.all(np.abs(y - expected) <= sosfilt_tolerance(expected))


def test_section_filter_in_place_and_out_give_the_same_bits(rng):
    d = rz.design(**WIDE_BANDPASS)
    x = signal(rng, 5000, ECG_FS)
    expected = rz.Filter(d, sections=True)(x)
    y = x.copy()
    assert rz.Filter(d, sections=True)(y, out=y) is y
    assert bits(y) == bits(expected)


def prewarped(f, fs):
    return np.tan(np.pi * np.asarray(f, dtype=float) / fs)


def cheby1_ripple(order, atten, stop_ratio):
    """Pass-band ripple (dB) of the library's Chebyshev I designs: the order
    is rounded up and the stop edge then gets exactly |H|^2 = 1 / (1 + 10^(A/10)),
    so eps = 10^(A/20) / T_n(stop edge / pass edge) on the pre-warped axis."""
    eps2 = 10 ** (atten / 10) / np.cosh(order * np.arccosh(stop_ratio)) ** 2
    return 10 * np.log10(1 + eps2)


def cheby1_bandpass_sos(order):
    fs, pass_edges, stop_edges = FS, [100, 200], [50, 300]
    lo, hi = prewarped(pass_edges, fs)
    ratio = min(abs(w * w - lo * hi) / (w * (hi - lo)) for w in prewarped(stop_edges, fs))
    return ss.cheby1(order // 2, cheby1_ripple(order // 2, 40.0, ratio), pass_edges, "bandpass",
                     fs=fs, output="sos")


# scipy's designs of the same filters: the library puts the Butterworth -3 dB
# points and the Chebyshev I ripple edges on the pass edges, the Chebyshev II
# attenuation edge on the stop edge.
SCIPY_DESIGNS = {
    "butter-lowpass": lambda n: ss.butter(n, 100, "lowpass", fs=FS, output="sos"),
    "butter-bandstop": lambda n: ss.butter(n // 2, [50, 300], "bandstop", fs=FS, output="sos"),
    "cheby1-highpass": lambda n: ss.cheby1(
        n, cheby1_ripple(n, 40.0, prewarped(200, FS) / prewarped(100, FS)), 200, "highpass",
        fs=FS, output="sos"),
    "cheby1-bandpass": cheby1_bandpass_sos,
    "cheby2-lowpass": lambda n: ss.cheby2(n, 60.0, 200, "lowpass", fs=FS, output="sos"),
    "wide-bandpass": lambda n: ss.butter(n // 2, [0.5, 40], "bandpass", fs=ECG_FS,
                                         output="sos"),
}


@pytest.mark.parametrize("name", list(SCIPY_DESIGNS))
def test_sos_response_matches_scipy_sos_design(name):
    # Same analogue prototype, order and bilinear mapping: the cascades differ
    # in pairing and gain distribution only, so the magnitude responses agree
    # to rounding, 1e-8 dB wherever the response is above -120 dB (measured:
    # within 3e-10 dB).
    d = rz.design(**IIR[name])
    theirs = SCIPY_DESIGNS[name](d.order)
    assert theirs.shape == d.sos.shape
    freq = np.linspace(0.0, d.fs / 2, 4001)[1:-1]
    _, h = ss.sosfreqz(d.sos, worN=freq, fs=d.fs)
    _, hr = ss.sosfreqz(theirs, worN=freq, fs=d.fs)
    db, db_ref = 20 * np.log10(np.abs(h)), 20 * np.log10(np.abs(hr))
    visible = db_ref > -120
    assert visible.sum() > 100
    np.testing.assert_allclose(db[visible], db_ref[visible], rtol=0, atol=1e-8)


@pytest.mark.parametrize("name", [n for n in IIR if n != "wide-bandpass"])
def test_sos_and_transfer_function_are_one_filter(name):
    # Where the polynomial is well conditioned the two forms of one design
    # have the same response: 1e-6 dB above -120 dB (the polynomial's own
    # rounding, measured up to 6e-8 dB near the band-stop edges).
    d = rz.design(**IIR[name])
    freq = np.linspace(0.0, d.fs / 2, 2001)[1:-1]
    _, h = ss.sosfreqz(d.sos, worN=freq, fs=d.fs)
    _, htf = ss.freqz(d.b, d.a, worN=freq, fs=d.fs)
    with np.errstate(divide="ignore"):  # exact zeros of the response
        db, db_tf = 20 * np.log10(np.abs(h)), 20 * np.log10(np.abs(htf))
    visible = db_tf > -120
    np.testing.assert_allclose(db[visible], db_tf[visible], rtol=0, atol=1e-6)


def largest_root_mp(a, digits=80):
    """Largest root magnitude of the polynomial with exactly the coefficients
    a (doubles taken as exact), by multiple-precision root finding."""
    with mpmath.workdps(digits):
        roots = mpmath.polyroots([mpmath.mpf(float(c)) for c in a], maxsteps=2000,
                                 extraprec=4 * digits)
        return float(max(abs(r) for r in roots))


@pytest.mark.parametrize("name", list(IIR))
def test_pole_radius_is_the_largest_root_of_a(name):
    d = rz.design(**IIR[name])
    exact = largest_root_mp(d.a)
    # Equal to the multiple-precision roots of the stored a to 1e-12.
    assert d.pole_radius == pytest.approx(exact, rel=1e-12, abs=0)
    # numpy's double-precision roots land on the same side of 1.0.
    assert (d.pole_radius >= 1.0) == (np.abs(np.roots(d.a)).max() >= 1.0)


def test_wide_bandpass_polynomial_unstable_sections_stable():
    d = rz.design(**WIDE_BANDPASS)
    assert d.stable and d.usable  # the library's flag reports the order check only
    assert d.pole_radius >= 1.0
    assert np.abs(np.roots(d.a)).max() >= 1.0
    # Each section's own poles are inside the unit circle.
    section_poles = np.concatenate([np.roots(row[3:]) for row in d.sos])
    assert np.abs(section_poles).max() < 1.0
    for name in (n for n in IIR if n != "wide-bandpass"):
        assert 0.0 < rz.design(**IIR[name]).pole_radius < 1.0


@pytest.fixture(scope="module")
def ecg():
    with warnings.catch_warnings():  # Debian's scipy ships it here, offline
        warnings.simplefilter("ignore", DeprecationWarning)
        return scipy.misc.electrocardiogram().astype(np.float32)


def test_wide_bandpass_on_ecg_stays_finite_with_sections(ecg):
    d = rz.design(**WIDE_BANDPASS)
    direct = rz.Filter(d)(ecg)
    assert not np.all(np.isfinite(direct))  # the single polynomial diverges
    clean = rz.Filter(d, sections=True)(ecg)
    assert np.all(np.isfinite(clean))
    expected = ss.sosfilt(d.sos, ecg.astype(np.float64))
    assert np.all(np.abs(clean - expected) <= sosfilt_tolerance(expected))
    # Baseline out: after the first 10 s of settling the output's mean over
    # each 10 s window is within 0.02 mV of zero, where the recording's
    # baseline moves by tenths of a millivolt.
    settled = clean[int(10 * ECG_FS):]
    window = int(10 * ECG_FS)
    means = settled[: len(settled) // window * window].reshape(-1, window).mean(axis=1)
    assert np.abs(means).max() < 0.02


@pytest.mark.parametrize("dtype,code", [("int16", 0), ("float32", 1), ("int32", 2)])
def test_frame_filter_sections_identical_to_library(ref, rng, dtype, code):
    fs = ECG_FS
    t = np.arange(4000)[:, None] / fs
    frames = 2000 * np.sin(2 * np.pi * np.array([1.0, 10.0, 50.0]) * t) + 1500
    frames = (frames + 300 * rng.standard_normal(frames.shape)).astype(dtype)
    designs = {
        0: rz.design(**WIDE_BANDPASS),
        2: rz.design("chebyshev1", "lowpass", fs, [40, 60]),
    }  # channel 1 passes through
    ff = rz.FrameFilter(3, fs, dtype, sections=True)
    assert ff.sections
    for ch, d in designs.items():
        ff.design(ch, d)
    ours = frames.copy()
    for start in range(0, len(ours), 900):
        ff(ours[start:start + 900])
    theirs = ref.frames(code, fs, frames, 333, [(ch, d.spec) for ch, d in designs.items()],
                        sections=True)
    assert bits(ours) == theirs
    assert bits(ours[:, 1]) == bits(frames[:, 1])
    if dtype == "float32":  # a float channel is the block filter's output
        expected = rz.Filter(designs[0], sections=True)(np.ascontiguousarray(frames[:, 0]))
        assert bits(ours[:, 0]) == bits(expected)


def test_sections_argument_is_a_bool():
    d = rz.design(**WIDE_BANDPASS)
    with pytest.raises(TypeError, match="sections"):
        rz.Filter(d, sections="yes")
    with pytest.raises(TypeError, match="sections"):
        rz.FrameFilter(1, ECG_FS, "float32", sections=1)
    assert not rz.Filter(d).sections and not rz.FrameFilter(1, ECG_FS, "int16").sections
