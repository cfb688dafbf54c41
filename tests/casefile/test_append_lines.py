import unittest

from support import BLOCK, CasefileTest, positions, text_rows

GLUED = "its last line had no end: what was appended goes on in it"


class HeaderLines(CasefileTest):
    """Lines of the input that the file has already, as its dictionary part."""

    DICTIONARY = b"# a table\nname,age\n"

    def setUp(self):
        super().setUp()
        self.before = self.pack(b"a,1\n", "file.case", self.DICTIONARY)

    def append(self, lines, data, expect=0):
        return self.run_casefile("append", "--header-lines", lines, self.path("file.case"), input=data, expect=expect)

    def refused(self, lines, data, *texts):
        result = self.append(lines, data, expect=2)
        self.assert_says(result, "casefile: standard input: its first ", *texts)
        self.assertEqual(self.read("file.case"), self.before)
        self.assertEqual(self.names(), ["file.case"])

    def test_are_left_out(self):
        self.append(2, self.DICTIONARY + b"b,2\n")
        self.append(2, self.DICTIONARY + text_rows(BLOCK))
        self.assertEqual(self.unpacked(), self.DICTIONARY + b"a,1\nb,2\n" + text_rows(BLOCK))
        self.run_casefile("verify", self.path("file.case"))

    def test_without_anything_behind_them_change_nothing(self):
        self.append(2, self.DICTIONARY)
        self.assertEqual(self.read("file.case"), self.before)

    def test_that_differ_are_refused_before_anything_is_written(self):
        self.refused(2, b"# a table\nname,old\nb,2\n", "2 lines are not the dictionary part of ", "differ at byte 15")
        self.refused(1, self.DICTIONARY + b"b,2\n", "1 lines are not", "differ at byte 10")
        self.refused(3, self.DICTIONARY + b"b,2\n", "3 lines are not", "differ at byte 19")
        self.refused(2, b"# a table\n", "differ at byte 10")
        self.refused(2, b"", "differ at byte 0")
        self.refused(0, b"b,2\n", "differ at byte 0")
        self.refused(2, b"\n\nb,2\n", "differ at byte 0")

    def test_of_more_than_one_piece(self):
        dictionary = text_rows(BLOCK)[:-1] + b"\n"
        lines = dictionary.count(b"\n")
        self.before = self.pack(b"a,1\n", "file.case", dictionary)
        self.append(lines, dictionary + b"b,2\n")
        self.assertEqual(self.unpacked(), dictionary + b"a,1\nb,2\n")
        self.before = self.read("file.case")
        changed = bytearray(dictionary)
        changed[3000000] ^= 1
        self.refused(lines, bytes(changed), "differ at byte 3000000")

    def test_are_a_whole_number(self):
        for number in ["-1", "x", ""]:
            self.run_casefile("append", "--header-lines", number, self.path("file.case"), expect=2)


class LastLine(CasefileTest):
    """What is appended goes on in a line that has no end."""

    HEADER = b"name,age\n"

    def said(self, header, data, *options):
        self.pack(data, "file.case", header)
        result = self.run_casefile("append", *options, self.path("file.case"), input=b"b,2\n")
        self.assertEqual(self.unpacked(), header + data + b"b,2\n")
        return result.stderr.decode().replace("\r", "")

    def test_without_an_end_is_mentioned(self):
        for data in [b"a,1", b"a", text_rows(BLOCK + 5).rstrip(b"\n") + b"x", b"gr\xc3\xb6\xc3\x9fe,1"]:
            self.assertEqual(self.said(self.HEADER, data), f"casefile: {self.path('file.case')}: {GLUED}\n")

    def test_with_an_end_is_not_mentioned(self):
        for data in [b"", b"a,1\n", b"\n", text_rows(12 * 1000)]:
            self.assertEqual(self.said(self.HEADER, data), "")

    def test_is_none_where_dictionary_part_or_data_are_no_text(self):
        self.assertEqual(self.said(self.HEADER, positions(1000)), "")
        self.assertEqual(self.said(b"\0\1\2", b"a,1"), "")

    def test_is_not_mentioned_when_only_what_is_wrong_is_said(self):
        self.assertEqual(self.said(self.HEADER, b"a,1", "-q"), "")

    def test_is_not_looked_at_when_nothing_is_appended(self):
        self.pack(b"a,1", "file.case", self.HEADER)
        result = self.run_casefile("append", self.path("file.case"), input=b"")
        self.assertEqual(result.stderr, b"")


if __name__ == "__main__":
    unittest.main()
