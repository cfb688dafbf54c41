import bz2
import errno
import gzip
import lzma
import os
import select
import struct
import subprocess
import time

from support import BLOCK, DEADLINE, HEADER, CasefileTest, positions, posix_only, text_rows

COMMANDS = ["pack", "append", "unpack", "cat", "info", "verify", "recover"]


class Help(CasefileTest):
    def test_lists_every_command(self):
        text = self.run_casefile("--help").stdout.decode()
        for command in COMMANDS:
            self.assertIn("  " + command, text)

    def test_of_each_command_has_an_example(self):
        for command in COMMANDS:
            text = self.run_casefile(command, "--help").stdout.decode()
            self.assertIn("Example:", text)
            self.assertIn(f"casefile {command} ", text)

    def test_is_a_command_too(self):
        self.assertEqual(self.run_casefile("help").stdout, self.run_casefile("--help").stdout)
        for command in [*COMMANDS, "help"]:
            self.assertEqual(self.run_casefile("help", command).stdout, self.run_casefile(command, "--help").stdout)

    def test_version(self):
        for option in ["-V", "--version"]:
            self.assertRegex(self.run_casefile(option).stdout.decode(), r"^casefile \d+\.\d+\.\d+\s*$")


class Habits(CasefileTest):
    """What users of other programs of this kind try first."""

    def setUp(self):
        super().setUp()
        self.data = self.write("in", HEADER + positions(100000))
        self.run_casefile("pack", self.data, self.path("file.case"))

    def test_o_names_the_output(self):
        for command, file in [("pack", "in"), ("unpack", "file.case"), ("recover", "file.case")]:
            for arguments in [("-o", "out", file), (file, "-o", "out"), (file, "--output=out")]:
                self.run_casefile(command, *arguments, "-f", cwd=self.folder)
            self.run_casefile(command, file, "other", "-f", cwd=self.folder)
            self.assertEqual(self.read("out"), self.read("other"))

    def test_unpack_without_output_drops_the_suffix(self):
        (self.folder / "sub").mkdir()
        os.rename(self.path("file.case"), self.path("sub/rows.csv.case"))
        self.run_casefile("unpack", "sub/rows.csv.case", cwd=self.folder)
        self.assertEqual(self.read("sub/rows.csv"), self.read("in"))
        result = self.run_casefile("unpack", "sub/rows.csv.case", cwd=self.folder, expect=1)
        self.assert_says(result, "casefile: sub/rows.csv: is there already (--force replaces it)")
        self.run_casefile("unpack", "-f", "sub/rows.csv.case", cwd=self.folder)

    def test_unpack_without_output_of_another_name_says_what_to_give(self):
        for name in ["rows", "rows.CASE.gz", "case", ".case", "sub/.case", "rows.case/x"]:
            result = self.run_casefile("unpack", name, cwd=self.folder, expect=2)
            self.assert_says(result, f"casefile: {name} does not end in .case: say which OUTPUT to make\n")

    def test_cat_alone_writes_all_case_data(self):
        data = self.read("in")
        for options, expected in [([], data[len(HEADER):]), (["--dictionary"], data),
                                  (["--bytes", "7"], data[len(HEADER):len(HEADER) + 7]),
                                  (["--dictionary", "--bytes", "20"], data[:20])]:
            self.assertEqual(self.run_casefile("cat", *options, self.path("file.case")).stdout, expected)

    def test_f_replaces(self):
        self.run_casefile("pack", self.data, self.path("file.case"), expect=1)
        self.run_casefile("pack", "-f", self.data, self.path("file.case"))

    def test_numbers_of_threads_have_three_names(self):
        for name in ["-j", "--threads", "--jobs"]:
            for count in ["0", "1", "2", "1024"]:
                self.run_casefile("pack", "-f", name, count, self.data, self.path("out"))
                self.assertEqual(self.read("out"), self.read("file.case"))
                self.assertEqual(self.unpacked("out", name, count), self.read("in"))
                self.run_casefile("cat", name, count, self.path("out"))
            self.run_casefile("verify", name, "2", self.path("out"))

    def test_quiet_says_only_what_is_wrong(self):
        for arguments in [("verify", "file.case"), ("recover", "file.case", "out"), ("pack", "in", "packed")]:
            result = self.run_casefile(*arguments, "-q", cwd=self.folder)
            self.assertEqual((result.stdout, result.stderr), (b"", b""), arguments)
        result = self.run_casefile("verify", "-q", "missing", cwd=self.folder, expect=2)
        self.assert_says(result, "casefile: missing: cannot be opened")

    def test_verbose_says_what_was_found(self):
        found = f"casefile: file.case: row-0 position {len(HEADER)}"
        for arguments in [("verify", "file.case"), ("info", "file.case"), ("unpack", "file.case", "out"),
                          ("cat", "--from", "0", "file.case"), ("append", "file.case"),
                          ("recover", "file.case", "again")]:
            result = self.run_casefile(*arguments, "-v", cwd=self.folder)
            self.assert_says(result, found)
            self.assert_message_form(result, "file.case")
        result = self.run_casefile("pack", "-v", "in", "packed", cwd=self.folder)
        self.assert_says(result, f"casefile: packed: row-0 position {len(HEADER)}, from 100000 bytes of case data")


