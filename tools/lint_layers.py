#!/usr/bin/env python3
"""Checks the direction of includes against tools/layers.txt, and that files form no circle."""

import fnmatch
import os
import re
import subprocess
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.M)


def read_rules(path):
    """Returns (rooms, library rules): rooms are (name, patterns, allowed rooms)."""
    rooms, libraries = [], []
    with open(path, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            line = line.split("#")[0].strip()
            if not line:
                continue
            kind, _, rest = line.partition(" ")
            if kind == "room":
                head, _, below = rest.partition(":")
                name, *patterns = head.split()
                known = {room[0] for room in rooms}
                for other in below.split():
                    if other not in known:
                        sys.exit(f"{path}:{number}: {name} names {other}, which does not stand above it")
                rooms.append((name, patterns, set(below.split()) | {name}))
            elif kind == "library":
                header, _, users = rest.partition(":")
                libraries.append((header.strip(), users.split()))
            else:
                sys.exit(f"{path}:{number}: unknown rule {kind}")
    return rooms, libraries


def room_of(path, rooms):
    for name, patterns, allowed in rooms:
        if any(fnmatch.fnmatch(path, pattern) for pattern in patterns):
            return name, allowed
    return None, None


def find_circle(graph):
    state, trail = {}, []

    def visit(node):
        state[node] = 1
        trail.append(node)
        for other in graph.get(node, ()):
            if state.get(other) == 1:
                return trail[trail.index(other):] + [other]
            if other not in state:
                circle = visit(other)
                if circle:
                    return circle
        trail.pop()
        state[node] = 2
        return None

    for node in graph:
        if node not in state:
            circle = visit(node)
            if circle:
                return circle
    return None


def main():
    rooms, libraries = read_rules("tools/layers.txt")
    files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.h", "*.cpp"], check=True,
                           capture_output=True, text=True).stdout.split()
    faults, graph = [], {}
    checked = 0
    for path in files:
        if not os.path.exists(path) or path.split("/")[0] in ("tests", "fuzz", "bench", "demo", "tools"):
            continue
        room, allowed = room_of(path, rooms)
        if room is None:
            faults.append(f"{path}: stands in no room of tools/layers.txt")
            continue
        checked += 1
        text = open(path, encoding="utf-8").read()
        graph[path] = []
        for mark, name in INCLUDE.findall(text):
            if mark == '"':
                target = name if os.path.exists(name) else os.path.join(os.path.dirname(path), name)
                if not os.path.exists(target):
                    faults.append(f"{path}: {name} does not exist")
                    continue
                graph[path].append(target)
                other, _ = room_of(target, rooms)
                if other not in allowed:
                    faults.append(f"{path} ({room}) must not include {target} ({other})")
            else:
                for header, users in libraries:
                    if fnmatch.fnmatch(name, header) and not any(fnmatch.fnmatch(path, u) for u in users):
                        faults.append(f"{path} must not include <{name}>")
    circle = find_circle(graph)
    if circle:
        faults.append("circle: " + " -> ".join(circle))
    for fault in faults:
        print(fault, file=sys.stderr)
    if checked == 0:
        sys.exit("no file was checked")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
