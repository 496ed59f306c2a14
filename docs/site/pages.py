#!/usr/bin/env python3
"""pages.py XML FOLDER: puts together what Sphinx makes the site of, in FOLDER, where each file has the place that it has
in the project: the documents, with links that lead to pages; a page for each header, of what Doxygen has read into XML;
a page for each example with what it prints; and the manual pages of the programs.
"""

import os
import re
import shutil
import subprocess
import sys

import drawings
import headers
import results

SUBSYSTEMS = {
    "Locks and threads": "ZTMutex ZTSharedMutex ZTLock ZTAutoLock ZTConditionVariable ZTThread ZTSleep",
    "Endpoints and messages": "ZTEndPointManager ZTEndPointHandler ZTEndPoint ZTPipe ZTDescriptorEndPoint ZTIPCEndPoint "
                              "ZTIPCServer ZTIPCMessageArrivalListener IPCMessage",
    "Power management": "ZTPowerManagement ZTSignalListener ZTSignal ZTEvent ZTTrigger ztPowerStates ztPowerDevices "
                        "ZTPowerManagementInterfaceR7 ZTPowerManagementEndPoint ztpmd_msg",
    "Health monitor and EEPROM": "ZTHealthManagement ZTEeprom zthmd_msg",
    "Sockets": "ZTSocketFactory ZTSocket ZTSocketLinux ZTSocketMessage",
    "Network settings": "ZTNetworkConfigFactory ZTNetwork ZTNetworkLinux ZTNetworkConfig",
    "System services": "ZTSystem ZTSignalHandler ZTEnvironmentVariable",
    "File copying": "ZTFileHandling ZTFileHandlingInterface ZTCopy",
    "The companion library": "ZTDebug ZTTick ZTStringTokenizer ZTFilesAndFolders writeToFile",
    "The test kit": "Device",
}
DOCUMENTS = re.compile(r"(docs/(guide/|how-to/)?|examples/|packaging/(yocto/)?)?[\w-]+\.md")
SEVERAL = re.compile(r"ipc_|loop_|message_client")  # examples that one test runs together
TEST_OF = {"ipc_": "ipc.sh", "loop_": "loop.sh", "message_client": "message_server.expected"}
KINDS = {"function": "function", "variable": "member", "typedef": "type", "enum": "enum", "enumvalue": "enumerator",
         "class": "class", "struct": "struct", "union": "union"}


