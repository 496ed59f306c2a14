"""What each result code of a class means, and what to try: the rows of the one table, which `zt explain` prints too."""

import os
import re
import sys

TABLE = "docs/guide/result-codes.md"
FOLDERS = ("include", "utility/include", "testkit/cpp/include")


def rows():
    with open(TABLE, encoding="utf-8") as file:
        for code, meaning, returned_by, try_this in re.findall(r"^\| (\d+) \| (.*) \| (.*) \| (.*) \|$", file.read(),
                                                               re.MULTILINE):
            yield int(code), meaning, set(re.findall(r"`(\w+)", returned_by)), try_this


def said(header, known):
    """Which of these follow success in the header's sentences: "0; 3 if there is one already; 20 for null."."""
    path = next(path for path in (os.path.join(folder, header.path) for folder in FOLDERS) if os.path.exists(path))
    with open(path, encoding="utf-8") as file:
        text = re.sub(r"\s*///\s*", " ", file.read())
    sentences = re.findall(r"(?<=[. ])0[;,] (.*?)[.](?= |$)", text, re.MULTILINE)
    return {int(code) for sentence in sentences for code in re.findall(r"(?:^|; |, )(\d+)(?= |,|$)", sentence)} & known


def of(header):
    """(code, meaning, what to try) of all but success."""
    table = {code: row for code, *row in rows() if code != 0}
    found = [(code, meaning, try_this) for code, (meaning, names, try_this) in table.items() if header.name in names]
    if lacking := said(header, set(table)) - {code for code, _, _ in found}:
        sys.exit(f"{TABLE}: {header.path} says {sorted(lacking)}, and the table does not name {header.name} there")
    return found
