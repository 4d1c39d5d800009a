"""A proxy before the service that misbehaves at random, and knows which events it has made the library give up."""

import gzip
import json
import random
import socket
import struct
import threading
import time
from collections import Counter

STREAMS = "/sse/"
UPLOADS = "/analytics/"

BOMB = gzip.compress(bytes(70 << 20), 6)


def events_of(body):
    """The values of the impressions in an upload."""
    try:
        return [event["value"] for event in json.loads(body)["events"]]
    except (ValueError, KeyError, TypeError):
        return []


def answer(status, body=b"{}", headers=""):
    head = f"HTTP/1.1 {status} Soak\r\nContent-Length: {len(body)}\r\nConnection: close\r\n{headers}\r\n"
    return head.encode() + body


class Proxy:
    """`upstream` is the port of the service; the owner changes it when the service starts anew."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.upstream = None
        self.honest = False
        self.documents = []  # genuine envelopes that were served before, of any key
        self.answered = set()  # events whose upload got an answer of the proxy's own that is final
        self.refused_by_service = 0  # uploads
        self.requests = 0
        self.misdeeds = Counter()
        self.lock = threading.Lock()
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=512)
        self.port = self.listener.getsockname()[1]
        self.ending = False
        threading.Thread(target=self.accept, daemon=True).start()

    def close(self):
        self.ending = True
        self.listener.close()

    def accept(self):
        while not self.ending:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def serve(self, connection):
        with connection:
            connection.settimeout(20)
            try:
                head, body = self.read_request(connection)
                if head:
                    self.answer_request(connection, head, body)
            except OSError:
                pass

    def read_request(self, connection):
        data = b""
        while b"\r\n\r\n" not in data:
            piece = connection.recv(65536)
            if not piece or len(data) > 1 << 20:
                return None, b""
            data += piece
        head, _, body = data.partition(b"\r\n\r\n")
        length = 0
        for line in head.split(b"\r\n")[1:]:
            name, _, value = line.partition(b":")
            if name.lower() == b"content-length":
                length = int(value)
        while len(body) < length:
            piece = connection.recv(65536)
            if not piece:
                return None, b""
            body += piece
        return head, body

    def answer_request(self, connection, head, body):
        path = head.split(b" ", 2)[1].decode(errors="replace")
        with self.lock:
            self.requests += 1
            misdeed = self.choose(path)
            self.misdeeds[misdeed.__name__ if misdeed else "honest"] += 1
            pick = random.Random(self.random.random())
        if misdeed:
            misdeed(self, connection, path, events_of(body) if path.startswith(UPLOADS) else [], pick)
        else:
            self.forward(connection, path, head, body)

    def choose(self, path):
        """What to do instead of forwarding; None to forward."""
        share = 0 if self.honest else 0.2 if path.startswith(UPLOADS) else 0.4
        if self.random.random() >= share:
            return None
        return self.random.choices([misdeed for misdeed, _ in MISDEEDS], [weight for _, weight in MISDEEDS])[0]

    def final(self, events):
        """Notes that the library may take what is answered now as the end of these events."""
        with self.lock:
            self.answered.update(events)

    def forward(self, connection, path, head, body, limit=None):
        """Passes the service's answer on, at most `limit` bytes of it."""
        if self.upstream is None:
            return
        lines = [line for line in head.split(b"\r\n") if not line.lower().startswith(b"connection:")]
        whole = b""
        with socket.create_connection(("127.0.0.1", self.upstream), timeout=20) as service:
            service.sendall(b"\r\n".join(lines) + b"\r\nConnection: close\r\n\r\n" + body)
            is_stream = path.startswith(STREAMS)
            end = time.monotonic() + self.random.uniform(1, 20)
            while not (is_stream and (self.ending or time.monotonic() > end)):
                piece = service.recv(65536)
                if not piece:
                    break
                if limit is not None:
                    piece = piece[:limit]
                    limit -= len(piece)
                connection.sendall(piece)
                if not is_stream:
                    whole += piece
                if limit == 0:
                    return
        self.learn(path, head.startswith(b"POST "), whole)

    def learn(self, path, is_post, whole):
        head, _, body = whole.partition(b"\r\n\r\n")
        status = head.split(b" ")[1:2]
        # A redirect makes a GET of an upload; the service refuses that.
        if path.startswith(UPLOADS) and is_post and status and status[0].startswith(b"4"):
            self.refused_by_service += 1
        if path.startswith("/cdn/") and status == [b"200"]:
            with self.lock:
                self.documents = self.documents[-20:] + [body]


def stall(proxy, connection, path, events, pick):
    time.sleep(pick.uniform(0.2, 3))


def reset(proxy, connection, path, events, pick):
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


def truncate(proxy, connection, path, events, pick):
    connection.sendall(answer(200, b'{"stored": 1, "data": "half of an answ"}')[: pick.randrange(20, 90)])


def lie(proxy, connection, path, events, pick):
    proxy.final(events)
    envelope = {"data": json.dumps({"experiments": [{"featureFlags": [{"name": "soak.version"}],
                                                     "deploymentConfiguration": {"condition": '"evil"'}}]}),
                "signature_v0": "bGllcw==", "signed_date": "2099-01-01T00:00:00.000Z"}
    connection.sendall(answer(200, json.dumps(envelope).encode()))


def replay(proxy, connection, path, events, pick):
    """Sends a genuine document: an old one, or one of another key."""
    proxy.final(events)
    connection.sendall(answer(200, pick.choice(proxy.documents) if proxy.documents else b"{}"))


def flood(proxy, connection, path, events, pick):
    connection.sendall(b"HTTP/1.1 200 OK\r\n\r\n")
    for _ in range(70 if pick.random() < 0.1 else 5):
        connection.sendall(b"x" * (1 << 20))
    proxy.final(events)  # the end of a short flood is the end of a response


def wrong_code(proxy, connection, path, events, pick):
    status = pick.choice([100, 204, 206, 301, 302, 304, 400, 403, 404, 408, 410, 429, 500, 503, 599])
    if status < 300 or 400 <= status < 500 and status != 429:
        proxy.final(events)
    connection.sendall(answer(status, b"" if status in (100, 204, 304) else b'{"error": "soak"}'))


def redirect(proxy, connection, path, events, pick):
    target = pick.choice(["loop", "service", "closed", "name", "file"])
    location = {"loop": path, "service": "/cdn/other", "closed": "http://127.0.0.1:9/", "name": "http://soak.invalid/",
                "file": "file:///etc/passwd"}[target]
    proxy.final(events)  # what is asked for next may be answered with anything
    connection.sendall(answer(pick.choice([301, 302, 303, 307, 308]), b"", f"Location: {location}\r\n"))


def bomb(proxy, connection, path, events, pick):
    connection.sendall(answer(200, BOMB, "Content-Encoding: gzip\r\n"))


def junk(proxy, connection, path, events, pick):
    connection.sendall(pick.randbytes(pick.randrange(1, 5000)))


def junk_body(proxy, connection, path, events, pick):
    proxy.final(events)
    connection.sendall(answer(200, pick.randbytes(pick.randrange(1, 5000))))


def trickle(proxy, connection, path, events, pick):
    for byte in answer(503, b"{}"):
        connection.sendall(bytes([byte]))
        time.sleep(0.01)


MISDEEDS = [(stall, 6), (reset, 6), (truncate, 6), (lie, 4), (replay, 4), (flood, 1), (wrong_code, 8), (redirect, 4),
            (bomb, 1), (junk, 4), (junk_body, 3), (trickle, 3)]
