#!/usr/bin/env python3
"""Puts deliberate faults into the sources of a folder and asks its tests whether they notice.

    tools/mutants.py FOLDER [--file PATTERN] [--kind KIND] [--most N] [--seed N] [--tests REGEX]

One fault at a time, in a copy of the tree (build/mutants/tree): the tests of the folder are built
and run, a fault that none of them notices is a survivor. Prints the survivors and the share that
was noticed; the working tree is never touched. docs/testing.md says how to read the list.

    --file   only sources whose name contains this
    --kind   only faults of this kind (see KINDS)
    --most   so many faults, picked by the seed; all of the kinds `sync` and `lock` come first
    --seed   of the choice; printed, so that a run can be repeated
    --tests  names of ctest instead of those of the folder's unit tests
"""

import argparse
import collections
import json
import os
import random
import re
import shutil
import subprocess
import sys

import locks

TREE = "build/mutants/tree"
BUILD = "build/mutants/build"
SECONDS = 120  # a test that takes longer hangs: that counts as noticed

fault = collections.namedtuple("fault", "path line kind before after text")


def swap(pattern, replacement):
    """Makes a fault of each match of a pattern in a line."""
    def make(line):
        for found in re.finditer(pattern, line):
            yield line[:found.start()] + found.expand(replacement) + line[found.end():]
    return make


def each(*makers):
    def make(line):
        for maker in makers:
            yield from maker(line)
    return make


def other_number(line):
    found = re.match(r"^(\s*(?:static )?constexpr [\w:]+ \w+ = )(\d+)(.*)$", line)
    if found:
        yield f"{found[1]}{int(found[2]) + 1}{found[3]}"


KINDS = {
    "sync": each(swap(r"\bf(?:data)?sync\((?:[^()]|\([^()]*\))*\) == 0", "true"),
                 swap(r"\bf(?:data)?sync\((?:[^()]|\([^()]*\))*\) != 0", "false"),
                 swap(r"^(\s*)\(void\)fsync\(.*\);", r"\1;")),
    "lock": swap(r"^(\s*)(?:const )?sys_guard \w+\(.*\);", r"\1;"),
    "bound": each(swap(r" <= ", " < "), swap(r" < ", " <= "), swap(r" >= ", " > "),
                  swap(r" > ", " >= ")),
    "step": each(swap(r" \+ 1\b", " + 0"), swap(r" - 1\b", " - 0")),
    "equal": each(swap(r" == ", " != "), swap(r" != ", " == ")),
    "and": each(swap(r" && ", " || "), swap(r" \|\| ", " && ")),
    "negate": swap(r"\bif \((?!const |auto |int)(.*)\)( \{)?$", r"if (!(\1))\2"),
    "call": swap(r"^(\s+)(?:\(void\))?[a-z]\w*\((?:.*)\);(.*)$", r"\1;\2"),
    "result": swap(r"return -1;", "return 0;"),
    "number": other_number,
}


def run(*command, **options):
    return subprocess.run(command, text=True, capture_output=True, **options)


def copy_tree():
    """The files that git knows, as they stand; unchanged ones keep their time for the build."""
    names = run("git", "ls-files", "-co", "--exclude-standard", "-z").stdout.split("\0")
    for name in filter(os.path.isfile, names):
        to = os.path.join(TREE, name)
        os.makedirs(os.path.dirname(to), exist_ok=True)
        if not os.path.exists(to) or open(to, "rb").read() != open(name, "rb").read():
            shutil.copy(name, to)


def configure():
    done = run("cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
               "-DCMAKE_CXX_FLAGS=-O1 -w -Wno-error")
    if done.returncode != 0:
        sys.exit(done.stdout + done.stderr)


def is_code(line):
    stripped = line.strip()
    return stripped and not stripped.startswith(("/*", "*", "//", "#", "static_assert"))


def faults_of(path):
    with open(path, encoding="utf-8") as source:
        lines = source.read().split("\n")
    for index, line in enumerate(lines):
        if not is_code(line):
            continue
        code = line.split(" /*")[0]
        for kind, make in KINDS.items():
            for after in make(code):
                changed = "\n".join([*lines[:index], after, *lines[index + 1:]])
                yield fault(path, index + 1, kind, code.strip(), after.strip(), changed)


def choose(faults, most, seed):
    random.Random(seed).shuffle(faults)
    faults.sort(key=lambda each: each.kind not in ("sync", "lock"))
    return sorted(faults[:most], key=lambda each: (each.path, each.line))


def programs_of(regex):
    """(names of the tests, programs to build) of the configured tree."""
    shown = json.loads(run("ctest", "--test-dir", BUILD, "--show-only=json-v1", "-R", regex).stdout)
    names = [test["name"] for test in shown["tests"]]
    programs = {os.path.relpath(test["command"][0], BUILD) for test in shown["tests"]
                if "command" in test and os.path.abspath(test["command"][0]).startswith(os.path.abspath(BUILD))}
    return names, sorted(programs)


def folder_tests(folder):
    root = os.path.join("tests/unit", folder)
    stems = [name[:-4] for _, _, names in os.walk(root) for name in names if name.endswith("_test.cpp")]
    return "^unit/(" + "|".join(sorted(stems)) + ")$" if stems else f"^unit/{folder}"


def is_noticed(each, regex, programs):
    if each.kind == "lock":
        return not locks.passes(each.path, each.text, locks.flags_of(BUILD, TREE)[each.path])
    target = os.path.join(TREE, each.path)
    with open(target, encoding="utf-8") as source:
        right = source.read()
    try:
        with open(target, "w", encoding="utf-8") as source:
            source.write(each.text)
        if run("ninja", "-C", BUILD, *programs).returncode != 0:
            return True
        return run("ctest", "--test-dir", BUILD, "-j2", "-R", regex, "--stop-on-failure",
                   "--timeout", str(SECONDS)).returncode != 0
    finally:
        with open(target, "w", encoding="utf-8") as source:
            source.write(right)


def parse():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder")
    parser.add_argument("--file", default="")
    parser.add_argument("--kind", choices=KINDS)
    parser.add_argument("--most", type=int, default=60)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--tests", default="")
    return parser.parse_args()


def main():
    os.chdir(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    wanted = parse()
    folder = wanted.folder.strip("/")
    paths = sorted(os.path.join(folder, name) for name in os.listdir(folder)
                   if name.endswith(".cpp") and wanted.file in name)
    faults = [each for path in paths for each in faults_of(path)
              if wanted.kind in (None, each.kind)]
    chosen = choose(faults, wanted.most, wanted.seed)
    print(f"{len(chosen)} of {len(faults)} faults, seed {wanted.seed}", flush=True)
    copy_tree()
    configure()
    regex = wanted.tests or folder_tests(folder)
    names, programs = programs_of(regex)
    if not names:
        sys.exit(f"no tests match {regex}")
    if run("ninja", "-C", BUILD, *programs).returncode != 0 or \
            run("ctest", "--test-dir", BUILD, "-j2", "-R", regex).returncode != 0:
        sys.exit(f"the tests fail without a fault: ctest --test-dir {BUILD} -R '{regex}'")
    noticed = 0
    for each in chosen:
        if is_noticed(each, regex, programs):
            noticed += 1
        else:
            print(f"{each.path}:{each.line}: {each.kind}: {each.before}  ->  {each.after}", flush=True)
    print(f"{noticed} of {len(chosen)} noticed ({100 * noticed // max(len(chosen), 1)} %)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
