#!/usr/bin/env python3
"""Tells which lines and branches of the libraries the quick tests leave out, but for those of excluded.txt: see
docs/reliability.md."""

import argparse
import collections
import concurrent.futures
import functools
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
sys.path.append(str(HERE.parent))
import reasons  # pylint: disable=wrong-import-position

COVERED = ("Datasource/src/", "Datasource/form/", "casefile/src/")
PROGRAMS = ("tests/internal_tests", "tests/platform_tests", "tests/cipher_tests", "tests/cipher_key_tests",
            "tests/api_tests", "tests/casefileLibrary/casefile_api_tests",
            "tests/casefileLibrary/casefile_internal_tests", "tests/casefile/casefile_tests")
EXCLUDED = HERE / "excluded.txt"
FIELDS = ("file", "line", "missing", "because")
LINE, BRANCH = "line", "branch"
# What a line must hold to have branches of ours; others have those that destroy objects, on the way of an exception
# too.
BRANCHES = re.compile(r"\b(if|while|for|switch|ASSERT\w*|DATASOURCE_ASSERT\w*|assert)\b|[?]|&&|\|\|")


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--folder", type=pathlib.Path, required=True, help="where the build lies")
    parser.add_argument("--seconds", type=int, help="not used: it runs all tests once")
    parser.add_argument("--seed", type=int, help="not used")
    parser.add_argument("--state", help="not used")
    return parser.parse_args()


def jobs():
    return int(os.environ.get("DATASOURCE_JOBS") or len(os.sched_getaffinity(0)))


def run(command, log, **more):
    """Raises RuntimeError where it fails."""
    with open(log, "a", encoding="utf-8") as file:
        done = subprocess.run(command, stdout=file, stderr=subprocess.STDOUT, check=False, **more)
    if done.returncode != 0:
        raise RuntimeError(f"{command[0]} fails: {log}")


def build(folder, log):
    run(["cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_C_COMPILER=gcc",
         "-DCMAKE_CXX_COMPILER=g++", "-DDATASOURCE_WARNINGS_AS_ERRORS=ON", "-DDATASOURCE_BUILD_REPLAYS=OFF",
         "-DDATASOURCE_BUILD_EXAMPLES=OFF", "-DDATASOURCE_TEST_PCH=OFF",
         f"-DCMAKE_PROJECT_INCLUDE={HERE / 'instrument.cmake'}",
         "-DCMAKE_EXE_LINKER_FLAGS=--coverage", "-DCMAKE_SHARED_LINKER_FLAGS=--coverage"], log)
    targets = [program.rpartition("/")[2] for program in PROGRAMS]
    run(["cmake", "--build", folder, "--parallel", str(jobs()), "--target", *targets, "casefile", "casefile_use_c"],
        log)


def test(folder, log):
    """Runs the quick tests, each program as one process."""
    for counts in folder.rglob("*.gcda"):
        counts.unlink()
    with tempfile.TemporaryDirectory(prefix="coverage") as temporary:
        os.chmod(temporary, 0o755)  # some tests act as another user
        inside = pathlib.Path(temporary, "t")
        inside.mkdir()
        inside.chmod(0o1777)
        environment = {**os.environ, "TMPDIR": str(inside), "CASEFILE_EMULATOR": "", "CASEFILE_STARTS_FAST": "0",
                       "CASEFILE_PROGRAM": str(folder / "casefile" / "tool" / "casefile")}
        for program in PROGRAMS:
            run([folder / program, "--gtest_brief=1"], log, env=environment)
        run([folder / "tests" / "casefileLibrary" / "casefile_use_c", inside], log, env=environment)
        run([sys.executable, "-B", "-m", "unittest", "discover"], log, env=environment, cwd=ROOT / "tests" / "casefile")


def counts_of(notes):
    """What gcov tells of one object: (file, line, count of the line, counts of its branches), without the branches that
    exceptions take."""
    told = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", notes],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True, cwd=notes.parent).stdout
    found = []
    for part in told.splitlines():
        for file in json.loads(part)["files"]:
            path = pathlib.Path(os.path.normpath(notes.parent / file["file"]))
            name = str(path.relative_to(ROOT)) if path.is_relative_to(ROOT) else ""
            if name.startswith(COVERED):
                found += [(name, line["line_number"], line["count"],
                           [branch["count"] for branch in line["branches"] if not branch["throw"]])
                          for line in file["lines"]]
    return found


def merged(folder):
    """All objects together. Returns: the counts of each line, and those of its branches, each by (file, line)."""
    notes = list(folder.rglob("*.gcno"))
    lines, branches = {}, {}
    with concurrent.futures.ThreadPoolExecutor(jobs()) as pool:
        for found in pool.map(counts_of, notes):
            for name, number, count, of_line in found:
                if not re.search(r"\w", text_of(name, number)):
                    continue  # a brace, where the compiler puts the end of what lies above it
                lines[name, number] = lines.get((name, number), 0) + count
                if not BRANCHES.search(text_of(name, number)):
                    continue
                # An inline function stands in several objects, with the same branches in each.
                key = (name, number, len(of_line))
                known = branches.setdefault(key, [0] * len(of_line))
                for index, taken in enumerate(of_line):
                    known[index] += taken
    of_lines = {}
    for (name, number, _), counts in branches.items():
        of_lines.setdefault((name, number), []).extend(counts)
    return lines, of_lines


def missing(lines, branches):
    """What no test reaches: (file, line number, LINE or BRANCH, how many). The branches of such a line are not told."""
    for (name, number), count in sorted(lines.items()):
        left_out = branches.get((name, number), []).count(0)
        if count == 0:
            yield name, number, LINE, 1
        elif left_out:
            yield name, number, BRANCH, left_out


@functools.cache
def texts_of(name):
    return (ROOT / name).read_text(encoding="utf-8").splitlines()


def text_of(name, number):
    return texts_of(name)[number - 1].strip()


def main():
    given = arguments()
    began = time.monotonic()
    given.folder.mkdir(parents=True, exist_ok=True)
    log = given.folder.parent / "coverage.log"
    log.write_text("", encoding="utf-8")
    build(given.folder, log)
    test(given.folder, log)
    lines, branches = merged(given.folder)
    # Each entry stands for one line: there may be more of the same text.
    excluded = collections.Counter(tuple(entry[field] for field in FIELDS[:3])
                                   for entry in reasons.entries(EXCLUDED, FIELDS))
    findings, left_out, by_the_list = [], {LINE: 0, BRANCH: 0}, excluded.total()
    for name, number, kind, count in missing(lines, branches):
        left_out[kind] += count
        key = (name, text_of(name, number), kind)
        if excluded[key] > 0:
            excluded[key] -= 1
        else:
            findings.append({"case": 0, "what": f"no test reaches a {kind}: {name}:{number}: {key[1]}",
                             "again": "scripts/prove.sh coverage"})
    findings += [{"case": 0, "what": f"excluded.txt: reached, or no such line: {': '.join(key)}",
                  "again": "scripts/prove.sh coverage"} for key, count in excluded.items() if count > 0]
    of_branches = sum(len(counts) for counts in branches.values())
    print(json.dumps({
        "harness": "coverage", "seed": given.seed or 0, "done": len(lines) - left_out[LINE], "cases": len(lines),
        "seconds": time.monotonic() - began, "findings": findings,
        "tally": {f"of {len(lines):,} lines reached": len(lines) - left_out[LINE],
                  f"of {of_branches:,} branches reached": of_branches - left_out[BRANCH],
                  "places that the list excludes": by_the_list}}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
