"""Designs: bit for bit the C++ FilterUser's (coefficients, sections, pole
radius, response), refusals with the library's messages, and the filters
scipy.signal designs from the same edges."""

import mpmath
import numpy as np
import pytest
import scipy.signal as ss

import rzfilterfunc as rz
from conftest import bits

FS = 1000.0
EDGES = {"lowpass": [100, 200], "highpass": [100, 200], "bandpass": [50, 100, 200, 300],
         "bandstop": [50, 100, 200, 300]}
IIR = {f"{m}-{b}": dict(method=m, band=b, fs=FS, edges=e)
       for m in ("butterworth", "chebyshev1", "chebyshev2") for b, e in EDGES.items()}
# An ECG band-pass (0.5..40 Hz at 360 Hz): as one polynomial its poles near z = 1 are lost.
WIDE = dict(method="butterworth", band="bandpass", fs=360.0, edges=[0.3, 0.5, 40, 60])
FIR = {f"window-{b}": dict(method="window", band=b, fs=FS, edges=e, length=n, window=w)
       for b, e, n, w in (("lowpass", [100], 51, "hamming"), ("highpass", [150], 31, "blackman"),
                          ("bandpass", [100, 200], 50, "hann"),
                          ("bandstop", [100, 200], 41, "triangular"), ("code", [120], 20, 3))}
FIR["window-code"]["band"] = "lowpass"
FIR["average"] = dict(method="average", band="lowpass", fs=FS, edges=[100], length=8)
ALL = {**IIR, "wide-bandpass": WIDE, **FIR}


@pytest.mark.parametrize("name", ALL)
def test_design_identical_to_library(ref, name):
    d = rz.design(**ALL[name])
    r = ref.design(d.spec)
    assert (d.ok, d.stable, d.message_gbk) == (bool(r["ok"]), bool(r["stable"]), r["message"])
    assert d.order == (r["iirorder"] if name in IIR or name == "wide-bandpass" else len(r["b"]) - 1)
    assert bits(d.b) == bits(r["b"])
    assert bits(d.a) == bits(r.get("a", np.ones(1)))
    assert d.sos.shape == r["sections"].shape == ((0, 6) if name in FIR else d.sos.shape)
    assert bits(d.sos) == bits(r["sections"])
    assert d.pole_radius == r["poleradius"]
    if "amp" not in r:
        with pytest.raises(ValueError, match="no frequency response"):
            d.response()
        return
    assert [bits(v) for v in d.response()] == [bits(r[k]) for k in ("freq", "amp", "phase")]
    assert bits(d.response(unwrap=True)[2]) == bits(r["unwrapped"])
    assert bits(d.response()[2]) == bits(r["phase"])  # the raw phase is kept
    assert d.axis_limits() == r["limits"]


REFUSALS = [  # one row per check of the library, with the message its table gives
    (dict(method="butterworth", fs=512, edges=[100, 140], atten=19.9), "阻带衰减范围20-160dB！"),
    (dict(method="butterworth", fs=512, edges=[100, 201]), "输入的频率应小于等于采样频率/2.56！"),
    (dict(method="chebyshev1", fs=512, edges=[140, 100]), "阻带边界频率应大于通带边界频率！"),
    (dict(method="chebyshev2", band="bandpass", fs=1000, edges=[50, 100, 300, 200]),
     "阻带上边界频率应大于通带上边界频率！"),
    (dict(method="window", band="bandpass", fs=1000, edges=[50, 40]),
     "通带上边界频率应大于通带下边界频率！"),
    (dict(method="average", fs=1000, edges=[400], length=4), "输入的频率应小于等于采样频率/2.56！"),
    (dict(method="butterworth", fs=512, edges=[100, 140]), "阶数太大，滤波器不稳定，返回"),
]


@pytest.mark.parametrize("kw,text", REFUSALS)
def test_refusal_raises_with_both_texts(ref, kw, text):
    kw = {"band": "lowpass", **kw}
    with pytest.raises(rz.DesignError) as info:
        rz.design(**kw)
    assert isinstance(info.value, ValueError)
    assert info.value.args == (text, text.encode("gbk"))
    refused = rz.design(**kw, check=False)
    r = ref.design(refused.spec)
    assert refused.message_gbk == r["message"] == text.encode("gbk")
    assert refused.message == text
    assert (refused.ok, refused.stable) == (bool(r["ok"]), bool(r["stable"]))
    assert refused.sos.shape == (0, 6) == r["sections"].shape
    assert refused.pole_radius == r["poleradius"]
    with pytest.raises(rz.DesignError):
        rz.Filter(refused)


