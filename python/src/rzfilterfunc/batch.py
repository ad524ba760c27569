"""Batch processing of many recordings on a Dask ``distributed`` cluster.

Each file is an independent stream of raw interleaved frames (no header): it
is read, processed by the library and written block by block in constant
memory, one task per file. Without a client a ``LocalCluster`` is started for
the call; pass a ``distributed.Client`` or a scheduler address
(``"tcp://scheduler:8786"``) to use an existing cluster, whose workers need
this package installed.

Example::

    from rzfilterfunc import batch
    spec = batch.FilterSpec(dtype="int16", channels=8, fs=1000.0,
                            design=dict(method="butterworth", band="lowpass",
                                        edges=[100, 200]))
    results = batch.filter_files(paths, spec, "out/", client="tcp://scheduler:8786")
"""

from __future__ import annotations

import os
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Callable, List, Mapping, Optional, Sequence, Tuple, Union

import numpy as np

import rzfilterfunc as _rz

_DEFAULT_BLOCK_FRAMES = 65536


@dataclass(frozen=True)
class FilterSpec:
    """Frame filtering of every file: raw samples of ``dtype`` (int16, int32,
    float32), ``channels`` per frame, at ``fs`` Hz. ``design`` holds the
    keyword arguments of :func:`rzfilterfunc.design` without ``fs``;
    ``channel_designs`` overrides it per channel; ``select`` lists the channels
    to filter (default all; the others pass through); ``sections`` runs the
    IIR designs as second-order section cascades (see
    :class:`rzfilterfunc.FrameFilter`)."""

    dtype: str
    channels: int
    fs: float
    design: Mapping[str, Any]
    channel_designs: Mapping[int, Mapping[str, Any]] = field(default_factory=dict)
    select: Optional[Tuple[int, ...]] = None
    block_frames: int = _DEFAULT_BLOCK_FRAMES
    sections: bool = False


@dataclass(frozen=True)
class DecimateSpec:
    """Decimation of every file by ``ratio``; ``dtype`` may also be "int24"
    (packed). ``select`` lists the filtered channels (default all)."""

    dtype: str
    channels: int
    ratio: int
    select: Optional[Tuple[int, ...]] = None
    discard_startup: bool = True
    block_frames: int = _DEFAULT_BLOCK_FRAMES


@dataclass(frozen=True)
class IntegrateSpec:
    """Trapezoid integration of the ``select`` channels (default all) at ``fs`` Hz."""

    dtype: str
    channels: int
    fs: float
    select: Optional[Tuple[int, ...]] = None
    block_frames: int = _DEFAULT_BLOCK_FRAMES


@dataclass(frozen=True)
class FileResult:
    """One processed file: input and output paths, frames read and written."""

    input: str
    output: str
    frames_in: int
    frames_out: int


def _frame_shape(dtype: str, channels: int) -> Tuple[np.dtype, Tuple[int, ...], int]:
    """numpy dtype, shape of one frame and its bytes."""
    if str(dtype).lower() == "int24":
        return np.dtype(np.uint8), (channels * 3,), channels * 3
    dt = np.dtype(dtype)
    return dt, (channels,), channels * dt.itemsize


def _stream(path: str, out_path: str, dtype: str, channels: int, block_frames: int,
            process: Callable[[np.ndarray], np.ndarray]) -> FileResult:
    """Reads whole frames block by block into one reused buffer, processes
    them in place, writes what the processor returns. The output appears under
    its name only once complete."""
    np_dtype, frame_shape, frame_bytes = _frame_shape(dtype, channels)
    size = os.path.getsize(path)
    if size % frame_bytes:
        raise ValueError(f"{path}: {size} bytes is not a whole number of "
                         f"{frame_bytes}-byte frames")
    buffer = np.empty((block_frames,) + frame_shape, dtype=np_dtype)
    raw = memoryview(buffer).cast("B")
    frames_in = frames_out = 0
    tmp_path = out_path + ".part"
    try:
        with open(path, "rb") as src, open(tmp_path, "wb") as dst:
            while True:
                got = src.readinto(raw)
                if not got:
                    break
                frames = got // frame_bytes
                block = buffer[:frames]
                result = process(block)
                dst.write(memoryview(np.ascontiguousarray(result)).cast("B"))
                frames_in += frames
                frames_out += len(result)
        os.replace(tmp_path, out_path)
    except BaseException:
        if os.path.exists(tmp_path):
            os.remove(tmp_path)
        raise
    return FileResult(path, out_path, frames_in, frames_out)


