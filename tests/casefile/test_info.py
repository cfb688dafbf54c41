import struct

from support import (BLOCK, BYTE_ORDER, HEADER, ORDER, OTHER_BYTE_ORDER, P, SMALL_MEMORY, CasefileTest, Form, build,
                     measures_memory, positions, text_rows, with_other_order)


class Info(CasefileTest):
    KEYS = ["file", "fileSize", "logicalSize", "row0", "byteOrder", "swapped", "caseDataSize", "compressedSize", "ratio",
            "blockSize", "blockCount", "tablePosition", "tableSize", "deadBytes", "unfinishedAppend", "faults"]

    def test_json_has_the_documented_shape(self):
        data = self.pack(positions(BLOCK + 10))
        form = Form(data)
        told = self.info()
        self.assertEqual(list(told), self.KEYS)
        packed = form.table - P - 24
        self.assertEqual(told, {
            "file": self.path("file.case"), "fileSize": len(data), "logicalSize": P + BLOCK + 10, "row0": P,
            "byteOrder": BYTE_ORDER, "swapped": False, "caseDataSize": BLOCK + 10, "compressedSize": packed,
            "ratio": (BLOCK + 10) / packed, "blockSize": BLOCK, "blockCount": 2, "tablePosition": form.table,
            "tableSize": 72, "deadBytes": 0, "unfinishedAppend": False, "faults": []})

    def test_json_with_blocks_has_a_row_for_each(self):
        form = Form(self.pack(positions(BLOCK + 10)))
        told = self.info("file.case", "--blocks")
        self.assertEqual(list(told), self.KEYS + ["blocks"])
        self.assertEqual([tuple(block.values()) for block in told["blocks"]],
                         [(i, r[0], r[2], r[1], r[3]) for i, r in enumerate(form.records)])
        self.assertEqual(list(told["blocks"][0]),
                         ["index", "logicalPosition", "logicalSize", "filePosition", "fileSize"])

    def test_json_with_blocks_of_a_file_without_any(self):
        self.pack(b"")
        self.assertEqual(self.info("file.case", "--blocks")["blocks"], [])

    @measures_memory
    def test_blocks_of_more_than_a_terabyte_take_little_memory(self):
        count, packed = 300000, 5000
        records = b"".join(struct.pack(ORDER + "qqii", P + i * BLOCK, P + 24 + i * packed, BLOCK, packed)
                           for i in range(count))
        table = P + 24 + count * packed
        with open(self.path("file.case"), "wb") as file:
            file.write(HEADER + struct.pack(ORDER + "qqq", P, table, 24 * (count + 1)))
            file.seek(table)
            file.write(struct.pack(ORDER + "qqii", -100, 0, BLOCK, count) + records)
        for more in [(), ("--json",)]:
            _, peak = self.run_and_measure("info", "--row0", P, "--blocks", *more, self.path("file.case"), expect=0)
            self.assertLess(peak, SMALL_MEMORY)
        blocks = self.info("file.case", "--row0", str(P), "--blocks")["blocks"]
        self.assertEqual((len(blocks), blocks[-1]["logicalPosition"]), (count, P + (count - 1) * BLOCK))

    def test_empty_case_data_have_no_ratio(self):
        self.pack(b"")
        told = self.info()
        self.assertEqual((told["ratio"], told["blockCount"], told["tableSize"]), (None, 0, 24))
        self.assertNotIn("ratio", self.run_casefile("info", self.path("file.case")).stdout.decode())

    def test_text_tells_the_same(self):
        form = Form(self.pack(positions(BLOCK + 10)))
        text = self.run_casefile("info", "--blocks", self.path("file.case")).stdout.decode()
        for part in [f"row 0           {P}", f"{BYTE_ORDER}-endian", f"72 bytes at {form.table}", "blocks          2",
                     "dead bytes      0", "encoder         any: the file does not tell which"]:
            self.assertIn(part, text)
        rows = text.replace("\r", "").split("\n\n")[1].splitlines()[1:]
        self.assertEqual([tuple(map(int, row.split())) for row in rows],
                         [(i, r[0], r[2], r[1], r[3]) for i, r in enumerate(form.records)])

    def test_dead_bytes_behind_the_table(self):
        data = self.pack(positions(1000))
        self.write("file.case", data + b"left over")
        self.assertEqual(self.info()["deadBytes"], 9)
        self.assertIn("9 dead bytes", self.run_casefile("verify", self.path("file.case")).stdout.decode())

    def test_faults_are_listed(self):
        data = bytearray(self.pack(positions(BLOCK + 10)))
        form = Form(data)
        data[form.table + 24 + 24] ^= 1  # the second block's logical position
        self.write("file.case", data)
        told = self.info(expect=1)
        self.assertEqual(len(told["faults"]), 1)
        self.assertEqual(list(told["faults"][0]), ["block", "what", "hindersReading", "damage"])
        self.assertEqual(told["faults"][0]["block"], 1)


