"""Random keys and touches. The seed is printed; ZERV_TEST_SEED repeats a run."""

import os
import random
import time
import unittest

from make_flac import make_flac
from player import PlayerTest

STEPS = int(os.environ.get("ZERV_TEST_STEPS", "4000"))
KEYS = ("up", "down", "left", "right", "page_up", "page_down", "select", "menu", "reload", "switch",
        "back", "vol_up", "vol_down")


class MonkeyTest(PlayerTest):
    def step(self, chance):
        kind = chance.random()
        x, y = chance.randrange(320), chance.randrange(240)
        if kind < 0.55:
            return f"key {chance.choice(KEYS)}"
        if kind < 0.65:
            # Two at once; never the pair that switches the power off.
            pair = chance.sample([key for key in KEYS if key not in ("back", "left")], 2)
            return "key " + "+".join(pair)
        if kind < 0.9:
            return f"touch {chance.choice(('press', 'move', 'release'))} {x} {y}"
        if kind < 0.98:
            return f"advance {chance.randrange(400)}"
        return chance.choice(("battery 80", "wall 2026-03-01T23:59:59", "settle", "advance 1100"))

    def test_random_input_is_survived(self):
        seed = int(os.environ.get("ZERV_TEST_SEED", time.time_ns() % 1000000))
        print(f"seed {seed}", flush=True)
        chance = random.Random(seed)
        # The display goes dark now and then; less time passes than the shortest auto power-off.
        self.write_config(library_path="music", vol=0, display_off_timeout=1)
        os.makedirs(self.path("music/inner"))
        for name in ("a.flac", "b.flac", "inner/c.flac"):
            self.write("music/" + name, make_flac(chance.choice((0.02, 0.5, 3))))
        self.write("music/broken.mp3", b"not a sound")
        self.write("music/all.m3u", b"a.flac\r\ninner/c.flac\r\nmissing.ogg\r\n")
        script = "".join(self.step(chance) + "\nadvance 3\n" for _ in range(STEPS))
        run = self.run_script(script + "advance 5\nstate\n")
        self.assertEqual(run.status, 0, run.err[-3000:] + run.out[-1000:])
        self.assertIn("state ", run.out)
        for line in run.err.splitlines():
            self.assertRegex(line, "^(error scanning file|database error): ")


if __name__ == "__main__":
    unittest.main()
