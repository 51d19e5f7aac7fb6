"""zerv-skin watch: the window under a hand and a changing skin, and the pictures without a display."""

import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

from player import DEADLINE_S
from x_display import Display

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scenarios"))
from run_scenarios import read_png  # noqa: E402

PROGRAM = os.environ.get("ZERV_SKIN", "")
REFUSED = "the player refuses this skin"
RED, MAGENTA = bytes((0xF8, 0, 0)), bytes((0xF8, 0, 0xF8))
DISPLAYS = ("DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER")


FIVE_BITS, SIX_BITS = (bytes(value & mask for value in range(256)) for mask in (0xF8, 0xFC))


def to_565(row):
    """The bits that the surface had: the way back to 8 bits is the window system's."""
    cut = bytearray(row)
    for part, bits in enumerate((FIVE_BITS, SIX_BITS, FIVE_BITS)):
        cut[part::3] = row[part::3].translate(bits)
    return bytes(cut)


def pixel(rows, x, y):
    return rows[y][3 * x:3 * x + 3]


def pixels(rows):
    return [pixel(rows, x, y) for y in range(240) for x in range(320)]


class Pictures(dict):
    """The pictures of a folder by their scenes, read when they are asked for."""

    def __init__(self, folder):
        super().__init__()
        self.folder = folder

    def __missing__(self, scene):
        rows = read_png(os.path.join(self.folder, scene + ".png"))[2]
        self[scene] = [to_565(row) for row in rows]
        return self[scene]


class SkinWatchTest(unittest.TestCase):
    """Each test has a folder with the skin "Mine": one list variant, two of the play screen."""

    def setUp(self):
        self.assertTrue(PROGRAM, "ZERV_SKIN names no program")
        self.folder = tempfile.mkdtemp(prefix="zerv-watch-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.run_tool("new", "Mine")
        self.play = self.read("Mine/play.xml")
        self.write("Mine/play-1.xml", self.play.replace("#c8d4de", "#00ff00"))

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, name):
        with open(self.path(name), encoding="utf-8") as file:
            return file.read()

    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)

    def environment(self, **more):
        # In sanitized builds: what the message bus keeps to its end is not ours to free.
        self.write("leaks.txt", "leak:libdbus-1\n")
        clean = {name: value for name, value in os.environ.items() if name not in DISPLAYS}
        leaks = f"suppressions={self.path('leaks.txt')}:print_suppressions=0"
        return {**clean, "TZ": "UTC", "LSAN_OPTIONS": leaks, **more}

    def run_tool(self, *arguments):
        subprocess.run([PROGRAM, *arguments], cwd=self.folder, env=self.environment(), check=True,
                       stdout=subprocess.DEVNULL, timeout=DEADLINE_S)

    def start(self, *arguments, **environment):
        with open(self.path("out.txt"), "wb") as out, open(self.path("err.txt"), "wb") as err:
            process = subprocess.Popen([PROGRAM, "watch", *arguments], cwd=self.folder, stdout=out,
                                       stderr=err, env=self.environment(**environment))
        self.addCleanup(self.end, process)
        return process

    def end(self, process):
        if process.poll() is None:
            process.kill()
            process.wait()

    def wait_until(self, what, holds):
        deadline = time.monotonic() + DEADLINE_S
        while not (found := holds()):
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.02)
        return found

    def preview(self, folder):
        self.run_tool("preview", "Mine", "-o", folder)
        return Pictures(self.path(folder))

    def files(self, folder):
        content = {}
        for name in os.listdir(self.path(folder)):
            with open(self.path(f"{folder}/{name}"), "rb") as file:
                content[name] = file.read()
        return content


