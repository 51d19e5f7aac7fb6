"""Everything at once, in real time: keys, fingers, skips, seeks, scans, skins read again, updates, a
service that dies, and an end at any moment. Under the thread sanitizer no report may come of it.

The seed is printed; ZERV_TEST_SEED repeats what was done, though not when threads met. ZERV_TEST_SECONDS
says for how long (./dev stress).
"""

import os
import random
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

from make_flac import make_flac
from player import DEADLINE_S, PROGRAM, is_built_with
from services import OnlineTest
from test_update import Liar, pack

SECONDS = int(os.environ.get("ZERV_TEST_SECONDS", "60" if is_built_with("tsan") else "10"))
STEPS = 200  # of a life, some seconds
KEYS = ("up", "down", "left", "right", "page_up", "page_down", "select", "menu", "reload", "switch",
        "back", "vol_up", "vol_down", "media_play", "media_stop", "media_prev", "media_next")
SCAN = ("key switch", "key left", "key left", "key left", "advance 30", "key up", "key up", "advance 5",
        "key select")
ENDS = ("quit", "end of the script", signal.SIGTERM, signal.SIGINT, signal.SIGHUP)
LYRICS = b"[00:00.10]one\n[00:00.90]two\n[00:02.00]three\n"


class Dying(Liar):
    """A service whose answers are as bad as they come, and which may be gone after some of them."""

    def __init__(self, test, chance):
        super().__init__(test)
        self.chance = chance
        self.left = chance.choice((0, 1, 3, 10, 1000))
        self.packages = 0

    def answer(self, handler):
        self.left -= 1
        if self.left < 0:
            handler.close_connection = True  # without a word
        elif "/update/" in handler.path:
            self.offer(handler)
        elif handler.path.endswith(".zip"):
            handler.send(pack((f"news{self.packages}.txt", b"new"), ("same.txt", b"same")))
        else:
            self.sing(handler)

    def offer(self, handler):
        self.packages += 1
        address = f"http://{self.host}/{self.packages}.zip".encode()
        handler.send(self.chance.choice((b"", address, address, address[:-2])))

    def sing(self, handler):
        how = self.chance.randrange(6)
        if how < 2:
            handler.send(LYRICS * self.chance.choice((1, 500)))
        elif how == 2:
            handler.send_error(404)
        elif how == 3:
            handler.send(LYRICS, announced=2 * len(LYRICS))
        elif how == 4:
            handler.send(b"<html><body>Log in</body></html>")
        else:
            time.sleep(self.chance.random())
            handler.send(LYRICS)


class Any(dict):
    """The same answer to every path."""

    def __init__(self, answer):
        super().__init__()
        self.answer = answer

    def get(self, *_):
        return self.answer


class StressTest(OnlineTest):
    def setUp(self):
        super().setUp()
        for name in os.listdir(self.folder):  # an update writes through links, which lead into the build
            path = self.path(name)
            if os.path.islink(path):
                target = os.readlink(path)
                os.remove(path)
                (shutil.copytree if os.path.isdir(target) else shutil.copy)(target, path)
        shutil.copytree(os.path.join(os.path.dirname(PROGRAM), "..", "media", "tracks"), self.path("music"))
        os.makedirs(self.path("music/inner"))
        for name in ("a.flac", "b.flac", "inner/c.flac"):
            self.write("music/" + name, make_flac(1.5))
        self.write("music/broken.mp3", b"not a sound")
        self.songs = sorted(name for name in os.listdir(self.path("music")) if name[-3:] in ("mp3", "ogg"))

    def step(self, chance):
        kind = chance.random()
        x, y = chance.randrange(320), chance.randrange(240)
        if kind < 0.5:
            return [f"key {chance.choice(KEYS)}"]
        if kind < 0.65:
            return [f"touch {chance.choice(('press', 'move', 'release'))} {x} {y}"]
        if kind < 0.72:  # skips and seeks, one upon the other
            return [f"key {chance.choice(('page_down', 'page_up', 'left', 'right'))}"] * chance.randrange(1, 6)
        if kind < 0.76:
            return SCAN
        if kind < 0.79:
            return [f"drop music/{chance.choice(self.songs)}", "drop music/inner", "dropped"]
        if kind < 0.81:
            return ["key reload", f"advance {chance.randrange(5)}", "key reload"]
        return [chance.choice((f"advance {chance.randrange(80)}", "settle 100", "battery 80",
                               "wall 2026-03-01T23:59:59", "state"))]

    def script(self, chance):
        lines = ["echo ready"]
        for _ in range(chance.randrange(STEPS)):
            lines.extend(self.step(chance))
            lines.append(f"advance {chance.randrange(25)}")
        return lines

    def forget(self, chance):
        """What a life before this one has left, or not."""
        if chance.random() < 0.5:
            self.write_config(library_path="music", vol=0, display_off_timeout=chance.choice((0, 1, 30)),
                              playback_order=chance.choice(("normal", "shuffle", "repeat")))
        for name in os.listdir(self.folder):
            if name.startswith(("library.db", "current.m3u")) and chance.random() < 0.3:
                os.remove(self.path(name))
        for name in os.listdir(self.path("music")):
            if name.endswith(".lrc") and chance.random() < 0.7:
                os.remove(self.path("music/" + name))

    def launch(self, chance, told):
        service = Dying(self, random.Random(chance.random()))
        service.answers = Any(service.answer)
        named = [f"music/{name}" for name in chance.sample(self.songs, chance.randrange(3))]
        environment = self.environment(
            ZERV_VIRTUAL_REALTIME="1", ZERV_LYRICS_HOST=service.host, ZERV_UPDATE_HOST=service.host,
            TSAN_OPTIONS="second_deadlock_stack=1:exitcode=66")
        return subprocess.Popen([self.program, *named], cwd=self.folder, env=environment,
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=told)

    def end_by(self, process, how, chance):
        if how == "quit":
            self.say(process, "quit")
        elif isinstance(how, int):
            time.sleep(chance.random() * 3)
            process.send_signal(how)

    def live(self, chance):
        """One life. Returns its exit status, what it said on standard error, and what ended it."""
        self.forget(chance)
        with tempfile.TemporaryFile() as told:
            process = self.launch(chance, told)
            self.say(process, *self.script(chance))
            self.listen_for(process, "ready")
            how = chance.choice(ENDS)
            self.end_by(process, how, chance)
            process.communicate(timeout=DEADLINE_S)
            told.seek(0)
            return process.returncode, told.read().decode("utf-8", "replace"), how

    def test_everything_at_once(self):
        seed = int(os.environ.get("ZERV_TEST_SEED", time.time_ns() % 1000000))
        print(f"ZERV_TEST_SEED={seed}", flush=True)
        chance = random.Random(seed)
        self.write_config(library_path="music", vol=0)
        until, lives, restarts = time.monotonic() + SECONDS, 0, 0
        while time.monotonic() < until:
            lives += 1
            status, told, how = self.live(chance)
            restarts += told.count("starting again")
            self.assertNotIn("ThreadSanitizer", told, f"life {lives}")
            # Between two lives of one process a signal ends it by itself.
            fair = (0, -how) if isinstance(how, int) and "starting again" in told else (0,)
            self.assertIn(status, fair, f"life {lives}, ended by {how}: {told[-3000:]}")
        print(f"{lives} lives, {restarts} restarts after an update")


if __name__ == "__main__":
    unittest.main()