@pytest.mark.parametrize("name", IIR)
def test_responses_agree_with_scipy_freqz(name):
    d = rz.design(**IIR[name])
    freq, amp, phase = d.response()
    _, h = ss.freqz(d.b, d.a, worN=freq, fs=FS)
    db = 20 * np.log10(np.abs(h))
    visible = db - db.max() > -120  # deep stop-band values are rounding noise
    np.testing.assert_allclose(amp[visible], (db - db.max())[visible], atol=1e-6)
    # Phase folded into [-pi/2, pi/2) (the one-argument arctangent's range) and
    # compared away from the fold, where rounding may flip it.
    wrapped = (np.angle(h) + np.pi / 2) % np.pi - np.pi / 2
    clear = visible & (np.abs(np.abs(wrapped) - np.pi / 2) > 1e-6)
    np.testing.assert_allclose(phase[clear], wrapped[clear], atol=1e-7)
    # The sections are the same filter: 1e-6 dB above -120 dB (the polynomial's
    # own rounding, measured up to 6e-8 dB near the band-stop edges).
    _, hs = ss.sosfreqz(d.sos, worN=freq[1:-1], fs=FS)
    with np.errstate(divide="ignore"):  # exact zeros of the response
        np.testing.assert_allclose(20 * np.log10(np.abs(hs[visible[1:-1]])),
                                   db[1:-1][visible[1:-1]], rtol=0, atol=1e-6)


@pytest.mark.parametrize("name", IIR)
def test_designs_meet_their_band_edges(name):
    # Butterworth: -3 dB (half power) on the pass edges, as scipy.signal.butter
    # designs with them as critical frequencies; Chebyshev: at most the ripple
    # down on the pass edges. All: the attenuation at the stop edges, to the
    # design's rounding (1e-3 dB).
    ripple, atten = 0.3, 40.0
    d = rz.design(**IIR[name], ripple=ripple, atten=atten)
    f1, f2, f3, f4 = d.edges
    pass_f, stop_f = {"lowpass": ([f1], [f2]), "highpass": ([f2], [f1]),
                      "bandpass": ([f2, f3], [f1, f4]), "bandstop": ([f1, f4], [f2, f3])}[d.band]
    _, h = ss.freqz(d.b, d.a, worN=np.array(pass_f + stop_f, dtype=float), fs=FS)
    db = 20 * np.log10(np.abs(h)) - 20 * np.log10(np.abs(ss.freqz(d.b, d.a, worN=8192)[1]).max())
    if d.method == "butterworth":
        np.testing.assert_allclose(db[: len(pass_f)], -10 * np.log10(2), rtol=0, atol=1e-6)
    else:
        assert np.all(db[: len(pass_f)] >= -ripple), db
    assert np.all(db[len(pass_f):] <= -atten + 1e-3), db
    assert np.all(np.abs(np.roots(d.a)) < 1.0)


def test_window_fir_matches_scipy_firwin_shape():
    # A symmetric low-pass whose response, normalised to its DC gain, is
    # scipy.signal.firwin's with the same window to 0.02.
    d = rz.design(**FIR["window-lowpass"])
    assert np.allclose(d.b, d.b[::-1], rtol=0, atol=1e-15)
    _, h = ss.freqz(d.b, worN=[0.0, 100.0, 300.0], fs=FS)
    _, hr = ss.freqz(ss.firwin(51, 100, window="hamming", fs=FS), worN=[0.0, 100.0, 300.0], fs=FS)
    np.testing.assert_allclose(np.abs(h) / np.abs(h[0]), np.abs(hr) / np.abs(hr[0]), atol=0.02)


@pytest.mark.parametrize("name", [*IIR, "wide-bandpass"])
def test_pole_radius_is_the_largest_root_of_a(name):
    d = rz.design(**ALL[name])
    with mpmath.workdps(80):  # the stored doubles taken as exact
        roots = mpmath.polyroots([mpmath.mpf(float(c)) for c in d.a], maxsteps=2000, extraprec=320)
        exact = float(max(abs(r) for r in roots))
    assert d.pole_radius == pytest.approx(exact, rel=1e-12, abs=0)
    # Only the wide band-pass polynomial is unstable (the library's flag reports
    # the order check only); each of its sections is stable.
    assert d.stable
    assert (d.pole_radius >= 1.0) == (name == "wide-bandpass")
    assert (np.abs(np.roots(d.a)).max() >= 1.0) == (name == "wide-bandpass")
    assert max(np.abs(np.roots(row[3:])).max() for row in d.sos) < 1.0


def test_wide_bandpass_sections_match_scipy_butter():
    # Same analogue prototype, order and bilinear mapping: the cascades differ in
    # pairing and gain distribution only, so the magnitude responses agree to
    # 1e-8 dB wherever they are above -120 dB (measured: within 3e-10 dB).
    d = rz.design(**WIDE)
    theirs = ss.butter(d.order // 2, [0.5, 40], "bandpass", fs=d.fs, output="sos")
    freq = np.linspace(0.0, d.fs / 2, 4001)[1:-1]
    db = [20 * np.log10(np.abs(ss.sosfreqz(s, worN=freq, fs=d.fs)[1])) for s in (d.sos, theirs)]
    visible = db[1] > -120
    np.testing.assert_allclose(db[0][visible], db[1][visible], rtol=0, atol=1e-8)
