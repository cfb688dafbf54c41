#!/usr/bin/env python3
"""Makes the site: build.py OUTPUT-FOLDER

The guides and the Python reference by Sphinx, the references of C++ and C by Doxygen, all with one navigation. Every
warning of theirs is an error, and so is a link in the site that leads nowhere.
"""
import os
import re
import shutil
import subprocess
import sys

from navigation import pages, side

HERE = os.path.dirname(os.path.abspath(__file__))
TOP = os.path.normpath(os.path.join(HERE, "..", ".."))

# Name of a reference: title, folders or files of headers, more of Doxygen's settings, its lists of what it holds.
REFERENCES = {
    "casefile": ("casefile", ["casefile/include/casefile"], ["EXCLUDE_PATTERNS=*/c.h */c[A-Z]*.h */export.h"],
                 [("annotated.html", "Classes"), ("namespacecasefile.html", "Namespace"), ("files.html", "Headers"),
                  ("functions.html", "Members")]),
    "c": ("casefile in C", ["casefile/include/casefile"],
          ["FILE_PATTERNS=c.h c[A-Z]*.h", "OPTIMIZE_OUTPUT_FOR_C=YES"],
          [("files.html", "Headers"), ("annotated.html", "Structures"), ("globals.html", "Functions")]),
    "streams": ("Streams", ["Datasource/include"], ["EXCLUDE_PATTERNS=*/export.h"],
                [("annotated.html", "Classes"), ("files.html", "Headers"), ("functions.html", "Members")]),
}


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def write(text, *path):
    os.makedirs(os.path.dirname(os.path.join(*path)), exist_ok=True)
    with open(os.path.join(*path), "w", encoding="utf-8") as file:
        file.write(text)


def guides(source):
    """Copies the pages to where Sphinx reads them; their links lead from one page to another."""
    found = [os.path.join(TOP, "docs", name) for name in os.listdir(os.path.join(TOP, "docs")) if name.endswith(".md")]
    found += [os.path.join(TOP, "CONTRIBUTING.md"), os.path.join(TOP, "CHANGELOG.md")]
    found += [os.path.join(HERE, "index.md"), os.path.join(HERE, "python-reference.md")]
    for page in found:
        text = re.sub(r"\]\((?:\.\./|docs/|\.\./docs/)+(?=[\w-]+\.md|pictures/)", "](", read(page))
        if os.path.basename(page) == "index.md":
            listed = "\n".join(name[:-len(".html")] for name in pages()
                               if "/" not in name and name not in ("index.html", "search.html"))
            text += f"\n```{{toctree}}\n:hidden:\n\n{listed}\n```\n"
        write(text, source, os.path.basename(page))
    shutil.copytree(os.path.join(TOP, "docs", "pictures"), os.path.join(source, "pictures"),
                    ignore=shutil.ignore_patterns("*.py", "__pycache__"))


def sphinx(source, site):
    subprocess.run(["sphinx-build", "-W", "--keep-going", "-q", "-E", "-b", "html", "-c", HERE,
                    "-d", os.path.join(source, os.pardir, "doctrees"), source, site],
                   check=True, env={**os.environ, "SITE_SOURCES": HERE, "PYTHONDONTWRITEBYTECODE": "1"})


def version_headers(folder):
    """The headers that the build makes of version.h.in."""
    version = re.search(r"project\(Datasource VERSION (\S+)", read(TOP, "CMakeLists.txt"))[1]
    values = dict(zip(("MAJOR", "MINOR", "PATCH"), version.split(".")))
    for library, prefix in (("casefile", "CASEFILE"), ("Datasource", "DATASOURCE")):
        macros = read(TOP, "cmake", "versionMacros.h.in").replace("@prefix@", prefix).replace("@PROJECT_VERSION@", version)
        macros = re.sub(r"@PROJECT_VERSION_(\w+)@", lambda found: values[found[1]], macros)
        name = os.path.join(TOP, library, "include", library, "version.h.in")
        write(read(name).replace("@version_macros@", macros.strip()), folder, library, "version.h")


def doxygen(name, site, made):
    title, inputs, settings, lists = REFERENCES[name]
    page = read(HERE, "templates", "begin.html").replace(
        "@SIDE@", side("$relpath^../../", f"reference/{name}/index.html", lists)).replace("@TOP@", "$relpath^../../")
    head = ('<!DOCTYPE html>\n<html lang="en"><head><meta charset="utf-8">\n'
            '<meta name="viewport" content="width=device-width, initial-scale=1">\n'
            '<title>$projectname: $title</title>\n'
            '<link rel="stylesheet" href="$relpath^../../_static/site.css">\n</head><body>\n')
    write(head + page + '<div id="top">\n', made, f"{name}-header.html")
    write("</main></div></body></html>\n", made, f"{name}-footer.html")
    if name != "c":
        inputs = inputs + [os.path.join(made, "headers", "Datasource" if name == "streams" else "casefile")]
    main_page = os.path.join(HERE, "reference", f"{name}.md")
    settings = [f"@INCLUDE={os.path.join(HERE, 'reference', 'Doxyfile')}", f"PROJECT_NAME={title}",
                f"INPUT={' '.join(inputs)} {main_page}", f"USE_MDFILE_AS_MAINPAGE={main_page}",
                f"STRIP_FROM_PATH={TOP} {os.path.join(made, 'headers')}",
                f"STRIP_FROM_INC_PATH=casefile/include Datasource/include {os.path.join(made, 'headers')}",
                f"INPUT_FILTER={sys.executable} -B {os.path.join(HERE, 'commentFilter.py')}",
                f"OUTPUT_DIRECTORY={os.path.join(site, 'reference')}", f"HTML_OUTPUT={name}",
                f"HTML_HEADER={made}/{name}-header.html", f"HTML_FOOTER={made}/{name}-footer.html",
                f"HTML_STYLESHEET={os.path.join(HERE, 'static', 'site.css')}", *settings]
    os.makedirs(os.path.join(site, "reference"), exist_ok=True)
    subprocess.run(["doxygen", "-"], input="\n".join(settings) + "\n", text=True, cwd=TOP, check=True)


def without_dead_summary(folder):
    """Takes out what Doxygen links to at a page's top and does not show there: the private classes of a class."""
    for name in os.listdir(folder):
        if name.endswith(".html"):
            page = read(folder, name)
            if 'id="nested-classes"' not in page and 'name="nested-classes"' not in page:
                write(re.sub(r'<a href="#nested-classes">Classes</a>(?: &#124;)?\s*', "", page), folder, name)


def main():
    out = os.path.abspath(sys.argv[1])
    site, source, made, _ = folders = [os.path.join(out, name) for name in ("site", "source", "made", "doctrees")]
    for folder in folders:
        shutil.rmtree(folder, ignore_errors=True)
    guides(source)
    sphinx(source, site)
    version_headers(os.path.join(made, "headers"))
    for name in REFERENCES:
        doxygen(name, site, made)
        without_dead_summary(os.path.join(site, "reference", name))
    subprocess.run([sys.executable, "-B", os.path.join(HERE, "checkLinks.py"), site], check=True)
    print(f"the site: {os.path.join(site, 'index.html')}")


if __name__ == "__main__":
    main()
