"""The start of a built player: the music folder, the demo music, a machine without a display."""

import contextlib
import os
import pty
import resource
import sqlite3
import stat
import subprocess
import sys
import unittest

from make_flac import make_flac
from player import DEADLINE_S, PROGRAM, Answer, PlayerTest

TOOLS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools")
SET_LIBRARY = os.path.join(TOOLS, "set_library.py")
START = os.path.join(TOOLS, "start.sh")
HAS_PAGE = os.path.exists(os.path.join(os.path.dirname(os.path.abspath(PROGRAM)), "zerv-device-web.so"))

YES = "key select\nadvance 100\nsettle\nadvance 100\n"
TRACKS = "key down\n" * 5 + "key select\nadvance 100\ntext\n"
"""From the main menu's first row to the list of all tracks."""

HARD_NAMES = (b"R&B", b"<3 songs", b"a]]>b", b"&amp;", b"\xc7\xd1\xb1\xdb", b"two\nlines",
              b"old\rmac", b"deep/" + b"/".join([b"d" * 200] * 3))


def scanned(program_folder):
    """The tracks of the library, by their names."""
    with contextlib.closing(sqlite3.connect(os.path.join(program_folder, "library.db"))) as library:
        return [os.path.basename(path) for path, in library.execute(
            "SELECT CAST(path AS TEXT) FROM zervp_urls")]


def music_folder(path, name="tune"):
    os.makedirs(path, exist_ok=True)
    with open(os.path.join(os.fsencode(path), name.encode() + b".flac"), "wb") as file:
        file.write(make_flac(1))
    return path


class FolderTest(PlayerTest):
    def set_library(self, *words, **options):
        return subprocess.run([sys.executable, "-B", SET_LIBRARY, *words], capture_output=True,
                              timeout=DEADLINE_S, **options)

    def set_to(self, folder, *options):
        done = self.set_library(*options, self.path("config.txt"), folder)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout.decode().strip()

    def test_one_setting_changes_and_the_others_stay(self):
        before = self.write_config(vol=77)
        os.chmod(self.path("config.txt"), 0o600)
        folder = music_folder(self.path("my music"))
        self.assertEqual(self.set_to(folder), "changed")
        self.assertEqual(self.read("config.txt"),
                         before.replace(b">/usr<", b">" + folder.encode() + b"<"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("config.txt")).st_mode), 0o600)
        self.assertEqual(self.set_to(folder), "unscanned")
        self.run_script("advance 2\n" + YES, ZERV_FIRST_START="library")
        self.assertEqual(self.set_to(folder), "same")

    def test_settings_without_a_folder_get_one(self):
        self.write("config.txt", b'<cfg version="0.1"><vol>5</vol></cfg>')
        folder = music_folder(self.path("music"))
        self.assertEqual(self.set_to(folder), "changed")
        run = self.run_script("advance 2\nstate\n" + TRACKS)
        self.assertEqual(run.state()["volume"], "5")
        self.assertIn(b"<library_path>" + folder.encode(), self.read("config.txt"))

    def test_folder_of_any_name_is_scanned(self):
        for name in HARD_NAMES:
            with self.subTest(name=name):
                self.write_config()
                folder = os.path.join(os.fsencode(self.folder), name)
                music_folder(folder)
                self.assertEqual(self.set_to(folder), "changed")
                # Changing the volume makes the player write its settings as it read them.
                for first in ("library", ""):
                    answer = YES if first else "advance 100\n"
                    run = self.run_script("advance 2\nkey vol_up\nadvance 2\n" + answer + TRACKS,
                                          ZERV_FIRST_START=first)
                    self.assertIn("All Tracks (1 曲目)", run.texts())
                    self.assertEqual(run.err, "")
                self.assertIn(b"<vol>40</vol>", self.read("config.txt"))
                os.remove(self.path("library.db"))

    def test_folder_that_broke_the_settings_before_is_repaired(self):
        self.write("config.txt", b'<cfg version="0.1"><vol>9</vol>'
                                 b'<library_path>/R&B</library_path></cfg>')
        folder = music_folder(self.path("music"))
        self.assertEqual(self.set_to(folder), "new")
        run = self.run_script("advance 2\ntext\nstate\n")
        self.assertIn("主菜单", run.texts())
        self.assertEqual(run.state()["volume"], "9")

    def test_settings_that_cannot_be_read_are_put_aside(self):
        self.write("config.txt", b'<cfg version="0.1"><vol>9</vol')
        folder = music_folder(self.path("music"))
        self.assertEqual(self.set_to(folder), "new")
        self.assertEqual(self.read("config.txt.old"), b'<cfg version="0.1"><vol>9</vol')
        self.assertIn("主菜单", self.run_script("advance 2\ntext\n").texts())

    def test_full_disk_leaves_the_old_settings(self):
        before = self.write_config()
        folder = music_folder(self.path("music"))
        done = self.set_library(
            self.path("config.txt"), folder,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10, 10)))
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"stay as they are", done.stderr)
        self.assertEqual(self.read("config.txt"), before)

    def test_folder_that_was_chosen_is_kept_where_none_is_named(self):
        self.write_config(library_path="/home/somebody")
        before = self.read("config.txt")
        self.assertEqual(self.set_to(self.folder, "--unless-set"), "kept")
        self.assertEqual(self.read("config.txt"), before)
        self.write_config()
        self.assertEqual(self.set_to(self.folder, "--unless-set"), "changed", "/usr is nobody's choice")

    def test_link_never_replaces_what_is_not_one(self):
        before = self.write_config()
        self.write("library-folder", b"mine")
        done = self.set_library(self.path("config.txt"), music_folder(self.path("R&B")))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(self.read("library-folder"), b"mine")
        self.assertEqual(self.read("config.txt"), before)


