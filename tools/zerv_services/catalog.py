"""What there is to serve: lyrics by the key of their track, packages by build and version."""

import hashlib
import os
import re
import stat
import sys
import threading
import time

VERSION = r"([0-9]{1,9}(?:\.[0-9]{1,9})*)"  # Python refuses numbers of thousands of digits
PACKAGE_PATH = re.compile(r"/packages/([A-Za-z0-9._-]+\.zip)")
PACKAGE_NAME = re.compile(r"(.+)-" + VERSION + r"\.zip")
MUSIC = (".mp3", ".ogg", ".flac")
HASHED_BYTES = 0x28000
RESCAN_SECONDS = 10


def skip_tags(file):
    """Puts the file behind its ID3v2 tags. False when a tag's size makes no sense."""
    while True:
        head = file.read(10)
        if len(head) < 10 or head[:3] != b"ID3":
            file.seek(-len(head), os.SEEK_CUR)
            return True
        if any(byte & 0x80 for byte in head[6:]):
            return False
        size = head[6] << 21 | head[7] << 14 | head[8] << 7 | head[9]
        file.seek(size + (10 if head[5] & 0x10 else 0), os.SEEK_CUR)


def track_key(path):
    """What the player asks for: a digest of the first sound data. None without one."""
    with open(path, "rb") as file:
        if not skip_tags(file):
            return None
        data = b""
        while True:
            piece = file.read(65536)
            data = piece.lstrip(b"\0")
            if data or not piece:
                break
        data += file.read(max(0, HASHED_BYTES - len(data)))
        return hashlib.md5(data[:HASHED_BYTES]).hexdigest()


class LyricsIndex:
    """Which ".lrc" file belongs to which key, from the music beside the files."""

    def __init__(self, music):
        self.music = music
        self.lock = threading.Lock()
        self.known = {}  # path: (mtime, size, key)
        self.by_key = {}
        self.scanned_at = None

    def scan(self):
        known, by_key = {}, {}
        for folder, _, names in os.walk(self.music):
            for name in names:
                stem, extension = os.path.splitext(name)
                lyrics = os.path.join(folder, stem + ".lrc")
                if extension.lower() in MUSIC and os.path.isfile(lyrics):
                    self.add(os.path.join(folder, name), lyrics, known, by_key)
        self.known, self.by_key = known, by_key
        self.scanned_at = time.monotonic()

    def add(self, track, lyrics, known, by_key):
        try:
            state = os.stat(track)
            if not stat.S_ISREG(state.st_mode):
                return  # a pipe would never end
            stamp = (state.st_mtime_ns, state.st_size)
            old = self.known.get(track)
            key = old[1] if old and old[0] == stamp else track_key(track)
        except OSError as error:
            print(f"zerv-services: {track}: {error.strerror}", file=sys.stderr)
            return
        known[track] = (stamp, key)
        if key:
            by_key.setdefault(key, lyrics)

    def all_lyrics(self):
        """All keys with their ".lrc" files."""
        with self.lock:
            self.scan()
            return self.by_key.items()

    def find(self, key):
        with self.lock:
            stale = self.scanned_at is None or time.monotonic() - self.scanned_at > RESCAN_SECONDS
            if key not in self.by_key and stale:
                self.scan()
            return self.by_key.get(key)


class Services:
    """What the server knows; shared by all requests."""

    def __init__(self, lyrics=None, music=None, packages=None, public=None):
        self.lyrics = lyrics
        self.index = LyricsIndex(music) if music else None
        self.packages = packages
        self.public = public

    def find_lyrics(self, key):
        if self.lyrics:
            path = os.path.join(self.lyrics, key + ".lrc")
            if os.path.isfile(path):
                return path
        return self.index.find(key) if self.index else None

    def newest_package(self, build, version):
        """The file name of the newest package of a build above a version, or None."""
        best = None
        for name in os.listdir(self.packages) if self.packages else []:
            match = PACKAGE_NAME.fullmatch(name)
            if not match or match.group(1) != build or not PACKAGE_PATH.fullmatch(
                    "/packages/" + name):
                continue
            if not os.path.isfile(os.path.join(self.packages, name)):
                continue
            number = version_number(match.group(2))
            if number > version_number(version) and (best is None or number > best[0]):
                best = (number, name)
        return best[1] if best else None


def version_number(text):
    """"0.10" comes after "0.9"; "1" and "1.0" are the same."""
    numbers = [int(part) for part in text.split(".")]
    while numbers and numbers[-1] == 0:
        numbers.pop()
    return numbers
