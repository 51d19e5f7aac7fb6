#!/usr/bin/env python3
"""Checks that no two files give different types one name.

A program holds one type of a name: where two files that it links mean two things by it, the linker
keeps one of their inline functions, and the other file reads its records with a stranger's layout.
Neither compiler nor linker says so. A test may name its types as another test does, because both
are programs of their own.
"""

import collections
import re
import subprocess
import sys

PRODUCT = ["config", "core", "library", "lists", "platform", "play", "skin", "update", "view", "tools"]
PROGRAMS = ["tests", "fuzz", "bench", "demo"]  # of one source each, and the product
INSTEAD = {"platform/audio/decoder_mp3_mad.cpp": "platform/audio/decoder_mp3_mpg123.cpp",
           "platform/audio/audio_resample_fixed.cpp": "platform/audio/audio_resample_soxr.cpp"}
"""Sources that a build has instead of others: with ZERV_FIXED_POINT."""
TYPE = re.compile(r"^(?:template <[^>]*> )?(?:struct|class|union|enum(?: class)?) (\w+)(?: final)?"
                  r"(?: : [^;]*)?(?: \{|$)")


def types_of(folders):
    """Where each type at the left margin is defined: {name: [path:line, ...]}."""
    patterns = [f"{folder}/*.{kind}" for folder in folders for kind in ("cpp", "h")]
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "--", *patterns],
                           check=True, text=True, capture_output=True).stdout.split()
    found = collections.defaultdict(list)
    for name in names:
        with open(name, encoding="utf-8") as source:
            for number, line in enumerate(source, 1):
                match = TYPE.match(line)
                if match:
                    found[match[1]].append(f"{name}:{number}")
    return found


def together(places):
    """Without those that no program has beside the others."""
    files = {place.split(":")[0] for place in places}
    return [place for place in places if INSTEAD.get(place.split(":")[0]) not in files]


def main():
    product, programs = types_of(PRODUCT), types_of(PROGRAMS)
    wrong = {name: places + programs.get(name, []) for name, places in product.items()
             if len(together(places)) > 1 or name in programs}
    for name, places in sorted(wrong.items()):
        print(f"{name} is defined at {', '.join(places)}: a program holds one type of a name")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
