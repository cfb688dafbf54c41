#!/usr/bin/env python3
"""Shows Doxygen a header as it wants it: commentFilter.py FILE

The words that begin a part of a comment (Returns:, Raises:, ...) become headings of paragraphs. What needs no comment
of its own gets a sentence: copies, moves, comparisons, and what a base class declares. A comment at the header's top is
that of the file; it moves to the end, with the namespaces' own. All else stays on its line, which warnings name.
"""
import re
import sys

WORDS = "Requires|Returns|Raises|Changes|Threads|Cost|Kept as is|Errors"
START = re.compile(rf"^(\s*///) ({WORDS}): ?")
INSIDE = re.compile(rf"(?<=[.)`]) (Requires|Returns|Raises|Threads|Cost): ")

NAME = r"(?P<name>\w+)"
PLAIN = [
    (re.compile(rf"^\s*(?:explicit )?{NAME}\(const (?P=name)&(?: other)?\)"), "Copies."),
    (re.compile(rf"^\s*{NAME}\((?P=name)&&(?: other)?\)"), "Moves."),
    (re.compile(rf"^\s*{NAME}& operator=\(const (?P=name)&(?: other)?\)"), "Copies."),
    (re.compile(rf"^\s*{NAME}& operator=\((?P=name)&&(?: other)?\)"), "Moves."),
    (re.compile(r"^\s*(?:friend )?(?:bool|int) operator==\("), "Compares."),
    (re.compile(r"^\s*(?:friend )?(?:bool|int) operator!=\("), "Compares."),
    (re.compile(r"^.*\) (?:const )?(?:noexcept )?override\b"), "As the base class says."),
]


def with_parts(line):
    line = START.sub(lambda found: rf"{found[1]} \part{{{found[2]}}} ", line)
    if line.lstrip().startswith("///"):
        line = INSIDE.sub(lambda found: rf" \part{{{found[1]}}} ", line)
    return line


def plain_sentence(line):
    if "= delete" in line or "///<" in line:
        return None
    return next((sentence for pattern, sentence in PLAIN if pattern.match(line)), None)


def shown(lines):
    commented = False
    for line in lines:
        sentence = None if commented else plain_sentence(line)
        commented = line.lstrip().startswith("///")
        if sentence:
            indent = line[:len(line) - len(line.lstrip())]
            line = f"{indent}/** {sentence} */ {line.lstrip()}"
        yield with_parts(line)


def top_comment(lines):
    """The lines of the comment behind the include guard that belongs to the whole file, as a range."""
    start = 2
    while start < len(lines) and not lines[start].strip():
        start += 1
    end = start
    while end < len(lines) and lines[end].startswith("///"):
        end += 1
    of_the_file = end < len(lines) and (not lines[end].strip() or lines[end].startswith("#"))
    return range(start, end if of_the_file else start)


NAMESPACES = {"casefile": "The casefile library.", "datasource::platform": "What the library wants of a platform.",
              "datasource::cipher": "The cipher of enciphered files."}


def main():
    with open(sys.argv[1], encoding="utf-8") as header:
        lines = header.readlines()
    place = top_comment(lines)
    comment = [lines[number][len("///"):] for number in place]
    for number in place:
        lines[number] = "\n"
    sys.stdout.writelines(shown(lines))
    print("/** @file\n" + "".join(comment) + "*/")
    for name, words in NAMESPACES.items():
        if any(line.startswith(f"namespace {name} {{") for line in lines):
            print(f"/** @namespace {name}\n{words} */")


if __name__ == "__main__":
    main()