def filter_file(path: str, spec: FilterSpec, out_path: str) -> FileResult:
    """Filters one file sequentially (what each task runs)."""
    ff = _rz.FrameFilter(spec.channels, spec.fs, spec.dtype, sections=spec.sections)
    chosen = range(spec.channels) if spec.select is None else spec.select
    for ch in chosen:
        kwargs = dict(spec.channel_designs.get(ch, spec.design))
        ff.design(ch, kwargs.pop("method"), kwargs.pop("band"), kwargs.pop("edges"), **kwargs)
    return _stream(path, out_path, spec.dtype, spec.channels, spec.block_frames, ff)


def decimate_file(path: str, spec: DecimateSpec, out_path: str) -> FileResult:
    """Decimates one file sequentially."""
    dec = _rz.Decimator(spec.channels, spec.ratio, spec.dtype, filter_channels=spec.select,
                        discard_startup=spec.discard_startup, block_frames=spec.block_frames)
    return _stream(path, out_path, spec.dtype, spec.channels, spec.block_frames, dec)


def integrate_file(path: str, spec: IntegrateSpec, out_path: str) -> FileResult:
    """Integrates one file sequentially."""
    integ = _rz.Integrator(spec.channels, spec.fs, spec.dtype, select=spec.select)
    return _stream(path, out_path, spec.dtype, spec.channels, spec.block_frames, integ)


ClientLike = Union[None, str, Any]


def _run(worker: Callable[..., FileResult], paths: Sequence[Union[str, os.PathLike]], spec: Any,
         out_dir: Union[str, os.PathLike], client: ClientLike) -> List[FileResult]:
    from distributed import Client, LocalCluster

    sources = [os.fspath(p) for p in paths]
    names = [Path(p).name for p in sources]
    if len(set(names)) != len(names):
        raise ValueError("paths: two inputs share a file name; their outputs would collide")
    out = Path(out_dir)
    out.mkdir(parents=True, exist_ok=True)
    targets = [str(out / n) for n in names]
    if set(map(os.path.abspath, targets)) & set(map(os.path.abspath, sources)):
        raise ValueError("out_dir: an output would overwrite its input")

    cluster = None
    own_client = client is None or isinstance(client, str)
    if client is None:
        cluster = LocalCluster(processes=True, threads_per_worker=1, dashboard_address=None)
        client = Client(cluster)
    elif isinstance(client, str):
        client = Client(client)
    try:
        futures = client.map(worker, sources, [spec] * len(sources), targets, pure=False)
        return client.gather(futures)
    finally:
        if own_client:
            client.close()
        if cluster is not None:
            cluster.close()


def filter_files(paths: Sequence[Union[str, os.PathLike]], spec: FilterSpec,
                 out_dir: Union[str, os.PathLike], client: ClientLike = None) -> List[FileResult]:
    """Filters every file into ``out_dir`` (same file names), one Dask task per
    file. ``client``: None (a LocalCluster for this call), a scheduler address,
    or a ``distributed.Client``. Returns one :class:`FileResult` per file, in
    order; a failing file raises its error here."""
    return _run(filter_file, paths, spec, out_dir, client)


def decimate_files(paths: Sequence[Union[str, os.PathLike]], spec: DecimateSpec,
                   out_dir: Union[str, os.PathLike], client: ClientLike = None) -> List[FileResult]:
    """Decimates every file into ``out_dir``; as :func:`filter_files`."""
    return _run(decimate_file, paths, spec, out_dir, client)


def integrate_files(paths: Sequence[Union[str, os.PathLike]], spec: IntegrateSpec,
                    out_dir: Union[str, os.PathLike],
                    client: ClientLike = None) -> List[FileResult]:
    """Integrates every file into ``out_dir``; as :func:`filter_files`."""
    return _run(integrate_file, paths, spec, out_dir, client)
