#!/usr/bin/env python3
"""Boots an emulated handheld whose player lives on a memory card: the kernel's own ext4 or FAT.

    handheld_card.py --card FOLDER --work FOLDER [--kind ext4|vfat] [--cuts N] [--seed N]

    --card  the card folder for the machine: all that it has of ours
    --work  has parts/ (the machine's packages, unpacked); receives the card and the logs
    --kind  the file system of the card
    --cuts  how often power is cut
    --only-cuts  leaves out what comes before
    --seed  which moments; printed, so that they can be had again

The player scans a music folder of a thousand files on the card, saves settings and playlist, and
updates itself. Then the machine loses power while it scans, saves and updates; each time it must
start again, with whole files, a playlist of all that had been saved and a library that opens.
What the machine did is in WORK/card-*.log.
"""
import argparse
import random
import shutil
import sys
import time
import zipfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.path.insert(0, str(HERE.parent / "tests" / "real"))
import handheld_cuts  # noqa: E402
import handheld_machine  # noqa: E402
from handheld_machine import PATIENCE_S, Failed, shown  # noqa: E402
from make_flac import make_flac  # noqa: E402

CLOCK = "2026-01-01T12:00:00"
SERVICE = "zerv-player/update/zerv-player-dingoo"
SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>

<cfg version="0.1">
	<display_off_timeout>0</display_off_timeout>
	<lang>en</lang>
	<playback_order>normal</playback_order>
	<library_path>/card/Music</library_path>
</cfg>
"""
FILES = 1000
SONGS = ["Ünï çödé/One.flac", "Ünï çödé/zwei.FLAC", "さん.flac"]
# Titles in the encodings that tags had before they had a mark for it.
OLD_TITLES = {"ko": ("바다 노래", "cp949"), "ja": ("夜の海", "cp932")}

PREPARE = """
export ZERV_DEVICE=virtual ZERV_UPDATE_HOST=127.0.0.1
cd /card/zerv-player
ifconfig lo 127.0.0.1 up
httpd -p 127.0.0.1:80 -h /www
"""

VISIT = PREPARE + """
ZERV_VIRTUAL_SCRIPT=/update.script ./zerv-player.sh
echo UPDATED $?
ZERV_VIRTUAL_SCRIPT=/scan.script ./zerv-player.sh
echo SCANNED $?
ZERV_VIRTUAL_SCRIPT=/queue.script ./zerv-player.sh /card/Music/さん.flac
echo QUEUED $?
cmp zerv-player /new && echo NEW PROGRAM
cat news/read.txt
cat config.txt current.m3u
echo rubbish >library.db
ZERV_VIRTUAL_SCRIPT=/quit.script ./zerv-player.sh
echo MENDED $?
cat library.db.damaged
rm library.db.damaged
for language in ko ja; do
    ZERV_UPDATE_HOST= ZERV_VIRTUAL_SCRIPT=/title.script ./zerv-player.sh -c /$language.xml /card/Old/$language.mp3
