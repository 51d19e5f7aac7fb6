#!/usr/bin/env python3
"""Tests of the scenario runner, with a player of a few lines in place of the real one."""
import json
import struct
import sys
import tempfile
import unittest
import zlib
from pathlib import Path

sys.dont_write_bytecode = True
HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "real")]
import run_scenarios  # noqa: E402
import png_file  # noqa: E402
from python_tool import run_python  # noqa: E402

FAKE_PLAYER = f"""#!{sys.executable}
import os, sys, time
sys.dont_write_bytecode = True
sys.path.insert(0, {str(HERE)!r})
from run_scenarios import write_png
for line in open(os.environ["ZERV_VIRTUAL_SCRIPT"]):
    word, _, rest = line.rstrip("\\n").partition(" ")
    if word == "echo":
        print(rest)
    elif word == "arguments":
        print(" ".join(sys.argv[1:]), os.environ.get("EXTRA", ""), os.getcwd())
    elif word == "screenshot":
        name, colour = rest.split()
        write_png(name, 4, [bytes([int(colour), 0, 0]) * 4] * 3)
    elif word == "stderr":
        print(rest, file=sys.stderr)
    elif word == "write":
        name, _, text = rest.partition(" ")
        open(name, "w").write(text)
    elif word == "show":
        print(open(rest).read() if os.path.exists(rest) else "absent")
    elif word == "sound":
        samples = [0] * 88200 + [1000] * 88200
        open(os.environ["ZERV_VIRTUAL_SOUND"], "wb").write(
            bytes(44) + b"".join(value.to_bytes(2, "little") for value in samples))
    elif word == "lock":
        os.mkdir("locked")
        os.chmod("locked", 0)
    elif word == "hang":
        time.sleep(60)
    elif word == "abort":
        os.abort()
    elif word == "exit":
        sys.exit(int(rest))
"""


