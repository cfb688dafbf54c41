#!/usr/bin/env python3
"""Times casefile against gzip, pigz, bgzip and zstd:  bench/casefileSpeed.py PATH/TO/casefile

Whole processes, in turn, in an order that changes. For each peer: how many times as fast casefile was, by the
clock and by processor time (medians of the ratios of runs of the same round; processor time is what counts
where the machine is not idle), then both medians in seconds and casefile's largest peak memory. The records are
those of datasource_bench in kind: 80 bytes, eight numbers and two words. A peer that is not installed is
skipped, and so is what this casefile cannot do (scripts/setup.sh bench installs the peers).
"""
import argparse
import multiprocessing
import os
import random
import shutil
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


class Run:
    """What one process took: seconds, seconds of processor time, peak memory in KiB."""

    def __init__(self, command, output=None):
        with open(output or os.devnull, "wb") as sink:
            start = time.perf_counter()
            process = subprocess.Popen(command, stdout=sink)
            _, status, usage = os.wait4(process.pid, 0)
            self.clock = time.perf_counter() - start
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            sys.exit(f"{command} ended with {process.returncode}")
        self.processor = usage.ru_utime + usage.ru_stime
        self.peak = usage.ru_maxrss


class Job:
    """A named command and where its standard output goes (None: nowhere)."""

    def __init__(self, label, command, output=None):
        self.label, self.command, self.output = label, command, output

    def missing(self):
        return shutil.which(self.command[0]) is None

    def run(self):
        return Run(self.command, self.output)


def compare(rounds, own, peers):
    """Runs `own` and its peers in turn and prints one line a peer."""
    for peer in peers:
        if peer.missing():
            print(f"{own.label} / {peer.label}: skipped, {peer.command[0]} is not installed", flush=True)
    jobs = [own] + [peer for peer in peers if not peer.missing()]
    if len(jobs) == 1:
        return
    runs = {job: [] for job in jobs}
    for number in range(rounds + 1):
        turn = number % len(jobs)
        for job in jobs[turn:] + jobs[:turn]:
            run = job.run()
            if number > 0:  # the first round warms the caches
                runs[job].append(run)
    mine = runs[own]
    peak = max(run.peak for run in mine) / 1024
    for peer in jobs[1:]:
        clock = statistics.median(theirs.clock / ours.clock for ours, theirs in zip(mine, runs[peer]))
        processor = statistics.median(theirs.processor / ours.processor for ours, theirs in zip(mine, runs[peer]))
        print(f"{own.label} / {peer.label}: {clock:.2f}, by processor time {processor:.2f}   "
              f"({statistics.median(run.clock for run in mine):.2f} s against "
              f"{statistics.median(run.clock for run in runs[peer]):.2f} s, peak memory {peak:.0f} MiB)", flush=True)


class Files:
    """The files that the runs read and write."""

    def __init__(self, folder):
        self.plain, self.packed, self.out, self.theirs, self.gzip, self.bgzip, self.zstd = (
            os.path.join(folder, name) for name in ("plain", "packed", "out", "theirs", "gzip.gz", "bgzip.gz", "zst"))


