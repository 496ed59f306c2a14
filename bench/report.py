# report.py FILE...: reads reports of Google Benchmark (JSON) and what footprint.py writes, and prints one
# table. Every figure is a median; every ratio is to the floor, which was measured in the same run.
import collections
import json
import re
import statistics
import sys

NAME = re.compile(r"(\w+)<(Floor|Zt|OwnWait|Std|Poco|Nng|ZeroMq|LibeventSelect|Libuv|Spdlog)\w*>"
                  r"(?:/(\d+))?(?:/min_time:[\d.]+)?(?:/real_time)?(?:/threads:(\d+))?")
PEERS = {"OwnWait": "the manager's own wait", "Std": "std", "Poco": "POCO", "Nng": "nng", "ZeroMq": "ZeroMQ", "LibeventSelect": "libevent's select",
         "Libuv": "libuv", "Spdlog": "spdlog"}

# What was done, where its figures are, and what they should be.
ROWS = [
    *((f"IPC round trip, {size}, two processes", "ipcRoundTrip", argument,
       "1.10, ahead of nng and ZeroMQ, level with POCO or better")
      for size, argument in (("1 byte", "1"), ("64 bytes", "64"), ("255 bytes", "255"))),
    *((f"one-way IPC message, {size}", "ipcOneWay", argument, "1.10")
      for size, argument in (("1 byte", "1"), ("64 bytes", "64"), ("255 bytes", "255"))),
    ("`ZTMutex` lock and unlock, free", "mutexFree", "", "1.15"),
    ("the same, contended by 2 threads", "mutexContended", "2", "1.15"),
    ("`ZTSharedMutex` shared, 1 thread", "sharedMutexShared", "1", "1.10"),
    ("the same, 2 threads", "sharedMutexShared", "2", "1.10"),
    ("`ZTConditionVariable` hand-over, there and back", "conditionHandOver", "", "1.10"),
    ("`ZTThread` start and join", "threadStartAndJoin", "", "1.10"),
    *((f"endpoint manager, one ready of {pipes}", "managerOneReady", argument, "1.20, ahead of libevent's select")
      for pipes, argument in (("1 pipe", "1"), ("10 pipes", "10"), ("100 pipes", "100"), ("1000 pipes", "1000"))),
    *((f"its descriptor in another loop, one ready of {pipes}", "descriptorOneReady", argument,
       "ahead of libevent's select from 10 on, the same at each size")
      for pipes, argument in (("1 pipe", "1"), ("10 pipes", "10"), ("100 pipes", "100"), ("1000 pipes", "1000"))),
    ("power request out, event in", "powerRequestAndEvent", "", "1.10"),
    ("socket record, 28 bytes", "socketRecord", "28", "2"),
    ("socket record, 64 KiB", "socketRecord", "65536", ""),
    ("socket record, 1 MiB", "socketRecord", "1048576", ""),
    ("socket record, 16 MiB", "socketRecord", "16777216", ""),
    ("the same per byte, against 64 KiB", "socketGrowth", "", "flat"),
    ("diagnostic line to a file", "diagnosticToFile", "", "1.5"),
    ("diagnostic line that is not shown", "diagnosticSuppressed", "", "under 20 ns"),
    ("armhf: loading, in an emulator", "loading", "", ""),
    ("armhf: size, stripped", "size", "", ""),
    ("armhf: relocations", "relocations", "", ""),
    ("armhf: memory at rest", "memory", "", ""),
]

UNITS = {"size": (1024, "KiB"), "memory": (1024, "KiB"), "relocations": (1, ""), "socketGrowth": (1, "")}
TIMES = ((1, "ns"), (1e3, "µs"), (1e6, "ms"))


def read(paths):
    """Returns the median of each contender: {(family, argument): {contender: figure}}."""
    figures = collections.defaultdict(lambda: collections.defaultdict(list))
    for path in paths:
        with open(path, encoding="utf-8") as file:
            runs = json.load(file)["benchmarks"]
        for run in runs:
            if run["run_type"] == "iteration":
                family, contender, argument, threads = NAME.fullmatch(run["run_name"]).groups()
                figure = 1e9 / run["items_per_second"] if "items_per_second" in run else run["real_time"]
                figures[family, argument or threads or ""][contender].append(figure)
    return {row: {contender: statistics.median(all) for contender, all in row_figures.items()}
            for row, row_figures in figures.items()}


def add_growth(figures):
    """Adds what a byte of the largest record costs, as a multiple of what one of 64 KiB costs."""
    small, large = (figures.get(("socketRecord", str(size))) for size in (1 << 16, 1 << 24))
    if small and large:
        figures["socketGrowth", ""] = {contender: large[contender] / small[contender] / (1 << 8) for contender in large}


def quantity(family, figure):
    scale, unit = UNITS.get(family) or max((time for time in TIMES if figure >= time[0]), default=TIMES[0])
    return f"{figure / scale:.3g} {unit}".rstrip()


def compared(family, row, contender):
    return f"{row[contender] / row['Floor']:.2f}" if "Floor" in row else quantity(family, row[contender])


def main():
    figures = read(sys.argv[1:])
    add_growth(figures)
    print("| Work | Floor | Ours | Aim | Others |")
    print("|---|---|---|---|---|")
    for label, family, argument, aim in ROWS:
        row = figures.get((family, argument))
        if row:
            floor = quantity(family, row["Floor"]) if "Floor" in row else ""
            peers = ", ".join(f"{name} {compared(family, row, peer)}" for peer, name in PEERS.items() if peer in row)
            print(f"| {label} | {floor} | {compared(family, row, 'Zt')} | {aim} | {peers} |")


main()
