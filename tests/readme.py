#!/usr/bin/env python3
"""Follows the README in a fresh clone, in an empty folder: writes the files that it shows, runs its commands
in their order, and compares what it says they print. Says what each command took.

A block in sh holds commands, one a line. A block in text is what the command before it prints. Any other
block is the content of the file that the line before it names at its end, if it names one. After the README come the
pages that go on with its program: one of the guide, and those on tasks.

Then all else has to be there that it names, or one of the pages that it leads to at once, or one on a task: what links
and indented commands lead to, and what the examples print.
"""

import glob
import os
import re
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LEFT_OUT = {"script/test": "it was run before script/check"}
BLOCK = re.compile(r"([^\n]*)\n*```(\w+)\n(.*?)```\n", re.DOTALL)


def run(command, folder, environment):
    print(f"$ {command}", flush=True)
    start = time.monotonic()
    # The environment that the command leaves is that of the next.
    with tempfile.TemporaryFile() as left:
        script = f"{command} && env -0 >&{left.fileno()}"
        done = subprocess.run(["bash", "-c", script], cwd=folder, env=environment, text=True,
                              pass_fds=[left.fileno()], stdout=subprocess.PIPE, check=False)
        left.seek(0)
        pairs = (entry.split("=", 1) for entry in left.read().decode().split("\0") if entry)
        environment.update(pairs)
    print(f"  {time.monotonic() - start:.1f} s", flush=True)
    if done.returncode != 0:
        sys.exit(f"{done.stdout}tests/readme.py: the command failed")
    return done.stdout


def follow(readme, folder):
    environment = dict(os.environ)
    output = ""
    for before, language, content in BLOCK.findall(readme):
        if language == "sh":
            for line in content.replace("\\\n", "").splitlines():
                command = line.split(" # ")[0].strip()
                if command in LEFT_OUT:
                    print(f"$ {command}\n  left out: {LEFT_OUT[command]}")
                else:
                    output = run(command, folder, environment)
        elif language == "text":
            if not output.endswith(content):
                sys.exit(f"tests/readme.py: printed was\n{output}where the README says\n{content}")
        elif named := re.search(r"`([^`]*)`:$", before):
            path = os.path.join(folder, named.group(1))
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write(content)


def lacking(page, folder):
    """What a page names and is not there. What another script builds may be in the working tree."""
    with open(os.path.join(folder, page), encoding="utf-8") as file:
        prose = BLOCK.sub("", file.read())
    here = os.path.dirname(page)
    paths = [os.path.join(here, link) for link in re.findall(r"\]\(([^)#:]+)\)", prose)]
    paths += re.findall(r"^    (build/\S+)", prose, re.MULTILINE)
    paths += re.findall(r"`(build/[\w/]+)`", prose)
    for path in paths:
        if not any(os.path.exists(os.path.join(root, path)) for root in (folder, ROOT)):
            yield f"{page}: {path}"
    printed = "".join(open(path, encoding="utf-8").read()
                      for path in glob.glob(f"{folder}/tests/examples/*.expected") +
                      glob.glob(f"{folder}/tests/examples/*.sh"))
    for shown in re.findall(r"^\| \[.*\|.*\|(.*)\|$", prose, re.MULTILINE):
        yield from (f"{page}: {text}" for text in re.findall(r"`([^`]*)`", shown) if text not in printed)


def main():
    with tempfile.TemporaryDirectory() as empty:
        clone = os.path.join(empty, "clone")
        subprocess.run(["git", "clone", "--quiet", ROOT, clone], check=True)
        with open(os.path.join(clone, "README.md"), encoding="utf-8") as readme:
            text = readme.read()
        follow(text, clone)
        tasks = [os.path.relpath(path, clone) for path in sorted(glob.glob(f"{clone}/docs/how-to/*.md"))]
        for name in ["docs/guide/first-program.md", *tasks]:
            with open(os.path.join(clone, name), encoding="utf-8") as page:
                follow(page.read(), clone)
        pages = ["README.md", *re.findall(r"\]\(([\w/.-]+\.md)\)", text), *tasks]
        missing = [name for page in pages for name in lacking(page, clone)]
        if missing:
            sys.exit(f"tests/readme.py: this is named and not there: {missing}")


main()
