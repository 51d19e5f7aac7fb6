#!/usr/bin/env python3
"""Boots an emulated handheld whose player lives on a memory card: the kernel's own FAT.

    handheld_card.py --player FOLDER --sysroot FOLDER --work FOLDER

    --player   the program folder built for the machine
    --sysroot  where the machine's shared libraries are
    --work     has parts/ (the machine's packages, unpacked); receives the card and the logs

The player scans a music folder on the card, saves settings and playlist, and updates itself. Then
the machine loses power some times while playlists are saved; after each time, the playlist must be
whole and hold all that had been saved. What the machine did is in WORK/card-*.log.
"""
import argparse
import os
import random
import shutil
import subprocess
import sys
import time
import zipfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.path.insert(0, str(HERE.parent / "tests" / "real"))
import handheld_machine  # noqa: E402
from handheld_machine import Failed  # noqa: E402
from make_flac import make_flac  # noqa: E402

CLOCK = "2026-01-01T12:00:00"
CUTS = 2
PATIENCE_S = 300  # a busy host emulates slowly
MODULES = ["ata_piix", "nls_cp437", "nls_ascii", "nls_utf8", "fat", "vfat"]
SERVICE = "zerv-player/update/zerv-player-dingoo"
SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>

<cfg version="0.1">
	<display_off_timeout>0</display_off_timeout>
	<lang>en</lang>
	<playback_order>normal</playback_order>
	<library_path>/card/Music</library_path>
</cfg>
"""
SONGS = ["Ünï çödé/One.flac", "Ünï çödé/zwei.FLAC", "さん.flac"]

START = """#!/bin/sh
export PATH=/bin LD_LIBRARY_PATH=/lib HOME=/ TZ=UTC ZERV_DEVICE=virtual
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
for module in %%(modules)s; do insmod /lib/modules/$module.ko; done
date -s "%%(clock)s" >/dev/null
mkdir /card
mount -t vfat -o utf8=1 /dev/sda /card || echo NO CARD
%s
cd /
umount /card
echo ENDED
reboot -f
"""

VISIT = """
cp -r /player/. /card/
cd /card
ifconfig lo 127.0.0.1 up
httpd -p 127.0.0.1:80 -h /www
ZERV_UPDATE_HOST=127.0.0.1 ZERV_VIRTUAL_SCRIPT=/update.script ./zerv-player
echo UPDATED $?
ZERV_VIRTUAL_SCRIPT=/scan.script ./zerv-player
echo SCANNED $?
ZERV_VIRTUAL_SCRIPT=/queue.script ./zerv-player /card/Music/さん.flac
echo QUEUED $?
cmp zerv-player /new && echo NEW PROGRAM
cat news/read.txt
cat config.txt current.m3u
find .
"""

UPDATE = """
cp -r /player/. /card/
sync
cd /card
ifconfig lo 127.0.0.1 up
httpd -p 127.0.0.1:80 -h /www
ZERV_UPDATE_HOST=127.0.0.1 ZERV_VIRTUAL_SCRIPT=/update.script ./zerv-player
echo UPDATED $?
sleep 100000
"""

AFTER_UPDATE = """
cmp /card/zerv-player /new && echo NEW PROGRAM
cat /card/news/read.txt
"""

# Every start adds a file to the playlist. The last one that ended had saved what it added.
SAVE = """
cd /card
echo KEPT
cat current.m3u
echo KEPT END
rm -f current.m3u
i=0
while true; do
    ZERV_VIRTUAL_SCRIPT=/quit.script ./zerv-player /card/$i.flac >/dev/null 2>&1
    echo SAVED $i
    i=$((i + 1))
