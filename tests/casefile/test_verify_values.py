from concurrent.futures import ThreadPoolExecutor

from support import HEADER, P, CasefileTest, Form, long_sweep, text_rows


class EveryValueOfEveryByte(CasefileTest):
    """Of heading and table of a file of one block."""

    def test_is_noticed_or_harmless(self):
        plain = HEADER + text_rows(1000)
        data = self.pack(text_rows(1000))
        form = Form(data)
        places = [*range(P, P + 24), *range(form.table, form.table_end)]
        changes = [(place, bits) for place in places for bits in range(1, 256)]

        def check(change):
            place, bits = change
            name = f"{place}-{bits}.case"
            damaged = bytearray(data)
            damaged[place] ^= bits
            self.write(name, damaged)
            code = self.run_casefile("verify", "-j", "1", self.path(name), expect=None).returncode
            self.assertIn(code, (0, 1, 2), change)
            if code == 0:
                self.assertEqual(self.unpacked(name), plain, change)
            (self.folder / name).unlink()

        with ThreadPoolExecutor(2) as pool:
            list(pool.map(check, long_sweep(changes)))
