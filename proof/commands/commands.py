#!/usr/bin/env python3
"""What casefile's commands make of every failing call: see docs/reliability.md.

A case runs one command, in which one call of the system, one allocation or one start of a thread fails (failing.cpp).
Success told: the output is right, by a reader of this harness's own. Failure told: the exit code says so, and so does a
message that names a file and the reason; what the command was given is as it was, and nothing is left behind but what
the message names; an append leaves the old or the new file, at the latest behind the next one. No command ends by a signal,
or does not come back.
"""

import dataclasses
import errno
import functools
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import book

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
import cases as support  # pylint: disable=wrong-import-position

BLOCK = 4096
HEADER = b"name,age\n"
ROWS = b"".join(b"%d,%d\n" % (i, i * 7919 % 1000) for i in range(1200))
MORE = b"".join(b"%d,%d\n" % (i, i * 104729 % 1000) for i in range(700))
OLD = b"what was there before\n"
PACKED = book.made(HEADER, ROWS, BLOCK)
DAMAGED = PACKED[:len(HEADER) + 24 + 700] + b"\xff" * 40 + PACKED[len(HEADER) + 764:]
DEADLINE = 10
KINDS = {"call": 1, "allocation": 2, "thread": 3}
HOWS = {"error": 0, "one byte": 1, "half": 2, "nothing": 3, "killed": 4}
EVERYWHERE, TAKES_ROOM, TRANSFERS = range(3)


@dataclasses.dataclass(frozen=True)
class Fault:
    name: str
    kind: str
    where: int = EVERYWHERE
    how: str = "error"
    number: int = errno.EIO
    for_good: bool = False


FAULTS = (
    Fault("EIO once", "call"),
    Fault("EIO from there on", "call", for_good=True),
    Fault("ENOSPC from there on", "call", TAKES_ROOM, number=errno.ENOSPC, for_good=True),
    Fault("EDQUOT from there on", "call", TAKES_ROOM, number=errno.EDQUOT, for_good=True),
    Fault("EINTR once", "call", TRANSFERS, number=errno.EINTR),
    Fault("one byte once", "call", TRANSFERS, "one byte"),
    Fault("half once", "call", TRANSFERS, "half"),
    Fault("nothing once", "call", TRANSFERS, "nothing"),
    Fault("no memory once", "allocation", number=errno.ENOMEM),
    Fault("no memory from there on", "allocation", number=errno.ENOMEM, for_good=True),
    Fault("no thread once", "thread", number=errno.EAGAIN),
    Fault("no thread from there on", "thread", number=errno.EAGAIN, for_good=True),
)


@dataclasses.dataclass(frozen=True)
class Command:
    arguments: tuple
    files: dict = dataclasses.field(hash=False)  # what the folder holds at first, by name
    makes: str = ""          # the name of what it makes
    expected: bytes = b""    # the plain contents of that
    given: bytes = b""       # standard input
    several: bool = False    # may say more than one thing about what is wrong
    code: int = 0            # the exit code when nothing fails


def packed_as(data):
    return book.contents(data, len(HEADER), BLOCK)


