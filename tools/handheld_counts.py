#!/usr/bin/env python3
"""Counts what the player's work costs on the emulated handheld, in instructions, kernel included.

    handheld_counts.py --card FOLDER --music FOLDER --work FOLDER [--kind ext4|vfat] [--only WORD]

    --card   the card folder for the machine
    --music  song.mp3, song.ogg and song.flac, as tests/real/make_music makes them
    --work   has parts/ (the machine's packages, unpacked); receives logs and cards
    --kind   the file system of the card
    --only   looks at the list, or at songs with this word in their name

The processor is a 24Kc, without a floating point unit. Each figure is the difference of two moments,
less what the same machine executes in that time with nothing to do. What a moment holds too much stands in the
figure: a start ends when the machine is quiet again, which is later than its first picture.
"""
import argparse
import mmap
import re
import shutil
import struct
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import handheld_machine  # noqa: E402
from handheld_machine import Failed  # noqa: E402

CLOCK = "2026-01-01T12:00:00"
QUIET, NOISE = 3e6, 0.5e6  # a second, of a machine that only keeps itself going
LOOK_S = 30
KEYS = 10
SONGS = ("song.mp3", "song.ogg", "song.flac")
DISPLAY_OFF_S = 100
SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>

<cfg version="0.1">
	<vol>70</vol>
	<display_off_timeout>%d</display_off_timeout>
	<lang>en</lang>
	<playback_order>repeat</playback_order>