class WrongUsage(CasefileTest):
    def check(self, *arguments):
        result = self.run_casefile(*arguments, expect=2)
        self.assertRegex(result.stderr.decode().replace("\r", ""), r"^casefile: .+\nTry 'casefile.* --help'\.\n$")
        self.assertEqual(result.stdout, b"")
        self.assertEqual(self.names(), [])
        return result

    def test_no_command_prints_the_commands(self):
        result = self.run_casefile(expect=2)
        self.assertEqual(result.stdout, b"")
        for command in COMMANDS:
            self.assertIn("  " + command, result.stderr.decode())

    def test_unknown_command_is_named(self):
        for arguments in [["frobnicate"], ["frobnicate", "a", "b"], ["help", "frobnicate"]]:
            self.assert_says(self.check(*arguments), "casefile: unknown command: frobnicate\n")

    def test_unknown_option_of_each_command_is_named(self):
        for command in COMMANDS:
            for operands in [[], ["a"], ["a", "b"]]:
                self.assert_says(self.check(command, "--frobnicate", *operands),
                                 "casefile: unknown option: --frobnicate\n")
        self.assert_says(self.check("--frobnicate"), "casefile: unknown option: --frobnicate\n")
        self.assert_says(self.check("pack", "-z", "a", self.path("b")), "casefile: unknown option: -z\n")

    def test_missing_operands_of_each_command(self):
        for command in COMMANDS:
            self.check(command)
        for command in ["pack", "unpack", "recover"]:
            self.check(command, "a")
        self.check("cat", "--from", "3")

    def test_too_many_operands(self):
        self.check("cat", "a", "b")

    def test_numbers_that_are_none(self):
        for number in ["-1", "x", "1.5", "0x10", "99999999999999999999", ""]:
            self.check("cat", "--from", number, "a")
            self.check("pack", "--row0", number, "a", self.path("b"))
        self.check("verify", "-j", "0", "a")
        self.check("pack", "--threads", "1025", "a", self.path("b"))

    def test_leading_zeros_change_no_number(self):
        data = HEADER + positions(100)
        self.run_casefile("pack", "--row0", "010", self.write("in", data), self.path("file.case"))
        self.assertEqual(self.info("file.case", "--row0", "0010")["row0"], 10)
        result = self.run_casefile("cat", "--from", "010", "--bytes", "010", self.path("file.case"))
        self.assertEqual(result.stdout, data[10:20])
        self.run_casefile("verify", "-j", "08", self.path("file.case"))

    def test_options_that_exclude_each_other(self):
        self.check("pack", "--row0", "1", "--header-lines", "1", "a", self.path("b"))
        self.check("pack", "--dictionary", "d", "--header-lines", "1", "a", self.path("b"))
        self.check("cat", "--from", "1", "--dictionary", "a")
        self.check("info", "--progress", "--no-progress", "a")
        self.check("info", "--progress", "--quiet", "a")
        self.check("info", "-v", "-q", "a")
        self.check("pack", "-o", self.path("b"), "a", self.path("c"))

    def test_dictionary_that_is_no_file_of_its_own(self):
        self.check("pack", "--dictionary", "", "a", self.path("b"))
        self.check("pack", "--dictionary", "-", "-", self.path("b"))

    def test_standard_output_where_it_makes_no_sense(self):
        self.check("pack", "a", "-")
        self.check("recover", "a", "-")
        self.check("pack", "a", "-o", "-")


