#!/usr/bin/env python3
"""Checks that no test takes the place of a part of the program by defining its symbol.

Usage: lint_doubles.py BUILD. A double stands in through a record or a hook that the test hangs
(tests/support/hung.h): the linker picks among symbols of one name by the order of its command line,
and what the test then says of the program nobody knows. Reads with nm the objects of the program
and those of tests, fuzzers and benchmarks."""

import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from layers import read_layers  # noqa: E402
from lint_links import objects_of, symbols_of  # noqa: E402

PLACES = ["tests", "fuzz", "bench"]
MODULES = {"tests/support/device_module.cpp"}  # a file of its own beside the program, linked with nothing of it


def objects_of_tests(build):
    """(source, object) of every object whose source is there."""
    for place in PLACES:
        for folder, _, files in os.walk(os.path.join(build, place)):
            for name in sorted(files):
                inside = folder.split(".dir", 1)
                source = place + inside[-1] + "/" + name[:-len(".o")]
                if name.endswith(".cpp.o") and len(inside) == 2 and os.path.exists(source) \
                        and source not in MODULES:
                    yield source, os.path.join(folder, name)


def main():
    build = sys.argv[1]
    owner = {}
    for each in read_layers("tools/layers.txt"):
        for symbol in symbols_of(objects_of(build, each.folder))[0]:
            owner[symbol] = each.folder
    objects = list(objects_of_tests(build))
    if not owner or not objects:
        sys.exit(f"{build} holds no objects of the program and its tests: build it first")
    faults = [f"{source} defines {symbol} of {owner[symbol]}"
              for source, path in objects for symbol in sorted(symbols_of([path])[0]) if symbol in owner]
    for fault in faults:
        print(fault, file=sys.stderr)
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
