#!/usr/bin/env python3
"""Runs harnesses side by side and prints the table: see scripts/prove.sh."""

import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import subprocess
import sys

HARNESSES = ("crash", "faults", "pairs", "model", "damage", "schedules")


def arguments():
    parser = argparse.ArgumentParser(prog="prove.sh", description="Tries to break everything.")
    parser.add_argument("names", nargs="*", metavar="NAME", help=f"harnesses: {', '.join(HARNESSES)}")
    parser.add_argument("--minutes", type=float, default=10, help="how long, about (default: 10)")
    parser.add_argument("--full", action="store_true", help="until all cases have run")
    parser.add_argument("--seed", type=int, default=1, help="orders the cases (default: 1)")
    parser.add_argument("--case", type=int, help="runs that one case of one harness")
    parser.add_argument("--fresh", action="store_true", help="begins again")
    parser.add_argument("--programs", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--state", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    given = parser.parse_args()
    for name in given.names:
        if name not in HARNESSES:
            parser.error(f"no such harness: {name}")
    if given.case is not None and len(given.names) != 1:
        parser.error("--case needs the name of one harness")
    return given


def program_of(given, name):
    return given.programs / f"proof_{name}"


def state_of(given, name):
    """The file of a harness's progress, which holds for one seed and one program: another build begins again."""
    program = hashlib.sha256(program_of(given, name).read_bytes()).hexdigest()[:16]
    given.state.mkdir(parents=True, exist_ok=True)
    path = given.state / f"{name}-{given.seed}-{program}"
    for old in given.state.glob(f"{name}-{given.seed}-*"):
        if given.fresh or old != path:
            old.unlink()
    return path


def run(given, name):
    """One harness. Returns: its summary."""
    command = [program_of(given, name), "--seed", str(given.seed), "--state", state_of(given, name)]
    if not given.full:
        command += ["--seconds", str(max(1, round(given.minutes * 60 * share(given))))]
    done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False)
    try:
        return json.loads(done.stdout.splitlines()[-1])
    except (IndexError, ValueError):
        return {"harness": name, "seed": given.seed, "done": 0, "cases": 0, "seconds": 0, "tally": {},
                "findings": [{"case": 0, "what": f"the harness itself ends with {done.returncode}: {done.stdout[-500:]}"}]}


def jobs():
    return len(os.sched_getaffinity(0))


def share(given):
    """The part of the time that each harness may take, where there are more of them than processors."""
    return min(1.0, jobs() / len(given.names or HARNESSES))


def print_table(summaries):
    print(f"{'harness':10}{'cases run':>12}{'of':>12}{'seconds':>10}{'findings':>10}")
    for summary in summaries:
        print(f"{summary['harness']:10}{summary['done']:>12,}{summary['cases']:>12,}{summary['seconds']:>10.0f}"
              f"{len(summary['findings']):>10}")
    for summary in summaries:
        for what, count in summary["tally"].items():
            print(f"  {summary['harness']}: {count:,} {what}")


def main():
    given = arguments()
    names = given.names or HARNESSES
    if given.case is not None:
        return subprocess.run([program_of(given, names[0]), "--case", str(given.case)], check=False).returncode
    print(f"seed {given.seed}, {jobs()} processors, " + ("all cases" if given.full else f"{given.minutes:g} minutes"))
    with concurrent.futures.ThreadPoolExecutor(max_workers=jobs()) as pool:
        summaries = list(pool.map(lambda name: run(given, name), names))
    print_table(summaries)
    found = [(summary["harness"], finding) for summary in summaries for finding in summary["findings"]]
    for name, finding in found:
        print(f"FOUND {name}: {finding['what']}\n  again: scripts/prove.sh --case {finding['case']} {name}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
