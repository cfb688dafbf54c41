"""What the rules about the source tree share: its files and their lines."""

import os
import re

LEFT_OUT_FOLDERS = re.compile(r"^(build.*|\.git|\.cache|__pycache__)$")
CODE = (".h", ".cpp")


def files(top, below=""):
    """Every file of the tree, relative to it, with forward slashes."""
    for folder, folders, names in os.walk(os.path.join(top, below)):
        folders[:] = sorted(name for name in folders if not LEFT_OUT_FOLDERS.match(name))
        for name in sorted(names):
            yield os.path.relpath(os.path.join(folder, name), top).replace(os.sep, "/")


def lines(top, name):
    with open(os.path.join(top, name), encoding="utf-8", errors="replace") as file:
        return file.read().splitlines()


def text(top, name):
    return "\n".join(lines(top, name)) + "\n"


def offending_lines(top, names, pattern):
    for name in names:
        for number, line in enumerate(lines(top, name), 1):
            if pattern.search(line):
                yield f"{name}:{number}: {line.strip()}"
