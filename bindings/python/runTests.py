#!/usr/bin/env python3
"""Runs the tests of the package with an interpreter that has what they need: runTests.py LIBRARY HEADERS VERSION [PYTEST-ARGUMENT...]

An interpreter is whichever of the one that runs this and the system's own has all modules; that none has is a failure.
runTests.py --look only says whether one has them.
"""
import os
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
NEEDED = ("cffi", "numpy", "pandas", "fsspec", "dask", "distributed", "pytest", "mypy", "pip", "setuptools",
          "wheel")
LOOK = "import importlib.util, sys; sys.exit(not all(map(importlib.util.find_spec, sys.argv[1:])))"


def interpreter():
    for candidate in (sys.executable, "/usr/bin/python3"):
        if subprocess.run([candidate, "-c", LOOK, *NEEDED], check=False, stdin=subprocess.DEVNULL,
                          capture_output=True).returncode == 0:
            return candidate
    sys.exit(f"no interpreter has all of {', '.join(NEEDED)}: scripts/setup.sh python installs them")


def main():
    if sys.argv[1:] == ["--look"]:
        interpreter()
        return
    library, headers, version, *more = sys.argv[1:]
    subprocess.run([sys.executable, os.path.join(HERE, "makeInterface.py"), headers, version, "--check"], check=True)
    with tempfile.TemporaryDirectory() as folder:
        environment = {**os.environ, "CASEFILE_LIBRARY": os.path.abspath(library), "PYTHONPATH": HERE,
                       "PYTHONDONTWRITEBYTECODE": "1",
                       "DASK_TEMPORARY_DIRECTORY": folder}  # newer releases leave a folder in that for all programs
        command = [interpreter(), "-m", "pytest", "-q", "--basetemp", os.path.join(folder, "tests"), *more]
        sys.exit(subprocess.run(command, cwd=HERE, env=environment, check=False, stdin=subprocess.DEVNULL).returncode)


if __name__ == "__main__":
    main()
