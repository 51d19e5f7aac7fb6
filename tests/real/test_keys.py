"""zerv-keys as a process: buttons through pipes, letters through a terminal, and the player with what it
wrote."""

import os
import pty
import select
import signal
import struct
import subprocess
import unittest

from player import DEADLINE_S, PROGRAM, PlayerTest

KEYS = os.path.join(os.path.dirname(PROGRAM), "../tools/zerv-keys")
EV_SYN, EV_KEY, EV_ABS, EV_SW = 0, 1, 3, 5
KEY_W, KEY_S, BTN_SELECT, BTN_DPAD_UP = 17, 31, 0x13A, 0x220
ABS_HAT0X, SW_KEYPAD_SLIDE = 0x10, 0x0A


class KeysTest(PlayerTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("input"))
        self.buttons = self.plug_in("event0")

    def plug_in(self, name):
        os.mkfifo(self.path(name))
        end = os.open(self.path(name), os.O_RDWR)
        self.addCleanup(os.close, end)
        # Found with a writer: one without is gone as soon as it is read.
        os.link(self.path(name), self.path("input/" + name))
        return end

    def send(self, kind, code, value, to=None):
        for record in ((kind, code, value), (EV_SYN, 0, 0)):
            os.write(self.buttons if to is None else to, struct.pack("llHHi", 0, 0, *record))

    def press(self, *codes):
        for code in codes:
            self.send(EV_KEY, code, 1)
        for code in codes:
            self.send(EV_KEY, code, 0)

    def ask(self, *words):
        """Starts it on a terminal; self.said is what it has written so far."""
        self.terminal, inside = pty.openpty()
        self.addCleanup(os.close, self.terminal)
        self.said = b""
        process = subprocess.Popen([KEYS, "-i", self.path("input"), "-n", "0", *words], cwd=self.folder,
                                   stdin=inside, stdout=inside, stderr=inside)
        os.close(inside)
        self.addCleanup(lambda: process.poll() is None and process.kill())
        return process

    def hear(self, wanted):
        """Reads on until the text comes."""
        while wanted.encode() not in self.said:
            ready, _, _ = select.select([self.terminal], [], [], DEADLINE_S)
            self.assertTrue(ready, f"{wanted} does not come after {self.said.decode()}")
            try:
                self.said += os.read(self.terminal, 4096)
            except OSError:
                self.fail(f"it ended without {wanted}:\n{self.said.decode()}")
        self.said = self.said.split(wanted.encode(), 1)[1]

    def type(self, letters):
        os.write(self.terminal, letters.encode())

    def test_what_is_pressed_is_written_and_the_player_obeys_it(self):
        self.write_config()
        process = self.ask()
        self.hear("up: ")
        self.press(KEY_W)
        self.hear("KEY_W")
        self.hear("down: ")
        self.press(BTN_SELECT, BTN_DPAD_UP)
        self.hear("BTN_SELECT + BTN_DPAD_UP")
        self.press(KEY_W)
        self.hear("that is up already")
        self.send(EV_ABS, ABS_HAT0X, -1)
        self.send(EV_ABS, ABS_HAT0X, 0)
        self.hear("ABS_HAT0X-low")
        self.type("\n")
        self.hear("select")
        late = self.plug_in("event7")
        self.send(EV_SW, SW_KEYPAD_SLIDE, 1, to=late)
        self.hear("SW_KEYPAD_SLIDE")
        self.hear("back")
        self.type("b")
        self.hear("select")
        self.press(KEY_S)
        self.hear("KEY_S")
        self.type("w")
        self.assertEqual(process.wait(timeout=DEADLINE_S), 0)
        self.assertEqual(self.read("keys.txt").decode().splitlines()[1:],
                         ["up = KEY_W", "down = BTN_SELECT + BTN_DPAD_UP", "left = ABS_HAT0X-low",
                          "select = KEY_S"])
        answer = self.run_script("advance 300\ncode BTN_SELECT down\ncode BTN_DPAD_UP down\nadvance 5\n"
                                 "code BTN_DPAD_UP up\ncode BTN_SELECT up\ncode KEY_S down\nadvance 400\n"
                                 "text\nquit\n")
        self.assertEqual(answer.err, "")
        self.assertIn("文件", answer.texts(), "the second row of the main menu was chosen")

    def test_nothing_is_written_when_it_is_ended(self):
        self.write("keys.txt", b"up = KEY_X\n")
        for end in ("q", signal.SIGTERM, signal.SIGINT):
            with self.subTest(end=end):
                process = self.ask()
                self.hear("up: ")
                self.press(KEY_W)
                self.hear("KEY_W")
                self.type(end) if isinstance(end, str) else process.send_signal(end)
                self.assertEqual(process.wait(timeout=DEADLINE_S), 1)
                self.assertEqual(self.read("keys.txt"), b"up = KEY_X\n")

    def test_an_older_file_is_kept_beside_the_new_one(self):
        self.write("mine.txt", b"up = KEY_X\n")
        process = self.ask("mine.txt")
        self.hear("up: ")
        self.press(KEY_W)
        self.hear("KEY_W")
        self.type("w")
        self.assertEqual(process.wait(timeout=DEADLINE_S), 0)
        self.assertEqual(self.read("mine.txt.old"), b"up = KEY_X\n")
        self.assertIn(b"up = KEY_W\n", self.read("mine.txt"))

    def test_a_file_that_cannot_be_written_is_told(self):
        process = self.ask("nowhere/keys.txt")
        self.hear("up: ")
        self.press(KEY_W)
        self.hear("KEY_W")
        self.type("w")
        self.hear("cannot write nowhere/keys.txt")
        self.assertEqual(process.wait(timeout=DEADLINE_S), 2)

    def test_it_gets_to_the_end_by_itself(self):
        """On a machine without a keyboard, and with no terminal at all."""
        done = subprocess.run([KEYS, "-i", self.path("input"), "-n", "1"], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=DEADLINE_S)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"Nothing was pressed", done.stdout)
        self.assertFalse(self.exists("keys.txt"))

    def test_it_shows_what_arrives_and_what_that_means(self):
        self.write("keys.txt", b"vol_up = KEY_W\n")
        process = self.ask("--show")
        self.hear("Ctrl-C")
        self.press(KEY_W)
        self.hear("KEY_W down: vol_up")
        self.hear("KEY_W up")
        self.send(EV_SW, SW_KEYPAD_SLIDE, 1)
        self.hear("SW_KEYPAD_SLIDE down")
        self.press(0x2FE)
        self.hear("0x2fe down")
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=DEADLINE_S), 0)

    def test_wrong_words_are_told(self):
        for words in (["--shw"], ["-n", "x"], ["-n"], ["a", "b"]):
            with self.subTest(words=words):
                done = subprocess.run([KEYS, *words], capture_output=True, timeout=DEADLINE_S)
                self.assertEqual(done.returncode, 2)
                self.assertIn(b"Usage", done.stderr)


if __name__ == "__main__":
    unittest.main()
