"""Signals: an orderly end, and none at all."""

import array
import fcntl
import os
import random
import signal
import subprocess
import termios
import unittest

from make_flac import make_flac
from player import DEADLINE_S, PlayerTest, is_built_with

KILLS = int(os.environ.get("ZERV_TEST_KILLS", "25"))


class SignalsTest(PlayerTest):
    def stop_by(self, number, *lines, arguments=(), **environment):
        """Starts, says the lines, waits until the player has done them, sends the signal."""
        process = self.start(*arguments, **environment)
        self.say(process, *lines)
        self.listen_for(process, "ready")
        process.send_signal(number)
        status = process.wait(timeout=DEADLINE_S)
        return status, process.stderr.read().decode()

    def test_each_signal_ends_the_program_and_saves_the_settings(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number):
                self.write_config()
                ended = self.stop_by(number, "key vol_up", "advance 5", "echo ready")
                self.assertEqual(ended, (0, ""))
                self.assertIn(b"<vol>35</vol>", self.read("config.txt"))

    def test_signal_ends_a_program_that_is_busy(self):
        self.write_config()
        self.write("song.flac", make_flac(2))
        ended = self.stop_by(signal.SIGTERM, "key vol_up", "advance 5", "echo ready",
                             "advance 2000000000", arguments=["song.flac"])
        self.assertEqual(ended, (0, ""))
        self.assertIn(b"<vol>35</vol>", self.read("config.txt"))

    def test_signal_ends_a_program_in_real_time(self):
        self.write_config()
        ended = self.stop_by(signal.SIGTERM, "key vol_up", "advance 5", "echo ready",
                             "advance 2000000000", ZERV_VIRTUAL_REALTIME="1")
        self.assertEqual(ended, (0, ""))
        self.assertIn(b"<vol>35</vol>", self.read("config.txt"))

    def make_skin(self):
        """A skin of the maker's own for both screens. Returns the file of its list screen."""
        os.unlink(self.path("skins"))
        os.mkdir(self.path("skins"))
        subprocess.run([os.environ["ZERV_SKIN"], "new", "Mine"], cwd=self.path("skins"), check=True,
                       capture_output=True)
        self.write_config(skin_list="skins/Mine", skin_play="skins/Mine")
        return "skins/Mine/list.xml"

    def test_a_skin_maker_s_signal_loads_the_skins_again(self):
        part = self.make_skin()
        process = self.start()
        self.say(process, "advance 100", "echo ready")
        self.listen_for(process, "ready")
        self.write(part, self.read(part).replace(b'format="$title"', b'format="Mended"'))
        process.send_signal(signal.SIGUSR1)
        self.say(process, "wait Mended", "state", "quit")
        out, err = process.communicate(timeout=DEADLINE_S)
        self.assertEqual((process.returncode, err), (0, b""))
        self.assertTrue(out.startswith(b"found\nstate view=list "), out)

    def test_signal_does_not_hide_a_failure(self):
        self.write_config()
        ended = self.stop_by(signal.SIGTERM, "echo ready", ZERV_FAULT="touch_close")
        self.assertEqual(ended, (255, "touch_close failed\n"))

    def test_reader_of_the_answers_may_go_away(self):
        self.write_config()
        process = self.start()
        self.say(process, "key vol_up", "advance 5", "echo ready")
        self.listen_for(process, "ready")
        process.stdout.close()
        self.say(process, "state", "key vol_up", "advance 5", "state")
        process.stdin.close()
        self.assertEqual(process.wait(timeout=DEADLINE_S), 0)
        self.assertIn(b"<vol>40</vol>", self.read("config.txt"))

    def test_program_ends_at_once_while_it_scans(self):
        self.write_config(library_path="music")
        os.mkdir(self.path("music"))
        song = make_flac(0.1)
        for i in range(3000):
            self.write(f"music/{i}.flac", song)
        # To the row that updates the library, and away.
        process = self.start()
        self.say(process, "advance 2", "key up", "advance 1", "key up", "advance 1", "key select",
                 "advance 1", "text", "echo ready")
        self.listen_for(process, "ready")
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(timeout=DEADLINE_S), 0)
        self.assertEqual(process.stderr.read().decode().count("falied"), 0)

    @unittest.skipIf(is_built_with("tsan"), "the thread sanitizer holds a signal back until write() returns")
    def test_signal_ends_a_program_that_hangs(self):
        """The main thread waits for somebody to read its answers, and nobody does."""
        self.write_config()
        process = self.start()
        self.say(process, *["state"] * 3000)
        waiting = array.array("i", [0])
        while waiting[0] < 60000:
            fcntl.ioctl(process.stdout, termios.FIONREAD, waiting)
            self.assertIsNone(process.poll())
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(timeout=DEADLINE_S), 255)

    def test_kill_at_any_moment_leaves_a_whole_playlist(self):
        """The program changes its playlist as fast as it can and dies in the middle."""
        self.write_config()
        names = [f"song-{i:02d}.flac" for i in range(30)]
        for name in names:
            self.write(name, b"not really")
        whole = [name.encode() + b"\r\n" for name in names]
        chance = random.Random(4)
        lengths = set()
        for _ in range(KILLS):
            if self.exists("current.m3u"):
                os.remove(self.path("current.m3u"))
            process = self.start(*names)
            # From the play screen to the playlist, then row after row goes.
            self.say(process, "advance 250", "key switch", "advance 250", "echo ready")
            self.listen_for(process, "ready")
            self.say(process, *["key menu", "advance 1", "echo removed"] * 29)
            seen = chance.randrange(28)
            for _ in range(seen):
                self.listen_for(process, "removed")
            process.kill()
            process.wait(timeout=DEADLINE_S)
            self.end(process)
            lines = self.read("current.m3u").splitlines(keepends=True)
            self.assertEqual(lines, [line for line in whole if line in lines])
            self.assertLessEqual(len(lines), len(names) - seen)
            self.assertGreaterEqual(len(lines), 1)
            lengths.add(len(lines))
        self.assertGreater(len(lengths), min(KILLS, 4) - 1)


if __name__ == "__main__":
    unittest.main()
