"""The rule that every place which names the version of this tree names the same one."""

import os
import re

from treeFiles import text

PROJECT = ("CMakeLists.txt", r"^project\(Datasource VERSION (\S+) ")
# File and place of the version in it. The short ones are its first two numbers.
PLACES = [
    ("CHANGELOG.md", r"^## (\S+)"),
    ("bindings/python/pyproject.toml", r'^version = "(.*)"$'),
    ("bindings/python/casefile/__init__.py", r'^__version__ = "(.*)"$'),
    ("casefile/tool/casefile.1", r'^\.TH CASEFILE 1 "[^"]*" "Datasource (\S+)"'),
    # Debian's own revision and what marks a version before its time come behind.
    ("debian/changelog", r"\Adatasource \(([\d.]+)[^)]*\)"),
]
SHORT_PLACES = [
    ("bindings/python/casefile/_interface.py", r'^VERSION = "(.*)"$'),
    ("debian/control", r"^Package: libdatasource([\d.]+)$"),
    ("debian/control", r"^Package: libcasefile([\d.]+)$"),
]


def named(top, place):
    name, pattern = place
    if not os.path.exists(os.path.join(top, name)):
        return None
    found = re.search(pattern, text(top, name), re.MULTILINE)
    return found and found[1]


def versions_agree(top, _):
    """What the build, the packages, the program's page and the lists of changes call this version is one."""
    version = named(top, PROJECT)
    if not version:
        yield f"{PROJECT[0]}: names no version"
        return
    short = version.rpartition(".")[0]
    for places, wanted in ((PLACES, version), (SHORT_PLACES, short)):
        for place in places:
            if named(top, place) != wanted:
                yield f"{place[0]}: names {named(top, place)} where {PROJECT[0]} has {wanted}"