class WindowTest(SkinWatchTest):
    def setUp(self):
        super().setUp()
        self.display = Display()
        self.addCleanup(self.display.close)
        self.expected = self.preview("expected")
        self.process = self.start("Mine", DISPLAY=self.display.name, SDL_VIDEODRIVER="x11",
                                  HOME=self.folder)
        self.window = self.wait_for_title("list-0-menu")

    def wait_for_title(self, title):
        return self.wait_until(title, lambda: self.display.find_window(f"{title} - zerv-skin"))

    def shown(self):
        """The window's picture at its own size; a pixel that is no whole square spoils its row."""
        left, top, width, height = self.display.place(self.window)
        scale = min(width // 320, height // 240)
        left += (width - 320 * scale) // 2
        top += (height - 240 * scale) // 2
        screen = self.display.rows()
        rows = []
        for y in range(240):
            lines = [screen[top + y * scale + i][left * 3:(left + 320 * scale) * 3]
                     for i in range(scale)]
            row, wide = bytearray(960), bytearray(960 * scale)
            for part in range(3):
                row[part::3] = lines[0][part::3 * scale]
                for i in range(scale):
                    wide[part + 3 * i::3 * scale] = row[part::3]
            rows.append(to_565(row) if all(line == wide for line in lines) else b"")
        return rows

    def wait_for_scene(self, name):
        self.wait_for_title(name)
        self.wait_until(f"the picture of {name}", lambda: self.shown() == self.expected[name])

    def press(self, key):
        self.display.key(self.window, key)

    def leave(self, end):
        end()
        self.assertEqual(self.process.wait(timeout=DEADLINE_S), 0)
        self.assertEqual(self.read("err.txt"), "")
        self.assertFalse(os.path.exists(self.path("Mine-preview")), "a window needs no files")

    def test_keys_step_through_variants_states_data_and_parts(self):
        self.assertEqual(self.display.place(self.window)[2:], (640, 480))
        self.wait_for_scene("list-0-menu")
        for key, scene in (("Tab", "play-0-playing"), ("Right", "play-1-playing"),
                           ("Right", "play-0-playing"), ("Left", "play-1-playing"),
                           ("Down", "play-1-paused"), ("Up", "play-1-playing"),
                           ("Up", "play-1-volume"), ("Left", "play-0-volume"),
                           ("Down", "play-0-playing"), ("Next", "play-0-long"),
                           ("Next", "play-0-korean"), ("Prior", "play-0-long"),
                           ("Tab", "list-0-menu"), ("Next", "list-0-tracks"),
                           ("Prior", "list-0-menu"), ("Down", "list-0-last")):
            with self.subTest(key=key, scene=scene):
                self.press(key)
                self.wait_for_scene(scene)
        self.press("Next")  # a pair of which preview makes no picture
        self.wait_for_title("list-0-last-tracks")
        others = [self.expected[name] for name in ("list-0-last", "list-0-tracks", "list-0-menu")]
        self.wait_until("its picture", lambda: self.shown() not in others)
        self.leave(lambda: self.press("q"))

    def test_keys_outline_and_name_elements(self):
        self.press("Tab")
        self.wait_for_scene("play-0-playing")
        plain = self.expected["play-0-playing"]
        self.press("o")
        self.wait_until("outlines", lambda: self.shown() != plain)
        for x, y in ((10, 128), (259, 128), (10, 159), (259, 159), (100, 128)):
            self.wait_until(f"the position bar at {x}, {y}",
                            lambda x=x, y=y: pixel(self.shown(), x, y) == RED)  # half a picture may be seen
        self.press("n")
        self.wait_until("names", lambda: pixels(self.shown()).count(MAGENTA) > 100)
        self.press("o")
        self.wait_until("names only", lambda: RED not in pixels(self.shown()))
        self.press("n")
        self.wait_for_scene("play-0-playing")
        self.leave(lambda: self.press("Escape"))

    def test_a_change_is_shown_and_a_fault_is_outlived(self):
        self.press("Tab")
        self.press("Down")
        self.wait_for_scene("play-0-paused")
        changed = self.play.replace("#c8d4de", "#ff0000")
        self.write("Mine/play.xml", changed)
        began = time.monotonic()
        before = self.expected["play-0-paused"]
        self.wait_until("the change", lambda: self.shown() != before)
        print(f"a change was shown after {(time.monotonic() - began) * 1000:.0f} ms")
        self.expected = self.preview("changed")
        self.assertNotEqual(self.expected["play-0-paused"], before)
        self.wait_for_scene("play-0-paused")

        self.write("Mine/play.xml", changed[:300])
        self.write("Mine/play-1.xml", "")
        self.wait_for_title(REFUSED)
        self.assertIn("play.xml:", self.read("out.txt"))
        self.wait_until("black", lambda: set(pixels(self.shown())) == {bytes(3)})
        self.press("Right")  # there is nothing to step through
        self.press("Tab")
        self.wait_for_scene("list-0-menu")

        self.press("Tab")  # nothing to go to either
        self.write("Mine/play.xml", changed)
        self.wait_for_scene("play-0-paused")  # back where the fault was made
        self.leave(self.process.terminate)

    def test_a_part_that_breaks_before_any_key_comes_back_too(self):
        good = self.read("Mine/list.xml")
        self.write("Mine/list.xml", "<skin")
        self.wait_for_title(REFUSED)
        self.press("Tab")
        self.wait_for_scene("play-0-playing")
        self.write("Mine/list.xml", good)
        self.wait_for_scene("list-0-menu")
        self.leave(self.process.terminate)

    def test_the_scene_comes_back_with_the_repair(self):
        self.press("Tab")
        self.press("Right")
        self.press("Down")
        self.wait_for_scene("play-1-paused")
        good = self.read("Mine/play-1.xml")
        self.write("Mine/play-1.xml", good.replace("250", "wide"))
        self.wait_for_scene("play-0-playing")
        self.write("Mine/play-1.xml", good)
        self.wait_for_scene("play-1-paused")
        os.rename(self.path("Mine"), self.path("Away"))
        self.wait_for_title(REFUSED)
        os.rename(self.path("Away"), self.path("Mine"))
        self.wait_for_scene("play-1-paused")
        self.leave(self.process.terminate)

    def test_a_refused_skin_can_be_left(self):
        for name in ("list", "play", "play-1"):
            self.write(f"Mine/{name}.xml", "<skin")
        self.wait_for_title(REFUSED)
        self.leave(lambda: self.press("q"))

    def test_closing_the_window_ends_the_program(self):
        self.leave(lambda: self.display.close_window(self.window))


class NoDisplayTest(SkinWatchTest):
    def written(self):
        return self.read("out.txt").count("pictures in out\n")

    def test_the_pictures_are_written_anew(self):
        process = self.start("Mine", "-o", "out")
        self.wait_until("pictures", lambda: self.written() == 1)
        self.preview("first")
        self.assertEqual(self.files("out"), self.files("first"))
        self.write("Mine/play.xml", self.play.replace("#c8d4de", "#ff0000"))
        began = time.monotonic()
        self.wait_until("new pictures", lambda: self.written() == 2)
        print(f"a change was written after {(time.monotonic() - began) * 1000:.0f} ms")
        self.preview("second")
        self.assertEqual(self.files("out"), self.files("second"))
        self.assertNotEqual(self.files("second"), self.files("first"))

        self.write("Mine/play.xml", "<skin")
        self.wait_until("the fault", lambda: "play.xml:1:1: error:" in self.read("out.txt"))
        self.write("Mine/play.xml", self.play)
        self.wait_until("the repair", lambda: self.files("out") == self.files("first"))
        process.terminate()
        self.assertEqual(process.wait(timeout=DEADLINE_S), 0)
        self.assertEqual(self.read("err.txt"), "")


if __name__ == "__main__":
    unittest.main()
