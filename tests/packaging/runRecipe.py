"""Runs an example in a folder of its own and compares what it prints with the page that shows it.

runRecipe.py --page FILE --source FILE -- PROGRAM...
"""
import argparse
import subprocess
import sys
import tempfile

from recipes import recipes


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--page", required=True)
    parser.add_argument("--source", required=True)
    parser.add_argument("program", nargs="+")
    arguments = parser.parse_args()

    with open(arguments.page, encoding="utf-8") as page, open(arguments.source, encoding="utf-8") as source:
        shown = dict(recipes(page.read()))
        code = source.read()
    if code not in shown:
        sys.exit(f"{arguments.page} does not show {arguments.source}")
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run(arguments.program, cwd=folder, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                             check=False)
    if (run.returncode, run.stdout, run.stderr) != (0, shown[code], ""):
        sys.exit(f"exit code {run.returncode}\n--- standard error\n{run.stderr}--- printed\n{run.stdout}"
                 f"--- the page says\n{shown[code]}")


if __name__ == "__main__":
    main()
