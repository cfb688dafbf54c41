"""The package's types, which it promises to those who use it (py.typed)."""

import pathlib
import subprocess
import sys


def test_mypy_finds_nothing():
    done = subprocess.run([sys.executable, "-m", "mypy", "--cache-dir", "/dev/null"], stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, check=False, cwd=pathlib.Path(__file__).parents[1])
    assert done.returncode == 0, done.stdout + done.stderr


def test_a_program_may_use_each_field_of_an_error():
    program = "\n".join(("import casefile", "try:", "    casefile.verify('a.case')", "except casefile.DamagedError as error:",
                         "    print(error.status, error.message, error.filename, error.operation, error.system_code,",
                         "          error.file_position, error.range)"))
    done = subprocess.run([sys.executable, "-m", "mypy", "--cache-dir", "/dev/null", "--config-file", "/dev/null",
                           "--ignore-missing-imports", "--strict", "-c", program], stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, check=False, cwd=pathlib.Path(__file__).parents[1])
    assert done.returncode == 0, done.stdout + done.stderr