def all_commands():
    case, rows = {"file.case": PACKED}, {"rows.csv": HEADER + ROWS}
    old = {"out.case": OLD, "out.csv": OLD}
    whole = HEADER + ROWS
    killed = {"file.case": None}  # and its journal: see killed_append
    for threads in ("-j1", "-j3"):
        yield Command(("pack", threads, "rows.csv", "out.case"), rows, "out.case", whole)
        yield Command(("pack", threads, "-", "out.case"), {}, "out.case", whole, given=whole)
        yield Command(("pack", threads, "--force", "rows.csv", "out.case"), {**rows, **old}, "out.case", whole)
        yield Command(("pack", threads, "--no-sync", "rows.csv", "out.case"), rows, "out.case", whole)
        yield Command(("unpack", threads, "file.case", "out.csv"), case, "out.csv", whole)
        yield Command(("unpack", threads, "--force", "file.case", "out.csv"), {**case, **old}, "out.csv", whole)
        yield Command(("unpack", threads, "file.case", "-"), case, "-", whole)
        yield Command(("cat", threads, "file.case"), case, "-", ROWS)
        yield Command(("verify", threads, "file.case"), case, several=True)
        yield Command(("verify", threads, "file.case"), {"file.case": DAMAGED}, several=True, code=1)
        yield Command(("recover", threads, "file.case", "out.case"), case, "out.case", whole, several=True)
        yield Command(("recover", threads, "--holes", "zero", "file.case", "out.case"), {"file.case": DAMAGED}, "out.case",
                      several=True, code=1)
        yield Command(("append", threads, "file.case"), case, "file.case", whole + MORE, given=MORE, several=True)
        yield Command(("append", threads, "file.case", "more"), {**case, "more": MORE}, "file.case", whole + MORE,
                      several=True)
        yield Command(("append", threads, "file.case"), killed, "file.case", whole + MORE, given=MORE, several=True)
    for command in ("info", "cat", "verify"):
        yield Command((command, "file.case"), killed, "-", several=True, code=1)
    yield Command(("info", "--blocks", "file.case"), case)
    yield Command(("info", "--json", "file.case"), case)


class Runner:
    def __init__(self, casefile, shim):
        self.casefile, self.shim = casefile, shim

    def run(self, folder, command, fault=None, number=0):
        """Returns: the process when it has ended, and its three counts."""
        reads, writes = os.pipe()
        environment = {**os.environ, "LC_ALL": "C.UTF-8"}
        if fault:
            environment["LD_PRELOAD"] = str(self.shim)
            environment["FAILING"] = (f"{writes} {KINDS[fault.kind]} {number} {int(fault.for_good)} {HOWS[fault.how]} "
                                      f"{fault.number} {fault.where}")
        try:
            done = subprocess.run([self.casefile, *command.arguments], cwd=folder, input=command.given, capture_output=True,
                                  timeout=DEADLINE, env=environment, pass_fds=(writes,), check=False)
        finally:
            os.close(writes)
            with os.fdopen(reads, encoding="ascii") as counts:
                told = counts.read()
        return done, [int(count) for count in told.split()] or [0, 0, 0]

    @functools.cached_property
    def killing_call(self):
        """The call in front of which an append is killed that has begun to write."""
        for number in range(1, 1000):
            with tempfile.TemporaryDirectory() as name:
                left = self.kill_append(pathlib.Path(name), number)
                if "file.case.journal" in left and left["file.case"] != PACKED:
                    return number
        raise RuntimeError("no append was killed while it wrote")

    def kill_append(self, folder, number):
        (folder / "file.case").write_bytes(PACKED)
        append = Command(("append", "-j1", "file.case"), {}, given=MORE)
        self.run(folder, append, Fault("", "call", how="killed"), number)
        return contents_of(folder)

    def prepare(self, folder, command):
        """Returns: what the folder holds then."""
        if None in command.files.values():  # a journal knows its file, so none is copied
            return self.kill_append(folder, self.killing_call)
        for name, data in command.files.items():
            (folder / name).write_bytes(data)
        return command.files


def contents_of(folder):
    return {path.name: path.read_bytes() for path in folder.iterdir()}


def is_made(command, after):
    """Whether the output is complete."""
    data = after.get(command.makes)
    return data is not None and (data if command.makes.endswith(".csv") else packed_as(data)) == command.expected


def judge_messages(command, done, hit, fault):
    """What is wrong with what a failing command says."""
    lines = done.stderr.decode(errors="replace").splitlines()
    if not lines:
        return "fails without a word"
    for line in lines:
        if not re.fullmatch(r"casefile: [\w.]+( [\w]+)?: .+", line):
            return f"says what is no message: {line}"
    if len(lines) > 1 and not command.several:
        return f"says more than one thing: {lines}"
    reasons = [os.strerror(fault.number), "not enough memory"]
    if hit and command.code == 0 and fault.how == "error" and not any(reason in line for line in lines for reason in reasons):
        return f"does not say why: {lines}"
    return ""


