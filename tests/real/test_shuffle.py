"""Shuffled playback draws its order from the device's clock."""

import os
import time
import unittest

from make_flac import make_flac
from player import PlayerTest

TRACKS = 12
SKIPS = 15


class ShuffleTest(PlayerTest):
    def setUp(self):
        super().setUp()
        self.write_config(playback_order="shuffle")
        sound = make_flac(1)
        self.names = [f"t{i}.flac" for i in range(TRACKS)]
        for name in self.names:
            self.write(name, sound)

    def order(self):
        """The tracks of a run that skips."""
        if self.exists("current.m3u"):  # each run starts with nothing queued
            os.remove(self.path("current.m3u"))
        script = "state\n" + "key page_down\nstate\n" * SKIPS + "quit\n"
        answer = self.run_script(script, *self.names)
        self.assertEqual(answer.status, 0, answer.err)
        return [answer.state(i)["playing"] for i in range(SKIPS + 1)]

    def test_script_hears_the_same_order_in_every_run(self):
        first = self.order()
        self.assertGreater(len(set(first)), 2, first)
        for one, next_one in zip(first, first[1:]):
            self.assertNotEqual(one, next_one)
        begun = int(time.time())
        while int(time.time()) == begun:  # the machine's clock has moved on by then
            self.assertEqual(self.order(), first)
        self.assertEqual(self.order(), first)


if __name__ == "__main__":
    unittest.main()
