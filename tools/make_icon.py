#!/usr/bin/env python3
"""make_icon.py FILE.ico: draws the program's icon: a strip of film, cut, on a dark tile.

Everything is drawn eight times larger than needed and made small by averaging, in each size of its own.
"""
import struct
import sys
import zlib
from pathlib import Path

SIZES = (16, 20, 24, 32, 40, 48, 64, 96, 128, 256)
OVERSAMPLING = 8

TILE = (30, 28, 22)
EDGE = (51, 49, 42)
STRIP = (237, 235, 226)
CUT = (226, 91, 69)


def in_rounded(x, y, left, top, right, bottom, radius):
    """Whether a point lies in a rectangle with round corners; all in parts of the icon's side."""
    if not (left <= x <= right and top <= y <= bottom):
        return False
    dx = max(left + radius - x, 0, x - (right - radius))
    dy = max(top + radius - y, 0, y - (bottom - radius))
    return dx * dx + dy * dy <= radius * radius


def colour_at(x, y, detailed):
    """The colour of a point, or None outside of the tile."""
    if not in_rounded(x, y, 0.02, 0.02, 0.98, 0.98, 0.2):
        return None
    # The cut leans, as a blade does, and parts the strip in two pieces that have moved away from it.
    blade = x - 0.5 + (y - 0.5) * 0.28
    if abs(blade) < 0.035 and 0.12 <= y <= 0.88:
        return CUT
    gap = 0.085
    piece = in_rounded(x, y, 0.12, 0.31, 0.88, 0.69, 0.06) and abs(blade) > gap
    if piece:
        if detailed:  # the holes of the film, too small to be seen in small icons
            for row in (0.355, 0.645):
                for column in (0.19, 0.29, 0.71, 0.81):
                    if abs(x - column) < 0.024 and abs(y - row) < 0.018:
                        return TILE
        return STRIP
    if not in_rounded(x, y, 0.035, 0.035, 0.965, 0.965, 0.19):
        return EDGE
    return TILE


def pixels(size):
    """Rows of RGBA bytes."""
    detailed = size >= 32
    points = [(i + 0.5) / (size * OVERSAMPLING) for i in range(size * OVERSAMPLING)]
    rows = []
    for py in range(size):
        row = bytearray()
        for px in range(size):
            total, inside = [0, 0, 0], 0
            for y in points[py * OVERSAMPLING:(py + 1) * OVERSAMPLING]:
                for x in points[px * OVERSAMPLING:(px + 1) * OVERSAMPLING]:
                    colour = colour_at(x, y, detailed)
                    if colour:
                        inside += 1
                        total = [t + c for t, c in zip(total, colour)]
            row += bytes(round(t / inside) if inside else 0 for t in total)
            row.append(round(inside * 255 / OVERSAMPLING ** 2))
        rows.append(bytes(row))
    return rows


def png(size):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    header = struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)
    data = zlib.compress(b"".join(b"\0" + row for row in pixels(size)), 9)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", data) + chunk(b"IEND", b"")


def bitmap(size):
    """As icons have them: bottom row first, BGRA, then a mask that says nothing beside the alpha."""
    header = struct.pack("<IiiHHIIiiII", 40, size, size * 2, 1, 32, 0, 0, 0, 0, 0, 0)
    body = bytearray()
    for row in reversed(pixels(size)):
        for i in range(0, len(row), 4):
            red, green, blue, alpha = row[i:i + 4]
            body += bytes((blue, green, red, alpha))
    return header + body + bytes((size + 31) // 32 * 4 * size)


def icon():
    images = [png(size) if size >= 96 else bitmap(size) for size in SIZES]
    offset = 6 + 16 * len(SIZES)
    entries = b""
    for size, image in zip(SIZES, images):
        entries += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(image), offset)
        offset += len(image)
    return struct.pack("<HHH", 0, 1, len(SIZES)) + entries + b"".join(images)


if __name__ == "__main__":
    Path(sys.argv[1]).write_bytes(icon())
