"""The tools and the player say the same of every package, good, odd or damaged."""

import io
import os
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zipfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools"))

from zerv_package.checker import Checker

VERDICTS = os.environ.get("ZERV_PACKAGE_VERDICTS", "")
ROUNDS = int(os.environ.get("ZERV_TEST_PACKAGES", "3000"))
SEED = int(os.environ.get("ZERV_TEST_SEED", "7"))
PARTS = (b"", b".", b"..", b"_tmp", b"a", b"bin", b"a:b", b"\\", b"config.txt", b"LIBRARY.DB",
         b"n" * 255, b"n" * 256, b"\0", b"\xff", b" ", b"music", b"song.flac")
MARKS = (b"PK\1\2", b"PK\3\4", b"PK\5\6", b"PK\6\6", b"PK\6\7", b"PK\7\x08")


class Pipe(io.RawIOBase):
    """An archive written to it has the sizes behind the data."""

    def __init__(self):
        super().__init__()
        self.bytes = b""

    def writable(self):
        return True

    def write(self, piece):
        self.bytes += bytes(piece)
        return len(piece)


def pack(*entries, method=zipfile.ZIP_DEFLATED, to=None, comment=b""):
    file = to or io.BytesIO()
    with zipfile.ZipFile(file, "w", method) as archive:
        for name, content in entries:
            archive.writestr(name, content)
        archive.comment = comment
    return to.bytes if to else file.getvalue()


def large(data):
    """The same archive with the end marks of a large one."""
    at = data.rindex(b"PK\5\6")
    count, size, offset = struct.unpack("<8xHxxII", data[at:at + 20])[:3]
    end = struct.pack("<4sQHHIIQQQQ", b"PK\6\6", 44, 45, 45, 0, 0, count, count, size, offset)
    return data[:at] + end + struct.pack("<4sIQI", b"PK\6\7", 0, at, 1) + data[at:]


def make_seeds(chance):
    noise = chance.randbytes(40000)
    text = b"words and words " * 900
    some = [("zerv-player", noise), ("bin/", b""), ("bin/x", text), ("empty", b"")]
    with_zip64 = io.BytesIO()
    with zipfile.ZipFile(with_zip64, "w") as archive:
        with archive.open("x", "w", force_zip64=True) as file:
            file.write(text)
    plain = pack(*some)
    return [
        plain, pack(*some, method=zipfile.ZIP_STORED), pack(*some, to=Pipe()),
        pack(("a", b"x" * 1023), ("b", b"x" * 1024), ("c", b"x" * 16384), ("d", b"x" * 16385)),
        pack(*some, method=zipfile.ZIP_BZIP2), pack(*some, comment=b"c" * 300),
        pack(*some, comment=b"PK\5\6" + bytes(18)), b"#!/bin/sh\n" + plain, large(plain),
        plain[:-1],  # the library reads on behind the end
        with_zip64.getvalue(), pack(("music", b"x")), pack(("a", b"x"), ("a/", b""), ("a/b", b"x")),
        pack(("./", b""), ("/x", b"x"), ("a\\b", b"x"), ("bin", b"x")), pack(("x", b"x"), ("x", b"y")),
    ]


def mutate(data, chance):
    data = bytearray(data)
    for _ in range(chance.choice((1, 1, 1, 2, 4))):
        at = chance.randrange(len(data)) if data else 0
        kind = chance.randrange(9)
        if kind == 0 and data:
            data[at] ^= 1 << chance.randrange(8)
        elif kind == 1:
            del data[at:]
        elif kind == 2:
            data[at:at] = chance.randbytes(chance.choice((1, 4, 500)))
        elif kind == 3:
            del data[at:at + chance.choice((1, 2, 30))]
        elif kind == 4:
            data += chance.choice((b"\0", b"PK\5\6", bytes(70000), chance.randbytes(22)))
        else:
            mutate_head(data, chance)
    return bytes(data)


def mutate_head(data, chance):
    """Most bytes are contents: what is told about them is worth more trials."""
    mark = chance.choice(MARKS)
    places = [at for at in range(len(data) - 3) if data[at] == 80 and data[at:at + 4] == mark]
    if not places:
        return
    at = chance.choice(places)
    if mark in MARKS[:2] and chance.randrange(3) == 0:
        skip = 46 if mark == MARKS[0] else 30
        size = int.from_bytes(data[at + skip - 18 if skip == 46 else at + 26:][:2], "little")
        name = b"/".join(chance.choices(PARTS, k=chance.randrange(1, 4)))
        name = (name + b"x" * size)[:size] if chance.randrange(2) else name[:size].ljust(size, b"/")
        data[at + skip:at + skip + size] = name
        return
    at += chance.randrange(4, 46)
    if at + 4 <= len(data):
        width = chance.choice((1, 2, 4))
        data[at:at + width] = chance.choice((
            bytes(width), b"\xff" * width, chance.randbytes(width),
            ((int.from_bytes(data[at:at + width], "little") + chance.choice((1, -1, 8)))
             % (1 << 8 * width)).to_bytes(width, "little")))


class PackagesTest(unittest.TestCase):
    def setUp(self):
        self.assertTrue(VERDICTS, "ZERV_PACKAGE_VERDICTS names no program")
        self.folder = tempfile.mkdtemp(prefix="zerv-packages-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        os.mkdir(os.path.join(self.folder, "music"))
        with open(os.path.join(self.folder, "song.flac"), "wb"):
            pass
        self.path = os.path.join(self.folder, "p.zip")
        self.player = subprocess.Popen([VERDICTS], cwd=self.folder, text=True,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(self.end_player)

    def end_player(self):
        self.player.stdin.close()
        self.assertEqual(self.player.wait(timeout=60), 0)
        self.player.stdout.close()

    def compare(self, package, what):
        """Whether the package is good; both must say the same."""
        with open(self.path, "wb") as file:
            file.write(package)
        self.player.stdin.write("p.zip\n")
        self.player.stdin.flush()
        players = self.player.stdout.readline().strip()
        faults = Checker(self.folder).check(self.path)
        if (players == "good") == bool(faults):
            kept = os.path.join(tempfile.gettempdir(), "zerv-disagree.zip")
            shutil.copy(self.path, kept)
            self.fail(f"{what}: the player says {players}, the tools {faults}; see {kept}")
        return not faults

    def test_the_tools_agree_with_the_player(self):
        chance = random.Random(SEED)
        seeds = make_seeds(chance)
        good = 0
        for index, seed in enumerate(seeds):
            self.compare(seed, f"seed {index}")
        for index in range(ROUNDS):
            which = chance.randrange(len(seeds))
            good += self.compare(mutate(seeds[which], chance), f"{index} from seed {which}")
        self.assertGreater(good, ROUNDS // 20, "hardly a good one among them")
        self.assertLess(good, ROUNDS * 19 // 20, "hardly a bad one among them")


if __name__ == "__main__":
    unittest.main()
