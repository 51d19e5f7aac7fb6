"""The faults that tools/mutants.py puts into sources."""

import collections
import os
import random
import re

EQUALS = "tools/mutants.txt"

fault = collections.namedtuple("fault", "path line kind above before after text")


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


SYNC = r"(?<!static int )\b(?:f(?:data)?sync|syncfs|sync_\w+)\((?:[^()]|\([^()]*\))*\)"
KINDS = {
    "sync": each(swap(SYNC + " == 0", "true"), swap(SYNC + " != 0", "false"),
                 swap(r"= " + SYNC + ";", "= 0;"),
                 swap(r"^(\s*)(?:\(void\))?(?:f?sync|sync_\w+)\(.*\);", r"\1;")),
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


def is_code(line):
    """Whether the release build has it; `assert` is empty there."""
    stripped = line.strip()
    return stripped and not stripped.startswith(("/*", "*", "//", "#", "static_assert", "assert("))


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
                above = lines[index - 1].strip() if index else ""
                yield fault(path, index + 1, kind, above, code.strip(), after.strip(), changed)


def faults_in(folder, name_part, wanted_kind):
    """All faults of a folder's sources; without a kind, all kinds but `lock`."""
    paths = sorted(os.path.join(folder, name) for name in os.listdir(folder)
                   if name.endswith(".cpp") and name_part in name)
    return [each for path in paths for each in faults_of(path)
            if each.kind == wanted_kind or not wanted_kind and each.kind != "lock"]


def in_order(faults, seed, is_sample):
    """The order of trying. A sample takes one fault of a line, for two of them mostly fare alike."""
    random.Random(seed).shuffle(faults)
    lines = set()
    for each in faults:
        if not is_sample or (each.path, each.line) not in lines:
            lines.add((each.path, each.line))
            yield each


def equals():
    """(path, line above or None, before, after) of faults that change nothing that anybody could see."""
    found, path, above, before = set(), "", None, ""
    with open(EQUALS, encoding="utf-8") as lines:
        for line in lines:
            mark, text = line[:2], line[2:].strip()
            if mark == "< ":
                above = text
            elif mark == "- ":
                before = text
            elif mark == "+ ":
                found.add((path, above, before, text))
                above = None
            elif mark.strip() and not line.startswith("#"):
                path = line.strip()
    return found


def is_equal(one, known):
    return any((one.path, above, one.before, one.after) in known for above in (None, one.above))
