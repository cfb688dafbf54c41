"""What the tests of the casefile program share: running it, data that tells its own position, and the
bytes of a compressed file."""

import array
import json
import os
import pathlib
import signal
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

PROGRAM = os.environ["CASEFILE_PROGRAM"]
EMULATOR = [part for part in os.environ.get("CASEFILE_EMULATOR", "").split("|") if part]
EMULATED = bool(EMULATOR)
STARTS_FAST = os.environ.get("CASEFILE_STARTS_FAST") == "1"  # neither emulated nor with a sanitizer
SMALL_MEMORY = (40 if STARTS_FAST else 1024) * 2 ** 20  # sanitizers keep what was given back
# Seconds until a program that hangs fails its test: longer where a processor is emulated.
PATIENCE = int(os.environ.get("DATASOURCE_TEST_PATIENCE", "1"))
DEADLINE = 240 * PATIENCE
# A run in the background may ignore these, and so would every process that it starts: the program obeys.
for ignored in {signal.SIGINT, getattr(signal, "SIGHUP", None), getattr(signal, "SIGQUIT", None)} - {None}:
    if signal.getsignal(ignored) == signal.SIG_IGN:
        signal.signal(ignored, signal.SIG_DFL)
# A process counts its parent's memory as its own peak; so the parent is a small interpreter.
MEASURE = """
import resource, subprocess, sys
code = subprocess.run(sys.argv[2:], timeout=float(sys.argv[1]), stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
print(code.returncode, resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)
"""

# In which order the machine that runs the program has the bytes of a number, and the other order.
BYTE_ORDER = os.environ.get("CASEFILE_BYTE_ORDER", sys.byteorder)
ORDER, OTHER = "<>" if BYTE_ORDER == "little" else "><"
OTHER_BYTE_ORDER = "big" if BYTE_ORDER == "little" else "little"

BLOCK = 4190208
HEADER = b"name,age,city\n"
P = len(HEADER)

no_sanitizer = unittest.skipUnless(STARTS_FAST, "a sanitizer opens files itself")
posix_only = unittest.skipIf(PROGRAM.endswith(".exe"), "signals, limits and access rights of POSIX")
inflates_gigabytes = unittest.skipIf(PATIENCE > 1, "an emulated processor takes minutes for gigabytes")
measures_memory = unittest.skipIf(EMULATED, "an emulator's memory is not the program's")


def sweep(cases):
    """All cases where programs start fast; elsewhere every seventh, and it is said."""
    cases = list(cases)
    if not STARTS_FAST:
        print(f"every seventh of {len(cases)} cases")
        return cases[::7]
    return cases


def positions(count, start=0):
    """`count` bytes; the 8 bytes at each multiple of 8 spell their position."""
    words = array.array("Q", range(start, start + count + 8, 8))
    return words.tobytes()[:count]


