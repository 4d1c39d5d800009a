"""What may stand in a Library folder after a process has died, whatever happened to it."""

import pathlib
import plistlib
import re
import zlib

QUEUE = "kiv.segmentio.queue*.plist"  # of a key


class Damage(Exception):
    pass


def check_seal(path, data):
    seal, sealed = data[-32:-27], data[:-32] + bytes(5) + data[-27:]
    if any(seal) and seal != b"\x01" + zlib.crc32(sealed).to_bytes(4, "big"):
        raise Damage(f"{path}: the seal does not fit")


def read(path):
    data = path.read_bytes()
    try:
        content = plistlib.loads(data)
    except Exception as problem:
        raise Damage(f"{path}: {len(data)} bytes that are no property list: {problem!r}") from None
    if data.startswith(b"bplist"):
        check_seal(path, data)
    return content


def check(library):
    """Reads every file of the folder. Returns how many there are."""
    count = 0
    for path in sorted(pathlib.Path(library).rglob("*")):
        if path.is_file() and not re.fullmatch(r"\.kiv-.{6}|.*\.lock", path.name):
            read(path)
            count += 1
    return count


def override(library):
    """The override that is kept of the flag; "none" without one."""
    path = pathlib.Path(library) / "Application Support/io.corvane/flags/overrides"
    return read(path).get("soak.overridden", "none") if path.exists() else "none"


def tickets(library):
    """The tickets that wait to be sent, of all keys."""
    found = set()
    for path in pathlib.Path(library).glob("Application Support/*/" + QUEUE):
        try:
            queue = read(path)
        except FileNotFoundError:
            continue
        for event in queue:
            properties = event.get("properties", {})
            if properties.get("flag") == "soak.ticket":
                found.add(properties["value"])
    return found


def queued(library, key):
    """How many events of the key wait to be sent."""
    return sum(len(read(path)) for path in pathlib.Path(library).glob(f"Application Support/{key}/{QUEUE}"))
