"""Designs: bit for bit the C++ FilterUser's, and the same transfer functions
scipy.signal evaluates."""

import numpy as np
import pytest
import scipy.signal as ss

import rzfilterfunc as rz
from conftest import bits

FS = 1000.0
IIR_SPECS = [
    (m, band, edges)
    for m in ("butterworth", "chebyshev1", "chebyshev2")
    for band, edges in (
        ("lowpass", [100, 200]),
        ("highpass", [100, 200]),
        ("bandpass", [50, 100, 200, 300]),
        ("bandstop", [50, 100, 200, 300]),
    )
]
FIR_SPECS = [
    ("window", "lowpass", [100], 51, "hamming"),
    ("window", "highpass", [150], 31, "blackman"),
    ("window", "bandpass", [100, 200], 50, "hann"),
    ("window", "bandstop", [100, 200], 41, "triangular"),
    ("window", "lowpass", [120], 20, 3),
    ("average", "lowpass", [100], 8, "rectangular"),
]


def all_specs():
    for m, band, edges in IIR_SPECS:
        yield dict(method=m, band=band, fs=FS, edges=edges)
    for m, band, edges, length, window in FIR_SPECS:
        yield dict(method=m, band=band, fs=FS, edges=edges, length=length, window=window)


@pytest.mark.parametrize("kw", list(all_specs()), ids=lambda kw: f"{kw['method']}-{kw['band']}")
def test_design_identical_to_library(ref, kw):
    d = rz.design(**kw)
    r = ref.design(d.spec)
    assert (d.ok, d.stable, d.message_gbk) == (bool(r["ok"]), bool(r["stable"]), r["message"])
    assert bits(d.b) == bits(r["b"])
    if d.spec.method <= 2:
        assert d.order == r["iirorder"]
        assert bits(d.a) == bits(r["a"])
    else:
        assert d.order == len(r["b"]) - 1 and d.a.tolist() == [1.0]
    if "amp" in r:
        freq, amp, phase = d.response()
        assert bits(freq) + bits(amp) + bits(phase) == bits(r["freq"]) + bits(r["amp"]) + bits(
            r["phase"])
        assert bits(d.response(unwrap=True)[2]) == bits(r["unwrapped"])
        assert bits(d.response()[2]) == bits(r["phase"])  # the raw phase is kept
        assert d.axis_limits() == r["limits"]
    else:
        with pytest.raises(ValueError, match="no frequency response"):
            d.response()


REFUSALS = [
    # (kwargs, expected GBK message as the library's table gives it)
    (dict(method="butterworth", band="lowpass", fs=512, edges=[100, 140], atten=19.9),
     "阻带衰减范围20-160dB！"),
    (dict(method="butterworth", band="lowpass", fs=512, edges=[100, 201]),
     "输入的频率应小于等于采样频率/2.56！"),
    (dict(method="chebyshev1", band="lowpass", fs=512, edges=[140, 100]),
     "阻带边界频率应大于通带边界频率！"),
    (dict(method="chebyshev2", band="bandpass", fs=1000, edges=[50, 100, 300, 200]),
     "阻带上边界频率应大于通带上边界频率！"),
    (dict(method="window", band="bandpass", fs=1000, edges=[50, 40]),
     "通带上边界频率应大于通带下边界频率！"),
    (dict(method="average", band="lowpass", fs=1000, edges=[400], length=4),
     "输入的频率应小于等于采样频率/2.56！"),
    (dict(method="butterworth", band="lowpass", fs=512, edges=[100, 140]),
     "阶数太大，滤波器不稳定，返回"),
]


@pytest.mark.parametrize("kw,text", REFUSALS, ids=[t for _, t in REFUSALS])
def test_refusal_raises_with_both_texts(ref, kw, text):
    with pytest.raises(rz.DesignError) as info:
        rz.design(**kw)
    err = info.value
    assert isinstance(err, ValueError)
    assert err.args == (text, text.encode("gbk"))
    refused = rz.design(**kw, check=False)
    r = ref.design(refused.spec)
    assert refused.message_gbk == r["message"] == text.encode("gbk")
    assert (refused.ok, refused.stable) == (bool(r["ok"]), bool(r["stable"]))
    assert not refused.usable and refused.message == text
    with pytest.raises(rz.DesignError):
        rz.Filter(refused)


def wrap_half_pi(phase):
    """Phase folded into [-pi/2, pi/2): the one-argument arctangent's range."""
    return (phase + np.pi / 2) % np.pi - np.pi / 2


