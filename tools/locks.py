#!/usr/bin/env python3
"""Takes every lock out of the program, one at a time, and asks clang whether it notices.

Each sys_guard of the program's sources is removed from a copy of its file, and the copy is checked
with -Wthread-safety. A removal that clang lets pass guards data that does not name its lock. Such
places stand in `justified` below with the reason, or the run fails.

    tools/locks.py [FILE...]       all sources of the program without a file name
"""

import concurrent.futures
import os
import re
import shlex
import json
import subprocess
import sys

GUARD = re.compile(r"^\s*(?:const )?sys_guard \w+\([^;]*\);.*$", re.M)
FOLDERS = ("config/", "core/", "library/", "lists/", "platform/", "play/", "skin/", "update/", "view/")

# FILE: LOCK: why clang cannot see what it guards
justified = {
    "play/play.cpp: begin_lock":
        "guards no data: it keeps whole steps (close, open, wake) one behind the other",
    "core/lang/lang.cpp: play_lock":
        "the encoding has the platform's own lock; this one keeps a tag from being read in two",
}


def flags_of(build, root="."):
    """The flags that matter to a check of each source of `root`, as its build knows them."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as commands:
        entries = json.load(commands)
    flags = {}
    for entry in entries:
        words = shlex.split(entry["command"])
        kept, take_next = [], False
        for word in words:
            if take_next or word.startswith(("-D", "-I", "-std")):
                kept.append(word)
                take_next = False
            elif word == "-isystem":
                kept.append(word)
                take_next = True
        flags[os.path.relpath(entry["file"], root)] = kept
    return flags


def passes(path, text, flags):
    """Whether clang finds every access of `text` locked."""
    command = ["clang++", "-x", "c++", "-fsyntax-only", *flags, "-Wthread-safety",
               "-Werror=thread-safety", "-iquote", os.path.dirname(path), "-"]
    return subprocess.run(command, input=text, text=True, capture_output=True).returncode == 0


def cuts_of(path):
    """Yields (line, lock, text without that guard)."""
    with open(path, encoding="utf-8") as source:
        text = source.read()
    for found in GUARD.finditer(text):
        lock = re.search(r"\(([^;]*)\);", found.group()).group(1)
        line = text.count("\n", 0, found.start()) + 1
        yield line, lock, text[:found.start()] + text[found.end():]


def main():
    os.chdir(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    flags = flags_of("build/release")
    files = sys.argv[1:] or sorted(file for file in flags if file.startswith(FOLDERS))
    missing = 0
    count = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        runs = [(path, line, lock, pool.submit(passes, path, text, flags[path]))
                for path in files for line, lock, text in cuts_of(path)]
        for path, line, lock, run in runs:
            count += 1
            if not run.result():
                continue
            reason = justified.get(f"{path}: {lock}")
            if reason is None:
                missing += 1
                print(f"{path}:{line}: clang does not miss {lock}")
    print(f"{count} locks taken out, {missing} unnoticed")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
