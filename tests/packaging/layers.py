"""The layers of the sources, lowest first, and the rule that includes point downwards."""

import os
import re

from treeFiles import CODE, files, lines

# Folder or file: its layer. The longest entry that a path begins with counts.
LAYER_OF = {
    "Datasource/include/Datasource/export.h": "platform's contract",
    "Datasource/include/Datasource/platform": "platform's contract",
    "Datasource/platform/common": "platform, shared",
    "Datasource/platform/posix": "platform, posix",
    "Datasource/platform/windows": "platform, windows",
    "Datasource/include/Datasource/sortTemp": "codecs",
    "Datasource/src/sortTemp": "codecs",
    "Datasource/form": "form",
    "Datasource/include": "public headers",
    "Datasource/src": "streams",
    "casefile": "casefile library",
    "casefile/tool": "casefile",
    "bench": "programs",
    "examples": "programs",
    "proof": "programs",
}
# Layer: the layers, beside itself, that it may include.
CONTRACT = {"platform's contract"}
SEAM = CONTRACT | {"platform, shared"}
MAY_INCLUDE = {
    "platform's contract": set(),
    "platform, shared": CONTRACT,
    "platform, posix": SEAM,
    "platform, windows": SEAM,
    "codecs": CONTRACT | {"form"},
    "form": SEAM | {"codecs"},
    "public headers": CONTRACT | {"codecs"},
    "streams": SEAM | {"codecs", "form", "public headers"},
    "casefile library": SEAM | {"form"},
    "casefile": SEAM | {"codecs", "form", "public headers", "casefile library"},
    "programs": SEAM | {"codecs", "form", "public headers", "streams", "casefile library", "casefile"},
}


def layer_of(name):
    entries = [entry for entry in LAYER_OF if name == entry or name.startswith(entry + "/")]
    return LAYER_OF[max(entries, key=len)] if entries else None


def included_file(name, header, headers):
    """The file of the tree that `name` means by `header`: its neighbour, or the one whose path ends so."""
    neighbour = os.path.normpath(os.path.join(os.path.dirname(name), header)).replace(os.sep, "/")
    if neighbour in headers:
        return neighbour
    return next((candidate for candidate in sorted(headers) if candidate.endswith("/" + header)), None)


def includes_point_downwards(top, _):
    """A source includes its own layer and those below it, never one above."""
    sources = [name for name in files(top) if name.endswith(CODE) and layer_of(name)]
    headers = {name for name in sources if name.endswith(".h")}
    for name in sources:
        layer = layer_of(name)
        for number, line in enumerate(lines(top, name), 1):
            include = re.match(r'\s*#\s*include\s*["<]([^">]+)[">]', line)
            target = included_file(name, include[1], headers) if include else None
            below = layer_of(target) if target else layer
            if below != layer and below not in MAY_INCLUDE[layer]:
                yield f"{name}:{number}: {layer} includes {below}: {line.strip()}"
