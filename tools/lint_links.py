#!/usr/bin/env python3
"""Checks that the libraries of a build refer to symbols of the folders below them only, and that the
sources of a folder call each other in one direction.

Usage: lint_links.py BUILD. Reads tools/layers.txt and, with nm, the objects of every folder."""

import functools
import glob
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
    """Returns (defined, wanted): symbol -> object file, of the first that wants it."""
    defined, wanted = {}, {}
    for path in files:
        own, others = symbols_in(path)
        defined.update(dict.fromkeys(own, path))
        for name in others:
            wanted.setdefault(name, path)
    return defined, wanted


@functools.cache
def symbols_in(path):
    """Returns (defined, wanted) of one object file."""
    defined, wanted = set(), set()
    lines = subprocess.run(["nm", "-C", path], check=True, capture_output=True, text=True).stdout
    for line in lines.splitlines():
        kind, name = line[17:18], line[19:]
        if kind == "U":
            wanted.add(name)
        elif kind.isupper() and kind not in "VW":
            defined.add(name)
    return defined, wanted


def tool_objects(build):
    """The object files of each program under tools/ that has a folder of its own, folder by folder."""
    found = {}
    for target in glob.glob(os.path.join(build, "tools/CMakeFiles/*.dir/")):
        for path in sorted(glob.glob(os.path.join(target, "*/*.o"))):
            source = os.path.join("tools", os.path.relpath(path, target))[:-len(".o")]
            if os.path.exists(source):
                found.setdefault(os.path.dirname(source), []).append(path)
    return found


def calls_between(files):
    """{object file: {object file whose symbols it wants: one of these symbols}}."""
    home = {name: path for path in files for name in symbols_in(path)[0]}
    calls = {}
    for path in files:
        calls[path] = {home[name]: name for name in sorted(symbols_in(path)[1]) if name in home}
        calls[path].pop(path, None)
    return calls


def circles_among(files):
    """What is left of the calls when every file that calls, or is called by, nobody of the rest is gone."""
    calls = calls_between(files)
    while True:
        called = {to for wants in calls.values() for to in wants}
        ends = [path for path, wants in calls.items() if not wants or path not in called]
        if not ends:
            return calls
        for path in ends:
            del calls[path]
        for wants in calls.values():
            for path in ends:
                wants.pop(path, None)


def source_name(path):
    return os.path.basename(path)[:-len(".o")]


def tell_circles(folder, files):
    return [f"circle in {folder}: {source_name(path)} calls {name} of {source_name(to)}"
            for path, wants in sorted(circles_among(files).items()) for to, name in sorted(wants.items())]


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
    for each in layers:
        faults += tell_circles(each.folder, objects_of(build, each.folder))
    for folder, files in sorted(tool_objects(build).items()):
        faults += tell_circles(folder, files)
    for fault in faults:
        print(fault, file=sys.stderr)
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
