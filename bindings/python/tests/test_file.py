"""Reading."""

import copy
import io
import mmap
import os
import pickle
import signal
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import numpy
import pytest

import casefile
from conftest import DICTIONARY, RECORD, records

ROW0 = len(DICTIONARY)


def test_tells_what_the_file_holds(record_file):
    with casefile.open(record_file) as file:
        assert (file.dictionary, file.row0, file.size) == (DICTIONARY, ROW0, ROW0 + 16_000_000)
        assert len(file.blocks) == 4
        assert file.blocks[1].start == ROW0 + casefile.BLOCK_SIZE
        assert "records.case" in repr(file) and "blocks=4" in repr(file)
        assert not file.unfinished_append
    assert "closed" in repr(file)


def test_stays_in_its_process(record_file):
    with casefile.open(record_file) as file:
        for use in (pickle.dumps, copy.copy):
            with pytest.raises(TypeError, match="opens the file itself"):
                use(file)


def test_a_closed_file_is_refused(record_file):
    file = casefile.open(record_file)
    file.close()
    for use in (lambda: file.read(1), lambda: file.read_at(0, 1), lambda: file.seek(0), lambda: file.blocks):
        with pytest.raises(ValueError):
            use()


def test_reads_at_positions(record_file):
    plain = DICTIONARY + records(1_000_000).tobytes()
    with casefile.open(record_file) as file:
        for position, size in ((0, 5), (ROW0 - 3, 100), (ROW0 + casefile.BLOCK_SIZE - 5, 10), (file.size - 3, 10),
                               (file.size + 5, 10), (10, 10_000_000)):
            assert file.read_at(position, size) == plain[position:position + size]
        room = bytearray(20)
        assert file.read_into(memoryview(room)[5:15], 0) == 10
        assert bytes(room) == bytes(5) + plain[:10] + bytes(5)
        with pytest.raises(casefile.UsageError):
            file.read_at(-1, 1)
        for position, refused in ((1.5, TypeError), (-1, ValueError), (1 << 63, OverflowError)):
            with pytest.raises(refused):
                file.seek(position)
        assert file.tell() == 0


def test_references_to_objects_are_not_overwritten(record_file):
    # They were, by bytes of the file, and the next look at the array ended the process.
    array = numpy.zeros(4, dtype=[("name", "i8"), ("value", "O")])
    with casefile.open(record_file) as file:
        for buffer in (array, memoryview(array)):
            with pytest.raises(TypeError, match="references"):
                file.read_into(buffer, 0)
        dates = numpy.zeros(3, "M8[s]")
        assert file.read_into(dates, ROW0) == 24 and dates.tobytes() == records(2).tobytes()[:24]


class CountedFile(casefile.File):
    reads = 0

    def read_at(self, position, size):
        self.reads += 1
        return super().read_at(position, size)


def test_reads_a_line_in_few_pieces(tmp_path):
    # Byte by byte, as io.RawIOBase does it, a megabyte took twenty seconds.
    lines = [b"%d\n" % number for number in range(1000)] + [b"long " * 2_000_000 + b"\n", b"the last one"]
    with casefile.create(tmp_path / "lines.case", b"number\n") as writer:
        writer.write(lines)
    with CountedFile(tmp_path / "lines.case") as file:
        before = file.reads
        assert list(file) == [b"number\n", *lines]
        assert file.reads - before < 1100
        assert file.readline() == b""


@pytest.mark.parametrize("size", [-1, None, 0, 1, 5, 600, 10_000])
def test_reads_lines_as_other_files_do(tmp_path, size):
    plain = b"head\n" + b"".join(b"x" * length + b"\n" for length in (0, 1, 3, 4, 5, 511, 512, 513, 5000, 0)) + b"end"
    with casefile.create(tmp_path / "lines.case", plain[:5]) as writer:
        writer.write(plain[5:])
    other = io.BytesIO(plain)
    with casefile.open(tmp_path / "lines.case") as file:
        for _ in range(50):
            assert file.readline(size) == other.readline(size)
            assert file.tell() == other.tell()


