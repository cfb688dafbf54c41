"""Compares the types and functions of a library, as its debug information tells them, with a recorded release:

  compareAbi.py --recorded FILE.abi.xz --library FILE --headers FOLDER [--headers FOLDER...] [--record]

What was recorded has to be there, unchanged; what is new is no difference. Types that the public headers do not hold
are nobody's business. With --record the library becomes what is recorded (scripts/record-abi.sh). Exit code 77, with
a word, where abidiff (Debian: abigail-tools) is not installed.
"""
import argparse
import lzma
import pathlib
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
# With the names of files: a type that comes from no known place counts as none of the headers'.
QUIET = ["--no-corpus-path", "--no-comp-dir-path", "--short-locs", "--no-elf-needed", "--no-parameter-names",
         "--exported-interfaces-only"]


def record(library, headers, recorded):
    with tempfile.TemporaryDirectory() as folder:
        told = pathlib.Path(folder) / "told.abi"
        options = [option for header in headers for option in ("--headers-dir", header)]
        subprocess.run(["abidw", *QUIET, *options, "--out-file", told, library], check=True)
        recorded.write_bytes(lzma.compress(told.read_bytes(), preset=9))
        # What cannot be read again, or differs from what it was made of, is no record.
        return compare(library, headers, recorded)


def compare(library, headers, recorded):
    with tempfile.TemporaryDirectory() as folder:
        told = pathlib.Path(folder) / "recorded.abi"
        told.write_bytes(lzma.decompress(recorded.read_bytes()))
        options = [option for header in headers
                   for option in ("--headers-dir1", header, "--headers-dir2", header)]
        result = subprocess.run(["abidiff", "--no-added-syms", *options, told, library], check=False,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        print(result.stdout)
        print(f"{library} differs from {recorded.name} (abidiff: {result.returncode}). Programs that are built with "
              "the release may break; if that is meant, scripts/record-abi.sh records it anew.")
        return 1
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--recorded", type=pathlib.Path, required=True)
    parser.add_argument("--library", required=True)
    parser.add_argument("--headers", action="append", required=True)
    parser.add_argument("--record", action="store_true")
    given = parser.parse_args()
    if not shutil.which("abidiff"):
        print("not compared: abidiff (Debian: abigail-tools) is not installed")
        return SKIPPED
    # abidiff finds no difference in a library that tells nothing of its types.
    sections = subprocess.run(["readelf", "-S", "-W", given.library], check=True, capture_output=True, text=True).stdout
    if ".debug_info" not in sections:
        print(f"{given.library} has no debug information")
        return 1
    return (record if given.record else compare)(given.library, given.headers, given.recorded)


sys.exit(main())
