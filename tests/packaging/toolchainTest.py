"""The toolchain file lets a Windows program find packages where its maker says they are."""

import pathlib
import subprocess
import tempfile
import unittest

CMAKE = "cmake"
TOOLCHAIN = pathlib.Path(__file__).resolve().parents[2] / "cmake/toolchains/windows-x86_64.cmake"
PROJECT = """cmake_minimum_required(VERSION 3.25)
project(Consumer LANGUAGES NONE)
find_package(Sought REQUIRED)
"""


class Toolchain(unittest.TestCase):
    def configure(self, *options):
        with tempfile.TemporaryDirectory() as holder:
            top = pathlib.Path(holder)
            package = top / "installed/lib/cmake/Sought"
            package.mkdir(parents=True)
            (package / "SoughtConfig.cmake").write_text("")
            (top / "CMakeLists.txt").write_text(PROJECT)
            command = [CMAKE, "-S", top, "-B", top / "build", f"-DCMAKE_TOOLCHAIN_FILE={TOOLCHAIN}"]
            command += [option.replace("INSTALLED", str(top / "installed")) for option in options]
            return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)

    def test_finds_what_lies_below_the_prefix_path(self):
        result = self.configure("-DCMAKE_PREFIX_PATH=INSTALLED")
        self.assertEqual(result.returncode, 0, result.stdout.decode())

    def test_finds_what_lies_below_a_root_path_of_the_user(self):
        result = self.configure("-DCMAKE_FIND_ROOT_PATH=INSTALLED")
        self.assertEqual(result.returncode, 0, result.stdout.decode())

    def test_finds_nothing_that_nobody_named(self):
        self.assertNotEqual(self.configure().returncode, 0)


if __name__ == "__main__":
    unittest.main()