class StartTest(PlayerTest):
    def setUp(self):
        super().setUp()
        self.demo = os.path.join(self.folder, "demo")
        music_folder(self.demo, "demo-tune")
        self.player = self.path("player")
        os.mkdir(self.player)
        for name in os.listdir(self.folder):
            if name not in ("demo", "player"):
                os.rename(self.path(name), os.path.join(self.player, name))

    def start_player(self, script, *words, **environment):
        process = subprocess.run(["bash", START, self.player, self.demo, *words], timeout=DEADLINE_S,
                                 env=self.environment(**environment), input=script.encode(),
                                 capture_output=True)
        return Answer(process.returncode, process.stdout, process.stderr)

    def test_first_start_with_a_folder_greets_and_offers_the_scan(self):
        folder = music_folder(self.path("music"))
        run = self.start_player("advance 2\ntext\nkey select\nadvance 100\n" + YES + TRACKS,
                                "--library", folder)
        self.assertIn("日本語", run.texts())
        self.assertEqual(scanned(self.player), ["tune.flac"])
        self.assertIn(folder, run.err)
        self.assertIn("更新媒体库", run.err)
        self.assertEqual(run.status, 0)

    def test_later_start_with_another_folder_asks_only_about_the_library(self):
        self.start_player("", "--library", music_folder(self.path("a")))
        run = self.start_player("advance 2\n" + YES + TRACKS, "--library",
                                music_folder(self.path("b"), "other"))
        self.assertNotIn("日本語", run.texts())
        self.assertEqual(scanned(self.player), ["other.flac"])
        again = self.start_player("advance 2\ntext\n", "--library", self.path("b"))
        self.assertIn("主菜单", again.texts(), "it was scanned before")

    def test_without_a_folder_the_demo_music_is_the_library(self):
        run = self.start_player("advance 300\nstate\nkey back\nadvance 400\n" + "key down\n" * 7 +
                                "key select\nsettle\n")
        self.assertTrue(run.state(0)["playing"].endswith("demo-tune.flac"))
        self.assertEqual(scanned(self.player), ["demo-tune.flac"])

    def test_files_play_and_the_chosen_folder_stays(self):
        folder = music_folder(self.path("music"))
        self.start_player("", "--library", folder)
        run = self.start_player("advance 300\nstate\n", os.path.join(folder, "tune.flac"))
        self.assertTrue(run.state()["playing"].endswith("/tune.flac"))
        with open(os.path.join(self.player, "config.txt"), "rb") as file:
            self.assertIn(b"<library_path>" + folder.encode() + b"</library_path>", file.read())

    def test_failure_of_the_player_is_the_failure_of_the_start(self):
        self.assertEqual(self.start_player("bogus\n").status, 255)

    def test_recording_needs_no_screen_and_uses_none(self):
        run = self.start_player("", "--record", DISPLAY=":77")
        self.assertEqual(run.status, 0, run.err)
        self.assertIn("sound.wav", os.listdir(self.path("shown")))
        self.assertNotIn("No display", run.out)

    def read_terminal(self, terminal, wanted):
        """Reads until a line has it, or the end; a terminal that nobody writes to any more is an error."""
        shown = b""
        with contextlib.suppress(OSError):
            while wanted not in shown or not shown.endswith(b"\n"):
                piece = os.read(terminal, 4096)
                if not piece:
                    break
                shown += piece
        return shown

    @unittest.skipIf(os.access("/dev/fb0", os.W_OK), "this machine has a screen")
    @unittest.skipUnless(HAS_PAGE, "built without the page")
    def test_terminal_without_a_display_gets_one_line_with_an_address(self):
        process, terminal = pty.fork()
        if process == 0:
            os.execvpe("bash", ["bash", START, self.player, self.demo],
                       self.environment(ZERV_DEVICE="", DISPLAY="", WAYLAND_DISPLAY="", ZERV_WEB_PORT="0"))
        self.addCleanup(os.close, terminal)
        shown = self.read_terminal(terminal, b"Ctrl-C")
        self.assertRegex(shown.decode(), r"^Zerv Player is at http://127.0.0.1:\d+/ - Ctrl-C ends it\r\n$")
        os.write(terminal, b"\x03")
        self.assertEqual(os.waitpid(process, 0)[1], 0, shown)

    @unittest.skipIf(os.access("/dev/fb0", os.W_OK), "this machine has a screen")
    def test_without_a_display_pictures_and_sound_are_left_behind(self):
        folder = music_folder(self.path("music"))
        for words, pictures in (
                ((), {"play.png", "main_menu.png", "current_playlist.png"}),
                (("--library", folder), {"welcome.png", "main_menu.png", "artists.png"})):
            run = self.start_player("", *words, ZERV_DEVICE="", DISPLAY="", WAYLAND_DISPLAY="")
            self.assertEqual(run.status, 0, run.err)
            self.assertIn("No display here", run.out)
            left = set(os.listdir(self.path("shown")))
            self.assertEqual({name for name in left if name.endswith(".png")}, pictures)
            self.assertIn("sound.wav", left)


if __name__ == "__main__":
    unittest.main()
