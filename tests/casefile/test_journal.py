import os
import unittest

from appends import IN_THE_MIDDLE, AppendTest
from support import DEADLINE, HEADER, positions, posix_only, text_rows
from test_outputs import without_rights_over_all_files


class WhatHasTheNameOfAJournal(AppendTest):
    """A file is no journal because it has the name of one."""

    # the last one has what a journal of a finished append once had at this place
    OTHERS = [b"my diary\n", b"0123456789abcdefmy diary\n", b"casefile journa"]

    def test_is_left_alone_by_an_append(self):
        before = self.pack(positions(1000))
        for other in self.OTHERS:
            self.write("file.case.journal", other)
            result = self.run_casefile("append", self.path("file.case"), input=b"more", expect=1)
            self.assert_says(result, "file.case.journal, where its journal would be kept, is there and no journal")
            self.assertEqual(self.read("file.case"), before)
            self.assertEqual(self.read("file.case.journal"), other)

    def test_does_not_hinder_reading(self):
        self.pack(positions(1000))
        for other in self.OTHERS:
            self.write("file.case.journal", other)
            self.assertEqual(self.unpacked(), HEADER + positions(1000))
            result = self.run_casefile("verify", self.path("file.case"))
            self.assertEqual(result.stderr, b"")
            self.run_casefile("recover", "--force", self.path("file.case"), self.path("out"))
            self.assertEqual(self.read("out"), self.read("file.case"))

    def test_is_left_alone_by_a_command_that_replaces_a_file(self):
        self.pack(positions(1000))
        for other in self.OTHERS:
            for arguments in [("pack", "file.case"), ("unpack", "file.case"), ("recover", "file.case")]:
                self.write("out", b"old")
                self.write("out.journal", other)
                self.run_casefile(*arguments, "--force", "out", cwd=self.folder)
                self.assertEqual(self.read("out.journal"), other)

    def test_may_be_the_input(self):
        self.write("plain.journal", HEADER + b"row\n")
        self.run_casefile("pack", "--force", self.path("plain.journal"), self.path("plain"))
        self.assertEqual(self.read("plain.journal"), HEADER + b"row\n")
        self.assertEqual(self.unpacked("plain"), HEADER + b"row\n")

    @posix_only
    def test_is_neither_waited_for_nor_followed(self):
        before = self.pack(positions(1000))
        self.write("victim", b"victim")
        journal = self.path("file.case.journal")
        for make in [lambda: os.mkfifo(journal), lambda: os.symlink("victim", journal),
                     lambda: os.symlink("nothing", journal)]:
            make()
            self.run_casefile("append", self.path("file.case"), input=b"more", expect=1)
            self.assertEqual(self.unpacked(), HEADER + positions(1000))
            self.assertEqual(self.read("file.case"), before)
            os.unlink(journal)
        self.assertEqual(self.read("victim"), b"victim")

    def test_working_file_of_another_is_left_alone(self):
        before = self.pack(positions(1000))
        self.write("file.case.journal.tmp", b"my diary\n")
        result = self.run_casefile("append", self.path("file.case"), input=b"more", expect=1)
        self.assert_says(result, "file.case.journal.tmp")
        self.assertEqual(self.read("file.case"), before)
        self.assertEqual(self.read("file.case.journal.tmp"), b"my diary\n")
        self.assert_only("file.case", "file.case.journal.tmp")

    @posix_only
    def test_link_in_place_of_the_working_file_is_not_written_through(self):
        self.pack(positions(1000))
        self.write("victim", b"victim")
        os.symlink("victim", self.path("file.case.journal.tmp"))
        self.run_casefile("append", self.path("file.case"), input=b"more", expect=1)
        self.assertEqual(self.read("victim"), b"victim")

    @posix_only
    def test_verify_judges_the_file_as_it_was_before_the_append(self):
        self.pack(positions(1000))
        self.kill_in_the_middle()
        result = self.run_casefile("verify", self.path("file.case"), expect=1)
        self.assert_says(result, "an append has not finished",
                         "as the next one will find it: sound, 1 blocks, 1000 bytes of case data, 0 dead bytes")
        self.assertEqual(len(result.stderr.splitlines()), 2)
        self.run_casefile("append", self.path("file.case"), input=b"")
        self.run_casefile("verify", self.path("file.case"))

    @posix_only
    def test_info_tells_of_the_file_as_it_was_before_the_append(self):
        self.pack(positions(1000))
        before = self.info("file.case", "--blocks")
        self.kill_in_the_middle()
        self.assertEqual(self.info("file.case", "--blocks", expect=1), {**before, "unfinishedAppend": True})

    @posix_only
    def test_working_file_that_a_killed_append_left_goes(self):
        self.pack(positions(1000))
        self.kill_in_the_middle()
        journal = self.read("file.case.journal")
        self.run_casefile("append", self.path("file.case"), input=b"")
        for left in [journal, journal[:200], b""]:
            self.write("file.case.journal.tmp", left)
            self.run_casefile("append", self.path("file.case"), input=b"")
            self.assert_only("file.case")
        self.run_casefile("append", self.path("file.case"), input=b"more")
        self.assertEqual(self.unpacked(), HEADER + positions(1000) + b"more")

    @posix_only
    def test_working_file_that_a_failure_of_the_machine_tore_goes(self):
        self.pack(positions(1000))
        self.kill_in_the_middle()
        head = self.read("file.case.journal")[:112]
        self.run_casefile("append", self.path("file.case"), input=b"")
        for length in range(1, 112):
            for left in [head[:length], head[:length] + bytes(112 - length) + b"tail"]:
                self.write("file.case.journal.tmp", left)
                self.run_casefile("append", self.path("file.case"), input=b"")
                self.assert_only("file.case")

    @posix_only
    def test_that_has_no_room_behind_the_file_name_hinders_no_reading(self):
        self.pack(positions(1000))
        name = "n" * 250
        os.rename(self.path("file.case"), self.path(name))
        self.assertEqual(self.unpacked(name), HEADER + positions(1000))
        self.run_casefile("verify", self.path(name))
        self.run_casefile("cat", "--from", "0", self.path(name))
        self.run_casefile("recover", self.path(name), self.path("out"))
        result = self.run_casefile("append", self.path(name), input=b"more", expect=1)
        self.assert_says(result, name + ".journal", "File name too long")
        self.assertEqual(self.read(name), self.read("out"))

    def taken_away(self, name):
        """Options that run the program without the right to read a file or folder."""
        before = os.stat(self.path(name)).st_mode
        self.addCleanup(os.chmod, self.path(name), before)
        os.chmod(self.path(name), 0)
        return {"preexec_fn": without_rights_over_all_files}

    @posix_only
    def test_that_may_not_be_read_is_named(self):
        self.pack(positions(1000))
        self.kill_in_the_middle()
        torn = self.read("file.case")
        options = self.taken_away("file.case.journal")
        for arguments in [("verify", "file.case"), ("cat", "--from", "0", "file.case"), ("info", "file.case"),
                          ("append", "file.case"), ("recover", "file.case", "out")]:
            result = self.run_casefile(*arguments, cwd=self.folder, expect=2, **options)
            self.assert_says(result, "its journal file.case.journal cannot be read: Permission denied")
        self.assertEqual(self.read("file.case"), torn)

    @posix_only
    def test_is_not_spoken_of_in_a_folder_that_cannot_be_searched(self):
        (self.folder / "sub").mkdir()
        self.pack(positions(1000), "sub/file.case")
        options = self.taken_away("sub")
        for arguments in [("verify", "sub/file.case"), ("cat", "--from", "0", "sub/file.case"),
                          ("info", "sub/file.case"), ("append", "sub/file.case"), ("recover", "sub/file.case", "out")]:
            result = self.run_casefile(*arguments, cwd=self.folder, expect=2, **options)
            self.assert_says(result, "sub/file.case: cannot be opened: Permission denied")


