"""Start-up: every step that can fail, the command line, the first screen."""

import hashlib
import os
import re
import unittest

from make_flac import make_flac
from player import DEFAULT_CONFIG, Answer, PlayerTest

# In the order in which they run. The settings are read between the eighth and the ninth.
START = (
    ("sys_init", "sys_init falied"),
    ("program_init", "program_init falied"),
    ("sock_init", "sock_init falied"),
    ("key_open", "key_open failed"),
    ("touch_open", "touch_open failed"),
    ("sound_open", "sound_open failed"),
    ("audio_init", "audio_init failed"),
    ("skin_init", "skin_init falied"),
    ("font_open", "font_open failed"),
    ("play_init", "play_init falied"),
    ("library_open", "library_open falied"),
    ("fb_open", "fb_open failed"),
    ("view_init", "view_init falied"),
)
BEFORE_SETTINGS = {name for name, _ in START[:8]}

STOP = (
    ("view_exit", "view_exit falied"),
    ("library_close", "library_close falied"),
    ("skin_exit", "skin_exit falied"),
    ("play_exit", "play_exit falied"),
    ("audio_exit", "audio_exit failed"),
    ("sound_close", "sound_close failed"),
    ("touch_close", "touch_close failed"),
    ("key_close", "key_close failed"),
    ("font_close", "font_close failed"),
    ("fb_close", "fb_close failed"),
    ("sock_exit", "sock_exit falied"),
    ("program_exit", "program_exit falied"),
    ("sys_exit", "sys_exit falied"),
)
EVERY_STOP = ",".join(name for name, _ in STOP)
EVERY_STOP_LINE = "".join(message + "\n" for _, message in STOP)


class StepsTest(PlayerTest):
    def test_default_settings_are_known_to_the_byte(self):
        self.assertEqual(hashlib.md5(DEFAULT_CONFIG).hexdigest(),
                         "600b0926583532ad2f08cb0309bf5701")

    def test_each_start_step_that_fails_says_so_and_ends_the_program(self):
        for name, message in START:
            with self.subTest(step=name):
                if self.exists("config.txt"):
                    os.remove(self.path("config.txt"))
                run = self.run_script("echo alive\n", ZERV_FAULT=name)
                self.assertEqual(run.err.split("\n")[0], message)
                self.assertLessEqual(len(run.err.splitlines()), 2)
                self.assertEqual(run.status, 255)
                self.assertNotIn("alive", run.out)
                # Defaults are settings that no file holds yet.
                self.assertEqual(self.exists("config.txt"), name not in BEFORE_SETTINGS)

    def test_each_start_step_that_fails_is_followed_by_the_whole_shutdown(self):
        for name, message in START:
            with self.subTest(step=name):
                run = self.run_script("", ZERV_FAULT=name + "," + EVERY_STOP)
                self.assertEqual(run.err.split("\n")[0], message)
                self.assertTrue(run.err.endswith("\n" + EVERY_STOP_LINE), run.err)
                self.assertEqual(run.status, 255)

    def test_each_stop_step_that_fails_says_so_and_the_others_run(self):
        for name, message in STOP:
            with self.subTest(step=name):
                self.write_config()
                run = self.run_script("key vol_up\nadvance 2\n", ZERV_FAULT=name)
                self.assertEqual(run.err, message + "\n")
                self.assertEqual(run.status, 255)
                self.assertIn(b"<vol>35</vol>", self.read("config.txt"))

    def test_stop_steps_run_in_their_order(self):
        run = self.run_script("", ZERV_FAULT=EVERY_STOP)
        self.assertEqual(run.err, EVERY_STOP_LINE)
        self.assertEqual(run.status, 255)

    def test_step_that_failed_at_the_end_did_its_work(self):
        """A track plays while everything that can fail at the end does."""
        self.write("song.flac", make_flac(1))
        run = self.run_script("advance 300\nstate\n", "song.flac", ZERV_FAULT=EVERY_STOP)
        self.assertEqual(run.state()["playing"], "song.flac")
        self.assertEqual(run.err, EVERY_STOP_LINE)


