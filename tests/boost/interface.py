#!/usr/bin/env python3
"""Compares what the libraries use of Boost with interface.list, which Boost 1.63 documents or has, so that a call which
1.63 lacks is noticed. Reads the sources as clang does: interface.py COMPILE-COMMANDS-FOLDER."""

import pathlib
import re
import subprocess
import sys

import clang.cindex

ROOT = pathlib.Path(__file__).resolve().parents[2]
KEPT = pathlib.Path(__file__).with_name("interface.list")


def qualified(cursor: clang.cindex.Cursor) -> str:
    names = []
    while cursor is not None and cursor.kind != clang.cindex.CursorKind.TRANSLATION_UNIT:
        if cursor.spelling and cursor.kind != clang.cindex.CursorKind.LINKAGE_SPEC:
            names.append(cursor.spelling.split("<")[0])
        cursor = cursor.semantic_parent
    return "::".join(reversed(names))


def is_ours(cursor: clang.cindex.Cursor) -> bool:
    file = cursor.location.file
    return file is not None and pathlib.Path(file.name).resolve().is_relative_to(ROOT)


def used(cursor: clang.cindex.Cursor) -> set[str]:
    """What is of Boost and named in our own files."""
    found = set()
    for child in cursor.get_children():
        if cursor.kind == clang.cindex.CursorKind.TRANSLATION_UNIT and not is_ours(child):
            continue
        other = child.referenced
        if other is not None and not is_ours(other):
            name = qualified(other)
            if name.startswith("boost::"):
                found.add(name)
        found |= used(child)
    return found


def main() -> int:
    database = clang.cindex.CompilationDatabase.fromDirectory(sys.argv[1])
    index = clang.cindex.Index.create()
    own = subprocess.run(["g++", "-print-file-name=include"], check=True, capture_output=True, text=True).stdout.strip()
    found: set[str] = set()
    for folder in ("include", "src", "utility"):
        for file in (ROOT / folder).rglob("*.[ch]*"):
            found |= set(re.findall(r"#include (<boost/.*>)", file.read_text()))
        for source in sorted((ROOT / folder).rglob("*.cpp")):
            command = database.getCompileCommands(str(source))[0]  # a test may build it again, for itself
            options = [word for word in list(command.arguments)[1:-1] if word.startswith(("-I", "-D", "-std"))]
            unit = index.parse(str(source), [f"-I{own}", *options])
            wrong = [str(said) for said in unit.diagnostics if said.severity >= clang.cindex.Diagnostic.Error]
            assert not wrong, wrong
            if any("/boost/" in included.include.name for included in unit.get_includes()):
                found |= used(unit.cursor)
    kept = {line for line in KEPT.read_text().splitlines() if line and not line.startswith("#")}
    for name in sorted(found - kept):
        print(f"{name} is used and not in {KEPT.name}: see that Boost 1.63 has it")
    for name in sorted(kept - found):
        print(f"{name} is in {KEPT.name} and not used")
    return found != kept


if __name__ == "__main__":
    sys.exit(main())
