import datetime
import fcntl
import os
import struct
import subprocess
import unittest
import zlib

from appends import AppendTest
from support import HEADER, P, Form, positions, posix_only, text_rows

NOBODY = 65534


def forged(path, tail):
    """The bytes of a journal whose numbers all fit, for taking a file back to a tail of somebody's choice."""
    data = path.read_bytes()
    status = os.stat(path)
    form = Form(data)
    start = form.records[-1][1]
    anchor = zlib.crc32(data[P + 24:start][-65536:], zlib.crc32(data[:P][-65536:]))
    head = b"casefile journal" + struct.pack("<Q", ord("o"))
    head += struct.pack("<QQQQQQ", status.st_ino, birth(path), P, start + len(tail), start, anchor)
    head += data[P:P + 24] + struct.pack("<Q", zlib.crc32(tail))
    return head + struct.pack("<Q", zlib.crc32(head)) + tail


def birth(path):
    """When a file was made, in nanoseconds; 0 where the system does not tell."""
    shown = subprocess.run(["stat", "-c", "%w", path], stdout=subprocess.PIPE, check=True, env={"LC_ALL": "C"})
    text = shown.stdout.decode().strip()
    if text == "-":
        return 0
    day, clock, zone = text.split()
    whole, fraction = clock.split(".")
    seconds = datetime.datetime.strptime(f"{day} {whole} {zone}", "%Y-%m-%d %H:%M:%S %z").timestamp()
    return int(seconds) * 10 ** 9 + int(fraction)


@posix_only
class PlantedJournal(AppendTest):
    """A journal counts when it can have come from an append of the file's owner or one's own."""

    def setUp(self):
        super().setUp()
        self.before = self.pack(positions(1000))

    def plant(self, tail=b"planted", rights=0o600):
        journal = self.write("file.case.journal", forged(self.folder / "file.case", tail))
        os.chmod(journal, rights)
        return journal

    def assert_not_believed(self, *says, code=1):
        result = self.run_casefile("append", self.path("file.case"), input=b"more", expect=code)
        self.assert_says(result, "file.case.journal", *says)
        self.assertEqual(self.read("file.case"), self.before)
        self.assertIn("file.case.journal", self.names())

    def test_that_would_make_no_sound_file_is_not_taken_back(self):
        self.plant()
        self.assert_not_believed("would make no sound file of it", "remove the journal")

    @unittest.skipUnless(os.geteuid() == 0, "needs the right to give files to others")
    def test_of_another_user_is_named_and_hinders_no_reading(self):
        os.chown(self.plant(), NOBODY, NOBODY)
        self.assert_not_believed("belongs to another user (65534)")
        for command in [("unpack", "file.case", "out"), ("verify", "file.case"), ("info", "file.case"),
                        ("cat", "--from", "0", "file.case"), ("recover", "--force", "file.case", "out")]:
            result = self.run_casefile(*command, cwd=self.folder)
            self.assert_says(result, "file.case.journal has the name of its journal, belongs to another user (65534)")
        self.assertEqual(self.read("out"), self.before)

    @unittest.skipUnless(os.geteuid() == 0, "needs the right to give files to others")
    def test_of_another_user_that_is_empty_is_named(self):
        os.chown(self.write("file.case.journal", b""), NOBODY, NOBODY)
        self.assert_not_believed("belongs to another user (65534)")

    @unittest.skipUnless(os.geteuid() == 0, "needs a second user")
    def test_of_another_user_that_may_not_be_read_hinders_no_reading(self):
        os.chmod(self.folder, 0o755)
        self.plant()
        os.chown(self.path("file.case"), NOBODY, NOBODY)
        other = self.write("other.case.journal", b"")
        os.chmod(other, 0o600)
        os.link(self.path("file.case"), self.path("other.case"))
        self.run_casefile("verify", self.path("other.case"), user=NOBODY, group=NOBODY, extra_groups=[])

    def test_that_others_can_write_is_not_believed(self):
        self.plant(rights=0o620)
        self.assert_not_believed("can be written by others")

    def test_with_another_name_is_not_believed(self):
        os.link(self.plant(), self.path("mine"))
        self.assert_not_believed("has another name too")

    @unittest.skipUnless(os.geteuid() == 0, "needs the right to give files to others")
    def test_of_the_owner_is_taken_back_by_root_and_the_other_way_round(self):
        os.chmod(self.folder, 0o777)
        os.chown(self.path("file.case"), NOBODY, NOBODY)
        as_nobody = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        self.kill_in_the_middle()
        self.assertEqual(os.stat(self.path("file.case.journal")).st_uid, NOBODY)
        self.run_casefile("append", self.path("file.case"), input=b"", **as_nobody)
        self.assertEqual(self.read("file.case"), self.before)
        self.assert_only("file.case")


@posix_only
class WorkingFileOfAJournal(AppendTest):
    def test_whose_first_page_never_reached_the_disk_goes(self):
        self.pack(positions(1000))
        for left in [bytes(112), bytes(4096) + b"tail"]:
            self.write("file.case.journal.tmp", left)
            self.run_casefile("append", self.path("file.case"), input=b"")
            self.assert_only("file.case")

    @unittest.skipUnless(os.geteuid() == 0, "needs the right to give files to others")
    def test_of_another_user_stays(self):
        before = self.pack(positions(1000))
        os.chown(self.write("file.case.journal.tmp", b""), NOBODY, NOBODY)
        result = self.run_casefile("append", self.path("file.case"), input=b"more", expect=1)
        self.assert_says(result, "file.case.journal.tmp")
        self.assert_says(result, f"belongs to another user ({NOBODY}): have it removed")
        self.assertEqual(self.read("file.case"), before)


@posix_only
class FinishedJournal(AppendTest):
    def test_is_empty_and_goes_with_the_next_append(self):
        self.pack(text_rows(1200))
        self.write("file.case.journal", b"")
        self.assertEqual(self.run_casefile("verify", self.path("file.case")).stderr, b"")
        result = self.run_casefile("append", self.path("file.case"), input=b"more\n")
        self.assertEqual(result.stderr, b"")
        self.assertEqual(self.unpacked(), HEADER + text_rows(1200) + b"more\n")
        self.assert_only("file.case")


@posix_only
class LockOfAReader(AppendTest):
    def test_is_said_with_its_holder(self):
        before = self.pack(positions(1000))
        with open(self.path("file.case"), "rb") as reader:
            fcntl.flock(reader, fcntl.LOCK_SH)
            result = self.run_casefile("append", self.path("file.case"), input=b"more", expect=1)
        self.assert_says(result, f"another program writes to it or has locked it (process {os.getpid()})")
        self.assertEqual(self.read("file.case"), before)


if __name__ == "__main__":
    unittest.main()
