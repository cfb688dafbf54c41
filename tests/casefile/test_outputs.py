import os
import signal
import stat
import subprocess
import time
import unittest

from support import BLOCK, DEADLINE, HEADER, CasefileTest, build, hardly_compressible, positions, posix_only

NOBODY = 65534


class ExistingOutput(CasefileTest):
    def setUp(self):
        super().setUp()
        self.pack(b"rows")
        self.write("in", HEADER + b"other rows")
        self.write("out", b"precious")

    def commands(self):
        return [("pack", "in", "out"), ("unpack", "file.case", "out"), ("recover", "file.case", "out")]

    def test_is_refused(self):
        for arguments in self.commands():
            result = self.run_casefile(*arguments, cwd=self.folder, expect=1)
            self.assert_says(result, "casefile: out: is there already (--force replaces it)")
            self.assertEqual(self.read("out"), b"precious")
            self.assertEqual(self.names(), ["file.case", "in", "out"])

    def test_is_replaced_when_forced(self):
        for arguments in self.commands():
            self.write("out", b"precious")
            self.run_casefile(*arguments, "--force", cwd=self.folder)
            self.assertNotEqual(self.read("out"), b"precious")
            self.assertEqual(self.names(), ["file.case", "in", "out"])

    def test_is_never_the_input_although_forced(self):
        os.link(self.path("in"), self.path("same"))
        dictionary = ("--dictionary", "in", "file.case")
        for command, *files in (("pack", "in", "in"), ("pack", "same", "in"), ("pack", *dictionary, "in"),
                                ("unpack", "file.case", "file.case"), ("recover", "file.case", "file.case")):
            before = self.read(files[-1])
            result = self.run_casefile(command, "--force", *files, cwd=self.folder, expect=2)
            self.assert_says(result, f"casefile: {files[-1]}: is the input, which is never changed")
            self.assertEqual(self.read(files[-1]), before)
            self.assertEqual(self.names(), ["file.case", "in", "out", "same"])

    @posix_only
    def test_is_never_the_input_although_it_is_standard_output(self):
        before = self.read("file.case")
        os.link(self.path("file.case"), self.path("same"))
        for arguments in (("cat", "file.case"), ("cat", "same"), ("unpack", "file.case", "-")):
            with open(self.path("file.case"), "ab") as output:
                result = self.run_casefile(*arguments, cwd=self.folder, stdout=output, expect=2)
            self.assert_says(result, "casefile: standard output: is the input, which is never changed")
            self.assertEqual(self.read("file.case"), before)

    def test_is_untouched_when_the_work_fails_although_forced(self):
        damaged = bytearray(self.read("file.case"))
        damaged[len(HEADER) + 26] ^= 1
        self.write("file.case", damaged)
        self.write("in", os.urandom(BLOCK + 10))
        self.run_casefile("pack", "--force", "--row0", "5", "in", "out", cwd=self.folder, expect=1)
        self.run_casefile("unpack", "--force", "file.case", "out", cwd=self.folder, expect=1)
        self.assertEqual(self.read("out"), b"precious")
        self.assertEqual(self.names(), ["file.case", "in", "out"])

    def test_folder_is_never_replaced(self):
        (self.folder / "sub").mkdir()
        for force in [(), ("--force",)]:
            result = self.run_casefile("pack", *force, "in", "sub", cwd=self.folder, expect=1)
            self.assert_says(result, "casefile: sub: ")
        self.assertTrue((self.folder / "sub").is_dir())

    @posix_only
    def test_access_rights_stay_when_it_is_replaced(self):
        os.chmod(self.path("out"), 0o640)
        self.run_casefile("pack", "--force", self.path("in"), self.path("out"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("out")).st_mode), 0o640)

    @posix_only
    def test_link_is_followed_when_forced(self):
        os.symlink("out", self.path("link"))
        self.run_casefile("unpack", "--force", self.path("file.case"), self.path("link"))
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertEqual(self.read("out"), HEADER + b"rows")

    @posix_only
    def test_link_that_leads_to_no_file_yet_makes_one(self):
        (self.folder / "sub").mkdir()
        os.symlink("second", self.path("first"))
        os.symlink("sub/target", self.path("second"))
        for force in [(), ("--force",)]:
            self.run_casefile("unpack", *force, "file.case", "first", cwd=self.folder)
            self.assertEqual(self.read("sub/target"), HEADER + b"rows")
            self.assertTrue(os.path.islink(self.path("first")) and os.path.islink(self.path("second")))
            os.unlink(self.path("sub/target"))
        self.assertEqual(os.listdir(self.path("sub")), [])

    @posix_only
    @unittest.skipUnless(hasattr(os, "geteuid") and os.geteuid() == 0, "needs a second user")
    def test_link_that_another_user_planted_is_not_followed(self):
        for target, force in [("new", ()), ("out", ("--force",))]:
            os.symlink(target, self.path("link"))
            os.lchown(self.path("link"), NOBODY, NOBODY)
            for command, source in [("pack", "in"), ("unpack", "file.case"), ("recover", "file.case")]:
                result = self.run_casefile(command, *force, source, "link", cwd=self.folder, expect=1)
                self.assert_says(result, f"casefile: link: leads elsewhere by a link of another user ({NOBODY}), which is "
                                         "not followed")
            self.assertEqual(self.read("out"), b"precious")
            self.assertEqual(self.names(), ["file.case", "in", "link", "out"])
            os.unlink(self.path("link"))

    @posix_only
    @unittest.skipUnless(hasattr(os, "geteuid") and os.geteuid() == 0, "needs a second user")
    def test_link_of_its_folders_owner_is_followed(self):
        os.symlink("new", self.path("link"))
        os.lchown(self.path("link"), NOBODY, NOBODY)
        os.chown(self.folder, NOBODY, NOBODY)
        self.run_casefile("unpack", "file.case", "link", cwd=self.folder)
        self.assertEqual(self.read("new"), HEADER + b"rows")

    @posix_only
    def test_link_is_refused_as_its_file_is(self):
        os.symlink("out", self.path("link"))
        result = self.run_casefile("pack", "in", "link", cwd=self.folder, expect=1)
        self.assert_says(result, "casefile: link: is there already (--force replaces it)")
        os.symlink("circle", self.path("circle"))
        result = self.run_casefile("pack", "in", "circle", cwd=self.folder, expect=1)
        self.assert_says(result, "casefile: circle: ")
        self.assertEqual(self.names(), ["circle", "file.case", "in", "link", "out"])

    @posix_only
    def test_device_is_written_to_and_stays_one(self):
        self.run_casefile("unpack", self.path("file.case"), "/dev/null")
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))
        result = self.run_casefile("pack", "--force", self.path("in"), "/dev/null", expect=1)
        self.assert_says(result, "no regular file")
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))


