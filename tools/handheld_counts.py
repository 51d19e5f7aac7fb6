#!/usr/bin/env python3
"""Counts what the player's work costs on the emulated handheld, in instructions, kernel included.

    handheld_counts.py --card FOLDER --program FILE --music FOLDER --library FOLDER --work FOLDER
                       [--kind ext4|vfat] [--only WORD]

    --card     the card folder for the machine
    --program  its player with all names
    --music    song.mp3, song.ogg and song.flac, as tests/real/make_music makes them
    --library  a folder of music to scan
    --work     has parts/ (the machine's packages, unpacked); receives logs and cards
    --kind     the file system of the card
    --only     looks at the list, at the library, or at songs with this word in their name

The processor is a 24Kc, without a floating point unit. Each figure is the difference of two moments, less
what the kernel's clock executed meanwhile: the machine is watched with nothing to do, and what it executes
then is divided by the ticks of that clock. A second would not do: a busy host lets the machine miss ticks. Nor
does it count where the kernel's drivers wait for a chip by counting down, which goes by the host's speed.
"""
import argparse
import collections
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
QUIET = 0.5e6  # a second, of a machine that only keeps itself going
LOOK_S = 30
PLACES = ("card", "program", "music", "library", "work")
KEYS = 10
SLIDES = 6
TICK = "update_process_times"
SPINS = ("__delay", "__ndelay", "__udelay")
FRAME, SLEEP = "linux_screen_show(fb_surface const*)", "linux_input_wait(int)"
SONGS = ("song.mp3", "song.ogg", "song.flac")
DISPLAY_OFF_S = 100
SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>

<cfg version="0.1">
	<vol>70</vol>
	<display_off_timeout>%d</display_off_timeout>
	<lang>en</lang>
	<library_path>/card/Music</library_path>
	<playback_order>repeat</playback_order>
</cfg>
"""
START = """
cd /card/zerv-player
sleep 20
echo QUIET
sleep 30
ZERV_DEVICE=linux ./zerv-player.sh %s &
sleep 70
echo MEMORY
cat /proc/$(pidof ld.so)/smaps_rollup
echo MEMORY END
sleep 100000
"""


PLACES_OF_KERNEL = """
grep -A1 -E ' (%s)$' /proc/kallsyms
echo KNOWN
sleep 100000
""" % "|".join((TICK, *SPINS))
# Each line: the words for it, the script, the files.
LIBRARY = """
cd /card/zerv-player
run() {
    name=$1
    script=$2
    shift 2
    ZERV_DEVICE=virtual ZERV_VIRTUAL_SCRIPT=/$script.script ./zerv-player.sh "$@" >/dev/null
    sleep 5
    echo DONE $name
    sleep 5
}
sleep 20
echo QUIET
sleep 30
run library quit
run nothing quit
run scan scan
for format in mp3 ogg flac; do
    other=mp3
    [ $format = mp3 ] && other=ogg
    run $format-1 second song.$format
    run $format-3 third song.$format
    run $format-from second song.$format song.$other
    run $format-key key song.$format song.$other
done
cp /queue.m3u current.m3u
ZERV_DEVICE=linux ./zerv-player.sh song.mp3 &
sleep 90
echo MEMORY
cat /proc/$(pidof ld.so)/smaps_rollup
echo MEMORY END
sleep 100000
"""
SCRIPTS = {
    "quit": ["advance 300", "quit"],
    "scan": ["advance 300", *["key down"] * 7, "key select", "settle 600000", "quit"],
    "second": ["advance 1020", "quit"],
    "third": ["advance 3020", "quit"],
    "key": ["advance 1000", "key page_up", "advance 20", "quit"],
}
AHEAD_S = 0.13  # of a track is decoded within 20 ms of its start

Counted = collections.namedtuple("Counted", "instructions ticks")
Reached = collections.namedtuple("Reached", "times first last")


class Counter:
    """What the plug-in counts, struct counts there."""

    def __init__(self, path):
        self.path = path
        path.write_bytes(bytes(12 * 8))

    def words(self):
        with open(self.path, "rb") as file, mmap.mmap(file.fileno(), 96, access=mmap.ACCESS_READ) as shared:
            return struct.unpack("=12Q", shared[:96])

    def now(self):
        return Counted(*self.words()[:2])

    def reached(self, place):
        """How often the player drew a frame (0) or went to sleep (1), and when first and last."""
        times, *moments = self.words()[2 + 5 * place:7 + 5 * place]
        return Reached(times, Counted(*moments[:2]), Counted(*moments[2:]))

    def over(self, seconds):
        before = self.now()
        time.sleep(seconds)
        return between(before, self.now())


def between(before, after):
    return Counted(after.instructions - before.instructions, after.ticks - before.ticks)


def beside(spent, tick):
    """Without the kernel's clock, of which a tick costs so much."""
    return spent.instructions - spent.ticks * tick


