#!/usr/bin/env python3
"""What another user can do to casefile in a folder that both may write: see docs/reliability.md.

Most cases run one command as one user, stop it in front of one system call (gate.cpp), let the other user swap a name in
the folder for something else, and let the command go on. Whatever comes of it: nothing outside the folder is written or
made, nothing of the command's user becomes readable for others, at no stop and not at the end; the other user's files
get no byte; data that were sound are not lost. The other cases plant a journal (planted.py), give a file a name that a
terminal would obey (named.py), or give a command a file that is made to cost much (hostile.py). It needs root, which makes
both users, and says so where it is not.
"""

import dataclasses
import os
import pathlib
import shutil
import sys
import tempfile

import hostile
import named
import planted
from world import HEADER, MORE, OTHER, OWNER, PLANTED, PRECIOUS, ROWS, World, prepare_case

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "support"))
import cases as support  # pylint: disable=wrong-import-position

def too_open(world):
    """What others could read that is not theirs."""
    for path in world.folder.iterdir():
        status = path.lstat()
        if path.is_file() and not path.is_symlink() and status.st_uid != OTHER and status.st_mode & 0o077:
            return f"{path.name} has the rights {status.st_mode & 0o777:o}"
    return ""


# --- what the other user does with a name

def link_outside(path):
    os.symlink(path.parent.parent / "outside" / "precious", path)


def link_to_nothing(path):
    os.symlink(path.parent.parent / "outside" / "new", path)


def plant(path):
    path.write_bytes(PLANTED)
    os.chmod(path, 0o666)


def leave_free(_path):
    pass


SWAPS = (link_outside, link_to_nothing, plant, leave_free)


def swap(path, new):
    """The name goes to something else; what had it stays under another one, if there was anything."""
    def act():
        if path.is_symlink() or path.exists():
            os.rename(path, path.with_name("moved-" + path.name))
        new(path)
    return act


# --- commands: arguments, standard input, the name that is attacked, and what must hold in the end

def old_or_new(world, name, old, new):
    """Whether the data of a file are not lost, once its names are as they were."""
    for moved in world.folder.glob("moved-*"):
        back = moved.with_name(moved.name.removeprefix("moved-"))
        if moved.lstat().st_uid != OTHER:
            back.unlink(missing_ok=True)
            os.rename(moved, back)
    for path in world.folder.iterdir():
        if path.lstat().st_uid == OTHER:
            path.unlink()
    world.run("append", name)  # takes back what has not finished
    unpacked = world.run("cat", "--from", "0", name)
    return "" if unpacked.stdout in (old, new) else f"the data of {name} are lost: {unpacked.stderr.decode()[-200:]}"


COMMANDS = {
    "pack": (("pack", "-j1", "--header-lines", "1", "rows.csv", "out.case"), b"", "out.case"),
    "unpack": (("unpack", "-j1", "file.case", "out.csv"), b"", "out.csv"),
    "recover": (("recover", "-j1", "file.case", "out.case"), b"", "out.case"),
    "append": (("append", "-j1", "file.case"), MORE, "file.case"),
}


def attacked(world, name, which):
    """The paths that the other user swaps: the command's name, or whatever else it has made there."""
    if which == "its name":
        return [world.folder / name]
    return [path for path in world.folder.iterdir() if path.name not in ("rows.csv", "file.case", name)]


@dataclasses.dataclass(frozen=True)
class Swap:
    """A command, stopped in front of one call while the other user swaps a name."""

    command: str
    runner: int
    which: str
    new: object
    call: int

    def words(self):
        return f"{self.command} by user {self.runner}, {self.new.__name__} for {self.which} in front of call {self.call}"

    def run(self, world, tally):
        """Returns: what is wrong, and the calls that the command makes."""
        prepare_case(world)
        arguments, data, target = COMMANDS[self.command]

        def at_the_stop(_call):
            wrong = too_open(world)
            for path in attacked(world, target, self.which):
                support.count(tally, "swaps", world.as_other(swap(path, self.new)))
            return wrong

        code, calls, wrong = world.run_gated(arguments, data, self.call, at_the_stop)
        support.count(tally, "commands that end well" if code == 0 else "commands that fail")
        return wrong or judge(world, self.command, code), calls

    def tried(self, world, tally):
        return self.run(world, tally)[0]


def judge(world, command, code):
    precious = world.outside / "precious"
    if code < 0:
        return f"the command ends by signal {-code}"
    if precious.read_bytes() != PRECIOUS or precious.stat().st_mode & 0o777 != 0o600 or precious.stat().st_uid != world.runner:
        return "a file outside is changed"
    if [path.name for path in world.outside.iterdir()] != ["precious"]:
        return "a file is made outside"
    if wrong := too_open(world):
        return wrong
    for path in world.folder.iterdir():
        if path.is_file() and not path.is_symlink() and path.stat().st_uid == OTHER and path.read_bytes() != PLANTED:
            return f"the other user's {path.name} holds something else"
    if command == "append":
        return old_or_new(world, "file.case", HEADER + ROWS, HEADER + ROWS + MORE)
    if world.run("verify", "file.case").returncode != 0:
        return "the input is not sound any more"
    return ""


class Programs:
    """casefile and what it is started with, and worlds for it."""

    def __init__(self, casefile, gate, calls):
        self.casefile, self.gate, self.calls = casefile, gate, calls

    def in_a_world(self, runner, action):
        with tempfile.TemporaryDirectory() as name:
            top = pathlib.Path(name)
            os.chmod(top, 0o711)
            return action(World(top, self, runner))


def all_swaps(programs):
    """Every command, user, name, swap and call."""
    cases = []
    for command in COMMANDS:
        for runner in (OWNER, 0):
            undisturbed = Swap(command, runner, "its name", leave_free, 0)
            _, calls = programs.in_a_world(runner, lambda world, case=undisturbed: case.run(world, {}))
            cases += [Swap(command, runner, which, new, call) for which in ("its name", "all else")
                      for new in SWAPS for call in range(1, calls + 1)]
    return cases


def main():
    given = support.options("casefile", "gate", "calls")
    if os.geteuid() != 0:
        print("security: SKIPPED: it needs root, which makes two users", file=sys.stderr)
        return support.tell("security", given, (0, 0), {"SKIPPED: needs root": 1}, [])
    with tempfile.TemporaryDirectory() as copies:
        # The users may not reach the build folder.
        os.chmod(copies, 0o755)
        programs = Programs(*(pathlib.Path(shutil.copy(program, copies))
                              for program in (given.casefile, given.gate, given.calls)))
        cases = all_swaps(programs) + planted.all_cases() + named.all_cases() + hostile.all_cases()

        def tried(case, tally):
            wrong = programs.in_a_world(case.runner, lambda world: case.tried(world, tally))
            return wrong and f"{case.words()}: {wrong}"

        return support.run("security", given, cases, tried)


if __name__ == "__main__":
    sys.exit(main())
