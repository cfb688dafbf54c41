"""Tests of what makes the site of guides and references: the check of its links can fail, and the headers reach
Doxygen line for line. Run it with: python3 -B siteTest.py"""

import os
import subprocess
import sys
import tempfile
import unittest

TOP = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
sys.path.insert(0, os.path.join(TOP, "docs", "site"))

import checkLinks  # noqa: E402
import commentFilter  # noqa: E402


class Links(unittest.TestCase):
    def complaints(self, **pages):
        with tempfile.TemporaryDirectory() as folder:
            for name, page in pages.items():
                path = os.path.join(folder, *name.split("__")) + ".html"
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "w", encoding="utf-8") as file:
                    file.write(page)
            return list(checkLinks.complaints(folder))

    def test_links_that_lead_somewhere_are_left_in_peace(self):
        self.assertEqual(self.complaints(index='<a href="a.html#here">a</a><a href="https://example.org/">b</a>',
                                         a='<p id="here"><a href="#here">up</a><a href="sub/b.html">b</a>',
                                         sub__b='<a href="../index.html">top</a>'), [])

    def test_a_missing_page_a_missing_place_and_a_page_that_none_leads_to_are_named(self):
        for page, other, words in [('<a href="b.html">b</a><a href="a.html">a</a>', "", "no such file"),
                                   ('<a href="a.html#there">a</a>', '<p id="here">', "no such place"),
                                   ('<img src="none.svg"><a href="a.html">a</a>', "", "no such file"),
                                   ("", "", "no link leads here"), ('<a href="../a.html">a</a><a href="a.html">', "", "no such file")]:
            found = self.complaints(index=page, a=other)
            self.assertEqual(len(found), 1, found)
            self.assertIn(words, found[0])


class Comments(unittest.TestCase):
    def shown(self, *lines):
        return list(commentFilter.shown(f"{line}\n" for line in lines))

    def test_parts_of_a_comment_become_headings(self):
        self.assertEqual(self.shown("/// Returns: bytes.")[0], "/// \\part{Returns} bytes.\n")
        self.assertEqual(self.shown("/// Opens it. Raises: Error.")[0], "/// Opens it. \\part{Raises} Error.\n")

    def test_what_needs_no_comment_gets_a_sentence_and_nothing_else_does(self):
        self.assertIn("/** Copies. */", self.shown("  Error(const Error&) noexcept;")[0])
        self.assertIn("/** As the base class says. */", self.shown("  int sync() override {")[0])
        for line in ["  int read(Reader&);", "  Error(const Error&) = delete;"]:
            self.assertEqual(self.shown(line), [line + "\n"])
        self.assertEqual(self.shown("  /// Why.", "  int sync() override {")[1], "  int sync() override {\n")

    def test_a_header_keeps_its_lines(self):
        header = os.path.join(TOP, "casefile", "include", "casefile", "cReader.h")
        program = os.path.join(TOP, "docs", "site", "commentFilter.py")
        shown = subprocess.run([sys.executable, "-B", program, header], check=True, capture_output=True, text=True).stdout
        with open(header, encoding="utf-8") as file:
            kept = file.read().split("\n")
        place = next(number for number, line in enumerate(kept) if "casefile_reader_open(" in line)
        self.assertIn("casefile_reader_open(", shown.split("\n")[place])
        self.assertIn("/** @file\n The C interface: reading.\n*/", shown)


if __name__ == "__main__":
    unittest.main()
