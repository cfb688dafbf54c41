#!/usr/bin/env python3
"""Writes which command compiles each source, once for each: oneCommandEach.py BUILD-FOLDER OUTPUT-FOLDER

A source that several targets compile has a command for each in the build's compile_commands.json, and clang-tidy looks
at it as many times. Of these the first is taken: that of the library, not of the harnesses that compile it anew.
"""
import json
import os
import sys

build, output = sys.argv[1:]
with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
    commands = json.load(file)
first = {}
for command in commands:
    first.setdefault(os.path.normpath(os.path.join(command["directory"], command["file"])), command)
os.makedirs(output, exist_ok=True)
with open(os.path.join(output, "compile_commands.json"), "w", encoding="utf-8") as file:
    json.dump(list(first.values()), file, indent=1)