def test_is_a_raw_file_like_others(record_file):
    plain = DICTIONARY + records(1_000_000).tobytes()
    with casefile.open(record_file) as file:
        assert file.readable() and file.seekable() and not file.writable()
        for change in (lambda: file.write(b"x"), lambda: file.writelines([b"x"]), lambda: file.truncate(1)):
            with pytest.raises(io.UnsupportedOperation):
                change()
        buffered = io.BufferedReader(file)
        assert buffered.readline() == DICTIONARY
        assert buffered.detach() is file
        assert file.seek(-4, os.SEEK_END) == len(plain) - 4
        assert file.read() == plain[-4:] and file.read(1) == b""
        assert file.seek(3) == 3 and file.tell() == 3
        assert file.read(7) == plain[3:10] and file.seek(-1, os.SEEK_CUR) == 9
        with pytest.raises(ValueError):
            file.seek(-1)
        file.seek(0)
        assert file.readall() == plain


def test_gives_records_as_an_array(record_file):
    with casefile.open(record_file) as file:
        assert numpy.array_equal(file.records(RECORD), records(1_000_000))
        assert numpy.array_equal(file.records(RECORD, 999_990), records(1_000_000)[999_990:])
        assert numpy.array_equal(file.records(RECORD, 10, 20), records(20)[10:])
        assert numpy.array_equal(file.records(RECORD, -3, -1), records(1_000_000)[-3:-1])
        assert file.records(RECORD, 20, 10).size == 0
        assert file.records(RECORD, 2_000_000).size == 0
        with pytest.raises(ValueError):
            file.records(object)


def test_divides_records_among_workers(record_file):
    with casefile.open(record_file) as file:
        parts = file.partitions(3, RECORD.itemsize)
        assert parts[0].start == ROW0 and parts[-1].stop == file.size
        assert all(one.stop == other.start for one, other in zip(parts, parts[1:]))
        assert all((part.start - ROW0) % RECORD.itemsize == 0 for part in parts)
        with pytest.raises(casefile.UsageError):
            file.partitions(0)
        for count, record_size in ((-1, 16), (3, -1)):
            with pytest.raises(ValueError, match="cannot be negative"):
                file.partitions(count, record_size)


def test_gives_lines(table_file):
    with casefile.open(table_file) as file:
        lines = list(file.lines())
    assert len(lines) == 500_000 and lines[0] == "0,0" and lines[-1] == "499999,249999000001"


def test_lines_end_at_line_feeds_alone(tmp_path):
    with casefile.create(tmp_path / "new.case", b"text\n") as writer:
        writer.write("a\rb\u2028c\r\n\n\rd\n\re\r".encode())
    with casefile.open(tmp_path / "new.case") as file:
        assert list(file.lines()) == ["a\rb\u2028c\r", "", "\rd", "\re\r"]


def test_lines_can_be_left_early(table_file):
    with casefile.open(table_file) as file:
        lines = file.lines()
        assert next(lines) == "0,0"
        lines.close()
    assert not [thread for thread in threading.enumerate() if thread.name == "casefile ahead"]


def test_opens_objects_and_memory(record_file):
    data = record_file.read_bytes()
    with open(record_file, "rb") as source, casefile.open(source) as file:
        assert file.dictionary == DICTIONARY and "records.case" in repr(file)
        assert numpy.array_equal(file.records(RECORD), records(1_000_000))
    assert casefile.open(io.BytesIO(data)).read_at(0, ROW0) == DICTIONARY
    assert casefile.open(bytearray(data)).read_at(0, ROW0) == DICTIONARY
    with pytest.raises(TypeError):
        casefile.open(17)


class Silent:
    """A file whose seek() says nothing, and that has no readinto()."""

    def __init__(self, data):
        self._file = io.BytesIO(data)

    def seek(self, *where):
        self._file.seek(*where)

    def tell(self):
        return self._file.tell()

    def read(self, size):
        return self._file.read(size)


class Grudging(io.BytesIO):
    """Gives few bytes at a time."""

    def readinto(self, buffer):
        return super().readinto(memoryview(buffer)[:100_000])


