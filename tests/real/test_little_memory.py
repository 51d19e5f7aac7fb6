"""With 24 MiB for its data the player scans, plays and shows every hostile file that we keep."""

import os
import shutil
import sqlite3
import struct
import subprocess
import unittest
from concurrent.futures import ThreadPoolExecutor
from contextlib import closing

from player import DEADLINE_S, PROGRAM, PlayerTest, is_built_with

MOST = 24 << 20
"""Of a device with 32 MiB. What libraries bring as data of their own counts here, too."""
LEAST = 5 << 20
"""The program comes up, and what it plays then finds too little."""
WHOLE = os.environ.get("ZERV_TEST_MEMORY") == "whole"
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


class HostileTest(PlayerTest):
    """A music folder of every hostile file."""

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

    def sounds(self):
        return sorted(name for name in os.listdir(self.path("music")) if name.endswith(SOUNDS))

    def fresh_folder(self, name):
        """A program folder of its own with the same music."""
        folder = os.path.join(self.folder, "play " + name)
        os.mkdir(folder)
        for entry in os.listdir(self.folder):
            if entry.endswith(".ttf") or entry in ("skins", "fonts", "music"):
                os.symlink(os.path.join(self.folder, entry), os.path.join(folder, entry))
        shutil.copy(self.path("config.txt"), folder)
        return folder


@unittest.skipIf(is_sanitized(), "a sanitizer keeps more memory than the player")
class LittleMemoryTest(HostileTest):
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
        return self.live(self.fresh_folder(name), "advance 300\nsettle\nadvance 700\nstate\nquit\n", "music/" + name,
                         most=most)

    def test_libraries_that_crash_without_memory_are_not_asked(self):
        for name in ("audio chain.ogg", "audio wide.flac", "key ogg.ogg", "audio utf16_tag.mp3"):
            with self.subTest(file=name):
                run = self.play(name, LEAST)
                self.assertIn(run.returncode, (0, 255), run.stderr)

    def test_each_of_them_is_played_and_shown(self):
        names, played = self.sounds(), 0
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            for name, run in zip(names, pool.map(self.play, names)):
                with self.subTest(file=name):
                    self.assertEqual(run.returncode, 0, run.stderr)
                    self.assertIn(b"state view=play", run.stdout)
                played += b"playing=music/" in run.stdout
        print(f"{len(names)} files, {played} of them played")
        self.assertGreater(played, len(names) // 10)


KEYS = {"up": 103, "enter": 28, "tab": 15, "q": 16}  # the kernel's numbers
BOARD = os.path.join(os.path.dirname(PROGRAM), "..", "tests", "real", "libboard.so")


class Board:
    """A player on the bare Linux device, whose panel is a file and whose keyboard a pipe."""

    def __init__(self, test, folder, *arguments):
        self.test, self.folder = test, folder
        os.mkdir(os.path.join(folder, "input"))
        os.mkfifo(os.path.join(folder, "input", "event0"))
        # Open for both, so that the player never finds it closed.
        self.keyboard = os.open(os.path.join(folder, "input", "event0"), os.O_RDWR)
        with open(os.path.join(folder, "alsa.conf"), "wb"):
            pass  # no card: the player plays to a clock
        environment = test.environment(
            ZERV_DEVICE="linux", BOARD_PANEL=os.path.join(folder, "panel"),
            BOARD_INPUT=os.path.join(folder, "input"), LD_PRELOAD=os.path.abspath(BOARD),
            ALSA_CONFIG_PATH=os.path.join(folder, "alsa.conf"))
        self.process = subprocess.Popen(
            ["prlimit", f"--data={MOST}", test.program, *arguments], cwd=folder, env=environment,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        test.addCleanup(self.put_away)
        self.wait_for_panel(b"")

    def panel(self):
        try:
            with open(os.path.join(self.folder, "panel"), "rb") as file:
                return file.read().strip(b"\0")
        except FileNotFoundError:
            return b""

    def wait_for_panel(self, before):
        """Until something else is shown, or the player has ended."""
        self.test.wait_until("the panel shows nothing new",
                             lambda: self.panel() != before or self.process.poll() is not None)

    def press(self, name):
        for kind, code, value in ((1, KEYS[name], 1), (0, 0, 0), (1, KEYS[name], 0), (0, 0, 0)):
            os.write(self.keyboard, struct.pack("llHHi", 0, 0, kind, code, value))

    def show(self, name):
        """Presses a key that changes what is shown."""
        before = self.panel()
        self.press(name)
        self.wait_for_panel(before)

    def end(self):
        """Its exit status after the quit key, and what it said on standard error."""
        self.press("q")
        told = self.process.communicate(timeout=DEADLINE_S)[1]
        return self.process.returncode, told.decode("utf-8", "replace")

    def put_away(self):
        self.test.end_quietly(self.process)
        os.close(self.keyboard)


@unittest.skipIf(is_sanitized(), "a sanitizer keeps more memory than the player")
class BoardTest(HostileTest):
    """The same on the bare Linux device, in real time."""

    def end_quietly(self, process):
        if process.poll() is None:
            process.kill()
        process.wait()
        process.stderr.close()

    def tracks(self):
        with closing(sqlite3.connect(self.path("library.db"), timeout=DEADLINE_S)) as library:
            tables = library.execute("select name from sqlite_master where type = 'table'").fetchall()
            return max((library.execute(f"select count(*) from {name}").fetchone()[0] for name, in tables), default=0)

    def test_scan_of_all_of_them(self):
        board = Board(self, self.folder)
        for name in ("up", "up", "enter"):
            board.show(name)
        self.wait_until("no track was found", lambda: self.tracks() > 10 or board.process.poll() is not None)
        status, told = board.end()
        self.assertEqual(status, 0, told)
        self.assertGreater(self.tracks(), 10)

    def play(self, name):
        """Played and shown, then the list."""
        board = Board(self, self.fresh_folder(name), "music/" + name)
        board.show("tab")
        return board.end()

    def test_each_of_them_is_played_and_shown(self):
        """Each, or a few: what a file takes of the memory, the scripted device has shown above."""
        names = self.sounds() if WHOLE else self.sounds()[::5]
        with ThreadPoolExecutor(2 * os.cpu_count()) as pool:
            for name, (status, told) in zip(names, pool.map(self.play, names)):
                with self.subTest(file=name):
                    self.assertEqual(status, 0, told)


if __name__ == "__main__":
    unittest.main()
