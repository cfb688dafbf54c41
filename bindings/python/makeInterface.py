#!/usr/bin/env python3
"""Makes casefile/_interface.py of the C headers: makeInterface.py HEADER-FOLDER VERSION [--check].

With --check it changes nothing and fails when the file is not what it would make.
"""
import os
import re
import sys

HEADERS = ("cBasics.h", "cJournal.h", "cReader.h", "cReports.h", "cWriter.h")


def declarations(header):
    """The header without comments, directives and what C++ alone sees."""
    header = re.sub(r"#ifdef __cplusplus.*?#endif", "", header, flags=re.DOTALL)
    header = re.sub(r"/\*.*?\*/|//[^\n]*", "", header, flags=re.DOTALL)
    header = re.sub(r"^\s*#.*$", "", header, flags=re.MULTILINE).replace("CASEFILE_API ", "")
    return [line.rstrip() for line in header.splitlines() if line.strip()]


def interface(folder, version):
    lines = []
    for name in HEADERS:
        with open(os.path.join(folder, name), encoding="utf-8") as header:
            lines += declarations(header.read())
    minor = ".".join(version.split(".")[:2])
    return (f'"""The declarations of the C headers; makeInterface.py makes this file."""\n\nVERSION = "{minor}"\n\n'
            'INTERFACE = """\n' + "\n".join(lines) + '\n"""\n')


def main():
    target = os.path.join(os.path.dirname(os.path.abspath(__file__)), "casefile", "_interface.py")
    made = interface(sys.argv[1], sys.argv[2])
    if "--check" in sys.argv:
        with open(target, encoding="utf-8") as file:
            if file.read() != made:
                sys.exit(f"{target} is not what makeInterface.py makes of the headers")
        return
    with open(target, "w", encoding="utf-8") as file:
        file.write(made)


if __name__ == "__main__":
    main()
