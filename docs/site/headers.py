"""What the public headers say, as Doxygen reads them: a Header has entries in the order of its lines, each of them
declarations that share one comment. A comment is a list of blocks, and a text is a list of pieces:

    ("paragraph", text)  ("list", [text, ...])  ("verbatim", "...")
    ("plain", "...")  ("code", "...")  ("name", "...", the full name of a declaration)
"""

import os
import re
import xml.etree.ElementTree as ElementTree
from dataclasses import dataclass, field

SHOWN = ("public", "protected")


@dataclass
class Entry:
    """`scope` is what encloses it, such as "ZT::ZTPipe"."""
    kind: str
    scope: str
    names: list
    declarations: list
    comment: list
    line: int
    entries: list = field(default_factory=list)


    def qualified(self):
        """The declarations as they stand outside of what encloses them."""
        if not self.scope:
            return self.declarations
        return [re.sub(rf"(?<![\w~:])(~?{re.escape(name)})(?!\w)", rf"{self.scope}::\1", declaration, count=1)
                for name, declaration in zip(self.names, self.declarations)]


@dataclass
class Header:
    path: str
    entries: list

    @property
    def name(self):
        return os.path.basename(self.path)[:-len(".h")]

    @property
    def main(self):
        """What the header is about: what is called like it, or else comes first."""
        return next((entry for entry in self.entries if entry.names[0] in (self.name, self.name + "_t")), self.entries[0])


def tidy(code):
    """As the headers write it."""
    code = re.sub(r" ([*&]+)", r"\1 ", code)
    code = re.sub(r"([*&]) +(?=[,)&*])", r"\1", code)
    code = re.sub(r"\( ?([*&]+) ?(\w)", r"(\1\2", re.sub(r"(\w)\(([*&])", r"\1 (\2", code))
    code = re.sub(r"< ?([^<>]*?) ?>", r"<\1>", code).replace(",...", ", ...")
    code = re.sub(r"\s*=\s*(0|default|delete)$", r" = \1", code)
    return re.sub(r"  +", " ", re.sub(r"(\w)=([\"{\w])", r"\1 = \2", code)).strip()


def full_text(element):
    return "".join(element.itertext()) if element is not None else ""


