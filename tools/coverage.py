#!/usr/bin/env python3
"""Which lines of our own code ran.

    coverage.py BUILD                     what the tests of a coverage build have run: a line a folder
    coverage.py BUILD --missing           besides, each file's lines that did not run
    coverage.py BUILD --fuzz NAME FILES   the lines that a replayer reaches with these files and folders

BUILD is a build of the preset "coverage". Its notes (.gcno) and counts (.gcda) are read with gcov.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
FOLDERS = ("config", "core", "library", "lists", "platform", "play", "skin", "tools", "update", "view")
BATCH = 24  # objects that one gcov reads
LEAST = 92  # per cent of the lines


class Lines:
    """Counts of one source: how often a line ran, and how often each way out of it was taken."""

    def __init__(self):
        self.counts, self.branches = {}, {}

    def add(self, line):
        number = line["line_number"]
        self.counts[number] = self.counts.get(number, 0) + line["count"]
        ways = [way["count"] for way in line["branches"] if not way["throw"]]
        known = self.branches.get(number, [])
        if len(ways) == len(known):  # the same code in another object
            ways = [one + other for one, other in zip(ways, known)]
        if len(ways) >= len(known):
            self.branches[number] = ways

    def lines(self):
        return sum(count > 0 for count in self.counts.values()), len(self.counts)

    def ways(self):
        ways = [way for each in self.branches.values() for way in each]
        return sum(way > 0 for way in ways), len(ways)


def own(name):
    """The path below the root, or None for what is not ours or not the product."""
    path = os.path.relpath(name, ROOT)
    return path if path.split("/")[0] in FOLDERS else None


def ask(objects):
    answer = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", *objects],
                            cwd=objects[0].parent, capture_output=True, check=True)
    return [json.loads(line) for line in answer.stdout.splitlines() if line.startswith(b"{")]


def read(objects):
    """{source: Lines} of these notes."""
    found = {}
    batches = [objects[at:at + BATCH] for at in range(0, len(objects), BATCH)]
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for answers in pool.map(ask, batches):
            for source in (source for answer in answers for source in answer["files"]):
                path = own(source["file"])
                for line in source["lines"] if path else ():
                    found.setdefault(path, Lines()).add(line)
    return found


def product(build):
    """The notes of the programs and their libraries, whoever runs them."""
    return [path for place in (".", "tools") for path in sorted(build.glob(f"{place}/CMakeFiles/*.dir/**/*.gcno"))]


def share(counts):
    return f"{counts[0]:6} of {counts[1]:6} {100 * counts[0] / counts[1] if counts[1] else 100:6.1f} %"


def total(each):
    pairs = list(each)
    return sum(one for one, _ in pairs), sum(other for _, other in pairs)


def ranges(numbers):
    """[1, 2, 3, 7] becomes "1-3 7"."""
    words = []
    for number in numbers:
        if words and words[-1][1] == number - 1:
            words[-1][1] = number
        else:
            words.append([number, number])
    return " ".join(str(first) if first == last else f"{first}-{last}" for first, last in words)


def tell(found, missing):
    folders = sorted({os.path.dirname(path) for path in found})
    print(f"{'folder':26} {'lines':>25} {'branches':>25}")
    for folder in folders:
        sources = [lines for path, lines in found.items() if os.path.dirname(path) == folder]
        print(f"{folder:26} {share(total(each.lines() for each in sources)):>25} "
              f"{share(total(each.ways() for each in sources)):>25}")
    lines = total(each.lines() for each in found.values())
    print(f"{'all':26} {share(lines):>25} {share(total(each.ways() for each in found.values())):>25}")
    for path in sorted(found) if missing else ():
        numbers = [number for number, count in sorted(found[path].counts.items()) if not count]
        if numbers:
            print(f"{path}: {ranges(numbers)}")
    return 100 * lines[0] / lines[1]


def fuzz_lines(build, name, inputs):
    """Replays the inputs beside the counts of the build. Returns what they reached."""
    with tempfile.TemporaryDirectory() as folder:
        environment = {**os.environ, "GCOV_PREFIX": folder}
        replayer = build / "fuzz" / f"fuzz_{name}"
        subprocess.run([replayer, *map(os.path.abspath, inputs)], cwd=folder, env=environment,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        counts = sorted(Path(folder).glob("**/*.gcda"))
        for each in counts:
            note = each.with_suffix(".gcno")
            note.symlink_to("/" + str(note.relative_to(folder)))
        return read([each.with_suffix(".gcno") for each in counts])


def main():
    words = argparse.ArgumentParser(usage=__doc__)
    words.add_argument("build", type=Path)
    words.add_argument("--missing", action="store_true")
    words.add_argument("--fuzz", nargs="+")
    told = words.parse_args()
    build = told.build.resolve()
    if told.fuzz:
        found = fuzz_lines(build, told.fuzz[0], told.fuzz[1:])
        print(f"{told.fuzz[0]:10} {total(each.lines() for each in found.values())[0]:6} lines")
        return 0
    covered = tell(read(product(build)), told.missing)
    if covered < LEAST:
        print(f"less than {LEAST} % of the lines", file=sys.stderr)
    return 0 if covered >= LEAST else 1


if __name__ == "__main__":
    sys.exit(main())
