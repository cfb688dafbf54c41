"""What a page of recipes holds: programs, each with what it prints."""

import re


def recipes(page):
    """Pairs of a C or C++ block and the text block behind it, which is empty where there is none."""
    blocks = re.findall(r"^```(cpp|c|text)\n(.*?)^```$", page, re.DOTALL | re.MULTILINE)
    for index, (language, block) in enumerate(blocks):
        if language != "text":
            behind = blocks[index + 1] if index + 1 < len(blocks) else ("", "")
            yield block, behind[1] if behind[0] == "text" else ""
