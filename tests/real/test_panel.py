"""The bare Linux device as a process: a panel in a file, keys and fingers through pipes."""

import os
import shutil
import signal
import struct
import sys
import unittest

from player import DEADLINE_S, PROGRAM, PlayerTest, is_built_with

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools"))
from png_file import read_png  # noqa: E402

BOARD = os.path.join(os.path.dirname(PROGRAM), "../tests/real/libboard.so")
EV_SYN, EV_KEY, KEY_DOWN, KEY_Q = 0, 1, 108, 16


@unittest.skipIf(PROGRAM and (is_built_with("asan") or is_built_with("tsan")),
                 "a sanitizer wants to be loaded first")
class PanelTest(PlayerTest):
    def setUp(self):
        super().setUp()
        self.write_config()
        self.write("alsa.conf", b"")
        os.mkdir(self.path("input"))
        os.mkfifo(self.path("input/event0"))
        # Both ends: neither side waits for the other.
        self.keys = os.open(self.path("input/event0"), os.O_RDWR)
        self.addCleanup(os.close, self.keys)

    def start_board(self, shape, **more):
        width, height = (int(number) for number in shape.split("x")[:2])
        self.width, self.height = width, height
        return self.start(ZERV_DEVICE="linux", LD_PRELOAD=BOARD, BOARD_SHAPE=shape,
                          BOARD_PANEL=self.path("panel"), BOARD_INPUT=self.path("input"),
                          BOARD_SYS=self.path("sys"), BOARD_LOG=self.path("log"),
                          BOARD_CONSOLE=self.path("console"),
                          ALSA_CONFIG_PATH=self.path("alsa.conf"), **more)

    def press(self, code):
        for value in (1, 0):
            for kind, number, state in ((EV_KEY, code, value), (EV_SYN, 0, 0)):
                os.write(self.keys, struct.pack("llHHi", 0, 0, kind, number, state))

    def log(self):
        return self.read("log").decode().splitlines() if self.exists("log") else []

    def panel(self, page=0):
        """Its pixels, row by row."""
        raw = self.read("panel") if self.exists("panel") else b""
        row = self.width * 2
        first = page * self.height * row
        return [struct.unpack(f"<{self.width}H", raw[at:at + row].ljust(row, b"\0"))
                for at in range(first, first + self.height * row, row)]

    def picture(self, *lines):
        """What the scripted device shows after these lines, as rows of RGB565."""
        script = [*lines, "advance 300", "screenshot shown.png", "quit"]
        answer = self.run_script("".join(line + "\n" for line in script))
        self.assertIn("saved", answer.out)
        _, _, rows = read_png(self.path("shown.png"))
        return [tuple((r >> 3) << 11 | (g >> 2) << 5 | b >> 3
                      for r, g, b in zip(row[0::3], row[1::3], row[2::3])) for row in rows]

    def without_clock(self, rows):
        """The clock on the screen is the machine's: the bar that it stands on is left out."""
        return rows[24:]

    def quit(self, process):
        self.press(KEY_Q)
        _, err = process.communicate(timeout=DEADLINE_S)
        self.assertEqual(process.returncode, 0, err)

    def wait_for_picture(self, wanted, seen):
        self.wait_until("the picture", lambda: self.without_clock(seen()) == self.without_clock(wanted))

    def test_a_panel_of_the_pictures_size_shows_it_and_obeys_keys(self):
        first, second = self.picture(), self.picture("key down")
        process = self.start_board("320x240")
        self.wait_for_picture(first, self.panel)
        self.press(KEY_DOWN)
        self.wait_for_picture(second, self.panel)
        self.quit(process)

    def test_a_panel_that_stands_shows_it_lying_and_as_large_as_it_may(self):
        first, second = self.picture(), self.picture("key down")
        process = self.start_board("480x800")

        def seen():
            rows = self.panel()
            # Clockwise: the picture's top is on the right; every pixel is a square of four.
            return [tuple(rows[80 + 2 * x][479 - 2 * y] for x in range(320)) for y in range(240)]
        self.wait_for_picture(first, seen)
        self.press(KEY_DOWN)
        self.wait_for_picture(second, seen)
        rows = self.panel()
        self.assertTrue(all(set(rows[y]) == {0} for y in (*range(80), *range(720, 800))))
        self.quit(process)

    def test_the_panel_is_turned_as_wished(self):
        first = self.picture()
        process = self.start_board("320x240", ZERV_PANEL_TURN="180")
        self.wait_for_picture(first, lambda: [row[::-1] for row in self.panel()[::-1]])
        self.quit(process)

    def pans(self):
        return [int(line.split()[1]) for line in self.log() if line.startswith("pan ")]

    def test_two_pages_are_shown_in_turn_and_both_are_whole(self):
        pictures = [self.picture(), self.picture("key down"), self.picture("key down", "key down")]
        process = self.start_board("320x240x2")

        def seen():
            offsets = self.pans()
            return self.panel(offsets[-1] // 240) if offsets else []
        self.wait_for_picture(pictures[0], seen)
        for picture in pictures[1:]:
            self.press(KEY_DOWN)
            self.wait_for_picture(picture, seen)
        self.assertEqual(set(self.pans()), {0, 240})
        self.quit(process)
        self.assertEqual(self.pans()[-1], 0, "whoever comes next finds the first page shown")

    def test_a_second_page_is_not_used_where_it_is_not_wanted(self):
        first = self.picture()
        process = self.start_board("320x240x2", ZERV_PANEL_PAGES="1")
        self.wait_for_picture(first, self.panel)
        self.assertEqual(set(self.pans()), {0})
        self.quit(process)

    def test_the_console_draws_again_after_the_end(self):
        process = self.start_board("320x240")
        self.wait_until("the console is silent", lambda: "console 1" in self.log())
        self.quit(process)
        self.assertEqual([line for line in self.log() if line.startswith("console")],
                         ["console 1", "console 0"])

    def test_the_console_draws_again_after_a_crash(self):
        for number in (signal.SIGSEGV, signal.SIGABRT, signal.SIGBUS, signal.SIGQUIT):
            with self.subTest(signal=number):
                self.write("log", b"")
                process = self.start_board("320x240")
                self.wait_until("the console is silent", lambda: "console 1" in self.log())
                process.send_signal(number)
                self.assertEqual(process.wait(timeout=DEADLINE_S), -number)
                self.assertEqual(self.log()[-2:], ["blank 0", "console 0"])

    def test_the_light_goes_out_with_the_picture_and_comes_back(self):
        """By its switch, or by its brightness where it has none; also after a crash."""
        self.write_config(display_off_timeout=1)
        for name, dark, lit in (("bl_power", "4", "0"), ("brightness", "0", "7")):
            for end in ("quit", signal.SIGSEGV):
                with self.subTest(name=name, end=end):
                    self.light(name, lit)
                    self.write("log", b"")
                    process = self.start_board("320x240")
                    self.wait_until("dark", lambda: self.light_of(name) == dark)
                    self.assertEqual(self.log()[-1], "blank 4")
                    self.press(KEY_DOWN)
                    self.wait_until("lit", lambda: self.light_of(name) == lit)
                    self.wait_until("dark again", lambda: self.light_of(name) == dark)
                    if end != "quit":
                        process.send_signal(end)
                        process.wait(timeout=DEADLINE_S)
                    else:
                        self.press(KEY_DOWN)
                        self.wait_until("lit again", lambda: self.light_of(name) == lit)
                        self.quit(process)
                    self.assertEqual(self.light_of(name), lit)

    def light(self, name, value):
        shutil.rmtree(self.path("sys"), ignore_errors=True)
        os.makedirs(self.path("sys/backlight/panel"))
        self.write("sys/backlight/panel/" + name, value.encode())

    def light_of(self, name):
        """What was written last lies over what was there, as in a file of the kernel."""
        return self.read("sys/backlight/panel/" + name).decode()


if __name__ == "__main__":
    unittest.main()
