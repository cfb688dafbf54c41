"""Carries files between two builds of the program `carry`: cross.py CASE --here COMMAND --there COMMAND

Each command is one string, split at blanks ("wine-emulator.sh carry.exe"). CASE is one of those below; what
one side writes the other side must find to be right, byte for byte, in both directions.
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
    "big-endian": ["write big-endian", ">", "check big-endian"],
}


def run(command, step, file):
    subprocess.run(command + step.split() + [file], check=True)


def carry(sides, steps, file):
    side = 0
    for step in steps:
        if step == ">":
            side = 1 - side
        else:
            run(sides[side], step, file)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("case", choices=CASES)
    parser.add_argument("--here", required=True)
    parser.add_argument("--there", required=True)
    arguments = parser.parse_args()
    here, there = shlex.split(arguments.here), shlex.split(arguments.there)

    with tempfile.TemporaryDirectory() as folder:
        files = [os.path.join(folder, name) for name in ("from-here", "from-there")]
        carry([here, there], CASES[arguments.case], files[0])
        carry([there, here], CASES[arguments.case], files[1])
        if arguments.case == "plain" and not filecmp.cmp(*files, shallow=False):
            print("the two plain files differ")
            return 1
    return 0


sys.exit(main())