def judge_left(runner, folder, command, before, done):
    """What is wrong with what a failing command leaves."""
    after = contents_of(folder)
    if command.arguments[0] == "append":
        return judge_appended(runner, folder, command)
    said = done.stderr.decode(errors="replace")
    for name in sorted({*before, *after}):
        if before.get(name) == after.get(name) or (name == command.makes and is_made(command, after)):
            continue
        if name in before or name not in said:
            return f"leaves {name} " + ("changed" if name in before else "behind, and does not name it")
    return ""


def judge_appended(runner, folder, command):
    again = Command(("append", "-j1", "file.case"), {})
    done, _ = runner.run(folder, again)
    if done.returncode != 0:
        return f"the next append is refused: {done.stderr.decode()}"
    after = contents_of(folder)
    if set(after) - {"more"} != {"file.case"}:
        return f"leaves {sorted(after)}"
    old_or_new = (HEADER + ROWS, command.expected)
    return "" if packed_as(after["file.case"]) in old_or_new else "the file is neither old nor new"


def judge_success(command, before, folder, done, undisturbed):
    after = contents_of(folder)
    said = done.stderr.decode(errors="replace")
    if command.makes == "-":
        if done.stdout != command.expected:
            return f"success was told, and {len(done.stdout)} bytes of {len(command.expected)} came"
    elif command.makes:
        if not is_made(command, after):
            return "success was told, and the output is not right"
    elif done.stdout != undisturbed.stdout:
        return f"success was told, and it says {done.stdout!r}"
    expected = {*before, command.makes} - {"", "-", "file.case.journal"}
    for name in set(after) - expected:
        if name not in said and after[name]:
            return f"leaves {name} and says nothing of it"
    for name in expected - {command.makes}:
        if after.get(name) != before[name]:
            return f"{name} is changed"
    return ""


def try_case(runner, case, tally):
    """One case. Returns: what is wrong."""
    command, undisturbed, fault, number = case
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        before = runner.prepare(folder, command)
        try:
            done, counts = runner.run(folder, command, fault, number)
        except subprocess.TimeoutExpired:
            return "does not come back"
        hit = counts[KINDS[fault.kind] - 1] >= number
        if done.returncode == 0 and command.code == 0:
            support.count(tally, "successes")
            return judge_success(command, before, folder, done, undisturbed)
        support.count(tally, "failures told" if hit else "runs that did not meet the fault")
        if done.returncode not in (1, 2):
            return f"ends with {done.returncode}: {done.stderr.decode(errors='replace')[-300:]}"
        return judge_messages(command, done, hit, fault) or (
            judge_left(runner, folder, command, before, done) if command.code == 0 else "")


def all_cases(runner):
    """For each command and fault: every number, and a few more, because threads make the counts vary."""
    cases = []
    for command in all_commands():
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            runner.prepare(folder, command)
            undisturbed, _ = runner.run(folder, command)
            if undisturbed.returncode != command.code:
                raise RuntimeError(f"{words(command)}, undisturbed: {undisturbed.stderr.decode()}")
        counts = {}
        for fault in FAULTS:
            with tempfile.TemporaryDirectory() as name:
                folder = pathlib.Path(name)
                runner.prepare(folder, command)
                if fault.where not in counts:
                    _, counts[fault.where] = runner.run(folder, command, fault, 1 << 40)
            count = counts[fault.where][KINDS[fault.kind] - 1]
            more = 3 if count and "-j1" not in command.arguments and fault.kind != "thread" else 0
            cases += [(command, undisturbed, fault, number) for number in range(1, count + more + 1)]
    return cases


def words(command):
    return " ".join(command.arguments) + (" behind a killed append" if None in command.files.values() else "")


def main():
    given = support.options("casefile", "shim")
    runner = Runner(given.casefile.resolve(), given.shim.resolve())

    def tried(case, tally):
        command, _, fault, number = case
        wrong = try_case(runner, case, tally)
        return wrong and f"{words(command)}, {fault.name} at {number}: {wrong}"

    return support.run("commands", given, all_cases(runner), tried)


if __name__ == "__main__":
    sys.exit(main())
