"""Checks that a writer of another process is refused: hold.py PROGRAM

PROGRAM is one string, split at blanks ("wine-emulator.sh carry.exe"). One process holds a file open for writing
until its standard input ends; meanwhile another one may not open it for writing, and afterwards it may.
"""
import os
import shlex
import subprocess
import sys
import tempfile

DEADLINE = 60 * int(os.environ.get("DATASOURCE_TEST_PATIENCE", "1"))


def run(program, step, file):
    subprocess.run(program + step.split() + [file], check=True, timeout=DEADLINE)


def main():
    program = shlex.split(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder:
        file = os.path.join(folder, "held")
        run(program, "write plain", file)
        with subprocess.Popen(program + ["hold", "plain", file], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as holder:
            if holder.stdout.readline().strip() != b"held":
                print("the first writer did not open the file")
                return 1
            run(program, "refuse plain", file)
            holder.stdin.close()
            if holder.wait(DEADLINE) != 0:
                print("the first writer failed")
                return 1
        run(program, "check plain", file)
        run(program, "append plain", file)
        run(program, "check plain-appended", file)
    return 0


sys.exit(main())
