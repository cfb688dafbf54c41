"""Collections of Dask that become one file."""

import dask
import dask.array
import dask.bag
import dask.dataframe
import fsspec
import numpy
import pandas
import pytest

import casefile
import casefile.dask
from conftest import DICTIONARY, RECORD, records

BLOCK = casefile.BLOCK_SIZE


@pytest.fixture(autouse=True)
def one_thread():
    with dask.config.set(scheduler="synchronous"):
        yield


def content(path):
    assert casefile.verify(path).sound
    with casefile.open(path) as file:
        assert all(block.stop - block.start == BLOCK for block in file.blocks[:-1])
        return file.read_at(0, file.size)


@pytest.mark.parametrize("chunk", (1_000_000, 300_000, 7_001, BLOCK // RECORD.itemsize))
def test_partitions_of_any_size_become_the_writers_file(tmp_path, record_file, chunk):
    array = dask.array.from_array(records(1_000_000), chunks=chunk)
    size = casefile.dask.write_records(array, tmp_path / "new.case", DICTIONARY)
    assert size == len(DICTIONARY) + 16_000_000
    assert content(tmp_path / "new.case") == content(record_file)
    assert len(list(tmp_path.iterdir())) == 1


def test_an_array_tells_its_own_dictionary_part(tmp_path):
    casefile.dask.write_records(dask.array.from_array(records(10), chunks=3), tmp_path / "new.case")
    assert content(tmp_path / "new.case") == b"number:int64 value:float64\n" + records(10).tobytes()
    numbers = dask.array.arange(10, chunks=4, dtype="i4").reshape(5, 2)
    casefile.dask.write_records(numbers.rechunk({1: -1}), tmp_path / "new.case")
    assert content(tmp_path / "new.case") == b"int32\n" + numpy.arange(10, dtype="i4").tobytes()
    casefile.dask.write_records(numbers.rechunk({1: -1}), tmp_path / "new.case", dtype="i8")
    assert content(tmp_path / "new.case") == b"int64\n" + numpy.arange(10, dtype="i8").tobytes()


def test_nothing_becomes_a_file_without_case_data(tmp_path):
    casefile.dask.write_records(dask.array.from_array(records(0)), tmp_path / "new.case", b"head")
    casefile.dask.write_records([], tmp_path / "other.case", b"head")
    assert content(tmp_path / "new.case") == content(tmp_path / "other.case") == b"head"


def test_a_dataframe_is_written_without_its_index(tmp_path):
    frame = pandas.DataFrame({"number": range(10), "name": list("abcdefghij")})
    table = dask.dataframe.from_pandas(frame, npartitions=3)
    with pytest.raises(ValueError, match="dtype"):
        casefile.dask.write_records(table, tmp_path / "new.case")
    kind = numpy.dtype([("name", "S4"), ("number", "<i2")])
    casefile.dask.write_records(table, tmp_path / "new.case", dtype=kind)
    with casefile.open(tmp_path / "new.case") as file:
        assert file.dictionary == b"name:|S4 number:int16\n"
        assert file.records(kind)["number"].tolist() == list(range(10))
        assert b"".join(file.records(kind)["name"]) == b"abcdefghij"
    casefile.dask.write_records(table[["number"]], tmp_path / "new.case")
    assert content(tmp_path / "new.case") == b"number:int64\n" + numpy.arange(10).tobytes()


def test_bytes_are_written_as_they_are(tmp_path):
    lines = dask.bag.from_sequence([b"a,1\n", b"b,2\n", b"c,3\n"], npartitions=2)
    casefile.dask.write_records(lines, tmp_path / "new.case", b"name,value\n")
    assert content(tmp_path / "new.case") == b"name,value\na,1\nb,2\nc,3\n"
    pieces = [dask.delayed(bytes)(BLOCK - 1), dask.delayed(bytes)(0), dask.delayed(bytearray)(3)]
    casefile.dask.write_records(pieces, tmp_path / "new.case", b"head")
    assert content(tmp_path / "new.case") == b"head" + bytes(BLOCK + 2)
    with pytest.raises(ValueError, match="dictionary"):
        casefile.dask.write_records(lines, tmp_path / "other.case")
    with pytest.raises(TypeError):
        casefile.dask.write_records([dask.delayed(str)(1)], tmp_path / "other.case", b"head")
    assert not (tmp_path / "other.case").exists()


def test_arrays_divided_along_other_axes_are_refused(tmp_path):
    with pytest.raises(ValueError, match="rechunk"):
        casefile.dask.write_records(dask.array.ones((4, 4), chunks=2), tmp_path / "new.case")


def test_blocks_wait_in_a_folder_that_is_empty_again(tmp_path, record_file):
    array = dask.array.from_array(records(1_000_000), chunks=300_000)
    (tmp_path / "wait").mkdir()
    for compute in (True, False):
        made = casefile.dask.write_records(array, tmp_path / "new.case", DICTIONARY, temporary=tmp_path / "wait",
                                           compute=compute)
        if not compute:
            assert made.compute() == len(DICTIONARY) + 16_000_000
        assert content(tmp_path / "new.case") == content(record_file)
        assert not list((tmp_path / "wait").iterdir())
    assert casefile.dask.write_records(array, tmp_path / "new.case", DICTIONARY, temporary="memory://wait")
    assert not fsspec.filesystem("memory").find("/wait")


def test_what_is_not_computed_at_once_can_be_computed_again(tmp_path, record_file):
    """As by a cluster that loses the worker which held the result."""
    made = casefile.dask.write_records(dask.array.from_array(records(1_000_000), chunks=300_000), tmp_path / "new.case",
                                       DICTIONARY, temporary=tmp_path / "wait", compute=False)
    for _ in range(2):
        assert made.compute() == len(DICTIONARY) + 16_000_000
        assert content(tmp_path / "new.case") == content(record_file)
        assert not list((tmp_path / "wait").iterdir())


def test_the_folder_is_empty_after_a_failure_and_nothing_appears(tmp_path):
    noise = numpy.random.default_rng(1).integers(0, 256, BLOCK, "u1")
    pieces = dask.array.concatenate([dask.array.zeros(BLOCK, dtype="u1"), dask.array.from_array(noise, chunks=BLOCK)])
    (tmp_path / "wait").mkdir()
    with pytest.raises(casefile.DoesNotFitError):
        casefile.dask.write_records(pieces, tmp_path / "new.case", temporary=tmp_path / "wait")
    assert [path.name for path in tmp_path.iterdir()] == ["wait"] and not list((tmp_path / "wait").iterdir())


def test_a_url_gets_the_whole_file(record_file):
    array = dask.array.from_array(records(1_000_000), chunks=300_000)
    casefile.dask.write_records(array, "memory://written/new.case", DICTIONARY)
    with fsspec.open("memory://written/new.case") as source, casefile.open(source) as file:
        assert file.read_at(0, file.size) == content(record_file)
    found = casefile.dask.read_records("memory://written/new.case", RECORD, BLOCK)
    assert numpy.array_equal(found.compute(), records(1_000_000))