class Progress(CasefileTest):
    def test_is_silent_without_a_terminal(self):
        result = self.run_casefile("pack", self.write("in", HEADER), self.path("out"))
        self.assertEqual((result.stdout, result.stderr), (b"", b""))

    def test_is_shown_when_asked_for(self):
        result = self.run_casefile("pack", "--progress", self.write("in", HEADER * 1000), self.path("out"))
        self.assertRegex(result.stderr.decode(), r"100 %, 14\.0 kB of 14\.0 kB, [\d.]+ MB/s")
        result = self.run_casefile("verify", "--no-progress", self.path("out"))
        self.assertEqual(result.stderr, b"")


    def test_ends_at_a_hundred_percent(self):
        self.write("in", HEADER + positions(5 * BLOCK))
        for arguments in [("pack", "in", "file.case"), ("pack", "--dictionary", "in", "in", "other"),
                          ("append", "file.case", "in"), ("unpack", "file.case", "plain"), ("cat", "file.case"),
                          ("cat", "--from", "5", "--bytes", "5000000", "file.case"), ("verify", "file.case"),
                          ("recover", "file.case", "rescued"), ("recover", "--partial", "file.case", "part")]:
            result = self.run_casefile(*arguments, "--progress", cwd=self.folder)
            last = result.stderr.decode().split("\r")[-1]
            self.assertRegex(last, r"100 %, ([\d.]+ .?B) of \1, [\d.]+ MB/s\n", arguments)

    @posix_only
    def test_fits_the_terminal_whose_width_changes(self):
        import pty
        ours, terminal = pty.openpty()
        self.addCleanup(os.close, ours)
        set_width(terminal, 30)
        process = self.start_casefile("pack", "-", self.path("out"), stdin=subprocess.PIPE, stderr=terminal)
        process.stdin.write(HEADER)
        self.feed_until_shown(process, ours)
        shown = os.read(ours, 4096)
        set_width(terminal, 14)
        process.stdin.close()
        self.assertEqual(process.wait(DEADLINE), 0)
        os.close(terminal)
        shown += read_to_the_end(ours)
        lines = shown.decode().replace("\x1b[K", "").strip().split("\r")
        self.assertRegex(lines[0], r"^[\d.]+ [kM]B, [\d.]+ MB/s$")
        self.assertRegex(lines[-1], r"^[\d.]+ [kM]B$")
        self.assertTrue(all(len(line) < 30 for line in lines), lines)

    def feed_until_shown(self, process, terminal):
        end = time.monotonic() + DEADLINE
        while not select.select([terminal], [], [], 0.05)[0]:
            self.assertLess(time.monotonic(), end, "nothing is shown")
            process.stdin.write(text_rows(300000))
            process.stdin.flush()


def read_to_the_end(terminal):
    """What a pseudoterminal still holds, whose other end is closed; it may hand it out in several pieces."""
    pieces = []
    try:
        while piece := os.read(terminal, 4096):
            pieces.append(piece)
    except OSError as error:  # how Linux says that the other end is closed
        if error.errno != errno.EIO:
            raise
    return b"".join(pieces)


def set_width(terminal, columns):
    import fcntl
    import termios
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))


