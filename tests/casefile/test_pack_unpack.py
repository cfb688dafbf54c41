import io
import os

from support import (BLOCK, HEADER, P, CasefileTest, Form, build, hardly_compressible, measures_memory, no_sanitizer,
                     positions, text_rows)


class RoundTrip(CasefileTest):
    def check(self, case_data):
        for threads in "0128" if len(case_data) > BLOCK else "02":
            self.pack(case_data, "file.case", HEADER, "--threads", threads)
            self.assertEqual(self.unpacked(), HEADER + case_data)
        for threads in "0128" if len(case_data) > BLOCK else "02":
            self.assertEqual(self.unpacked("file.case", "--threads", threads), HEADER + case_data)
            self.run_casefile("unpack", "-f", "-j", threads, self.path("file.case"), self.path("plain"))
            self.assertEqual(self.read("plain"), HEADER + case_data)
            result = self.run_casefile("cat", "-j", threads, self.path("file.case"))
            self.assertEqual(result.stdout, case_data)
        form = Form(self.read("file.case"))
        self.assertEqual(sum(record[2] for record in form.records), len(case_data))
        self.run_casefile("verify", self.path("file.case"))

    def test_empty_case_data(self):
        self.check(b"")
        self.assertEqual(self.read("file.case")[P + 24:P + 32], b"\x9c" + b"\xff" * 7)

    def test_one_byte(self):
        self.check(b"x")

    def test_one_byte_less_than_a_block(self):
        self.check(positions(BLOCK - 1))

    def test_exactly_one_block(self):
        self.check(positions(BLOCK))

    def test_one_byte_more_than_a_block(self):
        self.check(positions(BLOCK + 1))

    def test_exactly_two_blocks(self):
        self.check(positions(2 * BLOCK))

    def test_three_blocks_and_a_rest(self):
        self.check(positions(3 * BLOCK + 12345))

    def test_any_number_of_threads_gives_the_same_file(self):
        data = positions(5 * BLOCK + 5)
        for encoder in ["zlib", "libdeflate", "fast"]:  # ISA-L's bytes depend a little on where its state lies
            alone = self.pack(data, "a", HEADER, "--threads", "0", "--encoder", encoder)
            for threads in [("-j", "1"), ("-j", "2"), ("-j", "8"), ()]:
                self.assertEqual(self.pack(data, "b", HEADER, *threads, "--encoder", encoder), alone)


class Encoders(CasefileTest):
    def test_each_is_read_back_and_appended_to_by_any_other(self):
        data = positions(BLOCK + 1000)
        for first in ["zlib", "libdeflate", "fast", "auto"]:
            for second in ["zlib", "libdeflate", "fast", "auto"]:
                self.pack(data, "file.case", HEADER, "--encoder", first)
                self.run_casefile("append", "--encoder", second, "-j", "2", self.path("file.case"), input=data)
                self.run_casefile("verify", self.path("file.case"))
                self.assertEqual(self.unpacked(), HEADER + data + data)

    @measures_memory
    @no_sanitizer
    def test_take_no_more_memory_than_a_few_blocks_for_each_thread(self):
        for threads, blocks in [(1, 8), (2, 10), (8, 24)]:  # more than the memory that is granted
            file = self.write("in", HEADER + positions(blocks * BLOCK))
            for encoder in ["zlib", "libdeflate", "fast", "auto"]:
                _, peak = self.run_and_measure("pack", "-f", "-j", threads, "--encoder", encoder, file,
                                               self.path("file.case"), expect=0)
                self.assertLess(peak, (16 + 8.5 * threads) * 2**20, f"{threads} threads, {encoder}")
                _, peak = self.run_and_measure("append", "-j", threads, "--encoder", encoder, self.path("file.case"),
                                               file, expect=0)
                self.assertLess(peak, (16 + 8.5 * threads) * 2**20, f"{threads} threads, {encoder}")

    def test_append_by_zlib_gives_the_file_that_packing_all_gives(self):
        data = positions(3 * BLOCK + 1000)
        whole = self.pack(data, "whole", HEADER, "--encoder", "zlib")
        for threads in "128":
            self.pack(data[:1000], "file.case", HEADER, "--encoder", "zlib")
            self.run_casefile("append", "--encoder", "zlib", "-j", threads, self.path("file.case"), input=data[1000:])
            self.assertEqual(self.read("file.case"), whole)

    def test_a_name_that_is_none_is_refused(self):
        self.write("in", HEADER)
        for arguments in [("pack", "in", "out"), ("append", "in")]:
            result = self.run_casefile(*arguments, "--encoder", "lzma", cwd=self.folder, expect=2)
            self.assert_says(result, "lzma is no encoder")
        self.assertEqual(self.names(), ["in"])


