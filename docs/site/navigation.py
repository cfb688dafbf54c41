"""The one list of the site's pages: all parts of it show it at their side."""

# Title of a group, and its pages: title, and address from the site's top.
NAVIGATION = [
    ("Begin", [
        ("What it is", "index.html"),
        ("Getting started", "getting-started.html"),
        ("Search", "search.html"),
    ]),
    ("Guides", [
        ("Recipes in C++", "recipes.html"),
        ("In Python", "python.html"),
        ("In C", "c.html"),
        ("The program casefile", "casefile.html"),
        ("Outgrowing one machine", "outgrowing.html"),
        ("Performance", "performance.html"),
        ("Reliability", "reliability.html"),
        ("The file form", "file-form.html"),
    ]),
    ("Reference", [
        ("C++: casefile", "reference/casefile/index.html"),
        ("C: casefile/c.h", "reference/c/index.html"),
        ("Python: casefile", "python-reference.html"),
        ("C++: the streams", "reference/streams/index.html"),
    ]),
    ("The streams", [
        ("Headers", "headers.html"),
        ("Threads", "threads.html"),
        ("Errors", "errors.html"),
        ("Encryption", "encryption.html"),
        ("Kept as is", "kept-as-is.html"),
    ]),
    ("Working on it", [
        ("Architecture", "architecture.html"),
        ("First steps", "working.html"),
        ("Contributing", "CONTRIBUTING.html"),
        ("Porting", "porting.html"),
        ("Windows", "windows.html"),
        ("Changes", "CHANGELOG.html"),
    ]),
]


def pages():
    """The addresses of all pages."""
    return [address for _, group in NAVIGATION for _, address in group]


def side(top, here=None, links=()):
    """The list as HTML: `top` leads to the site's top; under the page `here` its own links (address, title) follow."""
    lines = []
    for title, group in NAVIGATION:
        lines.append(f"<h2>{title}</h2><ul>")
        for name, address in group:
            mark = ' class="here"' if address == here else ""
            more = "".join(f'<li><a href="{target}">{text}</a></li>' for target, text in links) if address == here else ""
            lines.append(f'<li{mark}><a href="{top}{address}">{name}</a>{f"<ul>{more}</ul>" if more else ""}</li>')
        lines.append("</ul>")
    return "\n".join(lines)
