#!/usr/bin/env python3
"""Lets one mutant of the sources live at a time and sees whether the quick tests fail: see docs/reliability.md.

A first run of each test tells which mutants it reaches; a mutant then meets only the tests that reach it, the fastest
first. One that all of them pass is a finding, unless explained.txt says why no test can tell it from the source.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time

import build

sys.path.append(str(build.HERE.parent))
import reasons  # pylint: disable=wrong-import-position

MANY = 365 * 24 * 3600
EXPLAINED = build.HERE / "explained.txt"
FIELDS = ("file", "line", "mutant", "because")
MOST_FINDINGS = 200
KILLED, LATE, UNREACHED, SURVIVED = "killed", "killed by the deadline", "reached by no test", "survived"
# What tests that go together may take, by the first run; the last ones are those that remain.
CHUNKS = (0.3, 1.0, 5.0, 20.0, 1e9)
LIMITS = 'ulimit -c 0 -t "$1" -v 8388608; shift; exec "$@"'

def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--folder", type=pathlib.Path, required=True, help="where the build and the records lie")
    parser.add_argument("--state", type=pathlib.Path)
    parser.add_argument("--seconds", type=int, default=MANY)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--case", type=int, help="that one mutant")
    parser.add_argument("--below", default="", help="those of the sources whose names begin so")
    return parser.parse_args()


def jobs():
    return len(os.sched_getaffinity(0))


class Tests:
    """The programs of the build, each test of which can be run by itself."""

    def __init__(self, made):
        self._made = made

    def all(self):
        """Every test as (program, name)."""
        for program in self._made.programs:
            group = ""
            for line in self._output([self._made.output / program, "--gtest_list_tests"]).splitlines():
                line = line.split("#")[0].rstrip()
                if line.startswith("  "):
                    if "DISABLED_" not in line + group:
                        yield program, group + line.strip()
                elif line.endswith("."):
                    group = line

    def run(self, program, names, mutant, seconds, reached=None):
        """Some tests of one program. Returns: KILLED, LATE or SURVIVED."""
        command = [self._made.output / program, "--gtest_fail_fast", f"--gtest_filter={':'.join(names)}"]
        # What runs in circles is found by the processor's time, whatever else the machine does; what waits, by the
        # clock.
        limit, deadline = int(4 + 5 * seconds), 20 + 10 * seconds
        with tempfile.TemporaryDirectory(prefix="mutants") as folder:
            os.chmod(folder, 0o755)  # some tests act as another user
            temporary = pathlib.Path(folder, "t")
            temporary.mkdir()
            temporary.chmod(0o1777)
            environment = {**os.environ, "TMPDIR": str(temporary), "PROOF_MUTANT": str(mutant)}
            if reached:
                environment["PROOF_REACHED"] = str(reached)
            process = subprocess.Popen(
                ["sh", "-c", LIMITS, "sh", str(limit), *command], cwd=folder, env=environment, start_new_session=True,
                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            try:
                code = process.wait(deadline)
            except subprocess.TimeoutExpired:
                code = -signal.SIGXCPU
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()
        if code == 0:
            return SURVIVED
        return LATE if code in (-signal.SIGXCPU, -signal.SIGKILL) else KILLED

    def _output(self, command):
        return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


class Record:
    """Which tests reach which mutant, and how long each takes; kept in a file until a program changes."""

    def __init__(self, folder, made, tests):
        self._path = folder / "record"
        self.digest = made.digest()
        self.seconds, self.reached, self.failed = {}, {}, []
        if not self._load():
            self._take(made, tests)
        self._of = {}
        for test, mutants in self.reached.items():
            for mutant in mutants:
                self._of.setdefault(mutant, []).append(test)

    def tests_of(self, mutant):
        """Those that reach it: the fastest, and of those the ones that reach little, first."""
        return sorted(self._of.get(mutant, []), key=lambda test: self.seconds[test] * len(self.reached[test]))

    def _load(self):
        try:
            digest, taken, self.failed = json.loads(self._path.read_text(encoding="utf-8"))
        except (OSError, ValueError):
            return False
        if digest != self.digest:
            return False
        for program, name, seconds, mutants in taken:
            self.seconds[program, name], self.reached[program, name] = seconds, mutants
        return True

    def _take(self, made, tests):
        def one(test):
            with tempfile.NamedTemporaryFile(prefix="reached") as file:
                file.truncate(made.room)
                os.chmod(file.name, 0o666)
                start = time.monotonic()
                result = tests.run(test[0], [test[1]], -1, 60, file.name)
                seconds = time.monotonic() - start
                asked = re.finditer(b"\1", pathlib.Path(file.name).read_bytes())
                return result, seconds, [found.start() for found in asked]
        names = list(tests.all())
        with concurrent.futures.ThreadPoolExecutor(jobs()) as pool:
            for test, (result, seconds, mutants) in zip(names, pool.map(one, names)):
                if result == SURVIVED:
                    self.seconds[test], self.reached[test] = seconds, mutants
                else:
                    self.failed.append(" ".join(test))
        self._path.write_text(json.dumps([self.digest, [
            [*test, self.seconds[test], self.reached[test]] for test in self.seconds], self.failed]), encoding="utf-8")


def chunks(tests, seconds):
    """Tests in their order, divided into pieces for one program each."""
    place = 0
    for most in CHUNKS:
        part, whole = [], 0.0
        while place < len(tests) and (not part or whole + seconds[tests[place]] <= most):
            part.append(tests[place])
            whole += seconds[tests[place]]
            place += 1
        for program in dict.fromkeys(test[0] for test in part):
            names = [name for of, name in part if of == program]
            yield program, names, sum(seconds[program, name] for name in names)


def fate(mutant, record, tests):
    """What the tests make of a mutant. Returns: that, and the tests that noticed it."""
    reaching = record.tests_of(mutant)
    if not reaching:
        return UNREACHED, ""
    for program, names, seconds in chunks(reaching, record.seconds):
        result = tests.run(program, names, mutant, seconds)
        if result != SURVIVED:
            return result, f"{program} {names[0]}" + (f" and {len(names) - 1} more" if len(names) > 1 else "")
    return SURVIVED, ""


class Progress:
    """The mutants whose fate is known, in a file."""

    def __init__(self, path, digest):
        self._path = path
        self._digest = digest
        self.fates = {}
        self._lock = threading.Lock()
        if path and path.exists():
            lines = path.read_text(encoding="utf-8").splitlines()
            if lines and lines[0] == digest:
                told = [line.partition(" ") for line in lines[1:]]
                self.fates = {int(number): what for number, _, what in told}
        if path and not self.fates:
            path.write_text(digest + "\n", encoding="utf-8")

    def add(self, number, what):
        with self._lock:
            self.fates[number] = what
            if self._path:
                with open(self._path, "a", encoding="utf-8") as file:
                    file.write(f"{number} {what}\n")


class Explanations:
    """The list, beside the mutants of the build."""

    def __init__(self, made):
        self._reasons, self.lost = {}, []
        numbers, lines = {}, {}
        for number, mutant in made.mutants.items():
            if mutant.file not in lines:
                lines[mutant.file] = (build.ROOT / mutant.file).read_text(encoding="utf-8").splitlines()
            key = (mutant.file, lines[mutant.file][mutant.line - 1].strip(), f"`{mutant.text}` {mutant.what}")
            numbers.setdefault(key, []).append(number)
        for entry in reasons.entries(EXPLAINED, FIELDS):
            key = tuple(entry[field] for field in FIELDS[:3])
            if key not in numbers and key[0].startswith(made.below):
                self.lost.append(f"explained.txt: no such mutant: {': '.join(key)}")
            self._reasons.update((number, entry["because"]) for number in numbers.get(key, []))

    def why(self, number):
        return self._reasons.get(number)


def name_of(mutant):
    return f"{mutant.file}:{mutant.line}: `{mutant.text[:100]}` {mutant.what}"


def run(given, made, record, tests):
    """Mutants in the seed's order until the time is over. Returns: their fates."""
    order = sorted(made.mutants)
    random.Random(given.seed).shuffle(order)
    progress = Progress(given.state, f"{record.digest} {given.seed}")
    waiting = iter([number for number in order if number not in progress.fates])
    lock = threading.Lock()
    end = time.monotonic() + given.seconds

    def work():
        while time.monotonic() < end:
            with lock:
                number = next(waiting, None)
            if number is None:
                return
            progress.add(number, fate(number, record, tests)[0])
    workers = [threading.Thread(target=work) for _ in range(jobs())]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    return progress.fates


