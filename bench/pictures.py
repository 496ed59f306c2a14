#!/usr/bin/env python3
"""Draws docs/pictures/ from what is stored: the table of docs/performance.md, and bench/costs/. With --check it
draws nothing, and fails if a picture is not what it would draw.

The pictures follow the reader's light or dark setting.
"""
import html
import json
import math
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PICTURES = ROOT / "docs/pictures"
WIDTH = 760
STYLE = """<style>
svg { --surface: #fcfcfb; --text: #0b0b0b; --quiet: #52514e; --line: #d9d8d4; --ours: #2a78d6; --other: #b3b1aa;
      --armhf: #1baf7a; font: 12px system-ui, sans-serif }
@media (prefers-color-scheme: dark) {
svg { --surface: #1a1a19; --text: #ffffff; --quiet: #c3c2b7; --line: #3d3d3a; --ours: #3987e5; --other: #6b6a64;
      --armhf: #199e70 } }
text { fill: var(--text) } .quiet { fill: var(--quiet) } .title { font-size: 14px; font-weight: 600 }
.line { stroke: var(--line) } .ours { fill: var(--ours); stroke: var(--ours) } .other { fill: var(--other);
stroke: var(--other) } .armhf { fill: var(--armhf); stroke: var(--armhf) } path { fill: none !important; stroke-width: 2 }
.hand { stroke-dasharray: 6 4 }
</style>"""


def text(x, y, content, anchor="start", kind=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" class="{kind}">{html.escape(content)}</text>'


def line(x1, y1, x2, y2):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" class="line"/>'


def svg(height, title, parts):
    name = html.escape(title)
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" role="img" '
                      f'aria-label="{name}">', f"<title>{name}</title>", STYLE,
                      f'<rect width="{WIDTH}" height="{height}" fill="var(--surface)"/>', text(16, 24, title, kind="title"),
                      *parts, "</svg>", ""])


def measured():
    """Of each row of the table that has others: the work, and the multiples of the floor by contender."""
    table = (ROOT / "docs/performance.md").read_text()
    for work, ours, others in re.findall(r"^\| ([^|]+) \| [\d.]+ [^|]+ \| ([\d.]+) \| [^|]* \| ([^|]*\d) \|$", table,
                                         re.MULTILINE):
        yield work.replace("`", ""), [("by hand", 1.0), ("ours", float(ours)),
                                      *((name, float(ratio)) for name, ratio in re.findall(r"([^,]+?) ([\d.]+)(?:, |$)",
                                                                                           others))]


def bars():
    start, end, longest, step = 170, WIDTH - 60, 4.0, 15
    parts, y, last = [], 56, ""
    for work, contenders in measured():
        work = work.replace("its descriptor", "endpoint manager's descriptor").replace("the same", last)
        last = work.split(",")[0]
        parts.append(text(16, y, work, kind="quiet"))
        y += 6
        for name, ratio in contenders:
            width = (min(ratio, longest) / longest) * (end - start)
            kind = "ours" if name == "ours" else "other"
            parts += [text(start - 8, y + 9, name, "end"),
                      f'<rect x="{start}" y="{y}" width="{width:.1f}" height="{step - 5}" rx="2" class="{kind}"/>',
                      text(start + width + 6, y + 9, f"{ratio:g}" + (" →" if ratio > longest else ""))]
            y += step
        y += 22
    one = start + (end - start) / longest
    return svg(y, "Times, as multiples of the same work by hand", [line(one, 44, one, y - 20), *parts])


def curves(title, across, up, series):
    """Both axes are logarithmic. A series is a name, a class, and points."""
    left, right, top, bottom, height = 80, WIDTH - 210, 56, 330, 370
    all_points = [point for _, _, points in series for point in points]
    lows = [10 ** math.floor(math.log10(min(point[axis] for point in all_points))) for axis in (0, 1)]
    highs = [10 ** math.ceil(math.log10(max(point[axis] for point in all_points))) for axis in (0, 1)]

    def place(axis, value, begin, end):
        low, high = math.log10(lows[axis]), math.log10(highs[axis])
        return begin + (math.log10(value) - low) / (high - low) * (end - begin)
    parts = [text(left, 44, up, kind="quiet"), text(right, bottom + 34, across, "end", "quiet")]
    for axis in (0, 1):
        value = lows[axis]
        while value <= highs[axis]:
            if axis == 0:
                x = place(0, value, left, right)
                parts += [line(x, bottom, x, bottom + 5), text(x, bottom + 19, f"{value:,}", "middle", "quiet")]
            else:
                y = place(1, value, bottom, top)
                parts += [line(left, y, right, y), text(left - 8, y + 4, f"{value:,}", "end", "quiet")]
            value *= 10
    labels = []
    for name, kind, points in series:
        places = [(place(0, x, left, right), place(1, y, bottom, top)) for x, y in points]
        path = " ".join(f"{'L' if i else 'M'}{x:.1f} {y:.1f}" for i, (x, y) in enumerate(places))
        color = kind.split(maxsplit=1)[0]
        parts.append(f'<path d="{path}" class="{kind}"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" class="{color}"><title>{html.escape(name)}: {point[1]:,} '
                  f'at {point[0]:,}</title></circle>' for (x, y), point in zip(places, points)]
        labels.append((places[-1][1], name, f"{places[-1][0]:.1f}"))
    lowest = 0.0
    for y, name, x in sorted(labels):
        lowest = max(y + 4, lowest + 15)
        parts.append(text(float(x) + 12, lowest, name))
    return svg(height, title, parts)


def counted(pattern):
    """Of both processors, by the library and by hand: (number in the name, instructions)."""
    series = []
    for processor, kind in (("x86_64", "ours"), ("armhf", "armhf")):
        kept = json.loads((ROOT / f"bench/costs/{processor}.json").read_text())
        for suffix, name, style in (("", processor, kind), (", by hand", f"{processor}, by hand", f"{kind} hand")):
            points = [(int(found[1]), cost["instructions"]) for operation, cost in kept.items()
                      if (found := re.fullmatch(pattern + suffix, operation))]
            series.append((name, style, sorted(points)))
    return series


def pictures():
    yield "times.svg", bars()
    yield "endpoints.svg", curves("One wait of the endpoint manager", "endpoints", "instructions",
                                  counted(r"manager: wait for 1 of (\d+)"))
    yield "records.svg", curves("Receiving a record from a socket", "bytes of the record", "instructions",
                                counted(r"socket: record of (\d+) bytes(?: in full reads)?"))


def main():
    is_check = sys.argv[1:] == ["--check"]
    PICTURES.mkdir(exist_ok=True)
    for name, picture in pictures():
        file = PICTURES / name
        if not is_check:
            file.write_text(picture)
        elif not file.exists() or file.read_text() != picture:
            sys.exit(f"bench/pictures.py: docs/pictures/{name} is not what is stored; run bench/pictures.py")


main()
