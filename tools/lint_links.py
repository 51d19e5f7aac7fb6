#!/usr/bin/env python3
"""Checks that the libraries of a build refer to symbols of the folders below them only.

Usage: lint_links.py BUILD. Reads tools/layers.txt and, with nm, the objects of every folder."""

import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from layers import read_layers  # noqa: E402


def objects_of(build, folder):
    """The object files of one folder, without those of the folders inside it. An older build may hold
    objects whose sources have moved away; they are nobody's any more."""
    target = folder.replace("/", "-")
    place = os.path.join(build, "CMakeFiles", target + ".dir", folder)
    if not os.path.isdir(place):
        return []
    return [os.path.join(place, name) for name in sorted(os.listdir(place))
            if name.endswith(".o") and os.path.exists(os.path.join(folder, name[:-len(".o")]))]


def symbols_of(files):
    """Returns (defined, wanted): symbol -> object file."""
    defined, wanted = {}, {}
    for path in files:
        lines = subprocess.run(["nm", "-C", path], check=True, capture_output=True, text=True).stdout
        for line in lines.splitlines():
            kind, name = line[17:18], line[19:]
            if kind == "U":
                wanted.setdefault(name, path)
            elif kind.isupper() and kind not in "VW":
                defined[name] = path
    return defined, wanted


def main():
    build = sys.argv[1]
    layers = read_layers("tools/layers.txt")
    tables = {each.folder: symbols_of(objects_of(build, each.folder)) for each in layers}
    owner = {name: folder for folder, (defined, _) in tables.items() for name in defined}
    if not owner:
        sys.exit(f"{build} holds no objects: build it first")
    faults = []
    for each in layers:
        for name, path in sorted(tables[each.folder][1].items()):
            home = owner.get(name)
            if home and home != each.folder and home not in each.below:
                faults.append(f"{each.folder} must not call {name} of {home} ({os.path.basename(path)})")
    for fault in faults:
        print(fault, file=sys.stderr)
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
