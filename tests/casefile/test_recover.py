import random
import struct
from concurrent.futures import ThreadPoolExecutor

from support import BLOCK, HEADER, P, CasefileTest, Form, positions, sweep, text_rows, with_other_order


class AllBlocksPresent(CasefileTest):
    """The result is the file that Close would have made."""

    def setUp(self):
        super().setUp()
        self.whole = self.pack(positions(2 * BLOCK + 777))
        self.form = Form(self.whole)

    def check(self, damaged, *more, expect=0):
        self.write("damaged", damaged)
        self.run_casefile("recover", *more, self.path("damaged"), self.path("rescued"), "--force", expect=expect)
        self.assertEqual(self.read("rescued"), self.whole)
        self.assertEqual(self.read("damaged"), damaged)

    def test_sound_file(self):
        self.check(self.whole)

    def test_heading_never_written_and_no_table(self):
        self.check(self.whole[:P] + bytes(24) + self.whole[P + 24:self.form.table])

    def test_heading_never_written(self):
        self.check(self.whole[:P] + bytes(24) + self.whole[P + 24:])

    def test_heading_never_written_and_table_cut_inside_its_first_record(self):
        for end in range(1, 25):
            self.check(self.whole[:P] + bytes(24) + self.whole[P + 24:self.form.table + end])

    def test_heading_overwritten(self):
        self.check(self.whole[:P] + b"?" * 24 + self.whole[P + 24:])

    def test_table_overwritten(self):
        self.check(self.whole[:self.form.table] + b"?" * (len(self.whole) - self.form.table))

    def test_table_missing(self):
        self.check(self.whole[:self.form.table])

    def test_dead_bytes_go(self):
        self.check(self.whole + b"left over")

    def test_other_byte_order_is_kept_where_it_shows(self):
        other = with_other_order(self.whole)
        for damaged in [other, other[:P] + bytes(24) + other[P + 24:], other[:self.form.table],
                        other[:self.form.table + 30]]:
            self.write("damaged", damaged)
            self.run_casefile("recover", self.path("damaged"), self.path("rescued"), "--force")
            self.assertEqual(self.read("rescued"), other)

    def test_empty_case_data(self):
        self.whole = self.pack(b"")
        self.check(self.whole)
        self.check(self.whole[:P] + bytes(24) + self.whole[P + 24:])
        self.check(self.whole[:P] + bytes(24), "--row0", P)
        self.check(self.whole[:P + 24], "--row0", P)

    def test_exact_multiple_of_the_block(self):
        self.whole = self.pack(text_rows(2 * BLOCK))
        self.check(self.whole[:P] + bytes(24) + self.whole[P + 24:Form(self.whole).table])

    def test_table_cut_or_changed_at_any_byte(self):
        self.whole = self.pack(text_rows(BLOCK + 100))
        self.form = Form(self.whole)
        for end in sweep(range(self.form.table, len(self.whole))):
            self.check(self.whole[:end])
        for place in sweep(range(self.form.table, len(self.whole))):
            damaged = bytearray(self.whole)
            damaged[place] ^= 0x41
            self.write("damaged", damaged)
            # A table that announces more than there is makes it look as if something were lost.
            self.run_casefile("recover", self.path("damaged"), self.path("rescued"), "--force", expect=None)
            self.assertEqual(self.read("rescued"), self.whole)

    def test_heading_changed_at_any_byte(self):
        self.whole = self.pack(text_rows(BLOCK + 100))
        for place in sweep(range(P, P + 24)):
            damaged = bytearray(self.whole)
            damaged[place] ^= 0x41
            self.write("damaged", damaged)
            self.run_casefile("recover", self.path("damaged"), self.path("rescued"), "--force", expect=None)
            self.assertEqual(self.read("rescued"), self.whole)


