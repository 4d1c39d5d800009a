#!/usr/bin/env python3
"""Evaluates flags of `kiv serve` by the OpenFeature Remote Evaluation Protocol, on one connection, and measures how long
the answers take: for one flag, and for all of 1,000 flags at once.

Exit code 1 when a request fails, or the target for 1,000 flags is missed.
"""

import argparse
import json
import pathlib
import socket
import subprocess
import sys
import tempfile
import time
import urllib.parse

KEY = "5e0bd1f2c3a4b5d6e7f80912"
TARGET = 0.05  # seconds, for the 99th percentile of 1,000 flags

CONDITIONS = {
    "static": "true",
    "rule": 'ifThen(and(eq(property("country"), "FR"), gte(property("orders"), 10)), "green", "blue")',
    "rollout": 'ifThen(isInPercentageRange(0, 0.5, mergeSeed("seed", property("distinct_id"))), "new", "old")',
}
CONTEXT = {"targetingKey": "user-123", "country": "FR", "orders": 12, "plan": "premium", "appVersion": "semver:2.10.1"}


def write_payload(folder, count):
    """Writes a payload with `count` flags: of ten, one is static, two are rollouts, and seven are rules."""
    kinds = ["static", "rollout", "rollout"] + 7 * ["rule"]
    experiments = [{"_id": f"exp-{i}", "name": f"Experiment {i}", "featureFlags": [{"name": f"bench.flag{i}"}],
                    "deploymentConfiguration": {"condition": CONDITIONS[kinds[i % len(kinds)]]}} for i in range(count)]
    (folder / f"{KEY}.flags.json").write_text(json.dumps({"experiments": experiments}))


class Connection:
    def __init__(self, host, port):
        self.host = host
        self.socket = socket.create_connection((host, port), timeout=30)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def request(self, path, headers=""):
        body = json.dumps({"context": CONTEXT})
        return (f"POST /{KEY}/ofrep/v1/evaluate/flags{path} HTTP/1.1\r\nHost: {self.host}\r\n{headers}"
                f"Content-Type: application/json\r\nContent-Length: {len(body)}\r\n\r\n{body}").encode()

    def ask(self, request):
        """Sends the request. Returns the head and the body of the answer."""
        self.socket.sendall(request)
        text = self.socket.recv(1 << 18)
        while b"\r\n\r\n" not in text:
            text += self.socket.recv(1 << 18)
        head, body = text.split(b"\r\n\r\n", 1)
        length = 0
        for line in head.split(b"\r\n"):
            if line.lower().startswith(b"content-length:"):
                length = int(line.split(b":")[1])
        while len(body) < length:
            body += self.socket.recv(1 << 18)
        return head, body

    def times(self, request, count, status):
        """Asks `count` times, and returns how long each answer took in seconds, the shortest first."""
        times = []
        for _ in range(count):
            began = time.perf_counter()
            head, _ = self.ask(request)
            times.append(time.perf_counter() - began)
            if not head.startswith(b"HTTP/1.1 " + status):
                raise SystemExit(f"ofrep: {head!r}")
        return sorted(times)


def show(name, times):
    print(f"{name:<28}{len(times) / sum(times):>10,.0f} a second   median {1e3 * times[len(times) // 2]:7.3f} ms   "
          f"p99 {1e3 * times[len(times) * 99 // 100]:7.3f} ms")


def measure(options, service):
    url = urllib.parse.urlsplit(json.loads(service.stdout.readline())["url"])
    connection = Connection(url.hostname, url.port)
    connection.ask(connection.request(""))  # the document is parsed at its first use
    for name, index in (("one flag, static", 0), ("one flag, a rule", 3), ("one flag, a rollout", 1)):
        show(name, connection.times(connection.request(f"/bench.flag{index}"), options.rounds * 20, b"200"))
    head, body = connection.ask(connection.request(""))
    if len(json.loads(body)["flags"]) != options.flags:
        raise SystemExit("ofrep: the answer does not have all flags")
    all_flags = connection.times(connection.request(""), options.rounds, b"200")
    show(f"{options.flags} flags, {len(body) / 1000:.0f} kB", all_flags)
    tag = next(line for line in head.decode().split("\r\n") if line.startswith("ETag: "))[6:]
    known = connection.request("", f"If-None-Match: {tag}\r\n")
    show(f"{options.flags} flags, known (304)", connection.times(known, options.rounds, b"304"))
    return all_flags[len(all_flags) * 99 // 100]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--kiv", default="build/release/bin/kiv", help="the command")
    parser.add_argument("--flags", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=500, help="answers with all flags; twenty times as many with one")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as temporary:
        write_payload(pathlib.Path(temporary), options.flags)
        service = subprocess.Popen([options.kiv, "serve", temporary, "--port", "0", "--json", "--quiet"],
                                   stdout=subprocess.PIPE, text=True)
        try:
            slowest = measure(options, service)
        finally:
            service.terminate()
            code = service.wait(10)
    print(f"p99 of all flags {1e3 * slowest:.1f} ms, target {1e3 * TARGET:.0f} ms; the service ended with {code}")
    return 0 if slowest <= TARGET and code == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
