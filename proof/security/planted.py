"""Journals that another user planted beside a file: see docs/reliability.md.

The file was appended to, and the append has finished. Whatever then has the name of its journal, a true journal of that
append among it, no command takes the append back, follows the name, waits for it, or changes what has it.
"""

import dataclasses
import os
import pathlib
import struct
import sys
import zlib

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "commands"))
import book  # pylint: disable=wrong-import-position
from world import (  # pylint: disable=wrong-import-position
    BLOCK, HEADER, MORE, OTHER, OWNER, ROWS, TERABYTE, prepare_case, wrong_end)

CHECK_AT, TAIL_AT = 104, 112  # of a journal


def forged(journal, *numbers):
    """A journal that says something else at some places, with check values that fit."""
    head = bytearray(journal[:TAIL_AT])
    for position, number in numbers:
        struct.pack_into("<q", head, position, number)
    struct.pack_into("<q", head, CHECK_AT, zlib.crc32(head[:CHECK_AT]))
    return bytes(head) + journal[TAIL_AT:]


def tailless(journal, length):
    """A journal by which the file was so long, and nothing was overwritten."""
    return forged(journal, (48, length), (56, length), (96, 0))[:TAIL_AT]


def write(data):
    def plant(path, journal, _outside):
        path.write_bytes(data(journal))
    return plant


def link(kind):
    """A name of the owner's own copy of the journal, outside."""
    def plant(path, journal, outside):
        copy = outside / "journal"
        copy.write_bytes(journal)
        os.chown(copy, outside.stat().st_uid, outside.stat().st_uid)
        os.chmod(copy, 0o600)
        kind(copy, path)
    return plant


def giant(path, journal, _outside):
    path.write_bytes(forged(journal, (48, TERABYTE)))
    os.truncate(path, TERABYTE)


PLANTS = {
    "a true journal": write(lambda journal: journal),
    "nothing": write(lambda journal: b""),
    "no journal": write(lambda journal: b"what the other user planted"),
    "a journal that was cut": write(lambda journal: journal[:-1]),
    "a journal of another file": write(lambda journal: forged(journal, (24, 4711))),
    "a journal of a file without bytes": write(lambda journal: tailless(journal, 0)),
    "a journal of a file that was longer": write(lambda journal: tailless(journal, TERABYTE)),
    "a journal with negative numbers": write(lambda journal: forged(journal, (40, -1), (48, -1), (56, -1))),
    "a journal of a terabyte": giant,
    "a link to a true journal": link(os.symlink),
    "a second name of a true journal": link(os.link),
    "a link to a file outside": lambda path, _journal, outside: os.symlink(outside / "precious", path),
    "a link to itself": lambda path, _journal, _outside: os.symlink(path, path),
    "a pipe": lambda path, _journal, _outside: os.mkfifo(path),
    "a folder": lambda path, _journal, _outside: path.mkdir(),
}

COMMANDS = {
    "info": ("info", "file.case"),
    "verify": ("verify", "file.case"),
    "cat": ("cat", "file.case"),
    "unpack": ("unpack", "file.case", "out.csv"),
    "recover": ("recover", "file.case", "out.case"),
    "append": ("append", "file.case"),
    "pack over it": ("pack", "--force", "--header-lines", "1", "rows.csv", "file.case"),
}


KNOWN_CALL = []  # the call in front of which an append has written and has its journal, once that is found


def append_once(world):
    """Appends. Returns: the bytes that its journal had while it wrote."""
    prepare_case(world)
    path = world.folder / "file.case"
    old = path.read_bytes()
    taken = []

    def at_the_stop(_call):
        journal = world.folder / "file.case.journal"
        if journal.exists() and path.read_bytes() != old:
            taken.append(journal.read_bytes())
        return ""

    for call in KNOWN_CALL or range(1, 1000):
        code, _, _ = world.run_gated(("append", "-j1", "file.case"), MORE, call, at_the_stop)
        if code == 0 and taken:
            KNOWN_CALL[:] = [call]
            return taken[0]
        path.write_bytes(old)
    raise RuntimeError("no append had a journal while it wrote")


def shape(path):
    """What has a name, in words and bytes that change with it."""
    if path.is_symlink():
        return f"a link to {os.readlink(path)}"
    if not path.exists():
        return "nothing"
    status = path.stat()
    data = path.read_bytes() if path.is_file() and status.st_size < 1 << 20 else b""
    return f"{status.st_mode:o} of {status.st_uid} with {status.st_size if path.is_file() else 0} bytes {zlib.crc32(data):x}"


@dataclasses.dataclass(frozen=True)
class Planted:
    """A command beside a planted journal."""

    plant: str
    command: str
    runner: int
    planter: int = OTHER

    def words(self):
        return f"{self.command} by user {self.runner}, beside {self.plant} of user {self.planter}"

    def tried(self, world, tally):
        journal = append_once(world)
        path, case = world.folder / "file.case.journal", world.folder / "file.case"
        before = case.read_bytes()
        PLANTS[self.plant](path, journal, world.outside)
        if not path.is_symlink() and path.stat().st_nlink == 1 or path.is_dir():
            os.chown(path, self.planter, self.planter)
        planted = shape(path)
        done = world.run(*COMMANDS[self.command], data=MORE)
        well = done.returncode == 0
        tally_as = "commands that end well beside a planted journal" if well else "commands that refuse a planted journal"
        tally[tally_as] = tally.get(tally_as, 0) + 1
        if wrong := wrong_end(done.returncode, done.stderr):
            return wrong
        if shape(path) != planted:
            return f"what has the journal's name was {planted}, and is {shape(path)}"
        return self.judge_file(before, case.read_bytes(), well)

    def judge_file(self, before, after, well):
        if not well or self.command not in ("append", "pack over it"):
            return "" if after == before else "the file is changed"
        expected = HEADER + ROWS + (2 * MORE if self.command == "append" else b"")
        return "" if book.contents(after, len(HEADER), BLOCK) == expected else "success was told, and the file is not right"


def all_cases():
    """Every plant and command; of the owner's own, what can be there by mistake."""
    cases = [Planted(plant, command, runner) for plant in PLANTS for command in COMMANDS for runner in (OWNER, 0)]
    return cases + [Planted("a journal of another file", command, OWNER, OWNER)
                    for command in COMMANDS if command != "pack over it"]