class OptionsTest(PlayerTest):
    def test_unknown_option_opens_nothing_and_shuts_down(self):
        for option in ("-x", "--nothing", "-c", "--config"):
            with self.subTest(option=option):
                run = self.run_script("echo alive\n", option, ZERV_FAULT=EVERY_STOP)
                first, _, rest = run.err.partition("\n")
                self.assertRegex(first, "^" + re.escape(self.program) + ": ")
                self.assertEqual(rest, EVERY_STOP_LINE)
                self.assertEqual(run.status, 255)
                self.assertEqual(run.out, "")
                for name in ("config.txt", "library.db", "current.m3u"):
                    self.assertFalse(self.exists(name), name)

    def test_unknown_option_alone_ends_with_failure(self):
        self.assertEqual(self.run_script("", "-x").status, 255)

    def test_last_settings_file_named_is_the_one(self):
        self.write("a.xml", self.write_config(vol=11))
        self.write("b.xml", self.write_config(vol=22))
        os.remove(self.path("config.txt"))
        before = self.read("a.xml")
        run = self.run_script("advance 1\nstate\nkey vol_up\nadvance 1\n",
                              "-c", "a.xml", "--config", "b.xml")
        self.assertEqual(run.state()["volume"], "22")
        self.assertEqual(run.status, 0)
        self.assertEqual(self.read("a.xml"), before)
        self.assertIn(b"<vol>27</vol>", self.read("b.xml"))
        self.assertFalse(self.exists("config.txt"))

    def test_settings_file_may_be_joined_to_its_option(self):
        self.write("a.xml", self.write_config(vol=11))
        for option in ("-ca.xml", "--config=a.xml"):
            run = self.run_script("advance 1\nstate\n", option)
            self.assertEqual(run.state()["volume"], "11")

    def test_options_may_follow_the_files(self):
        self.write("song.flac", make_flac(1))
        self.write("a.xml", self.write_config(vol=11))
        run = self.run_script("advance 1\nstate\n", "song.flac", "-c", "a.xml")
        self.assertEqual(run.state()["volume"], "11")
        self.assertEqual(run.state()["playing"], "song.flac")


