"""Names and codes of the library's design methods, band types, windows and samples."""

from __future__ import annotations

import math
import operator
from typing import Any, Mapping, Sequence

import numpy as np

#: Design method codes (``DESIGN_METHOD``); code 4 has no filter class.
METHODS: Mapping[str, int] = {
    "butterworth": 0,
    "chebyshev1": 1,
    "cheby1": 1,
    "chebyshev2": 2,
    "cheby2": 2,
    "window": 3,
    "fir": 3,
    "average": 5,
    "moving_average": 5,
}
#: Band type codes.
BANDS: Mapping[str, int] = {"lowpass": 1, "highpass": 2, "bandpass": 3, "bandstop": 4}
#: Window codes of the window-method FIR (code 3 also gives the rectangular window).
WINDOWS: Mapping[str, int] = {
    "rectangular": 0,
    "hann": 1,
    "hamming": 2,
    "triangular": 4,
    "blackman": 5,
}
#: Raw sample codes of the frame classes (int24 only for the decimator).
SAMPLES: Mapping[str, int] = {"int16": 0, "float32": 1, "int32": 2, "int24": 3}

_IIR_CODES = (0, 1, 2)
_INT32_MAX = 2**31 - 1


def _lookup(value: Any, table: Mapping[str, int], codes: Sequence[int], name: str) -> int:
    if isinstance(value, str):
        key = value.strip().lower().replace("-", "_").replace(" ", "_")
        if key in table:
            return table[key]
        raise ValueError(f"{name}: unknown name {value!r}; expected one of {sorted(set(table))}")
    if isinstance(value, (bool, np.bool_)):
        raise TypeError(f"{name}: expected a name or an integer code, got {value!r}")
    try:
        code = operator.index(value)
    except TypeError:
        raise TypeError(
            f"{name}: expected a name or an integer code, got {type(value).__name__}"
        ) from None
    if code not in codes:
        raise ValueError(f"{name}: unknown code {code}; expected one of {list(codes)}")
    return code


def method_code(method: Any) -> int:
    """The library's code for a design method name or code."""
    return _lookup(method, METHODS, (0, 1, 2, 3, 5), "method")


def band_code(band: Any) -> int:
    """The library's code for a band type name or code."""
    return _lookup(band, BANDS, (1, 2, 3, 4), "band")


def window_code(window: Any) -> int:
    """The library's code for a window name or code."""
    return _lookup(window, WINDOWS, (0, 1, 2, 3, 4, 5), "window")


def sample_code(dtype: Any, allow_int24: bool = False) -> int:
    """The raw sample code for a numpy dtype (or "int24" where allowed)."""
    if isinstance(dtype, str) and dtype.strip().lower() == "int24":
        if allow_int24:
            return SAMPLES["int24"]
        raise ValueError("dtype: packed int24 samples are taken by the Decimator only")
    try:
        dt = np.dtype(dtype)
    except TypeError:
        raise TypeError(f"dtype: not a numpy dtype: {dtype!r}") from None
    if not dt.isnative:
        raise ValueError(f"dtype: {dt.str} is not in native byte order")
    if dt.name not in ("int16", "float32", "int32"):
        allowed = "int16, int32, float32" + (" or 'int24'" if allow_int24 else "")
        raise ValueError(f"dtype: {dt.name} is not a raw sample type ({allowed})")
    return SAMPLES[dt.name]


def real(value: Any, name: str) -> float:
    """A finite real number, or an error naming the argument."""
    if isinstance(value, (bool, np.bool_)) or isinstance(value, str):
        raise TypeError(f"{name}: expected a number, got {value!r}")
    try:
        number = float(value)
    except (TypeError, ValueError):
        raise TypeError(f"{name}: expected a number, got {type(value).__name__}") from None
    if not math.isfinite(number):
        raise ValueError(f"{name}: must be a finite number, got {number!r}")
    return number


def integer(value: Any, name: str, low: int = -_INT32_MAX - 1, high: int = _INT32_MAX) -> int:
    """An integer within [low, high], or an error naming the argument."""
    if isinstance(value, (bool, np.bool_)):
        raise TypeError(f"{name}: expected an integer, got {value!r}")
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name}: expected an integer, got {type(value).__name__}") from None
    if not low <= number <= high:
        raise ValueError(f"{name}: must be between {low} and {high}, got {number}")
    return number


def edges_needed(method: int, band: int) -> int:
    """How many band edges a design reads: IIR designs 2 or 4, the window FIR
    1 or 2, the moving average 1 (its f1 is only checked against fs/2.56)."""
    band_filter = band >= 3
    if method in _IIR_CODES:
        return 4 if band_filter else 2
    if method == 3:
        return 2 if band_filter else 1
    return 1


def four_edges(edges: Any, method: int, band: int) -> tuple[float, float, float, float]:
    """Edges f1..f4 in ascending rank. Edges the design does not read may be left
    out; they are filled with the last given edge (the library requires every
    edge to be positive, not used)."""
    if isinstance(edges, (int, float, np.integer, np.floating)):
        edges = [edges]
    try:
        values = [real(e, f"edges[{i}]") for i, e in enumerate(edges)]
    except TypeError as err:
        if "edges[" in str(err):
            raise
        raise TypeError(f"edges: expected a sequence of 1 to 4 numbers, got {edges!r}") from None
    needed = edges_needed(method, band)
    if not 1 <= len(values) <= 4:
        raise ValueError(f"edges: expected 1 to 4 band edges, got {len(values)}")
    if len(values) < needed:
        raise ValueError(
            f"edges: this design reads {needed} band edges (ascending f1 < f2 ...), "
            f"got {len(values)}"
        )
    values += [values[-1]] * (4 - len(values))
    return (values[0], values[1], values[2], values[3])
