#!/usr/bin/env python3
"""Plays a long tone on an emulated handheld and looks for breaks in what comes out of its card.

    handheld_sound.py --card FOLDER --work FOLDER [--kind ext4|vfat] [--seconds N] [--busy N]

    --card     the card folder for the machine: all that it has of ours
    --work     has parts/ (the machine's packages, unpacked); receives what was heard
    --seconds  how long; 600 without it
    --busy     programs beside the player that keep the processor to themselves; 0 without it

The recording is compared with the tone, sample by sample; where it breaks off it is followed again
from where it goes on. The emulated card takes sound by the host's clock: while the host lets the machine wait
for a core, its sound runs dry whatever the player does. So the machine asks the host to come first, as far
as it may, and what it has waited all the same is noted along with the place in the recording. A break
beside such a moment is counted apart; any other is a failure.
"""
import argparse
import shutil
import sys
import threading
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.path.insert(0, str(HERE.parent / "tests" / "real"))
import handheld_machine  # noqa: E402
from handheld_machine import Failed  # noqa: E402
from make_flac import make_long_tone, make_tone  # noqa: E402

CLOCK = "2026-01-01T12:00:00"
RATE = 44100
STALL_S = 0.03  # the card holds 110 ms, and may have 65 when the player is woken
BESIDE_S = 1.0  # the emulator plays what the machine wrote a little later, and writes files in pieces
SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>

<cfg version="0.1">
	<vol>100</vol>
	<display_off_timeout>0</display_off_timeout>
	<lang>en</lang>
	<playback_order>normal</playback_order>
</cfg>
"""
START = """
i=0
while [ $i -lt %d ]; do
    (while true; do :; done) &
    i=$((i + 1))
done
echo PLAYING
ZERV_DEVICE=linux /card/zerv-player/zerv-player.sh /card/tone.flac
echo ENDED $?
"""


class Watch(threading.Thread):
    """Notes when the host let the machine wait: seconds of the recording, and for how long."""

    def __init__(self, machine, recording):
        super().__init__(daemon=True)
        self.machine, self.recording = machine, recording
        self.stalls, self.all_s = [], 0.0
        self.ended = threading.Event()

    def run(self):
        before = first = self.machine.waited()
        while not self.ended.wait(0.02):
            try:
                now = self.machine.waited()
                at = self.recording.stat().st_size / 4 / RATE
            except OSError:
                return
            if now - before >= STALL_S:
                self.stalls.append((at, now - before))
            before, self.all_s = now, now - first

    def was_stalled(self, at):
        return any(abs(at - each) < BESIDE_S for each, _ in self.stalls)


def breaks_of(heard, period):
    """Seconds at which the recording is not the tone's next sample, up to its last sound."""
    end = next((i for i in range(len(heard) - 1, -1, -1) if heard[i]), 0)
    at = next((i for i, value in enumerate(heard) if value), None)
    if at is None:
        raise Failed("nothing was played")
    phase, found, start = 1, [], at  # the first sample of the tone is 0
    length = len(period)
    while at <= end:
        run = min(end + 1 - at, 441000 - 441000 % length)
        wanted = (period[phase:] + period * (run // length + 1))[:run]
        if heard[at:at + run] == wanted:
            at, phase = at + run, (phase + run) % length
            continue
        at += next(i for i in range(run) if heard[at + i] != wanted[i])
        if end - at < length:
            break
        found.append((at - start) / RATE)
        at, phase = resume(heard, at, end, period)
    return found, (end - start) / RATE


def resume(heard, at, end, period):
    """Where half a period of the tone is heard again, and its phase."""
    half = len(period) // 2
    looked_for = {bytes((period + period)[phase:phase + half]): phase for phase in range(len(period))}
    while at + half <= end:
        phase = looked_for.get(bytes(heard[at:at + half]))
        if phase is not None:
            return at, phase
        at += 1
    return end + 1, 0


def record(options):
    root, folder, card = (options.work / name for name in ("sound-root", "sound-card", "sound-card.img"))
    for each in (root, folder):
        shutil.rmtree(each, ignore_errors=True)
    shutil.copytree(options.card, folder / "zerv-player")
    (folder / "zerv-player/config.txt").write_text(SETTINGS)
    (folder / "tone.flac").write_bytes(make_long_tone(options.seconds + 60))  # it starts before it is listened to
    handheld_machine.make_card(card, options.kind, folder, megabytes=72 + options.seconds // 8)
    handheld_machine.make_root(root, options.work / "parts", options.kind, CLOCK, START % options.busy)
    recording = options.work / "long.wav"
    with handheld_machine.boot(root, options.work / "parts", recording, card, first=True) as machine:
        machine.wait_for("PLAYING", handheld_machine.PATIENCE_S)
        machine.wait_for_sound(recording, handheld_machine.PATIENCE_S)
        watch = Watch(machine, recording)
        watch.start()
        time.sleep(options.seconds)
        watch.ended.set()
        watch.join()
        machine.press("q")
        machine.wait_for("ENDED 0", handheld_machine.PATIENCE_S)
    return recording, watch


def judge(options, recording, watch):
    left, right = handheld_machine.recorded(recording)
    if left != right:
        raise Failed(f"{recording}: left and right differ")
    found, seconds = breaks_of(left, make_period())
    for each in found:
        print(f"  break at {each:.3f} s{', the host let the machine wait' if watch.was_stalled(each) else ''}")
    ours = [each for each in found if not watch.was_stalled(each)]
    longest = max((each for _, each in watch.stalls), default=0)
    said = (f"{seconds:.0f} s on {options.kind}, {options.busy} busy programs beside: {len(ours)} breaks, and"
            f" {len(found) - len(ours)} where the host let the machine wait; it waited {watch.all_s:.1f} s in all,"
            f" {len(watch.stalls)} times {STALL_S * 1000:.0f} ms or more, {longest * 1000:.0f} ms at most")
    if ours:
        raise Failed(said)
    if seconds < options.seconds * 0.9:
        raise Failed(f"only {seconds:.0f} s were heard")
    return said


def make_period():
    return handheld_machine.array.array("h", make_tone(100 / RATE))


def main():
    parser = argparse.ArgumentParser(description="Looks for breaks in what an emulated handheld plays.")
    for name in ("card", "work"):
        parser.add_argument(f"--{name}", type=Path, required=True)
    parser.add_argument("--kind", choices=sorted(handheld_machine.MOUNTS), default="ext4")
    parser.add_argument("--seconds", type=int, default=600)
    parser.add_argument("--busy", type=int, default=0)
    options = parser.parse_args()
    for name in ("card", "work"):
        setattr(options, name, getattr(options, name).resolve())
    try:
        print(f"passed  sound: {judge(options, *record(options))}")
    except Failed as problem:
        print(f"FAILED  sound: {problem}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
