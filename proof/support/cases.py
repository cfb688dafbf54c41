"""What harnesses in Python have in common: their options, the order of their cases, how far they have come, and what they
say in the end (see proof/run.py)."""

import argparse
import json
import os
import pathlib
import random
import time

CASES_BETWEEN_SAVES = 20


def options(*programs):
    """The command line of a harness; each of `programs` is an option that names a file."""
    parser = argparse.ArgumentParser()
    for program in programs:
        parser.add_argument(f"--{program}", type=pathlib.Path, required=True)
    parser.add_argument("--seconds", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--state", type=pathlib.Path)
    parser.add_argument("--case", type=int)
    given = parser.parse_args()
    given.started = time.monotonic()
    return given


def loaded(state):
    """How far a run has come, and what it has met: the place of the next case, tally, findings."""
    if not state.exists():
        return 0, {}, []
    kept = json.loads(state.read_text(encoding="utf-8"))
    return kept["next"], kept.get("tally", {}), kept.get("findings", [])


def save(state, at, tally, findings):
    """Keeps it, whole or as it was before, for a run that is interrupted goes on from there."""
    new = state.with_suffix(".new")
    new.write_text(json.dumps({"next": at, "tally": tally, "findings": findings}), encoding="utf-8")
    os.replace(new, state)


def run(harness, given, cases, try_case):
    """Tries cases in the order of the seed, from where the last run ended, for the time given or to the end, and tells.

    `try_case(case, tally)` returns what is wrong, in words that name the case; it may count in `tally`.
    Returns: the exit code.
    """
    order = list(range(len(cases)))
    random.Random(given.seed).shuffle(order)
    at, tally, findings = 0, {}, []
    keeps = given.state is not None and given.case is None
    if given.case is not None:
        order = [given.case]
    elif keeps:
        at, tally, findings = loaded(given.state)
    while at < len(order) and (given.seconds is None or time.monotonic() - given.started < given.seconds):
        if wrong := try_case(cases[order[at]], tally):
            findings.append({"case": order[at], "what": wrong})
        at += 1
        if keeps and at % CASES_BETWEEN_SAVES == 0:
            save(given.state, at, tally, findings)
    if keeps:
        save(given.state, at, tally, findings)
    return tell(harness, given, (at, len(cases)), tally, findings)


def count(tally, what, number=1):
    tally[what] = tally.get(what, 0) + number


def tell(harness, given, done_of, tally, findings):
    """Prints the summary. Returns: the exit code."""
    done, cases = done_of
    print(json.dumps({"harness": harness, "seed": given.seed, "done": done, "cases": cases,
                      "seconds": time.monotonic() - given.started, "tally": tally, "findings": findings}))
    return 1 if findings else 0
