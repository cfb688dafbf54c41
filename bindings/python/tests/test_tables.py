"""Tables through pandas."""

import io
import signal
import threading

import numpy
import pandas
import pytest

import casefile
from casefile._ahead import ahead

DEADLINE = 120


def expected():
    return pandas.DataFrame({"number": range(500_000), "square": [number * number for number in range(500_000)]})


def test_pandas_reads_a_file(table_file):
    with casefile.open(table_file) as file:
        pandas.testing.assert_frame_equal(pandas.read_csv(file), expected())


def test_read_csv_decodes_ahead_of_pandas(table_file):
    pandas.testing.assert_frame_equal(casefile.read_csv(table_file), expected())
    few = casefile.read_csv(table_file, nrows=3, usecols=["square"])
    assert list(few.square) == [0, 1, 4]
    with open(table_file, "rb") as source:
        assert len(casefile.read_csv(source)) == 500_000


class CountedSource(io.BytesIO):
    """Knows how many bytes were read of it."""

    count = 0

    def readinto(self, buffer):
        done = super().readinto(buffer)
        self.count += done
        return done


def test_each_block_is_decoded_once_ahead_of_whoever_reads(tmp_path):
    """Though the dictionary part is shorter than a block, and the windows begin where it does not end."""
    plain = numpy.arange(16 * casefile.BLOCK_SIZE // 8 + 1, dtype="i8").tobytes()
    with casefile.create(tmp_path / "many.case", b"number:int64\n") as writer:
        writer.write(plain)
    source = CountedSource((tmp_path / "many.case").read_bytes())
    with casefile.open(source, threads=1, cache=0) as file:
        before, blocks = source.count, sum(block.compressed_size for block in file.blocks)
        with ahead(file, 0) as decoded:
            assert decoded.read() == b"number:int64\n" + plain
        assert source.count - before < blocks + len(b"number:int64\n") + blocks // 100


def test_whoever_stops_reading_waits_for_one_block_at_most(tmp_path):
    with casefile.create(tmp_path / "many.case", b"head") as writer:
        writer.write(bytes(6 * casefile.BLOCK_SIZE))
    began, go_on = threading.Event(), threading.Event()

    class Held(io.BytesIO):
        """Holds its reader at the first block, and counts those after it."""

        blocks = None

        def readinto(self, buffer):
            if self.blocks is not None:
                self.blocks += 1
                began.set()
                assert go_on.wait(DEADLINE)
            return super().readinto(buffer)

    source = Held((tmp_path / "many.case").read_bytes())
    with casefile.open(source, threads=1, cache=0) as file:
        source.blocks = 0
        decoded = ahead(file, file.row0)
        assert began.wait(DEADLINE)
        closing = threading.Thread(target=decoded.close)
        closing.start()
        assert decoded._stopped.wait(DEADLINE)
        go_on.set()
        closing.join(DEADLINE)
        assert not closing.is_alive() and source.blocks <= 2


@pytest.mark.parametrize("threads, blocks", ((1, 4), (3, 6)))
def test_memory_for_decoding_ahead_is_for_the_threads_that_decode(tmp_path, monkeypatch, threads, blocks):
    monkeypatch.setattr("os.cpu_count", lambda: 128)
    with casefile.create(tmp_path / "many.case", b"head") as writer:
        writer.write(bytes(7 * casefile.BLOCK_SIZE))
    with casefile.open(tmp_path / "many.case", threads=threads) as file, ahead(file, file.row0) as decoded:
        assert len(decoded.read1()) == blocks * casefile.BLOCK_SIZE


def test_pieces_are_for_pandas_itself(table_file):
    with pytest.raises(ValueError, match="chunksize"):
        casefile.read_csv(table_file, chunksize=10)
    with casefile.open(table_file) as file:
        assert sum(len(piece) for piece in pandas.read_csv(file, chunksize=100_000)) == 500_000


def test_damage_is_raised_where_the_decoding_ahead_meets_it(table_file):
    data = bytearray(table_file.read_bytes())
    block = casefile.open(table_file).blocks[1]
    data[block.file_position + 2:block.file_position + 2000] = b"\xff" * 1998
    with pytest.raises(casefile.DamagedError):
        casefile.read_csv(data)
    with pytest.raises(casefile.DamagedError), io.BufferedReader(casefile.open(data)) as raw:
        raw.read()


class InterruptedAhead(ahead):
    def read1(self, size=-1):
        signal.raise_signal(signal.SIGINT)
        return super().read1(size)


def test_ctrl_c_comes_out_of_pandas_as_it_is(table_file, monkeypatch):
    # A signal that comes while pandas parses is handled when it calls read(), and was a ParserError then.
    monkeypatch.setattr(casefile._tables, "ahead", InterruptedAhead)
    with pytest.raises(KeyboardInterrupt):
        casefile.read_csv(table_file)
