#!/usr/bin/env python3
"""Checks that the files and folders which the documents for developers name exist.

A path of the repository stands between backticks and begins with one of its folders. In a recipe the
file that is still to be made is an example: such names stand in EXAMPLES."""

import glob
import os
import re
import sys

DOCUMENTS = ["CONTRIBUTING.md", "docs/architecture.md", "docs/porting.md", "docs/testing.md"]
EXAMPLES = {
    "lists/list_genres.cpp", "tests/unit/lists/list_genres_test.cpp", "platform/audio/decoder_wav.cpp",
    "tests/unit/platform/audio/decoder_wav_test.cpp", "tests/scenarios/volume_limits/script",
}
PATH = re.compile(r"`([A-Za-z_.]+/[A-Za-z0-9_./<>*-]*)`")


def names_of(document):
    with open(document, encoding="utf-8") as text:
        for name in PATH.findall(text.read()):
            if os.path.isdir(name.split("/")[0]) and "<" not in name and "NAME" not in name \
                    and not name.startswith("build/"):
                yield name


def main():
    faults, checked = [], 0
    for document in filter(os.path.exists, DOCUMENTS):
        for name in names_of(document):
            checked += 1
            if name not in EXAMPLES and not glob.glob(name):
                faults.append(f"{document} names {name}, which is not there")
    for fault in faults:
        print(fault, file=sys.stderr)
    if checked == 0:
        sys.exit("no name was checked")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
