import os
import random
import signal
import subprocess
import time
import unittest

from appends import AppendTest
from support import BLOCK, DEADLINE, HEADER, P, CasefileTest, Form, hardly_compressible, positions, posix_only, text_rows


class Append(CasefileTest):
    def check(self, old_size, new_size):
        data = positions(old_size + new_size)
        self.pack(data[:old_size])
        self.run_casefile("append", self.path("file.case"), self.write("more", data[old_size:]))
        self.assertEqual(self.unpacked(), HEADER + data)
        self.run_casefile("verify", self.path("file.case"))
        self.assertEqual(self.names(), ["file.case", "more"])
        return data

    def test_to_empty_case_data(self):
        self.check(0, 1000)

    def test_to_a_partial_block(self):
        self.check(1000, 10)

    def test_that_fills_the_last_block_exactly(self):
        self.check(1000, BLOCK - 1000)

    def test_beyond_the_last_block(self):
        self.check(BLOCK + 1000, BLOCK)

    def test_to_full_blocks(self):
        self.check(2 * BLOCK, 1)

    def test_gives_what_packing_at_once_gives(self):
        data = self.check(BLOCK + 1000, 2 * BLOCK)
        appended = self.read("file.case")
        whole = self.pack(data, "whole")
        self.assertEqual(appended[:Form(whole).table_end], whole)

    def test_many_times(self):
        data = positions(0)
        self.pack(b"")
        for size in [1, 3, 100000, 7, BLOCK, 1]:
            more = positions(size, len(data))
            self.run_casefile("append", self.path("file.case"), input=more)
            data += more
        self.assertEqual(self.unpacked(), HEADER + data)

    def test_of_nothing_changes_nothing(self):
        before = self.pack(positions(1000))
        self.run_casefile("append", self.path("file.case"), input=b"")
        self.assertEqual(self.read("file.case"), before)
        self.assertEqual(self.names(), ["file.case"])

    def test_keeps_nothing_but_the_form(self):
        self.pack(positions(1000))
        self.run_casefile("append", self.path("file.case"), input=b"more")
        data = self.read("file.case")
        form = Form(data)
        self.assertEqual(form.records[-1][1] + form.records[-1][3], form.table)
        self.assertLessEqual(form.table_end, len(data))

    def test_row0_may_be_told(self):
        self.pack(b"old")
        self.run_casefile("append", "--row0", P, self.path("file.case"), input=b"new")
        self.assertEqual(self.unpacked(), HEADER + b"oldnew")
        self.run_casefile("append", "--row0", P + 1, self.path("file.case"), input=b"new", expect=2)


class FailedAppend(AppendTest):
    """Whatever happens, the file has its old bytes and length afterwards."""

    def setUp(self):
        super().setUp()
        self.before = self.pack(positions(BLOCK + 5000))

    def check_untouched(self):
        self.assertEqual(self.read("file.case"), self.before)
        self.assertEqual([name for name in self.names() if "journal" in name], [])

    def test_missing_input(self):
        self.run_casefile("append", self.path("file.case"), self.path("missing"), expect=2)
        self.check_untouched()

    def test_block_that_does_not_fit(self):
        result = self.run_casefile("append", self.path("file.case"), expect=1, input=os.urandom(2 * BLOCK))
        self.assert_says(result, f"block 2 (logical bytes {P + 2 * BLOCK} to {P + 3 * BLOCK - 1})")
        self.check_untouched()

    def test_dead_bytes_come_back_too(self):
        self.before += b"left over" * 1000
        self.write("file.case", self.before)
        self.run_casefile("append", self.path("file.case"), expect=1, input=os.urandom(2 * BLOCK))
        self.check_untouched()

    def test_damaged_file_is_refused(self):
        damaged = bytearray(self.before)
        damaged[Form(damaged).table + 24 + 16] ^= 1
        self.before = bytes(damaged)
        self.write("file.case", self.before)
        result = self.run_casefile("append", self.path("file.case"), expect=1, input=b"more")
        self.assert_says(result, "casefile verify")
        self.check_untouched()

    def test_last_block_that_cannot_be_read(self):
        damaged = bytearray(self.before)
        damaged[Form(damaged).records[1][1] + 10] ^= 1
        self.before = bytes(damaged)
        self.write("file.case", self.before)
        self.run_casefile("append", self.path("file.case"), expect=1, input=b"more")
        self.check_untouched()

    @posix_only
    def test_file_size_limit(self):
        import resource
        limit = len(self.before) + 500000
        result = self.run_casefile("append", self.path("file.case"), expect=1, input=hardly_compressible(2 * BLOCK),
                                   preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        self.assert_says(result, "cannot be written: File too large")
        self.check_untouched()

    @posix_only
    def test_no_room_for_the_journal(self):
        import resource
        result = self.run_casefile("append", self.path("file.case"), expect=1, input=b"more",
                                   preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100)))
        self.assert_says(result, "journal")
        self.check_untouched()

    @posix_only
    def test_interrupt(self):
        for number in [signal.SIGINT, signal.SIGTERM]:
            for size in [0, 300000, BLOCK + 300000]:  # before the first overwrite, before and after the first block
                process = self.start_casefile("append", self.path("file.case"), stdin=subprocess.PIPE)
                process.stdin.write(positions(size))
                process.stdin.flush()
                if size > 0:
                    self.wait_for(lambda: "file.case.journal" in self.names(), process)
                process.send_signal(number)
                self.assertEqual(process.wait(DEADLINE), -number)
                process.stdin.close()
                self.check_untouched()