def text_rows(count):
    """`count` bytes that compress very well."""
    return (b"row,of,text\n" * (count // 12 + 1))[:count]


def hardly_compressible(count, seed=1):
    """`count` bytes that compress to about three quarters."""
    import base64
    import random
    return base64.b64encode(random.Random(seed).randbytes(count))[:count]


class Form:
    """Heading and table of a compressed file's bytes."""

    def __init__(self, data, row0=P, order=ORDER):
        self.row0, self.order = row0, order
        self.heading = struct.unpack_from(order + "qqq", data, row0)
        self.table = self.heading[1]
        self.header = struct.unpack_from(order + "qqii", data, self.table)
        self.records = [struct.unpack_from(order + "qqii", data, self.table + 24 * (i + 1))
                        for i in range(self.header[3])]

    @property
    def table_end(self):
        return self.heading[1] + self.heading[2]


def with_other_order(data, row0=P):
    """The same file as the other byte order writes it."""
    form = Form(data, row0)
    out = bytearray(data)
    struct.pack_into(OTHER + "qqq", out, row0, *form.heading)
    for i, record in enumerate([form.header] + form.records):
        struct.pack_into(OTHER + "qqii", out, form.table + 24 * i, *record)
    return bytes(out)


def build(blocks, header=HEADER, cut_at=None):
    """A compressed file made here, of blocks of the sizes that the plain parts have; what a block has behind
    `cut_at` compressed bytes is cut off."""
    row0 = len(header)
    body = bytearray()
    records = []
    logical = row0
    for plain in blocks:
        packed = zlib.compress(plain, 1)[:cut_at]
        records.append((logical, row0 + 24 + len(body), len(plain), len(packed)))
        body += packed
        logical += len(plain)
    table = row0 + 24 + len(body)
    out = header + struct.pack(ORDER + "qqq", row0, table, 24 * (len(blocks) + 1)) + body
    out += struct.pack(ORDER + "qqii", -100, 0, BLOCK, len(blocks))
    for record in records:
        out += struct.pack(ORDER + "qqii", *record)
    return bytes(out)


class CasefileTest(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory(prefix="casefile-test-")
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)

    def path(self, name):
        return str(self.folder / name)

    def write(self, name, data):
        (self.folder / name).write_bytes(data)
        return self.path(name)

    def read(self, name):
        return (self.folder / name).read_bytes()

    def names(self):
        return sorted(entry.name for entry in self.folder.iterdir())

    def run_casefile(self, *arguments, expect=0, **options):
        """Runs the program to its end and checks its exit code."""
        options.setdefault("stdout", subprocess.PIPE)
        options.setdefault("stderr", subprocess.PIPE)
        if "input" not in options:
            options.setdefault("stdin", subprocess.DEVNULL)
        command = [*EMULATOR, PROGRAM, *map(str, arguments)]
        result = subprocess.run(command, timeout=DEADLINE, **options)
        if EMULATED and result.returncode == 1 and expect != 1 and not result.stdout and not result.stderr:
            # casefile never fails without a word; once in thousands of starts the emulator does. What the program
            # had done by then would show in the second run.
            print(f"failed without a word, started once more: casefile {arguments}")
            result = subprocess.run(command, timeout=DEADLINE, **options)
        if expect is not None:
            self.assertEqual(result.returncode, expect,
                             f"casefile {arguments}: {result.stdout} {result.stderr}")
        return result

    def run_and_measure(self, *arguments, expect):
        """Runs the program to its end; returns its messages and the most memory that it used, in bytes."""
        result = subprocess.run([sys.executable, "-S", "-c", MEASURE, str(DEADLINE), PROGRAM, *map(str, arguments)],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=True)
        code, peak = map(int, result.stdout.split())
        messages = result.stderr.decode()
        self.assertEqual(code, expect, f"casefile {arguments}: {messages[:2000]}")
        return messages, peak * 1024

    def start_casefile(self, *arguments, **options):
        return subprocess.Popen([*EMULATOR, PROGRAM, *map(str, arguments)], **options)

    def pack(self, case_data, name="file.case", header=HEADER, *more):
        """Packs header and case data; returns the compressed bytes."""
        self.run_casefile("pack", "--row0", len(header), "--force", *more, "-", self.path(name),
                          input=header + case_data)
        return self.read(name)

    def unpacked(self, name="file.case", *more):
        return self.run_casefile("unpack", *more, self.path(name), "-").stdout

    def info(self, name="file.case", *more, expect=0):
        return json.loads(self.run_casefile("info", "--json", *more, self.path(name), expect=expect).stdout)

    def assert_says(self, result, *texts):
        for text in texts:
            self.assertIn(text, result.stderr.decode())

    def assert_message_form(self, result, file):
        """Every line reads `casefile: FILE: what happened`."""
        for line in result.stderr.decode().splitlines():
            self.assertRegex(line, "^casefile: " + ".*" + ": .+")
        self.assertIn(f"casefile: {file}: ", result.stderr.decode())
