"""Names that a terminal would obey: see docs/reliability.md.

Each byte and letter that may be a command to a terminal stands in the name of a file, that is a data file, another one, or
not there, or where an option or a command should. Whatever casefile says of it, the byte is not in it.
"""

import dataclasses
import os
import pathlib
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "commands"))
import book  # pylint: disable=wrong-import-position
from world import BLOCK, HEADER, OWNER, ROWS, wrong_end  # pylint: disable=wrong-import-position

LETTERS = ([bytes([code]) for code in (*range(1, 32), 127, *range(128, 160))]
           + [chr(code).encode() for code in range(128, 160)])
NAME = object()  # in the arguments
DATA = book.made(HEADER, ROWS, BLOCK)
STATES = {"a data file": DATA, "a file of something else": b"nothing to read\n", "no file": None}
COMMANDS = {
    "info": ("info", NAME),
    "info as JSON": ("info", "--json", "--blocks", NAME),
    "verify": ("verify", "-v", NAME),
    "cat": ("cat", "-v", "--bytes", "0", NAME),
    "append": ("append", NAME),
    "append of it": ("append", "file.case", NAME),
    "unpack": ("unpack", NAME, "out"),
    "unpack to it": ("unpack", "file.case", NAME),
    "recover": ("recover", NAME, "out"),
    "recover to it": ("recover", "file.case", NAME),
    "pack": ("pack", NAME, "out"),
    "pack to it": ("pack", "rows.csv", NAME),
    "a dictionary part": ("pack", "--dictionary", NAME, "rows.csv", "out"),
    "a number": ("info", "--row0", NAME, "file.case"),
    "a command": (NAME,),
    "a choice": ("recover", "--holes", NAME, "file.case", "out"),
    "too much": ("cat", "file.case", NAME),
}
NO_FILE = ("a number", "a command", "a choice", "too much")


def obeyed(said):
    """What of some output a terminal would obey, but for ends of lines."""
    return [letter for letter in said.decode(errors="surrogateescape")
            if letter != "\n" and (ord(letter) < 32 or 127 <= ord(letter) < 160 or 0xDC80 <= ord(letter) < 0xDD00)]


@dataclasses.dataclass(frozen=True)
class Named:
    """A command that is given a name."""

    letter: bytes
    command: str
    state: str
    runner: int = OWNER

    def words(self):
        return f"{self.command} with {self.state} whose name holds {self.letter!r}"

    def tried(self, world, tally):
        name = b"a" + self.letter + b"b.case"
        if STATES[self.state] is not None:
            world.write(world.folder / os.fsdecode(name), STATES[self.state], self.runner)
        world.write(world.folder / "file.case", DATA, self.runner)
        world.write(world.folder / "rows.csv", HEADER + ROWS, self.runner)
        done = world.run(*(name if word is NAME else word for word in COMMANDS[self.command]))
        tally["names that a terminal would obey"] = tally.get("names that a terminal would obey", 0) + 1
        if wrong := wrong_end(done.returncode, done.stderr):
            return wrong
        said = done.stdout + done.stderr
        return f"says {said[:300]!r}" if name in said or obeyed(said) else ""


def all_cases():
    return [Named(letter, command, state) for letter in LETTERS for command in COMMANDS for state in STATES
            if command not in NO_FILE or STATES[state] is None]
