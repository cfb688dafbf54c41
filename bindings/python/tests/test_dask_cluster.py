"""Worker processes that share a file, one of which is killed in the middle: what they find, and what they write, is what
one process finds and writes. The files have as many MiB as --mebibytes says.
"""

import functools
import os
import pathlib
import signal
import time
import zlib

import dask
import dask.array
import numpy
import pandas
import pytest
from distributed import Client, LocalCluster

import casefile
import casefile.dask
from conftest import DICTIONARY, RECORD
from deadline import DEADLINE, Watched, tell_when_asked, within_deadline

WORKERS = 3
PARTITION = casefile.BLOCK_SIZE
LINE = len("00000000,00\n")

# A cluster gives up a worker whose process is not back after this time, 15 seconds if nothing is said, and when all are
# given up whoever waits for a result waits for ever. On a machine with much else to do it takes longer to start one.
NEVER = {"distributed.deploy.lost-worker-timeout": "1h"}


def started(folder, stacks):
    cluster = within_deadline(lambda: LocalCluster(n_workers=WORKERS, threads_per_worker=1, processes=True,
                                                   dashboard_address=None, local_directory=str(folder)))
    client = within_deadline(lambda: Client(cluster))
    within_deadline(lambda: client.register_worker_callbacks(functools.partial(tell_when_asked, str(stacks))))
    return cluster, client


@pytest.fixture(scope="module")
def watched(tmp_path_factory):
    stacks = tmp_path_factory.mktemp("stacks")
    with dask.config.set(NEVER):
        cluster, client = started(tmp_path_factory.mktemp("workers"), stacks)
        yield Watched(cluster, client, stacks)
        within_deadline(client.close)
        within_deadline(cluster.close)


@pytest.fixture
def do(watched):
    """Does work of which the cluster's workers have a part, when all of them are there."""
    within_deadline(lambda: watched.client.wait_for_workers(WORKERS), watched)
    return lambda work: within_deadline(work, watched)


@pytest.fixture(scope="module")
def count(request):
    return request.config.getoption("--mebibytes") * (1 << 20) // RECORD.itemsize


def some(first, last):
    """Records that tell their number, and whose value is not too regular."""
    made = numpy.empty(last - first, RECORD)
    made["number"] = numpy.arange(first, last)
    made["value"] = made["number"] * 7919 % 100_003 / 8
    return made


@pytest.fixture(scope="module")
def shared(tmp_path_factory, count):
    path = tmp_path_factory.mktemp("shared") / "records.case"
    with casefile.create(path, DICTIONARY) as writer:
        writer.write(some(first, min(count, first + 1_000_000)) for first in range(0, count, 1_000_000))
    return path


def kill_once(marker):
    """Kills its process where nobody was before."""
    try:
        pathlib.Path(marker).touch(exist_ok=False)
    except FileExistsError:
        return
    os.kill(os.getpid(), signal.SIGKILL)
    time.sleep(DEADLINE)


def judged(block, marker, middle):
    """Sum, length and check value of a block; the worker that meets the record in the middle is killed."""
    if len(block) and block["number"][0] <= middle <= block["number"][-1]:
        kill_once(marker)
    return numpy.array([[block["number"].sum(), len(block), zlib.crc32(block.tobytes())]])


def test_they_read_what_one_process_reads(do, shared, count, tmp_path):
    found = casefile.dask.read_records(shared, RECORD, PARTITION)
    assert len(found.chunks[0]) > 2 * WORKERS
    told = found.map_blocks(judged, str(tmp_path / "killed"), count // 2, dtype="i8", new_axis=1,
                            chunks=((1,) * len(found.chunks[0]), (3,)), meta=numpy.empty((0, 0), "i8"))
    by_workers = do(told.compute)
    assert (tmp_path / "killed").exists()
    with casefile.open(shared) as file:
        start = 0
        for chunk, (total, length, check) in zip(found.chunks[0], by_workers):
            block = file.records(RECORD, start, start + chunk)
            start += chunk
            assert (block["number"].sum(), len(block), zlib.crc32(block.tobytes())) == (total, length, check)
        assert start == count == len(file.records(RECORD))


