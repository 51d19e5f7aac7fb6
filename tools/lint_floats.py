#!/usr/bin/env python3
"""Finds arithmetic of floating point in machine code: lint_floats.py OBJDUMP LIBRARY...

A core without a unit for it takes a hundred instructions for one of these. Moves do not count: some
processors copy whole numbers through the same registers.
"""

import re
import subprocess
import sys

ARITHMETIC = {
    "x86-64": r"v?(?:add|sub|mul|div|sqrt|max|min|rcp|rsqrt|u?comi|cmp[a-z]*|round|hadd|hsub|addsub"
              r"|fn?m(?:add|sub)\d*)[sp][sd]|v?cvt\w+"
              r"|f(?:add|sub|mul|div|i?ld|u?com|chs|abs|sqrt|ist|st|rnd|sc|i(?:add|sub|mul|div))\w*",
    "arm": r"v?f?n?(?:add|sub|mul|div|mla|mls|ma|ms|nma|nms|neg|abs|sqrt|cmpe?|cvt[abmnprtz]?|sel"
           r"|rint\w)\w*\.(?:f|[su]32\.f|f\d\d\.[su])\w+(?:\.\w+)?",
    "aarch64": r"f(?!mov)\w+|[su]cvtf",
    "mips": r"(?:add|sub|mul|div|sqrt|neg|abs|madd|msub|nmadd|nmsub|recip|rsqrt|cvt|trunc|round|ceil"
            r"|floor|c)\.(?:\w+\.)?[sdwl]",
}
"""What such an instruction is called, by a part of the file format's name."""

HELPERS = re.compile(r"\b(__(?:add|sub|mul|div|neg|cmp|unord|[egln][etl])[sdt]f[23]"
                     r"|__(?:float|fix)(?:uns)?\w*[sdt]\w*f\w*|__(?:extend|trunc)[sdt]f[sdt]f2"
                     r"|__aeabi_(?:[df](?!iv0)\w+|u?[il]2[df]))\b")
"""Functions that the compiler calls where the processor has no such instruction."""


def pattern_of(form):
    for name, pattern in ARITHMETIC.items():
        if name in form:
            return re.compile(rf"\s+[0-9a-f]+:\s+(?:{pattern})(?=\s|$)")
    sys.exit(f"Nothing is known about machine code of {form}.")


def found_in(objdump, library):
    """Lines of arithmetic, each with the object and the function they stand in."""
    listing = subprocess.run([objdump, "-dr", "--no-show-raw-insn", library], check=True,
                             capture_output=True, text=True).stdout
    place, function, pattern = library, "", None
    for line in listing.splitlines():
        if match := re.match(r"(\S+):\s+file format (\S+)", line):
            place, pattern = match[1], pattern_of(match[2])
        elif match := re.match(r"[0-9a-f]+ <(.+)>:", line):
            function = match[1]
        elif pattern and (pattern.match(line) or HELPERS.search(line)):
            yield f"{place}: {function}:{line}"
    if not pattern:
        sys.exit(f"{library} holds no code.")


def main():
    objdump, *libraries = sys.argv[1:]
    if not libraries:
        sys.exit(__doc__)
    found = [line for library in libraries for line in found_in(objdump, library)]
    print("\n".join(found[:50]))
    print(f"{len(found)} instructions of floating point in {len(libraries)} libraries")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
