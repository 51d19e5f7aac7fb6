"""The desktop window on a real X server shows what the scripted device shows, and takes a hand."""

import os
import sys
import time
import unittest

from make_flac import make_flac
from player import DEADLINE_S, PlayerTest, is_built_with
from x_display import RIGHT_BUTTON, WHEEL_DOWN, Display

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scenarios"))
from run_scenarios import read_png  # noqa: E402

TITLE = "Zerv Player"
BELOW_TITLE = 30  # the bar above shows the wall clock and the battery of this machine


def to_565(row):
    """The bits that the frame had: the way back to 8 bits is the window system's."""
    cut = bytearray(row)
    for part, mask in enumerate((0xF8, 0xFC, 0xF8)):
        cut[part::3] = bytes(value & mask for value in row[part::3])
    return bytes(cut)


class WindowTest(PlayerTest):
    def setUp(self):
        super().setUp()
        self.display = Display()
        self.addCleanup(self.display.close)

    def open_window(self, *arguments, title=TITLE, **environment):
        environment.setdefault("ZERV_DEVICE", "sdl")
        # In sanitized builds: what the message bus keeps to its end is not ours to free.
        self.write("leaks.txt", b"leak:libdbus-1\n")
        environment["LSAN_OPTIONS"] = f"suppressions={self.path('leaks.txt')}:print_suppressions=0"
        process = self.start(*arguments, DISPLAY=self.display.name, SDL_VIDEODRIVER="x11",
                             HOME=self.folder, SDL_AUDIODRIVER="dummy", **environment)
        window = self.wait_until("no window", lambda: self.display.find_window(title))
        return process, window

    def scripted(self, script):
        """The rows of the picture that the scripted device shows after `script`."""
        run = self.run_script(script + "screenshot shot.png\n")
        self.assertEqual(run.status, 0, run.err + run.out)
        rows = read_png(self.path("shot.png"))[2]
        os.remove(self.path("shot.png"))
        os.remove(self.path("config.txt"))
        return [to_565(row) for row in rows[BELOW_TITLE:]]

    def shown(self, window):
        """The window's picture at its own size, each pixel checked to be a whole square."""
        left, top, width, height = self.display.place(window)
        scale = min(width // 320, height // 240)
        left += (width - 320 * scale) // 2
        top += (height - 240 * scale) // 2
        screen = self.display.rows()
        rows = []
        for y in range(BELOW_TITLE, 240):
            lines = {screen[top + y * scale + i][left * 3:(left + 320 * scale) * 3]
                     for i in range(scale)}
            line = lines.pop()
            row = bytearray(960)
            for part in range(3):
                row[part::3] = line[part::3 * scale]
            wide = b"".join(bytes(row[x * 3:x * 3 + 3]) * scale for x in range(320))
            rows.append(to_565(row) if not lines and wide == line else None)
        return rows

    def leave(self, process, window):
        self.display.close_window(window)
        out, err = process.communicate(timeout=DEADLINE_S)
        self.assertEqual(err.decode(), "")
        self.assertEqual(process.returncode, 0)
        self.assertTrue(self.exists("config.txt"), "the settings are saved")

    def test_shows_every_pixel_and_takes_keys_and_clicks(self):
        first = self.scripted("advance 100\n")
        second = self.scripted("key down\nadvance 100\n")
        third = self.scripted("key down\nadvance 100\nkey down\nadvance 100\n")
        self.assertNotEqual(first, second)
        process, window = self.open_window()
        self.assertEqual(self.display.place(window)[2:], (960, 720), "the largest scale that fits")
        self.wait_until("first screen", lambda: self.shown(window) == first)
        self.display.key(window, "Down")
        self.wait_until("key", lambda: self.shown(window) == second)
        self.display.key(window, "Down")
        self.wait_until("another key", lambda: self.shown(window) == third)
        self.leave(process, window)

    def test_a_click_is_a_tap(self):
        tapped = self.scripted("touch press 60 155\ntouch release 60 155\nadvance 500\n")
        process, window = self.open_window()
        self.display.click(window, 60 * 3, 155 * 3)
        self.wait_until("tap", lambda: self.shown(window) == tapped)
        self.leave(process, window)

    def test_the_wheel_moves_and_the_right_button_goes_back(self):
        self.write_config()
        top = self.scripted("advance 100\n")
        self.write_config()
        second = self.scripted("key down\nkey down\nadvance 100\n")
        self.write_config()
        process, window = self.open_window()
        self.wait_until("first screen", lambda: self.shown(window) == top)
        for _ in range(2):
            self.display.click(window, 200, 200, WHEEL_DOWN)
        self.wait_until("wheel", lambda: self.shown(window) == second)
        self.display.click(window, 200, 200, RIGHT_BUTTON)
        self.wait_until("back", lambda: self.shown(window) == top)
        self.leave(process, window)

    def test_media_keys_and_the_title(self):
        for name in ("a.flac", "b.flac"):
            self.write(name, make_flac(10))
        self.write_config(playback_order="normal", vol=0)
        process, window = self.open_window("a.flac", "b.flac", title="b.flac - Zerv Player")
        for key, title in (("XF86AudioPrev", "a.flac"), ("XF86AudioNext", "b.flac")):
            self.display.key(window, key)
            self.wait_until(key, lambda: self.display.find_window(title + " - Zerv Player"))
        self.display.key(window, "XF86AudioStop")
        self.wait_until("stop", lambda: self.display.find_window(TITLE))
        self.display.key(window, "XF86AudioPlay")
        self.wait_until("play", lambda: self.display.find_window("b.flac - Zerv Player"))
        self.leave(process, window)

    def test_dropped_files_and_folders_are_queued_and_the_last_one_plays(self):
        self.write_config(playback_order="normal", vol=0)
        os.mkdir(self.path("an album"))
        for name in ("an album/1.flac", "an album/2.flac", "50% more & 한글.flac"):
            self.write(name, make_flac(10))
        self.write("cover.jpg", b"no music")
        process, window = self.open_window()
        self.display.drop(window, [self.path("50% more & 한글.flac"), self.path("an album"),
                                   self.path("cover.jpg")])
        self.wait_until("title", lambda: self.display.find_window("1.flac - Zerv Player"))
        self.leave(process, window)
        lines = self.read("current.m3u").decode().splitlines()
        self.assertEqual(lines, [self.path(name) for name in (
            "50% more & 한글.flac", "an album/1.flac", "an album/2.flac")])

    def test_the_window_has_an_icon(self):
        process, window = self.open_window()
        # The window is there a moment before its icon.
        self.wait_until("icon", lambda: self.display.numbers(window, "_NET_WM_ICON", 2) == [64, 64])
        self.leave(process, window)

    def test_the_window_is_taken_on_a_desktop_without_being_asked_for(self):
        process, window = self.open_window(ZERV_DEVICE="")
        self.leave(process, window)

    def test_the_quit_key_ends_the_program(self):
        process, window = self.open_window()
        self.display.key(window, "q")
        self.assertEqual(process.wait(timeout=DEADLINE_S), 0)

    def wakes_of(self, process):
        """How often each thread has gone to sleep so far."""
        wakes = {}
        for thread in os.listdir(f"/proc/{process.pid}/task"):
            with open(f"/proc/{process.pid}/task/{thread}/status") as file:
                lines = dict(line.split(":", 1) for line in file)
            wakes[thread] = int(lines["voluntary_ctxt_switches"])
        return wakes

    def wait_until_it_wakes_seldom(self, process, most):
        """At most so many wake-ups a second of all threads together, over the last looks."""
        marks = []

        def is_quiet():
            marks.append((time.monotonic(), self.wakes_of(process)))
            if len(marks) < 100:
                return False
            (since, before), (now, woken) = marks[-100], marks[-1]
            more = sum(count - before.get(thread, 0) for thread, count in woken.items())
            return more <= most * (now - since) + 1

        self.wait_until(f"at most {most} wake-ups a second", is_quiet)

    @unittest.skipIf(is_built_with("tsan"), "that sanitizer's own thread wakes ten times a second")
    def test_an_idle_window_hardly_wakes(self):
        process, window = self.open_window()
        self.display.key(window, "Down")
        # The sound card is closed three seconds after the start.
        self.wait_until_it_wakes_seldom(process, 5)
        self.leave(process, window)

    def test_a_playing_window_wakes_no_more_than_sound_and_seconds_want(self):
        self.write("song.flac", make_flac(10))
        self.write_config(playback_order="repeat", vol=0)
        process, window = self.open_window("song.flac", title="song.flac - Zerv Player")
        self.wait_until_it_wakes_seldom(process, 40)
        self.assertTrue(self.display.find_window("song.flac - Zerv Player"), "it still plays")
        self.leave(process, window)


if __name__ == "__main__":
    unittest.main()
