"""Reads tools/layers.txt, the plan of the house."""

import dataclasses
import os
import sys


@dataclasses.dataclass
class Layer:
    folder: str
    named: list  # folders below, as the line names them
    below: set  # the same, groups opened
    public: set  # names of the headers that other folders may include


@dataclasses.dataclass
class Library:
    header: str  # a pattern
    folders: list


def _lines(path):
    with open(path, encoding="utf-8") as text:
        for number, line in enumerate(text, 1):
            line = line.split("#")[0].strip()
            if line:
                yield number, line


def read_layers(path):
    """Returns the folders, lowest first. Ends the program on a line that names what does not stand
    above it: that is a circle or an arrow that points up."""
    layers = []
    for number, line in _lines(path):
        if line.startswith("<"):
            continue
        fields = [field.split() for field in line.split("|")]
        if len(fields) != 3 or len(fields[0]) != 1:
            sys.exit(f"{path}:{number}: want FOLDER | FOLDERS BELOW | PUBLIC HEADERS")
        folder, named = fields[0][0], fields[1]
        if not os.path.isdir(folder):
            sys.exit(f"{path}:{number}: there is no folder {folder}")
        below = set()
        for name in named:
            found = {each.folder for each in layers
                     if each.folder == name or each.folder.startswith(name.rstrip("*"))
                     and name.endswith("/*")}
            if not found:
                sys.exit(f"{path}:{number}: {folder} names {name}, which does not stand below it")
            below |= found
        layers.append(Layer(folder, named, below, set(fields[2])))
    return layers


def read_libraries(path):
    """Returns which folders may include which headers of libraries."""
    rules = []
    for _, line in _lines(path):
        if line.startswith("<"):
            header, _, folders = line.partition("|")
            rules.append(Library(header.strip()[1:-1], folders.split()))
    return rules
