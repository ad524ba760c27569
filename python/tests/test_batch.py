"""Batch processing on Dask: 8 files on a 2-worker local cluster give the same
bytes as a sequential run, and the filters give the C++ driver's bytes."""

import numpy as np
import pytest

import rzfilterfunc as rz
from conftest import channel_designs
from rzfilterfunc import batch

distributed = pytest.importorskip("distributed")


@pytest.fixture(scope="module")
def client():
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                  dashboard_address=None) as cluster:
        with distributed.Client(cluster) as c:
            yield c


@pytest.fixture(scope="module")
def recordings(tmp_path_factory):
    rng, folder = np.random.default_rng(7), tmp_path_factory.mktemp("recordings")
    for i in range(8):
        (2000 * rng.standard_normal((20000 + 1111 * i, 3))).astype(np.int16).tofile(
            folder / f"rec{i}.raw")
    return [str(folder / f"rec{i}.raw") for i in range(8)]


def outputs(results):
    return [open(r.output, "rb").read() for r in results]


LOWPASS = dict(method="chebyshev1", band="lowpass", edges=[100, 200])
HIGHPASS = dict(method="window", band="highpass", edges=[50], length=31)
WIDE = dict(method="butterworth", band="bandpass", edges=[0.3, 0.5, 40, 60])  # sections only
SPECS = {
    "filter": (batch.FilterSpec("int16", 3, 1000.0, LOWPASS, {2: HIGHPASS}, (0, 2), 4096),
               {0: LOWPASS, 2: HIGHPASS}),
    "filter-sections": (batch.FilterSpec("int16", 3, 360.0, WIDE, select=(1,), block_frames=3000,
                                         sections=True), {1: WIDE}),
    "decimate": (batch.DecimateSpec("int16", 3, 10, block_frames=5000), None),
    "integrate": (batch.IntegrateSpec("int16", 3, 100.0, select=(1,)), None),
}


@pytest.mark.parametrize("kind", SPECS)
def test_files_on_cluster_equal_sequential_run(ref, recordings, client, tmp_path, kind):
    spec, designs = SPECS[kind]
    many, one = {"decimate": (batch.decimate_files, batch.decimate_file),
                 "integrate": (batch.integrate_files, batch.integrate_file)}.get(
        kind, (batch.filter_files, batch.filter_file))
    assert len(client.scheduler_info()["workers"]) == 2
    on_cluster = many(recordings, spec, tmp_path / "cluster", client=client)
    sequential = [one(p, spec, str(tmp_path / f"seq{i}.raw")) for i, p in enumerate(recordings)]
    assert outputs(on_cluster) == outputs(sequential)
    if kind != "decimate":
        assert [r.frames_out for r in on_cluster] == [r.frames_in for r in on_cluster]
    if designs:  # the library's bytes for one file, in the same blocks and mode
        d = {ch: rz.design(fs=np.float32(spec.fs).item(), **kw) for ch, kw in designs.items()}
        frames = np.fromfile(recordings[3], dtype=np.int16).reshape(-1, 3)
        assert outputs(on_cluster)[3] == ref.stream(
            frames, [kind.replace("filter", "frames"), 0, 3, spec.fs.hex(), spec.block_frames],
            channel_designs(d))


def test_bad_inputs_are_refused(tmp_path):
    (tmp_path / "odd.raw").write_bytes(b"\x00" * 7)
    spec = batch.IntegrateSpec(dtype="int16", channels=2, fs=10.0)
    with pytest.raises(ValueError, match="whole number"):
        batch.integrate_file(str(tmp_path / "odd.raw"), spec, str(tmp_path / "o.raw"))
    with pytest.raises(ValueError, match="share a file name"):
        batch.integrate_files([tmp_path / "a" / "x.raw", tmp_path / "b" / "x.raw"], spec,
                              tmp_path / "out", client=object())


def test_without_a_client_a_local_cluster_runs_the_files(recordings, tmp_path):
    spec = batch.IntegrateSpec(dtype="int16", channels=3, fs=100.0)
    results = batch.integrate_files(recordings[:2], spec, tmp_path / "local")
    assert outputs(results) == outputs([batch.integrate_file(p, spec, str(tmp_path / f"s{i}.raw"))
                                        for i, p in enumerate(recordings[:2])])