class UnreadableInput(CasefileTest):
    def test_missing_file(self):
        for arguments in [("pack", "missing", "out"), ("unpack", "missing", "out"), ("append", "missing"),
                          ("cat", "--from", "0", "missing"), ("info", "missing"), ("verify", "missing"),
                          ("recover", "missing", "out")]:
            result = self.run_casefile(*arguments, cwd=self.folder, expect=2)
            self.assert_says(result, "casefile: missing: cannot be opened: ")
            self.assertEqual(self.names(), [])

    def test_file_of_another_kind(self):
        for name, data in [("empty", b""), ("short", b"abc"), ("text", b"just text\n" * 1000), ("zeros", bytes(100000)),
                           ("counting", bytes(range(256)) * 100)]:
            self.write(name, data)
            for arguments in [("unpack", name, "out"), ("append", name), ("cat", "--from", "0", name), ("info", name),
                              ("verify", name), ("recover", name, "out")]:
                with self.subTest(arguments=arguments):
                    result = self.run_casefile(*arguments, cwd=self.folder, expect=2)
                    self.assert_says(result, f"casefile: {name}: ")
            self.assertNotIn("out", self.names())
            self.assertEqual(self.read(name), data)

    FOREIGN = {
        "a gzip file": gzip.compress(b"rows"), "an xz file": lzma.compress(b"rows"), "a bzip2 file": bz2.compress(b"rows"),
        "a zstd file": bytes.fromhex("28b52ffd2004210000") + b"rows" + bytes(4),
        "a zip file": b"PK\x03\x04" + bytes(200),
    }

    def test_file_of_another_program_is_called_by_its_form(self):
        empty = {"a bzip2 file": bz2.compress(b""), "a zip file": b"PK\x05\x06" + bytes(18)}
        for form, data in [*self.FOREIGN.items(), *empty.items()]:
            self.write("in", data)
            for arguments in [("unpack", "in", "out"), ("append", "in"), ("cat", "in"), ("info", "in"),
                              ("verify", "in"), ("recover", "in", "out")]:
                with self.subTest(form=form, arguments=arguments):
                    result = self.run_casefile(*arguments, cwd=self.folder, expect=2)
                    self.assert_says(result, f"casefile: in: is {form}, no compressed data file")
                    self.assertEqual(self.names(), ["in"])

    def test_packing_a_file_of_another_program_warns(self):
        for form, data in self.FOREIGN.items():
            result = self.run_casefile("pack", "--row0", "1", "-f", self.write("in", data), self.path("out"))
            self.assert_says(result, f"casefile: {self.path('in')}: is {form}, which is compressed already")
            self.assertEqual(self.unpacked("out"), data)
            result = self.run_casefile("pack", "--row0", "1", "-f", "-q", self.path("in"), self.path("out"))
            self.assertEqual(result.stderr, b"")
        result = self.run_casefile("pack", "-f", "--row0", "1", "-", self.path("out"), input=self.FOREIGN["an xz file"])
        self.assert_says(result, "casefile: standard input: is an xz file")

    def test_what_only_begins_like_another_form_is_not_called_so(self):
        for data in [b"", b"\x1f\x8b", b"BZh9 is how it begins", b"PK\x03", b"\xfd7zXZ", b"BZh9"]:
            result = self.run_casefile("cat", self.write("in", data), expect=2)
            self.assert_says(result, "is no compressed data file")

    def test_dictionary_part_of_another_form_is_the_data_files_own(self):
        dictionary = gzip.compress(b"dictionary")  # which holds the time
        self.pack(b"rows", header=dictionary)
        self.assertEqual(self.unpacked(), dictionary + b"rows")

    def test_folder(self):
        (self.folder / "sub").mkdir()
        for arguments in [("verify", "sub"), ("unpack", "sub", "out"), ("pack", "sub", "out")]:
            result = self.run_casefile(*arguments, cwd=self.folder, expect=2)
            self.assert_says(result, "casefile: sub: ")
        self.assertEqual(self.names(), ["sub"])

    @posix_only
    def test_folder_is_called_one(self):
        (self.folder / "sub").mkdir()
        for command in ["info", "verify"]:
            self.assert_says(self.run_casefile(command, self.path("sub"), expect=2), "Is a directory")

    @posix_only
    def test_pipe_that_has_a_name_is_refused_and_not_waited_for(self):
        os.mkfifo(self.path("pipe"))
        for arguments in [("unpack", "pipe", "out"), ("append", "pipe"), ("cat", "--from", "0", "pipe"),
                          ("info", "pipe"), ("verify", "pipe"), ("recover", "pipe", "out")]:
            result = self.run_casefile(*arguments, cwd=self.folder, expect=2)
            self.assert_says(result, "casefile: pipe: is no regular file")
        self.assertEqual(self.names(), ["pipe"])

    def test_no_heading_at_the_row0_that_was_told(self):
        self.pack(b"rows")
        result = self.run_casefile("verify", "--row0", "5", self.path("file.case"), expect=2)
        self.assert_says(result, "no heading at row-0 position 5")
        self.run_casefile("verify", "--row0", 2**63 - 1, self.path("file.case"), expect=2)
        self.run_casefile("verify", "--row0", len(HEADER), self.path("file.case"))
