"""Pictures made of the text of a document: each table of offsets, as a row of boxes, and each block in dot, as a graph.
They take their colours from the page, light or dark.
"""

import html
import re
import subprocess

TABLE = re.compile(r"^\| Offset \| Bytes \| What \|\n\|---\|---\|---\|\n((?:\|.*\n)+)", re.MULTILINE)
WIDTH = 8  # bytes in a row


def fields(rows):
    found = []
    for row in rows.splitlines():
        offset, count, what = (cell.strip() for cell in row.strip("|").split("|"))
        label = re.split(r",|:| \(| see ", what.replace("`", ""))[0]
        found.append((int(offset), int(count) if count.isdigit() else None, label))
    return found


def layouts(found):
    """The fields in their order; where some lie over others, one layout without and one with them."""
    over = [field for at, field in enumerate(found) if any(
        one[1] and one[0] <= field[0] < one[0] + one[1] for one in found[:at])]
    under = [one for one in found if one not in over and any(one[0] <= field[0] < one[0] + (one[1] or 0) for field in over)]
    yield [one for one in found if one not in over]
    if over:
        yield sorted(one for one in found if one not in under)


def cells(layout):
    """(bytes, label, whether it is the first part) of each box; a field goes on in the next row."""
    at = 0
    for offset, count, label in layout:
        if offset > at:
            layout_gap = offset - at
            yield from parts(at, layout_gap, "not used")
        if count is None:
            yield WIDTH - offset % WIDTH, label + " ...", True
            return
        yield from parts(offset, count, label)
        at = offset + count


def parts(offset, count, label):
    first = True
    while count:
        part = min(count, WIDTH - offset % WIDTH)
        yield part, label, first
        offset, count, first = offset + part, count - part, False


def picture(layout):
    boxes, at = "", 0
    for width, label, first in cells(layout):
        text = f"<small>{at}</small> {html.escape(label)}" if first else "&hellip;"
        boxes += f'<span class="{"byte" if first else "byte on"}" style="grid-column: span {width}">{text}</span>'
        at += width
    return boxes


def with_bytes(text):
    def draw(table):
        drawn = [f'<div class="bytes" aria-hidden="true">{picture(layout)}</div>' for layout in layouts(fields(table.group(1)))]
        return "```{raw} html\n" + '<p class="or">or</p>\n'.join(drawn) + "\n```\n\n" + table.group()
    return TABLE.sub(draw, text)


def drawn(block):
    found = re.fullmatch(r"```dot\n(.*)```", block, re.DOTALL)
    if not found:
        return block
    svg = subprocess.run(["dot", "-Tsvg", "-Nfontname=sans-serif", "-Nfontsize=11", "-Nshape=box", "-Nstyle=rounded",
                          "-Efontname=sans-serif", "-Efontsize=10", "-Gfontname=sans-serif", "-Gfontsize=11",
                          "-Gbgcolor=transparent"], input=found.group(1), check=True, stdout=subprocess.PIPE, text=True).stdout
    svg = svg[svg.index("<svg"):].replace('"black"', '"currentColor"').replace("<text ", '<text fill="currentColor" ')
    svg = re.sub(r"<title>.*?</title>\n|<!--.*?-->\n", "", svg)
    label = re.search(r"// (.*)", found.group(1)).group(1)
    svg = svg.replace("<svg ", f'<svg role="img" aria-label="{html.escape(label)}" ', 1)
    return f'```{{raw}} html\n<div class="graph" tabindex="0" role="group" aria-label="{html.escape(label)}">{svg}</div>\n```'
