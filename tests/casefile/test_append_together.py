import os
import unittest

from appends import IN_THE_MIDDLE, AppendTest
from support import EMULATED, HEADER, positions, posix_only


class AppendsTogether(AppendTest):
    """Only one append works on a file at a time, whatever names the file has."""

    def setUp(self):
        super().setUp()
        self.pack(positions(5000))

    def check_refused(self, name, text=b"second"):
        result = self.run_casefile("append", self.path(name), input=text, expect=1)
        self.assert_says(result, f"{name}: another append is at work")

    def test_second_is_refused_while_one_is_at_work(self):
        process, _ = self.hold_in_the_middle()
        self.check_refused("file.case")
        self.check_refused("file.case", b"")
        self.finish(process)
        self.run_casefile("append", self.path("file.case"), input=b"second")
        self.assertEqual(self.unpacked(), HEADER + positions(5000) + positions(IN_THE_MIDDLE) + b"second")
        self.assert_only("file.case")

    @posix_only
    def test_second_is_refused_by_way_of_another_name(self):
        os.link(self.path("file.case"), self.path("hard"))
        os.symlink("file.case", self.path("soft"))
        process, _ = self.hold_in_the_middle()
        for name in ["hard", "soft"]:
            self.check_refused(name)
        self.assert_only("file.case", "file.case.journal", "hard", "soft")
        self.finish(process)
        for name in ["hard", "soft"]:
            self.run_casefile("append", self.path(name), input=b"second")
        self.assertEqual(self.unpacked(), HEADER + positions(5000) + positions(IN_THE_MIDDLE) + 2 * b"second")
        self.assert_only("file.case", "hard", "soft")

    @posix_only
    def test_second_may_work_when_one_was_killed(self):
        self.kill_in_the_middle()
        result = self.run_casefile("append", self.path("file.case"), input=b"second")
        self.assert_says(result, "taken back")
        self.assertEqual(self.unpacked(), HEADER + positions(5000) + b"second")

    @posix_only
    def test_file_that_another_program_writes_is_refused(self):
        import fcntl
        before = self.read("file.case")
        with open(self.path("file.case"), "r+b") as other:
            fcntl.flock(other, fcntl.LOCK_EX)
            result = self.run_casefile("append", self.path("file.case"), input=b"more", expect=1)
            self.assert_says(result, "another program writes to it")
            self.assertEqual(self.read("file.case"), before)
            self.assert_only("file.case")
        self.run_casefile("append", self.path("file.case"), input=b"more")

    @posix_only
    def test_file_that_another_program_writes_is_not_taken_back(self):
        import fcntl
        before = self.kill_in_the_middle()
        torn = self.read("file.case")
        with open(self.path("file.case"), "r+b") as other:
            fcntl.flock(other, fcntl.LOCK_EX)
            self.run_casefile("append", self.path("file.case"), input=b"more", expect=1)
            self.assertEqual(self.read("file.case"), torn)
        self.run_casefile("append", self.path("file.case"), input=b"")
        self.assertEqual(self.read("file.case"), before)

    @posix_only
    def test_failure_before_the_first_overwrite_writes_nothing(self):
        import resource
        before = os.stat(self.path("file.case"))
        self.run_casefile("append", self.path("file.case"), expect=1, input=b"more",
                          preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (50, 50)))
        after = os.stat(self.path("file.case"))
        self.assertEqual((after.st_mtime_ns, after.st_ctime_ns), (before.st_mtime_ns, before.st_ctime_ns))
        self.assert_only("file.case")


class AppendToItself(AppendTest):
    def setUp(self):
        super().setUp()
        self.before = self.pack(positions(300000))

    def check_refused(self, *operands, **options):
        result = self.run_casefile("append", self.path("file.case"), *operands, expect=2, **options)
        self.assert_says(result, "file.case: is the input too")
        self.assertEqual(self.read("file.case"), self.before)

    def test_is_refused_by_name(self):
        self.check_refused(self.path("file.case"))

    @unittest.skipIf(EMULATED, "the emulator tells nothing of a file that it hands over as standard input")
    def test_is_refused_on_standard_input(self):
        with open(self.path("file.case"), "rb") as standard_input:
            self.check_refused(stdin=standard_input)

    @posix_only
    def test_is_refused_by_way_of_a_link(self):
        os.symlink("file.case", self.path("soft"))
        os.link(self.path("file.case"), self.path("hard"))
        for name in ["soft", "hard"]:
            self.check_refused(self.path(name))


if __name__ == "__main__":
    unittest.main()
