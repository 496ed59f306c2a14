#!/usr/bin/env python3
"""check.py FOLDER: each page of the site has a title and a heading, each of its links leads to something that is there,
and nothing of it is loaded from elsewhere.
"""

import os
import re
import sys
from html.parser import HTMLParser
from urllib.parse import unquote, urlsplit

LOADED = {("link", "href"), ("script", "src"), ("img", "src"), ("iframe", "src"), ("object", "data"), ("source", "src")}


class Page(HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.anchors, self.links, self.text, self.inside = set(), [], {"title": "", "h1": ""}, None
        with open(path, encoding="utf-8") as file:
            self.feed(file.read())

    def handle_starttag(self, tag, attrs):
        given = dict(attrs)
        self.anchors.update(filter(None, (given.get("id"), given.get("name"))))
        self.links += [(tag, name, value) for name, value in attrs if name in ("href", "src", "data") and value]
        if tag in self.text:
            self.inside = tag

    def handle_endtag(self, tag):
        if tag == self.inside:
            self.inside = None

    def handle_data(self, data):
        if self.inside:
            self.text[self.inside] += data.strip("¶# \n")


def faults(folder):
    pages, files = {}, set()
    for where, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(where, name)
            files.add(path)
            if name.endswith(".html"):
                pages[path] = Page(path)
            elif name.endswith(".css"):
                with open(path, encoding="utf-8") as file:
                    for url in re.findall(r"@import[^;]*|url\(\s*[\"']?(?:\w+:)?//[^)]*\)", file.read()):
                        yield f"{path} loads {url}"
    for path, page in sorted(pages.items()):
        yield from (f"{path} has no {tag}" for tag, text in page.text.items() if not text)
        for tag, name, link in page.links:
            parts = urlsplit(link)
            if parts.scheme or parts.netloc:
                if (tag, name) in LOADED and parts.scheme != "data":
                    yield f"{path} loads {link}"
                continue
            target = os.path.normpath(os.path.join(os.path.dirname(path), unquote(parts.path))) if parts.path else path
            if target not in files:
                yield f"{path}: {link} leads nowhere"
            elif parts.fragment and target in pages and unquote(parts.fragment) not in pages[target].anchors:
                yield f"{path}: {link} leads to no place on that page"


def main(folder):
    found = list(faults(folder))
    sys.exit("\n".join(found) if found else 0)


main(os.path.normpath(sys.argv[1]))
