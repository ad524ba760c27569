"""The RZFilterFunc library on numpy arrays.

Filter design, block filtering, multi-channel frame filtering, decimation and
integration run through the library's own classes, so results are bit for bit
those of the C++ library.

Threads: each stateful object (:class:`Filter`, :class:`FrameFilter`,
:class:`BesselFrameFilter`, :class:`Decimator`, :class:`Integrator`) is used by
one thread at a time; a second thread calling into a busy object gets a
``RuntimeError``. Long library calls release the GIL, so separate objects run in
parallel threads.

Refusals: the library's refusal messages are Chinese GBK text;
:attr:`Design.message` gives it decoded, :attr:`Design.message_gbk` the bytes.
Validation failures also go to the library's trace call, which this package
routes to the ``logging`` logger ``"rzfilterfunc"`` at DEBUG level.
"""

from __future__ import annotations

from typing import Any, Iterable, Optional, Sequence, Tuple, Union

import numpy as np

from . import _core
from ._names import (
    BANDS,
    METHODS,
    SAMPLES,
    WINDOWS,
    band_code,
    four_edges,
    integer,
    method_code,
    real,
    sample_code,
    window_code,
)

__all__ = [
    "BANDS",
    "METHODS",
    "SAMPLES",
    "WINDOWS",
    "BesselFrameFilter",
    "Decimator",
    "Design",
    "DesignError",
    "Filter",
    "FrameFilter",
    "Integrator",
    "design",
    "kaiser",
    "pack_int24",
    "unpack_int24",
]

__version__ = "1.0.0"

_METHOD_NAMES = {0: "butterworth", 1: "chebyshev1", 2: "chebyshev2", 3: "window", 5: "average"}
_BAND_NAMES = {code: name for name, code in BANDS.items()}
_DEFAULT_RIPPLE = 0.3
_DEFAULT_ATTEN = 40.0
_DEFAULT_LENGTH = 51


def _decode(gbk: bytes) -> str:
    return gbk.decode("gbk", errors="replace")


class DesignError(ValueError):
    """A specification the library refused.

    ``args`` are ``(message, message_gbk)``: the library's text decoded, and
    its GBK bytes. :attr:`design` is the refused :class:`Design`.
    """

    def __init__(self, message: str, message_gbk: bytes, design: Optional["Design"] = None):
        super().__init__(message, message_gbk)
        self.message = message
        self.message_gbk = message_gbk
        self.design = design

    def __str__(self) -> str:
        return f"{self.message} (GBK {self.message_gbk!r})"


def _make_spec(method: Any, band: Any, fs: Any, edges: Any, ripple: Any, atten: Any,
               length: Any, window: Any) -> "_core.DesignSpec":
    m = method_code(method)
    b = band_code(band)
    f1, f2, f3, f4 = four_edges(edges, m, b)
    n = integer(length, "length")
    if m in (3, 5) and n < 1:
        raise ValueError(f"length: a {_METHOD_NAMES[m]} design needs at least 1 tap, got {n}")
    return _core.DesignSpec(
        method=m, band=b, fs=real(fs, "fs"), f1=f1, f2=f2, f3=f3, f4=f4, length=n,
        ripple=real(ripple, "ripple"), atten=real(atten, "atten"), window=window_code(window),
    )


def _refusal(gbk: bytes, detail: str) -> Tuple[str, bytes]:
    text = _decode(gbk)
    return (text if text else detail), gbk


