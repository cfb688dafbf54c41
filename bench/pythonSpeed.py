#!/usr/bin/env python3
"""Times the Python package:  bench/pythonSpeed.py BUILD-FOLDER

In one process, the rivals in turn, in an order that changes; medians of the ratios of the same round, by the clock and by
processor time (which is what counts where the machine is not idle).

- records() of a whole file against the C++ Reader (casefile_whole_read of the build folder), both into fresh memory.
- the bytes of a whole file, against gzip.open, whose file gzip has made at level 1.
- casefile.read_csv against pandas.read_csv of the uncompressed file plus the decoding, and against pandas.read_csv with
  compression="gzip".

The records are those of casefileSpeed.py. The files lie in memory. It wants what `scripts/setup.sh python` installs.
"""
import argparse
import gzip
import os
import statistics
import subprocess
import sys
import tempfile
import time

import casefileSpeed

HERE = os.path.dirname(os.path.abspath(__file__))


class Time:
    """Seconds by the clock, and of processor time of all threads."""

    def __init__(self, clock, processor):
        self.clock, self.processor = clock, processor

    def __add__(self, other):
        return Time(self.clock + other.clock, self.processor + other.processor)


def timed(work):
    clock, processor = time.perf_counter(), time.process_time()
    work()
    return Time(time.perf_counter() - clock, time.process_time() - processor)


class CppReader:
    """The C++ program, which reads when it is told to and times itself."""

    def __init__(self, program, file):
        self.process = subprocess.Popen([program, file], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def read(self):
        self.process.stdin.write("\n")
        self.process.stdin.flush()
        return Time(*map(float, self.process.stdout.readline().split()))

    def close(self):
        self.process.stdin.close()
        self.process.wait()


def rounds_of(rounds, works):
    """Returns: for each name the times of all rounds but the first one, which warms the caches."""
    names = list(works)
    times = {name: [] for name in names}
    for number in range(rounds + 1):
        turn = number % len(names)
        for name in names[turn:] + names[:turn]:
            taken = works[name]()
            if number > 0:
                times[name].append(taken)
    return times


def tell(label, own, other, bar):
    """How many times as fast `own` is as `other`."""
    clock = statistics.median(theirs.clock / ours.clock for ours, theirs in zip(own, other))
    processor = statistics.median(theirs.processor / ours.processor for ours, theirs in zip(own, other))
    print(f"{label}: {clock:.2f}, by processor time {processor:.2f}   "
          f"({statistics.median(each.clock for each in own):.3f} s against "
          f"{statistics.median(each.clock for each in other):.3f} s{bar and '; at least ' + bar})", flush=True)


def write_gzip(plain, packed):
    with open(plain, "rb") as source, gzip.open(packed, "wb", compresslevel=1) as target:
        while piece := source.read(1 << 24):
            target.write(piece)


def drain(file):
    with file:
        while file.read(1 << 20):
            pass


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", help="a build folder, with benchmarks")
    parser.add_argument("--mib", type=int, default=256, help="size of the record data (default 256)")
    parser.add_argument("--table-mib", type=int, default=64, help="size of the table (default 64)")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--folder", default=casefileSpeed.memory_folder(), help="where the files lie (default: in memory)")
    options = parser.parse_args()
    os.environ.setdefault("CASEFILE_LIBRARY", os.path.join(os.path.abspath(options.build), "casefile", "libcasefile.so"))
    sys.path.insert(0, os.path.join(HERE, os.pardir, "bindings", "python"))
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        of_records(options, os.path.join(folder, "records"))
        of_tables(options, os.path.join(folder, "table"))


def of_records(options, name):
    import casefile
    import numpy
    kind = numpy.dtype([(f"number{index}", "<f8") for index in range(8)] + [("word", "S8"), ("other", "S8")])
    casefileSpeed.write_records(name, options.mib << 20)
    with casefile.create(name + ".case", b"eight numbers, two words\n") as writer, open(name, "rb") as plain:
        while piece := plain.read(1 << 24):
            writer.write(piece)
    write_gzip(name, name + ".gz")
    cpp = CppReader(os.path.join(options.build, "bench", "casefile_whole_read"), name + ".case")

    def records():
        with casefile.open(name + ".case") as file:
            assert len(file.records(kind)) == (options.mib << 20) // kind.itemsize
    times = rounds_of(options.rounds, {
        "records": lambda: timed(records), "C++": cpp.read,
        "bytes": lambda: timed(lambda: drain(casefile.open(name + ".case"))),
        "ahead": lambda: timed(lambda: drain(casefile._ahead.ahead(casefile.open(name + ".case"), 0))),
        "gzip": lambda: timed(lambda: drain(gzip.open(name + ".gz")))})
    cpp.close()
    tell("records() / C++ Reader", times["records"], times["C++"], "0.9")
    tell("records() / gzip.open", times["records"], times["gzip"], "2.5")
    tell("read in pieces of 1 MiB / gzip.open", times["bytes"], times["gzip"], "2.5")
    tell("the same, decoding ahead / gzip.open", times["ahead"], times["gzip"], "2.5")


def write_table(name, size):
    import numpy
    chance = numpy.random.default_rng(20240229)
    words = ("north", "south", "east", "west")
    with open(name, "wb") as file:
        file.write(b"row,age,income,region\n")
        row = 0
        while file.tell() < size:
            file.write("".join(
                f"{row + index},{age},{income / 100},{words[word]}\n" for index, (age, income, word) in enumerate(zip(
                    chance.integers(0, 100, 100_000), chance.integers(0, 10_000_000, 100_000),
                    chance.integers(0, 4, 100_000)))).encode())
            row += 100_000


def of_tables(options, name):
    import casefile
    import pandas
    write_table(name, options.table_mib << 20)
    with open(name, "rb") as plain:
        with casefile.create(name + ".case", plain.readline()) as writer:
            while piece := plain.read(1 << 24):
                writer.write(piece)
    write_gzip(name, name + ".gz")

    def decode():
        with casefile.open(name + ".case") as file:
            file.read_into(bytearray(file.size), 0)
    times = rounds_of(options.rounds, {
        "read_csv": lambda: timed(lambda: casefile.read_csv(name + ".case")),
        "object": lambda: timed(lambda: pandas.read_csv(casefile.open(name + ".case"))),
        "plain": lambda: timed(lambda: pandas.read_csv(name)),
        "decode": lambda: timed(decode),
        "gzip": lambda: timed(lambda: pandas.read_csv(name + ".gz", compression="gzip")),
        "gunzip": lambda: timed(lambda: drain(gzip.open(name + ".gz")))})
    both = [plain + decoding for plain, decoding in zip(times["plain"], times["decode"])]
    tell("casefile.read_csv / pandas.read_csv of the plain file plus the decoding", times["read_csv"], both, "1")
    tell("pandas.read_csv(casefile.open()) / the same", times["object"], both, "1")
    tell("casefile.read_csv / pandas.read_csv, compression=\"gzip\"", times["read_csv"], times["gzip"], "")
    tell("decoding the table / gzip.open", times["decode"], times["gunzip"], "2.5")


if __name__ == "__main__":
    main()
