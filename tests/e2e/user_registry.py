"""The current user's registry inside the rig, as the program finds it and leaves it."""
import json
import struct
import subprocess

from places import BUILD, RUN

PROGRAM = BUILD / "tests" / "e2e" / "user-registry.exe"
ROOT_KEY = "Software\\Velkantrix"
NONE, TEXT, BINARY, NUMBER, TEXTS = 0, 1, 3, 4, 7  # types


def user_registry():
    """All values: their type and bytes by their key and name. A key itself has a row of no name."""
    run = subprocess.run([RUN, str(PROGRAM), "dump"], capture_output=True, check=True, timeout=60)
    rows = [json.loads(line) for line in run.stdout.decode("utf-8").splitlines()]
    return {(key, name): (kind, bytes.fromhex(digits)) for key, name, kind, digits in rows}


def values(rows):
    """Without those of the keys themselves."""
    return {row: value for row, value in rows.items() if row[1] is not None}


def settings():
    """The program's own values, by what follows its key."""
    return {(key[len(ROOT_KEY):], name): value for (key, name), value in values(user_registry()).items()
            if key == ROOT_KEY or key.startswith(ROOT_KEY + "\\")}


def put_value(key, name, kind, data):
    subprocess.run([RUN, str(PROGRAM), "put", key, name, str(kind), data.hex()], check=True, timeout=60)


def put(name, kind, data, key=""):
    """One of the program's own."""
    put_value(ROOT_KEY + key, name, kind, data)


def delete(key, name=None):
    """The key with all in it, or one value; nothing when it isn't there."""
    words = [RUN, str(PROGRAM), "delete", key] + ([] if name is None else [name])
    subprocess.run(words, check=True, timeout=60)


def number(value):
    return NUMBER, struct.pack("<I", value)


def text(value):
    return TEXT, (value + "\0").encode("utf-16-le")


def texts(values):
    return TEXTS, "".join(value + "\0" for value in [*values, ""]).encode("utf-16-le")


def texts_of(value):
    kind, data = value
    assert kind == TEXTS
    return data.decode("utf-16-le").split("\0")[:-2]


def seconds(value):
    return BINARY, struct.pack("<d", value)


def placement(rect, show=1):
    """Where a window stands, and how it is shown."""
    return BINARY, struct.pack("<3I4i4i", 44, 0, show, -1, -1, -1, -1, *rect)


def rect_of(value):
    kind, data = value
    assert kind == BINARY and len(data) == 44
    return list(struct.unpack("<3I4i4i", data)[7:])


def file_key(path, size, changed):
    """The name of a file's values: worked out here once more. `changed` is in 100 ns since 1601."""
    key = 0x14650FB0739D0383
    units = f"{path.lower()}|{size}|{changed}".encode("utf-16-le")
    for unit, in struct.iter_unpack("<H", units):
        key = (key ^ unit) * 0x100000001B3 % 2 ** 64
    return f"{key:016X}"