done
"""

SCRIPTS = {
    "update": ["settle", "advance 300", "quit"],
    # The row that scans is the eighth of the main menu; the track list is the sixth.
    "scan": ["advance 300", *["key down"] * 7, "key select", "settle 60000", "advance 300",
             *["key up"] * 2, "key select", "advance 300", "text", "quit"],
    "queue": ["key vol_up", "advance 100", "quit"],
    "quit": ["quit"],
}


def write_package(path, *entries):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content, mode in entries:
            record = zipfile.ZipInfo(name)
            record.external_attr = mode << 16
            archive.writestr(record, content)


def fill_root(root, options):
    shutil.copytree(options.player, root / "player")
    (root / "player/config.txt").write_text(SETTINGS)
    for song in SONGS:
        path = root / "player/Music" / song
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(make_flac(1))
    for name, lines in SCRIPTS.items():
        (root / f"{name}.script").write_text("\n".join(lines) + "\n")
    service = root / "www" / SERVICE
    service.mkdir(parents=True)
    (service / "0.4").write_text("http://127.0.0.1/package.zip\n")
    (service / "0.5").write_text("none\n")
    old = (options.player / "zerv-player").read_bytes()
    new = old.replace(b"\x000.4\x00", b"\x000.5\x00")
    if new == old:
        raise Failed("the version stands nowhere in the program")
    (root / "new").write_bytes(new)
    write_package(root / "www/package.zip", ("zerv-player", new, 0o100755), ("news/", b"", 0o40755),
                  ("news/read.txt", b"what is new\n", 0o100444), ("a:b", b"no such name", 0o100644))


def make_root(options, name, commands):
    root = options.work / name
    shutil.rmtree(root, ignore_errors=True)
    fill_root(root, options)
    handheld_machine.make_root(root, options.work / "parts", options.sysroot, CLOCK,
                               init=START % commands, more_modules=MODULES)
    # The player loads it when it first asks a service, so that nobody else needs it.
    handheld_machine.add_library("libcurl.so.4", root / "lib", options.sysroot)
    return root


def make_card(path):
    with open(path, "wb") as file:
        file.truncate(96 << 20)
    subprocess.run(["mkfs.vfat", path], check=True, stdout=subprocess.DEVNULL)


def boot(root, options, card):
    drive = ["-drive", f"file={card},format=raw,if=ide"]
    return handheld_machine.boot(root, options.work / "parts", options.work / "card.wav", drive)


def shown(log):
    return log.read_text(errors="replace").replace("\r", "")


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
        log = machine.log
    expect(log, "update: left out a:b, which this disk has no name for",
           "update: installed http://127.0.0.1/package.zip, starting again",
           "UPDATED 0", "NEW PROGRAM", "what is new", "SCANNED 0", "QUEUED 0",
           "\t<vol>35</vol>", "/card/Music/さん.flac", *[f"./Music/{song}" for song in SONGS])
    if "|All Tracks (3 曲目)|" not in shown(log):
        raise Failed(f"the scan found no three tracks; see {log}")
    if "NO CARD" in shown(log) or "_tmp" in shown(log):
        raise Failed(f"the card was not as it should be; see {log}")
    if subprocess.run(["fsck.vfat", "-n", card], stdout=subprocess.DEVNULL, check=False).returncode:
        raise Failed(f"fsck.vfat -n {card} finds faults")


def saved_before(log):
    """The number of the last playlist that was saved when the power went; -1: none."""
    said = [line for line in shown(log).splitlines() if line.startswith("SAVED ")]
    return len(said) - 1


def check_kept(log, before):
    text = shown(log).split("KEPT\n", 1)[1].split("KEPT END", 1)[0]
    kept = [line for line in text.split("\n") if line]
    wanted = [f"/card/{i}.flac" for i in range(len(kept))]
    if kept != wanted or len(kept) < before + 1:
        raise Failed(f"{before + 1} entries had been saved, and the playlist holds {kept}; see {log}")


def cut_power(options, card):
    root = make_root(options, "card-cut", SAVE)
    before = None
    for cut in range(CUTS + 1):
        with boot(root, options, card) as machine:
            machine.wait_for("KEPT END", PATIENCE_S)
            if before is not None:
                check_kept(machine.log, before)
            if cut == CUTS:
                return
            machine.wait_for("SAVED 1", PATIENCE_S)
            time.sleep(random.uniform(0, 4))
        before = saved_before(machine.log)
        shutil.copy(machine.log, machine.log.with_suffix(f".{cut}.log"))


def cut_after_update(options, card):
    make_card(card)
    with boot(make_root(options, "card-update", UPDATE), options, card) as machine:
        machine.wait_for("UPDATED 0", PATIENCE_S)
    with boot(make_root(options, "card-updated", AFTER_UPDATE), options, card) as machine:
        machine.wait_for("ENDED", PATIENCE_S)
        log = machine.log
    expect(log, "NEW PROGRAM", "what is new")


def main():
    parser = argparse.ArgumentParser(description="Boots an emulated handheld with a memory card.")
    for name in ("player", "sysroot", "work"):
        parser.add_argument(f"--{name}", type=Path, required=True)
    options = parser.parse_args()
    for name in ("player", "sysroot", "work"):
        setattr(options, name, getattr(options, name).resolve())
    os.environ["PATH"] += ":/sbin:/usr/sbin"  # where the tools of file systems are
    card = options.work / "card.img"
    started = time.monotonic()
    try:
        make_card(card)
        visit(options, card)
        cut_power(options, card)
        cut_after_update(options, card)
    except Failed as problem:
        print(f"FAILED  card: {problem}")
        return 1
    print(f"passed  card: settings, playlist, scan, update, {CUTS} power cuts,"
          f" in {time.monotonic() - started:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