class Bench:
    def __init__(self, program, rounds, threads, files):
        self.program, self.rounds, self.files = program, rounds, files
        self.threads = str(threads)
        self.pack_help = subprocess.run([program, "pack", "--help"], check=True, capture_output=True, text=True).stdout

    def can_pack(self, option):
        return option in self.pack_help

    def pack(self, *options):
        return [self.program, "pack", "--row0", "80", "--force", *options, self.files.plain, self.files.packed]

    def prepare(self, size):
        # In a process of its own: the peak memory of a child counts from that of its parent.
        maker = multiprocessing.Process(target=write_records, args=(self.files.plain, size))
        maker.start()
        maker.join()
        Run(self.pack())
        for command, output in ((["gzip", "-1"], self.files.gzip), (["bgzip", "-l1"], self.files.bgzip),
                                (["zstd", "-q", "-1"], self.files.zstd)):
            if shutil.which(command[0]):
                Run([*command, "-c", self.files.plain], output)

    def packing(self):
        files = self.files
        compare(self.rounds, Job("pack", self.pack(*(["-j", self.threads] if self.can_pack("-j") else []))), [
            Job("zstd -1 -T" + self.threads, ["zstd", "-q", "-1", "-T" + self.threads, "-c", files.plain], files.theirs),
            Job("bgzip -l1 -@" + self.threads, ["bgzip", "-l1", "-@" + self.threads, "-c", files.plain], files.theirs),
            Job("pigz -1 -p" + self.threads, ["pigz", "-1", "-p" + self.threads, "-c", files.plain], files.theirs),
            Job("gzip -1", ["gzip", "-1", "-c", files.plain], files.theirs)])
        if not self.can_pack("--encoder"):
            print("pack --encoder: skipped, this casefile has one encoder", flush=True)
            return
        if self.can_pack(" fast,"):
            self.own_encoder()
        zlib = ["--encoder", "zlib"]
        compare(self.rounds, Job("pack --encoder zlib -j 2", self.pack(*zlib, "-j", "2")),
                [Job("-j 1", self.pack(*zlib, "-j", "1"))])
        Run(self.pack())
        length = os.path.getsize(files.packed)
        Run(self.pack(*zlib))
        print(f"size, automatic encoder / zlib: {length / os.path.getsize(files.packed):.3f}", flush=True)

    def own_encoder(self):
        """What `auto` is where ISA-L is not built in."""
        files = self.files
        fast = ["--encoder", "fast"]
        compare(self.rounds, Job("pack --encoder fast", self.pack(*fast, "-j", self.threads)), [
            Job("zstd -1 -T" + self.threads, ["zstd", "-q", "-1", "-T" + self.threads, "-c", files.plain], files.theirs),
            Job("bgzip -l1 -@" + self.threads, ["bgzip", "-l1", "-@" + self.threads, "-c", files.plain], files.theirs),
            Job("pack --encoder libdeflate", self.pack("--encoder", "libdeflate", "-j", self.threads))])
        Run(self.pack(*fast))
        length = os.path.getsize(files.packed)
        Run(self.pack("--encoder", "zlib"))
        print(f"size, --encoder fast / zlib: {length / os.path.getsize(files.packed):.3f}", flush=True)

    def unpacking(self):
        files, packed = self.files, self.files.packed
        Run(self.pack())
        bgzip = ["bgzip", "-d", "-@" + self.threads, "-c", files.bgzip]
        zstd = ["zstd", "-q", "-d", "-c", files.zstd]
        gzip = ["gzip", "-d", "-c", files.gzip]
        compare(self.rounds, Job("cat", [self.program, "cat", "--from", "80", packed]), [
            Job("bgzip -d", bgzip), Job("zstd -d", zstd), Job("gzip -d", gzip)])
        unpack = [self.program, "unpack", "--force", packed, files.out]
        compare(self.rounds, Job("unpack", unpack), [
            Job("bgzip -d", bgzip, files.theirs), Job("zstd -d", zstd, files.theirs),
            Job("gzip -d", gzip, files.theirs)])

    def verifying(self):
        verify = [self.program, "verify", "-j", self.threads, self.files.packed]
        compare(self.rounds, Job("verify -j " + self.threads, verify), [
            Job("gzip -t", ["gzip", "-t", self.files.gzip]),
            Job("verify -j 1", [self.program, "verify", "-j", "1", self.files.packed])])


def memory_folder():
    return "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("casefile")
    parser.add_argument("--mib", type=int, default=256, help="size of the record data (default 256)")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--threads", type=int, default=len(os.sched_getaffinity(0)),
                        help="threads on each side (default: the processors there are)")
    parser.add_argument("--folder", default=memory_folder(), help="where the files lie (default: in memory)")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        bench = Bench(options.casefile, options.rounds, options.threads, Files(folder))
        bench.prepare(options.mib << 20)
        bench.packing()
        bench.unpacking()
        bench.verifying()


if __name__ == "__main__":
    main()
