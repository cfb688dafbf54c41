#!/usr/bin/env python3
"""Shows what matters of the output of ninja and ctest: COMMAND 2>&1 | showWhatMatters.py

Steps of a build and tests that pass become one line that counts: written anew on a terminal, a line for each
tenth elsewhere. Everything else is shown as it is.
"""
import re
import sys

STEP = re.compile(r"\[(\d+)/(\d+)\] ")
START = re.compile(r" *Start +\d+: ")
PASSED = re.compile(r" *(\d+)/(\d+) Test +#\d+: .* Passed +[\d.]+ sec$")


class Counter:
    """The line that counts."""

    def __init__(self, output):
        self.output, self.terminal = output, output.isatty()
        self.open, self.tenth = False, 0

    def count(self, what, done, of):
        if self.terminal:
            self.output.write(f"\r{what} {done} of {of} ")
            self.open = True
        elif 10 * done // of != self.tenth:
            self.tenth = 10 * done // of
            if self.tenth > 0:
                self.output.write(f"{what} {done} of {of}\n")
        self.output.flush()

    def show(self, line):
        self.close()
        self.output.write(line)
        self.output.flush()

    def close(self):
        if self.open:
            self.output.write("\r" + 40 * " " + "\r")
            self.output.flush()
        self.open = False


def main():
    sys.stdin.reconfigure(errors="replace")
    sys.stdout.reconfigure(errors="replace")
    counter = Counter(sys.stdout)
    for line in sys.stdin:
        step, passed = STEP.match(line), PASSED.match(line)
        if step:
            counter.count("built", int(step[1]), int(step[2]))
        elif passed:
            counter.count("tested", int(passed[1]), int(passed[2]))
        elif not START.match(line):
            counter.show(line)
    counter.close()


if __name__ == "__main__":
    main()
