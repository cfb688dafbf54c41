#!/usr/bin/env python3
"""What another user can do to casefile in a folder that both may write: see docs/reliability.md.

A case runs one command as one user, stops it in front of one system call (gate.cpp), lets the other user swap a name in
the folder for something else, and lets the command go on. Whatever comes of it: nothing outside the folder is written or
made, nothing of the command's user becomes readable for others, at no stop and not at the end; the other user's files
get no byte; data that were sound are not lost. It needs root, which makes both users, and says so where it is not.
"""

import argparse
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

OWNER, OTHER = 64001, 64002
PLANTED = b"what the other user planted\n"
PRECIOUS = b"precious\n"
HEADER = b"name,age\n"
ROWS = b"".join(b"%d,%d\n" % (i, i * 7919 % 1000) for i in range(3000))
MORE = b"4711,42\n" * 100
DEADLINE = 10


class World:
    """The shared folder, what lies outside it, and the command's start."""

    def __init__(self, top, casefile, gate, runner):
        self.casefile, self.gate, self.runner = casefile, gate, runner
        self.folder, self.outside = top / "shared", top / "outside"
        self.folder.mkdir()
        os.chmod(self.folder, 0o777)
        self.outside.mkdir()
        # The owner may write there, and so may follow a planted link.
        os.chown(self.outside, runner, runner)
        os.chmod(self.outside, 0o711)
        self.write(self.outside / "precious", PRECIOUS, runner)

    def write(self, path, data, user):
        path.write_bytes(data)
        os.chown(path, user, user)
        os.chmod(path, 0o600)

    def command(self, *arguments, **more):
        return [self.casefile, *arguments], {"cwd": self.folder, "user": self.runner, "group": self.runner,
                                             "extra_groups": [], "umask": 0o022, **more}

    def run(self, *arguments, data=b""):
        command, how = self.command(*arguments)
        return subprocess.run(command, input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False,
                              timeout=DEADLINE, **how)

    def run_gated(self, arguments, data, call, at_the_stop):
        """Returns: the exit code, the calls that it made, and what `at_the_stop` says."""
        told, tells = os.pipe()
        waits, go = os.pipe()
        environment = {"LD_PRELOAD": str(self.gate), "GATE": f"{call} {tells} {waits}", "LC_ALL": "C.UTF-8"}
        command, how = self.command(*arguments, env=environment, pass_fds=(tells, waits))
        with tempfile.TemporaryFile() as given:
            given.write(data)
            given.seek(0)
            with subprocess.Popen(command, stdin=given, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **how) as child:
                os.close(tells)
                os.close(waits)
                said, calls = "", 0
                with os.fdopen(told, "r", encoding="ascii") as lines:
                    for line in lines:
                        if line.strip().isdigit():
                            calls = int(line)
                        else:
                            said = at_the_stop(line.strip())
                            os.write(go, b"g")
                os.close(go)
                return child.wait(DEADLINE), calls, said

    def as_other(self, action):
        """Does something as the other user. Returns: whether the system let it."""
        os.setegid(OTHER)
        os.seteuid(OTHER)
        try:
            action()
            return True
        except OSError:
            return False
        finally:
            os.seteuid(0)
            os.setegid(0)


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


def prepare_case(world):
    world.write(world.folder / "rows.csv", HEADER + ROWS, world.runner)
    made = world.run("pack", "--header-lines", "1", "rows.csv", "file.case")
    if made.returncode != 0:
        raise RuntimeError(made.stderr.decode())
    os.chmod(world.folder / "file.case", 0o600)


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


def try_case(casefile, gate, case, tally):
    """One case. Returns: what is wrong, and the calls that the command makes."""
    command, runner, which, new, call = case
    with tempfile.TemporaryDirectory() as name:
        top = pathlib.Path(name)
        os.chmod(top, 0o711)
        world = World(top, casefile, gate, runner)
        prepare_case(world)
        arguments, data, target = COMMANDS[command]

        def at_the_stop(_call):
            wrong = too_open(world)
            for path in attacked(world, target, which):
                done = world.as_other(swap(path, new))
                tally["swaps"] = tally.get("swaps", 0) + done
            return wrong

        code, calls, wrong = world.run_gated(arguments, data, call, at_the_stop)
        tally["commands that end well" if code == 0 else "commands that fail"] = tally.get(
            "commands that end well" if code == 0 else "commands that fail", 0) + 1
        return wrong or judge(world, command, code), calls


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


def all_cases(casefile, gate):
    """Every command, user, name, swap and call."""
    cases = []
    for command in COMMANDS:
        for runner in (OWNER, 0):
            _, calls = try_case(casefile, gate, (command, runner, "its name", leave_free, 0), {})
            cases += [(command, runner, which, new, call) for which in ("its name", "all else")
                      for new in SWAPS for call in range(1, calls + 1)]
    return cases


def words(case):
    command, runner, which, new, call = case
    return f"{command} by user {runner}, {new.__name__} for {which} in front of call {call}"


def summary(given, done, cases, seconds, tally, findings):
    print(json.dumps({"harness": "security", "seed": given.seed, "done": done, "cases": cases, "seconds": seconds,
                      "tally": tally, "findings": findings}))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--casefile", type=pathlib.Path, required=True)
    parser.add_argument("--gate", type=pathlib.Path, required=True)
    parser.add_argument("--seconds", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--state", type=pathlib.Path)
    parser.add_argument("--case", type=int)
    given = parser.parse_args()
    started = time.monotonic()
    if os.geteuid() != 0:
        print("security: SKIPPED: it needs root, which makes two users", file=sys.stderr)
        summary(given, 0, 0, 0, {"SKIPPED: needs root": 1}, [])
        return 0
    with tempfile.TemporaryDirectory() as copies:
        # The users may not reach the build folder.
        os.chmod(copies, 0o755)
        casefile = pathlib.Path(shutil.copy(given.casefile, copies))
        gate = pathlib.Path(shutil.copy(given.gate, copies))
        cases = all_cases(casefile, gate)
        order = list(range(len(cases)))
        random.Random(given.seed).shuffle(order)
        first = 0
        if given.case is not None:
            order = [given.case]
        elif given.state and given.state.exists():
            first = json.loads(given.state.read_text(encoding="utf-8"))["next"]
        tally, findings, at = {}, [], first
        while at < len(order) and (given.seconds is None or time.monotonic() - started < given.seconds):
            index = order[at]
            wrong, _ = try_case(casefile, gate, cases[index], tally)
            if wrong:
                findings.append({"case": index, "what": f"{words(cases[index])}: {wrong}"})
            at += 1
        if given.state and given.case is None:
            given.state.write_text(json.dumps({"next": at}), encoding="utf-8")
    summary(given, at, len(cases), time.monotonic() - started, tally, findings)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
