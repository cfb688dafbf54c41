"""Tables through pandas."""

import io

import pandas
import pytest

import casefile


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
