"""The playlist's file follows every change, and nobody waits for it but a script."""

import os
import unittest

from player import PlayerTest

TRACKS = 40


class SavingTest(PlayerTest):
    def setUp(self):
        super().setUp()
        self.write_config()
        self.lines = [f"/music/{i}.mp3\r\n".encode() for i in range(TRACKS)]
        self.write("current.m3u", b"".join(self.lines))

    def test_script_sees_the_file_that_its_command_changed(self):
        process = self.start()
        self.say(process, "key select", "advance 300")
        for removed in range(1, 6):
            self.say(process, "key menu", f"echo {removed}")
            self.listen_for(process, str(removed))
            self.assertEqual(self.read("current.m3u"), b"".join(self.lines[removed:]))

    def test_end_of_the_program_waits_for_the_file(self):
        answer = self.run_script("key select\nadvance 300\n" + "key menu\n" * 10 + "quit\n")
        self.assertEqual(answer.status, 0, answer.err)
        self.assertEqual(self.read("current.m3u"), b"".join(self.lines[10:]))
        self.assertFalse(self.exists(".current.m3u.new"))

    def test_changes_while_the_clock_runs_are_saved(self):
        process = self.start(ZERV_VIRTUAL_REALTIME="1")
        self.say(process, "key select", "advance 300", *["key menu"] * 10, "quit")
        process.wait(timeout=120)
        self.assertEqual(process.returncode, 0)
        self.assertEqual(self.read("current.m3u"), b"".join(self.lines[10:]))

    def test_what_could_not_be_read_is_kept_beside(self):
        self.write_config(vol=77)
        self.write("config.txt", self.read("config.txt")[:-10])
        broken = self.read("config.txt")
        answer = self.run_script("quit\n")
        self.assertEqual(answer.status, 0, answer.err)
        self.assertEqual(self.read("config.txt.old"), broken)
        self.assertTrue(self.read("config.txt").endswith(b"</cfg>\r\n"))
        again = self.run_script("quit\n")
        self.assertEqual(again.status, 0, again.err)
        self.assertFalse(self.exists("config.txt.old2"))

    def test_start_that_changes_nothing_writes_nothing(self):
        before = {name: self.stamp(name) for name in ("config.txt", "current.m3u")}
        answer = self.run_script("advance 100\nquit\n")
        self.assertEqual(answer.status, 0, answer.err)
        self.assertEqual({name: self.stamp(name) for name in before}, before)

    def stamp(self, name):
        about = os.stat(self.path(name))
        return about.st_ino, about.st_mtime_ns


if __name__ == "__main__":
    unittest.main()
