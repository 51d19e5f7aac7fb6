"""What the speaker plays: every sample of a track, and the next one right behind it."""

import os
import random
import struct
import unittest
import wave

import make_flac
from player import PROGRAM, PlayerTest

RATE = make_flac.RATE
LONGEST_GAP_S = 0.015
QUIET = 20  # of 32767: below this nothing is heard
LONGEST_CROSSING = 44  # frames that a tone may stay below QUIET where it changes its sign


def noise(frames, seed):
    """Mono samples of which every place differs from every other, and none is silent."""
    source = random.Random(seed)
    return [source.choice((-1, 1)) * source.randrange(QUIET + 1, 8000) for _ in range(frames)]


def flac_of(samples):
    info = b"".join((make_flac.BLOCK.to_bytes(2, "big") * 2, bytes(6),
                     (RATE << 44 | 15 << 36 | len(samples)).to_bytes(8, "big"), bytes(16)))
    frames = [make_flac.frame(i // make_flac.BLOCK, samples[i:i + make_flac.BLOCK])
              for i in range(0, len(samples), make_flac.BLOCK)]
    return b"fLaC\x80" + len(info).to_bytes(3, "big") + info + b"".join(frames)


def speaker_bytes(mono):
    """How the speaker's file holds mono samples at full volume."""
    return struct.pack(f"<{2 * len(mono)}h", *(value for value in mono for _ in range(2)))


def left_samples(sound):
    return struct.unpack(f"<{len(sound) // 2}h", sound)[0::2]


def longest_quiet(samples):
    longest = run = 0
    for value in samples:
        run = run + 1 if abs(value) <= QUIET else 0
        longest = max(longest, run)
    return longest


def tones(samples):
    """First and last frame of each stretch of sound."""
    found, begin, last = [], None, None
    for i, value in enumerate(samples):
        if abs(value) <= QUIET:
            continue
        if begin is None:
            begin = i
        elif i - last > LONGEST_CROSSING:
            found.append((begin, last))
            begin = i
        last = i
    return found + [(begin, last)] if begin is not None else found


class PlaybackTest(PlayerTest):
    def play(self, script, *files, order="normal"):
        """What the speaker played, as bytes of 16-bit stereo."""
        self.write_config(vol=100, playback_order=order, display_off_timeout=0)
        run = self.run_script(script, *files, ZERV_VIRTUAL_SOUND=self.path("speaker.wav"))
        self.assertEqual(run.status, 0, run.err)
        with wave.open(self.path("speaker.wav")) as file:
            self.assertEqual((file.getnchannels(), file.getsampwidth()), (2, 2))
            self.assertEqual(file.getframerate(), RATE)
            return file.readframes(file.getnframes())

    def find(self, sound, mono, begin):
        """Where samples stand whole from the byte `begin` on: their first byte and the one after."""
        wanted = speaker_bytes(mono)
        at = sound.find(wanted, begin)
        self.assertGreaterEqual(at, 0, f"{len(mono)} frames are not all heard after {begin // 4}")
        self.assertEqual(at % 4, 0)
        return at, at + len(wanted)

    def assert_silence(self, sound, begin, end):
        self.assertEqual(sound[begin:end].count(0), end - begin, "something else is heard between")

    def assert_follows(self, sound, begin, end):
        self.assert_silence(sound, begin, end)
        self.assertLess((end - begin) / 4 / RATE, LONGEST_GAP_S)

    def test_tracks_follow_each_other_without_losing_a_sample(self):
        # Lengths that end at different places of a period.
        tracks = [noise(frames, frames) for frames in (30000, 30001, 33333, 26460)]
        names = [f"{i}.flac" for i in range(len(tracks))]
        for name, mono in zip(names, tracks):
            self.write(name, flac_of(mono))
        sound = self.play("advance 5000\n", *names)
        begin, end = self.find(sound, tracks[-1], 0)  # the last one named plays first
        self.assert_silence(sound, 0, begin)
        for mono in tracks + tracks[:2]:
            begin, next_end = self.find(sound, mono, end)
            self.assert_follows(sound, end, begin)
            end = next_end

    def test_repeated_track_follows_itself(self):
        mono = noise(20000, 7)
        self.write("a.flac", flac_of(mono))
        sound = self.play("advance 2500\n", "a.flac", order="repeat")
        end = self.find(sound, mono, 0)[1]
        for _ in range(3):
            begin, next_end = self.find(sound, mono, end)
            self.assert_follows(sound, end, begin)
            end = next_end

    def test_file_that_ends_before_it_said_is_followed_by_the_next(self):
        whole, cut = noise(20000, 8), noise(30000, 9)
        kept = cut[:5 * make_flac.BLOCK]
        self.write("a.flac", flac_of(whole))
        # The bytes end in the middle of the sixth block.
        self.write("b.flac", flac_of(cut)[:len(flac_of(kept)) + make_flac.BLOCK])
        sound = self.play("advance 1500\n", "a.flac", "b.flac")
        end = self.find(sound, kept, 0)[1]
        begin = self.find(sound, whole, end)[0]
        self.assertLess((begin - end) / 4 / RATE, make_flac.BLOCK / RATE + LONGEST_GAP_S)

    def test_chosen_track_is_heard_at_once_and_from_its_first_sample(self):
        first, second = noise(60000, 1), noise(30000, 2)
        self.write("a.flac", flac_of(second))
        self.write("b.flac", flac_of(first))
        sound = self.play("advance 400\nkey page_down\nadvance 1000\n", "a.flac", "b.flac")
        begin = self.find(sound, second, 0)[0]
        heard = begin // 4  # the first track up to the key, less what was still queued
        self.assertLess(heard / RATE, 0.4 + 2 * LONGEST_GAP_S)
        # Nothing of the first track is heard behind the place where it was left.
        played = sound[:begin].rstrip(b"\0")
        self.assertIn(played.lstrip(b"\0"), speaker_bytes(first))

    def test_paused_track_goes_on_where_it_was_left(self):
        mono = noise(60000, 3)
        self.write("a.flac", flac_of(mono))
        sound = self.play("advance 400\nkey select\nadvance 600\nkey select\nadvance 1000\n",
                          "a.flac")
        samples = left_samples(sound)
        quiet = longest_quiet(samples)
        self.assertGreater(quiet / RATE, 0.4)  # the pause, less what was queued when it began
        self.assertLess(quiet / RATE, 0.61)
        heard = [value for value in samples if abs(value) > QUIET]
        self.assertEqual(heard[:len(mono)], mono)  # nothing lost, nothing twice

    def test_every_format_keeps_its_length_and_is_followed_at_once(self):
        """Tones of ten seconds in each format, as the build made them for the scenarios."""
        media = os.path.join(os.path.dirname(os.path.abspath(PROGRAM)), "..", "media", "tracks")
        names = ["1 first.mp3", "2 second.ogg", "3 third.flac", "4 fourth.mp3"]
        sound = self.play("advance 51000\n", *(os.path.join(media, name) for name in names))
        heard = tones(left_samples(sound))
        self.assertEqual(len(heard), 6)
        for (begin, last), (following, _) in zip(heard, heard[1:]):
            self.assertLess((following - last - 1) / RATE, LONGEST_GAP_S)
            # An encoder may soften the very edges of a tone.
            self.assertLess(abs(last + 1 - begin - 10 * RATE) / RATE, 0.002)


if __name__ == "__main__":
    unittest.main()
