#!/usr/bin/env python3
"""Checks that what the documents tell a reader to type can be typed.

A command stands between backticks, or in a block that is indented by four blanks. Held against the
sources are the words of ./dev, the options of ./run, the commands and options of our own programs,
presets, targets, and the variables whose names begin with ZERV_. The other way round, the list at the top of ./dev
tells of each of its words, and some document of each variable that a program asks its environment for."""

import glob
import re
import sys

DOCUMENTS = ["*.md", "docs/*.md", "docs/formats/*.md", "docs/guide/*.md"]
SCRIPTS = ["dev", "run", "test", "tools/*.sh", "tools/*.py", "packaging/**/*.sh"]
BUILD = ["CMakeLists.txt", "*/CMakeLists.txt", "*/*/CMakeLists.txt", "cmake/*.cmake", "CMakePresets.json"]
FOLDERS = ["config", "core", "library", "lists", "platform", "play", "skin", "tests", "update", "view"]
# Where a program reads its command line, and whether the first word is a command.
PROGRAMS = {
    "zerv-player": ("core/*.cpp", False),
    "zerv-skin": ("tools/zerv_skin/*.cpp", True),
    "zerv-keys": ("tools/zerv_keys/*.cpp", False),
    "zerv-package": ("tools/zerv-package", True),
    "zerv-services": ("tools/zerv-services", True),
}
SPAN = re.compile(r"`([^`\n]+)`")
CALL = re.compile(r"(?:^|[ /])(zerv-[a-z]+)((?: +[^\s;&|)]+)*)")
ASKED = re.compile(r'\b(?:getenv|setting|sys_setting)\("(ZERV_\w+)"')


def text_of(*patterns):
    """The files of these patterns, one behind the other."""
    texts = []
    for name in sorted(name for pattern in patterns for name in glob.glob(pattern, recursive=True)):
        with open(name, encoding="utf-8") as file:
            texts.append(file.read())
    return "\n".join(texts)


def commands_of(text):
    """What stands as code, a line each, without what a shell takes for a comment."""
    blocks = [line for line in text.splitlines() if line.startswith("    ")]
    return [re.sub(r"(^|\s)#.*", "", line) for line in SPAN.findall(text) + blocks]


def words_of_dev(dev):
    """The words that ./dev takes, and those that the list at its top tells of."""
    cases = dev.rpartition("case $command in")[2]
    taken = {word for line in re.findall(r"^([a-z][a-z |]*)\)", cases, re.MULTILINE)
             for word in line.split(" | ")}
    told = set(re.findall(r"^#   ([a-z]+)", dev, re.MULTILINE))
    return taken, told


def dev_faults(lines, dev):
    taken, told = words_of_dev(dev)
    for line in lines:
        for word in re.findall(r"\./dev ((?:[a-z]+ \| )*[a-z]+)", line):
            yield from (f"./dev {each}, which is none of its words"
                        for each in word.split(" | ") if each not in taken)
    yield from (f"./dev {word}, which the list at its top does not have" for word in taken - told)
    yield from (f"./dev {word} in the list at its top, which is none of its words" for word in told - taken)


def run_faults(lines, run):
    for line in lines:
        for option in re.findall(r"\./run (--[a-z-]+)", line):
            if option not in run:
                yield f"./run {option}, which it does not take"


def program_faults(lines):
    sources = {name: text_of(pattern) for name, (pattern, _) in PROGRAMS.items()}
    for line in lines:
        for name, arguments in CALL.findall(line):
            words = arguments.split()
            if name not in PROGRAMS or not sources[name]:
                continue
            takes = [word for word in re.findall(r"(?<= )\[?--([a-z]+)", arguments)
                     if f'"--{word}"' not in sources[name] and f'"{word}"' not in sources[name]]
            if PROGRAMS[name][1] and words and re.fullmatch("[a-z]+", words[0]):
                takes += [words[0]] if f'"{words[0]}"' not in sources[name] else []
            yield from (f"{name} {word}, which it does not take" for word in takes)


def preset_faults(lines, presets):
    for line in lines:
        for preset in re.findall(r"--preset ([a-z][a-z-]*)", line):
            if f'"name": "{preset}"' not in presets:
                yield f"--preset {preset}, which is not there"


def target_faults(lines, build):
    for line in lines:
        for target in re.findall(r"--target ([a-z][a-z-]*)", line):
            if not re.search(rf"add_(?:custom_target|executable|library)\({target}\b", build):
                yield f"--target {target}, which the build does not have"


def variable_faults(documents):
    known = set(re.findall(r"ZERV_[A-Z_]+", text_of(*SCRIPTS, *BUILD)))
    sources = text_of(*(f"{folder}/**/*.{kind}" for folder in FOLDERS for kind in ("cpp", "h", "py")))
    known |= set(re.findall(r"ZERV_[A-Z_]+", sources))
    asked = set(ASKED.findall(text_of(*(f"{folder}/**/*.cpp" for folder in FOLDERS if folder != "tests"))))
    told = set(re.findall(r"ZERV_[A-Z_]+", documents))
    yield from (f"{name}, which nothing asks for" for name in sorted(told - known))
    yield from (f"nothing of {name}, which the program asks its environment for"
                for name in sorted(asked - told))


def main():
    documents = text_of(*DOCUMENTS)
    lines = commands_of(documents)
    faults = [*dev_faults(lines, text_of("dev")), *run_faults(lines, text_of("run")), *program_faults(lines),
              *preset_faults(lines, text_of("CMakePresets.json")), *target_faults(lines, text_of(*BUILD)),
              *variable_faults(documents)]
    for fault in sorted(set(faults)):
        print(f"The documents say {fault}", file=sys.stderr)
    if not lines:
        sys.exit("no command was checked")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
