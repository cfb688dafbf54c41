#!/usr/bin/env python3
"""Draws what the benchmarks said: speedPictures.py FIGURES-FOLDER OUTPUT-FOLDER

casefile.svg of casefile.txt, streams.svg of streams.json; see docs/figures/measure.py. Each picture says when and where
its numbers were measured.
"""
import json
import math
import os
import re
import sys

from drawing import LINE, SOFT, Drawing

BAR, BETTER, WORSE = "#8db8de", "#9ccf94", "#e9b08a"
LEFT, RIGHT, ROW = 340, 690, 28
LETTER = 6.6  # how wide one is in the widest fonts, on average


def circumstances(context):
    return f"measured {context['date']} on {context['machine']}; commit {context['commit']}; load {context['load']}"


def bars(drawing, y, rows, better):
    """One bar a row (words, value), on a logarithmic scale around 1: what it is compared with ends at that line."""
    widest = max(max(abs(math.log(value)) for _, value in rows), math.log(2))
    low = min(0.0, min(math.log(value) for _, value in rows))
    high = max(0.0, max(math.log(value) for _, value in rows), 0.3 * widest)
    scale = (RIGHT - LEFT) / (high - low)
    one = LEFT - low * scale
    top = y
    for words, value in rows:
        if len(words) * LETTER > LEFT - 12:
            sys.exit(f"{words}: no room for so many letters")
        end = one + math.log(value) * scale
        drawing.text(LEFT - 12, y + 17, words, 13, "end")
        drawing.box(min(one, end), y + 3, abs(end - one), ROW - 8, BETTER if better(value) else WORSE, LINE)
        drawing.text(max(one, end) + 6, y + 17, f"{value:.2f}", 13)
        y += ROW
    drawing.line([(one, top - 4), (one, y + 2)])
    drawing.text(one, y + 16, "1: equal", 12, "middle", SOFT)
    return y + 30


def casefile_rows(text):
    """What is compared, and how many times as fast casefile was by the clock."""
    return [(f"{own} : {peer}", float(times)) for own, peer, times in
            re.findall(r"^([^#\n][^/\n]*) / ([^:\n]+): ([\d.]+), by processor time", text, re.MULTILINE)]


def draw_casefile(figures, into):
    with open(os.path.join(figures, "casefile.txt"), encoding="utf-8") as file:
        text = file.read()
    rows = casefile_rows(text)
    context = dict(re.findall(r"^# (\w+): (.*)$", text, re.MULTILINE))
    drawing = Drawing(760, 90 + len(rows) * ROW + 40, "How many times as fast casefile is as other programs")
    drawing.text(20, 28, "How many times as fast casefile is, by the clock (logarithmic; to the right: faster)", 15, weight="bold")
    y = bars(drawing, 50, rows, lambda value: value >= 1)
    drawing.text(20, y + 12, circumstances(context), 11, colour=SOFT)
    drawing.text(20, y + 28, context["command"], 11, colour=SOFT)
    drawing.save(os.path.join(into, "casefile.svg"))


NAMES = {"CompressedWrite": "compressed write", "CompressedRead": "compressed read",
         "StreamReadAgainstBareCalls": "read : bare calls", "StreamWriteAgainstBareCalls": "write : bare calls",
         "StreamReadAgainstFread": "read : fread", "StreamReadAgainstIfstream": "read : std::ifstream"}


def stream_rows(found):
    """What is compared, and the library's time for each second of the other's."""
    rows = []
    for run in found["benchmarks"]:
        name, *arguments = run["name"].split("/")
        numbers = dict(argument.split(":") for argument in arguments if ":" in argument)
        if name in NAMES:
            more = f", records of {numbers['record']}" if "record" in numbers else (
                ", with a worker" if numbers["mode"] != "0" else ", no worker")
            rows.append((NAMES[name] + more, run["time_ratio"]))
    return rows


def draw_streams(figures, into):
    with open(os.path.join(figures, "streams.json"), encoding="utf-8") as file:
        found = json.load(file)
    rows = stream_rows(found)
    drawing = Drawing(760, 90 + len(rows) * ROW + 40, "Time of the streams against bare loops and the standard library")
    drawing.text(20, 28, "Time of the streams for 1 of the other's (logarithmic; to the left: faster)", 15, weight="bold")
    y = bars(drawing, 50, rows, lambda value: value <= 1)
    drawing.text(20, y + 12, circumstances(found["context"]), 11, colour=SOFT)
    drawing.save(os.path.join(into, "streams.svg"))


if __name__ == "__main__":
    draw_casefile(sys.argv[1], sys.argv[2])
    draw_streams(sys.argv[1], sys.argv[2])