def killed_at(frame, marker, middle):
    if (frame.number == middle).any():
        kill_once(marker)
    return frame


def lines_of(first, last):
    """Lines of a number and its group: "00000012,73"."""
    numbers = numpy.arange(first, last)[:, numpy.newaxis]
    text = numpy.empty((last - first, LINE), "u1")
    text[:, :8] = numbers // 10 ** numpy.arange(7, -1, -1) % 10 + ord("0")
    text[:, 8] = ord(",")
    text[:, 9:11] = numbers * 7919 % 97 // 10 ** numpy.arange(1, -1, -1) % 10 + ord("0")
    text[:, 11] = ord("\n")
    return text


def test_they_read_the_table_that_one_process_reads(do, count, tmp_path):
    lines = count * RECORD.itemsize // LINE
    with casefile.create(tmp_path / "table.case", b"number,group\n") as writer:
        for first in range(0, lines, 500_000):
            numbers = range(first, min(lines, first + 500_000))
            writer.write("".join(f"{number:08},{number * 7919 % 97:02}\n" for number in numbers).encode())
    table = casefile.dask.read_csv(tmp_path / "table.case", PARTITION)
    assert table.npartitions > 2 * WORKERS
    whole = table.map_partitions(killed_at, str(tmp_path / "killed"), lines // 2, meta=table._meta)
    found = do(whole.groupby("group").number.agg(["sum", "count", "min", "max"]).compute)
    assert (tmp_path / "killed").exists()
    alone = casefile.read_csv(tmp_path / "table.case")
    assert len(alone) == lines
    expected = alone.groupby("group").number.agg(["sum", "count", "min", "max"])
    pandas.testing.assert_frame_equal(found.sort_index(), expected)


def made(block_info, marker, middle):
    first, last = block_info[None]["array-location"][0]
    if first <= middle < last:
        kill_once(marker)
    return some(first, last)


class KillingDictionary:
    """Dictionary parts are asked for when the file has been begun."""

    def __init__(self, marker):
        self.marker = marker

    def __iter__(self):
        kill_once(self.marker)
        yield DICTIONARY


@pytest.mark.parametrize("folder", (None, "wait"))
def test_they_write_what_one_process_writes(do, shared, count, tmp_path, folder):
    out = tmp_path / "out"
    out.mkdir()
    array = dask.array.map_blocks(made, marker=str(tmp_path / "first"), middle=count // 2, dtype=RECORD,
                                  chunks=dask.array.core.normalize_chunks(777_777, (count,)), meta=numpy.empty(0, RECORD))
    size = do(lambda: casefile.dask.write_records(array, out / "new.case", KillingDictionary(str(tmp_path / "second")),
                                                  temporary=folder and tmp_path / folder))
    assert (tmp_path / "first").exists() and (tmp_path / "second").exists()
    assert size == len(DICTIONARY) + count * RECORD.itemsize
    assert casefile.verify(out / "new.case").sound
    assert differing_blocks(out / "new.case", shared) == []
    assert not folder or not list((tmp_path / folder).iterdir())


def differing_blocks(path, other):
    """The blocks whose records are not the same here and there: number, places, count of records, the first of them.

    Their compressed bytes may differ: ISA-L's depend a little on where in memory its state lies.
    """
    found = []
    with casefile.open(path) as file, casefile.open(other) as theirs:
        for number, (ours, wanted) in enumerate(zip(file.blocks, theirs.blocks, strict=True)):
            own, right = (numpy.frombuffer(each.read_at(block.start, block.stop - block.start), RECORD)
                          for each, block in ((file, ours), (theirs, wanted)))
            if ours[:2] != wanted[:2] or len(own) != len(right) or (own != right).any():
                found.append((number, ours, wanted, (own != right).sum(), own[own != right][:1], right[own != right][:1]))
    return found
