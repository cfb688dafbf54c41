"""The examples of the page about the package, and of the README."""

import doctest
import pathlib

import pytest

TREE = pathlib.Path(__file__).resolve().parents[3]


@pytest.mark.parametrize("page, least", [("docs/python.md", 10), ("README.md", 4), ("docs/getting-started.md", 4)])
def test_the_examples_of_the_page_print_what_it_shows(page, least, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    found = doctest.testfile(str(TREE / page), module_relative=False, optionflags=doctest.ELLIPSIS)
    assert found.attempted > least and found.failed == 0