def summary(given, made, record, fates, began):
    explanations = Explanations(made)
    tally = {KILLED: 0, LATE: 0, "survived, explained": 0, SURVIVED: 0, UNREACHED: 0}
    failed = [f"fails without a mutant: {test}" for test in record.failed]
    findings = [{"case": 0, "what": text, "again": "scripts/prove.sh mutants"} for text in explanations.lost + failed]
    for number, what in sorted(fates.items()):
        if what in (SURVIVED, UNREACHED) and explanations.why(number):
            what = "survived, explained"
        tally[what] += 1
        if what in (SURVIVED, UNREACHED):
            findings.append({"case": number, "what": f"{what}: {name_of(made.mutants[number])}"})
    return {"harness": "mutants", "seed": given.seed, "done": len(fates), "cases": len(made.mutants),
            "seconds": time.monotonic() - began, "tally": tally, "findings": findings[:MOST_FINDINGS]}


def main():
    given = arguments()
    given.folder.mkdir(parents=True, exist_ok=True)
    made = build.Build(given.folder, given.below)
    made.make()
    tests = Tests(made)
    record = Record(given.folder, made, tests)
    if given.case is not None:
        what, by = fate(given.case, record, tests)
        why = Explanations(made).why(given.case)
        print(f"{name_of(made.mutants[given.case])}: {what}", f"by {by}" if by else why or "")
        for test in record.tests_of(given.case)[:20]:
            print("  reached by", *test)
        return 0 if what in (KILLED, LATE) or why else 1
    began = time.monotonic()
    fates = run(given, made, record, tests)
    print(json.dumps(summary(given, made, record, fates, began)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