class Design(_core.DesignCore):
    """A filter designed by the library's ``FilterUser`` (see :func:`design`).

    Attributes: ``ok`` (the specification passed validation), ``stable`` (the
    library reports the design usable), ``message`` / ``message_gbk`` (the
    library's refusal text, empty when none), ``order``, ``b`` and ``a`` (the
    transfer function the block filter runs; ``a == [1.0]`` for the FIR-type
    designs, whose taps the block filter applies with each product rounded to
    float32), ``sos`` and ``pole_radius`` (below), ``usable``.

    ``sos``: the IIR design as cascaded second-order sections, an ``(n, 6)``
    float64 array of rows ``b0 b1 b2 a0 a1 a2`` (``a0 == 1``) that
    ``scipy.signal.sosfilt`` and ``sosfreqz`` take as is; the library designs
    them from the same prototype, order, edges and gain as ``b``/``a``, through
    poles and zeros, so they stay accurate where the single polynomial does not.
    Shape ``(0, 6)`` for the FIR-type designs and refused designs.

    ``pole_radius``: the largest pole magnitude of the stored denominator
    ``a``. 1.0 or more means the transfer function as stored is unstable,
    whatever ``stable`` says (that flag reports the order check): run such a
    design with ``Filter(design, sections=True)``. 0.0 for the FIR-type
    designs, -1.0 for refused designs.
    """

    def __init__(self, spec: "_core.DesignSpec"):
        super().__init__(spec)

    @property
    def message(self) -> str:
        """The library's message decoded from GBK (empty when none)."""
        return _decode(self.message_gbk)

    @property
    def method(self) -> str:
        return _METHOD_NAMES[self.spec.method]

    @property
    def band(self) -> str:
        return _BAND_NAMES[self.spec.band]

    @property
    def fs(self) -> float:
        return self.spec.fs

    @property
    def edges(self) -> Tuple[float, float, float, float]:
        """The four edges the library was given (unused ones filled in)."""
        s = self.spec
        return (s.f1, s.f2, s.f3, s.f4)

    def response(self, unwrap: bool = False) -> Tuple[np.ndarray, np.ndarray, np.ndarray]:
        """Frequency response as the library computes it for display:
        ``(frequency Hz, amplitude dB relative to the peak, phase rad)``.
        The phase is the library's arctangent, in (-pi/2, pi/2), or with
        ``unwrap=True`` the library's unwrapped phase. Raises ``ValueError`` for
        designs without a response (moving average, refused designs)."""
        return super().response(unwrap)

    def __repr__(self) -> str:
        state = "usable" if self.usable else f"refused: {self.message or 'no filter'}"
        return f"<rzfilterfunc.Design {self.method} {self.band} order {self.order}, {state}>"


def design(method: Any, band: Any, fs: float, edges: Any, *, ripple: float = _DEFAULT_RIPPLE,
           atten: float = _DEFAULT_ATTEN, length: int = _DEFAULT_LENGTH,
           window: Any = "rectangular", check: bool = True) -> Design:
    """Designs a filter with the library's ``FilterUser``.

    Args:
        method: "butterworth", "chebyshev1", "chebyshev2", "window" (window-method
            FIR), "average" (moving average), or the library's codes 0, 1, 2, 3, 5.
        band: "lowpass", "highpass", "bandpass", "bandstop", or codes 1..4.
        fs: sampling frequency, Hz.
        edges: band edges in ascending rank, f1 < f2 < f3 < f4. IIR low/high-pass
            designs read (pass, stop) / (stop, pass) = (f1, f2); IIR band designs
            all four; the window FIR its cut-offs f1 (and f2 for band designs);
            the moving average f1. Edges a design does not read may be omitted.
        ripple: pass-band ripple, dB (IIR designs).
        atten: stop-band attenuation, dB (IIR designs: 20..160).
        length: taps of the window FIR or the moving average (the window FIR
            makes an even count odd).
        window: "rectangular", "hann", "hamming", "triangular", "blackman", or
            codes 0..5.
        check: raise :class:`DesignError` when the library refuses the
            specification or the design gives no usable filter. With
            ``check=False`` the refused :class:`Design` is returned instead.

    Raises:
        DesignError (a ``ValueError``) carrying the library's message both
        decoded and as GBK bytes; ``ValueError`` / ``TypeError`` naming a bad
        argument before the library is asked.
    """
    result = Design(_make_spec(method, band, fs, edges, ripple, atten, length, window))
    if check and not result.usable:
        if not result.ok and not result.message_gbk:
            detail = "the library refused the specification"
        else:
            detail = "the design did not produce a usable filter"
        text, gbk = _refusal(result.message_gbk, detail)
        raise DesignError(text, gbk, result)
    return result