class Site:
    def __init__(self, folder):
        self.folder = folder
        self.files = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], check=True,
                                    stdout=subprocess.PIPE, text=True).stdout.split()
        self.pages = {file: file for file in self.files if DOCUMENTS.fullmatch(file) and file != "README.md"}
        self.pages.update({"docs/site/index.md": "index.md", "README.md": "index.md", "include/zt": "reference/index.md"})
        for file in self.files:
            name, ending = os.path.splitext(os.path.basename(file))
            if ending == ".1":
                self.pages[file] = f"manual/{name}.md"
            elif file.startswith("examples/") and ending in (".cpp", ".h"):
                self.pages[file] = f"examples/{name}.md"
            elif ending == ".h" and "include" in file.split("/"):
                self.pages[file] = f"reference/{name}.rst"

    def write(self, path, text):
        path = os.path.join(self.folder, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def copy(self, file):
        target = os.path.join(self.folder, file)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copy(file, target)

    def link(self, page, target):
        """What a link in a page leads to on the site. What is no page is brought along."""
        path, mark, anchor = target.partition("#")
        if ":" in target or not path:
            return target
        found = os.path.normpath(os.path.join(os.path.dirname(page), path))
        if os.path.isfile(found) and found not in self.pages:
            self.copy(found)
        return os.path.relpath(self.pages.get(found, found), os.path.dirname(self.pages.get(page, page))) + mark + anchor

    def included(self, page, target):
        path = os.path.normpath(os.path.join(os.path.dirname(page), target))
        self.copy(path)
        return os.path.relpath(path, os.path.dirname(self.pages[page]))

    def document(self, file):
        text = read(file)
        # What stands in a block is no link.
        parts = re.split(r"(^(?:```|:::\{raw).*?^(?:```|:::)$)", text, flags=re.DOTALL | re.MULTILINE)
        parts[::2] = [re.sub(r"\]\(([^)\s]+)\)", lambda found: f"]({self.link(file, found.group(1))})", part)
                      for part in parts[::2]]
        parts[::2] = [drawings.with_bytes(part) for part in parts[::2]]
        parts[1::2] = [drawings.drawn(part) for part in parts[1::2]]
        text = "".join(parts)
        text = re.sub(r"(?<=^```\{toctree\}\n).*?(?=^```)", lambda found: re.sub(
            r"^[^:\n]+$", lambda line: self.link(file, line.group()), found.group(), flags=re.MULTILINE),
            text, flags=re.DOTALL | re.MULTILINE)
        text = re.sub(r"(?<=include\} )\S+", lambda found: self.included(file, found.group()), text)
        if os.path.basename(file) == "README.md":
            below = re.findall(r"\]\(((?!\.\.)[\w/-]+\.md)\)", text)
            text += "\n```{toctree}\n:hidden:\n\n" + "\n".join(dict.fromkeys(below)) + "\n```\n"
        self.write(self.pages[file], text)

    def example(self, file):
        name, ending = os.path.splitext(os.path.basename(file))
        source = read(file)
        self.copy(file)
        opening = re.match(r"((?://.*\n)*)", source).group(1)
        text = f"# {name}\n\n" + "\n".join(line[2:].removeprefix(" ") for line in opening.splitlines()) + "\n\n"
        if not opening:
            users = [user for user in sorted(self.pages) if user.startswith("examples/") and user != file
                     and f'"{name}.h"' in read(user)]
            text = f"# {name}.h\n\nFor " + ", ".join(
                f"[{os.path.basename(user)}]({os.path.basename(self.pages[user])})" for user in users) + ".\n\n"
        text += f"```{{literalinclude}} {name}{ending}\n:language: cpp\n"
        text += f":lines: {opening.count(chr(10)) + 1}-\n```\n" if opening else "```\n"
        shared = SEVERAL.match(name)
        test = TEST_OF[shared.group()] if shared else next(
            (f for f in (f"{name}.expected", f"{name}.sh") if f"tests/examples/{f}" in self.files), None)
        if test:
            self.copy(f"tests/examples/{test}")
            says = {"expected": "What it prints:", "sh": "The test that runs it says what it prints:"}[test.split(".")[1]]
            language = {"expected": "text", "sh": "bash"}[test.split(".")[1]]
            text += f"\n{says}\n\n```{{literalinclude}} ../tests/examples/{test}\n:language: {language}\n```\n"
        self.write(self.pages[file], text)

    def manual(self, file):
        html = subprocess.run(["mandoc", "-T", "html", "-O", "fragment", file], check=True, stdout=subprocess.PIPE,
                              text=True).stdout
        name = os.path.basename(file)[:-2]
        text = f"# {name}(1)\n\n"
        for title, body in re.findall(r'<section class="Sh">\s*<h1[^>]*><a[^>]*>(.*?)</a></h1>(.*?)</section>', html, re.DOTALL):
            body = re.sub(r"<(/?)h2", r"<\1h3", body)
            text += f"## {title.capitalize()}\n\n````{{raw}} html\n<div class=\"manual\">{body}</div>\n````\n\n"
        self.write(self.pages[file], text)

    def reference(self, found):
        page = {header.name: header for header in found}
        listed = [name for names in SUBSYSTEMS.values() for name in names.split()]
        if sorted(listed) != sorted(page):
            sys.exit(f"docs/site/pages.py: SUBSYSTEMS and the headers differ: {sorted(set(listed) ^ set(page))}")
        text = ("# Reference\n\nWhat each header says. The same is in the manual pages of section 3: `man ZTPipe`. What is "
                "returned, and what to try then, is in [result codes](../docs/guide/result-codes.md).\n")
        for title, names in SUBSYSTEMS.items():
            text += f"\n## {title}\n\n| Name | What it is |\n|---|---|\n"
            for name in names.split():
                main = page[name].main
                text += f"| [{main.names[0]}]({name}.rst) | {headers.first_sentence(main.comment)}. |\n"
                self.write(f"reference/{name}.rst", restructured(page[name]))
        text += "\n```{toctree}\n:hidden:\n\n" + "\n".join(f"{name}.rst" for name in listed) + "\n```\n"
        self.write("reference/index.md", text)


def read(file):
    with open(file, encoding="utf-8") as opened:
        return opened.read()


def escaped(text):
    return re.sub(r"([\\*`_|])", r"\\\1", text)


def inline(text):
    written = ""
    for kind, *words in text:
        if kind == "plain":
            written += escaped(re.sub(r"\s+", " ", words[0]))
        elif kind == "code":
            written += f"\\ ``{words[0]}``\\ "
        else:
            written += f"\\ :cpp:any:`{words[0]} <{words[1]}>`\\ "
    return re.sub(r"(^|\s)\\ |\\ (\s|$)", r"\1\2", written.strip())


def restructured_comment(comment, indent):
    lines = []
    for kind, content in comment:
        if kind == "paragraph":
            lines += [inline(content), ""]
        elif kind == "list":
            lines += [f"- {inline(item)}" for item in content] + [""]
        else:
            lines += ["::", ""] + [f"   {line}" for line in content.splitlines()] + [""]
    return "".join(f"{indent}{line}".rstrip() + "\n" for line in lines)


def restructured_entry(entry, indent=""):
    directive = KINDS[entry.kind]
    inside = bool(indent) or directive == "enumerator"
    declarations = entry.declarations if inside else entry.qualified()
    head = f"{indent}.. cpp:{directive}:: "
    text = head + ("\n" + " " * len(head)).join(declarations) + "\n\n"
    text += restructured_comment(entry.comment, indent + "   ")
    return text + "".join(restructured_entry(each, indent + "   ") for each in entry.entries) + "\n"


def restructured_results(found):
    if not found:
        return ""
    text = "Result codes\n------------\n\n.. list-table::\n   :header-rows: 1\n\n"
    for row in [("Code", "Meaning", "What to try"), *found]:
        cells = [re.sub(r"`(.*?)`", r"``\1``", str(cell)) for cell in row]
        text += "   * - " + "\n     - ".join(cells) + "\n"
    return text


def restructured(header):
    title = header.main.names[0]
    return (f"{title}\n{'=' * len(title)}\n\n.. code-block:: cpp\n\n   #include \"{header.path}\"\n\n" +
            "".join(restructured_entry(entry) for entry in header.entries) + restructured_results(results.of(header)))


def main(xml, folder):
    site = Site(folder)
    found = headers.Reader(xml).headers()
    site.reference(found)
    for file, page in site.pages.items():
        if page.startswith("manual/"):
            site.manual(file)
        elif page.startswith("examples/") and file != page:
            site.example(file)
        elif file in (page, "docs/site/index.md"):
            site.document(file)
    for picture in site.files:
        if re.fullmatch(r"docs/pictures/.*\.(svg|png)", picture):
            site.copy(picture)


if __name__ == "__main__":
    main(*sys.argv[1:])
