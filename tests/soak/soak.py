#!/usr/bin/env python3
"""Runs applications with everything on, against a service that is killed, a proxy that misbehaves and a disk that
fails, kills them too, and then looks whether anything was lost, torn, leaked or hung.

What counts as a failure (docs/impressions.md, storage.md and overrides.md promise the opposite):

lost     an impression was seen in the queue's file, and in the end it is neither with the service nor waiting; nor did
         the proxy answer its upload finally, nor the log tell that a full queue dropped as many
         while the disk did not fail: an impression is neither on disk nor with the service, although it was made,
         with a document in use, more than PROMISE seconds before the process was killed
torn     a file of the Library folder is no property list, or its seal does not fit; the override on disk is none that
         was set since the process began (while the disk does not fail: since the last change that was complete); the
         next process starts with another one
wrong    a flag gives a value that no genuine document has; a callback or the library throws; a child after a fork
         does not end, or reads something wrong
hung     a call of the library takes more than 30 seconds; a process does not end within 60
leaked   memory, threads or descriptors of an application that runs all the time are more in the last third of
         the run than in the second tenth, by more than the bounds below

Exit code 1 when there is any. The same seed repeats the same decisions; their timing differs.
"""

import argparse
import json
import pathlib
import random
import shutil
import sqlite3
import sys
import tempfile
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import disk  # noqa: E402
from programs import Failure, Service, Workload  # noqa: E402
from proxy import Proxy  # noqa: E402

KEYS = [f"5e0bd1f2c3a4b5d6e7f8091{number}" for number in range(6)]
PROMISE = 6.0  # seconds; the queue is on disk after one, and a machine may be busy
MEMORY_GROWTH = 48 << 10  # KiB
THREADS_OF_A_NAME = 2  # of the library: one, and one that is ending
THREADS_GROWTH = 6
DESCRIPTORS_GROWTH = 24


def payload(number):
    version = f'"v{number}"'
    conditions = {"version": version, "frozenForLife": version, "frozen": version, "thawed": version,
                  "overridden": version, "ticket": 'property("ticket")', "pair": 'property("pair")',
                  "computed": 'property("computedPair")', "express": "true", "limit": str(number),
                  "ratio": f"{number}.5", **{f"dynamic{each}": version for each in range(0, 30, 2)}}
    flags = {f"soak.{name}": condition for name, condition in conditions.items()}
    flags |= {"kiv.internal.analytics": "true", "kiv.internal.pushUpdates": "true"}
    return {"experiments": [{"_id": f"e{index}", "featureFlags": [{"name": name}],
                             "deploymentConfiguration": {"condition": condition}}
                            for index, (name, condition) in enumerate(flags.items())]}


