#!/usr/bin/env python3
"""Checks includes against tools/layers.txt: downwards, public headers only, no circle of files."""

import fnmatch
import os
import re
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from layers import read_layers, read_libraries  # noqa: E402

PLAN = "tools/layers.txt"
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.M)
WORKSHOP = ("tests/", "tools/", "fuzz/", "bench/", "demo/", "packaging/")


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


def includes_of(path):
    """Yields (mark, name) of each include: '"' or '<', and the header as it stands."""
    with open(path, encoding="utf-8") as text:
        yield from INCLUDE.findall(text.read())


def home_of(path, layers):
    """The layer whose folder holds a file, null for the workshop's."""
    return layers.get(os.path.dirname(path))


def mirrored(path):
    """The folder whose private headers a file may see besides its own: a test sees those of the
    folder that it tests."""
    folder = os.path.dirname(path)
    return folder[len("tests/unit/"):] if folder.startswith("tests/unit/") else folder


def resolve(path, name):
    for place in (name, os.path.join(os.path.dirname(path), name), os.path.join("tests", name)):
        if os.path.exists(place):
            return os.path.normpath(place)
    return None


def fault_of_own(path, target, layers):
    """What is wrong with an include of a header of ours, or None."""
    home, there = home_of(path, layers), home_of(target, layers)
    if home and home == there and os.path.basename(path) in home.public \
            and os.path.basename(target) not in home.public:
        return f"{path} is public and must not include {target}, which is private"
    if there is None or mirrored(path) == there.folder:
        return f"{path} must not include {target} of the workshop" if home and not there else None
    if home and there.folder not in home.below:
        return f"{path}: {home.folder} must not include {target}"
    if os.path.basename(target) not in there.public:
        return f"{path}: {target} is private to {there.folder}"
    return None


def fault_of_library(path, name, rules):
    for rule in rules:
        if fnmatch.fnmatch(name, rule.header) and os.path.dirname(path) not in rule.folders:
            return f"{path} must not include <{name}>"
    return None


def check(path, layers, rules, graph):
    faults = []
    program = not path.startswith(WORKSHOP)
    if program and not home_of(path, layers):
        return [f"{path}: its folder is not in {PLAN}"]
    for mark, name in includes_of(path):
        if mark == "<":
            faults.append(fault_of_library(path, name, rules) if program else None)
            continue
        target = resolve(path, name)
        if not target:
            faults.append(f"{path}: {name} does not exist")
            continue
        graph.setdefault(path, []).append(target)
        faults.append(fault_of_own(path, target, layers))
    return [fault for fault in faults if fault]


def main():
    layers = {each.folder: each for each in read_layers(PLAN)}
    rules = read_libraries(PLAN)
    files = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.h", "*.cpp"], check=True,
                           capture_output=True, text=True).stdout.split()
    faults, graph, checked = [], {}, 0
    for path in files:
        if os.path.exists(path):
            faults += check(path, layers, rules, graph)
            checked += 1
    for layer in layers.values():
        for header in layer.public:
            if not os.path.exists(os.path.join(layer.folder, header)):
                faults.append(f"{PLAN}: {layer.folder} has no {header}")
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
