#!/usr/bin/env python3
"""Prints the .cpp files that a change touches: changedSources.py FOLDER...

A source is touched if it, or a header that it includes, directly or not, differs from the base; all are
when the rules of the check do. The base is $DATASOURCE_BASE; without it, where the
branch left origin/main, or on origin/main itself the commit before. Where there is no such commit, all.
"""
import os
import re
import subprocess
import sys

TOUCHES_ALL = re.compile(r"^(\.clang-tidy|cmake/DatasourceWarnings\.cmake)$")


def git(*command):
    """What the command prints, or None where it fails."""
    done = subprocess.run(["git", *command], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
    return done.stdout.strip() if done.returncode == 0 else None


def base():
    asked = os.environ.get("DATASOURCE_BASE")
    if asked:
        return asked
    left = git("merge-base", "HEAD", "origin/main")
    return left if left and left != git("rev-parse", "HEAD") else git("rev-parse", "--verify", "HEAD~1")


def changed_files(commit):
    """Names that differ from the commit, whether committed or not, or None where that cannot be said."""
    if not commit:
        return None
    differing, fresh = git("diff", "--name-only", commit), git("ls-files", "--others", "--exclude-standard")
    return None if differing is None or fresh is None else set(differing.split("\n") + fresh.split("\n")) - {""}


def includes(name):
    """The names in the file's own includes; a header is known by the end of its path."""
    with open(name, encoding="utf-8") as file:
        return re.findall(r'^\s*#\s*include\s*["<]([^">]+)[">]', file.read(), re.MULTILINE)


def touched(names, changed):
    """The names that changed, and those that include one of them in one step or more."""
    reached, included = set(names) & changed, {name: includes(name) for name in names}
    while True:
        ends = {os.path.basename(name) for name in reached}
        more = {name for name in names if any(os.path.basename(header) in ends for header in included[name])} - reached
        if not more:
            return reached
        reached |= more


def main():
    names = [os.path.join(folder, name) for top in sys.argv[1:] for folder, _, files in os.walk(top)
             for name in files if name.endswith((".h", ".cpp"))]
    changed = changed_files(base())
    if changed is None or any(TOUCHES_ALL.search(name) for name in changed):
        reached = names
    else:
        reached = touched(names, changed)
    print("".join(name + "\n" for name in sorted(reached) if name.endswith(".cpp")), end="")


main()
