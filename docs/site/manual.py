#!/usr/bin/env python3
"""manual.py XML VERSION FOLDER: a manual page of section 3 for each header, of what Doxygen has read into XML."""

import os
import re
import sys

import headers
import results

LIBRARIES = {"zt": "-lZTAPI_OS_ABS", "ztutil": "-lZTAPI_Utility", "ztsim": "-lZTAPI_Sim"}


def page_name(header):
    scope = header.main.scope
    return header.name if scope in ("", "ZT") else f"{scope}_{header.name}"


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("~", "\\(ti").replace("^", "\\(ha").replace("`", "\\(ga")
    return re.sub(r"^([.'])", r"\\&\1", text.replace("'", "\\(aq"), flags=re.MULTILINE)


def sentence(text):
    """A hyphen of a text stays one; and what is code or a name stands out."""
    written = ""
    for kind, content, *_ in text:
        piece = roff(re.sub(r"\s+", " ", content))
        if kind == "plain":
            written += re.sub(r"(?<=\w)\\-(?=\w)", "-", piece)
        else:
            written += f"\\fB{piece}\\fP"
    return re.sub(r"^([.'])", r"\\&\1", written.strip())


def comment(blocks):
    lines = []
    for kind, content in blocks:
        if lines:
            lines.append(".PP" if kind != "list" else "")
        if kind == "paragraph":
            lines.append(sentence(content))
        elif kind == "list":
            for item in content:
                lines += [".IP \\(bu 2", sentence(item)]
        else:
            lines += [".nf", roff(content).replace("\n\n", "\n\\&\n"), ".fi"]
    return [line for line in lines if line]


def kind_of(entry):
    return entry.kind + " " if entry.kind in ("class", "struct", "union", "enum") else ""


def members(entries):
    lines = []
    for entry in entries:
        for at, declaration in enumerate(entry.declarations):
            lines += [".TQ" if at else ".TP", f".B {roff(kind_of(entry) + declaration)}"]
        text = comment(entry.comment)
        # Further paragraphs are indented as the first one is.
        lines += [".IP" if line == ".PP" else line for line in text]
        if entry.entries:
            lines += [".RS", *members(entry.entries), ".RE"]
    return lines


def mentioned(entries):
    found = set()

    def look(text):
        found.update(piece[2] for piece in text if piece[0] == "name")

    for entry in entries:
        for kind, content in entry.comment:
            for text in content if kind == "list" else [content] if kind == "paragraph" else []:
                look(text)
        found |= mentioned(entry.entries)
    return found


def summary(header):
    text = re.sub(r"\s+", " ", headers.first_sentence(header.main.comment))
    return text if re.match(r"\w*[A-Z]\w*[A-Z]", text) else text[0].lower() + text[1:]


def result_codes(header):
    found = results.of(header)
    lines = [".SH RESULT CODES"] if found else []
    for code, meaning, try_this in found:
        text = [("code" if at % 2 else "plain", piece) for at, piece in enumerate(f"{meaning}. Try: {try_this}.".split("`"))]
        lines += [".TP", f".B {code}", sentence(text)]
    return lines


def page(header, version, others):
    names = [name for entry in header.entries for name in entry.names]
    first = page_name(header)
    title = ", ".join(dict.fromkeys([first, *(name for name in names if name != header.name)]))
    if "zt" not in (title + summary(header)).lower():
        title += f", {header.main.scope}::{header.name}"  # "apropos zt" finds all of them
    lines = [f".TH {roff(first)} 3 \"\" \"ZTAPI OS_ABS {version}\" \"Library classes\"", ".nh", ".ad l", ".SH NAME",
             f"{title} \\- {sentence([('plain', summary(header))])}", ".SH SYNOPSIS", ".nf",
             f"\\fB#include <{header.path}>\\fP", ".PP"]
    for entry in header.entries:
        lines += [roff(f"{kind_of(entry)}{declaration};") for declaration in entry.qualified()]
    lines += [".fi", ".PP", f"Link with \\fI{roff(LIBRARIES[header.path.split('/')[0]])}\\fP."]
    for entry in [header.main] + [entry for entry in header.entries if entry is not header.main]:
        lines += [".SH DESCRIPTION" if entry is header.main else f".SH {roff(entry.names[0])}", *comment(entry.comment)]
        if entry.entries:
            lines += [".SS Values" if entry.kind == "enum" else ".SS Members", *members(entry.entries)]
    pages = sorted({others[name] for name in mentioned(header.entries) if name in others} - {first})
    lines += result_codes(header)
    lines += [".SH SEE ALSO", *[f".BR {roff(name)} (3)," for name in pages], ".BR zt (1),", ".BR ztsim (1)"]
    return "\n".join(lines) + "\n"


def main(xml, version, folder):
    found = headers.Reader(xml).headers()
    others = {f"{entry.scope}::{name}".removeprefix("::"): page_name(header)
              for header in found for entry in header.entries for name in entry.names}
    os.makedirs(folder, exist_ok=True)
    for header in found:
        with open(os.path.join(folder, page_name(header) + ".3"), "w", encoding="utf-8") as file:
            file.write(page(header, version, others))


main(*sys.argv[1:])