class Filter(_core.FilterCore):
    """Block filter of a design: ``FilterUser::FilterData`` with carried state.

    ``f(x)`` filters a 1-D C-contiguous float32 array into a new array;
    ``f(x, out=y)`` writes into ``y`` (``y`` may be ``x`` itself). Consecutive
    calls continue one signal; :meth:`reset` starts from zero state again.

    ``sections=True`` (``FilterUser::setSectionMode``) runs an IIR design as
    its cascade of second-order sections (:attr:`Design.sos`) in double
    precision, each output rounded to float32 once; use it for designs whose
    ``pole_radius`` is 1.0 or more, which the single transfer function (the
    default) cannot run. FIR-type designs filter the same either way.

    The GIL is released while the library filters, so separate Filter objects
    run in parallel threads; each Filter is used by one thread at a time (a
    second thread calling a busy Filter gets ``RuntimeError``).
    """

    def __init__(self, design: Design, sections: bool = False):
        if not isinstance(design, Design):
            raise TypeError(f"design: expected an rzfilterfunc.Design, got {type(design).__name__}")
        if not isinstance(sections, (bool, np.bool_)):
            raise TypeError(f"sections: expected a bool, got {type(sections).__name__}")
        if not design.usable:
            text, gbk = _refusal(design.message_gbk, "the design has no usable filter")
            raise DesignError(text, gbk, design)
        super().__init__(design.spec, bool(sections))
        self.design = design

    def __call__(self, x: np.ndarray, out: Optional[np.ndarray] = None) -> np.ndarray:
        """Filters ``x`` (float32, 1-D, C-contiguous); returns the output array."""
        return super().__call__(x, out)

    def reset(self) -> None:
        """The next call starts from zero state (``setFirstInputState(true)``)."""
        super().reset()


class FrameFilter(_core.FrameFilterCore):
    """``CChnsFilterFunc``: each channel of interleaved frames through its own
    ``FilterUser``, in place, state carried between calls.

    ``FrameFilter(channels, fs, dtype)`` with dtype int16, int32 or float32.
    Design channels with :meth:`design`; undesigned channels pass through.
    ``ff(frames)`` filters a C-contiguous ``(frames, channels)`` array in place
    and returns it. Samples convert back by truncation toward zero, int16
    wrapping, exactly as the library does. ``sections=True``
    (``CChnsFilterFunc::setSectionMode``) runs every channel's IIR design as
    its second-order section cascade, as :class:`Filter` does. One thread at a
    time per object.
    """

    def __init__(self, channels: int, fs: float, dtype: Any, sections: bool = False):
        if not isinstance(sections, (bool, np.bool_)):
            raise TypeError(f"sections: expected a bool, got {type(sections).__name__}")
        super().__init__(integer(channels, "channels", 1), sample_code(dtype), real(fs, "fs"),
                         bool(sections))

    @property
    def dtype(self) -> np.dtype:
        return np.dtype(("int16", "float32", "int32")[self.sample_code])

    def design(self, channel: int, method: Any, band: Any = None, edges: Any = None, *,
               ripple: float = _DEFAULT_RIPPLE, atten: float = _DEFAULT_ATTEN,
               length: int = _DEFAULT_LENGTH, window: Any = "rectangular",
               check: bool = True) -> None:
        """Designs one channel (``CChnsFilterFunc::DesignFilter``) at the frame
        filter's rate; restarts that channel's state.

        ``method`` is a method name/code (then ``band`` and ``edges`` as in
        :func:`design`) or a :class:`Design` made at this object's ``fs``.
        With ``check`` a refused specification raises :class:`DesignError` and
        leaves the channel unfiltered.
        """
        channel = integer(channel, "channel")
        if isinstance(method, Design):
            spec = method.spec
            if spec.fs != self.fs:
                raise ValueError(
                    f"method: the design is at fs={spec.fs!r}, this frame filter runs at "
                    f"fs={self.fs!r} (float32)"
                )
        else:
            if band is None or edges is None:
                raise TypeError("design() needs band and edges with a method name or code")
            spec = _make_spec(method, band, self.fs, edges, ripple, atten, length, window)
        enabled, stable, gbk, runnable = self._design(channel, spec)
        if check and not (enabled and stable and runnable):
            self.disable(channel)
            detail = ("the design did not produce a usable filter" if runnable else
                      "the design has no second-order sections to run")
            text, gbk = _refusal(gbk, detail)
            raise DesignError(text, gbk)

    def __call__(self, frames: np.ndarray) -> np.ndarray:
        """Filters ``frames`` in place; returns it."""
        self._process(frames)
        return frames


