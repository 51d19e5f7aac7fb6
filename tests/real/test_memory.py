"""The player stays small with a large library: what it allocates, not what it maps from files."""

import os
import unittest

from player import PROGRAM, PlayerTest, is_built_with

TRACKS = 10000
MOST_KIB = 16 * 1024  # of a device with 32 MiB
SONGS = ("1 first.mp3", "2 second.ogg", "3 third.flac", "4 fourth.mp3")


def is_sanitized():
    return is_built_with("asan") or is_built_with("tsan")


class MemoryTest(PlayerTest):
    def make_library(self):
        media = os.path.join(os.path.dirname(PROGRAM), "..", "media", "tracks")
        for album in range(TRACKS // 100):
            folder = self.path(f"music/Album {album:03}")
            os.makedirs(folder)
            for number in range(100):
                song = SONGS[number % len(SONGS)]
                self.link(os.path.join(media, song), f"{folder}/{number:03} A song of this album {song}")

    def link(self, song, place):
        """A copy, without its bytes where that can be."""
        if self.same_disk(song):
            os.link(song, place)
        else:
            with open(song, "rb") as file, open(place, "wb") as copy:
                copy.write(file.read())

    def allocated_kib(self, process):
        with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("RssAnon:"))

    def run_until(self, process, script):
        self.say(process, *script.split(", "), "echo done")
        self.listen_for(process, "done")

    @unittest.skipIf(is_sanitized(), "a sanitizer keeps more memory than the player")
    def test_a_library_of_ten_thousand_tracks_fits_a_small_device(self):
        self.make_library()
        self.write_config(library_path="music", display_off_timeout=0)
        process = self.start()
        self.run_until(process, "advance 300, key up, key up, advance 20, key select, settle 300000")
        scanned = self.allocated_kib(process)
        # All of them into the playlist: "All" is the first row of the tracks.
        self.run_until(process, "advance 5000, key up, key up, advance 20, key select, advance 500")
        self.run_until(process, "key select, advance 2000, settle, advance 5000")
        playing = self.allocated_kib(process)
        answer, _ = process.communicate(b"state\nquit\n", timeout=120)
        with open(self.path("current.m3u"), encoding="utf-8") as playlist:
            self.assertEqual(len(playlist.readlines()), TRACKS)
        self.assertIn(b"view=play", answer)
        print(f"allocated: {scanned} KiB after the scan, {playing} KiB playing all")
        self.assertLess(scanned, MOST_KIB)
        self.assertLess(playing, MOST_KIB)


if __name__ == "__main__":
    unittest.main()
