#!/usr/bin/env python3
"""Measures starts of an application: time until setup returns, time until the first flag is read, memory, shutdown.

Each figure is the median of 40 processes, unless its line says otherwise. Fails when a start does not serve the stored
document. `./run build` builds the program that this script runs.
"""

import json
import pathlib
import statistics
import subprocess
import tempfile

PROGRAM = pathlib.Path(__file__).parent.parent / "build/release/bin/kiv_cold_start"
ROUNDS = 40


def run(what, folder):
    done = subprocess.run([PROGRAM, what, folder], check=True, capture_output=True, text=True)
    return json.loads(done.stdout) if done.stdout else {}


def median(what, folder, figure):
    return statistics.median(run(what, folder)[figure] for _ in range(ROUNDS))


def main():
    with tempfile.TemporaryDirectory() as folder:
        run("prepare", folder)
        starts = [run("start", folder) for _ in range(ROUNDS)]
        for figure, most in (("setup", 5), ("first_read", 15)):
            value = statistics.median(start[figure] for start in starts) / 1000
            print(f"start/cold {figure:<22}{value:>10.2f} ms   <= {most}")
        print(f"threads, at most{'':<17}{max(start['threads'] for start in starts):>10}")
        bare = median("bare", folder, "resident")
        empty = median("empty", folder, "resident")
        stops = [run("stop", folder) for _ in range(ROUNDS)]
        print(f"shutdown, service stalled{'':<3}{statistics.median(s['shutdown'] for s in stops) / 1000:>12.2f} ms"
              f"   longest {max(s['shutdown'] for s in stops) / 1000:.2f} ms, <= 100")
        print(f"events on disk after it, at least{min(s['kept'] for s in stops):>8}")
        print(f"resident above a bare process{(empty - bare) / 1024:>14.2f} MB   <= 12")


if __name__ == "__main__":
    main()