class Soak:
    def __init__(self, programs, folder, minutes, seed):
        self.programs = programs
        self.folder = folder
        self.seconds = minutes * 60
        self.seed = seed
        self.random = random.Random(seed)
        self.failures = []
        self.on_disk = set()
        self.made = 0
        self.dropped = 0
        self.counts = {"rounds": 0, "kills": 0, "faulty disks": 0, "files read": 0, "documents": 0}
        self.sizes = []
        self.document = 0
        self.ending = threading.Event()
        self.counter_library = folder / "counter"
        self.steady_library = folder / "steady"
        self.flags_folder = folder / "flags"
        self.flags_folder.mkdir()
        self.publish()
        self.proxy = Proxy(seed)
        self.service = Service(programs / "kiv", self.flags_folder, self.proxy, open(folder / "service.log", "w"))

    def fail(self, kind, what):
        if len(self.failures) < 50:
            print(f"  {kind}: {what}", flush=True)
        self.failures.append((kind, what))

    def publish(self):
        self.document += 1
        self.counts["documents"] += 1
        for key in KEYS:
            unfinished = self.flags_folder / "unfinished"
            unfinished.write_text(json.dumps(payload(self.document)))
            unfinished.rename(self.flags_folder / f"{key}.flags.json")

    def start(self, mode, library, keys, name, key_seconds=0.0, disk_permille=0):
        environment = {"SOAK_MODE": mode, "SOAK_LIBRARY": str(library), "SOAK_KEYS": ",".join(keys),
                       "SOAK_SERVICE": f"http://127.0.0.1:{self.proxy.port}",
                       "SOAK_CERTIFICATE": self.service.settings["customSigningCertificate"],
                       "SOAK_SEED": str(self.random.randrange(1 << 30)), "SOAK_KEY_SECONDS": str(key_seconds)}
        if disk_permille:
            environment |= {"LD_PRELOAD": str(self.programs / "libkiv_faulty_disk.so"),
                            "SOAK_DISK_FOLDER": str(library),
                            "SOAK_DISK_PERMILLE": str(disk_permille),
                            "SOAK_DISK_SEED": str(self.random.randrange(1 << 30))}
        return Workload(self.programs / "kiv_soak", environment, open(self.folder / f"{name}.log", "w"))

    def disturb(self):
        """Edits the documents, and kills the service, until the end."""
        choice = random.Random(self.seed + 1)
        next_kill = time.monotonic() + choice.uniform(5, 15)
        while not self.ending.wait(choice.uniform(0.5, 3)):
            self.publish()
            if time.monotonic() > next_kill:
                self.service.kill()
                self.ending.wait(choice.uniform(0, 3))
                self.service.start()
                next_kill = time.monotonic() + choice.uniform(5, 15)

    def measure(self, steady):
        begun = time.monotonic()
        while not self.ending.wait(0.5):
            size = steady.size()
            if size:
                self.sizes.append((time.monotonic() - begun, size))

    def guarded(self, read, otherwise):
        try:
            return read()
        except disk.Damage as damage:
            self.fail("torn", damage)
            return otherwise

    def round(self, number):
        """One life of the application whose impressions are counted."""
        is_faulty = self.random.random() < 0.5
        keys = self.random.sample(KEYS[:3], 2)
        length = self.random.uniform(3, 12)
        first = self.guarded(lambda: disk.override(self.counter_library), "none")
        life = self.start("counter", self.counter_library, keys, f"counter-{number}", self.random.choice([0, 2, 5]),
                          self.random.choice([30, 200]) if is_faulty else 0)
        end = time.monotonic() + length
        while time.monotonic() < end and life.is_running():
            self.on_disk |= self.guarded(lambda: disk.tickets(self.counter_library), set())
            time.sleep(0.3)
        if not life.is_running():
            self.fail("hung", f"round {number} has ended of itself with {life.process.returncode}: {life.log_path}")
        is_killed = self.random.random() < 0.7
        killed = time.monotonic()
        if is_killed:
            life.kill()
        elif not life.stop(60):
            self.fail("hung", f"round {number} did not shut down, {life.process.returncode}: {life.log_path}")
        self.look_after(number, life, first, is_faulty, killed)
        self.counts["rounds"] += 1
        self.counts["kills"] += is_killed
        self.counts["faulty disks"] += is_faulty

    def look_after(self, number, life, first, is_faulty, killed):
        self.counts["files read"] += self.guarded(lambda: disk.check(self.counter_library), 0)
        waiting = self.guarded(lambda: disk.tickets(self.counter_library), set())
        self.on_disk |= waiting
        self.made += len(life.tickets)
        self.dropped += life.dropped
        for wrong in life.wrong:
            self.fail("wrong", f"round {number}: {wrong}")
        if life.setups and life.setups[0][1] != first:
            self.fail("torn", f"round {number} began with the override {life.setups[0][1]!r}, not {first!r}")
        life.overrides[0] = first
        now = self.guarded(lambda: disk.override(self.counter_library), first)
        if now not in life.overrides[0 if is_faulty else life.completed:]:
            self.fail("torn", f"round {number} left the override {now!r}, {life.completed} of "
                              f"{len(life.overrides) - 1} changes were complete")
        if not is_faulty and not life.dropped:
            due = {ticket for ticket, moment in life.armed.items() if moment < killed - PROMISE}
            lost = due - waiting - self.on_disk - self.proxy.answered - self.arrived()
            if lost:
                self.fail("lost", f"round {number}: {len(lost)} impressions never came to disk: {sorted(lost)[:3]}")

    def arrived(self):
        """The tickets that the service has."""
        path = self.flags_folder / ".kiv" / "records.sqlite"
        with sqlite3.connect(f"file:{path}?mode=ro", uri=True, timeout=30) as records:
            return {row[0] for row in records.execute("SELECT value FROM impressions WHERE flag = 'soak.ticket'")}

    def drain(self):
        """Lets the application start, now that nothing fails any more, until no impression waits."""
        for key in KEYS[:3]:
            for attempt in range(40):
                waiting = disk.queued(self.counter_library, key)
                if waiting == 0:
                    break
                for preferences in self.counter_library.glob("Preferences/*"):
                    preferences.unlink()  # they name another key
                life = self.start("drain", self.counter_library, [key], f"drain-{key}-{attempt}")
                end = time.monotonic() + 60
                while disk.queued(self.counter_library, key) == waiting and time.monotonic() < end:
                    time.sleep(0.1)
                if not life.stop(60):
                    self.fail("hung", f"a last start did not shut down: {life.log_path}")
                if disk.queued(self.counter_library, key) == waiting:
                    break  # nothing was sent in a minute; what waits is told as lost
            self.on_disk |= disk.tickets(self.counter_library)

    def run(self):
        begun = time.monotonic()
        steady = self.start("steady", self.steady_library, KEYS, "steady", self.seconds / 8, 20)
        helpers = [threading.Thread(target=self.disturb), threading.Thread(target=self.measure, args=(steady,))]
        for helper in helpers:
            helper.start()
        number = 0
        while time.monotonic() - begun < self.seconds and steady.is_running():
            number += 1
            self.round(number)
        self.ending.set()
        for helper in helpers:
            helper.join()
        if not steady.is_running():
            self.fail("hung", f"the steady application ended of itself with {steady.process.returncode}: "
                              f"{steady.log_path}")
        elif not steady.stop(60):
            self.fail("hung", f"the steady application did not shut down, {steady.process.returncode}: "
                              f"{steady.log_path}")
        self.counts["files read"] += self.guarded(lambda: disk.check(self.steady_library), 0)
        for wrong in steady.wrong:
            self.fail("wrong", f"steady: {wrong}")
        self.proxy.honest = True
        self.drain()
        self.check_loss()
        self.check_sizes()
        self.steady = steady

    def check_loss(self):
        waiting = disk.tickets(self.counter_library)
        lost = self.on_disk - self.arrived() - self.proxy.answered - waiting
        if len(lost) > self.dropped:
            self.fail("lost", f"{len(lost)} impressions that were on disk, {self.dropped} were dropped by a full "
                              f"queue: {sorted(lost)[:5]}")
        if waiting:
            self.fail("lost", f"{len(waiting)} impressions still wait after the last starts")
        if self.proxy.refused_by_service:
            self.fail("lost", f"the service itself refused {self.proxy.refused_by_service} uploads")

    def check_sizes(self):
        early = [size for moment, size in self.sizes if self.seconds * 0.1 <= moment <= self.seconds * 0.35]
        late = [size for moment, size in self.sizes if moment >= self.seconds * 0.67]
        if not early or not late:
            self.fail("leaked", "the application could not be measured")
            return
        bounds = {"memory": MEMORY_GROWTH, "threads": THREADS_GROWTH, "descriptors": DESCRIPTORS_GROWTH}
        self.growth = {}
        for what, bound in bounds.items():
            before, after = (sorted(size[what] for size in part)[len(part) // 2] for part in (early, late))
            self.growth[what] = (before, after)
            if after > before + bound:
                self.fail("leaked", f"{what} grew from {before} to {after}")
        tenths = [[size["memory"] for moment, size in self.sizes if int(10 * moment / self.seconds) == tenth]
                  for tenth in range(10)]
        self.course = [sorted(tenth)[len(tenth) // 2] >> 10 for tenth in tenths if tenth]
        most = max(size["library"] for _, size in self.sizes)
        if most > THREADS_OF_A_NAME:
            self.fail("leaked", f"{most} threads of the library have one name")

    def summary(self):
        arrived = self.arrived()
        misdeeds = ", ".join(f"{name} {count}" for name, count in self.proxy.misdeeds.most_common())
        print(f"\nSeed {self.seed}, {self.seconds / 60:g} minutes")
        print("  lives          " + ", ".join(f"{name} {count}" for name, count in self.counts.items()) +
              f", starts of the service {self.service.starts}")
        print(f"  requests       {self.proxy.requests}: {misdeeds}")
        print(f"  impressions    {self.made} made, {len(self.on_disk)} seen on disk, {len(arrived)} with the service, "
              f"{len(self.proxy.answered)} answered by the proxy, {self.dropped} dropped by a full queue")
        print("  steady         " + ", ".join(f"{name} {value}" for name, value in self.steady.stats.items()))
        for what, (before, after) in getattr(self, "growth", {}).items():
            print(f"  {what:<14} {before} early, {after} late" + (" KiB" if what == "memory" else ""))
        print("  memory, MiB    " + " ".join(map(str, getattr(self, "course", []))) + ", tenth by tenth of the run")
        kinds = {kind: sum(1 for each, _ in self.failures if each == kind) for kind, _ in self.failures}
        print("  result         " + (", ".join(f"{count} {kind}" for kind, count in kinds.items()) or
                                     "nothing lost, torn, wrong, hung or leaked"))

    def close(self):
        self.ending.set()
        self.service.kill()
        self.proxy.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("minutes", nargs="?", type=float, default=10)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 30))
    parser.add_argument("--programs", type=pathlib.Path, help="the folder with kiv, kiv_soak and libkiv_faulty_disk.so",
                        default=pathlib.Path(__file__).resolve().parents[2] / "build/release/bin")
    options = parser.parse_args()
    print(f"Soak of {options.minutes:g} minutes, --seed {options.seed}", flush=True)
    folder = pathlib.Path(tempfile.mkdtemp(prefix="kiv-soak-"))
    soak = Soak(options.programs, folder, options.minutes, options.seed)
    try:
        soak.run()
        soak.summary()
    finally:
        soak.close()
    if soak.failures:
        print(f"  logs and files {folder}")
        return 1
    shutil.rmtree(folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
