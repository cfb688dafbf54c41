"""Tests of what the scripts decide by themselves, in small trees made up for it: which sources a change
touches, which command is each source's, and what a test run left behind. Run it with: python3 -B scriptsTest.py"""

import json
import os
import shutil
import subprocess
import tempfile
import unittest

SCRIPTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts")


class Tree(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def write(self, **files):
        for name, contents in files.items():
            path = os.path.join(self.folder.name, name.replace("__", "/").replace("_", "."))
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write(contents)

    def run_here(self, *command, **more):
        return subprocess.run(command, cwd=self.folder.name, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                              check=False, stdin=subprocess.DEVNULL, **more)


class OneCommandEach(Tree):
    def test_the_first_of_a_source_is_kept(self):
        commands = [{"directory": "/b", "file": file, "command": command}
                    for file, command in [("/s/one.cpp", "1"), ("../s/two.cpp", "2"), ("/s/one.cpp", "3"),
                                          ("/s/two.cpp", "4"), ("/s/three.cpp", "5")]]
        self.write(build__compile_commands_json=json.dumps(commands))
        os.rename(os.path.join(self.folder.name, "build", "compile.commands.json"),
                  os.path.join(self.folder.name, "build", "compile_commands.json"))
        done = self.run_here(os.path.join(SCRIPTS, "oneCommandEach.py"), "build", "out/tidy")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        with open(os.path.join(self.folder.name, "out", "tidy", "compile_commands.json"), encoding="utf-8") as file:
            self.assertEqual([command["command"] for command in json.load(file)], ["1", "2", "5"])


@unittest.skipUnless(shutil.which("git"), "asks git what changed")
class ChangedSources(Tree):
    def setUp(self):
        super().setUp()
        self.run_here("git", "init", "-q", "-b", "main")
        self.write(src__low_h="", src__high_h='#include "low.h"\n', src__low_cpp='#include "low.h"\n',
                   src__high_cpp='#include "high.h"\n', src__other_cpp="#include <string>\n", other__own_cpp="")
        self.commit()

    def commit(self):
        self.run_here("git", "add", "-A")
        made = self.run_here("git", "-c", "user.name=test", "-c", "user.email=test@localhost", "commit", "-qm", "change")
        self.assertEqual(made.returncode, 0, made.stderr)

    def touched(self, **environment):
        done = self.run_here(os.path.join(SCRIPTS, "changedSources.py"), "src", env={**os.environ, **environment})
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout.split()

    def test_without_a_commit_before_all_sources_count(self):
        self.assertEqual(self.touched(), ["src/high.cpp", "src/low.cpp", "src/other.cpp"])

    def test_a_changed_header_touches_all_that_include_it(self):
        self.write(src__low_h="int low;\n")
        self.commit()
        self.assertEqual(self.touched(), ["src/high.cpp", "src/low.cpp"])

    def test_a_source_that_is_not_committed_yet_counts(self):
        self.write(other__own_cpp="int own;\n")
        self.commit()
        self.write(src__other_cpp="int other;\n", src__fresh_cpp="")
        self.assertEqual(self.touched(), ["src/fresh.cpp", "src/other.cpp"])

    def test_everything_counts_when_the_checks_change(self):
        self.commit_twice()
        self.write(**{"_clang-tidy": "Checks: '*'\n"})
        self.assertEqual(len(self.touched()), 3)

    def test_the_base_can_be_named(self):
        self.commit_twice()
        self.assertEqual(self.touched(), [])
        self.assertEqual(self.touched(DATASOURCE_BASE="HEAD~2"), ["src/other.cpp"])

    def commit_twice(self):
        self.write(src__other_cpp="int other;\n")
        self.commit()
        self.write(other__own_cpp="int own;\n")
        self.commit()


class LeavesNothingBehind(Tree):
    def run_guarded(self, command):
        common = os.path.join(SCRIPTS, "common.sh")
        return self.run_here("bash", "-euc", f'. "{common}"; leaves_nothing_behind sh -c "$1"', "bash", command)

    def test_the_status_of_the_command_is_kept(self):
        self.assertEqual(self.run_guarded("exit 0").returncode, 0)
        self.assertEqual(self.run_guarded("exit 7").returncode, 7)

    def test_a_file_in_the_tree_is_an_error(self):
        done = self.run_guarded("mkdir -p tests; touch tests/left")
        self.assertEqual(done.returncode, 1)
        self.assertIn("tests/left", done.stderr)

    def test_a_file_in_a_build_folder_is_none(self):
        self.assertEqual(self.run_guarded("mkdir build; touch build/left").returncode, 0)

    def test_a_temporary_file_is_an_error(self):
        done = self.run_guarded('touch "$TMPDIR/left"')
        self.assertEqual(done.returncode, 1)
        self.assertIn("left", done.stderr)


class Shows(Tree):
    """What is shown of a build and of a test run; the log has all of it."""

    BUILD = "[1/20] Building a.o\n[20/20] Linking a\n"
    PASSED = "        Start  1: A.B\n 1/20 Test  #1: A.B ....   Passed    0.01 sec\n"
    FAILED = "20/20 Test  #2: A.C ....***Failed    0.01 sec\nexpected 1\n"
    SUMMARY = "50% tests passed, 1 tests failed out of 2\n"

    def shown(self, text, status=0, **environment):
        self.write(**{"text": text})
        common = os.path.join(SCRIPTS, "common.sh")
        done = self.run_here("bash", "-euo", "pipefail", "-c",
                             f'. "{common}"; shows build/x.log sh -c "cat text; exit {status}"',
                             env={"PATH": os.environ["PATH"], **environment})
        self.assertEqual(done.returncode, status, done.stderr)
        with open(os.path.join(self.folder.name, "build", "x.log"), encoding="utf-8") as log:
            self.assertEqual(log.read(), text)
        where = "all of the output: build/x.log\n"
        self.assertEqual(done.stdout[-len(where):], where)
        return done.stdout[:-len(where)]

    def test_steps_and_tests_that_pass_are_counted(self):
        self.assertEqual(self.shown(self.BUILD), "built 20 of 20\n")
        self.assertEqual(self.shown(self.PASSED), "")  # not a tenth yet

    def test_what_fails_is_shown_whole(self):
        self.assertEqual(self.shown(self.PASSED + self.FAILED + self.SUMMARY, status=8), self.FAILED + self.SUMMARY)
        error = "FAILED: b.o\nb.cpp:1: error: no\n"
        self.assertEqual(self.shown("[2/3] Building b.o\n" + error, status=1), "built 2 of 3\n" + error)

    def test_everything_is_shown_to_whom_asks(self):
        self.assertEqual(self.shown(self.BUILD, DATASOURCE_VERBOSE="1"), self.BUILD)


class Demo(Tree):
    def test_a_file_that_is_not_there_is_told_before_anything_is_built(self):
        done = self.run_here(os.path.join(SCRIPTS, "demo.sh"), "missing.csv", timeout=300)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertIn("missing.csv", done.stderr)


if __name__ == "__main__":
    unittest.main()
