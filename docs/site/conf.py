"""How Sphinx makes the site of the pages that docs/site/pages.py has put together."""

import os
import re

from docutils import nodes

project = "ZTAPI OS_ABS"
copyright = "the authors of ZTAPI OS_ABS, MIT licence"
version = release = os.environ["ZT_VERSION"]

extensions = ["myst_parser"]
myst_enable_extensions = ["colon_fence"]
myst_heading_anchors = 4
root_doc = "index"
exclude_patterns = ["README.md"] # a part of it is on the front page
primary_domain = "cpp"
highlight_language = "none"

html_theme = "furo"
html_title = f"{project} {version}"
html_static_path = ["static"]
html_css_files = ["zt.css"]
html_copy_source = False
html_use_index = False
html_show_search_summary = False  # it would have to fetch pages, which a browser refuses to a file
html_show_sphinx = False
pygments_style = "default"
pygments_dark_style = "github-dark"

FURO = "/usr/lib/python3/dist-packages/furo/theme/furo/static"


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


# In Debian's furo nothing becomes dark by itself: the rule that is for that was lost when its style sheet was made.
dark = re.search(r'body\[data-theme="dark"\] \{\s*(--.*?)\}', read(f"{FURO}/styles/furo.css"), re.DOTALL).group(1)
html_theme_options = {"dark_css_variables": dict(re.findall(r"--([\w-]+): (.*?);", dark))}

# Two files of it ask for others, where only a web server of Debian's has them, or as a page from a file may not.
INLINED = {
    "styles/furo.css": ("@import url(/javascript/normalize.css/normalize.css);", "/usr/share/nodejs/normalize.css/normalize.css"),
    "scripts/furo.js": ('import Gumshoe from "./gumshoe-patched.js";', f"{FURO}/scripts/gumshoe-patched.js"),
}

# And not everybody can use its pages.
MENDED = {
    'role="heading"': 'role="heading" aria-level="2"',
    '<aside class="sidebar-drawer"': '<aside class="sidebar-drawer" aria-label="Pages"',
    '<aside class="toc-drawer': '<aside aria-label="Contents of this page" class="toc-drawer',
    '<label class="overlay': '<label aria-hidden="true" class="overlay',
    '<div id="search-results">': '<h1>Search</h1>\n<div id="search-results">',
    # What may have to be scrolled, by whoever has no mouse, too.
    "<pre>": '<pre tabindex="0">',
    '<div class="table-wrapper': '<div tabindex="0" class="table-wrapper',
}


def link_names(app, doctree, page):
    """What is called in the text like something in the reference leads there."""
    places = {}
    for full, _, _, document, anchor, _ in app.env.domains["cpp"].get_objects():
        places.setdefault(full.removeprefix("ZT::"), (document, anchor))
    for literal in list(doctree.findall(nodes.literal)):
        place = places.get(literal.astext().removesuffix("()"))
        if place and place[0] != page and not isinstance(literal.parent, (nodes.reference, nodes.title)):
            uri = app.builder.get_relative_uri(page, place[0]) + "#" + place[1]
            reference = nodes.reference("", "", internal=True, refuri=uri)
            literal.replace_self(reference)
            reference += literal


def mend(app, failure):
    if failure:
        return
    for name, (place, other) in INLINED.items():
        rewrite(os.path.join(app.outdir, "_static", name), {place: read(other)})
    for folder, _, files in os.walk(app.outdir):
        for file in files:
            if file.endswith(".html"):
                rewrite(os.path.join(folder, file), MENDED)


def rewrite(path, changes):
    text = read(path)
    for found, better in changes.items():
        text = text.replace(found, better)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def setup(app):
    app.connect("doctree-resolved", link_names)
    app.connect("build-finished", mend)
