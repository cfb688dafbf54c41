"""compareAbi.py tells what breaks programs from what does not."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).with_name("compareAbi.py")
COMPILER = os.environ.get("CXX", "c++")
HEADER = """struct Box { int wide; %s };
class Counter { public: int count(Box& box); %s };
%s
"""
SOURCE = '#include "box.h"\nint Counter::count(Box& box) { return box.wide; }\n%s\n'


@unittest.skipUnless(shutil.which("abidiff"), "abidiff (Debian: abigail-tools) is not installed")
class CompareAbi(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.top = pathlib.Path(holder.name)
        self.recorded = self.top / "libbox.abi.xz"
        self.compare(self.built(functions="int other();", bodies="int other() { return 1; }"), "--record")

    def built(self, field="", member="", functions="", bodies=""):
        (self.top / "box.h").write_text(HEADER % (field, member, functions))
        (self.top / "box.cpp").write_text(SOURCE % bodies)
        subprocess.run([COMPILER, "-g", "-shared", "-fPIC", "-o", "libbox.so", "box.cpp"], cwd=self.top, check=True)
        return self.top / "libbox.so"

    def compare(self, library, *more):
        return subprocess.run([sys.executable, "-B", SCRIPT, "--recorded", self.recorded, "--library", library,
                               "--headers", self.top, *more], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              check=False, timeout=120).returncode

    def test_the_same_is_no_difference(self):
        self.assertEqual(self.compare(self.built(functions="int other();", bodies="int other() { return 2; }")), 0)

    def test_a_new_function_is_no_difference(self):
        library = self.built(functions="int other(); int more();",
                             bodies="int other() { return 1; } int more() { return 2; }")
        self.assertEqual(self.compare(library), 0)

    def test_a_new_member_function_is_no_difference(self):
        library = self.built(member="int twice(Box& box);", functions="int other();",
                             bodies="int other() { return 1; } int Counter::twice(Box& box) { return 2 * box.wide; }")
        self.assertEqual(self.compare(library), 0)

    def test_a_function_that_is_gone_is_one(self):
        self.assertEqual(self.compare(self.built()), 1)

    def test_a_larger_type_is_one(self):
        library = self.built(field="int high;", functions="int other();", bodies="int other() { return 1; }")
        self.assertEqual(self.compare(library), 1)

    def test_another_result_is_one(self):
        self.assertEqual(self.compare(self.built(functions="long other();", bodies="long other() { return 1; }")), 1)

    def test_a_library_without_debug_information_cannot_be_compared(self):
        library = self.built(functions="int other();", bodies="int other() { return 1; }")
        subprocess.run(["strip", "--strip-debug", library], check=True)
        self.assertEqual(self.compare(library), 1)


if __name__ == "__main__":
    unittest.main()
