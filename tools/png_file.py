"""PNG files of the kind that the player's screenshots are: 8 bits, RGB, not interlaced."""

import struct
import zlib
from pathlib import Path


class BadPicture(Exception):
    """What is wrong with a file, in words."""


def read_png(path):
    """Width, height and the rows, each a bytes object of three bytes a pixel."""
    data = Path(path).read_bytes()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise BadPicture(f"{path}: not a PNG file")
    at, packed, head = 8, b"", None
    while at + 8 <= len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            head = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            packed += body
        at += length + 12
    if not head or head[2:] != (8, 2, 0, 0, 0):
        raise BadPicture(f"{path}: not a plain 8-bit RGB picture")
    width, height = head[:2]
    try:
        raw = zlib.decompress(packed)
    except zlib.error as error:
        raise BadPicture(f"{path}: {error}") from None
    if len(raw) != height * (width * 3 + 1):
        raise BadPicture(f"{path}: the picture is cut off")
    return width, height, unfilter(raw, width * 3, height)


def unfilter(raw, stride, height):
    rows, before = [], bytes(stride)
    for y in range(height):
        start = y * (stride + 1)
        kind, row = raw[start], bytearray(raw[start + 1:start + 1 + stride])
        if kind == 1:
            for i in range(3, stride):
                row[i] = (row[i] + row[i - 3]) & 255
        elif kind == 2:
            for i in range(stride):
                row[i] = (row[i] + before[i]) & 255
        elif kind == 3:
            for i in range(stride):
                left = row[i - 3] if i >= 3 else 0
                row[i] = (row[i] + (left + before[i]) // 2) & 255
        elif kind == 4:
            for i in range(stride):
                left, corner = (row[i - 3], before[i - 3]) if i >= 3 else (0, 0)
                row[i] = (row[i] + paeth(left, before[i], corner)) & 255
        elif kind != 0:
            raise BadPicture(f"filter {kind} in row {y} of a picture")
        before = bytes(row)
        rows.append(before)
    return rows


def paeth(left, above, corner):
    guess = left + above - corner
    to_left, to_above, to_corner = abs(guess - left), abs(guess - above), abs(guess - corner)
    if to_left <= to_above and to_left <= to_corner:
        return left
    return above if to_above <= to_corner else corner


def write_png(path, width, rows):
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    packed = zlib.compress(b"".join(b"\0" + row for row in rows), 9)
    head = struct.pack(">IIBBBBB", width, len(rows), 8, 2, 0, 0, 0)
    Path(path).write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", packed)
                           + chunk(b"IEND", b""))
