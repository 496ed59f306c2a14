# footprint.py BUILD SYSROOT REPETITIONS: what the libraries take on the device's processor, beside Boost.Thread,
# without which they do not work, and POCO's Foundation. Prints it in the form of Google Benchmark's report.
#
# Sizes and relocations are those of the files, of both of ours together. A C++ program then loads each library
# with what that needs: for how long, in an emulator, and for how much memory, that is pages which hold what is
# this process's own, and heap.
import json
import pathlib
import re
import subprocess
import sys
import tempfile

TOOLS = "arm-linux-gnueabihf-"
HERE = pathlib.Path(__file__).parent


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def size(file, scratch):
    output(TOOLS + "strip", "-o", scratch / "stripped", file)
    return (scratch / "stripped").stat().st_size


def relocations(file):
    return len(re.findall(r"^[0-9a-f]{8} ", output(TOOLS + "readelf", "--relocs", "--wide", file), re.MULTILINE))


def own_pages(process, folders):
    """In bytes, of the files in these folders and of what is mapped right behind each."""
    total = 0
    end, counts = None, False
    for line in pathlib.Path(f"/proc/{process}/smaps").read_text(encoding="utf-8").splitlines():
        mapping = re.fullmatch(r"([0-9a-f]+)-([0-9a-f]+) \S+ \S+ \S+ \S+ *(.*)", line)
        if mapping:
            path = mapping[3]
            counts = path.startswith(folders) or (path == "" and counts and mapping[1] == end)
            end = mapping[2]
        elif counts and line.startswith("Anonymous:"):
            total += int(line.split()[1]) * 1024
    return total


def load(command, folders):
    """Returns nanoseconds and bytes."""
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
        process.stdout.readline()
        before = own_pages(process.pid, folders)
        process.stdin.write("\n")
        process.stdin.flush()
        nanoseconds, heap = process.stdout.readline().split()
        pages = own_pages(process.pid, folders) - before
        process.communicate("")
    return int(nanoseconds), pages + int(heap)


def main():
    build, sysroot = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    libraries = sysroot / "usr/lib/arm-linux-gnueabihf"
    contenders = {
        "Floor": [libraries / "libboost_thread.so"],
        "Zt": [build / "lib/libZTAPI_OS_ABS.so", build / "lib/libZTAPI_Utility.so"],
        "Poco": [libraries / "libPocoFoundation.so.80"],
    }
    runs = []

    def add(family, contender, figure):
        runs.append({"run_name": f"{family}<{contender}>", "run_type": "iteration", "real_time": figure})

    with tempfile.TemporaryDirectory() as folder:
        scratch = pathlib.Path(folder)
        output(TOOLS + "g++", f"--sysroot={sysroot}", "-O2", HERE / "load.cpp", "-o", scratch / "load")
        for contender, files in contenders.items():
            add("size", contender, sum(size(file, scratch) for file in files))
            add("relocations", contender, sum(relocations(file) for file in files))
        for _ in range(int(sys.argv[3])):
            for contender, files in contenders.items():
                command = ["qemu-arm", "-L", sysroot, "-E", f"LD_LIBRARY_PATH={build / 'lib'}", scratch / "load", files[0]]
                nanoseconds, memory = load(command, (str(build), str(sysroot)))
                add("loading", contender, nanoseconds)
                add("memory", contender, memory)
    json.dump({"benchmarks": runs}, sys.stdout)


main()
