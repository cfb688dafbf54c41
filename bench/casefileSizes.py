#!/usr/bin/env python3
"""Shows what a byte costs casefile in small and large files:  bench/casefileSizes.py PATH/TO/casefile

For each size: the processor time of `pack`, fed by a pipe, of `cat` to nowhere and of `verify`, in nanoseconds for
each byte of record data, the median of some rounds; and how many times that of the first size it is. What a process
costs that packs or reads no records at all is left out. Only the compressed file is kept, a quarter of the data.
"""
import argparse
import os
import random
import statistics
import subprocess
import tempfile

from casefileSpeed import PIECE_ROWS, memory_folder, records

SMALL = 1 << 30


def processor_time(command, feed=None):
    """What one process took, in seconds; `feed(file)` writes its standard input."""
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as process:
        if feed:
            feed(process.stdin)
        process.stdin.close()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise SystemExit(f"{command} ended with {process.returncode}")
    return usage.ru_utime + usage.ru_stime


class Sizes:
    def __init__(self, program, threads, rounds, folder):
        self.program, self.threads, self.rounds = program, threads, rounds
        self.packed = os.path.join(folder, "packed")
        self.piece = records(PIECE_ROWS, random.Random(20240229))

    def feed(self, size):
        def write(file):
            left = size
            while left > 0:
                left -= file.write(memoryview(self.piece)[:left])
        return write

    def run(self, size):
        """The times of pack, cat and verify at this size."""
        start = [self.program]
        own = ["-j", self.threads]
        return (processor_time([*start, "pack", "--row0", "80", "--force", *own, "-", self.packed], self.feed(size)),
                processor_time([*start, "cat", *own, self.packed]),
                processor_time([*start, "verify", *own, self.packed]))

    def medians(self, size):
        rounds = [self.run(size) for _ in range(self.rounds if size < SMALL else 1)]
        return [statistics.median(times) for times in zip(*rounds)]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("casefile")
    parser.add_argument("--mib", type=int, nargs="+", default=[16, 256, 2048, 8192], help="sizes of the record data")
    parser.add_argument("--threads", default="2", help="threads of each process (default 2)")
    parser.add_argument("--rounds", type=int, default=9, help="rounds at sizes below 1 GiB (default 9; others: one)")
    parser.add_argument("--folder", default=memory_folder(), help="where the file lies (default: in memory)")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        sizes = Sizes(options.casefile, options.threads, options.rounds, folder)
        nothing = sizes.medians(80)  # the dictionary part alone
        first = None
        for mib in options.mib:
            costs = [(taken - fixed) / (mib << 20) * 1e9 for taken, fixed in zip(sizes.medians(mib << 20), nothing)]
            first = first or costs
            print(f"{mib} MiB: " + ", ".join(f"{name} {cost:.3f} ns ({cost / start:.2f})" for name, cost, start
                                              in zip(("pack", "cat", "verify"), costs, first)), flush=True)


if __name__ == "__main__":
    main()