</cfg>
"""
START = """
cd /card/zerv-player
sleep 25
echo QUIET
sleep 40
ZERV_DEVICE=linux ./zerv-player.sh %s &
sleep 160
echo MEMORY
cat /proc/$(pidof ld.so)/smaps_rollup
echo MEMORY END
sleep 100000
"""


class Counter:
    def __init__(self, path):
        self.path = path
        path.write_bytes(bytes(8))

    def read(self):
        with open(self.path, "rb") as file, mmap.mmap(file.fileno(), 8, access=mmap.ACCESS_READ) as shared:
            return struct.unpack("=Q", shared[:8])[0]

    def over(self, seconds):
        """Instructions a second, and the count at the end."""
        began, first = time.monotonic(), self.read()
        time.sleep(seconds)
        last = self.read()
        return (last - first) / (time.monotonic() - began), last


def make_plugin(work):
    plugin = work / "count.so"
    subprocess.run(["g++", "-std=c++20", "-O2", "-shared", "-fPIC", "-o", plugin,
                    HERE / "handheld_count" / "count.cpp"], check=True)
    return plugin


class Look:
    """One boot with a file to play, or none."""

    def __init__(self, options, name, song=None):
        self.options, self.song = options, song
        self.root, folder = options.work / f"counts-{name}", options.work / "card"
        for each in (self.root, folder):
            shutil.rmtree(each, ignore_errors=True)
        shutil.copytree(options.card, folder / "zerv-player")
        (folder / "zerv-player/config.txt").write_text(SETTINGS % (0 if song else DISPLAY_OFF_S))
        if song:
            shutil.copy(options.music / song, folder / "zerv-player")
        self.card, self.sound = options.work / "counts.img", options.work / "counts.wav"
        handheld_machine.make_card(self.card, options.kind, folder)
        handheld_machine.make_root(self.root, options.work / "parts", options.kind, CLOCK, START % (song or ""))
        self.counter = Counter(options.work / "counts.number")

    def boot(self):
        more = ["-cpu", "24Kc", "-plugin", f"{self.options.plugin},into={self.counter.path}"]
        return handheld_machine.boot(self.root, self.options.work / "parts", self.sound, self.card, more)

    def begin(self, machine):
        """Waits for the machine to have nothing to do. What it executes then, a second and so far."""
        machine.wait_for("QUIET", 300)
        return self.counter.over(25)

    def heard(self):
        """Whether there is any sound but silence so far."""
        return self.sound.exists() and any(self.sound.read_bytes()[44:])

    def sounding(self):
        """Seconds of it: a card that ran dry on a busy host is silent, and so is none of the music."""
        left, right = handheld_machine.recorded(self.sound)
        return sum(1 for pair in zip(left, right) if pair != (0, 0)) / 44100

    def memory(self, machine):
        machine.wait_for("MEMORY END", 300)
        said = machine.log.read_text(errors="replace").split("MEMORY", 1)[1]
        sizes = {key: int(size) for key, size in re.findall(r"^(\w+):\s+(\d+) kB", said, re.M)}
        return {"resident": sizes["Rss"] / 1024,
                "its own": sizes["Private_Dirty"] / 1024}


def until_quiet(counter, base, patience=400):
    """Count and time after the first of three looks that saw next to nothing, and as much as each other."""
    deadline, looks = time.monotonic() + patience, []
    while time.monotonic() < deadline:
        looks.append((*counter.over(3), time.monotonic()))
        rates = [rate for rate, _, _ in looks[-3:]]
        if len(rates) == 3 and max(rates) < base + QUIET and max(rates) - min(rates) < NOISE:
            return looks[-3][1:]
    raise Failed("the machine does not become quiet")


def look_at_list(options):
    look = Look(options, "list")
    with look.boot() as machine:
        base, began = look.begin(machine)
        since = time.monotonic()
        while look.counter.over(1)[0] < base + QUIET:
            if time.monotonic() - since > 120:
                raise Failed("the player does not start")
        last, ended = until_quiet(look.counter, base)
        print_row("exec to the first picture of the list, and quiet again", last - began - base * (ended - since))
        rate, last = look.counter.over(LOOK_S)
        print_row("an idle second, display on", rate - base)
        since = time.monotonic()
        for _ in range(KEYS):
            machine.press("down")
            time.sleep(0.7)
        print_row("a key to the changed picture", (look.counter.read() - last - rate * (time.monotonic() - since)) / KEYS)
        memory = look.memory(machine)
        time.sleep(DISPLAY_OFF_S)
        rate, _ = look.counter.over(LOOK_S)
        print_row("an idle second, display off", rate - base)
        print(f"the list shown: {memory['resident']:.1f} MiB resident, {memory['its own']:.1f} its own")
        print_row("(the machine alone, a second)", base)


def look_at_song(options, song):
    look = Look(options, Path(song).suffix[1:], song)
    with look.boot() as machine:
        base, began = look.begin(machine)
        since = time.monotonic()
        while not look.heard():
            if time.monotonic() - since > 200:
                raise Failed(f"{song} is not heard")
            time.sleep(0.02)
        print_row(f"exec to the first sound of {song}", look.counter.read() - began - base * (time.monotonic() - since))
        time.sleep(5)
        first, first_sound = look.counter.read(), look.sounding()
        time.sleep(LOOK_S)
        last, last_sound = look.counter.read(), look.sounding()
        if last_sound - first_sound < LOOK_S / 2:
            raise Failed(f"{song}: only {last_sound - first_sound:.1f} s of sound in {LOOK_S}")
        print_row(f"a second of {song}, play screen shown", (last - first) / (last_sound - first_sound) - base)
        memory = look.memory(machine)
        print(f"playing {song}: {memory['resident']:.1f} MiB resident, {memory['its own']:.1f} its own")


def print_row(words, count):
    print(f"{count / 1e6:9.2f} M  {words}", flush=True)


def main():
    parser = argparse.ArgumentParser(description="Counts the player's instructions on an emulated handheld.")
    for name in ("card", "music", "work"):
        parser.add_argument(f"--{name}", type=Path, required=True)
    parser.add_argument("--kind", choices=sorted(handheld_machine.MOUNTS), default="ext4")
    parser.add_argument("--only", default="")
    options = parser.parse_args()
    for name in ("card", "music", "work"):
        setattr(options, name, getattr(options, name).resolve())
    try:
        options.plugin = make_plugin(options.work)
        if options.only in ("", "list"):
            look_at_list(options)
        for song in SONGS:
            if options.only in song:
                look_at_song(options, song)
    except Failed as problem:
        print(f"FAILED  counts: {problem}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
