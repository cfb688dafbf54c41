"""Sphinx's part of the site: the guides, which are Markdown, and the reference of the Python package."""
import os
import re
import sys

HERE = os.environ["SITE_SOURCES"]  # the folder of this file; what Sphinx reads is a copy
sys.path[:0] = [HERE, os.path.join(HERE, "..", "..", "bindings", "python")]
from navigation import side  # noqa: E402

project = "Datasource and casefile"
extensions = ["myst_parser", "sphinx.ext.autodoc"]
templates_path = [os.path.join(HERE, "templates")]
html_static_path = [os.path.join(HERE, "static")]
html_theme = "basic"
html_show_sourcelink = False
html_copy_source = False
html_use_index = False
html_domain_indices = False
html_title = project
highlight_language = "none"
pygments_style = "default"
myst_heading_anchors = 4

# The package is looked at, not used: neither the shared library nor what it can work with need be there.
autodoc_mock_imports = ["cffi", "numpy", "pandas", "fsspec", "dask", "distributed"]
autodoc_member_order = "bysource"
autodoc_typehints = "signature"
add_module_names = False

PART = re.compile(r"^(\s*)(Requires|Returns|Raises|Changes|Threads|Cost|Kept as is): ")


def parts_of_a_comment(app, what, name, obj, options, lines):
    """The words that begin a part of a docstring begin a paragraph, and are bold."""
    shown = []
    for line in lines:
        found = PART.match(line)
        if found:
            shown += ["", f"{found[1]}**{found[2]}:** {line[found.end():]}"]
        else:
            shown.append(line)
    lines[:] = shown


def page_begin(pagename, url_root):
    with open(os.path.join(HERE, "templates", "begin.html"), encoding="utf-8") as file:
        page = file.read()
    return page.replace("@SIDE@", side(url_root, f"{pagename}.html")).replace("@TOP@", url_root)


def give_navigation(app, pagename, templatename, context, doctree):
    context["page_begin"] = page_begin
    context["js_tag"] = lambda file: f'<script src="{context["pathto"](str(file), 1)}"></script>'


def setup(app):
    app.connect("autodoc-process-docstring", parts_of_a_comment)
    app.connect("html-page-context", give_navigation)