@posix_only
class JournalOfAnotherFile(AppendTest):
    """A journal is believed for the file that it was written for, and for no other one."""

    def test_does_not_touch_a_newer_file_with_the_same_dictionary_part(self):
        self.pack(text_rows(1000))
        self.kill_in_the_middle()
        newer = self.pack(text_rows(30000), "newer")
        os.replace(self.path("newer"), self.path("file.case"))
        journal = self.read("file.case.journal")
        for _ in range(2):
            result = self.run_casefile("append", self.path("file.case"), input=b"", expect=1)
            self.assert_says(result, "belongs to another file", "casefile recover", "remove the journal")
            self.assertEqual(self.read("file.case"), newer)
            self.assertEqual(self.read("file.case.journal"), journal)

    def test_is_said_by_every_command(self):
        self.pack(text_rows(1000))
        self.kill_in_the_middle()
        self.pack(text_rows(30000), "newer")
        os.replace(self.path("newer"), self.path("file.case"))
        for arguments in [("unpack", "file.case", "out"), ("cat", "--from", "0", "file.case"), ("verify", "file.case")]:
            result = self.run_casefile(*arguments, cwd=self.folder, expect=1)
            self.assert_says(result, "belongs to another file, or this one is a copy")

    def test_rescues_a_copy_all_the_same(self):
        self.pack(positions(1000))
        before = self.kill_in_the_middle()
        self.write("copy", self.read("file.case"))
        self.write("copy.journal", self.read("file.case.journal"))
        torn = self.read("copy")
        result = self.run_casefile("append", self.path("copy"), input=b"", expect=1)
        self.assert_says(result, "this one is a copy; nothing was changed")
        self.assertEqual(self.read("copy"), torn)
        result = self.run_casefile("verify", self.path("copy"), expect=1)
        lines = result.stderr.decode().splitlines()
        self.assertEqual(len(lines), 2, lines)
        self.assertIn("this one is a copy", lines[0])
        self.assertIn("without that append, as casefile recover writes it: sound", lines[1])
        self.run_casefile("recover", self.path("copy"), self.path("out"))
        self.assertEqual(self.read("out"), before)

    def test_has_done_its_work_when_the_file_is_as_before(self):
        self.pack(positions(1000))
        before = self.kill_in_the_middle()
        self.run_casefile("recover", self.path("file.case"), self.path("new"))
        os.replace(self.path("new"), self.path("file.case"))
        self.assertEqual(self.unpacked(), HEADER + positions(1000))
        self.assertEqual(self.run_casefile("verify", self.path("file.case")).stderr, b"")
        self.assertEqual(self.read("file.case"), before)
        result = self.run_casefile("append", self.path("file.case"), input=b"more")
        self.assertEqual(result.stderr, b"")
        self.assertEqual(self.unpacked(), HEADER + positions(1000) + b"more")
        self.assert_only("file.case")

    def test_under_another_name_of_the_file_is_taken_back_there(self):
        self.pack(positions(5000))
        self.write("other.journal", b"my diary\n")
        os.link(self.path("file.case"), self.path("hard"))
        before = self.kill_in_the_middle()
        torn = self.read("hard")
        result = self.run_casefile("append", self.path("hard"), input=b"more", expect=1)
        self.assert_says(result, "an append to it under another name has not finished", "file.case.journal")
        self.assertEqual(self.read("hard"), torn)
        self.run_casefile("append", self.path("file.case"), input=b"")
        self.assertEqual(self.read("hard"), before)
        self.run_casefile("append", self.path("hard"), input=b"more")
        self.assertEqual(self.unpacked(), HEADER + positions(5000) + b"more")

    def test_that_was_cut_while_it_was_needed_is_told(self):
        self.pack(positions(5000))
        process, _ = self.hold_in_the_middle()
        os.truncate(self.path("file.case.journal"), 200)
        self.assertIn("the append could not be taken back", self.interrupt(process))
        self.assertIn("file.case.journal", self.names())

    def test_is_believed_when_the_file_has_another_name(self):
        self.pack(positions(1000))
        before = self.kill_in_the_middle()
        os.rename(self.path("file.case"), self.path("renamed"))
        os.rename(self.path("file.case.journal"), self.path("renamed.journal"))
        self.run_casefile("append", self.path("renamed"), input=b"")
        self.assertEqual(self.read("renamed"), before)
        self.assert_only("renamed")

    def test_goes_when_the_file_is_replaced_and_it_is_said(self):
        self.pack(positions(1000))
        self.kill_in_the_middle()
        self.write("in", HEADER + b"new")
        result = self.run_casefile("pack", self.path("in"), self.path("file.case"), expect=1)
        self.assert_message_form(result, self.path("file.case"))
        result = self.run_casefile("pack", "--force", self.path("in"), self.path("file.case"))
        self.assert_says(result, "file.case.journal is removed")
        self.assertEqual(self.unpacked(), HEADER + b"new")
        self.assert_only("file.case", "in")

    def test_is_refused_for_a_new_name_that_is_free(self):
        self.pack(positions(1000))
        self.kill_in_the_middle()
        os.unlink(self.path("file.case"))
        self.write("in", HEADER + b"new")
        result = self.run_casefile("pack", self.path("in"), self.path("file.case"), expect=1)
        self.assert_says(result, "file.case.journal is there")

    def test_damaged_stays_when_the_file_is_replaced_and_it_is_said(self):
        self.pack(positions(1000))
        self.kill_in_the_middle()
        damaged = self.read("file.case.journal")[:-1]
        self.write("file.case.journal", damaged)
        self.write("in", HEADER + b"new")
        result = self.run_casefile("pack", "--force", self.path("in"), self.path("file.case"))
        self.assert_says(result, "file.case.journal is a damaged journal")
        self.assertEqual(self.read("file.case.journal"), damaged)


