"""What the tests share: files of records that tell their own number."""

import faulthandler
import os

import numpy
import pytest

import casefile


def pytest_configure(config):
    """A test run that hangs says where, and ends: by the true stderr, since a test's own is kept from who looks on."""
    large_files = max(1, config.getoption("--mebibytes") // 128)
    faulthandler.dump_traceback_later(500 * large_files, exit=True, file=os.fdopen(os.dup(2), "w"))


def pytest_addoption(parser):
    parser.addoption("--mebibytes", type=int, default=32, help="of the files that worker processes share")


RECORD = numpy.dtype([("number", "<i8"), ("value", "<f8")])
DICTIONARY = b"number:int64 value:float64\n"


def records(count):
    made = numpy.empty(count, RECORD)
    made["number"] = numpy.arange(count)
    made["value"] = made["number"] % 1000 / 4
    return made


@pytest.fixture(scope="session")
def record_file(tmp_path_factory):
    """A million records in four blocks."""
    path = tmp_path_factory.mktemp("records") / "records.case"
    with casefile.create(path, DICTIONARY) as writer:
        writer.write(records(1_000_000))
    return path


@pytest.fixture(scope="session")
def table_file(tmp_path_factory):
    """A table of 500,000 lines, whose header is the dictionary part."""
    path = tmp_path_factory.mktemp("tables") / "table.case"
    with casefile.create(path, b"number,square\n") as writer:
        writer.write(b"".join(b"%d,%d\n" % (number, number * number) for number in range(500_000)))
    return path