class CutFile(CasefileTest):
    def test_at_every_byte_of_the_last_block_keeps_every_whole_block(self):
        whole = self.pack(text_rows(BLOCK) + positions(100))
        form = Form(whole)
        first, last = form.records

        def check(end):
            name = f"cut-{end}"
            self.write(name, whole[:end])
            result = self.run_casefile("recover", self.path(name), self.path(name + ".out"),
                                       expect=1 if end < form.table else 0)
            rescued = self.read(name + ".out")
            found = Form(rescued)
            self.assertEqual(found.records[0], first)
            self.assertEqual(len(found.records), 1 if end < form.table else 2)
            self.run_casefile("verify", self.path(name + ".out"))
            if end < form.table:
                self.assert_says(result, f"from logical byte {P + BLOCK} on")
            (self.folder / name).unlink()
            (self.folder / (name + ".out")).unlink()

        with ThreadPoolExecutor(2) as pool:
            list(pool.map(check, sweep(range(last[1], form.table + 1))))

    def test_at_every_byte_of_the_heading(self):
        whole = self.pack(text_rows(100))
        for end in sweep(range(P, P + 25)):
            self.write("cut", whole[:end])
            self.run_casefile("recover", self.path("cut"), self.path("out"), expect=2 if end < P + 8 else None)
            result = self.run_casefile("recover", "--row0", P, self.path("cut"), self.path("out"), "--force",
                                       expect=1)
            self.assert_says(result, "lost: whatever case data there was")
            self.assertEqual(self.unpacked("out"), HEADER)
        self.run_casefile("recover", "--row0", P + 1, self.write("cut", whole[:P]), self.path("other"), expect=2)

    def test_in_the_first_block_keeps_the_dictionary_part(self):
        whole = self.pack(positions(BLOCK))
        self.write("cut", whole[:5000])
        result = self.run_casefile("recover", self.path("cut"), self.path("out"), expect=1)
        self.assert_says(result, f"from logical byte {P} on")
        self.assertEqual(self.unpacked("out"), HEADER)


class DamagedBlock(CasefileTest):
    def setUp(self):
        super().setUp()
        self.whole = self.pack(positions(4 * BLOCK))
        self.form = Form(self.whole)

    def damage(self, block, heading=None):
        data = bytearray(self.whole)
        data[self.form.records[block][1] + 3000] ^= 1
        if heading is not None:
            data[P:P + 24] = heading
        self.write("damaged", data)

    def test_blocks_before_the_first_gap_are_kept_and_the_loss_is_listed(self):
        self.damage(2)
        result = self.run_casefile("recover", self.path("damaged"), self.path("out"), expect=1)
        self.assert_says(result, f"lost: 2 blocks, logical bytes {P + 2 * BLOCK} to {P + 4 * BLOCK - 1}")
        self.assertEqual(self.unpacked("out"), HEADER + positions(2 * BLOCK))
        self.run_casefile("verify", self.path("out"))

    def test_without_a_heading_the_loss_is_open_ended(self):
        self.damage(1, bytes(24))
        result = self.run_casefile("recover", self.path("damaged"), self.path("out"), expect=1)
        self.assert_says(result, f"from logical byte {P + BLOCK} on")
        self.assertEqual(self.unpacked("out"), HEADER + positions(BLOCK))

    def test_first_block(self):
        self.damage(0)
        self.run_casefile("recover", self.path("damaged"), self.path("out"), expect=1)
        self.assertEqual(self.unpacked("out"), HEADER)

    def test_what_more_could_be_had_is_said(self):
        self.damage(1)
        result = self.run_casefile("recover", self.path("damaged"), self.path("out"), expect=1)
        self.assert_says(result, f"2 sound blocks behind the damage, {2 * BLOCK} bytes of case data", "--holes zero")

    def test_holes_are_skipped_or_filled_on_any_number_of_threads(self):
        self.damage(1)
        first, lost, *others = [positions(BLOCK, i * BLOCK) for i in range(4)]
        for how, filling in [("skip", b""), ("zero", bytes(BLOCK))]:
            for threads in [1, 2, 8]:
                result = self.run_casefile("recover", "--holes", how, "-j", threads, "--force", self.path("damaged"),
                                           self.path("out"), expect=1)
                self.assert_says(result, f"lost: 1 blocks, logical bytes {P + BLOCK} to {P + 2 * BLOCK - 1}",
                                 f"3 blocks, {3 * BLOCK} bytes of case data recovered")
                self.assertEqual(self.unpacked("out"), HEADER + first + filling + b"".join(others))
                self.run_casefile("verify", self.path("out"))

    def test_partial_gives_plain_data_up_to_the_damage(self):
        self.damage(2)
        result = self.run_casefile("recover", "--partial", self.path("damaged"), self.path("out"), expect=1)
        plain = self.read("out")
        sound = HEADER + positions(2 * BLOCK)
        self.assertEqual(plain[:len(sound)], sound)
        self.assert_says(result, f"and {len(plain) - len(sound)} bytes of the damaged block")

    def test_wrong_ways_to_treat_holes_are_refused(self):
        self.damage(1)
        for more in [("--holes", "fill"), ("--holes", "zero", "--partial"), ("-j", "0")]:
            self.run_casefile("recover", *more, self.path("damaged"), self.path("out"), expect=2)
        self.assertNotIn("out", self.names())

    def test_first_block_and_heading_leave_nothing_to_find(self):
        self.damage(0, bytes(24))
        # The table still names the place, but nothing sound is there.
        result = self.run_casefile("recover", self.path("damaged"), self.path("out"), expect=2)
        self.assert_says(result, "--row0")
        self.assertNotIn("out", self.names())
        self.run_casefile("recover", "--row0", P, self.path("damaged"), self.path("out"), expect=1)
        self.assertEqual(self.unpacked("out"), HEADER)

    def test_random_damage_never_gives_wrong_bytes(self):
        chosen = random.Random(3)
        plain = HEADER + positions(4 * BLOCK)
        for _ in range(20):
            data = bytearray(self.whole)
            for _ in range(chosen.randrange(1, 4)):
                data[chosen.randrange(P, len(data))] ^= chosen.randrange(1, 256)
            self.write("damaged", data)
            self.run_casefile("recover", "--row0", P, self.path("damaged"), self.path("out"), "--force", expect=None)
            rescued = self.unpacked("out")
            self.assertEqual(rescued, plain[:len(rescued)])
            self.run_casefile("verify", self.path("out"))