@posix_only
class LongNames(CasefileTest):
    """A name that the file system takes is taken, though the working file's would be too long."""

    @posix_only
    def test_that_no_file_can_have_are_refused_before_the_work(self):
        self.write("in", HEADER + b"rows")
        for name in ["n" * 256, "\u00e4" * 128]:
            result = self.run_casefile("pack", "in", name, cwd=self.folder, expect=1)
            self.assert_says(result, "cannot be made: File name too long")  # not: cannot be given its name
        self.assertEqual(self.names(), ["in"])

    def test_of_every_length(self):
        self.write("in", HEADER + b"rows")
        for name in ["n" * 230, "n" * 244, "n" * 245, "n" * 247, "n" + "\u00e4" * 122, "\u6f22" * 82]:
            self.run_casefile("pack", "in", name, cwd=self.folder)
            self.run_casefile("pack", "--force", "in", name, cwd=self.folder)
            self.assertEqual(sorted(self.names()), sorted(["in", name]))
            self.assertEqual(self.unpacked(name), HEADER + b"rows")
            (self.folder / name).unlink()

    def test_too_long(self):
        result = self.run_casefile("pack", self.write("in", HEADER), self.path("n" * 300), expect=1)
        self.assert_says(result, "File name too long")
        self.assertEqual(self.names(), ["in"])


def without_rights_over_all_files():
    """Lets even the superuser's program obey access rights."""
    import ctypes
    drop_from_bounding_set, dac_override, dac_read_search, fowner = 24, 1, 2, 3
    if os.geteuid() == 0:
        for capability in [dac_override, dac_read_search, fowner]:
            if ctypes.CDLL(None).prctl(drop_from_bounding_set, capability, 0, 0, 0) != 0:
                raise OSError("the superuser's rights cannot be dropped")