def first_words(program, names):
    """{name: "PAGE:WORD:WORD"}: where functions begin in a page, and their first two instructions."""
    listing = subprocess.run(["mipsel-linux-gnu-nm", "-C", program], check=True, capture_output=True, text=True).stdout
    places = {line.split(None, 2)[2]: int(line.split()[0], 16) for line in listing.splitlines()
              if len(line.split(None, 2)) == 3}
    data = program.read_bytes()
    head, = struct.unpack_from("<I", data, 28)
    size, count = struct.unpack_from("<HH", data, 42)
    loaded = [struct.unpack_from("<5I", data, head + i * size) for i in range(count)]
    found = {}
    for name in names:
        at = places[name]
        offset = next(at - begin + start for kind, start, begin, _, length in loaded
                      if kind == 1 and begin <= at < begin + length)
        found[name] = "%x:%x:%x" % (at & 0xfff, *struct.unpack_from("<2I", data, offset))
    return found


def places_of_kernel(options):
    """What the plug-in is to be told of the kernel: the function for a tick of its clock, and those that wait
    for a chip by counting down."""
    root, folder = options.work / "counts-kernel", options.work / "card"
    for each in (root, folder):
        shutil.rmtree(each, ignore_errors=True)
    folder.mkdir(parents=True)
    card, sound = options.work / "counts.img", options.work / "counts.wav"
    handheld_machine.make_card(card, options.kind, folder, 40)
    handheld_machine.make_root(root, options.work / "parts", options.kind, CLOCK, PLACES_OF_KERNEL)
    with handheld_machine.boot(root, options.work / "parts", sound, card) as machine:
        machine.wait_for("KNOWN", 300)
        said = machine.log.read_text(errors="replace").replace("\r", "")
    lines = re.findall(r"^([0-9a-f]{8}) \w (\S+)$", said, re.M)
    names = {name: (at, lines[i + 1][0]) for i, (at, name) in enumerate(lines[:-1])}
    return [f"tick={names[TICK][0]}", *(f"spin={names[name][0]}-{names[name][1]}" for name in SPINS)]


def make_plugin(work):
    plugin = work / "count.so"
    subprocess.run(["g++", "-std=c++20", "-O2", "-shared", "-fPIC", "-o", plugin,
                    HERE / "handheld_count" / "count.cpp"], check=True)
    return plugin


