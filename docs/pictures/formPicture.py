#!/usr/bin/env python3
"""Draws a compressed data file with the numbers of the sources: formPicture.py SOURCE-TREE OUTPUT.svg

Sizes and places of the fields are those of Datasource/form/compressedForm.h, the size of a block that of
Datasource/form/block/blockSize.h.
"""
import os
import re
import sys

from drawing import SOFT, Drawing

PLAIN, HEADING, BLOCK, TABLE = "#e8eef5", "#ffd9a0", "#bcd9f2", "#cdeac8"


class Form:
    """The numbers of the file form, as the sources have them."""

    def __init__(self, top):
        def text(name):
            with open(os.path.join(top, "Datasource", "form", name), encoding="utf-8") as file:
                return file.read()
        form = text("compressedForm.h")
        self.block = int(re.search(r"kBlockSize = (\w+);", text(os.path.join("block", "blockSize.h")))[1], 0)
        self.heading = int(re.search(r"kHeadingSize = (\d+);", form)[1])
        self.record = int(re.search(r"kRecordSize = (\d+);", form)[1])
        self.mark = int(re.search(r"kHeaderRecordMark = (-?\d+);", form)[1])
        offsets = {owner: [(field, int(offset)) for field, offset in
                           re.findall(rf"offsetof\({owner}, (\w+)\) == (\d+)", form)]
                   for owner in ("compressionHeading", "bInfo")}
        self.heading_fields = self.with_widths(offsets["compressionHeading"], self.heading)
        self.record_fields = self.with_widths(offsets["bInfo"], self.record)

    @staticmethod
    def with_widths(fields, size):
        ends = [offset for _, offset in fields[1:]] + [size]
        return [(field, offset, end - offset) for (field, offset), end in zip(fields, ends)]


def regions(drawing, form):
    """The file from left to right; returns where heading and table stand."""
    shown = [("dictionary part", "P bytes, plain", 150, PLAIN), ("heading", f"{form.heading} bytes", 90, HEADING),
             ("block 0", "zlib stream", 110, BLOCK), ("block 1", "zlib stream", 110, BLOCK), ("...", "", 40, "#ffffff"),
             ("block n", "zlib stream", 110, BLOCK), ("position table", f"(n + 2) x {form.record} bytes", 150, TABLE)]
    places, x = {}, 20
    for name, words, width, fill in shown:
        drawing.box(x, 60, width, 56, fill)
        drawing.text(x + width / 2, 84, name, 14, "middle", weight="bold")
        drawing.text(x + width / 2, 104, words, 12, "middle", SOFT)
        places[name] = (x, width)
        x += width
    for name, words in (("dictionary part", "0"), ("heading", "P"), ("block 0", f"P + {form.heading}"),
                        ("position table", "_infoPos")):
        drawing.text(places[name][0] + 2, 52, words, 12, colour=SOFT)
    drawing.text(20, 28, "file positions", 12, colour=SOFT)
    return places


def fields(drawing, x, y, unit, found, fill):
    """The fields of a heading or record, as wide as they have bytes."""
    for name, offset, width in found:
        drawing.box(x + offset * unit, y, width * unit, 44, fill)
        drawing.text(x + (offset + width / 2) * unit, y + 19, name, 11, "middle")
        drawing.text(x + (offset + width / 2) * unit, y + 36, f"{width} bytes", 11, "middle", SOFT)


def draw(form, name):
    drawing = Drawing(800, 420, "A compressed data file: dictionary part, heading, blocks, position table")
    places = regions(drawing, form)
    first, last = places["block 0"][0], sum(places["block n"])
    drawing.line([(first, 126), (first, 132), (last, 132), (last, 126)])
    drawing.text((first + last) / 2, 152, f"each holds {form.block:,} bytes of data,", 13, "middle")
    drawing.text((first + last) / 2, 170, "the last one what is left", 13, "middle")

    left, unit = 20, 11
    begin, end = places["heading"][0], sum(places["heading"])
    drawing.line([(begin, 116), (left, 196)], dashed=True)
    drawing.line([(end, 116), (left + form.heading * unit, 196)], dashed=True)
    fields(drawing, left, 196, unit, form.heading_fields, HEADING)
    drawing.text(left, 258, "heading: P itself, where the table", 13)
    drawing.text(left, 275, "begins, how many bytes it has", 13)

    begin, end, unit = places["position table"][0], sum(places["position table"]), 20
    left = end - form.record * unit
    drawing.line([(begin, 116), (left, 300)], dashed=True)
    drawing.line([(end, 116), (end, 300)], dashed=True)
    fields(drawing, left, 300, unit, form.record_fields, TABLE)
    drawing.text(end, 364, "record of a block: logical position, file position, plain and compressed size", 13, "end")
    drawing.text(end, 384, f"in front of them a header record: {form.mark}, 0, {form.block:,}, how many follow", 13, "end")
    drawing.text(20, 408, "Written in this order: blocks, table, heading. A file without a heading is unfinished.", 13, colour=SOFT)
    drawing.save(name)


if __name__ == "__main__":
    draw(Form(sys.argv[1]), sys.argv[2])