@posix_only
class ReadOnly(CasefileTest):
    def setUp(self):
        super().setUp()
        (self.folder / "sub").mkdir()
        self.before = self.pack(b"rows", "sub/file.case")
        self.write("in", HEADER)
        self.addCleanup(os.chmod, self.path("sub"), 0o755)

    def run_restricted(self, *arguments):
        result = self.run_casefile(*arguments, cwd=self.folder, preexec_fn=without_rights_over_all_files, expect=1)
        self.assert_says(result, "Permission denied")
        self.assert_message_form(result, next(name for name in reversed(arguments) if name.startswith("sub/")))
        self.assertEqual(os.listdir(self.path("sub")), ["file.case"])
        self.assertEqual(self.read("sub/file.case"), self.before)

    def test_folder(self):
        os.chmod(self.path("sub"), 0o555)
        self.run_restricted("pack", "in", "sub/out")
        self.run_restricted("unpack", "sub/file.case", "sub/out")
        self.run_restricted("recover", "sub/file.case", "sub/out")
        self.run_restricted("append", "sub/file.case", "in")
        self.run_casefile("verify", self.path("sub/file.case"), preexec_fn=without_rights_over_all_files)

    def test_file(self):
        os.chmod(self.path("sub/file.case"), 0o444)
        self.run_restricted("append", "sub/file.case", "in")

    def test_unreadable_file(self):
        os.chmod(self.path("sub/file.case"), 0)
        self.run_casefile("verify", self.path("sub/file.case"), preexec_fn=without_rights_over_all_files, expect=2)

    def test_folder_that_may_not_be_searched(self):
        os.chmod(self.path("sub"), 0o600)
        result = self.run_casefile("verify", self.path("sub/file.case"), preexec_fn=without_rights_over_all_files,
                                   expect=2)
        self.assert_says(result, f"casefile: {self.path('sub/file.case')}: cannot be opened: Permission denied")
        os.chmod(self.path("sub"), 0o755)

    def test_unreadable_journal_is_named(self):
        self.write("sub/file.case.journal", b"of somebody else")
        os.chmod(self.path("sub/file.case.journal"), 0)
        result = self.run_casefile("verify", self.path("sub/file.case"), preexec_fn=without_rights_over_all_files,
                                   expect=2)
        self.assert_says(result, self.path("sub/file.case.journal"), "Permission denied")

    def test_name_that_is_too_long(self):
        result = self.run_casefile("verify", self.path("n" * 300), expect=2)
        self.assert_says(result, "cannot be opened: File name too long")


@posix_only
class FullDisk(CasefileTest):
    LIMIT = 1000000

    def run_limited(self, *arguments):
        import resource
        result = self.run_casefile(*arguments, cwd=self.folder, expect=1, preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_FSIZE, (self.LIMIT, self.LIMIT)))
        self.assert_says(result, "casefile: out: cannot be written: File too large")
        self.assertNotIn("out", self.names())
        self.assertEqual([name for name in self.names() if name.endswith(".tmp")], [])

    def test_pack_in_both_modes(self):
        self.write("in", HEADER + hardly_compressible(3 * BLOCK))
        for threads in "0128":
            self.run_limited("pack", "--threads", threads, "in", "out")

    def test_pack_of_a_large_dictionary_part(self):
        self.write("in", positions(3 * BLOCK))
        self.run_limited("pack", "--row0", 2 * BLOCK, "in", "out")

    def test_pack_at_every_few_bytes(self):
        """Wherever the disk is full: an error, and nothing is left."""
        self.write("in", HEADER + hardly_compressible(BLOCK + 1000))
        whole = self.pack(hardly_compressible(BLOCK + 1000), "whole")
        for limit in [1, 10, len(HEADER) + 23, len(HEADER) + 24, 100000, len(whole) - 73, len(whole) - 72,
                      len(whole) - 25, len(whole) - 1]:
            self.LIMIT = limit
            for threads in "0128":
                self.run_limited("pack", "--threads", threads, "in", "out")

    def test_unpack_and_recover(self):
        self.pack(hardly_compressible(BLOCK))
        self.run_limited("unpack", "file.case", "out")
        self.run_limited("recover", "file.case", "out")

    def test_standard_output(self):
        self.pack(positions(BLOCK))
        for arguments in [("unpack", self.path("file.case"), "-"), ("cat", "--from", "0", self.path("file.case")),
                          ("info", self.path("file.case")), ("verify", self.path("file.case")), ("--help",)]:
            with open("/dev/full", "wb") as full:
                result = self.run_casefile(*arguments, stdout=full, expect=1)
            self.assert_says(result, "casefile: standard output: cannot be written")


