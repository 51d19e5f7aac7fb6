#!/usr/bin/env python3
"""Boots an emulated handheld, plays a tone on it, presses keys, quits, and compares what came out.

    handheld.py --card FOLDER --host FOLDER --work FOLDER [--kind ext4|vfat] [--tries N]

    --card  the card folder for the machine: all that it has of ours
    --host  the program folder of this machine, whose virtual device draws the picture to compare
    --work  has parts/ (the machine's packages, unpacked); receives what was seen and heard
    --kind  the file system of the card
    --tries  begins again when something is not as it should be, so many times in all

The machine has a kernel of its own, a frame buffer of 320 x 240, keys and a sound card. The screen
must match to the pixel, the recorded sound to the sample. Any break is a failure, unless the host let the
machine wait for a core: nobody plays on while the whole machine stands. Then it says that the sound
was not judged.
"""
import argparse
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.path.insert(0, str(HERE.parent / "tests" / "real"))
import handheld_machine  # noqa: E402
from handheld_machine import Failed  # noqa: E402
from make_flac import make_flac, make_tone  # noqa: E402
from png_file import read_png, write_png  # noqa: E402

TONE_SECONDS = 10
HOST_WAIT_S = 0.3  # in all while the tone plays, on a host that is not busy; it lasts some 20 s
TAP = (100, 105)  # the second row of the list
# What a person presses, and what the same is called in a script of the virtual device.
KEYS = [("esc", "back"), ("esc", "back"), ("down", "down"), ("down", "down"), ("up", "up"),
        ("pgdn", "page_down"), ("pgdn", "page_down"), ("pgup", "page_up"), ("down", "down"),
        ("down", "down")]
CLOCK = "2026-01-01T12:00:00"
SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>

<cfg version="0.1">
	<vol>100</vol>
	<display_off_timeout>0</display_off_timeout>
	<lang>en</lang>
	<playback_order>normal</playback_order>
</cfg>
"""


START = """
echo PLAYING
ZERV_DEVICE=linux /card/zerv-player/zerv-player.sh /card/zerv-player/tone.flac
echo ENDED $?
"""


def fill_program_folder(folder, source):
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(source, folder)
    (folder / "config.txt").write_text(SETTINGS)
    (folder / "tone.flac").write_bytes(make_flac(TONE_SECONDS))


def picture_of_host(options):
    """The rows that the same keys lead to here."""
    folder = options.work / "host"
    fill_program_folder(folder, options.host)
    script = [f"wall {CLOCK}", "advance 200"]
    for _, key in KEYS:
        script += [f"key {key}", "advance 400"]
    script += [f"touch press {TAP[0]} {TAP[1]}", "advance 400",
               f"touch release {TAP[0]} {TAP[1]}", f"advance {TONE_SECONDS * 1000}", "screenshot wanted.png", "quit"]
    (folder / "script").write_text("\n".join(script) + "\n")
    environment = {**os.environ, "ZERV_DEVICE": "virtual", "ZERV_VIRTUAL_SCRIPT": "script"}
    subprocess.run(["./zerv-player", "tone.flac"], cwd=folder, env=environment, check=True,
                   stdout=subprocess.DEVNULL)
    shutil.copy(folder / "wanted.png", options.work / "wanted.png")
    return read_png(folder / "wanted.png")


def compare_picture(machine, wanted, seconds, shown):
    """Waits until the screen shows it."""
    width, height, rows = wanted
    deadline = time.monotonic() + seconds
    while True:
        actual = machine.screen(width, height)
        count = sum(actual[y][x * 3:x * 3 + 3] != rows[y][x * 3:x * 3 + 3]
                    for y in range(height) for x in range(width))
        if count == 0:
            return
        if time.monotonic() > deadline:
            write_png(shown, width, actual)
            raise Failed(f"{count} of {width * height} pixels differ: compare {shown} with wanted.png")
        time.sleep(0.5)


def press_keys(machine):
    """Slowly: what is tested is that each arrives."""
    for key, _ in KEYS:
        machine.press(key)
        time.sleep(0.6)
    machine.tap(*TAP)


def compare_sound(path, wanted):
    """Every sample of the tone in its place, on both sides."""
    left, right = handheld_machine.recorded(path)
    start = next((i for i, value in enumerate(left) if value), None)
    if start is None:
        raise Failed(f"{path}: nothing was played")
    first = next(i for i, value in enumerate(wanted) if value)
    heard, expected = left[start:start + len(wanted) - first], wanted[first:]
    for i, value in enumerate(expected):
        if i >= len(heard) or heard[i] != value:
            raise Failed(f"{path}: the tone breaks after {i / 44100:.3f} s of {TONE_SECONDS}")
    if right[start:start + len(expected)] != heard:
        raise Failed(f"{path}: left and right differ")


def judge_sound(sound, waited):
    """What is to be said of the sound."""
    try:
        compare_sound(sound, make_tone(TONE_SECONDS))
    except Failed as problem:
        if waited < HOST_WAIT_S:
            raise
        return f"sound NOT JUDGED: {problem}, but the host let the machine wait {waited:.1f} s"
    return f"{TONE_SECONDS} s of sound without a break (the host let the machine wait {waited:.2f} s)"


def run(options):
    wanted = picture_of_host(options)
    root, folder, card = (options.work / name for name in ("root", "card", "card.img"))
    for each in (root, folder):
        shutil.rmtree(each, ignore_errors=True)
    fill_program_folder(folder / "zerv-player", options.card)
    handheld_machine.make_card(card, options.kind, folder)
    handheld_machine.make_root(root, options.work / "parts", options.kind, CLOCK, START)
    sound = options.work / "sound.wav"
    with handheld_machine.boot(root, options.work / "parts", sound, card) as machine:
        machine.wait_for("PLAYING", 120)
        machine.wait_for_sound(sound, 60)
        waited = machine.waited()
        press_keys(machine)
        time.sleep(TONE_SECONDS)
        waited = machine.waited() - waited
        compare_picture(machine, wanted, 30, options.work / "shown.png")
        machine.press("q")
        machine.wait_for("ENDED 0", 30)
        machine.wait_for_end(30)
    handheld_machine.check_card(card, options.kind)
    return judge_sound(sound, waited)


def main():
    parser = argparse.ArgumentParser(description="Boots an emulated handheld with the player.")
    for name in ("card", "host", "work"):
        parser.add_argument(f"--{name}", type=Path, required=True)
    parser.add_argument("--kind", choices=sorted(handheld_machine.MOUNTS), default="ext4")
    parser.add_argument("--tries", type=int, default=1)
    options = parser.parse_args()
    for name in ("card", "host", "work"):
        setattr(options, name, getattr(options, name).resolve())
    started = time.monotonic()
    for left in range(options.tries - 1, -1, -1):
        try:
            sound = run(options)
            break
        except Failed as problem:
            print(f"FAILED  handheld: {problem}")
        if left == 0:
            return 1
        print("once more", flush=True)
    print(f"passed  handheld: {len(KEYS)} keys, a tap, a picture, {sound}, in"
          f" {time.monotonic() - started:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