class Look:
    """One boot with a file to play, or none."""

    def __init__(self, options, name, commands, *songs):
        self.options = options
        self.root, self.folder = options.work / f"counts-{name}", options.work / "card"
        for each in (self.root, self.folder):
            shutil.rmtree(each, ignore_errors=True)
        shutil.copytree(options.card, self.folder / "zerv-player")
        self.configure(0)
        for song in songs:
            shutil.copy(options.music / song, self.folder / "zerv-player")
        self.card, self.sound = options.work / "counts.img", options.work / "counts.wav"
        handheld_machine.make_root(self.root, options.work / "parts", options.kind, CLOCK, commands)
        self.counter = Counter(options.work / "counts.number")
        self.tick = 0  # instructions of a tick of the kernel's clock

    def configure(self, display_off_s):
        (self.folder / "zerv-player/config.txt").write_text(SETTINGS % display_off_s)

    def boot(self):
        handheld_machine.make_card(self.card, self.options.kind, self.folder, 384)
        wanted = [f"into={self.counter.path}", *self.options.kernel,
                  f"frame={self.options.places[FRAME]}", f"sleep={self.options.places[SLEEP]}"]
        more = ["-cpu", "24Kc", "-plugin", ",".join([str(self.options.plugin), *wanted])]
        return handheld_machine.boot(self.root, self.options.work / "parts", self.sound, self.card, more)

    def begin(self, machine):
        """Waits for the machine to have nothing to do, and looks at what it executes then."""
        machine.wait_for("QUIET", 300)
        spent = self.counter.over(20)
        self.tick = spent.instructions / spent.ticks
        print(f"(a tick of the machine's clock: {self.tick:.0f} instructions)")
        return self.counter.now()

    def since(self, before, after=None):
        """Instructions beside the kernel's clock."""
        return beside(between(before, after or self.counter.now()), self.tick)

    def second(self, seconds):
        """Those of a second of the machine, which has missed none of its ticks."""
        spent = self.counter.over(seconds)
        return beside(spent, self.tick) / seconds

    def heard(self):
        """Whether there is any sound but silence so far."""
        return self.sound.exists() and any(self.sound.read_bytes()[44:])

    def sounding(self):
        """Seconds of it: a card that ran dry on a busy host is silent, and so is none of the music."""
        left, right = handheld_machine.recorded(self.sound)
        return sum(1 for pair in zip(left, right) if pair != (0, 0)) / 44100

    def memory(self, machine):
        machine.wait_for("MEMORY END", 900)
        said = machine.log.read_text(errors="replace").split("MEMORY", 1)[1]
        sizes = {key: int(size) for key, size in re.findall(r"^(\w+):\s+(\d+) kB", said, re.M)}
        return {"resident": sizes["Rss"] / 1024,
                "its own": sizes["Private_Dirty"] / 1024}

    def wait_for(self, holds, what):
        deadline = time.monotonic() + 300
        while not holds():
            if time.monotonic() > deadline:
                raise Failed(what)
            time.sleep(0.02)


def until_quiet(look, patience=400):
    """After the first of three looks that saw next to nothing."""
    deadline, looks = time.monotonic() + patience, []
    while time.monotonic() < deadline:
        looks.append((look.second(3), look.counter.now()))
        if len(looks) >= 3 and all(rate < QUIET for rate, _ in looks[-3:]):
            return looks[-3][1]
    raise Failed("the machine does not become quiet")


def press(look, machine, keys, pause=0.7):
    """Instructions of each key, less what would have been executed anyway."""
    idle, before, since = look.idle, look.counter.now(), time.monotonic()
    for key in keys:
        machine.press(key)
        time.sleep(pause)
    return (look.since(before) - idle * (time.monotonic() - since)) / len(keys)


def look_at_slides(look, machine):
    """From the list to the play screen and back. All that is executed meanwhile counts as the frames'."""
    press(look, machine, ["tab"] * 2, 3)
    first = look.counter.reached(0).times
    count = press(look, machine, ["tab"] * SLIDES, 3) * SLIDES
    frames = look.counter.reached(0).times - first
    print_row(f"a frame of a slide, {frames / SLIDES:.0f} of them a slide", count / frames)


def look_at_list(options):
    look = Look(options, "list", START % "")
    look.configure(DISPLAY_OFF_S)
    with look.boot() as machine:
        began = look.begin(machine)
        look.wait_for(lambda: look.counter.reached(1).times > 0, "the player does not start")
        print_row("exec to the first picture of the list", look.since(began, look.counter.reached(1).first))
        ended = until_quiet(look)
        print_row("the same, and quiet again", look.since(began, ended))
        memory = look.memory(machine)
        look.idle = 0
        press(look, machine, ["down", "up"])  # the display is lit by the first, if it went out
        until_quiet(look)
        look.idle = look.second(LOOK_S)
        print_row("an idle second, display on", look.idle)
        print_row("a key to the changed picture, letters never seen before", press(look, machine, ["down"] * KEYS))
        print_row("a key to the changed picture", press(look, machine, ["up"] * KEYS))
        look_at_slides(look, machine)
        time.sleep(DISPLAY_OFF_S + 10)
        print_row("an idle second, display off", look.second(LOOK_S))
        print(f"the list shown: {memory['resident']:.1f} MiB resident, {memory['its own']:.1f} its own")


