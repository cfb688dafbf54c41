#!/usr/bin/env python3
"""Looks for links within a site that lead nowhere: checkLinks.py FOLDER

A link must lead to a file of the folder, its anchor to an id or name in it, and every page must be reached from
index.html, but for the references' own lists, of which Doxygen makes more than are shown. Links to other hosts are not
followed.
"""
import html.parser
import os
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    """What a page links to and which anchors it has."""

    def __init__(self, name):
        super().__init__()
        self.links, self.anchors = [], set()
        with open(name, encoding="utf-8") as file:
            self.feed(file.read())

    def handle_starttag(self, tag, attrs):
        for key, value in attrs:
            if key in ("href", "src") and value is not None:
                self.links.append((value, self.getpos()[0]))
            if key == "id" or (key == "name" and tag == "a"):
                self.anchors.add(value)


def pages(folder):
    names = [os.path.relpath(os.path.join(where, name), folder)
             for where, _, found in os.walk(folder) for name in found if name.endswith(".html")]
    return {name: Page(os.path.join(folder, name)) for name in sorted(names)}


def target(name, link):
    """The file, from the folder's top, and the anchor; no file for a link to another host."""
    parts = urllib.parse.urlsplit(link)
    if parts.scheme or parts.netloc:
        return None, ""
    path = urllib.parse.unquote(parts.path)
    return (os.path.normpath(os.path.join(os.path.dirname(name), path)) if path else name), urllib.parse.unquote(parts.fragment)


def complaints(folder):
    site = pages(folder)
    reached, waiting = set(), ["index.html"]
    while waiting:
        name = waiting.pop()
        if name in reached or name not in site:
            continue
        reached.add(name)
        waiting += [file for file, _ in (target(name, link) for link, _ in site[name].links) if file]
    for name, page in site.items():
        for link, line in page.links:
            file, anchor = target(name, link)
            if file is None:
                continue
            if file.startswith("..") or not os.path.isfile(os.path.join(folder, file)):
                yield f"{name}:{line}: {link}: there is no such file"
            elif anchor and file in site and anchor not in site[file].anchors:
                yield f"{name}:{line}: {link}: there is no such place in the page"
    for name in sorted(set(site) - reached):
        if not name.startswith("reference" + os.sep):
            yield f"{name}: no link leads here from index.html"


def main():
    found = list(complaints(sys.argv[1]))
    for complaint in found:
        print(complaint)
    if not found:
        print(f"links: all of {sum(len(page.links) for page in pages(sys.argv[1]).values())} lead somewhere")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