class RunnerTest(unittest.TestCase):
    def setUp(self):
        self.temporary = tempfile.TemporaryDirectory()
        top = Path(self.temporary.name)
        self.build, self.scenarios = top / "build", top / "scenarios"
        (self.build / "player").mkdir(parents=True)
        (self.build / "demo").mkdir()
        (self.build / "demo" / "song.mp3").write_text("music")
        player = self.build / "player" / "zerv-player"
        player.write_text(FAKE_PLAYER)
        player.chmod(0o755)

    def tearDown(self):
        self.temporary.cleanup()

    def scenario(self, name, script, expected=None, setup=None):
        folder = self.scenarios / name
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "script").write_text(script)
        if expected is not None:
            (folder / "expected").write_text(expected)
        if setup is not None:
            (folder / "setup.json").write_text(json.dumps(setup))
        return folder

    def run_all(self, *arguments, status):
        done = run_python(HERE / "run_scenarios.py", "--build", self.build, "--scenarios", self.scenarios,
                          *arguments)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout

    def test_passes_when_the_answers_match(self):
        self.scenario("runner_a", "echo one\necho two\n", "one\ntwo\n")
        self.assertIn("passed  runner_a", self.run_all(status=0))

    def test_shows_the_first_line_that_differs_and_how_to_repeat(self):
        self.scenario("runner_a", "echo one\necho two\necho three\n", "one\n2\n3\n")
        said = self.run_all(status=1)
        self.assertIn("2 lines differ, first line 2", said)
        self.assertIn("wanted: 2\n    actual: two", said)
        self.assertIn("again: ", said)
        self.assertIn("runner_a", said.splitlines()[-1])
        kept = self.build / "scenarios" / "runner_a" / "answers.txt"
        self.assertEqual(kept.read_text(), "one\ntwo\nthree\n")

    def test_missing_and_extra_answers_fail(self):
        self.scenario("runner_a", "echo one\n", "one\ntwo\n")
        self.assertIn("actual: (nothing)", self.run_all(status=1))
        self.scenario("runner_a", "echo one\n", None)
        (self.scenarios / "runner_a" / "expected").unlink()
        self.assertIn("wanted: (nothing)", self.run_all(status=1))

    def test_compares_pictures_pixel_by_pixel(self):
        folder = self.scenario("runner_a", "screenshot runner_a-1.png 8\n")
        rows = [bytes([8, 0, 0]) * 4, bytes([8, 0, 0] * 2 + [9, 0, 0] + [8, 0, 0]),
                bytes([8, 0, 0]) * 4]
        run_scenarios.write_png(folder / "runner_a-1.png", 4, rows)
        said = self.run_all(status=1)
        self.assertIn("1 of 12 pixels differ, first at 2, 1: #080000 instead of #090000", said)
        difference = self.build / "scenarios" / "runner_a" / "difference-runner_a-1.png"
        _, _, marked = run_scenarios.read_png(difference)
        self.assertEqual(marked[1][6:9], b"\xff\0\0")
        self.assertTrue((self.build / "scenarios" / "runner_a" / "runner_a-1.png").exists())

    def test_an_emulated_player_may_be_a_step_off_in_a_few_pixels(self):
        folder = self.scenario("runner_a", "screenshot runner_a-1.png 8\n")
        for off, count, status in [(9, 8, 0), (9, 9, 1), (10, 1, 1)]:
            pixels = [bytes([8 + off, 0, 0])] * count + [bytes([8, 0, 0])] * (12 - count)
            rows = [b"".join(pixels[y * 4:y * 4 + 4]) for y in range(3)]
            run_scenarios.write_png(folder / "runner_a-1.png", 4, rows)
            self.run_all("--emulator", "/usr/bin/env -u NOTHING", status=status)
            self.run_all(status=1)

    def test_equal_pixels_in_other_bytes_pass(self):
        folder = self.scenario("runner_a", "screenshot runner_a-1.png 8\n")
        run_scenarios.write_png(folder / "runner_a-1.png", 4, [bytes([8, 0, 0]) * 4] * 3)
        picture = (folder / "runner_a-1.png").read_bytes()
        (folder / "runner_a-1.png").write_bytes(picture + b"\0\0\0\0tEXt\0\0\0\0")
        self.run_all(status=0)

    def test_missing_pictures_fail_on_both_sides(self):
        folder = self.scenario("runner_a", "screenshot runner_a-1.png 8\n")
        run_scenarios.write_png(folder / "runner_a-2.png", 4, [bytes(12)] * 3)
        said = self.run_all(status=1)
        self.assertIn("runner_a-1.png: there is no such picture to compare with", said)
        self.assertIn("runner_a-2.png: the script makes no such picture", said)

    def test_pictures_of_another_size_or_broken_fail(self):
        folder = self.scenario("runner_a", "screenshot runner_a-1.png 8\n")
        run_scenarios.write_png(folder / "runner_a-1.png", 2, [bytes(6)])
        self.assertIn("is 4 x 3, not 2 x 1", self.run_all(status=1))
        (folder / "runner_a-1.png").write_bytes(b"nothing")
        self.assertIn("not a PNG file", self.run_all(status=1))

    def test_status_and_standard_error_are_compared(self):
        self.scenario("runner_a", "stderr oops\nexit 255\n")
        said = self.run_all(status=1)
        self.assertIn("exit status 255, not 0", said)
        self.assertIn("actual: oops", said)
        self.scenario("runner_a", "stderr oops\nexit 255\n", None,
                      {"status": 255, "stderr": ["oops"]})
        self.run_all(status=0)
        self.scenario("runner_a", "abort\n", None, {})
        self.assertIn("exit status signal 6", self.run_all(status=1))

    def test_a_script_that_hangs_fails(self):
        self.scenario("runner_a", "echo before\nhang\n", "before\n", {"timeout": 1})
        self.assertIn("not done after 1 s", self.run_all(status=1))

    def test_prepares_the_program_folder(self):
        folder = self.scenario(
            "runner_a", "arguments\nshow music/a.mp3\nshow list.m3u\nshow config.txt\nlock\n",
            "-c @/x.txt loud @ @\nmusic\n@/music/a.mp3\nabsent\n",
            {"arguments": ["-c", "@/x.txt"], "environment": {"EXTRA": "loud @"},
             "media": {"music/a.mp3": "song.mp3"}, "folders": ["empty"],
             "files": {"empty": True}})
        (folder / "files").mkdir()
        (folder / "files" / "list.m3u").write_text("@/music/a.mp3")
        (self.build / "player" / "config.txt").write_text("left by somebody")
        self.run_all(status=0)
        self.run_all(status=0)

    def test_files_left_behind_are_compared(self):
        setup = {"files": {"a.txt": "one @\n", "b.txt": {"contains": "wo"}, "c.txt": None,
                           "d.txt": True}}
        self.scenario("runner_a", "write a.txt one\nwrite b.txt no\nwrite c.txt x\n", None, setup)
        said = self.run_all(status=1)
        for part in ("a.txt: 1 lines differ", "b.txt does not contain: wo", "c.txt exists",
                     "d.txt does not exist"):
            self.assertIn(part, said)

    def test_sound_is_silent_or_heard(self):
        self.scenario("runner_a", "sound\n", None,
                      {"sound": [[0, 1000, "silent"], [1000, 2000, "heard"]]})
        self.run_all(status=0)
        self.scenario("runner_a", "sound\n", None,
                      {"sound": [[990, 1010, "silent"], [0, 10, "heard"], [3000, 3001, "heard"]]})
        said = self.run_all(status=1)
        self.assertIn("sound from 990 to 1010 ms: loudest sample 1000, wanted silent", said)
        self.assertIn("sound from 0 to 10 ms", said)
        self.assertIn("no sound from 3000", said)

    def test_starts_again_in_the_same_folder(self):
        folder = self.scenario("runner_a", "write a.txt kept\n", None,
                               {"runs": [{"status": 0}, {"status": 7}]})
        (folder / "script2").write_text("show a.txt\nexit 7\n")
        (folder / "expected2").write_text("kept\n")
        self.run_all(status=0)

    def test_bless_remakes_what_differs_and_lists_it(self):
        folder = self.scenario("runner_a", "echo new\nscreenshot runner_a-1.png 8\n", "old\n")
        self.scenario("runner_b", "echo new\n", "old\n")
        run_scenarios.write_png(folder / "runner_a-9.png", 4, [bytes(12)] * 3)
        said = self.run_all("--bless", "runner_a", status=0)
        self.assertEqual((folder / "expected").read_text(), "new\n")
        self.assertFalse((folder / "runner_a-9.png").exists())
        for part in ("/expected", "/runner_a-1.png", "removed", "/runner_a-9.png"):
            self.assertIn(part, said)
        self.assertEqual((self.scenarios / "runner_b" / "expected").read_text(), "old\n")
        self.assertNotIn("blessed", self.run_all("--bless", "runner_a", status=0))
        self.run_all("runner_a", status=0)

    def test_a_pattern_without_a_scenario_fails(self):
        self.scenario("runner_a", "", None)
        self.assertIn("no scenario matches", self.run_all("nothing", status=1))

    def test_missing_media_fail(self):
        self.scenario("runner_a", "", None, {"media": {"a.mp3": "none.mp3"}})
        self.assertIn("there is no none.mp3", self.run_all(status=1))


class PngTest(unittest.TestCase):
    def test_every_filter_is_undone(self):
        rows = [bytes((x * 7 + y * 13 + x * y) % 256 for x in range(15)) for y in range(5)]
        packed = b""
        for kind in range(5):
            before, row = (rows[kind - 1] if kind else bytes(15)), rows[kind]
            packed += bytes([kind])
            for i in range(15):
                left, corner = (row[i - 3], before[i - 3]) if i >= 3 else (0, 0)
                guess = [0, left, before[i], (left + before[i]) // 2,
                         png_file.paeth(left, before[i], corner)][kind]
                packed += bytes([(row[i] - guess) % 256])

        def chunk(kind, body):
            return struct.pack(">I", len(body)) + kind + body + bytes(4)

        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "a.png"
            path.write_bytes(b"\x89PNG\r\n\x1a\n"
                             + chunk(b"IHDR", struct.pack(">IIBBBBB", 5, 5, 8, 2, 0, 0, 0))
                             + chunk(b"IDAT", zlib.compress(packed)) + chunk(b"IEND", b""))
            self.assertEqual(run_scenarios.read_png(path), (5, 5, rows))


if __name__ == "__main__":
    unittest.main()
