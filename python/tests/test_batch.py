"""Batch processing on Dask: 8 files on a 2-worker local cluster give the same
bytes as a sequential run, which gives the C++ driver's bytes."""

import numpy as np
import pytest

import rzfilterfunc as rz
from rzfilterfunc import batch

distributed = pytest.importorskip("distributed")

CHANNELS = 3


@pytest.fixture(scope="module")
def cluster_client():
    cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                       dashboard_address=None)
    client = distributed.Client(cluster)
    yield client
    client.close()
    cluster.close()


@pytest.fixture(scope="module")
def recordings(tmp_path_factory):
    rng = np.random.default_rng(7)
    folder = tmp_path_factory.mktemp("recordings")
    paths = []
    for i in range(8):
        frames = (2000 * rng.standard_normal((20000 + 1111 * i, CHANNELS))).astype(np.int16)
        path = folder / f"rec{i}.raw"
        frames.tofile(path)
        paths.append(str(path))
    return paths


def outputs(results):
    return [open(r.output, "rb").read() for r in results]


def test_filter_files_on_cluster_equal_sequential_and_library(ref, recordings, cluster_client,
                                                             tmp_path):
    spec = batch.FilterSpec(dtype="int16", channels=CHANNELS, fs=1000.0,
                            design=dict(method="chebyshev1", band="lowpass", edges=[100, 200]),
                            channel_designs={2: dict(method="window", band="highpass",
                                                     edges=[50], length=31)},
                            select=(0, 2), block_frames=4096)
    assert len(cluster_client.scheduler_info()["workers"]) == 2
    on_cluster = batch.filter_files(recordings, spec, tmp_path / "cluster", client=cluster_client)
    sequential = [batch.filter_file(p, spec, str(tmp_path / f"seq{i}.raw"))
                  for i, p in enumerate(recordings)]
    assert outputs(on_cluster) == outputs(sequential)
    assert [r.frames_out for r in on_cluster] == [r.frames_in for r in on_cluster]
    # And the library's own bytes for one file, fed in the same blocks.
    d0 = rz.design("chebyshev1", "lowpass", np.float32(1000.0).item(), [100, 200])
    d2 = rz.design("window", "highpass", 1000.0, [50], length=31)
    frames = np.fromfile(recordings[3], dtype=np.int16).reshape(-1, CHANNELS)
    assert outputs(on_cluster)[3] == ref.frames(0, 1000.0, frames, 4096,
                                                [(0, d0.spec), (2, d2.spec)])


def test_filter_files_in_section_mode_equal_library(ref, recordings, cluster_client, tmp_path):
    # A band-pass with a 0.5 Hz edge at 360 Hz, which only the section cascade runs.
    fs = 360.0
    wide = dict(method="butterworth", band="bandpass", edges=[0.3, 0.5, 40, 60])
    spec = batch.FilterSpec(dtype="int16", channels=CHANNELS, fs=fs, design=wide,
                            select=(1,), block_frames=3000, sections=True)
    on_cluster = batch.filter_files(recordings[:4], spec, tmp_path / "sos", client=cluster_client)
    frames = np.fromfile(recordings[2], dtype=np.int16).reshape(-1, CHANNELS)
    d = rz.design(fs=fs, **wide)
    expected = ref.frames(0, fs, frames, 3000, [(1, d.spec)], sections=True)
    assert outputs(on_cluster)[2] == expected
    # The transfer function would differ: the mode reached the workers.
    assert expected != ref.frames(0, fs, frames, 3000, [(1, d.spec)])


def test_decimate_and_integrate_files_on_cluster_equal_sequential(recordings, cluster_client,
                                                                 tmp_path):
    dspec = batch.DecimateSpec(dtype="int16", channels=CHANNELS, ratio=10, block_frames=5000)
    ispec = batch.IntegrateSpec(dtype="int16", channels=CHANNELS, fs=100.0, select=(1,))
    for files, single, spec in ((batch.decimate_files, batch.decimate_file, dspec),
                                (batch.integrate_files, batch.integrate_file, ispec)):
        on_cluster = files(recordings, spec, tmp_path / single.__name__, client=cluster_client)
        sequential = [single(p, spec, str(tmp_path / f"{single.__name__}{i}.raw"))
                      for i, p in enumerate(recordings)]
        assert outputs(on_cluster) == outputs(sequential)
    assert on_cluster[0].frames_out == on_cluster[0].frames_in


def test_bad_file_and_colliding_names_are_refused(tmp_path):
    (tmp_path / "odd.raw").write_bytes(b"\x00" * 7)
    spec = batch.IntegrateSpec(dtype="int16", channels=2, fs=10.0)
    with pytest.raises(ValueError, match="whole number"):
        batch.integrate_file(str(tmp_path / "odd.raw"), spec, str(tmp_path / "o.raw"))
    with pytest.raises(ValueError, match="share a file name"):
        batch.integrate_files([tmp_path / "a" / "x.raw", tmp_path / "b" / "x.raw"], spec,
                              tmp_path / "out", client=object())


def test_without_a_client_a_local_cluster_runs_the_files(recordings, tmp_path):
    spec = batch.IntegrateSpec(dtype="int16", channels=CHANNELS, fs=100.0)
    results = batch.integrate_files(recordings[:2], spec, tmp_path / "local")
    sequential = [batch.integrate_file(p, spec, str(tmp_path / f"s{i}.raw"))
                  for i, p in enumerate(recordings[:2])]
    assert outputs(results) == outputs(sequential)
