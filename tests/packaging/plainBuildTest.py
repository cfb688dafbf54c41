"""What a newer compiler warns of stops nobody's build but our own: configured without a preset, no source is compiled
with warnings as errors. Run it with: python3 -B plainBuildTest.py"""

import json
import os
import pathlib
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]


def compile_commands(*options):
    """How each source is compiled in a build that is configured with these options and no preset."""
    with tempfile.TemporaryDirectory() as build:
        environment = {name: value for name, value in os.environ.items() if name not in ("CFLAGS", "CXXFLAGS")}
        subprocess.run(["cmake", "-S", SOURCE, "-B", build, *options], stdout=subprocess.DEVNULL, env=environment,
                       timeout=600, check=True)
        return [entry["command"] for entry in json.loads((pathlib.Path(build) / "compile_commands.json").read_text())]


class PlainBuild(unittest.TestCase):
    def test_warnings_are_no_errors(self):
        commands = compile_commands()
        self.assertTrue(commands)
        self.assertEqual([command for command in commands if "-Werror" in command], [])

    def test_warnings_are_errors_where_that_is_asked_for(self):
        commands = compile_commands("-DDATASOURCE_WARNINGS_AS_ERRORS=ON", "-DDATASOURCE_BUILD_TESTS=OFF")
        self.assertTrue(any("-Werror" in command for command in commands))


if __name__ == "__main__":
    unittest.main()
