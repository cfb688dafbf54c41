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
import select
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
# Lines that no test reaches, each with the reason: what changes one of them cannot be noticed either.
NOT_COVERED = build.HERE.parent / "coverage" / "excluded.txt"
NOT_COVERED_FIELDS = ("file", "line", "missing", "because")
MOST_FINDINGS = 200
KILLED, LATE, UNREACHED, SURVIVED = "killed", "killed by the deadline", "reached by no test", "survived"
QUICK = 0.25  # seconds of a processor: a test that takes several times as much is none of the quick ones
# What tests that go together may take, by the first run. What passes all of these has survived: the rest, which takes
# longer or does more beside what the mutant changes, is not asked.
CHUNKS = (0.2, 0.6, 2.0)
# Each by itself: a shell may take one limit at a time.
LIMITS = 'ulimit -c 0; ulimit -t "$1"; ulimit -v 8388608; shift; exec "$@"'
ASLEEP = "SDTZ"  # by the letters of /proc: nothing of the process wants a processor


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--folder", type=pathlib.Path, required=True, help="where the build and the records lie")
    parser.add_argument("--state", type=pathlib.Path)
    parser.add_argument("--seconds", type=int, default=MANY)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--case", type=int, help="that one mutant")
    parser.add_argument("--below", default="", help="those of the sources whose names begin so")
    return parser.parse_args()


def state_of_group(group):
    """What changes as long as any process of a session does something, or None while one is at work."""
    facts = []
    for path in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            words = path.read_text(encoding="utf-8", errors="replace").rpartition(") ")[2].split()
            if int(words[3]) == group:
                threads = [task.read_text(encoding="utf-8", errors="replace").rpartition(") ")[2].split()
                           for task in path.parent.glob("task/*/stat")]
                facts.append([(of[0] in ASLEEP, of[11], of[12]) for of in threads])
        except (OSError, IndexError):  # it has ended
            return None
    return facts if all(asleep for threads in facts for asleep, *_ in threads) else None


def ends(group, deadline, asleep):
    """Waits for a process that leads a session. Returns: whether it ended before the deadline, and before all of it had
    been asleep for as many seconds."""
    ended = select.poll()
    handle = os.pidfd_open(group)
    try:
        ended.register(handle, select.POLLIN)
        begun = still = time.monotonic()
        last = None
        while not ended.poll(500):
            now, state = time.monotonic(), state_of_group(group)
            if state is None or state != last:
                last, still = state, now
            if now - begun > deadline or now - still > asleep:
                return False
        return True
    finally:
        os.close(handle)


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
        """Some tests of one program. Returns: KILLED, LATE or SURVIVED, and the seconds of a processor that it took."""
        command = [self._made.output / program, "--gtest_fail_fast", f"--gtest_filter={':'.join(names)}"]
        # What runs in circles is found by the processor's time, and what waits by how long all of it has been asleep,
        # whatever else the machine does.
        limit, deadline = int(2 + 4 * seconds), 120 + 30 * seconds
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
            ended = False
            try:
                ended = ends(process.pid, deadline, 3 + 2 * seconds)
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                _, status, used = os.wait4(process.pid, 0)
                process.returncode = os.waitstatus_to_exitcode(status)
        took = used.ru_utime + used.ru_stime
        if not ended or process.returncode in (-signal.SIGXCPU, -signal.SIGKILL):
            return LATE, took
        return (SURVIVED if process.returncode == 0 else KILLED), took

    def _output(self, command):
        return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout


