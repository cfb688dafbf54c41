import random
import struct
from concurrent.futures import ThreadPoolExecutor

from support import (BLOCK, HEADER, ORDER, P, SMALL_MEMORY, CasefileTest, Form, build, inflates_gigabytes,
                     measures_memory, no_sanitizer, positions, posix_only, sweep, text_rows)


class Sound(CasefileTest):
    def test_any_number_of_threads(self):
        self.pack(positions(3 * BLOCK + 5))
        for jobs in [1, 2, 3, 64]:
            result = self.run_casefile("verify", "-j", jobs, self.path("file.case"))
            self.assertEqual(result.stderr, b"")
            self.assertIn(f"sound: 4 blocks, {3 * BLOCK + 5} bytes of case data, 0 dead bytes",
                          result.stdout.decode())

    @posix_only
    @no_sanitizer
    def test_fewer_threads_when_the_system_gives_no_more_open_files(self):
        import resource
        self.write("file.case", build([b"%d," % i for i in range(100)] + [b"end"]))
        told = []
        for limit in [4, 1000]:  # standard streams and one file; enough for all
            result = self.run_casefile("verify", "-j", 64, self.path("file.case"), expect=1,
                                       preexec_fn=lambda limit=limit: resource.setrlimit(resource.RLIMIT_NOFILE, (limit, limit)))
            told.append(result.stderr)
        self.assertEqual(told[0], told[1])


class DamagedBlocks(CasefileTest):
    def setUp(self):
        super().setUp()
        self.data = bytearray(self.pack(positions(5 * BLOCK)))
        self.records = Form(self.data).records

    def verify(self, *texts):
        self.write("file.case", self.data)
        for jobs in "12":
            result = self.run_casefile("verify", "-j", jobs, self.path("file.case"), expect=1)
            self.assert_says(result, *texts)
            self.assert_message_form(result, self.path("file.case"))
        return result.stderr.decode()

    def flip(self, block, offset, bit=1):
        self.data[self.records[block][1] + offset] ^= bit

    @staticmethod
    def logical(first, last):
        return f"logical bytes {P + first * BLOCK} to {P + (last + 1) * BLOCK - 1}"

    def test_goes_on_and_names_every_range(self):
        self.flip(1, 5000)
        self.flip(2, 5000)
        self.flip(4, 5000)
        text = self.verify(f"damaged: {self.logical(1, 2)}, {self.logical(4, 4)}")
        for block in [1, 2, 4]:
            self.assertIn(f"block {block} ({self.logical(block, block)}): ", text)
        self.assertNotIn("block 0 ", text)
        self.assertNotIn("block 3 ", text)

    def test_check_value(self):
        self.flip(0, self.records[0][3] - 1)
        self.verify("block 0 ", "incorrect data check")

    def test_zlib_header(self):
        self.flip(0, 0)
        self.verify("block 0 ", "the zlib stream is damaged")

    def test_first_and_last_block(self):
        self.flip(0, 100)
        self.flip(4, 100)
        self.verify(f"damaged: {self.logical(0, 0)}, {self.logical(4, 4)}")

    def test_record_with_a_wrong_position_names_that_block_alone(self):
        table = Form(self.data).table
        struct.pack_into(ORDER + "q", self.data, table + 24 * 3, 12345)
        text = self.verify(f"damaged: {self.logical(2, 2)}\n")
        self.assertNotIn("block 3 ", text)

    def test_record_with_wrong_sizes_names_that_block_alone(self):
        table = Form(self.data).table
        struct.pack_into(ORDER + "ii", self.data, table + 24 * 3 + 16, BLOCK - 1, self.records[2][3] - 1)
        text = self.verify(f"block 2 ({self.logical(2, 2)}): ")
        self.assertNotIn("block 3 ", text)

    def test_end_of_the_file_inside_the_blocks(self):
        del self.data[self.records[3][1] + 100:]
        self.verify("the position table is not in the file")

    def test_reading_commands_refuse_damaged_blocks_and_leave_nothing(self):
        self.flip(2, 5000)
        self.write("file.case", self.data)
        for threads in "01":
            result = self.run_casefile("unpack", "--threads", threads, self.path("file.case"), self.path("out"),
                                       expect=1)
            self.assert_says(result, f"block 2 ({self.logical(2, 2)}) is damaged")
        self.assertEqual(self.names(), ["file.case"])
        whole = self.run_casefile("cat", "--from", P + BLOCK, "--bytes", BLOCK, self.path("file.case")).stdout
        self.assertEqual(whole, positions(BLOCK, BLOCK))
        self.run_casefile("cat", "--from", P + 2 * BLOCK + 5, "--bytes", 1, self.path("file.case"), expect=1)


