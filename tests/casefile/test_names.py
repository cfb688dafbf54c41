import json
import os
import pathlib
import unittest

from support import HEADER, CasefileTest, positions, posix_only


class LongNames(CasefileTest):
    """Beyond what the ordinary calls of some systems take."""

    def test_path_of_three_hundred_letters(self):
        (self.folder / ("d" * 60)).mkdir()
        name = "d" * 60 + "/" + "n" * 220
        self.assertGreater(len(self.path(name)), 300)
        self.write("in", HEADER + positions(1000))
        self.write("more", positions(500))
        self.run_casefile("pack", self.path("in"), self.path(name))
        self.run_casefile("append", self.path(name), self.path("more"))
        self.run_casefile("verify", self.path(name))
        self.run_casefile("unpack", self.path(name), self.path(name + ".csv"))
        self.assertEqual(self.read(name + ".csv"), HEADER + positions(1000) + positions(500))
        left = [entry.name for entry in pathlib.Path(self.path(name)).parent.iterdir()]
        self.assertEqual(sorted(left), ["n" * 220, "n" * 220 + ".csv"])


@posix_only
class NamesWithControlCharacters(CasefileTest):
    NAME = "bad\x1b]0;title\x07\n\x7f\u009bname"
    SHOWN = r"bad\x1b]0;title\x07\x0a\x7f\xc2\x9bname"

    def assert_shown(self, text):
        self.assertIn(self.SHOWN, text)
        self.assertNotIn("\x1b", text)
        self.assertNotIn("\u009b", text)

    def test_do_not_reach_the_terminal(self):
        self.write(self.NAME, b"no data file")
        for command in ["verify", "info", "append"]:
            result = self.run_casefile(command, self.path(self.NAME), expect=2)
            self.assert_shown(result.stderr.decode())

    def test_are_escaped_where_info_prints_for_people(self):
        self.pack(positions(1000), self.NAME)
        self.assert_shown(self.run_casefile("info", self.path(self.NAME)).stdout.decode())

    def test_are_escaped_where_verify_calls_a_file_sound(self):
        self.pack(positions(1000), self.NAME)
        self.assert_shown(self.run_casefile("verify", self.path(self.NAME)).stdout.decode())

    def test_stand_in_json_as_escapes(self):
        """Some terminals obey U+0080 to U+009F, which JSON would let stand as they are."""
        self.pack(positions(1000), self.NAME)
        shown = self.run_casefile("info", "--json", self.path(self.NAME)).stdout
        for byte in (b"\x1b", b"\x7f", "\u009b".encode()):
            self.assertNotIn(byte, shown)
        self.assertEqual(json.loads(shown)["file"], self.path(self.NAME))

    def test_do_not_reach_the_terminal_by_way_of_wrong_usage(self):
        result = self.run_casefile("info", "one", self.NAME, expect=2)
        self.assert_shown(result.stderr.decode())

    def test_bytes_that_are_no_letters_do_not_reach_the_terminal(self):
        """Some terminals take the bytes from 80 to 9F for control characters."""
        for name, shown in [(b"a\x9b31mb", rb"a\x9b31mb"), (b"\x80\x9f\xff", rb"\x80\x9f\xff"), (b"cut\xe6\x9b", rb"cut\xe6\x9b"),
                            (b"long\xc0\x9b\xe0\x80\x9b", rb"long\xc0\x9b\xe0\x80\x9b"), (b"half\xed\xa0\x9b", rb"half\xed\xa0\x9b"),
                            (b"beyond\xf4\x90\x80\x9b", rb"beyond\xf4\x90\x80\x9b"),
                            ("\u0093\u00db\u7d50\U0001f39b".encode(), rb"\xc2\x93" + "\u00db\u7d50\U0001f39b".encode())]:
            for arguments in [("info",), ("info", "one")]:
                result = self.run_casefile(*arguments, os.fsdecode(name), cwd=self.folder, expect=2)
                self.assertIn(shown, result.stderr)
                self.assertNotIn(name, result.stderr)

    def test_letters_of_all_scripts_stay(self):
        result = self.run_casefile("info", self.path("Grüße-数据"), expect=2)
        self.assertIn("Grüße-数据", result.stderr.decode())


if __name__ == "__main__":
    unittest.main()
