import functools
import random
import unittest
import zlib

from support import BLOCK, HEADER, P, CasefileTest, Form, build, text_rows


@functools.lru_cache(maxsize=None)
def overrunning(length, over):
    """`length` bytes whose zlib stream has `over` bytes more than a block: noise and, at its end, a run of one letter
    that makes up for every byte too many."""
    noise = random.Random(11).randbytes(length)
    run = 0
    for _ in range(60):
        plain = noise[:length - run] + b"r" * run
        size = len(zlib.compress(plain, 1))
        if size == BLOCK + over:
            return plain
        run = max(run + size - BLOCK - over, 0)
    raise AssertionError("no such block found")


class BlockCutInsideItsCheckValue(CasefileTest):
    """Its compressed form has up to four bytes more than a block, and was cut at a block's size: all data are there."""

    def file_of(self, over, length=BLOCK):
        self.plain = overrunning(length, over)
        return self.write("cut.case", build([self.plain], cut_at=BLOCK))

    def test_is_read_and_sound(self):
        for over in (1, 4):
            for length in (BLOCK, BLOCK - 1000):
                with self.subTest(over=over, length=length):
                    file = self.file_of(over, length)
                    self.run_casefile("verify", file)
                    self.assertEqual(self.unpacked("cut.case"), HEADER + self.plain)

    def test_in_the_middle_is_read_and_sound(self):
        plain = overrunning(BLOCK, 2)
        rest = text_rows(5000)
        file = self.write("cut.case", build([plain, rest], cut_at=BLOCK))
        self.run_casefile("verify", file)
        self.assertEqual(self.unpacked("cut.case"), HEADER + plain + rest)

    def test_is_recovered_without_heading_and_table(self):
        for over in (1, 4):
            with self.subTest(over=over):
                whole = self.read(self.file_of(over))
                table = Form(whole).table
                self.write("damaged", whole[:P] + bytes(24) + whole[P + 24:table])
                self.run_casefile("recover", self.path("damaged"), self.path("rescued"), "--force")
                self.assertEqual(self.unpacked("rescued"), HEADER + self.plain)

    def test_in_the_middle_is_recovered_with_what_follows(self):
        plain = overrunning(BLOCK, 2)
        rest = text_rows(5000)
        whole = build([plain, rest], cut_at=BLOCK)
        self.write("damaged", whole[:P] + bytes(24) + whole[P + 24:Form(whole).table])
        self.run_casefile("recover", self.path("damaged"), self.path("rescued"), "--force")
        self.assertEqual(self.unpacked("rescued"), HEADER + plain + rest)

    def test_is_appended_to(self):
        file = self.file_of(3)
        self.run_casefile("append", file, input=b"more")
        self.run_casefile("verify", file)
        self.assertEqual(self.unpacked("cut.case"), HEADER + self.plain + b"more")


class BlockCutBeforeItsCheckValue(CasefileTest):
    """Cut further in front: data are lost."""

    def test_is_refused(self):
        plain = overrunning(BLOCK, 9)
        file = self.write("cut.case", build([plain], cut_at=BLOCK))
        self.run_casefile("verify", file, expect=1)
        self.run_casefile("unpack", file, self.path("out"), expect=1)
        self.assertNotIn("out", self.names())


if __name__ == "__main__":
    unittest.main()
