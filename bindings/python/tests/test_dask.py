"""Dask's collections, with one thread; test_dask_cluster.py has worker processes."""

import dask
import fsspec
import numpy
import pandas
import pytest
from fsspec.implementations.memory import MemoryFile

import casefile
import casefile.dask
from conftest import RECORD, records

BLOCK = casefile.BLOCK_SIZE


@pytest.fixture(autouse=True)
def one_thread():
    with dask.config.set(scheduler="synchronous"):
        yield


def test_reads_records_in_partitions_at_blocks(record_file):
    found = casefile.dask.read_records(str(record_file), RECORD, BLOCK)
    assert found.numblocks == (4,) and found.chunks[0][0] == BLOCK // RECORD.itemsize
    assert numpy.array_equal(found.compute(), records(1_000_000))
    assert casefile.dask.read_records(str(record_file), RECORD).numblocks == (1,)
    assert casefile.dask.read_records(str(record_file), RECORD, "4MiB").numblocks == (4,)  # as Dask's own take a size
    for size in (0, "-1MB"):
        with pytest.raises(ValueError, match="partitions"):
            casefile.dask.read_records(str(record_file), RECORD, size)


def test_reads_a_file_without_records(tmp_path):
    with casefile.create(tmp_path / "empty.case", b"head"):
        pass
    assert casefile.dask.read_records(str(tmp_path / "empty.case"), RECORD).compute().size == 0


def test_each_task_reads_its_own_blocks_and_nothing_else(record_file, monkeypatch):
    fsspec.filesystem("memory").pipe("/counted.case", record_file.read_bytes())
    found = casefile.dask.read_records("memory://counted.case", RECORD, BLOCK)
    reads = []
    plain = MemoryFile.readinto

    def counted(self, buffer):
        count = plain(self, buffer)
        reads.append((self.tell() - count, count))
        return count
    monkeypatch.setattr(MemoryFile, "readinto", counted, raising=False)
    found.blocks[2].compute()
    monkeypatch.undo()
    blocks = casefile.open(record_file).blocks

    def read_of(block):
        first, last = block.file_position, block.file_position + block.compressed_size
        return sum(max(0, min(last, start + count) - max(first, start)) for start, count in reads)
    assert read_of(blocks[2]) == blocks[2].compressed_size
    assert read_of(blocks[1]) == read_of(blocks[3]) == 0
    assert read_of(blocks[0]) <= 2  # whether a block begins there is part of what tells a heading


def test_a_file_that_changed_meanwhile_is_an_error(tmp_path):
    path = tmp_path / "data.case"
    with casefile.create(path, b"head") as writer:
        writer.write(records(10))
    found = casefile.dask.read_records(str(path), RECORD)
    with casefile.append(path) as appender:
        appender.write(records(1))
    with pytest.raises(ValueError, match="not as long"):
        found.compute()


def test_reads_a_table_in_partitions_at_line_ends(table_file):
    found = casefile.dask.read_csv(str(table_file), BLOCK)
    assert found.npartitions == 3
    whole = found.compute().reset_index(drop=True)
    pandas.testing.assert_frame_equal(whole, casefile.read_csv(table_file))


