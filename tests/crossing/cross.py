"""Carries files between two builds of the program `carry`: cross.py CASE --here COMMAND --there COMMAND
                                                                        [--other-order]

Each command is one string, split at blanks ("wine-emulator.sh carry.exe"). CASE is one of those below; what
one side writes the other side must find to be right, byte for byte, in both directions. With --other-order the
numbers of one side's machine begin with the high byte and those of the other's with the low one; whoever reads a
compressed file is told when its numbers are not in the reader's order.
"""
import argparse
import filecmp
import os
import shlex
import subprocess
import sys
import tempfile

# A case is a list of steps; the side changes at every '>'.
CASES = {
    "plain": ["write plain", ">", "check plain", "append plain", ">", "check plain-appended"],
    "inline": ["write inline", ">", "check compressed"],
    "worker": ["write worker", ">", "check compressed"],
    "appended": ["write inline", ">", "append compressed", ">", "check compressed-appended", ">",
                 "check compressed-appended"],
    "other-order": ["write other-order", ">", "check compressed", "append compressed", ">",
                    "check compressed-appended"],
}


def run(command, step, file, swap):
    subprocess.run(command + step.split() + [file] + ["swap"] * swap, check=True)


def carry(sides, orders, steps, file):
    """Each side writes heading and table in its own order, and in the other one where the step says so."""
    side, order = 0, None
    for step in steps:
        if step == ">":
            side = 1 - side
            continue
        run(sides[side], step, file, "compressed" in step and order != orders[side])
        if not step.startswith("check"):
            order = orders[side] ^ ("other-order" in step)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("case", choices=CASES)
    parser.add_argument("--here", required=True)
    parser.add_argument("--there", required=True)
    parser.add_argument("--other-order", action="store_true")
    arguments = parser.parse_args()
    here, there = shlex.split(arguments.here), shlex.split(arguments.there)

    with tempfile.TemporaryDirectory() as folder:
        files = [os.path.join(folder, name) for name in ("from-here", "from-there")]
        orders = [0, 1 if arguments.other_order else 0]
        carry([here, there], orders, CASES[arguments.case], files[0])
        carry([there, here], orders[::-1], CASES[arguments.case], files[1])
        if arguments.case == "plain" and not filecmp.cmp(*files, shallow=False):
            print("the two plain files differ")
            return 1
    return 0


sys.exit(main())
