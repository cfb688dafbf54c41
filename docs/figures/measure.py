#!/usr/bin/env python3
"""Runs the benchmarks and keeps what they say: measure.py BUILD-FOLDER FIGURES-FOLDER [--mib N] [--rounds N]

Writes streams.json, Google Benchmark's own output, and casefile.txt, that of bench/casefileSpeed.py below a heading. Both
say when, where, at which commit and how: the pictures and pages show it.
"""
import argparse
import datetime
import json
import os
import re
import subprocess
import sys

STREAMS = "CompressedWrite|CompressedRead|StreamReadAgainst(BareCalls|Fread/|Ifstream)|StreamWriteAgainst"


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = re.search(r"^model name\s*: (.*)$", file.read(), re.MULTILINE)
    name = re.sub(r"\([RT]M?\)|CPU|Processor|@.*", "", model[1] if model else os.uname().machine)
    return f"{' '.join(name.split())}, {len(os.sched_getaffinity(0))} processors"


def circumstances(command):
    return {"date": datetime.date.today().isoformat(), "machine": machine(),
            "commit": output("git", "rev-parse", "--short", "HEAD").strip(),
            "load": f"{os.getloadavg()[0]:.1f} before it began", "command": " ".join(command)}


def streams(build, name):
    command = [os.path.join(build, "bench", "datasource_bench"), f"--benchmark_filter={STREAMS}"]
    context = circumstances(command)
    found = json.loads(output(*command, "--benchmark_format=json"))
    found["context"] = context
    with open(name, "w", encoding="utf-8") as file:
        json.dump(found, file, indent=1)
        file.write("\n")


def casefile(build, name, mib, rounds):
    command = ["bench/casefileSpeed.py", os.path.join(build, "casefile", "tool", "casefile"), "--mib", mib, "--rounds", rounds]
    context = circumstances(command)
    found = output(sys.executable, "-B", *command)
    with open(name, "w", encoding="utf-8") as file:
        file.writelines(f"# {key}: {value}\n" for key, value in context.items())
        file.write(found)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("figures")
    parser.add_argument("--mib", default="256")
    parser.add_argument("--rounds", default="7")
    options = parser.parse_args()
    casefile(options.build, os.path.join(options.figures, "casefile.txt"), options.mib, options.rounds)
    streams(options.build, os.path.join(options.figures, "streams.json"))


if __name__ == "__main__":
    main()
