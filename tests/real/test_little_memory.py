"""With 24 MiB for its data the player scans, plays and shows every hostile file that we keep."""

import os
import shutil
import struct
import subprocess
import unittest
from concurrent.futures import ThreadPoolExecutor

from player import DEADLINE_S, PROGRAM, PlayerTest, is_built_with

MOST = 24 << 20
"""Of a device with 32 MiB. What libraries bring as data of their own counts here, too."""
LEAST = 5 << 20
"""The program comes up, and what it plays then finds too little."""
CORPUS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "fuzz", "corpus")
SOUNDS = (".mp3", ".ogg", ".flac")


def is_sanitized():
    return is_built_with("asan") or is_built_with("tsan")


def with_cover(picture, sound):
    """An MP3 file with that picture as its cover."""
    body = b"\0image/png\0\3\0" + picture
    frame = b"APIC" + struct.pack(">IH", len(body), 0) + body
    size = len(frame)
    packed = bytes(size >> shift & 0x7F for shift in (21, 14, 7, 0))
    return b"ID3\3\0\0" + packed + frame + sound


@unittest.skipIf(is_sanitized(), "a sanitizer keeps more memory than the player")
class LittleMemoryTest(PlayerTest):
    def setUp(self):
        super().setUp()
        self.write_config(library_path="music", display_off_timeout=0)
        os.mkdir(self.path("music"))
        media = os.path.join(os.path.dirname(PROGRAM), "..", "media", "tracks", "1 first.mp3")
        with open(media, "rb") as file:
            self.good = file.read()
        for kind in ("audio", "tags", "cover", "key", "image", "lrc", "m3u"):
            for name in sorted(os.listdir(os.path.join(CORPUS, kind))):
                with open(os.path.join(CORPUS, kind, name), "rb") as file:
                    self.keep(kind, f"{kind} {os.path.splitext(name)[0]}", file.read())

    def keep(self, kind, name, content):
        if kind == "image":
            self.write(f"music/{name}.mp3", with_cover(content, self.good))
        elif kind == "lrc":
            self.write(f"music/{name}.mp3", self.good)
            self.write(f"music/{name}.lrc", content)
        elif kind == "m3u":
            self.write(f"music/{name}.m3u", content)
        else:
            for ending in SOUNDS:
                self.write(f"music/{name}{ending}", content)

    def live(self, folder, script, *arguments, most=MOST):
        return subprocess.run(["prlimit", f"--data={most}", self.program, *arguments], cwd=folder,
                              env=self.environment(), input=script.encode(), capture_output=True,
                              timeout=DEADLINE_S, check=False)

    def test_scan_of_all_of_them(self):
        # The row that updates the library, then the tracks, two rows above it.
        run = self.live(self.folder, "advance 300\nkey up\nkey up\nadvance 20\nkey select\n"
                        "settle 100000\nadvance 5000\nkey up\nkey up\nadvance 20\nkey select\n"
                        "advance 400\ntext\nquit\n")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertIn(b"First", run.stdout)

    def play(self, name, most=MOST):
        folder = os.path.join(self.folder, "play " + name)
        os.mkdir(folder)
        for entry in os.listdir(self.folder):
            if entry.endswith(".ttf") or entry in ("skins", "fonts", "music"):
                os.symlink(os.path.join(self.folder, entry), os.path.join(folder, entry))
        shutil.copy(self.path("config.txt"), folder)
        return self.live(folder, "advance 300\nsettle\nadvance 700\nstate\nquit\n", "music/" + name,
                         most=most)

    def test_libraries_that_crash_without_memory_are_not_asked(self):
        for name in ("audio chain.ogg", "audio wide.flac", "key ogg.ogg", "audio utf16_tag.mp3"):
            with self.subTest(file=name):
                run = self.play(name, LEAST)
                self.assertIn(run.returncode, (0, 255), run.stderr)

    def test_each_of_them_is_played_and_shown(self):
        names = sorted(name for name in os.listdir(self.path("music")) if name.endswith(SOUNDS))
        played = 0
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            for name, run in zip(names, pool.map(self.play, names)):
                with self.subTest(file=name):
                    self.assertEqual(run.returncode, 0, run.stderr)
                    self.assertIn(b"state view=play", run.stdout)
                played += b"playing=music/" in run.stdout
        print(f"{len(names)} files, {played} of them played")
        self.assertGreater(played, len(names) // 10)


if __name__ == "__main__":
    unittest.main()
