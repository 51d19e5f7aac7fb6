"""A week in a pocket: 3000 tracks by day, a pause by night, and the days that calendars stumble over.

Here a minute of the week is a second, and one such week is lived. With ZERV_TEST_WEEK=long it is lived
across two more wraps of the clock (./dev check), with ZERV_TEST_WEEK=whole through every second (./dev week).
"""

import calendar
import os
import re
import time
import unittest

from make_flac import make_still
from player import PROGRAM, PlayerTest, is_built_with

LENGTH = os.environ.get("ZERV_TEST_WEEK", "short")
WHOLE = LENGTH == "whole"
DAY_S = 24 * 3600 // (1 if WHOLE else 60)
NIGHT_S = DAY_S // 3
ZONE = "CET-1CEST,M3.5.0,M10.5.0/3"
EVENTS = (  # the second that each day leads over, UTC
    "2026-12-31T23:00:00Z",  # a year begins
    "2028-02-28T23:00:00Z",  # a leap day begins
    "2028-02-29T23:00:00Z",  # and ends
    "2027-03-28T01:00:00Z",  # summer time: 03:00:00 follows 01:59:59
    "2027-10-31T01:00:00Z",  # and back: 02:00:00 follows 02:59:59
    "2038-01-19T03:14:08Z",  # 2^31 seconds since 1970
    "2106-02-07T06:28:16Z",  # 2^32
)
BEFORE_MS = 1500  # that the display is looked at before and after such a second
ROWS = 4  # of a list that are certainly on the screen
FIRST_MS = 20000  # until the first day begins
MOST_KIB = 128  # that six days may add: a twentieth of a KiB a track
SONGS = ("1 first.mp3", "2 second.ogg", "3 third.flac", "4 fourth.mp3")


def is_sanitized():
    return is_built_with("asan") or is_built_with("tsan")


TRACKS = 300 if is_sanitized() else 3000
SONG_EVERY = 4 if WHOLE else 40  # a song of some seconds; the others are long and quiet
LONGEST_SONG_S = 12


class Life:
    """One player, and how much of its time has passed."""

    def __init__(self, test, process):
        self.test, self.process, self.passed_ms = test, process, 0

    def do(self, *lines):
        """What the commands answered, as lines."""
        self.test.say(self.process, *lines, "echo done")
        answers = []
        while True:
            line = self.process.stdout.readline().decode()
            self.test.assertTrue(line, "the program ended")
            if line == "done\n":
                return answers
            answers.append(line.rstrip("\n"))

    def advance(self, ms):
        self.passed_ms += ms
        self.do(f"advance {ms}")

    def state(self):
        line = self.do("state")[0]
        found = re.fullmatch(r"state (view=.*) playing=(.*) (paused=.*)", line)
        self.test.assertTrue(found, line)
        pairs = dict(pair.split("=") for pair in (found[1] + " " + found[3]).split())
        return {**pairs, "playing": found[2]}

    def texts(self):
        return [line.split("|", 1)[1][:-1] for line in self.do("text") if line.startswith("text ")]

    def books(self):
        """What the kernel says that the process holds: anonymous memory in KiB, descriptors, threads."""
        self.do("settle", "advance 5")
        self.passed_ms += 7
        place = f"/proc/{self.process.pid}/"
        with open(place + "status", encoding="ascii") as status:
            values = dict(line.split(":", 1) for line in status)
        return (int(values["RssAnon"].split()[0]), len(os.listdir(place + "fd")), int(values["Threads"]))