@pytest.mark.parametrize("m,band,edges", IIR_SPECS, ids=lambda v: str(v))
def test_iir_response_matches_scipy_freqz(m, band, edges):
    d = rz.design(m, band, FS, edges)
    freq, amp, phase = d.response()
    _, h = ss.freqz(d.b, d.a, worN=freq, fs=FS)
    mag = 20 * np.log10(np.abs(h))
    visible = mag - mag.max() > -120  # deep stop-band values are rounding noise
    np.testing.assert_allclose(amp[visible], (mag - mag.max())[visible], atol=1e-6)
    # Phase compared away from the fold at +-pi/2, where rounding may flip it.
    wrapped = wrap_half_pi(np.angle(h))
    clear = visible & (np.abs(np.abs(wrapped) - np.pi / 2) > 1e-6)
    np.testing.assert_allclose(phase[clear], wrapped[clear], atol=1e-7)


# Butterworth: the library puts the -3 dB points on the pass edges, as
# scipy.signal.butter does with those edges as its critical frequencies.
BUTTER_EDGES = {"lowpass": 100, "highpass": 200, "bandpass": [100, 200], "bandstop": [50, 300]}


@pytest.mark.parametrize("band,edges", [(b, e) for m, b, e in IIR_SPECS if m == "butterworth"])
def test_butterworth_coefficients_match_scipy_butter(band, edges):
    d = rz.design("butterworth", band, FS, edges)
    n = d.order if band in ("lowpass", "highpass") else d.order // 2
    b, a = ss.butter(n, BUTTER_EDGES[band], btype=band, fs=FS)
    np.testing.assert_allclose(d.b, b, rtol=0, atol=1e-12)
    np.testing.assert_allclose(d.a, a, rtol=0, atol=1e-12 * np.abs(a).max())


@pytest.mark.parametrize("band,stop", [("lowpass", 200), ("highpass", 100)])
def test_chebyshev2_coefficients_match_scipy_cheby2(band, stop):
    d = rz.design("chebyshev2", band, FS, [100, 200], atten=40.0)
    b, a = ss.cheby2(d.order, 40.0, stop, btype=band, fs=FS)
    np.testing.assert_allclose(d.b, b, rtol=0, atol=1e-10)
    np.testing.assert_allclose(d.a, a, rtol=0, atol=1e-10 * np.abs(a).max())


@pytest.mark.parametrize("m,band,edges", [s for s in IIR_SPECS if s[0] != "butterworth"],
                         ids=lambda v: str(v))
def test_chebyshev_designs_meet_ripple_and_attenuation(m, band, edges):
    ripple, atten = 0.3, 40.0
    d = rz.design(m, band, FS, edges, ripple=ripple, atten=atten)
    f1, f2, f3, f4 = edges + edges[-1:] * (4 - len(edges))
    pass_f, stop_f = {
        "lowpass": ([f1], [f2]),
        "highpass": ([f2], [f1]),
        "bandpass": ([f2, f3], [f1, f4]),
        "bandstop": ([f1, f4], [f2, f3]),
    }[band]
    _, h = ss.freqz(d.b, d.a, worN=np.array(pass_f + stop_f, dtype=float), fs=FS)
    _, dense = ss.freqz(d.b, d.a, worN=8192, fs=FS)
    db = 20 * np.log10(np.abs(h)) - 20 * np.log10(np.abs(dense).max())
    # 1e-3 dB: the attenuation is met at the stop edge to the design's rounding.
    assert np.all(db[: len(pass_f)] >= -ripple), db
    assert np.all(db[len(pass_f):] <= -atten + 1e-3), db
    assert np.all(np.abs(np.roots(d.a)) < 1.0)


def test_window_fir_matches_scipy_firwin_shape():
    # Window-method taps: a symmetric, unit-DC-gain low-pass with its -6 dB
    # point at the cut-off, as scipy.signal.firwin designs with the same window.
    d = rz.design("window", "lowpass", FS, [100], length=51, window="hamming")
    assert np.allclose(d.b, d.b[::-1], rtol=0, atol=1e-15)
    ref = ss.firwin(51, 100, window="hamming", fs=FS)
    _, h = ss.freqz(d.b, worN=[0.0, 100.0, 300.0], fs=FS)
    _, hr = ss.freqz(ref, worN=[0.0, 100.0, 300.0], fs=FS)
    np.testing.assert_allclose(np.abs(h) / np.abs(h[0]), np.abs(hr) / np.abs(hr[0]), atol=0.02)