class DictionaryPart(CasefileTest):
    LINES = b"first\nsecond\nthird\n1,2\n3,4\n"

    def row0_of(self, *arguments, data=LINES, says=""):
        result = self.run_casefile("pack", "--force", *arguments, self.write("in", data), self.path("out"))
        self.assertEqual(result.stderr.decode(), says and f"casefile: {self.path('in')}: {says}\n")
        self.assertEqual(self.unpacked("out"), data)
        return self.info("out")["row0"]

    def test_first_line_when_nothing_is_said(self):
        self.assertEqual(self.row0_of(), 6)

    def test_header_lines(self):
        self.assertEqual(self.row0_of("--header-lines", "1"), 6)
        self.assertEqual(self.row0_of("--header-lines", "3"), 19)

    def test_more_header_lines_than_lines_make_all_of_it_the_dictionary(self):
        says = "ends in the dictionary part, which is not compressed (--header-lines, --row0 say how long that is)"
        self.assertEqual(self.row0_of("--header-lines", "9", says=says), len(self.LINES))
        self.assertEqual(self.row0_of(data=b"no line end", says=says), 11)
        self.assertEqual(self.row0_of(data=b""), 0)
        self.assertEqual(self.row0_of(data=b"only the header\n"), 16)
        self.assertEqual(self.row0_of("--quiet", data=b"no line end"), 11)

    def test_row0_in_bytes(self):
        self.assertEqual(self.row0_of("--row0", "7"), 7)

    def test_row0_at_the_end_leaves_no_case_data(self):
        self.assertEqual(self.row0_of("--row0", str(len(self.LINES))), len(self.LINES))

    def test_dictionary_of_more_than_a_block(self):
        data = positions(BLOCK + 100000)
        self.assertEqual(self.row0_of("--row0", str(BLOCK + 5), data=data), BLOCK + 5)

    def test_dictionary_file_is_put_in_front(self):
        self.run_casefile("pack", "--dictionary", self.write("dictionary", b"columns"), self.write("in", b"rows"),
                          self.path("out"))
        self.assertEqual(self.unpacked("out"), b"columnsrows")
        self.assertEqual(self.info("out")["row0"], 7)

    def test_input_shorter_than_row0_is_refused(self):
        result = self.run_casefile("pack", "--row0", "100", self.write("in", b"short"), self.path("out"), expect=1)
        self.assert_says(result, "ends after 5 bytes")
        self.assertEqual(self.names(), ["in"])

    def test_case_data_without_a_dictionary_part_are_refused(self):
        result = self.run_casefile("pack", "--row0", "0", self.write("in", b"rows"), self.path("out"), expect=2)
        self.assert_says(result, "at least one byte")
        self.assertEqual(self.names(), ["in"])

    def test_empty_input(self):
        self.run_casefile("pack", self.write("in", b""), self.path("out"))
        self.assertEqual(self.unpacked("out"), b"")
        self.run_casefile("verify", self.path("out"))


class IncompressibleBlock(CasefileTest):
    def test_is_an_error_that_names_the_block_and_leaves_nothing(self):
        data = HEADER + text_rows(BLOCK) + os.urandom(BLOCK) + text_rows(100)
        for threads in "0128":
            result = self.run_casefile("pack", "--threads", threads, self.write("in", data), self.path("out"), expect=1)
            self.assert_says(result, f"block 1 (logical bytes {P + BLOCK} to {P + 2 * BLOCK - 1})")
            self.assert_message_form(result, self.path("out"))
            self.assertEqual(self.names(), ["in"])

    def test_hardly_compressible_data_are_no_error(self):
        data = hardly_compressible(BLOCK + 77)
        self.pack(data)
        self.assertEqual(self.unpacked(), HEADER + data)


