#!/usr/bin/env python3
"""Opens many push streams to `kiv serve`, edits the payload, and measures when each stream is told of the change.

Exit code 1 when a stream cannot be opened, or a change takes more than a second to reach the last stream.
"""

import argparse
import json
import pathlib
import resource
import select
import socket
import subprocess
import sys
import tempfile
import time
import urllib.parse

KEY = "5e0bd1f2c3a4b5d6e7f80912"
EVENT = b"event: changed\ndata: changed\n\n"
TARGET = 1.0


def write_payload(folder, version):
    """Replaces the payload file by a rename, as editors do. Returns the moment of the rename."""
    unfinished = folder / "unfinished"
    unfinished.write_text(json.dumps({"application_version": {"id": str(version)}, "experiments": []}))
    moment = time.monotonic()
    unfinished.rename(folder / f"{KEY}.flags.json")
    return moment


class Streams:
    def __init__(self, address, path):
        self.address = address
        self.request = f"GET {path} HTTP/1.1\r\nHost: {address[0]}\r\nAccept: text/event-stream\r\n\r\n".encode()
        self.poll = select.epoll()
        self.sockets = {}

    def open(self, count):
        """Opens `count` streams, 100 at a time, and reads the heads of their answers."""
        for first in range(0, count, 100):
            fresh = []
            for _ in range(min(100, count - first)):
                stream = socket.create_connection(self.address, timeout=10)
                stream.sendall(self.request)
                fresh.append(stream)
            for stream in fresh:
                head = b""
                while b"\r\n\r\n" not in head:
                    piece = stream.recv(4096)
                    if not piece:
                        raise SystemExit(f"push-streams: a stream was refused: {head!r}")
                    head += piece
                if not head.startswith(b"HTTP/1.1 200 "):
                    raise SystemExit(f"push-streams: a stream was refused: {head!r}")
                stream.setblocking(False)
                self.sockets[stream.fileno()] = stream
                self.poll.register(stream.fileno(), select.EPOLLIN)

    def hear(self, deadline):
        """Waits until each stream was told of a change, or for the deadline. Returns the moments, earliest first."""
        waiting = {number: b"" for number in self.sockets}
        moments = []
        while waiting and time.monotonic() < deadline:
            for number, _ in self.poll.poll(max(0.0, deadline - time.monotonic())):
                text = self.sockets[number].recv(4096)
                if not text:
                    raise SystemExit("push-streams: a stream has ended")
                if number in waiting:
                    waiting[number] += text
                    if EVENT in waiting[number]:
                        del waiting[number]
                        moments.append(time.monotonic())
        return moments


def status(process, name):
    for line in pathlib.Path(f"/proc/{process.pid}/status").read_text().splitlines():
        if line.startswith(name + ":"):
            return int(line.split()[1])
    raise KeyError(name)


def measure(options, service, folder):
    url = urllib.parse.urlsplit(json.loads(service.stdout.readline())["networkConfigurations"]["pushNotificationEndpoint"])
    memory = status(service, "VmRSS")
    streams = Streams((url.hostname, url.port), f"{url.path}/{KEY}")
    began = time.monotonic()
    streams.open(options.streams)
    print(f"{options.streams} streams opened in {time.monotonic() - began:.2f} s; the service has "
          f"{status(service, 'Threads')} threads, {(status(service, 'VmRSS') - memory) / options.streams:.1f} KiB "
          f"more memory for each")
    slowest = 0.0
    for round_number in range(1, options.rounds + 1):
        written = write_payload(folder, round_number)
        moments = streams.hear(written + 10)
        if len(moments) < options.streams:
            raise SystemExit(f"push-streams: {options.streams - len(moments)} streams heard nothing in 10 seconds")
        slowest = max(slowest, moments[-1] - written)
        print(f"change {round_number}: first stream {1000 * (moments[0] - written):.0f} ms, half of them "
              f"{1000 * (moments[len(moments) // 2] - written):.0f} ms, last {1000 * (moments[-1] - written):.0f} ms")
    return slowest


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--kiv", default="build/release/bin/kiv", help="the command")
    parser.add_argument("--streams", type=int, default=5000)
    parser.add_argument("--rounds", type=int, default=5)
    options = parser.parse_args()
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(temporary)
        write_payload(folder, 0)
        service = subprocess.Popen([options.kiv, "serve", temporary, "--port", "0", "--json", "--quiet"],
                                   stdout=subprocess.PIPE, text=True)
        try:
            slowest = measure(options, service, folder)
        finally:
            service.terminate()
            code = service.wait(10)
    print(f"slowest {1000 * slowest:.0f} ms, target {1000 * TARGET:.0f} ms; the service ended with {code}")
    return 0 if slowest <= TARGET and code == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