class WorthAWordOnly(CasefileTest):
    """What the library reads all the same: verify and info say it, and nothing calls the file damaged."""

    def check(self, data, words):
        self.write("file.case", data)
        result = self.run_casefile("verify", self.path("file.case"))
        self.assert_says(result, words, "which hinders nothing")
        self.assertIn(b": sound: ", result.stdout)
        self.assertEqual([fault["damage"] for fault in self.info()["faults"]], [False])
        self.assertEqual(self.unpacked(), HEADER + text_rows(1000))

    def setUp(self):
        super().setUp()
        self.data = bytearray(self.pack(text_rows(1000)))
        self.form = Form(self.data)

    def test_spare_bytes_between_blocks_and_table(self):
        table = self.form.table
        moved = self.data[:table] + b"." * 10 + self.data[table:]
        struct.pack_into(ORDER + "q", moved, P + 8, table + 10)
        self.check(moved, f"the position table lies at {table + 10}, the blocks end at {table}")

    def test_another_block_size_in_the_header_record(self):
        struct.pack_into(ORDER + "i", self.data, self.form.table + 16, 4096)
        self.check(self.data, "gives 4096 as the block size")

    def test_a_file_position_in_the_header_record(self):
        struct.pack_into(ORDER + "q", self.data, self.form.table + 8, 7)
        self.check(self.data, "gives 7 as a file position")


class HiddenBlocks(CasefileTest):
    def test_table_cut_short_with_its_heading_is_refused(self):
        data = bytearray(self.pack(text_rows(BLOCK + 100)))
        form = Form(data)
        struct.pack_into(ORDER + "q", data, P + 16, 48)
        struct.pack_into(ORDER + "i", data, form.table + 20, 1)
        self.write("file.case", data)
        self.assert_says(self.run_casefile("verify", self.path("file.case"), expect=1), "hides blocks")
        self.run_casefile("unpack", self.path("file.case"), self.path("out"), expect=1)

    def test_a_wrong_last_record_hides_one_from_reading_but_not_from_verify(self):
        data = bytearray(self.pack(text_rows(BLOCK + 100)))
        form = Form(data)
        _, position, _, size = form.records[0]
        struct.pack_into(ORDER + "q", data, P + 16, 48)
        struct.pack_into(ORDER + "i", data, form.table + 20, 1)
        struct.pack_into(ORDER + "i", data, form.table + 44, size + 3)
        self.write("file.case", data)
        result = self.run_casefile("verify", self.path("file.case"), expect=1)
        self.assert_says(result, f"a block that no record names begins where the last one's zlib stream ends, at "
                         f"{position + size}", "its record says")
        self.run_casefile("info", self.path("file.case"))
        self.assertEqual(self.unpacked(), HEADER + text_rows(BLOCK))
        self.run_casefile("recover", self.path("file.case"), self.path("out"))
        self.assertEqual(self.unpacked("out"), HEADER + text_rows(BLOCK + 100))