class ByteOrder(CasefileTest):
    def setUp(self):
        super().setUp()
        self.plain = HEADER + positions(BLOCK + 1000)
        self.native = self.pack(self.plain[P:])
        self.write("other", with_other_order(self.native))

    def test_is_found_out(self):
        told = self.info("other")
        self.assertEqual((told["byteOrder"], told["swapped"], told["row0"]), (OTHER_BYTE_ORDER, True, P))
        self.assertEqual(self.unpacked("other"), self.plain)
        self.run_casefile("verify", self.path("other"))
        self.assertEqual(self.unpacked("other", "--row0", P), self.plain)

    def test_can_be_forced(self):
        self.assertEqual(self.unpacked("other", "--swap"), self.plain)
        self.assertEqual(self.unpacked("other", "--swap", "--row0", P), self.plain)
        self.run_casefile("verify", "--swap", self.path("other"))
        self.assertEqual(self.run_casefile("cat", "--swap", "--from", "5", "--bytes", "30", self.path("other")).stdout,
                         self.plain[5:35])
        for more in [(), ("--row0", P)]:
            self.run_casefile("verify", "--swap", *more, self.path("file.case"), expect=2)

    def test_append_continues_in_this_machines_order(self):
        self.run_casefile("append", self.path("other"), input=b"more")
        self.assertEqual(self.info("other")["byteOrder"], BYTE_ORDER)
        self.assertEqual(self.unpacked("other"), self.plain + b"more")

    def test_recover_keeps_it(self):
        self.run_casefile("recover", self.path("other"), self.path("rescued"))
        self.assertEqual(self.read("rescued"), self.read("other"))

    def test_row0_that_reads_the_same_in_both_orders(self):
        row0 = 0x0000010000010000 & 0  # zero is the only such position that a small file can have
        self.run_casefile("pack", "--row0", row0, self.write("in", b""), self.path("zero"))
        self.assertEqual(self.info("zero")["byteOrder"], BYTE_ORDER)
        self.write("zero", with_other_order(self.read("zero"), 0))
        self.assertEqual(self.info("zero")["byteOrder"], OTHER_BYTE_ORDER)
        self.assertEqual(self.info("zero", "--row0", "0")["byteOrder"], OTHER_BYTE_ORDER)


class FindingRow0(CasefileTest):
    def test_far_into_the_file(self):
        for row0 in [1, 7, 8, 255, 256, 65536, 262143, 262144, 262145, 3000001]:
            plain = text_rows(row0) + b"rows"
            self.run_casefile("pack", "--force", "--row0", row0, self.write("in", plain), self.path("out"))
            self.assertEqual(self.info("out")["row0"], row0)

    def test_more_than_one_heading_that_fits(self):
        inner = self.pack(b"inner", "inner")
        row0 = len(inner) + 10
        self.run_casefile("pack", "--row0", row0, self.write("in", inner + b"0123456789outer"), self.path("outer"))
        for arguments in [("info",), ("verify",), ("cat", "--from", "0"), ("append",)]:
            result = self.run_casefile(*arguments, self.path("outer"), expect=2)
            self.assert_says(result, f"more than one heading fits ({P}, {row0})", "--row0")
        self.assertEqual(self.unpacked("outer", "--row0", row0), inner + b"0123456789outer")

    def test_position_that_equals_itself_by_chance_is_not_taken(self):
        decoy = b"".join(i.to_bytes(8, BYTE_ORDER) for i in range(0, 4000, 8))  # every eighth position spells itself
        self.run_casefile("pack", "--row0", 4000, self.write("in", decoy + b"rows"), self.path("out"))
        self.assertEqual(self.info("out")["row0"], 4000)

    def test_case_data_that_hold_a_compressed_file_do_not_confuse(self):
        inner = self.pack(b"inner", "inner")
        self.run_casefile("pack", "--row0", "3", self.write("in", b"abc" + inner), self.path("out"))
        self.assertEqual(self.unpacked("out"), b"abc" + inner)


class ShortBlockInTheMiddle(CasefileTest):
    """An owner of the library flushed in the middle of the data."""

    def test_is_told_and_reads_right_all_the_same(self):
        parts = [text_rows(BLOCK), b"short", text_rows(BLOCK), b"x", b"rest"]
        self.write("file.case", build(parts))
        for threads in "01":
            self.assertEqual(self.unpacked("file.case", "--threads", threads), HEADER + b"".join(parts))
        result = self.run_casefile("verify", self.path("file.case"), expect=1)
        self.assert_says(result, "block 1 ", "block 3 ", "shorter than a block and not the last")
