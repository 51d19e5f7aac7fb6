#!/usr/bin/env python3
"""Makes the moving picture of the README with the player itself: film.py BUILD_FOLDER [PICTURE]

A script for the virtual device chooses a track, listens, and changes the skin. Its screenshots become an
animated PNG of twice the size, in which each picture holds only what differs from the one before."""

import os
import shutil
import struct
import sys
import tempfile
import zlib

from png_file import read_png
from shots import shoot

SCALE = 2
REST_MS = 700      # that a row is looked at
SLIDE_MS = 200     # from one screen to the other
LAST_MS = 3000     # before all begins again


class Film:
    """The script, and how long each of its screenshots stands."""

    def __init__(self, folder):
        self.folder, self.script, self.times = folder, "", []

    def run(self, *lines):
        self.script += "".join(line + "\n" for line in lines)

    def rest(self, ms):
        """A picture, and that much of the player's time."""
        self.run(f"screenshot {self.path(len(self.times))}", f"advance {ms}")
        self.times.append(ms)

    def watch(self, ms, step):
        """Pictures of something that changes by itself."""
        for _ in range(ms // step):
            self.rest(step)

    def press(self, key, ms=REST_MS):
        self.run(f"key {key}", "advance 20")
        self.rest(ms)

    def slide(self, key):
        """To the other screen, in two pictures: whole ones are many bytes. Cover and lyrics are waited for,
        because their threads do not keep the time of the script."""
        self.run(f"key {key}", "settle", "advance 60")
        self.rest(SLIDE_MS // 3)
        self.rest(SLIDE_MS // 3)
        self.run("advance 40", "settle")

    def path(self, index):
        return os.path.join(self.folder, f"{index:03}.png")


def direct(film):
    """What happens."""
    film.run("advance 400")
    film.rest(1200)
    film.press("down")
    film.press("select", 900)
    film.press("down")
    film.slide("select")
    film.watch(7200, 400)
    film.slide("back")
    film.rest(500)
    film.press("up", 300)
    film.press("up")
    film.press("select", 500)
    film.press("down", 300)
    film.press("down")
    film.press("select")
    film.press("down", 300)
    film.press("down")
    film.press("select")
    film.slide("switch")
    film.watch(2400, 400)
    film.rest(LAST_MS)


# ---- the picture ----

def enlarged(rows):
    wide = [b"".join(row[x:x + 3] * SCALE for x in range(0, len(row), 3)) for row in rows]
    return [row for row in wide for _ in range(SCALE)]


def difference(before, after):
    """Left, top, right, bottom of what differs; None if nothing does."""
    lines = [y for y, (one, other) in enumerate(zip(before, after)) if one != other]
    if not lines:
        return None
    columns = [x for y in lines for x in range(0, len(after[y]), 3) if before[y][x:x + 3] != after[y][x:x + 3]]
    return min(columns) // 3, lines[0], max(columns) // 3 + 1, lines[-1] + 1


def scenes_of(film):
    """What changes, and the milliseconds until the next change."""
    scenes, before = [], None
    for index, ms in enumerate(film.times):
        rows = read_png(film.path(index))[2]
        box = difference(before, rows) if before else (0, 0, len(rows[0]) // 3, len(rows))
        if box:
            left, top, right, bottom = box
            scenes.append([box, [row[left * 3:right * 3] for row in rows[top:bottom]], 0])
        scenes[-1][2] += ms
        before = rows
    return scenes


def filtered(rows):
    """Every second row is the double of the one above it, and says so by differing nowhere."""
    for y, row in enumerate(rows):
        yield b"\2" + bytes(len(row)) if y % SCALE else b"\0" + row


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def write_film(path, scenes):
    (_, _, width, height), _, _ = scenes[0]
    pieces = [b"\x89PNG\r\n\x1a\n",
              chunk(b"IHDR", struct.pack(">IIBBBBB", width * SCALE, height * SCALE, 8, 2, 0, 0, 0)),
              chunk(b"acTL", struct.pack(">II", len(scenes), 0))]
    number = 0
    for box, rows, ms in scenes:
        left, top, right, bottom = (place * SCALE for place in box)
        pieces.append(chunk(b"fcTL", struct.pack(">IIIIIHHBB", number, right - left, bottom - top, left, top,
                                                 ms, 1000, 0, 0)))
        packed = zlib.compress(b"".join(filtered(enlarged(rows))), 9)
        number += 1
        if number == 1:
            pieces.append(chunk(b"IDAT", packed))
        else:
            pieces.append(chunk(b"fdAT", struct.pack(">I", number) + packed))
            number += 1
    pieces.append(chunk(b"IEND", b""))
    with open(path, "wb") as file:
        file.write(b"".join(pieces))


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    build = os.path.abspath(sys.argv[1])
    out = sys.argv[2] if len(sys.argv) > 2 else "docs/pictures/film.png"
    folder = tempfile.mkdtemp(prefix="zerv-film-")
    try:
        film = Film(folder)
        direct(film)
        shoot(build, "Aqua_Ver0.4", film.script)
        scenes = scenes_of(film)
    finally:
        shutil.rmtree(folder)
    write_film(out, scenes)
    print(f"{out}: {len(scenes)} pictures, {sum(film.times) / 1000:.0f} s, {os.path.getsize(out)} bytes")


if __name__ == "__main__":
    main()