def test_opens_whatever_can_be_sought(record_file):
    data = record_file.read_bytes()
    with open(record_file, "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as mapped:
        for source in (Silent(data), Grudging(data), mapped):
            with casefile.open(source) as opened:
                assert numpy.array_equal(opened.records(RECORD), records(1_000_000))


def test_arguments_below_zero_are_refused(record_file, tmp_path):
    for call in (lambda: casefile.open(record_file, threads=-1), lambda: casefile.open(record_file, cache=-1),
                 lambda: casefile.open(record_file, row0=-1), lambda: casefile.open(record_file).read_at(0, -1),
                 lambda: casefile.verify(record_file, threads=-1),
                 lambda: casefile.recover(record_file, tmp_path / "new.case", threads=-1),
                 lambda: casefile.append(record_file, threads=-1),
                 lambda: casefile.create(tmp_path / "new.case", b"head", threads=-1)):
        with pytest.raises(ValueError, match="negative"):
            call()
    assert not list(tmp_path.iterdir())


class FailingSource(io.BytesIO):
    failing = False

    def readinto(self, buffer):
        if self.failing:
            raise LookupError("the source's own")
        return super().readinto(buffer)


def test_what_a_source_raises_comes_out_unchanged(record_file):
    source = FailingSource(record_file.read_bytes())
    file = casefile.open(source)
    source.failing = True
    for size in (10, 10_000_000):
        with pytest.raises(LookupError, match="the source's own"):
            file.read_at(ROW0, size)
    source.failing = False
    assert file.read_at(0, ROW0) == DICTIONARY


def test_a_source_is_let_go_with_its_file(record_file):
    from casefile import _source
    bytes_of_file = io.BytesIO(record_file.read_bytes())

    def in_use():
        return [reading for reading in _source._in_use.values() if reading.file is bytes_of_file]
    file = casefile.open(bytes_of_file)
    assert len(in_use()) == 1
    file.close()
    assert not in_use()


def test_errors_have_their_fields(tmp_path, record_file):
    with pytest.raises(FileNotFoundError) as missing:
        casefile.open(tmp_path / "missing.case")
    assert isinstance(missing.value, casefile.FileError) and missing.value.status == "system"
    assert missing.value.filename == str(tmp_path / "missing.case") and missing.value.operation == "open"
    assert missing.value.errno == missing.value.system_code != 0
    with pytest.raises(casefile.NotADataFileError) as foreign:
        casefile.open(io.BytesIO(bytes(5000)))
    assert isinstance(foreign.value, ValueError) and foreign.value.status == "not a data file"
    data = bytearray(record_file.read_bytes())
    block = casefile.open(record_file).blocks[2]
    data[block.file_position + 2:block.file_position + 2000] = b"\xff" * 1998
    with pytest.raises(casefile.DamagedError) as damaged:
        casefile.open(data).read_at(block.start + 10, 1)
    assert damaged.value.range == (block.start, block.stop)
    assert damaged.value.file_position == block.file_position


def test_many_threads_share_one_file(record_file):
    with casefile.open(record_file, cache=1 << 23) as file, ThreadPoolExecutor(16) as pool:
        def read(number):
            return file.records(RECORD, number, number + 1)["number"][0]
        numbers = [number * 7919 % 1_000_000 for number in range(400)]
        assert list(pool.map(read, numbers, timeout=120)) == numbers


def test_progress_is_told_and_what_it_raises_comes_out(record_file):
    told = []
    with casefile.open(record_file) as file:
        file.records(RECORD, progress=told.append)
        assert told[-1].bytes_done == 16_000_000 and told[-1].phase == "reading"

        def stop(_):
            raise LookupError("the callback's own")
        with pytest.raises(LookupError):
            file.records(RECORD, progress=stop)


def test_an_interrupt_stops_long_work(record_file):
    told = []

    def interrupt_and_wait(progress):
        told.append(progress)
        if len(told) == 1:
            os.kill(os.getpid(), signal.SIGINT)
        time.sleep(3)  # that nobody takes the interrupt for so long is the failure

    with casefile.open(record_file, threads=1) as file:
        with pytest.raises(KeyboardInterrupt):
            file.records(RECORD, progress=interrupt_and_wait)
        assert len(told) < 4
        assert file.read_at(0, ROW0) == DICTIONARY