@unittest.skipIf(is_built_with("tsan"), "two threads that take turns")
class WeekTest(PlayerTest):
    def setUp(self):
        super().setUp()
        self.addCleanup(time.tzset)
        os.environ["TZ"] = ZONE  # screens show local time
        self.addCleanup(os.environ.pop, "TZ")
        time.tzset()
        self.write_config(library_path="music", display_off_timeout=30, playback_order="normal")
        os.mkdir(self.path("music"))
        days_s = (DAY_S - NIGHT_S) * len(EVENTS)
        songs = TRACKS // SONG_EVERY
        self.write("still.flac", make_still((days_s - songs * LONGEST_SONG_S) / (TRACKS - songs)))
        self.names = [self.add(number) for number in range(TRACKS)]
        self.write("current.m3u", "".join(f"music/{name}\r\n" for name in self.names).encode())

    def add(self, number):
        song = SONGS[number // SONG_EVERY % len(SONGS)] if number % SONG_EVERY == 0 else ""
        name = f"{number:04} {song or 'quiet.flac'}"
        media = os.path.join(os.path.dirname(PROGRAM), "..", "media", "tracks", song)
        os.symlink(os.path.abspath(media) if song else self.path("still.flac"), self.path(f"music/{name}"))
        return name

    def environment(self, **more):
        return super().environment(TZ=ZONE, **more)

    def clock_at(self, wall):
        """What a screen shows at that second since 1970."""
        return time.strftime("%H:%M", time.localtime(wall))

    def light(self, life):
        """The key that lights the display does nothing else."""
        self.assertEqual(life.state()["display"], "0")
        life.do("key vol_up")
        life.advance(100)
        self.assertEqual(life.state()["display"], "1")

    def look(self, life, name):
        """The screens, with the first track stopped at a place of its own, as files NAME-*.png."""
        life.do("wall 2026-06-01T12:00:00", "key select", "key switch")
        life.advance(500)
        life.do("key left")  # to the main menu, whose first row is the playlist
        life.advance(500)
        life.do(f"screenshot {name}-menu.png", "key select")
        life.advance(500)
        for _ in range(TRACKS // ROWS):  # from the track that played to the first
            life.do("key page_up")
            life.advance(10)
        life.do(f"screenshot {name}-list.png", "key select")
        life.advance(3000)
        life.do("key select", "settle")
        life.passed_ms += 2
        life.advance(500)
        life.do(f"screenshot {name}-play.png")
        state = life.state()
        self.assertEqual((state["view"], state["paused"], state["display"]), ("play", "1", "1"))
        self.assertEqual(os.path.basename(state["playing"]), self.names[0])
        life.do("key select")
        life.advance(200)
        return [self.read(f"{name}-{screen}.png") for screen in ("menu", "list", "play")]

    def track(self, life):
        return self.names.index(os.path.basename(life.state()["playing"]))

    def hold_over(self, life):
        """A volume key is held while the second passes. Returns how far the volume went."""
        before = life.state()
        life.do("down vol_down")
        life.advance(2 * BEFORE_MS)
        life.do("up vol_down")
        after = life.state()
        if after["playing"] == before["playing"]:
            self.assertAlmostEqual(int(after["pos"]) - int(before["pos"]), 2 * BEFORE_MS, delta=120)
        change = int(before["volume"]) - int(after["volume"])
        for _ in range(change // 5):
            life.do("key vol_up")
            life.advance(20)
        self.assertEqual(life.state()["volume"], before["volume"])
        return change

    def lead_over(self, life, second):
        """Over that second of the calendar, with the display lit; what a key did meanwhile."""
        self.light(life)
        life.advance(BEFORE_MS)
        self.assertIn(self.clock_at(second - BEFORE_MS / 1000), life.texts())
        change = self.hold_over(life)
        self.assertIn(self.clock_at(second + BEFORE_MS / 1000), life.texts())
        life.do("key switch")
        life.advance(5000)  # the message about the volume goes
        texts = life.texts()
        self.assertIn(self.clock_at(second + 6), texts)
        life.do("key switch")
        life.advance(29000)
        lit = life.state()["display"]
        life.advance(2000)
        self.assertEqual((lit, life.state()["display"]), ("1", "0"))
        return change, len(texts)

    def sleep(self, life, ms):
        self.light(life)
        life.do("key select")
        track = self.track(life)
        life.advance(ms)
        state = life.state()
        self.assertEqual((state["paused"], state["display"]), ("1", "0"))
        self.light(life)
        self.assertEqual(self.track(life), track)
        life.do("key select")
        life.advance(100)
        self.assertEqual(life.state()["paused"], "0")

    def day(self, life, event):
        begin = life.passed_ms
        second = calendar.timegm(time.strptime(event, "%Y-%m-%dT%H:%M:%SZ"))
        lead_s = NIGHT_S
        morning = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(second - lead_s))
        life.do(f"wall {morning}")
        life.advance(lead_s * 1000 - 2 * BEFORE_MS - 100)
        seen = self.lead_over(life, second)
        life.advance(begin + 2 * NIGHT_S * 1000 - life.passed_ms)
        self.sleep(life, NIGHT_S * 1000 - 60000)
        books = life.books()
        life.advance(begin + DAY_S * 1000 - life.passed_ms)
        return seen, books

    def begin(self, wrap_ms):
        """A player whose clock reaches wrap_ms in the middle of the fourth day."""
        to_wrap = FIRST_MS + 3 * DAY_S * 1000 + NIGHT_S * 1000
        life = Life(self, self.start(ZERV_VIRTUAL_CLOCK=str(wrap_ms - to_wrap)))
        for _ in range(2):  # the playlist, its first row
            life.advance(300)
            life.do("key select")
        life.advance(500)
        return life

    def live_over(self, wrap_ms):
        life = self.begin(wrap_ms)
        before = self.look(life, "before")
        life.advance(FIRST_MS - life.passed_ms)
        seen, books, tracks = [], [], []
        for event in EVENTS:
            did, kept = self.day(life, event)
            seen.append(did)
            books.append(kept)
            tracks.append(self.track(life))
            print(f"to {event} + {DAY_S - NIGHT_S} s: track {tracks[-1]}, {kept[0]} KiB, "
                  f"{kept[1]} descriptors, {kept[2]} threads", flush=True)
        self.light(life)
        after = self.look(life, "after")
        self.assertEqual([one == other for one, other in zip(before, after)], [True] * 3, "pictures")
        self.assertEqual(seen, [seen[0]] * len(seen))
        self.check_tracks(tracks)
        self.check_books(books)
        life.process.communicate(b"quit\n", timeout=120)
        self.assertEqual(life.process.returncode, 0)

    def check_tracks(self, tracks):
        """They go on evenly through the playlist, of which every one has played by the end."""
        self.assertEqual(tracks[:-1], sorted(tracks[:-1]))
        self.assertTrue(tracks[-1] >= TRACKS - 5 or tracks[-1] < TRACKS // 10, tracks)

    def check_books(self, books):
        self.assertEqual(len({kept[1:] for kept in books}), 1, books)
        if not is_sanitized():
            self.assertLess(max(kept[0] for kept in books) - books[0][0], MOST_KIB)

    @unittest.skipIf(LENGTH == "short" or is_sanitized(), "one such week is long enough")
    def test_across_half_of_the_clock_s_milliseconds(self):
        self.live_over(1 << 31)

    def test_across_all_of_the_clock_s_milliseconds(self):
        self.live_over(1 << 32)

    @unittest.skipIf(LENGTH != "long" or is_sanitized(), "the same again")
    def test_across_half_of_the_clock_s_seconds(self):
        self.live_over((1 << 31) * 1000)


if __name__ == "__main__":
    unittest.main()
