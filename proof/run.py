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

HARNESSES = ("crash", "faults", "commands", "pairs", "model", "damage", "schedules", "threads", "security")
ON_WINDOWS = ("faults", "model", "damage")
# Not lists of cases: the preset that builds the programs, and how many executions are a full run. The sanitizers' goal
# is a day of one processor at 2,000 a second.
FUZZERS = {"fuzz": ("fuzz-fast", 1_000_000_000), "fuzz-sanitized": ("fuzz", 172_800_000)}
LEAST_MINUTES_FOR_FUZZERS = 10
# Run by name alone: each has a build of its own, which takes minutes, and a report rather than cases.
BY_NAME = ("mutants", "coverage")
MUTANTS = pathlib.Path(__file__).resolve().parent / "mutants" / "mutants.py"
COVERAGE = pathlib.Path(__file__).resolve().parent / "coverage" / "coverage.py"
COMMANDS = pathlib.Path(__file__).resolve().parent / "commands" / "commands.py"
SECURITY = pathlib.Path(__file__).resolve().parent / "security" / "security.py"
FUZZ = pathlib.Path(__file__).resolve().parent / "fuzz" / "fuzz.py"
WINE = pathlib.Path(__file__).resolve().parents[1] / "cmake" / "wine-emulator.sh"


def arguments():
    parser = argparse.ArgumentParser(prog="prove.sh", description="Tries to break everything.")
    parser.add_argument("names", nargs="*", metavar="NAME",
                        help=f"harnesses: {', '.join((*HARNESSES, *FUZZERS, *BY_NAME))}; default: all but "
                        f"{' and '.join(BY_NAME)}, the fuzzers from {LEAST_MINUTES_FOR_FUZZERS} minutes on")
    parser.add_argument("--minutes", type=float, default=10, help="how long, about (default: 10)")
    parser.add_argument("--full", action="store_true", help="until all cases have run")
    parser.add_argument("--seed", type=int, default=1, help="orders the cases (default: 1)")
    parser.add_argument("--below", metavar="FOLDER", help="mutants: those of the sources whose names begin so")
    parser.add_argument("--case", type=int, help="runs that one case of one harness")
    parser.add_argument("--fresh", action="store_true", help="begins again")
    parser.add_argument("--windows", action="store_true", help=f"builds {', '.join(ON_WINDOWS)} for 64-bit Windows and "
                        "runs them under wine")
    parser.add_argument("--build", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--presets", action="store_true", help=argparse.SUPPRESS)
    given = parser.parse_args()
    for name in given.names:
        if name not in (*HARNESSES, *FUZZERS, *BY_NAME):
            parser.error(f"no such harness: {name}")
        if given.windows and name not in ON_WINDOWS:
            parser.error(f"not on Windows: {name}")
    if given.case is not None and len(given.names) != 1:
        parser.error("--case needs the name of one harness")
    if given.case is not None and given.names[0] in (*FUZZERS, "coverage"):
        parser.error("a finding of this one names the command that repeats it")
    return given


def names_of(given):
    """The harnesses to run. Nobody waits for clang and two more builds who has a few minutes only."""
    if given.names:
        return given.names
    if given.windows:
        return ON_WINDOWS
    long = given.full or given.minutes >= LEAST_MINUTES_FOR_FUZZERS
    return (*HARNESSES, *FUZZERS) if long else HARNESSES


def presets_of(given):
    """What has to be built, by the names of CMake's presets."""
    if given.windows:
        return ["windows-proof"]
    names = names_of(given)
    lists = [] if set(names) <= {*FUZZERS, *BY_NAME} else ["proof"]
    return lists + [preset for name, (preset, _) in FUZZERS.items() if name in names]


def program_of(given, name):
    """The program whose change makes a harness begin again."""
    if given.windows:
        return given.build / "windows-proof" / "bin" / f"proof_{name}.exe"
    if name == "security":
        return given.build / "proof" / "casefile" / "tool" / "casefile"
    if name == "commands":
        return given.build / "proof" / "proof" / "proof_casefile"
    return given.build / "proof" / "proof" / f"proof_{name}"


def command_of(given, name):
    """A harness without its options."""
    if given.windows:
        return [WINE, program_of(given, name)]
    if name == "security":
        return [sys.executable, "-B", SECURITY, "--casefile", program_of(given, name), "--gate",
                given.build / "proof" / "proof" / "proof_gate.so", "--calls", given.build / "proof" / "proof" / "proof_calls"]
    if name == "commands":
        return [sys.executable, "-B", COMMANDS, "--casefile", program_of(given, name), "--shim",
                given.build / "proof" / "proof" / "proof_failing.so"]
    if name == "mutants":
        return [sys.executable, "-B", MUTANTS, "--folder", given.build.resolve() / "proof" / "mutants",
                *(["--below", given.below] if given.below else [])]
    if name == "coverage":
        return [sys.executable, "-B", COVERAGE, "--folder", given.build.resolve() / "coverage"]
    return [program_of(given, name)]


def fuzzing(given, name):
    """The command of fuzzers. Their corpora outlast a change of the program."""
    preset, goal = FUZZERS[name]
    folder = given.build / "proof" / name
    folder.mkdir(parents=True, exist_ok=True)
    if given.fresh:
        (folder / "state").unlink(missing_ok=True)
    return [sys.executable, "-B", FUZZ, "--name", name, "--programs", given.build / preset / "proof" / "fuzz", "--goal",
            str(goal), "--state", folder / "state"]


def state_of(given, name):
    """The file of a harness's progress, which holds for one seed and one program: another build begins again."""
    state = given.build / ("windows-proof" if given.windows else "proof") / "state"
    state.mkdir(parents=True, exist_ok=True)
    if name in BY_NAME:  # their builds are theirs, and so is the progress
        program = "own"
    else:
        program = hashlib.sha256(program_of(given, name).read_bytes()).hexdigest()[:16]
    path = state / f"{name}-{given.seed}-{program}"
    for old in state.glob(f"{name}-{given.seed}-*"):
        if given.fresh or old != path:
            old.unlink()
    return path


def run(given, name):
    """One harness. Returns: its summary."""
    command = (fuzzing(given, name) if name in FUZZERS else
               command_of(given, name) + ["--state", state_of(given, name)])
    command += ["--seed", str(given.seed)]
    if not given.full:
        command += ["--seconds", str(max(1, round(given.minutes * 60 * share(given))))]
    done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False)
    if given.windows and not done.stdout:  # wine ends a program before its first line now and then
        print(f"never began, is started once more: {name}")
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
    return min(1.0, jobs() / len(names_of(given)))