class EverySingleByteChange(CasefileTest):
    """Of heading and table: verify notices, or what is read is right; reading is right or fails."""

    def sweep(self, case_data, *more):
        plain = HEADER + case_data
        data = self.pack(case_data)
        form = Form(data)
        places = list(range(P, P + 24)) + list(range(form.table, form.table_end))
        chosen = random.Random(7)
        changes = [(place, bits) for place in places for bits in {1, 2, 0x80, 0xFF, chosen.randrange(1, 256)}]

        def check(change):
            place, bits = change
            name = f"{place}-{bits}.case"
            damaged = bytearray(data)
            damaged[place] ^= bits
            self.write(name, damaged)
            verified = self.run_casefile("verify", *more, "-j", "1", self.path(name), expect=None)
            self.assertIn(verified.returncode, (0, 1, 2), change)
            unpacked = self.run_casefile("unpack", *more, self.path(name), "-", expect=None)
            self.assertIn(unpacked.returncode, (0, 1, 2), change)
            if unpacked.returncode == 0 or verified.returncode == 0:
                self.assertEqual(unpacked.stdout, plain, change)
            (self.folder / name).unlink()
            # The header record's file position and block size hinder nothing: they only deserve a word.
            worth_a_word = form.table + 8 <= place < form.table + 20 and bits != 0
            if verified.returncode == 0:
                self.assertTrue(worth_a_word, change)
                self.assert_says(verified, "which hinders nothing")
            return verified.returncode

        with ThreadPoolExecutor(2) as pool:
            list(pool.map(check, sweep(changes)))

    def test_of_a_file_with_two_blocks(self):
        self.sweep(text_rows(BLOCK + 100))

    def test_of_a_file_with_two_blocks_whose_row0_is_told(self):
        self.sweep(text_rows(BLOCK + 100), "--row0", P)

    def test_of_a_file_without_blocks(self):
        self.sweep(b"")


class HostileTables(CasefileTest):
    def test_numbers_at_their_limits(self):
        data = self.pack(text_rows(BLOCK + 100))
        form = Form(data)
        for offset, width, kind in [(P + 8, 8, "q"), (P + 16, 8, "q"), (form.table + 16, 4, "i"),
                                    (form.table + 20, 4, "i"), (form.table + 24, 8, "q"), (form.table + 32, 8, "q"),
                                    (form.table + 40, 4, "i"), (form.table + 44, 4, "i"), (form.table + 48, 8, "q"),
                                    (form.table + 56, 8, "q"), (form.table + 64, 4, "i"), (form.table + 68, 4, "i")]:
            largest = 2 ** (8 * width - 1) - 1
            for value in sweep([0, -1, 24, largest, -largest - 1, largest - 24, 2 ** 31 - 1, -(2 ** 31)]):
                damaged = bytearray(data)
                struct.pack_into(ORDER + kind, damaged, offset, value)
                if damaged == data:
                    continue
                self.write("file.case", damaged)
                for more in [(), ("--row0", P)]:
                    with self.subTest(offset=offset, value=value, more=more):
                        result = self.run_casefile("verify", *more, self.path("file.case"), expect=None)
                        # Any size of a block in the header record hinders nothing.
                        worth_a_word = offset == form.table + 16 and value > 0
                        self.assertIn(result.returncode, (0,) if worth_a_word else (1, 2), result.stderr)
                        told = self.run_casefile("info", *more, self.path("file.case"), expect=None)
                        self.assertIn(told.returncode, (0, result.returncode))  # info looks into no block


