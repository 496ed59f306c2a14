#!/usr/bin/env python3
"""Shows that script/cost sees what slips in easily: each slip is made in a copy of a source file, which a copy of
the library is linked with. script/cost has to refuse that library, and to say what rose and where."""
import json
import pathlib
import shlex
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = ROOT / "build/release"

# What slips in, where, what stands there, what takes its place, an operation, and what has to be said of it.
SLIPS = [
    ("a copied string", "filehandling/ZTCopy.cpp",
     "open(source.c_str(), O_RDONLY)", "open(std::string(source).c_str(), O_RDONLY)",
     "copy: 1 chunk", ["allocations 0 -> 1", "ZT::ZTCopy::copy"]),
    ("a system call too many", "ipc/ZTIPCEndPoint.cpp",
     "setSocketOption(used->getNumber(), SO_SNDLOWAT, ",
     "setSocketOption(used->getNumber(), SO_SNDBUF, 1 << 16);\n    setSocketOption(used->getNumber(), SO_SNDLOWAT, ",
     "IPC: send 64 bytes", ["setsockopt() 1 -> 2", "ZT::ZTIPCEndPoint::sendMessage"]),
    ("a lost reserve()", "socket/ZTSocket.cpp",
     "taken.reserve(taken.size() + records.size());", "",
     "socket: 53 records of 28 bytes with receiveRecords()", ["allocations 54", "ZT::ZTSocket::takeRecords"]),
    ("a lock taken twice", "ipc/ListenerGate.cpp",
     "void ListenerGate::leave()\n{\n", "void ListenerGate::leave()\n{\n    { const Lock lock(*mutex); }\n",
     "IPC: deliver 64 bytes to a listener", ["instructions", "ZT::BoostMutex::lock"]),
]


def command_of(source):
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        if entry["file"] == str(source):
            return shlex.split(entry["command"])
    sys.exit(f"slips.py: nothing compiles {source}")


def link_command():
    library = subprocess.check_output(["ninja", "-C", BUILD, "-t", "commands", "lib/libZTAPI_OS_ABS.so.1"], text=True)
    last = next(line for line in reversed(library.splitlines()) if "-shared" in line)
    return shlex.split(last.split("&&")[1])


def library_with(folder, source, text):
    """Links the library anew, with this text in the place of the source."""
    changed = folder / source.name
    changed.write_text(text)
    compile_command = command_of(source)
    original_object = compile_command[compile_command.index("-o") + 1]
    compile_command[compile_command.index("-o") + 1] = f"{changed}.o"
    compile_command[compile_command.index(str(source))] = str(changed)
    subprocess.run(compile_command, check=True, cwd=BUILD)
    library = folder / "libZTAPI_OS_ABS.so.1"
    link = [f"{changed}.o" if word == original_object else word for word in link_command()]
    link[link.index("-o") + 1] = str(library)
    subprocess.run(link, check=True, cwd=BUILD)
    return library


def main():
    for name, source, old, new, operation, expected in SLIPS:
        text = (ROOT / "src" / source).read_text()
        if text.count(old) != 1:
            sys.exit(f"slips.py: {name}: {source} does not have it once: {old}")
        with tempfile.TemporaryDirectory() as folder:
            library = library_with(pathlib.Path(folder), ROOT / "src" / source, text.replace(old, new))
            ran = subprocess.run([ROOT / "script/cost", "--library", library, "--exactly", operation],
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        missing = [words for words in expected if words not in ran.stdout]
        if ran.returncode == 0 or missing:
            sys.exit(f"slips.py: {name} slips through, {missing} is not in\n{ran.stdout}")
        print(f"slips.py: {name}:\n{ran.stdout}")


main()