@posix_only
class KilledAppend(AppendTest):
    """SIGKILL leaves the old file or the new one, if need be by way of the journal."""

    def test_every_command_says_so(self):
        self.pack(positions(5000))
        self.kill_in_the_middle()
        torn = self.read("file.case")
        for arguments in [("unpack", "file.case", "out"), ("cat", "--from", "0", "file.case"), ("verify", "file.case"),
                          ("info", "file.case"), ("recover", "file.case", "out"),
                          ("pack", "--force", "file.case", "other")]:
            result = self.run_casefile(*arguments, cwd=self.folder, expect=None)
            if arguments[0] != "pack":
                self.assert_says(result, "an append has not finished (file.case.journal is there)")
            self.assertEqual(result.returncode, {"recover": 0, "pack": 0, "info": result.returncode,
                                                 "verify": result.returncode}.get(arguments[0], 1))
            if arguments[0] == "verify":
                self.assertNotEqual(result.returncode, 0)
        self.assertEqual(self.read("file.case"), torn)
        self.assertIn("file.case.journal", self.names())

    def test_is_seen_by_way_of_a_link_too(self):
        self.pack(positions(5000))
        before = self.kill_in_the_middle()
        os.symlink("file.case", self.path("link"))
        result = self.run_casefile("cat", "--from", "0", self.path("link"), expect=1)
        self.assert_says(result, "an append has not finished")
        self.run_casefile("append", self.path("link"), input=b"")
        self.assertEqual(self.read("file.case"), before)

    def test_next_append_takes_it_back_first(self):
        self.pack(positions(5000))
        before = self.kill_in_the_middle()
        result = self.run_casefile("append", self.path("file.case"), input=b"")
        self.assert_says(result, "taken back")
        self.assertEqual(self.read("file.case"), before)
        self.assertEqual(self.names(), ["file.case"])

    def test_recover_writes_the_old_file(self):
        self.pack(positions(5000))
        before = self.kill_in_the_middle()
        torn = self.read("file.case")
        self.run_casefile("recover", self.path("file.case"), self.path("out"))
        self.assertEqual(self.read("out"), before)
        self.assertEqual(self.read("file.case"), torn)

    def test_journal_of_another_file_is_refused(self):
        self.pack(positions(5000))
        self.kill_in_the_middle()
        other = self.pack(text_rows(5000), "other", b"another dictionary part")
        os.replace(self.path("other"), self.path("file.case"))
        for arguments in [("append", self.path("file.case")), ("recover", self.path("file.case"), self.path("out"))]:
            result = self.run_casefile(*arguments, expect=1)
            self.assert_says(result, "belongs to another file")
        self.assertEqual(self.read("file.case"), other)

    def test_damaged_journal_is_refused(self):
        self.pack(positions(5000))
        self.kill_in_the_middle()
        torn = self.read("file.case")
        journal = self.read("file.case.journal")
        flipped = [journal[:at] + bytes([journal[at] ^ 1]) + journal[at + 1:] for at in range(16, 140)]
        finished = journal[:16] + b"f" + journal[17:]
        for damaged in [journal[:-1], journal + b"x", journal[:100], finished, *flipped]:
            self.write("file.case.journal", damaged)
            for arguments in [("append", self.path("file.case")),
                              ("recover", self.path("file.case"), self.path("out"))]:
                result = self.run_casefile(*arguments, expect=1)
                self.assert_says(result, "is damaged; nothing was changed")
            self.assertEqual(self.read("file.case"), torn)

    def test_at_60_random_moments(self):
        seed = random.randrange(2 ** 32)
        print(f"seed {seed}")
        chosen = random.Random(seed)
        old_data = text_rows(BLOCK) + positions(30000)
        more = self.write("more", text_rows(BLOCK) + positions(400000))
        old = self.pack(old_data)
        started = time.monotonic()
        self.run_casefile("append", self.path("file.case"), more)
        span = time.monotonic() - started
        new_plain = self.unpacked()
        outcomes = {"old": 0, "old by the journal": 0, "new": 0}
        for _ in range(60):
            self.write("file.case", old)
            process = self.start_casefile("append", self.path("file.case"), more)
            time.sleep(chosen.uniform(0, 1.1 * span))
            process.kill()
            process.wait(DEADLINE)
            by_journal = "file.case.journal" in self.names()
            self.run_casefile("append", self.path("file.case"), input=b"")  # takes an open journal back
            self.assertEqual(self.names(), ["file.case", "more"])
            if self.read("file.case") == old:
                outcomes["old by the journal" if by_journal else "old"] += 1
            else:
                self.assertEqual(self.unpacked(), new_plain)
                outcomes["new"] += 1
        print(outcomes)


if __name__ == "__main__":
    unittest.main()
