import json

from support import CasefileTest, P, positions, text_rows


class SeveralFiles(CasefileTest):
    """info and verify go on behind a file for which they fail; the exit code is the worst."""

    def setUp(self):
        super().setUp()
        self.pack(text_rows(1000), "first")
        damaged = bytearray(self.pack(text_rows(2000), "damaged"))
        damaged[P + 40] ^= 1
        self.write("damaged", damaged)
        self.write("other", b"nothing of the kind")
        self.pack(text_rows(3000), "last")

    def run_over(self, command, *names, expect):
        return self.run_casefile(*command, *names, cwd=self.folder, expect=expect)

    def test_verify(self):
        result = self.run_over(["verify"], "first", "damaged", "last", expect=1)
        self.assertEqual([line.split(":")[0] for line in result.stdout.decode().splitlines()], ["first", "last"])
        self.assert_says(result, "damaged: block 0 ")
        result = self.run_over(["verify"], "missing", "damaged", "other", "last", expect=2)
        self.assertEqual(result.stdout.decode().count("sound"), 1)
        self.assert_says(result, "missing: cannot be opened", "other: is no compressed data file")
        self.run_over(["verify"], "first", "last", expect=0)

    def test_info(self):
        result = self.run_over(["info"], "first", "other", "last", expect=2)
        self.assertEqual(result.stdout.decode().count("row 0"), 2)
        self.assertIn("\n\nfile            last\n", result.stdout.decode())

    def test_info_as_json_is_a_list(self):
        for names, told in [(["first", "last"], ["first", "last"]), (["first", "other", "last"], ["first", "last"]),
                            (["other", "missing"], [])]:
            result = self.run_over(["info", "--json", "--blocks"], *names, expect=0 if names == told else 2)
            self.assertEqual([one["file"] for one in json.loads(result.stdout)], told)

    def test_names_in_brackets_are_names(self):
        self.pack(positions(500), "[first,last]")
        self.assertIn(b"[first,last]: sound", self.run_over(["verify"], "[first,last]", expect=0).stdout)
        self.assertEqual(self.run_over(["verify"], "[first,last]", "last", expect=0).stdout.count(b"sound"), 2)
        told = self.run_over(["info", "--json"], "[first,last]", expect=0)
        self.assertEqual(json.loads(told.stdout)["file"], "[first,last]")
