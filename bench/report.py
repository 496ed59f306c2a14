# report.py: reads a Google Benchmark report (JSON, with repetitions) and prints the medians.
import collections
import json
import sys

families = collections.defaultdict(list)
for run in json.load(sys.stdin)["benchmarks"]:
    if run.get("aggregate_name") == "median":
        family, size = run["run_name"].split("/")
        families[family].append((int(size), 1e9 / run["bytes_per_second"]))

for family, costs in families.items():
    costs.sort()
    for size, cost in costs:
        print(f"{family} {size} bytes: {cost:.3f} ns per byte")
    (smallest, least), (largest, most) = costs[0], costs[-1]
    print(f"{family} {largest} against {smallest} bytes: {most / least:.2f} times per byte")