class FindingRow0(CasefileTest):
    def test_more_than_one_place_is_refused(self):
        inner = self.pack(b"inner", "inner")
        inner = inner[:P] + bytes(24) + inner[P + 24:]
        row0 = len(inner) + 10
        self.run_casefile("pack", "--row0", row0, self.write("in", inner + b"0123456789outer"), self.path("outer"))
        outer = self.read("outer")
        self.write("damaged", outer[:row0] + bytes(24) + outer[row0 + 24:])
        result = self.run_casefile("recover", self.path("damaged"), self.path("out"), expect=2)
        self.assert_says(result, f"({P}, {row0})")
        self.run_casefile("recover", "--row0", row0, self.path("damaged"), self.path("out"))
        self.assertEqual(self.read("out"), outer)

    def test_more_zeros_than_a_heading_has_ask_for_the_place(self):
        plain = b"dictionary" + bytes(1000) + b"rows of case data"
        self.run_casefile("pack", "--row0", 1010, self.write("in", plain), self.path("whole"))
        whole = self.read("whole")
        self.write("damaged", whole[:1010] + bytes(24) + whole[1034:Form(whole, 1010).table])
        result = self.run_casefile("recover", self.path("damaged"), self.path("out"), expect=2)
        self.assert_says(result, "more zeros than a heading has", "--row0")
        self.run_casefile("recover", "--row0", 1010, self.path("damaged"), self.path("out"))
        self.assertEqual(self.read("out"), whole)
        # A table knows the place.
        self.write("damaged", whole[:1010] + bytes(24) + whole[1034:])
        self.run_casefile("recover", self.path("damaged"), self.path("out"), "--force")
        self.assertEqual(self.read("out"), whole)

    def test_a_first_block_that_never_reached_the_disk_is_not_passed_over(self):
        whole = self.pack(text_rows(2 * BLOCK + 100))
        form = Form(whole)
        second = form.records[1][1]
        for end in (form.table, len(whole)):
            self.write("damaged", whole[:P] + bytes(second - P) + whole[second:end])
            result = self.run_casefile("recover", self.path("damaged"), self.path("out"), expect=2)
            self.assert_says(result, "--row0")
            self.assertNotIn("out", self.names())