@inflates_gigabytes
class ManyDamagedBlocks(CasefileTest):
    def test_beyond_a_thousand_are_counted(self):
        data = bytearray(build([text_rows(BLOCK)] * 3))
        self.write("file.case", self.with_blocks(data, 2010))
        result = self.run_casefile("verify", "-j", "2", self.path("file.case"), expect=1)
        blocks = [line for line in result.stderr.decode().splitlines() if ": block " in line]
        self.assertEqual(len(blocks), 1000)
        self.assert_says(result, f"block 1998 (logical bytes {P + 1998 * BLOCK} to ",
                         "5 more damaged blocks are not listed", " and 5 more ranges")

    @staticmethod
    def with_blocks(data, count):
        """A file whose table is right; every other of its blocks is damaged."""
        block = data[P + 24:P + 24 + Form(data).records[0][3]]
        broken = bytes([block[0] ^ 1]) + block[1:]  # told at its first byte: half of the blocks are inflated
        table = P + 24 + count * len(block)
        out = data[:P] + struct.pack(ORDER + "qqq", P, table, 24 * (count + 1)) + (broken + block) * (count // 2)
        out += struct.pack(ORDER + "qqii", -100, 0, BLOCK, count)
        for i in range(count):
            out += struct.pack(ORDER + "qqii", P + i * BLOCK, P + 24 + i * len(block), BLOCK, len(block))
        return bytes(out)


class TableBeyondTheFile(CasefileTest):
    def test_leaves_no_dead_bytes_to_count(self):
        data = bytearray(self.pack(b"rows"))
        for position in [len(data), len(data) + 1, 2 ** 62, 2 ** 63 - 48, 2 ** 63 - 1, -1, -2 ** 63]:
            struct.pack_into(ORDER + "q", data, P + 8, position)
            self.write("file.case", data)
            self.assertEqual(self.info("file.case", "--row0", str(P), expect=1)["deadBytes"], 0)


@measures_memory
class HostileLengths(CasefileTest):
    """What a file claims about its table costs neither memory nor messages without end."""

    COMMANDS = [("info",), ("info", "--json"), ("verify",), ("cat", "--from", "0"), ("append",), ("unpack",)]

    def sparse(self, table, records, first=b""):
        """A file of holes whose heading names a table; only the table's beginning is written."""
        with open(self.path("file.case"), "wb") as file:
            file.write(HEADER + struct.pack(ORDER + "qqq", P, table, 24 * (records + 1)))
            file.seek(table)
            file.write(struct.pack(ORDER + "qqii", -100, 0, BLOCK, min(records, 2 ** 31 - 1)) + first)
            file.truncate(table + 24 * (records + 1))

    def check(self, text, places):
        for row0 in places:
            for command in self.COMMANDS:
                more = [self.path("out")] if command[0] == "unpack" else []
                with self.subTest(command=command, row0=row0):
                    messages, peak = self.run_and_measure(command[0], *row0, *command[1:], self.path("file.case"),
                                                          *more, expect=1)
                    self.assertLess(peak, SMALL_MEMORY)
                    self.assertLess(len(messages), 400000)
                    if command[0] != "info":
                        self.assertIn(text, messages)
        self.assertEqual(self.names(), ["file.case"])

    def test_table_longer_than_the_form_allows(self):
        self.sparse(40 * 2 ** 30, 2 ** 30)
        self.check("the position table is longer than 2147483647 bytes", [("--row0", P)])

    def test_table_of_many_records_that_are_zero(self):
        self.sparse(2 ** 24, 10 * 2 ** 20, struct.pack(ORDER + "qqii", P, P + 24, BLOCK, 5000))
        self.check("the position table is damaged in more than 1000 places", [(), ("--row0", P)])

    def test_recover_from_a_table_of_many_records_that_are_zero(self):
        self.sparse(2 ** 24, 10 * 2 ** 20)
        messages, peak = self.run_and_measure("recover", "--row0", P, self.path("file.case"), self.path("out"), expect=1)
        self.assertLess(peak, SMALL_MEMORY)
        self.assertIn(f"lost: {10 * 2 ** 20} blocks, logical bytes {P} to {P + 10 * 2 ** 20 * BLOCK - 1}", messages)


class ManyFaults(CasefileTest):
    def test_short_blocks_beyond_a_thousand_are_counted_and_still_read(self):
        parts = [b"%d," % i for i in range(1500)]
        self.write("file.case", build(parts))
        self.assertEqual(self.unpacked(), HEADER + b"".join(parts))
        result = self.run_casefile("verify", self.path("file.case"), expect=1)
        self.assert_says(result, "block 999 ", "499 more faults are not listed")
        self.assertEqual(len(self.info(expect=1)["faults"]), 1001)
