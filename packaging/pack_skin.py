#!/usr/bin/env python3
"""Packs a skin: pack_skin.py PACKAGE.zip FOLDER NAME...

The same files give the same bytes wherever and whenever they are packed: names in order, one time,
one mode, whatever clock, zone and mask of modes the machine has.
"""
import sys
import zipfile
from pathlib import Path

TIME = (2026, 1, 1, 0, 0, 0)
MODE = 0o100644 << 16
UNIX = 3


def main(package, folder, *names):
    with zipfile.ZipFile(package, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for name in sorted(names):
            entry = zipfile.ZipInfo(name, TIME)
            entry.create_system = UNIX
            entry.external_attr = MODE
            archive.writestr(entry, Path(folder, name).read_bytes(), zipfile.ZIP_DEFLATED, 9)


if __name__ == "__main__":
    main(*sys.argv[1:])
