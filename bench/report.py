#!/usr/bin/env python3
"""Prints the results of a benchmark run beside their targets.

Usage: report.py FILE, where FILE is what `kiv_bench --benchmark_out=FILE --benchmark_out_format=json` wrote. The unit
"u" is the time of `unit/md5_40` in the same run.
"""

import json
import re
import sys

# Name of the benchmark: (its unit, "u" or "ms"; the highest value that meets the target, or None).
TARGETS = {
    "read/plain": ("u", 1.3),
    "read/rule": ("u", 1.8),
    "read/rollout": ("u", 3.8),
    "read/compound": ("u", 5.2),
    "read/regex": ("u", 3),
    "read/frozen": ("u", 1),
    "read/override": ("u", 1),
    "apply/10000": ("ms", 40),
    "register/10000": ("ms", 50),
    "state/10000": ("ms", 60),
    "fetch/10000": ("ms", 80),
    "impression/track": ("u", 12),
    "impression/burst": ("u", None),
    "impression/read": ("u", None),
    "impression/flush/100": ("ms", 20),
}
# Name of the benchmark: the highest value of each counter that meets the target.
COUNTER_TARGETS = {
    "impression/burst": {"catch_up_ms": 2000, "memory_mb": 8, "queue": 1000},
}
# The counters that are printed.
COUNTERS = ("allocations", "bytes_per_experiment", "reads_slowdown", "catch_up_ms", "memory_mb", "writes", "queue",
            "uploads")
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def nanoseconds(row):
    return row["real_time"] * NANOSECONDS[row["time_unit"]]


def base_name(name):
    return re.sub(r"/(real_time|manual_time|threads:1|iterations:\d+)\b", "", name)


def line(name, time, measured, target, rest):
    mark = "" if target is None else f"<= {target:g}"
    print(f"{name:<28}{time:>14}{measured:>12}{mark:>10}  {rest}")


def main(path):
    with open(path, encoding="utf-8") as file:
        rows = {base_name(row["name"]): row for row in json.load(file)["benchmarks"]
                if row.get("run_type", "iteration") == "iteration" and not row.get("error_occurred")}
    unit = nanoseconds(rows["unit/md5_40"])
    missed = []
    line("benchmark", "time", "measured", None, "")
    for name, row in rows.items():
        time = nanoseconds(row)
        kind, target = TARGETS.get(name, ("u" if name.startswith(("read", "unit")) else "ms", None))
        value = time / unit if kind == "u" else time / 1e6
        rest = "".join(f"{key}={row[key]:.3g} " for key in COUNTERS if key in row)
        alone = rows.get(name.replace("/threads:2", "")) if "/threads:2" in name else None
        if alone:
            # The time is wall time divided by all reads, so two threads that do not disturb each other halve it.
            rest += f"{nanoseconds(alone) / time:.2f} times one thread"
        line(name, f"{time:,.1f} ns" if kind == "u" else f"{time / 1e6:,.2f} ms", f"{value:.2f} {kind}", target, rest)
        if target is not None and value > target:
            missed.append(name)
        for counter, most in COUNTER_TARGETS.get(name, {}).items():
            if row[counter] > most:
                missed.append(f"{name} ({counter}: {row[counter]:.3g}, <= {most})")
    print("every target is met" if not missed else "missed: " + ", ".join(missed))


if __name__ == "__main__":
    main(sys.argv[1])