@pytest.mark.parametrize("length", (10, 1000, 3 * BLOCK))
def test_lines_belong_to_one_partition_each(tmp_path, length):
    path = tmp_path / "lines.case"
    lines = [b"%d,%s\n" % (number, b"x" * length) for number in range(max(3, 3 * BLOCK // length))]
    with casefile.create(path, b"number,text\n") as writer:
        writer.write(b"".join(lines)[:-1])  # the last line has no end
    found = casefile.dask.read_csv(str(path), BLOCK, usecols=["number"])
    assert found.npartitions > 1
    assert list(found.number.compute()) == list(range(len(lines)))


@pytest.mark.parametrize("before", (0, BLOCK))
def test_a_cut_between_quotes_is_an_error(tmp_path, before):
    path = tmp_path / "quoted.case"
    with casefile.create(path, b"number,text\n") as writer:
        writer.write(b"1,a\n" * (before // 4) + b'1,"' + b"aaa\n" * (BLOCK // 4) + b'"\n2,b\n')
    with pytest.raises(ValueError, match="between quotes"):
        casefile.dask.read_csv(str(path), BLOCK).compute()
    assert casefile.read_csv(path).number.iloc[-1] == 2


@pytest.mark.parametrize("field", (b"a\nb", b'a""\n""b', b"\n" * 2 * BLOCK), ids=("short", "quotes", "of_blocks"))
def test_line_breaks_between_quotes_are_no_cuts_where_the_caller_says_so(tmp_path, field):
    path = tmp_path / "quoted.case"
    line = b'%d,"' + field + b'"\n%d,plain\n'
    count = max(2, 2 * BLOCK // len(line))
    with casefile.create(path, b"number,text\n") as writer:
        writer.write(b"".join(line % (2 * number, 2 * number + 1) for number in range(count)))
    kinds = {"number": "i8", "text": str}  # no line ends in the first block of the last file
    found = casefile.dask.read_csv(str(path), BLOCK, dtype=kinds, quoted_line_breaks=True)
    assert found.npartitions > 1
    assert found.compute().reset_index(drop=True).equals(casefile.read_csv(path, dtype=kinds))


def test_quotes_that_cannot_be_counted_are_an_error(tmp_path):
    path = tmp_path / "inches.case"
    with casefile.create(path, b"number,text\n") as writer:
        writer.write(b"1,a\n" * (BLOCK // 2) + b'2,5" pipe\n')
    with pytest.raises(ValueError, match="odd number"):
        casefile.dask.read_csv(str(path), BLOCK, quoted_line_breaks=True).compute()
    for options in ({"escapechar": "\\"}, {"doublequote": False}, {"quoting": 3}):
        with pytest.raises(ValueError, match="counting"):
            casefile.dask.read_csv(str(path), BLOCK, quoted_line_breaks=True, **options)


@pytest.mark.parametrize("options", ({"names": ["n", "s"], "header": 0}, {"names": ["n", "s"], "skiprows": 1},
                                     {"header": None, "skiprows": 1}, {"comment": "#"}, {"usecols": ["number"]}),
                         ids=lambda options: " ".join(options))
def test_each_partition_is_read_with_the_callers_options(table_file, options):
    found = casefile.dask.read_csv(str(table_file), BLOCK, **options).compute().reset_index(drop=True)
    pandas.testing.assert_frame_equal(found, casefile.read_csv(table_file, **options))


@pytest.mark.parametrize("options", ({"header": None}, {"names": ["n", "s"]}, {"skiprows": 1}, {"skiprows": 3}, {"header": 1},
                                     {"skiprows": lambda line: line % 2 == 1}), ids=lambda options: " ".join(options))
def test_a_head_that_is_data_or_takes_data_cannot_be_each_partitions(table_file, options):
    # It was silently: each partition had a row too many, or lost one.
    with pytest.raises(ValueError, match="dictionary part"):
        casefile.dask.read_csv(str(table_file), BLOCK, **options)


@pytest.mark.parametrize("name, value", (("nrows", 5), ("skipfooter", 1), ("chunksize", 10), ("iterator", True)))
def test_options_of_a_whole_table_are_refused(table_file, name, value):
    with pytest.raises(ValueError, match=name):
        casefile.dask.read_csv(str(table_file), BLOCK, **{name: value})


@pytest.mark.parametrize("inches, options", ((b'5"', {"quoting": 3}), (b'"5\\""', {"escapechar": "\\"})),
                         ids=("no quotes", "escaped"))
def test_quotes_that_enclose_nothing_are_no_doubt(tmp_path, inches, options):
    with casefile.create(tmp_path / "inches.case", b"number,text\n") as writer:
        writer.write(b"1,a\n" * (BLOCK // 2) + b"2," + inches + b"\n")
    found = casefile.dask.read_csv(str(tmp_path / "inches.case"), BLOCK, **options)
    assert found.npartitions > 1 and found.text.compute().iloc[-1] == '5"'


def test_a_table_in_one_partition_is_not_cut(tmp_path):
    with casefile.create(tmp_path / "inches.case", b"number,text\n") as writer:
        writer.write(b'2,5" pipe\n3,b\n')
    assert list(casefile.dask.read_csv(str(tmp_path / "inches.case")).text.compute()) == ['5" pipe', "b"]


def test_other_types_than_the_first_lines_have_are_an_error(tmp_path):
    path = tmp_path / "types.case"
    with casefile.create(path, b"number\n") as writer:
        writer.write(b"1\n" * BLOCK + b"none at all\n")
    with pytest.raises(ValueError, match="dtype"):
        casefile.dask.read_csv(str(path), BLOCK).compute()
    found = casefile.dask.read_csv(str(path), BLOCK, dtype=str)
    assert found.number.compute().iloc[-1] == "none at all"
