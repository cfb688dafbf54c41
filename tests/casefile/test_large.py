import os

from support import BLOCK, HEADER, P, CasefileTest

SIZE = 4 * 2 ** 30 + 3 * BLOCK + 17
MARKS = [0, 2 ** 31 - 4, 2 ** 32 - 4, 2 ** 32 + BLOCK, SIZE - 8]


class BeyondFourGigabytes(CasefileTest):
    """Logical sizes beyond 4 GiB: a sparse input with a few marks."""

    def test_every_command(self):
        with open(self.path("in"), "wb") as plain:
            plain.write(HEADER)
            for mark in MARKS:
                plain.seek(P + mark)
                plain.write(mark.to_bytes(8, "little"))
        self.assertEqual(os.path.getsize(self.path("in")), P + SIZE)
        self.run_casefile("pack", self.path("in"), self.path("out"))
        os.unlink(self.path("in"))
        told = self.info("out")
        self.assertEqual((told["logicalSize"], told["caseDataSize"], told["row0"]), (P + SIZE, SIZE, P))
        self.run_casefile("verify", "-j", "2", self.path("out"))
        self.run_casefile("append", self.path("out"), input=b"the end")
        for mark in MARKS:
            result = self.run_casefile("cat", "--from", P + mark, "--bytes", 8, self.path("out"))
            self.assertEqual(int.from_bytes(result.stdout, "little"), mark)
        self.assertEqual(self.run_casefile("cat", "--from", P + SIZE, self.path("out")).stdout, b"the end")
        self.check_unpacked()
        self.run_casefile("recover", self.path("out"), self.path("rescued"))
        self.assertEqual(self.read("rescued"), self.read("out")[:self.info("out")["tablePosition"] +
                                                                self.info("out")["tableSize"]])

    def check_unpacked(self):
        process = self.start_casefile("unpack", self.path("out"), "-", stdout=-1)
        position, set_bytes = 0, 0
        while piece := process.stdout.read(1 << 20):
            position += len(piece)
            set_bytes += len(piece) - piece.count(0)
        process.stdout.close()
        self.assertEqual(process.wait(), 0)
        self.assertEqual(position, P + SIZE + 7)
        marks = sum(8 - mark.to_bytes(8, "little").count(0) for mark in MARKS)
        self.assertEqual(set_bytes, len(HEADER) + marks + 7)
