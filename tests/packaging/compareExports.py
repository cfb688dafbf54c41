"""Compares the symbols that a shared library exports, demangled, with a reviewed list.

The list holds one symbol a line; empty lines and lines that begin with '#' are for the reader. Which
symbols a compiler marks as weak differs and does not matter.
"""
import argparse
import re
import subprocess
import sys


def listed(path):
    with open(path, encoding="utf-8") as file:
        lines = [line.strip() for line in file]
    return [line for line in lines if line and not line.startswith("#")]


def exported(nm, library):
    command = [nm, "--dynamic", "--defined-only", "--demangle", "--format=posix", library]
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    # NAME KIND ADDRESS [SIZE], where NAME may contain blanks.
    return {re.sub(r" [A-Za-z] [0-9a-f]+( [0-9a-f]+)?$", "", line.strip()) for line in output.splitlines()}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--nm", required=True)
    parser.add_argument("--list", required=True)
    parser.add_argument("--library", required=True)
    arguments = parser.parse_args()

    reviewed = listed(arguments.list)
    actual = exported(arguments.nm, arguments.library)
    twice = sorted(name for name in set(reviewed) if reviewed.count(name) > 1)
    complaints = [f"listed twice: {name}" for name in twice]
    complaints += [f"exported but not in the list: {name}" for name in sorted(actual - set(reviewed))]
    complaints += [f"in the list but not exported: {name}" for name in sorted(set(reviewed) - actual)]
    print("\n".join(complaints) or f"{len(actual)} symbols, all reviewed")
    return 1 if complaints else 0


sys.exit(main())