class BesselFrameFilter(_core.BesselFilterCore):
    """``CChnsBesselFilterFun``: second-order Bessel low-pass sections from the
    library's fixed table of (cut-off, rate) pairs, per channel, in place.

    ``BesselFrameFilter(channels, fs, dtype)``; :meth:`enable` a channel with a
    cut-off; ``bf(frames)`` filters a ``(frames, channels)`` array in place.
    """

    def __init__(self, channels: int, fs: float, dtype: Any):
        super().__init__(integer(channels, "channels", 1), sample_code(dtype), real(fs, "fs"))

    @property
    def dtype(self) -> np.dtype:
        return np.dtype(("int16", "float32", "int32")[self.sample_code])

    def enable(self, channel: int, cutoff: int, check: bool = True) -> bool:
        """Enables a channel with the section for ``cutoff`` Hz at the object's
        rate (truncated to whole Hz); zeroes its state. Returns whether the
        channel is enabled: the library silently leaves it disabled when the
        table has no such pair, which raises ``ValueError`` with ``check``."""
        channel = integer(channel, "channel")
        cut = integer(cutoff, "cutoff")
        enabled = self._design(channel, cut, True)
        if check and not enabled:
            raise ValueError(
                f"cutoff: the library has no Bessel section for {cut} Hz at {int(self.fs)} Hz"
            )
        return enabled

    def disable(self, channel: int) -> None:
        """Stops filtering a channel (its section and state are kept)."""
        self._design(integer(channel, "channel"), 0, False)

    def __call__(self, frames: np.ndarray) -> np.ndarray:
        self._process(frames)
        return frames


def _channel_flags(select: Optional[Iterable[int]], channels: int, name: str) -> list:
    if select is None:
        return [True] * channels
    flags = [False] * channels
    for value in select:
        c = integer(value, name)
        if not 0 <= c < channels:
            raise IndexError(f"{name}: channel {c} is not in 0..{channels - 1}")
        flags[c] = True
    return flags


class Decimator(_core.DecimatorCore):
    """``CFirFunc``: decimation of interleaved frames by 2, 5, 10, 20, 50, 100,
    200, 500 or 1000 through the library's fixed FIR cascades.

    ``Decimator(channels, ratio, dtype)`` with dtype int16, int32, float32 or
    "int24" (packed, given as uint8 arrays of shape ``(frames, 3*channels)``
    or ``(frames, channels, 3)``). ``dec(frames)`` decimates in place and
    returns the view of ``frames`` holding the output frames. Unconsumed
    samples carry over to the next call. ``filter_channels`` lists the
    channels to filter (the others pass through as the library passes them);
    ``discard_startup`` drops the cascade's start-up span; ``block_frames``
    sizes the library's inner block (it does not change the output).
    """

    def __init__(self, channels: int, ratio: int, dtype: Any, *,
                 filter_channels: Optional[Sequence[int]] = None, discard_startup: bool = True,
                 block_frames: int = 4096):
        n = integer(channels, "channels", 1)
        super().__init__(n, integer(ratio, "ratio"), sample_code(dtype, allow_int24=True),
                         _channel_flags(filter_channels, n, "filter_channels"),
                         bool(discard_startup), integer(block_frames, "block_frames", 1))

    @property
    def dtype(self) -> Union[np.dtype, str]:
        return "int24" if self.sample_code == 3 else np.dtype(
            ("int16", "float32", "int32")[self.sample_code])

    def __call__(self, frames: np.ndarray) -> np.ndarray:
        """Decimates ``frames`` in place; returns ``frames[:n_out]`` (a view)."""
        produced = self._process(frames)
        return frames[:produced]


