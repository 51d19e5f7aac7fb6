"""What a desktop adds, on the scripted device: media keys, dropped files, the title."""

import os
import unittest

from make_flac import make_flac
from player import PlayerTest


class DesktopTest(PlayerTest):
    def setUp(self):
        super().setUp()
        self.write_config(playback_order="normal")
        for name in ("a.flac", "b.flac", "c.flac"):
            self.write(name, make_flac(10))

    def titles(self, run):
        return [line.removeprefix("title ") for line in run.out.splitlines() if line.startswith("title ")]

    def drop(self, *names):
        return "".join(f"drop {self.path(name)}\n" for name in names) + "dropped\nadvance 400\n"

    def test_media_keys_act_on_the_list_screen_and_leave_it(self):
        """Where the same player's page keys would move the cursor."""
        script = "advance 300\nkey back\nadvance 400\n"
        for key in ("media_prev", "media_play", "media_play", "media_stop", "media_play", "media_next"):
            script += f"key {key}\nadvance 20\nstate\n"
        run = self.run_script(script, "a.flac", "b.flac", "c.flac")
        states = [run.state(i) for i in range(6)]
        self.assertEqual([state["playing"] for state in states],
                         ["b.flac", "b.flac", "b.flac", "", "b.flac", "c.flac"])
        self.assertEqual([state["paused"] for state in states], ["0", "1", "0", "1", "0", "0"])
        self.assertEqual({state["view"] for state in states}, {"list"})
        self.assertEqual((run.status, run.err), (0, ""))

    def test_media_keys_without_music_do_nothing(self):
        keys = "".join(f"key media_{name}\nadvance 20\n" for name in ("play", "stop", "prev", "next"))
        run = self.run_script("advance 100\n" + keys + "state\n")
        self.assertEqual((run.state()["playing"], run.status, run.err), ("", 0, ""))

    def test_media_key_lights_a_dark_display_first(self):
        self.write_config(display_off_timeout=1)
        run = self.run_script("advance 1500\nstate\nkey media_play\nadvance 20\nstate\n", "a.flac")
        self.assertEqual([run.state(i)["display"] for i in range(2)], ["0", "1"])
        self.assertEqual(run.state()["paused"], "0")

    def test_dropped_files_play_like_those_of_the_command_line(self):
        run = self.run_script("advance 100\n" + self.drop("a.flac", "b.flac", "a.flac") + "state\n")
        self.assertEqual(run.state()["view"], "play")
        self.assertEqual(run.state()["playing"], self.path("a.flac"))
        self.assertEqual(self.read("current.m3u").decode().split("\r\n"),
                         [self.path("a.flac"), self.path("b.flac"), ""])

    def test_dropped_folder_and_playlist_bring_what_is_in_them(self):
        os.makedirs(self.path("album/more"))
        for name in ("album/1.flac", "album/more/2.flac"):
            self.write(name, make_flac(1))
        self.write("list.m3u", b"b.flac\r\nc.flac\r\n")
        run = self.run_script("advance 100\n" + self.drop("album", "list.m3u") + "state\n")
        self.assertEqual(os.path.basename(run.state()["playing"]), "b.flac")
        names = [os.path.basename(line) for line in self.read("current.m3u").decode().splitlines()]
        self.assertEqual(names, ["2.flac", "1.flac", "b.flac", "c.flac"])

    def test_drop_of_what_is_no_music_changes_nothing(self):
        self.write("words.txt", b"words")
        os.mkdir(self.path("empty"))
        run = self.run_script("advance 100\n" + self.drop("words.txt", "empty", "not there.mp3") +
                              "state\n", "a.flac")
        self.assertEqual(run.state()["playing"], "a.flac")
        self.assertEqual(self.read("current.m3u"), b"a.flac\r\n")

    def test_drop_on_a_dark_display_lights_it(self):
        self.write_config(display_off_timeout=1)
        run = self.run_script("advance 1500\nstate\n" + self.drop("a.flac") + "state\n")
        self.assertEqual([run.state(i)["display"] for i in range(2)], ["0", "1"])
        self.assertEqual(run.state()["playing"], self.path("a.flac"))

    def test_title_names_the_track_while_there_is_one(self):
        run = self.run_script("advance 20\ntitle\nkey media_stop\nadvance 20\ntitle\n", "b.flac")
        self.assertEqual(self.titles(run), ["b.flac - Zerv Player", "Zerv Player"])


if __name__ == "__main__":
    unittest.main()
