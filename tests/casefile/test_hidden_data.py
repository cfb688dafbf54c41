import struct
import zlib

from support import (BLOCK, HEADER, ORDER, P, SMALL_MEMORY, CasefileTest, Form, build, hardly_compressible,
                     measures_memory, positions, text_rows, with_other_order)


class FileInTheDictionaryPart(CasefileTest):
    """The dictionary part is a compressed file, and heading or table of the file around it are lost."""

    def setUp(self):
        super().setUp()
        self.inner = build([b"inner rows"])
        self.row0 = len(self.inner)
        self.outer = build([text_rows(BLOCK), b"outer rows"], self.inner)
        self.form = Form(self.outer, self.row0)

    def with_heading(self, heading, outer=None):
        outer = outer or self.outer
        return outer[:self.row0] + heading + outer[self.row0 + 24:]

    def check(self, data, *texts):
        """Nothing takes the inner file for the whole, and the outer one can still be rescued."""
        self.write("file", data)
        for arguments, code in [(("verify", "file"), 1), (("append", "file", "file2"), 1), (("unpack", "file", "-"), 1),
                                (("cat", "--from", "0", "file"), 1), (("recover", "file", "out"), 2)]:
            self.write("file2", b"more")
            result = self.run_casefile(*arguments, cwd=self.folder, expect=code)
            self.assert_says(result, f"casefile: file: row-0 position {P} is not all", "--row0", *texts)
            self.assertEqual(result.stdout, b"")
            self.assertEqual(self.read("file"), data)
            self.assertEqual(self.names(), ["file", "file2"])
        self.run_casefile("info", self.path("file"), expect=0)  # looks at heading and table alone
        self.run_casefile("verify", "--row0", P, self.path("file"), expect=1)
        self.run_casefile("append", "--row0", P, self.path("file"), self.path("file2"), expect=1)
        self.run_casefile("recover", "--row0", P, self.path("file"), self.path("out"))
        self.assertEqual(self.read("out"), self.inner)

    def rescue(self, expected, expect=0):
        self.run_casefile("recover", "--force", "--row0", self.row0, self.path("file"), self.path("out"), expect=expect)
        self.assertEqual(self.read("out"), expected)

    def test_heading_never_written(self):
        self.check(self.with_heading(bytes(24)), f"at row-0 position {self.row0}")
        self.rescue(self.outer)

    def test_heading_and_table_never_written(self):
        self.check(self.with_heading(bytes(24))[:self.form.table], f"at row-0 position {self.row0}")
        self.rescue(self.outer)

    def test_heading_overwritten(self):
        self.check(self.with_heading(b"?" * 24), f"a position table of case data at row-0 position {self.row0}")
        self.rescue(self.outer)

    def test_heading_overwritten_in_a_file_of_the_other_byte_order(self):
        other = with_other_order(self.outer, self.row0)
        self.check(self.with_heading(b"?" * 24, other), f"a position table of case data at row-0 position {self.row0}")
        self.rescue(other)

    def test_heading_overwritten_and_table_missing(self):
        self.check(self.with_heading(b"?" * 24)[:self.form.table],
                   f"a whole block, at file position {self.row0 + 24}")
        self.rescue(self.outer)

    def test_table_missing(self):
        self.check(self.outer[:self.form.table], f"a heading at row-0 position {self.row0}")
        self.rescue(self.outer)

    def test_first_block_damaged_too(self):
        data = bytearray(self.with_heading(bytes(24)))
        data[self.form.records[0][1] + 100] ^= 1
        self.check(bytes(data), f"a position table of case data at row-0 position {self.row0}")

    def test_inner_table_damaged_too(self):
        data = bytearray(self.with_heading(bytes(24)))
        table = Form(self.inner).table
        data[table:table + 48] = b"?" * 48
        self.write("file", data)
        result = self.run_casefile("recover", self.path("file"), self.path("out"), expect=2)
        self.assert_says(result, f"row-0 position {P} is not all", f"at row-0 position {self.row0}", "--row0")
        self.run_casefile("verify", self.path("file"), expect=1)

    def test_sound_outer_file_is_found_by_its_row0(self):
        self.write("file", self.outer)
        self.run_casefile("verify", "--row0", self.row0, self.path("file"))
        self.run_casefile("append", "--row0", self.row0, self.path("file"), input=b"!")
        self.assertEqual(self.unpacked("file", "--row0", self.row0),
                         self.inner + text_rows(BLOCK) + b"outer rows!")


class DeadBytesOfAnAppend(CasefileTest):
    """What an append left behind a shorter end is no damage, whatever it is."""

    def check(self, data, plain):
        self.write("file", data)
        self.assertIn("sound", self.run_casefile("verify", self.path("file")).stdout.decode())
        self.assertEqual(self.unpacked("file"), HEADER + plain)
        self.run_casefile("recover", "--force", self.path("file"), self.path("out"))
        self.assertEqual(self.read("out"), data[:Form(data).table_end])
        self.run_casefile("append", self.path("file"), input=b"more")
        self.assertEqual(self.unpacked("file"), HEADER + plain + b"more")

    def test_old_tables_of_the_same_place(self):
        first = text_rows(BLOCK)
        old = build([first, hardly_compressible(5000)])
        new = build([first, b"short"])
        for before in [old, with_other_order(old)]:
            self.check(new + before[len(new):], first + b"short")
            self.check(new + before[len(new):] + before[Form(old).table:], first + b"short")

    def test_zlib_streams_that_were_data(self):
        pictures = b"".join(zlib.compress(hardly_compressible(5000, seed), 1) for seed in range(20))
        self.check(build([b"rows"]) + bytes(50) + b"picture" + pictures, b"rows")

    def test_numbers_and_marks_that_were_data(self):
        new = build([b"rows"])
        marks = struct.pack(ORDER + "qqii", -100, 0, BLOCK, 5) + bytes(24)
        self.check(new + marks * 10 + positions(5000, (len(new) + 2400) // 8 * 8 + 1), b"rows")


class ManyHints(CasefileTest):
    """Hints without end cost no more than the few that are looked into."""

    def test_tables_that_name_the_same_block(self):
        whole = build([text_rows(BLOCK)])
        damaged = whole[:P] + b"?" * 24 + whole[P + 24:]
        table = whole[Form(whole).table:]
        self.write("file", damaged + table * 5000)
        self.run_casefile("recover", self.path("file"), self.path("out"), expect=None)
        self.assertEqual(self.read("out"), whole)

    def test_words_that_spell_their_position(self):
        for row0 in [(), ("--row0", 0)]:
            self.write("file", positions(8 * 2 ** 20))
            result = self.run_casefile("verify", *row0, self.path("file"), expect=None)
            self.assertIn(result.returncode, (1, 2))
            self.run_casefile("recover", self.path("file"), self.path("out"), expect=2)
            self.assertEqual(self.names(), ["file"])

    @measures_memory
    def test_headings_without_end(self):
        with open(self.path("file"), "wb") as file:
            for start in range(0, 2 * 2 ** 20, 24):
                file.write(struct.pack(ORDER + "qqq", start, start + 24, 24))
        for arguments in [("verify", self.path("file")), ("recover", self.path("file"), self.path("out"))]:
            messages, peak = self.run_and_measure(*arguments, expect=2)
            self.assertLess(peak, SMALL_MEMORY)
            self.assertLess(len(messages), 1000)
            self.assertIn("more than one heading fits (0, 24, ", messages)
