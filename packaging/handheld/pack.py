#!/usr/bin/env python3
"""Weighs a card folder and packs it: pack.py FOLDER ZIP

Prints what each part of it weighs, and fails when all of it is more than a card has for it. The zip
has the folder's name in front; the same files give the same bytes.
"""
import sys
import zipfile
from pathlib import Path

MOST = 16_000_000
AIM = 12_000_000
PARTS = [  # first match
    ("font", "*.ttf"), ("program", "zerv-player"), ("C library and loader", "lib/libc.so*"),
    ("C library and loader", "lib/libm.so*"), ("C library and loader", "lib/ld.so"),
    ("encodings and locales", "lib/gconv/*"), ("encodings and locales", "lib/locale/**"),
    ("sound configuration", "lib/alsa/**"), ("shared libraries", "lib/*"), ("skins", "skins/*"),
    ("licences", "licence*"), ("start, pictures, version", "*"),
]


def files_of(folder):
    return sorted(path for path in folder.rglob("*") if path.is_file())


def matches(name, pattern):
    if pattern.endswith("/**"):
        return name.startswith(pattern[:-2])
    return Path(name).match(pattern) and name.count("/") == pattern.count("/")


def part_of(name):
    return next(part for part, pattern in PARTS if matches(name, pattern))


def weigh(folder):
    sizes = {}
    for path in files_of(folder):
        part = part_of(str(path.relative_to(folder)))
        sizes[part] = sizes.get(part, 0) + path.stat().st_size
    for part, size in sorted(sizes.items(), key=lambda entry: -entry[1]):
        print(f"{size / 1e6:7.2f} MB  {part}")
    whole = sum(sizes.values())
    print(f"{whole / 1e6:7.2f} MB  all; {MOST / 1e6:g} at most, {AIM / 1e6:g} aimed at")
    return whole


def pack(folder, target):
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for path in files_of(folder):
            entry = zipfile.ZipInfo(f"{folder.name}/{path.relative_to(folder)}", (1980, 1, 1, 0, 0, 0))
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = (0o100755 if path.stat().st_mode & 0o100 else 0o100644) << 16
            archive.writestr(entry, path.read_bytes())


def main():
    folder, target = Path(sys.argv[1]).resolve(), Path(sys.argv[2])
    if weigh(folder) > MOST:
        print(f"{folder} is larger than a card has for it", file=sys.stderr)
        return 1
    pack(folder, target)
    return 0


if __name__ == "__main__":
    sys.exit(main())