class Integrator(_core.IntegratorCore):
    """``CIntegralDiff``: running trapezoid integral of selected channels of
    interleaved frames, in place, one integral per channel kept between calls.

    ``Integrator(channels, fs, dtype, select=None)`` (all channels by default;
    a channel listed twice is integrated twice, as the library does).
    ``integ(frames)`` integrates a ``(frames, channels)`` array in place and
    returns it.
    """

    def __init__(self, channels: int, fs: float, dtype: Any,
                 select: Optional[Sequence[int]] = None):
        n = integer(channels, "channels", 1)
        chosen = list(range(n)) if select is None else [integer(c, "select") for c in select]
        super().__init__(n, real(fs, "fs"), sample_code(dtype), chosen)

    @property
    def dtype(self) -> np.dtype:
        return np.dtype(("int16", "float32", "int32")[self.sample_code])

    def __call__(self, frames: np.ndarray) -> np.ndarray:
        self._process(frames)
        return frames


def kaiser(fs: float, band: Any, edges: Sequence[float], atten: int,
           transition: Optional[float] = None) -> np.ndarray:
    """Kaiser-window FIR taps from ``CFilter::DesignFilter``, scaled by 16384
    for fixed-point use (float64 array of odd length).

    Without ``transition``: ``edges`` are (pass, stop, stop, pass) edges f1..f4
    in Hz and the transition width follows from them (the four-edge overload;
    low/high-pass designs read f1 and f2, the others may be omitted). With
    ``transition`` (normalised, 1.0 = Nyquist): ``edges`` are the pass-band
    edges (f1[, f2]). Frequencies are taken in single precision, ``atten`` in
    whole dB. Raises ``ValueError`` when the library refuses the edges.
    """
    b = band_code(band)
    a = integer(atten, "atten")
    if isinstance(edges, (int, float, np.integer, np.floating)):
        edges = [edges]
    values = [real(e, f"edges[{i}]") for i, e in enumerate(edges)]
    if transition is None:
        needed = 4 if b >= 3 else 2
        if not needed <= len(values) <= 4:
            raise ValueError(f"edges: this Kaiser design reads {needed} edges, got {len(values)}")
        values += [values[-1]] * (4 - len(values))
        return _core._kaiser_edges(real(fs, "fs"), b, values[0], values[1], values[2],
                                   values[3], a)
    needed = 2 if b >= 3 else 1
    if not needed <= len(values) <= 2:
        raise ValueError(f"edges: with a transition width this design reads {needed} "
                         f"pass-band edge(s), got {len(values)}")
    values += [values[-1]] * (2 - len(values))
    return _core._kaiser_transition(real(fs, "fs"), b, values[0], values[1], a,
                                    real(transition, "transition"))


def unpack_int24(raw: np.ndarray) -> np.ndarray:
    """Packed little-endian int24 bytes (uint8, last axis or length a multiple
    of 3) to int32 values, one per sample."""
    data = np.ascontiguousarray(raw, dtype=np.uint8).reshape(-1, 3).astype(np.int32)
    values = data[:, 0] | (data[:, 1] << 8) | (data[:, 2] << 16)
    values = np.where(values & 0x800000, values - (1 << 24), values).astype(np.int32)
    return values


def pack_int24(values: np.ndarray) -> np.ndarray:
    """int32 values in [-2**23, 2**23) to packed little-endian int24 bytes
    (uint8 array of shape values.shape + (3,))."""
    v = np.asarray(values)
    if v.size and (v.min() < -(1 << 23) or v.max() >= (1 << 23)):
        raise ValueError("values: outside the int24 range")
    u = v.astype(np.int64) & 0xFFFFFF
    out = np.stack([(u & 0xFF), (u >> 8) & 0xFF, (u >> 16) & 0xFF], axis=-1).astype(np.uint8)
    return out