def look_at_song(options, song):
    look = Look(options, Path(song).suffix[1:], START % song, song)
    with look.boot() as machine:
        began = look.begin(machine)
        look.wait_for(look.heard, f"{song} is not heard")
        print_row(f"exec to the first sound of {song}", look.since(began))
        time.sleep(5)
        first, first_sound = look.counter.now(), look.sounding()
        time.sleep(LOOK_S)
        last, last_sound = look.counter.now(), look.sounding()
        if last_sound - first_sound < LOOK_S / 2:
            raise Failed(f"{song}: only {last_sound - first_sound:.1f} s of sound in {LOOK_S}")
        print_row(f"a second of {song}, play screen shown", look.since(first, last) / (last_sound - first_sound))
        memory = look.memory(machine)
        print(f"playing {song}: {memory['resident']:.1f} MiB resident, {memory['its own']:.1f} its own")


def look_at_library(options):
    """The scripted device in the machine: runs that differ in one thing."""
    look = Look(options, "library", LIBRARY, *SONGS)
    shutil.copytree(options.library, look.folder / "Music")
    tracks = sorted(path.relative_to(look.folder) for path in (look.folder / "Music").rglob("*") if path.is_file())
    (look.root / "queue.m3u").write_text("".join(f"/card/{path}\n" for path in tracks))
    for name, lines in SCRIPTS.items():
        (look.root / f"{name}.script").write_text("\n".join(lines) + "\n")
    with look.boot() as machine:
        before, spent = look.begin(machine), {}

        def run(name):
            nonlocal before
            machine.wait_for(f"DONE {name}", 1800)
            now = look.counter.now()
            spent[name], before = look.since(before, now), now

        for name in ("library", "nothing", "scan"):
            run(name)
        print_row(f"scan, a file of {len(tracks)}", (spent["scan"] - spent["nothing"]) / len(tracks))
        for ending in ("mp3", "ogg", "flac"):
            for each in ("1", "3", "from", "key"):
                run(f"{ending}-{each}")
        seconds = {ending: (spent[f"{ending}-3"] - spent[f"{ending}-1"]) / 2 for ending in ("mp3", "ogg", "flac")}
        for ending in ("mp3", "ogg", "flac"):
            other = "ogg" if ending == "mp3" else "mp3"
            decoded = AHEAD_S * seconds[ending] - 0.02 * seconds[other]
            started = spent[f"{ending}-key"] - spent[f"{ending}-from"]
            print_row(f"start of a track beside decoding, {ending}", started - decoded)
        memory = look.memory(machine)
        print(f"{len(tracks)} tracks queued, playing MP3: "
              f"{memory['resident']:.1f} MiB resident, {memory['its own']:.1f} its own")


def print_row(words, count):
    print(f"{count / 1e6:9.2f} M  {words}", flush=True)


def main():
    parser = argparse.ArgumentParser(description="Counts the player's instructions on an emulated handheld.")
    for name in PLACES:
        parser.add_argument(f"--{name}", type=Path, required=True)
    parser.add_argument("--kind", choices=sorted(handheld_machine.MOUNTS), default="ext4")
    parser.add_argument("--only", default="")
    options = parser.parse_args()
    for name in PLACES:
        setattr(options, name, getattr(options, name).resolve())
    try:
        options.plugin = make_plugin(options.work)
        options.kernel = places_of_kernel(options)
        options.places = first_words(options.program, (FRAME, SLEEP))
        if options.only in ("", "list"):
            look_at_list(options)
        if options.only in ("", "library"):
            look_at_library(options)
        for song in SONGS:
            if options.only in song:
                look_at_song(options, song)
    except Failed as problem:
        print(f"FAILED  counts: {problem}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