class Cat(CasefileTest):
    def setUp(self):
        super().setUp()
        self.plain = HEADER + positions(2 * BLOCK + 1000)
        self.pack(self.plain[P:])

    def test_ranges_at_logical_positions(self):
        end = len(self.plain)
        for start, count in [(0, 5), (0, P), (3, P), (P, 8), (P - 1, 2), (P + BLOCK - 3, 6), (P + BLOCK, 1),
                             (P + 2 * BLOCK - 1, 1001), (end - 1, 1), (end, 1), (end + 999, 5), (0, 0),
                             (P + 5, BLOCK + 10), (0, end)]:
            with self.subTest(start=start, count=count):
                result = self.run_casefile("cat", "--from", start, "--bytes", count, self.path("file.case"))
                self.assertEqual(result.stdout, self.plain[start:start + count])

    def test_without_a_count_to_the_end(self):
        result = self.run_casefile("cat", "--from", BLOCK, self.path("file.case"))
        self.assertEqual(result.stdout, self.plain[BLOCK:])

    def test_count_beyond_the_end_is_cut(self):
        result = self.run_casefile("cat", "--from", len(self.plain) - 4, "--bytes", 2**63 - 1, self.path("file.case"))
        self.assertEqual(result.stdout, self.plain[-4:])


class DamagedBlock(CasefileTest):
    """Of five blocks the fourth does not inflate, and nor does the last."""

    def setUp(self):
        super().setUp()
        blocks = [positions(BLOCK, number * BLOCK) for number in range(5)]
        data = bytearray(build(blocks))
        form = Form(data)
        for number in [3, 4]:
            data[form.records[number][1] + 5000] ^= 0xff
        self.write("file.case", data)
        self.before = HEADER + b"".join(blocks[:3])
        self.message = f"casefile: file.case: block 3 (logical bytes {P + 3 * BLOCK} to {P + 4 * BLOCK - 1}) is damaged"

    def test_what_lies_before_it_is_written_in_order(self):
        for threads in ["1", "2", "8"]:
            for arguments in [("cat", "--dictionary"), ("unpack", "-o", "-")]:
                result = self.run_casefile(*arguments, "-j", threads, "file.case", cwd=self.folder, expect=1)
                self.assertEqual(result.stdout, self.before)
                self.assert_says(result, self.message)

    def test_no_file_is_left(self):
        for threads in ["1", "2", "8"]:
            result = self.run_casefile("unpack", "-j", threads, "file.case", "out", cwd=self.folder, expect=1)
            self.assert_says(result, self.message)
            self.assertEqual(self.names(), ["file.case"])

    def test_a_range_that_leaves_it_out_is_read(self):
        result = self.run_casefile("cat", "--from", P + 2 * BLOCK, "--bytes", BLOCK, self.path("file.case"))
        self.assertEqual(result.stdout, self.before[-BLOCK:])


@measures_memory
@no_sanitizer
class Memory(CasefileTest):
    MIB = 2 ** 20

    def test_is_bounded_for_each_thread(self):
        """Two buffers of a block's size each, however long the file is."""
        for threads, blocks in [(1, 8), (2, 10), (8, 24)]:  # more than the memory that is granted
            self.pack(hardly_compressible(blocks * BLOCK))
            for arguments in [("cat",), ("unpack", "-f", "-o", self.path("out")), ("unpack", "-f", "-o", "-")]:
                _, peak = self.run_and_measure(*arguments, "-j", threads, self.path("file.case"), expect=0)
                self.assertLess(peak, 16 * self.MIB + threads * 8.5 * self.MIB, arguments)


class StandardStreams(CasefileTest):
    def test_pack_from_standard_input_and_unpack_to_standard_output_keep_every_byte(self):
        every_byte = bytes(range(256)) * 1000 + b"\r\n\x1a\r\n"
        self.pack(every_byte)
        self.assertEqual(self.unpacked(), HEADER + every_byte)

    def test_append_from_standard_input(self):
        self.pack(b"old")
        self.run_casefile("append", self.path("file.case"), input=b"-new")
        self.run_casefile("append", self.path("file.case"), "-", input=b"-newer")
        self.assertEqual(self.unpacked(), HEADER + b"old-new-newer")


class Names(CasefileTest):
    def test_blanks_and_letters_outside_ascii(self):
        for name in ["with blank", "\u00e4\u00f6\u00fc", "\u6f22\u5b57", "\U0001f600", "a'b"]:
            with self.subTest(name=name):
                data = positions(1000)
                self.pack(data, name)
                self.assertEqual(self.unpacked(name), HEADER + data)
                self.run_casefile("append", self.path(name), self.write(name + " more", b"more"))
                self.run_casefile("verify", self.path(name))
                self.run_casefile("recover", self.path(name), self.path(name + " rescued"))
                self.assertEqual(self.unpacked(name + " rescued"), HEADER + data + b"more")
                self.assertEqual(self.info(name)["file"], self.path(name))

    def test_name_that_begins_with_a_dash_follows_two_dashes(self):
        self.pack(b"rows", "-x")
        self.run_casefile("verify", "--", "-x", cwd=self.folder)