@posix_only
class ClosedStandardStream(CasefileTest):
    """No file that the program opens takes its place."""

    def test_of_input_gives_nothing(self):
        self.pack(b"rows")
        old = self.read("file.case")
        self.write("other", HEADER)
        for command in [("append", "file.case"), ("pack", "-", "out"), ("pack", "--dictionary", "-", "other", "out")]:
            result = self.run_casefile(*command, cwd=self.folder, preexec_fn=lambda: os.close(0), expect=2)
            self.assert_says(result, "casefile: standard input: cannot be read: Bad file descriptor")
        self.assertEqual(self.read("file.case"), old)
        self.assertEqual(self.names(), ["file.case", "other"])

    def test_of_output_is_said(self):
        self.pack(b"rows")
        for command in [("cat",), ("info",), ("verify",)]:
            result = self.run_casefile(*command, "file.case", cwd=self.folder, preexec_fn=lambda: os.close(1), expect=1)
            self.assert_says(result, "casefile: standard output: cannot be written: Bad file descriptor")

    def test_of_messages_spoils_no_output(self):
        rows = HEADER + positions(3 * BLOCK)
        process = self.start_casefile("pack", "--progress", "-", self.path("out"), stdin=subprocess.PIPE,
                                      preexec_fn=lambda: os.close(2))
        for piece in [rows[:BLOCK], rows[BLOCK:]]:
            process.stdin.write(piece)
            process.stdin.flush()
            time.sleep(0.6)  # progress is drawn of what takes longer than half a second
        process.stdin.close()
        self.assertEqual(process.wait(DEADLINE), 0)
        self.assertEqual(self.unpacked("out"), rows)


@posix_only
class Interrupt(CasefileTest):
    def interrupt_pack(self, number, *more):
        process = self.start_casefile("pack", *more, "-", self.path("out"), stdin=subprocess.PIPE)
        process.stdin.write(HEADER + positions(BLOCK + 300000))
        process.stdin.flush()
        end = time.monotonic() + DEADLINE
        while not any(name.endswith(".tmp") for name in self.names()):
            self.assertLess(time.monotonic(), end)
            time.sleep(0.002)
        process.send_signal(number)
        self.assertEqual(process.wait(DEADLINE), -number)
        process.stdin.close()

    def test_leaves_no_half_file(self):
        for number in [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]:
            for threads in "0128":
                self.interrupt_pack(number, "--threads", threads)
                self.assertEqual(self.names(), [])

    def test_leaves_the_old_file_untouched(self):
        self.write("out", b"precious")
        self.interrupt_pack(signal.SIGINT, "--force")
        self.assertEqual(self.names(), ["out"])
        self.assertEqual(self.read("out"), b"precious")

    def test_of_a_writer_that_waits_for_its_reader(self):
        """Whichever thread it is."""
        self.pack(positions(6 * BLOCK))
        for threads, read in [(1, 10), (2, 10), (2, BLOCK), (2, 2 * BLOCK), (2, 3 * BLOCK), (8, 10), (8, 2 * BLOCK)]:
            process = self.start_casefile("unpack", "-j", str(threads), self.path("file.case"), "-",
                                          stdout=subprocess.PIPE)
            process.stdout.read(read)
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(DEADLINE), -signal.SIGINT)
            process.stdout.close()

    def test_of_a_wait_for_the_other_end_of_a_pipe(self):
        self.pack(b"rows")
        old = self.read("file.case")
        os.mkfifo(self.path("pipe"))
        for command in [("pack", "pipe", "out"), ("append", "file.case", "pipe"), ("unpack", "file.case", "pipe")]:
            process = self.start_casefile(*command, cwd=self.folder)
            time.sleep(0.2)  # it waits by then, or gives up in front of it
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(DEADLINE), -signal.SIGINT, command)
        self.assertEqual(self.read("file.case"), old)
        self.assertEqual(self.names(), ["file.case", "pipe"])

    def test_reader_that_goes_ends_the_program_quietly(self):
        self.pack(positions(BLOCK))
        process = self.start_casefile("cat", "--from", "0", self.path("file.case"), stdout=subprocess.PIPE,
                                      stderr=subprocess.PIPE)
        process.stdout.read(10)
        process.stdout.close()
        self.assertEqual(process.wait(DEADLINE), -signal.SIGPIPE)
        self.assertEqual(process.stderr.read(), b"")
        process.stderr.close()

    def test_reader_that_has_gone_before_the_answer_ends_every_command_quietly(self):
        self.write("file.case", build([b"%d," % i for i in range(5000)]))
        self.write("sound", build([b"rows"]))
        for arguments in [("verify", "sound"), ("info", "sound"), ("info", "--blocks", "file.case"),
                          ("info", "--json", "--blocks", "file.case"), ("cat", "--from", "0", "sound"), ("--help",)]:
            reader, writer = os.pipe()
            os.close(reader)
            result = self.run_casefile(*arguments, cwd=self.folder, stdout=writer, expect=-signal.SIGPIPE)
            os.close(writer)
            self.assertEqual(result.stderr, b"", arguments)
