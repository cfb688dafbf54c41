#!/usr/bin/env python3
"""Times casefile against gzip, whole processes in turn:  bench/casefileSpeed.py PATH/TO/casefile

Ratios are medians of the ratios of neighbouring runs; peak memory is the largest of all runs. The
records are those of datasource_bench in kind: 80 bytes, eight numbers and two words.
"""
import argparse
import multiprocessing
import os
import random
import statistics
import struct
import subprocess
import sys
import tempfile
import time

PIECE_ROWS = 200_000
WORDS = [word.ljust(8).encode() for word in ("north", "south", "east", "west", "urban", "rural", "male", "female")]
MISSING = -1.7e308


def records(rows, chance):
    """The bytes of so many rows."""
    pack = struct.Struct("<8d8s8s").pack
    return b"".join(
        pack(row, chance.randrange(5), chance.randrange(2), chance.randrange(100),
             MISSING if chance.randrange(10) == 0 else chance.randrange(7),
             MISSING if chance.randrange(4) == 0 else chance.randrange(1000),
             chance.randrange(100_000) / 100, 1.0, WORDS[chance.randrange(4)], WORDS[4 + chance.randrange(4)])
        for row in range(rows))


def write_records(name, size):
    # One piece over and over: far longer than what a deflate window sees at once.
    piece = records(PIECE_ROWS, random.Random(20240229))
    with open(name, "wb") as file:
        while size > 0:
            size -= file.write(piece[:size])


def run(command, output=None):
    """Seconds and peak memory in KiB of one process that must succeed."""
    with open(output or os.devnull, "wb") as sink:
        start = time.perf_counter()
        process = subprocess.Popen(command, stdout=sink)
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{command} ended with {process.returncode}")
    return seconds, usage.ru_maxrss


def compare(label, rounds, first, second):
    """Prints how many times the speed of `second` the speed of `first` is."""
    first_times, second_times, peak = [], [], 0
    for pass_number in range(rounds + 1):
        pair = [run(*first), run(*second)] if pass_number % 2 else [run(*second), run(*first)][::-1]
        if pass_number == 0:
            continue  # warms the caches
        first_times.append(pair[0][0])
        second_times.append(pair[1][0])
        peak = max(peak, pair[0][1])
    ratio = statistics.median(b / a for a, b in zip(first_times, second_times))
    print(f"{label}: {ratio:.2f}   ({statistics.median(first_times):.2f} s against "
          f"{statistics.median(second_times):.2f} s, peak memory {peak / 1024:.0f} MiB)", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("casefile")
    parser.add_argument("--mib", type=int, default=256, help="size of the record data (default 256)")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--folder", help="where the files lie (default: the folder for temporary files)")
    options = parser.parse_args()
    program = options.casefile
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        plain, packed, gzipped, out = (os.path.join(folder, name) for name in ("plain", "packed", "gz", "out"))
        # In a process of its own: the peak memory of a child counts from that of its parent.
        maker = multiprocessing.Process(target=write_records, args=(plain, options.mib << 20))
        maker.start()
        maker.join()
        pack = [program, "pack", "--row0", "80", "--force"]
        run([*pack, plain, packed])
        run(["gzip", "-1", "-c", plain], gzipped)
        gzip = (["gzip", "-1", "-c", plain], gzipped)
        compare("pack --threads 1 / gzip -1", options.rounds, ([*pack, "--threads", "1", plain, packed],), gzip)
        compare("pack --threads 0 / gzip -1", options.rounds, ([*pack, "--threads", "0", plain, packed],), gzip)
        compare("unpack / gzip -d", options.rounds, ([program, "unpack", "--force", packed, out],),
                (["gzip", "-d", "-c", gzipped], out))
        compare("verify -j 2 / verify -j 1", options.rounds, ([program, "verify", "-j", "2", packed],),
                ([program, "verify", "-j", "1", packed],))


if __name__ == "__main__":
    main()
