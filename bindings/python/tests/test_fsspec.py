"""fsspec's files."""

import fsspec
import pandas
import pytest

import casefile
import casefile.fsspec  # noqa: F401  its import is what is tested
from conftest import DICTIONARY


def test_opens_by_name_of_the_compression_and_by_ending(table_file, record_file):
    with fsspec.open(str(record_file), "rb", compression="case") as file:
        assert isinstance(file, casefile.File) and file.dictionary == DICTIONARY
    with fsspec.open(str(table_file), "rt", compression="infer") as text:
        assert [next(text) for _ in range(3)] == ["number,square\n", "0,0\n", "1,1\n"]
    with fsspec.open(str(table_file), "rb", compression="case") as file:
        assert len(pandas.read_csv(file)) == 500_000


def test_a_remote_file_is_read_where_it_is_asked_for(record_file):
    fsspec.filesystem("memory").pipe("/remote.case", record_file.read_bytes())
    with fsspec.open("memory://remote.case", "rb", compression="case") as file:
        assert file.read(len(DICTIONARY)) == DICTIONARY


def test_what_fsspec_has_not_opened_yet_is_a_source(record_file):
    fsspec.filesystem("memory").pipe("/remote.case", record_file.read_bytes())
    for url, name in ("memory://remote.case", "remote.case"), (f"file://{record_file}", str(record_file)):
        wanted = fsspec.open(url)
        with casefile.open(wanted) as file:
            assert file.dictionary == DICTIONARY and name in repr(file)
            opened = wanted.fobjects[-1]
            assert not opened.closed
        del file
        assert wanted.fobjects == [] and (opened.closed or url.startswith("memory"))  # those in memory stay open


def test_is_for_reading(tmp_path):
    with pytest.raises(ValueError, match="create"):
        fsspec.open(str(tmp_path / "new.case"), "wb", compression="case").open()
