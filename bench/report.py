#!/usr/bin/env python3
"""Prints the results of a benchmark run beside what they are to reach, and fails on a miss by more than a tenth.

Usage: report.py FILE..., where a FILE is what `kiv_bench --benchmark_out=FILE --benchmark_out_format=json` wrote. The
unit "u" is the time of `unit/md5_40` in the same file. Of a benchmark that ran several times, the median counts.
"""

import json
import re
import statistics
import sys

# How far a figure may be beyond its target: runs on shared machines differ that much.
TOLERANCE = 1.1

# Name of the benchmark: (its unit, "u" or "ms"; the highest value that meets the target, or None).
TARGETS = {
    "read/plain": ("u", 0.35),
    "read/constant": ("u", 0.6),
    "read/rule": ("u", 1.15),
    "read/rollout": ("u", 2.4),
    "read/compound": ("u", 3.6),
    "read/list": ("u", 4.2),
    "read/regex": ("u", 2.2),
    "read/context": ("u", 2.2),
    "read/frozen": ("u", 0.3),
    "read/override": ("u", 0.3),
    "impression/read": ("u", 4),
    "apply/10000": ("ms", 20),
    "setup/10000": ("ms", 12),
    "unfreeze/100000": ("ms", 100),
    "register/10000": ("ms", 50),
    "state/10000": ("ms", 60),
    "fetch/10000": ("ms", 80),
    "impression/track": ("u", 12),
    "impression/burst": ("u", None),
    "impression/flush/100": ("ms", 20),
}
# Name of the benchmark: the highest value of each counter that meets the target.
COUNTER_TARGETS = {
    "read/list": {"allocations": 0},
    "read/context": {"allocations": 1},
    "impression/read": {"allocations": 4},
    **{f"c_read/{name}": {"allocations": 0} for name in ("rule", "compound", "regex", "context")},
    "c_read_by_name/rule": {"allocations": 0},
    "apply/10000": {"bytes_per_experiment": 360},
    "impression/burst": {"catch_up_ms": 2000, "memory_mb": 8, "queue": 1000},
}
# Name of the benchmark: (the benchmark that it is compared with, the highest multiple of that one's time).
RATIOS = {
    **{f"c_read/{name}": (f"read/{name}", 1.3)
       for name in ("plain", "constant", "rule", "rollout", "compound", "regex", "context", "frozen", "override")},
    "c_read_by_name/rule": ("read_by_name/rule", 1.3),
}
# Two threads make at least as many times the reads of one.
TWO_THREADS = 1.95
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


def medians(rows):
    """One row for each benchmark: the medians of its times and counters over all its runs."""
    runs = {}
    for row in rows:
        if row.get("run_type", "iteration") == "iteration":
            if row.get("error_occurred"):
                sys.exit(f"{row['name']}: {row['error_message']}")
            runs.setdefault(base_name(row["name"]), []).append(row)
    return {name: all_runs[0] | {key: statistics.median(run[key] for run in all_runs)
                                 for key in ("real_time", *COUNTERS) if key in all_runs[0]}
            for name, all_runs in runs.items()}


def report(rows):
    """Prints the rows, and returns what is missed."""
    unit = nanoseconds(rows["unit/md5_40"])
    missed = []
    for name, row in rows.items():
        time = nanoseconds(row)
        kind, target = TARGETS.get(name, ("u" if name.startswith(("read", "c_read", "unit")) else "ms", None))
        value = time / unit if kind == "u" else time / 1e6
        rest = "".join(f"{key}={row[key]:.3g} " for key in COUNTERS if key in row)
        alone = rows.get(name.replace("/threads:2", "")) if "/threads:2" in name else None
        if alone:
            # The time is wall time divided by all reads, so two threads that do not disturb each other halve it.
            times = nanoseconds(alone) / time
            rest += f"{times:.2f} times one thread"
            if times < TWO_THREADS / TOLERANCE:
                missed.append(f"{name} ({times:.2f} times one thread, >= {TWO_THREADS})")
        if name in RATIOS and RATIOS[name][0] in rows:
            other, most = RATIOS[name]
            ratio = time / nanoseconds(rows[other])
            rest += f"{ratio:.2f} times {other}, <= {most:g}"
            if ratio > most * TOLERANCE:
                missed.append(f"{name} ({ratio:.2f} times {other}, <= {most:g})")
        line(name, f"{time:,.1f} ns" if kind == "u" else f"{time / 1e6:,.2f} ms", f"{value:.2f} {kind}", target, rest)
        if target is not None and value > target * TOLERANCE:
            missed.append(f"{name} ({value:.2f} {kind}, <= {target:g})")
        for counter, most in COUNTER_TARGETS.get(name, {}).items():
            if row[counter] > most * TOLERANCE:
                missed.append(f"{name} ({counter}: {row[counter]:.3g}, <= {most})")
    operators = ("read/twenty", "read/forty")
    if all(name in rows for name in operators):
        each = [nanoseconds(rows[name]) / unit for name in operators]
        print(f"one more operator with its operands takes {(each[1] - each[0]) / 20:.2f} u")
    return missed


def main(paths):
    line("benchmark", "time", "measured", None, "")
    missed = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            missed += report(medians(json.load(file)["benchmarks"]))
    if missed:
        sys.exit("missed by more than a tenth: " + ", ".join(missed))
    print("every target is met, or missed by no more than a tenth")


if __name__ == "__main__":
    main(sys.argv[1:])