class Reader:
    def __init__(self, folder):
        self.folder = folder
        self.names = {}
        index = ElementTree.parse(os.path.join(folder, "index.xml")).getroot()
        self.files = []
        for compound in index:
            if compound.get("kind") == "file":
                self.files.append(compound.get("refid"))
                continue
            name = compound.findtext("name")
            self.names[compound.get("refid")] = name
            for member in compound.findall("member"):
                # An enumerator is called by the scope that its enumeration is in.
                self.names[member.get("refid")] = f"{name}::{member.findtext('name')}"

    def compound(self, refid):
        return ElementTree.parse(os.path.join(self.folder, refid + ".xml")).getroot().find("compounddef")

    def headers(self):
        return sorted((self.header(self.compound(refid)) for refid in self.files), key=lambda header: header.path)

    def header(self, file):
        path = file.find("location").get("file")
        classes = [self.compound(inner.get("refid")) for inner in file.findall("innerclass")]
        top = [one for one in classes if not any(one.findtext("compoundname").startswith(other.findtext("compoundname") + "::")
                                                 for other in classes)]
        entries = [self.class_entry(one) for one in top if one.get("prot") in (None, *SHOWN)]
        for namespace in file.findall("innernamespace"):
            name = namespace.text
            members = (member for member in self.compound(namespace.get("refid")).iter("memberdef")
                       if member.find("location").get("file") == path)
            entries += [self.member_entry(member, name) for member in members]
        return Header(path, self.merge(entries))

    def class_entry(self, one):
        full = one.findtext("compoundname")
        scope, _, name = full.rpartition("::")
        bases = ", ".join(" ".join(filter(None, (base.get("prot"), "virtual" if base.get("virt") == "virtual" else "",
                                                 base.text))) for base in one.findall("basecompoundref"))
        entry = Entry(one.get("kind"), scope, [name], [f"{name} : {bases}" if bases else name], self.comment(one),
                      int(one.find("location").get("line")))
        members = [member for member in one.iter("memberdef") if member.get("prot") in SHOWN]
        places = [(member.findtext("name"), member.find("location").get("line")) for member in members]
        # A union without a name counts as a member; what is in it is there by itself. What a using-declaration brings
        # along, all on one line, is the base class's.
        entries = [self.member_entry(member, full) for member, place in zip(members, places)
                   if not place[0].startswith("@") and places.count(place) == 1]
        entries += [self.class_entry(self.compound(inner.get("refid"))) for inner in one.findall("innerclass")
                    if inner.get("prot") in SHOWN]
        entry.entries = self.merge(entries)
        return entry

    def member_entry(self, member, scope):
        kind, name = member.get("kind"), member.findtext("name")
        entry = Entry(kind, scope, [name], [self.declaration(member, kind, name)], self.comment(member),
                      int(member.find("location").get("line")))
        if kind == "enum":
            entry.entries = [Entry("enumvalue", scope, [value.findtext("name")],
                                   [f"{value.findtext('name')} {value.findtext('initializer') or ''}".strip()],
                                   self.comment(value), 0) for value in member.findall("enumvalue")]
        return entry

    @staticmethod
    def declaration(member, kind, name):
        if kind == "enum":
            base = full_text(member.find("type"))
            return f"{name} : {base}" if base else name
        arguments = member.findtext("argsstring") or ""
        words = ["explicit"] if member.get("explicit") == "yes" else []
        words += ["static"] if member.get("static") == "yes" else []
        if member.get("virt", "non-virtual") != "non-virtual" and not arguments.endswith("override"):
            words.append("virtual")
        # Of the pointer to a function the type has the part before the name.
        return tidy(" ".join([*words, full_text(member.find("type")), name]) + arguments)

    @staticmethod
    def merge(entries):
        """Neighbours with the same comment have one in the header."""
        merged = []
        for entry in sorted(entries, key=lambda entry: entry.line):
            last = merged[-1] if merged else None
            if last and entry.comment and (last.kind, last.comment) == (entry.kind, entry.comment) and not entry.entries:
                last.names += entry.names
                last.declarations += entry.declarations
            else:
                merged.append(entry)
        return merged

    def comment(self, element):
        return self.blocks(element.find("briefdescription")) + self.blocks(element.find("detaileddescription"))

    def blocks(self, element):
        found = []
        for paragraph in element.findall("para"):
            text = []
            self.pieces(paragraph, text, found)
            self.end_paragraph(text, found)
        return found

    @staticmethod
    def end_paragraph(text, found):
        if any(piece[1].strip() for piece in text):
            found.append(("paragraph", text[:]))
        text.clear()

    def pieces(self, element, text, found):
        if element.text:
            text.append(("plain", element.text))
        for child in element:
            if child.tag == "computeroutput":
                refs = [ref for ref in child.findall("ref") if full_text(ref) == full_text(child)]
                text.append(("name", full_text(child), self.names[refs[0].get("refid")]) if refs
                            else ("code", full_text(child)))
            elif child.tag == "ref":
                text.append(("name", full_text(child), self.names[child.get("refid")]))
            elif child.tag == "itemizedlist":
                self.end_paragraph(text, found)
                found.append(("list", [self.item(item) for item in child.findall("listitem")]))
            elif child.tag == "verbatim":
                self.end_paragraph(text, found)
                found.append(("verbatim", child.text.strip("\n")))
            elif child.tag == "ndash":
                text.append(("plain", "--"))
            else:
                raise ValueError(f"a comment has a <{child.tag}>, which docs/site/headers.py does not know")
            if child.tail:
                text.append(("plain", child.tail))

    def item(self, element):
        (_, text), = self.blocks(element)
        return text


def first_sentence(comment):
    """Without its full stop, as plain text."""
    text = "".join(piece[1] for piece in comment[0][1])
    return re.match(r"(.*?)(\.\s|[.:]?\s*$)", text, re.DOTALL).group(1)
