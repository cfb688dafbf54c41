import os
import stat
import subprocess
import unittest

from support import BLOCK, DEADLINE, HEADER, CasefileTest, positions, posix_only

NOBODY = 65534


@posix_only
class RightsOfOutputs(CasefileTest):
    """Nobody reads an output who may not read its input, at any time."""

    def setUp(self):
        super().setUp()
        self.write("in", HEADER + positions(1000))
        self.pack(positions(1000))

    def rights(self, name):
        return stat.S_IMODE(os.stat(self.path(name)).st_mode)

    def commands(self):
        return [("pack", "in", "out"), ("unpack", "file.case", "out"), ("recover", "file.case", "out")]

    def test_are_those_of_the_input(self):
        for rights in [0o600, 0o640, 0o644, 0o400, 0o666]:
            for command in self.commands():
                os.chmod(self.path(command[1]), rights)
                self.run_casefile(*command, cwd=self.folder, umask=0)
                self.assertEqual(self.rights("out"), rights, command)
                os.unlink(self.path("out"))

    def test_have_no_bits_that_change_the_user(self):
        for command in self.commands():
            os.chmod(self.path(command[1]), 0o6755)
            self.run_casefile(*command, cwd=self.folder)
            self.assertEqual(self.rights("out"), 0o755)
            os.unlink(self.path("out"))

    def test_are_those_of_the_replaced_file_without_bits_that_change_the_user(self):
        for command in self.commands():
            self.write("out", b"old")
            os.chmod(self.path("out"), 0o6750)
            self.run_casefile(*command, "--force", cwd=self.folder)
            self.assertEqual(self.rights("out"), 0o750)

    def test_of_a_private_dictionary_part_count_too(self):
        self.write("dictionary", HEADER)
        os.chmod(self.path("dictionary"), 0o600)
        os.chmod(self.path("in"), 0o644)
        self.run_casefile("pack", "--dictionary", "dictionary", "in", "out", cwd=self.folder)
        self.assertEqual(self.rights("out"), 0o600)

    def test_follow_the_mask_where_the_input_has_none(self):
        self.run_casefile("pack", "-", self.path("out"), input=HEADER + b"row\n", umask=0o027)
        self.assertEqual(self.rights("out"), 0o640)

    def test_are_for_this_user_alone_until_the_end(self):
        for force in [(), ("--force",)]:
            if force:
                self.write("out", b"old")
                os.chmod(self.path("out"), 0o600)
            process = self.start_casefile("pack", *force, "-", self.path("out"), stdin=-1, umask=0)
            process.stdin.write(HEADER + positions(2 * BLOCK))
            process.stdin.flush()
            working = [name for name in self.names() if name.endswith(".tmp")]
            self.assertEqual([self.rights(name) for name in working], [0o600])
            process.stdin.close()
            self.assertEqual(process.wait(60), 0)

    @unittest.skipUnless(os.geteuid() == 0, "needs the right to give files to others")
    def test_owner_of_the_replaced_file_stays(self):
        self.write("out", b"old")
        os.chown(self.path("out"), NOBODY, NOBODY)
        self.run_casefile("pack", "--force", self.path("in"), self.path("out"))
        status = os.stat(self.path("out"))
        self.assertEqual((status.st_uid, status.st_gid), (NOBODY, NOBODY))

    @unittest.skipUnless(os.geteuid() == 0, "needs the right to give files to others")
    def test_are_not_those_of_a_file_that_takes_the_name_meanwhile(self):
        # Its owner would get the output, which somebody who may write to the folder can keep by a second name.
        for force in [(), ("--force",)]:
            process = self.start_casefile("pack", *force, "-", self.path("out"), stdin=subprocess.PIPE,
                                          stderr=subprocess.DEVNULL, umask=0o077)
            process.stdin.write(HEADER + positions(2 * BLOCK))
            process.stdin.flush()
            working = next(name for name in self.names() if name.endswith(".tmp"))
            os.link(self.path(working), self.path("kept"))
            os.chmod(self.write("out", b"planted"), 0o666)
            os.chown(self.path("out"), NOBODY, NOBODY)
            process.stdin.close()
            self.assertEqual(process.wait(DEADLINE), 0 if force else 1)
            self.assertEqual((self.rights("kept"), os.stat(self.path("kept")).st_uid), (0o600, 0))
            os.unlink(self.path("out"))
            os.unlink(self.path("kept"))

    @unittest.skipUnless(os.geteuid() == 0, "needs a second user")
    def test_of_a_group_that_the_user_is_not_in_are_nobodys(self):
        os.chmod(self.folder, 0o777)
        for name in ["in", "file.case"]:
            os.chown(self.path(name), NOBODY, 0)
            os.chmod(self.path(name), 0o640)
        for command in self.commands():
            self.run_casefile(*command, cwd=self.folder, user=NOBODY, group=NOBODY, extra_groups=[])
            self.assertEqual(self.rights("out"), 0o600)
            os.unlink(self.path("out"))


class Times(CasefileTest):
    """A new file is as old as the one that it was made of."""

    LONG_AGO = 1234567890 * 10**9

    def setUp(self):
        super().setUp()
        self.pack(positions(1000))
        self.write("in", HEADER + positions(1000))
        self.write("dictionary", HEADER)
        for name in ["in", "file.case"]:
            os.utime(self.path(name), ns=(self.LONG_AGO, self.LONG_AGO))

    def time(self, name):
        return os.stat(self.path(name)).st_mtime_ns

    def test_are_those_of_the_input(self):
        for command in [("pack", "in", "out"), ("unpack", "file.case", "out"),
                        ("pack", "--dictionary", "dictionary", "in", "out")]:
            for force in [(), ("--force",)]:
                self.run_casefile(*command, *force, cwd=self.folder)
                self.assertEqual(self.time("out"), self.LONG_AGO)
            os.unlink(self.path("out"))

    def test_are_new_where_the_input_is_a_pipe(self):
        self.run_casefile("pack", "-", self.path("out"), input=HEADER)
        self.assertGreater(self.time("out"), self.LONG_AGO)

    def test_are_new_when_nothing_is_to_be_preserved(self):
        for command in [("pack", "in", "out"), ("unpack", "file.case", "out")]:
            self.run_casefile(*command, "--no-preserve", cwd=self.folder)
            self.assertGreater(self.time("out"), self.LONG_AGO)
            os.unlink(self.path("out"))

    @posix_only
    def test_rights_follow_the_mask_when_nothing_is_to_be_preserved(self):
        for command in [("pack", "in", "out"), ("unpack", "file.case", "out")]:
            os.chmod(self.path(command[1]), 0o600)
            self.run_casefile(*command, "--no-preserve", cwd=self.folder, umask=0o027)
            self.assertEqual(stat.S_IMODE(os.stat(self.path("out")).st_mode), 0o640)
            os.unlink(self.path("out"))


class NoSync(CasefileTest):
    def test_gives_the_same_files(self):
        self.write("in", HEADER + positions(1000))
        self.run_casefile("pack", "--no-sync", self.path("in"), self.path("file.case"))
        self.run_casefile("unpack", "--no-sync", self.path("file.case"), self.path("out"))
        self.assertEqual(self.read("out"), self.read("in"))
        self.run_casefile("recover", "--no-sync", self.path("file.case"), self.path("again"))
        self.assertEqual(self.read("again"), self.read("file.case"))


if __name__ == "__main__":
    unittest.main()
