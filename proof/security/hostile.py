"""Files that somebody made to cost their reader much: see docs/reliability.md.

A hostile file is small on its disk and claims to be large: a sparse file, a block that inflates without end, a table of
which no record is true. Every command, and every call of the library (calls.cpp), comes back with an answer, soon, and takes no
more memory than it takes for an honest file.
"""

import dataclasses
import functools
import os
import pathlib
import select
import struct
import subprocess
import sys
import zlib

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "commands"))
import book  # pylint: disable=wrong-import-position
from world import BLOCK, OWNER, ROWS, TERABYTE, wrong_end  # pylint: disable=wrong-import-position

MOST = 2**31 - 1
DEADLINE = 60
MOST_MEMORY = 128 << 20  # bytes, of a command; a thread's buffers and what every program takes are among them
MOST_MEMORY_OF_A_CALL = 64 << 20  # of a call of the library with one thread, in a program that does nothing else


# --- hostile files: pieces by position, and the length

@dataclasses.dataclass(frozen=True)
class Sparse:
    length: int
    pieces: tuple = ()

    def write(self, path):
        with open(path, "wb") as file:
            file.truncate(self.length)
            for position, data in self.pieces:
                file.seek(position)
                file.write(data)


def whole(data):
    return Sparse(len(data), ((0, data),))


def heading(row0, table, size):
    return struct.pack("<qqq", row0, table, size)


def table_of(*records):
    return struct.pack("<qqii", book.MARK, 0, BLOCK, len(records)) + b"".join(struct.pack("<qqii", *r) for r in records)


def of_one_block(packed, plain, claimed=None):
    """A file of one block, whose record claims so many compressed bytes."""
    table = table_of((0, book.ROOM, plain, len(packed) if claimed is None else claimed))
    return whole(heading(0, book.ROOM + len(packed), len(table)) + packed + table)


def honest_at(row0):
    """A sound file whose dictionary part is a hole."""
    packed = zlib.compress(ROWS, 1)
    table = table_of((row0, row0 + book.ROOM, len(ROWS), len(packed)))
    data = heading(row0, row0 + book.ROOM + len(packed), len(table)) + packed + table
    return Sparse(row0 + len(data), ((row0, data),))


@functools.cache
def bomb(plain):
    """A zlib stream out of which so many bytes come, of which its check value knows nothing."""
    packer = zlib.compressobj(9)
    head = packer.compress(b"\0") + packer.flush(zlib.Z_FULL_FLUSH)
    block = packer.compress(bytes(BLOCK)) + packer.flush(zlib.Z_FULL_FLUSH)
    return head + block * (plain // BLOCK) + packer.flush()


@functools.cache
def whole_block():
    return zlib.compress(bytes(BLOCK), 9)


def with_many_records():
    """A table of a quarter of a million records that follow each other, in front of bytes that are no blocks."""
    count = 250_000
    table = table_of(*((i * BLOCK, book.ROOM + i, BLOCK, 1) for i in range(count)))
    return whole(heading(0, book.ROOM + count, len(table)) + b"\xff" * count + table)


def with_tail(data, length):
    return Sparse(length, ((0, data),))


FILES = {
    "a hole": lambda: Sparse(TERABYTE),
    "case data in front of a hole": lambda: with_tail(book.made(b"", ROWS, BLOCK), TERABYTE),
    "case data behind a hole": lambda: honest_at(TERABYTE // 2 + 5),
    "two files with a hole between": lambda: Sparse(TERABYTE, ((0, book.made(b"", ROWS, BLOCK)),
                                                               *honest_at(TERABYTE // 2).pieces)),
    "a block behind a hole": lambda: Sparse(TERABYTE, ((TERABYTE // 2, zlib.compress(ROWS, 1)),)),
    "a table in a hole": lambda: Sparse(TERABYTE, ((0, heading(0, 4096, MOST // 24 * 24)),)),
    "a table of a terabyte": lambda: Sparse(2 * TERABYTE, ((0, heading(0, 4096, TERABYTE // 24 * 24)),)),
    "a table that is not there": lambda: whole(heading(0, 4096, MOST // 24 * 24) + bytes(5000)),
    "a block that inflates to a gigabyte": lambda: of_one_block(bomb(1 << 30), BLOCK),
    "a record of two gigabytes": lambda: of_one_block(zlib.compress(ROWS, 1), len(ROWS), MOST),
    "a block of two gigabytes": lambda: of_one_block(zlib.compress(ROWS, 1), MOST),
    "a table of many records": with_many_records,
    "beginnings of blocks": lambda: whole(b"\x78\x01" * (1 << 20)),
    "whole blocks without a heading": lambda: whole((b"\x01" + whole_block()) * 1500),
}

COMMANDS = {
    "info": ("info", "file"),
    "info of a place": ("info", "--row0", "0", "file"),
    "info of blocks": ("info", "--blocks", "--json", "file"),
    "verify": ("verify", "-j1", "file"),
    "verify of a place": ("verify", "-j1", "--row0", "0", "file"),
    "cat": ("cat", "-j1", "file"),
    "recover": ("recover", "-j1", "file", "out"),
    "recover of a place": ("recover", "-j1", "--row0", "0", "file", "out"),
    "recover beyond holes": ("recover", "-j1", "--holes", "zero", "file", "out"),
    "recover in part": ("recover", "-j1", "--partial", "file", "out"),
    "append": ("append", "-j1", "file"),
}


CALLS = ("read", "read-there", "random", "random-there", "inspect", "inspect-there", "verify", "verify-there", "recover",
         "recover-there", "recover-zero", "recover-skip", "recover-partial", "append", "append-there")


@dataclasses.dataclass(frozen=True)
class Hostile:
    file: str
    command: str
    is_call: bool = False
    runner: int = OWNER

    def words(self):
        return f"{'call ' * self.is_call}{self.command} with {self.file}"

    def started(self, world):
        if self.is_call:
            return world.command(self.command, "file", "out", program=world.calls)
        return world.command(*COMMANDS[self.command])

    def tried(self, world, tally):
        FILES[self.file]().write(world.folder / "file")
        os.chown(world.folder / "file", world.runner, world.runner)
        with open(world.folder.parent / "said", "w+b") as said:
            command, how = self.started(world)
            child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=said, stderr=said, **how)
            code, memory = ended(child)
            said.seek(0)
            words = said.read(1 << 20)
        most = f"MiB of memory at most, of {'calls' if self.is_call else 'commands'} with hostile files"
        tally[most] = max(tally.get(most, 0), memory >> 20)
        if code is None:
            return "does not come back"
        if wrong := wrong_end(code, words):
            return wrong
        if memory > (MOST_MEMORY_OF_A_CALL if self.is_call else MOST_MEMORY):
            return f"takes {memory >> 20} MiB"
        out = world.folder / "out"
        room = out.stat().st_blocks * 512 if out.exists() else 0
        return f"makes a file of {room >> 20} MiB" if room > MOST_MEMORY else ""


def ended(child):
    """Returns: the exit code, none where it does not end in time, and how many bytes of memory it took at most."""
    watched = os.pidfd_open(child.pid)
    ready, _, _ = select.select([watched], [], [], DEADLINE)
    os.close(watched)
    if not ready:
        child.kill()
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    return (child.returncode if ready else None), usage.ru_maxrss << 10


def all_cases():
    return ([Hostile(file, command) for file in FILES for command in COMMANDS]
            + [Hostile(file, call, True) for file in FILES for call in CALLS])