def print_table(summaries):
    print(f"{'harness':14}{'cases run':>14}{'of':>14}{'seconds':>10}{'findings':>10}")
    for summary in summaries:
        print(f"{summary['harness']:14}{summary['done']:>14,}{summary['cases']:>14,}{summary['seconds']:>10.0f}"
              f"{len(summary['findings']):>10}")
    for summary in summaries:
        for what, count in summary["tally"].items():
            print(f"  {summary['harness']}: {count:,} {what}")


def main():
    given = arguments()
    names = names_of(given)
    if given.presets:
        print("\n".join(presets_of(given)))
        return 0
    if given.case is not None:
        command = command_of(given, names[0]) + ["--case", str(given.case)]
        if names[0] in ("faults", "pairs"):  # what their case of a number is can differ between two processes
            command += ["--seed", str(given.seed), "--state", state_of(given, names[0])]
        return subprocess.run(command, check=False).returncode
    print(f"seed {given.seed}, {jobs()} processors, " + ("all cases" if given.full else f"{given.minutes:g} minutes"))
    with concurrent.futures.ThreadPoolExecutor(max_workers=jobs()) as pool:
        summaries = list(pool.map(lambda name: run(given, name), names))
    print_table(summaries)
    found = [(summary["harness"], finding) for summary in summaries for finding in summary["findings"]]
    options = " --windows" * given.windows + f" --seed {given.seed}" * (given.seed != 1)
    for name, finding in found:
        again = finding.get("again", f"scripts/prove.sh{options} --case {finding['case']} {name}")
        print(f"FOUND {name}: {finding['what']}\n  again: {again}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