class Record:
    """Which tests reach which mutant, and how long each takes; kept in a file for each program until that changes."""

    def __init__(self, folder, made, tests):
        self._path = folder / "record"
        self.digest = made.digest()
        self.seconds, self.reached, self.failed = {}, {}, []
        known = self._known()
        names = list(tests.all())
        for program in made.programs:
            digest = made.digest(program)
            if known.get(program, {}).get("digest") != digest:
                taken = self._take(made, tests, [test for test in names if test[0] == program])
                known[program] = {"digest": digest, **taken}
                self._path.write_text(json.dumps(known), encoding="utf-8")
            for name, seconds, mutants in known[program]["passed"]:
                self.seconds[program, name], self.reached[program, name] = seconds, mutants
            self.failed += known[program]["failed"]
        self._of = {}
        for test, mutants in self.reached.items():
            for mutant in mutants:
                self._of.setdefault(mutant, []).append(test)

    def tests_of(self, mutant):
        """Those that reach it: the fastest, and of those the ones that reach little, first; behind as many of these as
        the first pieces have room for, the ones that reach least, which are about little else."""
        fast = sorted(self._of.get(mutant, []), key=lambda test: self.seconds[test] * len(self.reached[test]))
        room, place = sum(CHUNKS[:-1]), 0
        while place < len(fast) and room > 0:
            room -= self.seconds[fast[place]]
            place += 1
        return fast[:place] + sorted(fast[place:], key=lambda test: len(self.reached[test]))

    def _known(self):
        try:
            known = json.loads(self._path.read_text(encoding="utf-8"))
        except (OSError, ValueError):
            return {}
        return known if isinstance(known, dict) else {}  # else an earlier version's

    @staticmethod
    def _take(made, tests, names):
        def one(test):
            with tempfile.NamedTemporaryFile(prefix="reached") as file:
                file.truncate(made.room)
                os.chmod(file.name, 0o666)
                result, seconds = tests.run(test[0], [test[1]], -1, QUICK, file.name)
                asked = re.finditer(b"\1", pathlib.Path(file.name).read_bytes())
                return result, seconds, [found.start() for found in asked]
        passed, failed = [], []
        with concurrent.futures.ThreadPoolExecutor(build.jobs()) as pool:
            for test, (result, seconds, mutants) in zip(names, pool.map(one, names)):
                if result == SURVIVED:
                    passed.append([test[1], seconds, mutants])
                elif result == KILLED:
                    failed.append(" ".join(test))
        return {"passed": passed, "failed": failed}


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
        result, _ = tests.run(program, names, mutant, seconds)
        if result != SURVIVED:
            return result, f"{program} {names[0]}" + (f" and {len(names) - 1} more" if len(names) > 1 else "")
    return SURVIVED, ""


class Progress:
    """The mutants whose fate is known, in a file. One that was killed stays so until its source changes; one that lived
    meets the tests again when any of them did."""

    def __init__(self, path, made, record):
        self._path = path
        self._programs = record.digest
        self._sources = {number: made.digest_of(mutant.file) for number, mutant in made.mutants.items()}
        self.fates = {}
        self._lock = threading.Lock()
        if path and path.exists():
            for line in path.read_text(encoding="utf-8").splitlines():
                number, source, programs, what = (*line.split(" ", 3), "", "", "")[:4]  # an earlier version's are shorter
                holds = what in (KILLED, LATE) or programs == self._programs
                if what and self._sources.get(int(number)) == source and holds:
                    self.fates[int(number)] = what

    def add(self, number, what):
        with self._lock:
            self.fates[number] = what
            if self._path:
                with open(self._path, "a", encoding="utf-8") as file:
                    file.write(f"{number} {self._sources[number]} {self._programs} {what}\n")


class Explanations:
    """The list, beside the mutants of the build."""

    def __init__(self, made):
        self._reasons, self._unreached, self.lost = {}, {}, []
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
        of_lines = {(entry["file"], entry["line"]): entry["because"]
                    for entry in reasons.entries(NOT_COVERED, NOT_COVERED_FIELDS) if entry["missing"] == "line"}
        for (file, line, _), places in numbers.items():
            if (file, line) in of_lines:
                self._unreached.update((number, of_lines[file, line]) for number in places)

    def why(self, number, what=UNREACHED):
        return self._reasons.get(number) or (self._unreached.get(number) if what == UNREACHED else None)


def name_of(mutant):
    return f"{mutant.file}:{mutant.line}: `{mutant.text[:100]}` {mutant.what}"


def ordered(mutants, seed):
    """Their numbers, so that the first ones are a sample of every source, larger where there are more mutants."""
    sources = {}
    for number, mutant in sorted(mutants.items()):
        sources.setdefault(mutant.file, []).append(number)
    places = {}
    for name, numbers in sources.items():
        chance = random.Random(f"{seed} {name}")
        chance.shuffle(numbers)
        places.update((number, (index + chance.random()) / len(numbers)) for index, number in enumerate(numbers))
    return sorted(places, key=places.get)


def run(given, made, record, tests):
    """Mutants in the seed's order until the time is over. Returns: their fates."""
    progress = Progress(given.state, made, record)
    waiting = iter([number for number in ordered(made.mutants, given.seed) if number not in progress.fates])
    lock = threading.Lock()
    end = time.monotonic() + given.seconds

    def work():
        while time.monotonic() < end:
            with lock:
                number = next(waiting, None)
            if number is None:
                return
            progress.add(number, fate(number, record, tests)[0])
    workers = [threading.Thread(target=work) for _ in range(build.jobs())]
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
    lived = []
    for number, what in sorted(fates.items()):
        if what in (SURVIVED, UNREACHED) and explanations.why(number, what):
            what = "survived, explained"
        tally[what] += 1
        if what in (SURVIVED, UNREACHED):
            lived.append(f"{number} {what}: {name_of(made.mutants[number])}\n")
            findings.append({"case": number, "what": f"{what}: {name_of(made.mutants[number])}"})
    (given.folder / "lived").write_text("".join(lived), encoding="utf-8")
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
        why = Explanations(made).why(given.case, what)
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