@posix_only
class FileGivenToAnotherMeanwhile(AppendTest):
    """An append works on the file that it began with, and says when that has lost its name."""

    def replace(self):
        self.pack(positions(5000))
        self.process, self.before = self.hold_in_the_middle()
        os.link(self.path("file.case"), self.path("first"))
        newer = self.pack(text_rows(3000), "newer")
        os.replace(self.path("newer"), self.path("file.case"))
        return newer

    def test_interrupt_restores_the_first_one(self):
        newer = self.replace()
        self.interrupt(self.process)
        self.assertEqual(self.read("file.case"), newer)
        self.assertEqual(self.read("first"), self.before)
        self.assert_only("file.case", "first")

    def test_end_restores_the_first_one(self):
        newer = self.replace()
        self.assertIn("file.case: ", self.finish(self.process, expect=1))
        self.assertEqual(self.read("file.case"), newer)
        self.assertEqual(self.read("first"), self.before)
        self.assert_only("file.case", "first")

    def test_end_without_a_file_restores_the_first_one(self):
        self.replace()
        os.unlink(self.path("file.case"))
        self.finish(self.process, expect=1)
        self.assertEqual(self.read("first"), self.before)
        self.assert_only("first")

    def test_journal_of_an_append_to_the_new_one_is_not_taken(self):
        newer = self.replace()
        os.unlink(self.path("file.case.journal"))
        second = self.start()
        second.stdin.write(positions(IN_THE_MIDDLE))
        second.stdin.flush()
        self.wait_for(lambda: self.read("file.case")[:len(newer)] != newer, second)
        self.interrupt(self.process)
        self.assertIn("file.case.journal", self.names())
        second.kill()
        second.wait(DEADLINE)
        self.run_casefile("append", self.path("file.case"), input=b"")
        self.assertEqual(self.read("file.case"), newer)


if __name__ == "__main__":
    unittest.main()
