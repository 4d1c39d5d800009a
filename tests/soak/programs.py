"""The programs that the soak starts: the service and the workload."""

import json
import os
import pathlib
import queue
import signal
import subprocess
import threading
import time


class Failure(Exception):
    pass


def end_group(process):
    """Kills what is left of a process and of its children, which are all in a group of their own."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()


class Service:
    """`kiv serve`, killed and started again on the same folder."""

    def __init__(self, program, folder, proxy, log):
        self.command = [str(program), "serve", str(folder), "--port", "0", "--json"]
        self.proxy = proxy
        self.log = log
        self.process = None
        self.starts = 0
        self.start()

    def start(self):
        self.process = subprocess.Popen(self.command, stdout=subprocess.PIPE, stderr=self.log, text=True,
                                        start_new_session=True)
        line = self.process.stdout.readline()
        if not line:
            raise Failure("kiv serve does not start")
        self.settings = json.loads(line)
        self.proxy.upstream = int(self.settings["url"].rstrip("/").rsplit(":", 1)[1])
        self.starts += 1

    def kill(self):
        self.proxy.upstream = None
        end_group(self.process)


class Workload:
    """One process of the workload, and what it has told."""

    def __init__(self, program, environment, log):
        self.told = []  # pairs of moment and words
        self.armed = {}  # tickets that were made with a document in use, by the moment
        self.tickets = set()
        self.overrides = ["begin"]  # the states that were begun to be set, in order
        self.completed = 0  # how many of them are complete
        self.setups = []  # pairs of key and override
        self.wrong = []
        self.dropped = 0
        self.stats = {}
        self.ended_well = False
        self.log_path = pathlib.Path(log.name)
        self.process = subprocess.Popen([str(program)], stdout=subprocess.PIPE, stderr=log, text=True,
                                        start_new_session=True, env={**os.environ, **environment})
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    def read(self):
        for line in self.process.stdout:
            self.note(line.rstrip("\n"))

    def note(self, line):
        word, _, rest = line.partition(" ")
        if word == "ticket":
            ticket, how = rest.split(" ")
            self.tickets.add(ticket)
            if how == "armed":
                self.armed[ticket] = time.monotonic()
        elif word == "override":
            self.overrides.append(rest.partition(" ")[2])
        elif word == "overridden":
            self.completed = int(rest)
        elif word == "setup":
            key, _, override = rest.partition(" ")
            self.setups.append((key, override))
        elif word == "wrong":
            self.wrong.append(rest)
        elif word == "dropped":
            self.dropped += int(rest)
        elif word == "stats":
            self.stats = dict(pair.split("=") for pair in rest.split())
        elif word == "bye":
            self.ended_well = True

    def is_running(self):
        return self.process.poll() is None

    def kill(self):
        end_group(self.process)
        self.reader.join(10)

    def stop(self, patience):
        """Ends the process in an orderly way. Whether it did so in time."""
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(patience)
        except subprocess.TimeoutExpired:
            # Has the process write its stacks: the handler of the watchdog is there for this signal too.
            self.process.send_signal(signal.SIGUSR2)
            time.sleep(1)
        in_time = self.process.poll() is not None
        self.kill()
        return in_time and self.ended_well and self.process.returncode == 0

    def size(self):
        """Memory in KiB, threads of the library by name, all threads, and descriptors; None when it has ended."""
        own = pathlib.Path("/proc") / str(self.process.pid)
        try:
            status = dict(line.split(":", 1) for line in (own / "status").read_text().splitlines())
            threads = [(task / "comm").read_text().strip() for task in (own / "task").iterdir()]
            return {"memory": int(status["VmRSS"].split()[0]), "threads": len(threads),
                    "library": max((threads.count(name) for name in threads if name.startswith("kiv-")), default=0),
                    "descriptors": len(list((own / "fd").iterdir()))}
        except (OSError, KeyError, ValueError):
            return None
