"""The examples of the page about the package."""

import doctest
import pathlib

PAGE = pathlib.Path(__file__).resolve().parents[3] / "docs" / "python.md"


def test_the_examples_of_the_page_print_what_it_shows(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    found = doctest.testfile(str(PAGE), module_relative=False, optionflags=doctest.ELLIPSIS)
    assert found.attempted > 10 and found.failed == 0
