#!/usr/bin/env python3
"""Runs a card folder, and what its image holds, under user-mode emulation; compares picture and sound.

    handheld_folder.py --card FOLDER --image FILE --emulator PROGRAM --host FOLDER --work FOLDER

    --card      the card folder of another machine
    --image     the same as a squashfs image, which must hold the same files
    --emulator  runs that machine's programs
    --host      the program folder of this machine, which draws and plays what is compared
    --work      receives what was drawn and played

The list and the play screen of a FLAC tone; its sound must be the same to the sample. Eight pixels
may be a step of their colour off, since FreeType splits curves another way where a word has 32 bits.
"""
import argparse
import filecmp
import os
import shutil
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.path.insert(0, str(HERE.parent / "tests" / "real"))
from make_flac import make_flac  # noqa: E402
from png_file import read_png  # noqa: E402

PICTURES = ["list.png", "play.png"]
SCRIPT = """wall 2026-01-01T12:00:00
advance 200
key back
advance 400
screenshot list.png
key switch
advance 4000
screenshot play.png
quit
"""
SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>

<cfg version="0.1">
	<vol>100</vol>
	<display_off_timeout>0</display_off_timeout>
	<lang>en</lang>
	<playback_order>normal</playback_order>
</cfg>
"""


class Failed(Exception):
    """What does not hold, in words."""


def play(folder, command, **more):
    (folder / "config.txt").write_text(SETTINGS)
    (folder / "tone.flac").write_bytes(make_flac(3))
    (folder / "script").write_text(SCRIPT)
    environment = {**os.environ, "ZERV_DEVICE": "virtual", "ZERV_VIRTUAL_SCRIPT": "script",
                   "ZERV_VIRTUAL_SOUND": "sound.wav", **more}
    done = subprocess.run([*command, "tone.flac"], cwd=folder, env=environment, capture_output=True, text=True,
                          check=False, timeout=600)
    if done.returncode:
        raise Failed(f"{folder}: the player ended with {done.returncode}: {done.stderr}")


def play_foreign(folder, emulator):
    lib = folder / "lib"
    play(folder, [emulator, "lib/ld.so", "--library-path", str(lib), "./zerv-player"],
         GCONV_PATH=str(lib / "gconv"), LOCPATH=str(lib / "locale"))


def differing(one, other):
    """Pixels that differ, and by how much at most."""
    (width, height, rows), (_, _, wanted) = read_png(one), read_png(other)
    count = most = 0
    for y in range(height):
        if rows[y] == wanted[y]:
            continue
        for x in range(0, width * 3, 3):
            apart = max(abs(rows[y][x + i] - wanted[y][x + i]) for i in range(3))
            count, most = count + (apart > 0), max(most, apart)
    return count, most


def compare(folder, host):
    for name in PICTURES:
        count, most = differing(folder / name, host / name)
        if count > 8 or most > 9:
            raise Failed(f"{folder / name}: {count} pixels differ from {host / name}, by {most} at most")
    if (folder / "sound.wav").read_bytes() != (host / "sound.wav").read_bytes():
        raise Failed(f"{folder / 'sound.wav'} is not {host / 'sound.wav'}")
    if not any((host / "sound.wav").read_bytes()[44:]):
        raise Failed("nothing was played")


def same_files(one, other):
    names = [sorted(str(path.relative_to(root)) for path in root.rglob("*")) for root in (one, other)]
    if names[0] != names[1]:
        raise Failed(f"{one} and {other} do not hold the same files")
    files = [name for name in names[0] if (one / name).is_file()]
    _, differ, odd = filecmp.cmpfiles(one, other, files, shallow=False)
    if differ or odd:
        raise Failed(f"{one} and {other} differ: {differ + odd}")


def run(options):
    host, folder, image = (options.work / name for name in ("host", "folder", "image"))
    for each in (host, folder, image):
        shutil.rmtree(each, ignore_errors=True)
    shutil.copytree(options.host, host)
    play(host, ["./zerv-player"])
    subprocess.run(["unsquashfs", "-no-progress", "-quiet", "-d", image, options.image], check=True,
                   stdout=subprocess.DEVNULL)
    same_files(options.card, image)
    shutil.copytree(options.card, folder)
    for each in (folder, image):
        play_foreign(each, options.emulator)
        compare(each, host)
    size = sum(path.stat().st_size for path in options.card.rglob("*") if path.is_file())
    return f"{size / 1e6:.1f} MB, as an image {options.image.stat().st_size / 1e6:.1f} MB"


def main():
    parser = argparse.ArgumentParser(description="Runs a card folder and its image under emulation.")
    for name in ("card", "image", "host", "work"):
        parser.add_argument(f"--{name}", type=lambda text: Path(text).resolve(), required=True)
    parser.add_argument("--emulator", required=True)
    options = parser.parse_args()
    try:
        print(f"passed  {options.card}: two pictures and a tone, from the folder and from its image; {run(options)}")
    except Failed as problem:
        print(f"FAILED  {problem}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
