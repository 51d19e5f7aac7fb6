"""The card folder, made of this build for this machine: it runs with what it carries, and always starts."""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from services import is_sanitized

PROGRAM = os.environ.get("ZERV_PLAYER", "")
BUILD = os.path.dirname(os.path.dirname(os.path.abspath(PROGRAM)))
PACKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../packaging/handheld/pack.py")
DEADLINE_S = 300


@unittest.skipIf(is_sanitized(), "a sanitizer wants to be loaded first")
class CardFolderTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        subprocess.run(["cmake", "--build", BUILD, "--target", "card-folder", "desktop-icons"], check=True,
                       capture_output=True, timeout=DEADLINE_S * 2)
        cls.made = tempfile.mkdtemp(prefix="zerv-card-")
        cls.addClassCleanup(shutil.rmtree, cls.made, ignore_errors=True)
        subprocess.run(["cmake", "--install", BUILD, "--component", "handheld", "--prefix", f"{cls.made}/first"],
                       check=True, capture_output=True, timeout=DEADLINE_S)
        # Moved after it was put down: nothing of it may know where that was.
        cls.card = f"{cls.made}/any card"
        os.rename(f"{cls.made}/first", cls.card)

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="zerv-card-run-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def start(self, script, *words, start=(), **more):
        path = os.path.join(self.folder, "script")
        with open(path, "w", encoding="utf-8") as file:
            file.write(script)
        environment = {"PATH": os.environ["PATH"], "HOME": self.folder, "ZERV_DEVICE": "virtual",
                       "ZERV_VIRTUAL_SCRIPT": path, **more}
        return subprocess.Popen([*start, f"{self.card}/zerv-player.sh", *words], cwd=self.folder, env=environment,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def run_card(self, script="advance 300\ntext\nquit\n", *words, **more):
        process = self.start(script, *words, **more)
        out, error = process.communicate(timeout=DEADLINE_S)
        return process.returncode, out, error

    def on_card(self, name):
        return os.path.join(self.card, name)

    def test_every_library_comes_from_the_card(self):
        lib = self.on_card("lib")
        for program in ("zerv-player", "lib/zerv-console", "lib/zerv-keys", "lib/zerv-audio-tag.so",
                        "lib/libcurl.so.4", "lib/libsodium.so.23"):
            done = subprocess.run([f"{lib}/ld.so", "--library-path", lib, "--list", self.on_card(program)],
                                  capture_output=True, text=True, check=True, timeout=DEADLINE_S)
            paths = re.findall(r"=> (\S.*) \(0x", done.stdout)
            self.assertTrue(paths, done.stdout)
            for path in paths:
                # The loader itself is named as the program wants it and is the one that was called.
                self.assertTrue(path.startswith(lib) or "/ld-" in path, path)

    def test_it_starts_from_anywhere_and_takes_files_from_where_one_stands(self):
        with open(f"{self.folder}/no music.flac", "w", encoding="utf-8") as file:
            file.write("nothing")
        status, out, error = self.run_card("advance 300\nstate\nquit\n", "no music.flac")
        self.assertEqual(status, 0, error)
        self.assertIn("state ", out)
        with open(self.on_card("current.m3u"), encoding="utf-8") as file:
            self.assertIn(f"{self.folder}/no music.flac", file.read())

    def test_the_keys_are_asked_for_from_there_too(self):
        done = subprocess.run([self.on_card("zerv-keys.sh"), "--help"], capture_output=True, text=True, cwd="/",
                              timeout=DEADLINE_S, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("keys.txt", done.stdout)

    def test_the_languages_have_their_locales(self):
        words = ("import locale\nfor name in ('ko_KR.UTF-8', 'en_US.UTF-8', 'ja_JP.UTF-8'):\n"
                 "    print(locale.setlocale(locale.LC_ALL, name), locale.nl_langinfo(locale.CODESET))")
        done = subprocess.run([sys.executable, "-c", words], capture_output=True, text=True, timeout=DEADLINE_S,
                              env={**os.environ, "LOCPATH": self.on_card("lib/locale")}, check=False)
        self.assertEqual(done.stdout, "ko_KR.UTF-8 UTF-8\nen_US.UTF-8 UTF-8\nja_JP.UTF-8 UTF-8\n", done.stderr)

    def test_a_library_beyond_opening_is_moved_aside(self):
        with open(self.on_card("library.db"), "w", encoding="utf-8") as file:
            file.write("rubbish")
        status, out, error = self.run_card()
        self.assertEqual(status, 0, error)
        self.assertIn("|Zerv Player", out)
        self.assertIn("library.db could not be opened and is kept as library.db.damaged", error)
        with open(self.on_card("library.db.damaged"), encoding="utf-8") as file:
            self.assertEqual(file.read(), "rubbish")

    def test_what_went_wrong_is_told(self):
        skins = self.on_card("skins")
        os.rename(skins, f"{skins}.away")
        self.addCleanup(os.rename, f"{skins}.away", skins)
        status, _, error = self.run_card()
        self.assertNotEqual(status, 0)
        self.assertIn("view_init falied", error)

    def player_of(self, process):
        """The process that the start script waits for, once it runs."""
        deadline = time.monotonic() + DEADLINE_S
        while time.monotonic() < deadline:
            done = subprocess.run(["pgrep", "-P", str(process.pid), "-f", "zerv-player"], capture_output=True,
                                  text=True, check=False)
            found = done.stdout.split()
            if found and "library.db" in os.listdir(self.card):
                return int(found[0])
        return self.fail("the player does not start")

    def test_a_signal_reaches_the_player_and_its_status_the_caller(self):
        for number, status in ((signal.SIGTERM, 0), (signal.SIGKILL, 128 + signal.SIGKILL)):
            if os.path.exists(self.on_card("library.db")):  # which tells that the player is up
                os.remove(self.on_card("library.db"))
            process = self.start("advance 600000\n", ZERV_VIRTUAL_REALTIME="1")
            player = self.player_of(process)
            if number == signal.SIGTERM:
                process.send_signal(number)
            else:
                os.kill(player, number)
            process.communicate(timeout=DEADLINE_S)
            self.assertEqual(process.returncode, status)

    @unittest.skipIf(os.geteuid() != 0, "only root becomes somebody else")
    def test_a_folder_that_cannot_be_written_to_is_left_alone(self):
        os.chmod(self.made, 0o755)
        os.chmod(self.folder, 0o777)
        before = sorted(os.listdir(self.card))
        own = f"{self.folder}/own"
        status, out, error = self.run_card(start=("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"),
                                           ZERV_FOLDER=own)
        self.assertEqual(status, 0, error)
        self.assertIn("|English|", out)
        self.assertEqual(sorted(os.listdir(self.card)), before)
        self.assertIn("config.txt", os.listdir(own))

    def test_the_packed_folder_is_the_same_each_time_and_not_too_large(self):
        small = f"{self.folder}/small"
        os.makedirs(f"{small}/lib")
        for name in ("zerv-player", "lib/libone.so"):
            with open(f"{small}/{name}", "w", encoding="utf-8") as file:
                file.write(name)
        packed = []
        for moment in (1, 2):
            os.utime(f"{small}/zerv-player", (moment * 10**9, moment * 10**9))
            subprocess.run([sys.executable, PACKER, small, f"{small}.zip"], check=True, capture_output=True)
            with open(f"{small}.zip", "rb") as file:
                packed.append(file.read())
        self.assertEqual(*packed)
        with open(f"{small}/font.ttf", "wb") as file:
            file.truncate(16_000_000)
        done = subprocess.run([sys.executable, PACKER, small, f"{small}.zip"], capture_output=True, text=True,
                              check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("16.00 MB  font", done.stdout)


if __name__ == "__main__":
    unittest.main()