class FirstScreenTest(PlayerTest):
    def test_without_settings_the_first_run_list_greets(self):
        run = self.run_script("advance 2\ntext\nstate\n")
        self.assertIn("Welcome!", run.texts())
        self.assertEqual(run.state()["view"], "list")
        self.assertEqual(run.state()["sliding"], "0")
        self.assertEqual(run.status, 0)
        self.assertEqual(run.err, "")
        self.assertEqual(self.read("config.txt"), DEFAULT_CONFIG)

    def test_bad_settings_count_as_none(self):
        self.write("config.txt", b'<cfg version="0.1"><vol>50</vol><x>')
        run = self.run_script("advance 2\ntext\nstate\n")
        self.assertIn("Welcome!", run.texts())
        self.assertEqual(run.state()["volume"], "50")
        self.assertIn(b"<vol>50</vol>", self.read("config.txt"))

    def test_with_settings_the_main_menu_comes_first(self):
        self.write_config()
        run = self.run_script("advance 2\ntext\n")
        self.assertIn("主菜单", run.texts())

    def test_greeting_may_be_asked_for(self):
        """Whoever sets the music folder for the user has settings written, and still greets."""
        self.write_config()
        for wish, text in (("language", "日本語"), ("library", "Yes"), ("", "主菜单"),
                           ("x", "主菜单")):
            with self.subTest(wish=wish):
                run = self.run_script("advance 2\ntext\n", ZERV_FIRST_START=wish)
                self.assertIn(text, run.texts())
                self.assertEqual((run.status, run.err), (0, ""))

    def test_settings_that_did_not_change_are_not_written(self):
        before = self.write_config()
        os.utime(self.path("config.txt"), (1000000, 1000000))
        run = self.run_script("advance 100\nkey down\nadvance 100\n")
        self.assertEqual(run.status, 0)
        self.assertEqual(os.stat(self.path("config.txt")).st_mtime, 1000000)
        self.assertEqual(self.read("config.txt"), before)

    def test_missing_font_ends_the_start(self):
        os.remove(self.path("QuenlyAquaEJ.ttf"))
        run = self.run_script("echo alive\n")
        self.assertEqual(run.err, "font_open failed\nQuenlyAquaEJ.ttf: No such file or directory\n")
        self.assertEqual(run.status, 255)
        self.assertEqual(run.out, "")
        self.assertEqual(self.read("config.txt"), DEFAULT_CONFIG)

    def test_font_that_is_none_is_named(self):
        self.write("letters.ttf", b"no font")
        self.write_config(font="letters.ttf")
        run = self.run_script("")
        self.assertEqual(run.err, "font_open failed\nletters.ttf: not a font that can be used\n")
        self.assertEqual(run.status, 255)

    def test_library_that_is_refused_is_named(self):
        self.write_config(lang="en")
        self.write("library.db", b"no database, " * 100)
        run = self.run_script("")
        self.assertEqual(run.err, "library_open falied\nlibrary.db: damaged, or made by a newer "
                         "version; without it the player makes a new one\n")
        self.assertEqual(run.status, 255)
        os.remove(self.path("library.db"))
        os.mkdir(self.path("library.db"))
        run = self.run_script("")
        self.assertEqual(run.err, "library_open falied\nlibrary.db: Is a directory\n")

    def test_missing_skins_end_the_start(self):
        os.remove(self.path("skins"))
        run = self.run_script("echo alive\n")
        self.assertEqual(run.err, "view_init falied\n"
                         "skins/Aqua_Ver0.4.zip, and whatever else is in skins: "
                         "no skin has the screens \"list\" and \"play\"\n")
        self.assertEqual(run.status, 255)

    def test_missing_default_skin_is_replaced_by_another(self):
        built = os.path.realpath(self.path("skins"))
        os.remove(self.path("skins"))
        os.mkdir(self.path("skins"))
        os.symlink(os.path.join(built, "Night.zip"), self.path("skins/Night.zip"))
        self.write_config()
        run = self.run_script("advance 2\ntext\n")
        self.assertEqual(run.status, 0)
        self.assertIn("主菜单", run.texts())
        self.assertIn(b"<skin_list>skins/Night.zip</skin_list>", self.read("config.txt"))
        self.assertIn(b"<skin_play>skins/Night.zip</skin_play>", self.read("config.txt"))

    def test_files_are_queued_in_order_and_the_last_one_plays(self):
        self.write_config()
        for name in ("b.flac", "a.flac", "c.flac"):
            self.write(name, make_flac(1))
        run = self.run_script("advance 300\nstate\n", "b.flac", "c.flac", "a.flac", "c.flac")
        state = run.state()
        self.assertEqual(state["view"], "play")
        self.assertEqual(state["sliding"], "0")
        self.assertEqual(state["playing"], "c.flac")
        self.assertEqual(state["paused"], "0")
        self.assertEqual(self.read("current.m3u"), b"b.flac\r\nc.flac\r\na.flac\r\n")

    def test_last_file_that_does_not_play_shows_the_play_screen_all_the_same(self):
        self.write_config()
        self.write("good.flac", make_flac(1))
        self.write("bad.flac", b"fLaC but not really")
        run = self.run_script("advance 300\nstate\n", "good.flac", "bad.flac")
        self.assertEqual(run.state()["view"], "play")
        self.assertEqual(run.state()["playing"], "")
        self.assertEqual(run.state()["paused"], "1")
        self.assertEqual(run.status, 0)

    def test_read_only_folder_is_no_failure(self):
        if os.geteuid() == 0:
            self.skipTest("nothing is read-only for root")
        self.write_config()
        self.run_script("")
        os.chmod(self.folder, 0o555)
        self.addCleanup(os.chmod, self.folder, 0o755)
        os.chmod(self.path("config.txt"), 0o444)
        run = self.run_script("key vol_up\nadvance 2\n")
        self.assertEqual(run.status, 0)


class ScriptTest(PlayerTest):
    def test_script_that_is_wrong_ends_with_failure_after_the_shutdown(self):
        self.write_config()
        run = self.run_script("key vol_up\nadvance 2\nbogus\necho alive\n")
        self.assertEqual(run.status, 255)
        self.assertIn("error: 3: ", run.out)
        self.assertNotIn("alive", run.out)
        self.assertIn(b"<vol>35</vol>", self.read("config.txt"))

    def test_end_of_the_script_is_the_end_of_the_program(self):
        run = self.run_script("")
        self.assertEqual((run.status, run.err), (0, ""))

    def test_device_that_does_not_exist_fails_the_first_step(self):
        run = self.run_script("", ZERV_DEVICE="nowhere")
        self.assertTrue(run.err.endswith("sys_init falied\n"), run.err)
        self.assertEqual(run.status, 255)


if __name__ == "__main__":
    unittest.main()