done
find .
echo ENDED
"""

SCRIPTS = {
    "update": ["settle 600000", "advance 300", "quit"],
    # The row that scans is the eighth of the main menu; the track list is the sixth.
    "scan": ["advance 300", *["key down"] * 7, "key select", "settle 600000", "advance 300",
             *["key up"] * 2, "key select", "advance 300", "text", "quit"],
    "queue": ["key vol_up", "advance 100", "quit"],
    "quit": ["quit"],
    "open": ["advance 300", *["key down"] * 5, "key select", "advance 300", "text", "quit"],
    "title": ["settle 600000", "advance 300", "text", "quit"],
}


def write_package(path, *entries):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content, mode in entries:
            record = zipfile.ZipInfo(name)
            record.external_attr = mode << 16
            archive.writestr(record, content)


def make_old_mp3(title, encoding):
    """A second of silence with a tag at its end."""
    frame = bytes.fromhex("fffb9064") + bytes(413)
    tag = b"TAG" + title.encode(encoding).ljust(30, b"\0") + bytes(94) + b"\xff"
    return frame * 38 + tag


def fill_root(root, options):
    for language in OLD_TITLES:
        (root / f"{language}.xml").write_text(SETTINGS.replace("<lang>en<", f"<lang>{language}<"))
    for name, lines in SCRIPTS.items():
        (root / f"{name}.script").write_text("\n".join(lines) + "\n")
    service = root / "www" / SERVICE
    service.mkdir(parents=True)
    (service / "0.4").write_text("http://127.0.0.1/package.zip\n")
    (service / "0.5").write_text("none\n")
    old = (options.card / "zerv-player").read_bytes()
    new = old.replace(b"\x000.4\x00", b"\x000.5\x00")
    if new == old:
        raise Failed("the version stands nowhere in the program")
    (root / "old").write_bytes(old)
    (root / "new").write_bytes(new)
    write_package(root / "www/package.zip", ("zerv-player", new, 0o100755), ("news/", b"", 0o40755),
                  ("news/read.txt", b"what is new\n", 0o100444), ("a:b", b"no such name", 0o100644))


def make_root(options, name, commands, before_card=""):
    root = options.work / name
    shutil.rmtree(root, ignore_errors=True)
    root.mkdir(parents=True)
    fill_root(root, options)
    handheld_machine.make_root(root, options.work / "parts", options.kind, CLOCK, commands, before_card)
    return root


def make_card(options, path):
    folder = options.work / "card"
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(options.card, folder / "zerv-player")
    (folder / "zerv-player/config.txt").write_text(SETTINGS)
    sound = make_flac(1)
    for song in SONGS + [f"Many {i % 10}/{i}.flac" for i in range(FILES - len(SONGS))]:
        path_of_song = folder / "Music" / song
        path_of_song.parent.mkdir(parents=True, exist_ok=True)
        path_of_song.write_bytes(sound)
    (folder / "Old").mkdir()
    for language, title in OLD_TITLES.items():
        (folder / f"Old/{language}.mp3").write_bytes(make_old_mp3(*title))
    handheld_machine.make_card(path, options.kind, folder, megabytes=256)


def boot(root, options, card):
    return handheld_machine.boot(root, options.work / "parts", options.work / "card.wav", card)


def expect(log, *lines):
    said = shown(log).splitlines()
    for line in lines:
        if line not in said:
            raise Failed(f"the machine never said: {line}; see {log}")


def visit(options, card):
    """Everything once, on a card that nobody takes away."""
    root = make_root(options, "card-visit", VISIT)
    with boot(root, options, card) as machine:
        machine.wait_for("ENDED", PATIENCE_S)
        machine.wait_for_end(PATIENCE_S)
        log = machine.log
    left_out = ["update: left out a:b, which this disk has no name for"] if options.kind == "vfat" else []
    expect(log, *left_out, "update: installed http://127.0.0.1/package.zip, starting again",
           "UPDATED 0", "NEW PROGRAM", "what is new", "SCANNED 0", "QUEUED 0", "MENDED 0", "rubbish",
           "\t<vol>35</vol>", "/card/Music/さん.flac")
    for title, _ in OLD_TITLES.values():
        if f"|{title}|" not in shown(log):
            raise Failed(f"{title} was not read right; see {log}")
    if f"|All Tracks ({FILES} 曲目)|" not in shown(log):
        raise Failed(f"the scan found no {FILES} tracks; see {log}")
    if "NO CARD" in shown(log) or "_tmp" in shown(log):
        raise Failed(f"the card was not as it should be; see {log}")
    handheld_machine.check_card(card, options.kind)


def cut_power(options, card):
    """Returns what was going on when the power went, in words."""
    root = make_root(options, "card-cut", PREPARE + handheld_cuts.WORK, handheld_cuts.FROZEN)
    (root / "sums").write_text(handheld_cuts.checksums(options.card))
    cuts = handheld_cuts.Cuts(options, root, card)
    cuts.run()
    return cuts.told()


def main():
    parser = argparse.ArgumentParser(description="Boots an emulated handheld with a memory card.")
    for name in ("card", "work"):
        parser.add_argument(f"--{name}", type=Path, required=True)
    parser.add_argument("--kind", choices=sorted(handheld_machine.MOUNTS), default="vfat")
    parser.add_argument("--cuts", type=int, default=2)
    parser.add_argument("--only-cuts", action="store_true")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 30))
    options = parser.parse_args()
    for name in ("card", "work"):
        setattr(options, name, getattr(options, name).resolve())
    options.random = random.Random(options.seed)
    card = options.work / "card.img"
    started = time.monotonic()
    try:
        make_card(options, card)
        if not options.only_cuts:
            visit(options, card)
        moments = cut_power(options, card)
    except Failed as problem:
        print(f"FAILED  card, {options.kind}, --seed {options.seed}: {problem}")
        return 1
    visited = "" if options.only_cuts else f"settings, playlist, a scan of {FILES} files, update, damaged library, "
    print(f"passed  card, {options.kind}: {visited}{options.cuts} power cuts ({moments}; --seed {options.seed}), in {time.monotonic() - started:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
