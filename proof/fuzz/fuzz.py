#!/usr/bin/env python3
"""Runs the fuzzers one after the other and prints a summary as the other harnesses do: see scripts/prove.sh.

Each gets the same part of the time. What they learn stays in a corpus beside the state file, where the next run goes on;
the seed starts the engine's generator.
"""

import argparse
import json
import pathlib
import re
import subprocess
import sys
import time

TREE = pathlib.Path(__file__).resolve().parent
MANY = 365 * 24 * 3600
LONGEST_INPUT = 2048


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--name", required=True, help="the harness's name in the table")
    parser.add_argument("--programs", type=pathlib.Path, required=True, help="the folder of the fuzzers")
    parser.add_argument("--goal", type=int, required=True, help="executions that are a full run")
    parser.add_argument("--seconds", type=int, default=MANY)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--state", type=pathlib.Path, required=True)
    return parser.parse_args()


def state_of(given):
    """What earlier runs have done."""
    if given.state.exists():
        return json.loads(given.state.read_text(encoding="utf-8"))
    return {"done": 0, "runs": 0, "tally": {}}


def finding_of(program, output):
    """What a fuzzer that failed has found, and the command that shows it again."""
    what = re.search(r"^(WRONG: .*|.*runtime error: .*|SUMMARY: .*|.*libFuzzer: (?:timeout|out-of-memory).*)$", output, re.M)
    written = re.search(r"Test unit written to (\S+)", output)
    again = f"{program} {written.group(1)}" if written else str(program)
    return {"case": 0, "what": f"{program.name}: {what.group(1) if what else output[-300:]}", "again": again}


def fuzz(given, program, seconds, seed):
    """One fuzzer for some time. Returns: executions, and what it found, or None."""
    target = program.name.removeprefix("fuzz_")
    corpus = given.state.parent / f"corpus-{target}"
    found = given.state.parent / "found"
    for folder in (corpus, found):
        folder.mkdir(parents=True, exist_ok=True)
    done = subprocess.run(
        [program, f"-seed={seed}", f"-max_total_time={seconds}", f"-max_len={LONGEST_INPUT}", "-timeout=10",
         "-entropic=0", "-print_final_stats=1", f"-artifact_prefix={found}/{target}-", corpus, TREE / "corpus" / target],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="replace", text=True, check=False)
    executions = re.search(r"number_of_executed_units: (\d+)", done.stdout)
    count = int(executions.group(1)) if executions else 0
    if done.returncode == 0 and count > 0:
        return count, None
    return count, finding_of(program, done.stdout)


def main():
    given = arguments()
    state = state_of(given)
    programs = sorted(path for path in given.programs.glob("fuzz_*") if path.is_file())
    started = time.monotonic()
    findings = []
    left = given.seconds
    for number, program in enumerate(programs):
        if state["done"] >= given.goal:
            break
        seconds = max(1, left // (len(programs) - number))
        before = time.monotonic()
        count, finding = fuzz(given, program, seconds, given.seed + state["runs"])
        left -= min(left - 1, round(time.monotonic() - before))
        state["done"] += count
        tally = state["tally"]
        tally[f"of {program.name}"] = tally.get(f"of {program.name}", 0) + count
        if finding:
            findings.append(finding)
    state["runs"] += 1
    given.state.write_text(json.dumps(state), encoding="utf-8")
    if not programs:
        findings.append({"case": 0, "what": f"there are no fuzzers in {given.programs}"})
    print(json.dumps({"harness": given.name, "seed": given.seed, "done": state["done"], "cases": given.goal,
                      "seconds": time.monotonic() - started, "tally": state["tally"], "findings": findings}))
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
