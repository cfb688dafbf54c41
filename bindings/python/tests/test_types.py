"""The package's types, which it promises to those who use it (py.typed)."""

import pathlib
import subprocess
import sys


def test_mypy_finds_nothing():
    done = subprocess.run([sys.executable, "-m", "mypy", "--cache-dir", "/dev/null"], stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, check=False, cwd=pathlib.Path(__file__).parents[1])
    assert done.returncode == 0, done.stdout + done.stderr
