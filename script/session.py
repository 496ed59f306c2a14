#!/usr/bin/env python3
"""session.py FOLDER FILE: runs some commands of the programs in the folder, and draws a terminal in which they were, as
SVG."""

import os
import subprocess
import sys
from xml.sax.saxutils import escape

COMMANDS = [
    "ztsim -v -- zt power state 2",
    "ztsim --health-field serial-number=ZT-2026-00417 -- zt eeprom serial-number",
    "ztsim --power-fault silence@1 -- zt power state",
    "ztsim -- sh -c 'zt power state 1; ztsim ctl power 3; zt power state; ztsim ctl count power any'",
]
COLUMN, LINE, LEFT, TOP = 8.43, 20, 20, 56


def run(command, folder):
    environment = dict(os.environ, PATH=f"{os.path.abspath(folder)}:{os.environ['PATH']}")
    done = subprocess.run(["bash", "-c", command], env=environment, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, text=True, timeout=60,
                          check=False)
    return done.stdout.splitlines()


def main():
    folder, path = sys.argv[1:]
    lines = []
    for command in COMMANDS:
        lines.append(("command", "$ " + command))
        lines += [("said", line) for line in run(command, folder)]
    width = round(max(len(text) for _, text in lines) * COLUMN) + 2 * LEFT
    height = TOP + len(lines) * LINE
    drawn = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" viewBox="0 0 {width} {height}"'
        ' role="img" aria-label="A session in a terminal">',
        '<style>text { font: 14px ui-monospace, "DejaVu Sans Mono", monospace; white-space: pre; fill: #d7dee7 }'
        ' .command { fill: #8fd0ff; font-weight: 600 }</style>',
        f'<rect width="{width}" height="{height}" rx="10" fill="#17202b"/>',
        '<circle cx="22" cy="20" r="6" fill="#e0662f"/><circle cx="42" cy="20" r="6" fill="#f2c063"/>'
        '<circle cx="62" cy="20" r="6" fill="#74d39b"/>',
    ]
    for index, (kind, text) in enumerate(lines):
        drawn.append(f'<text x="{LEFT}" y="{TOP + index * LINE}" class="{kind}">{escape(text)}</text>')
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join([*drawn, "</svg>", ""]))


main()
