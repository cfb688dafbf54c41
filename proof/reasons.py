"""Lists of places in the sources, each with a reason.

An entry is some lines `field: value`, entries are divided by empty lines, and a line that begins with # is a comment.
Every entry names a file and the text of one of its lines.
"""


def entries(path, fields):
    """The entries of a list, as dictionaries of these fields in their order.

    Raises ValueError where a line is of none.
    """
    found, entry = [], {}
    for number, line in enumerate([*path.read_text(encoding="utf-8").splitlines(), ""], 1):
        field, _, value = line.partition(": ")
        if line.startswith("#"):
            continue
        if field in fields and field not in entry:
            entry[field] = value.strip()
        elif line or tuple(entry) not in ((), fields):
            raise ValueError(f"{path}:{number}: an entry has the lines {', '.join(fields)}")
        elif entry:
            found.append(entry)
            entry = {}
    return found
