"""What a command does, counted by valgrind: the same on a busy machine as on a quiet one."""

import collections
import glob
import os
import re
import subprocess
import tempfile

Count = collections.namedtuple("Count", "own all allocations")
"""Instructions of the program's own code, those of everything in the process, calls for memory."""

SYSTEM = ("/usr/", "/lib/", "/lib64/")
"""Where the libraries of the machine lie; whatever lies elsewhere is the program's own code."""

ALLOCATING = ("malloc", "calloc", "realloc", "memalign", "aligned_alloc", "posix_memalign")

MARK = "run_echo*"
"""What answers an "echo" of the script: each of them ends a part of the count."""

NAMED = re.compile(r"(c?)(ob|fn)=\((\d+)\)(?: (.*))?$")
"""Names are numbered where they stand first, which may be the line of a call."""


class CountingFailed(Exception):
    """The command did not run to a good end, or valgrind did not."""


class Profile:
    """What each object of a process executed itself, and how often each function was called."""

    def __init__(self, lines):
        self.costs = collections.Counter()
        self.calls = collections.Counter()
        self.names = {"ob": {}, "fn": {}}
        self.here = self.called = ""
        is_call = False
        for line in lines:
            if line.startswith("calls="):
                self.calls[self.called] += int(line[6:].split()[0])
                is_call = True  # the next line is what the called function cost, counted there
            elif line[:1].isdigit() or line[:1] in ("+", "-", "*"):
                if not is_call:
                    self.costs[self.here] += int(line.split()[1])
                is_call = False
            else:
                self.take_name(line)

    def take_name(self, line):
        found = NAMED.match(line)
        if not found:
            return
        called, kind, number, name = found.groups()
        if name is not None:
            self.names[kind][number] = name.strip()
        name = self.names[kind][number]
        if kind == "ob" and not called:
            self.here = name
        elif kind == "fn" and called:
            self.called = name.split("'")[0]  # "'2" marks a function that calls itself

    def count(self):
        own = sum(cost for path, cost in self.costs.items() if is_own(path))
        allocations = sum(self.calls[name] for name in ALLOCATING)
        return Count(own, sum(self.costs.values()), allocations)


def is_own(path):
    return path.startswith("/") and not path.startswith(SYSTEM)


def parts(command, cwd, env, script=""):
    """Runs a command under valgrind, and counts what it does up to the end of each "echo" of its script,
    and behind the last one. Children that it starts are not counted."""
    with tempfile.TemporaryDirectory(prefix="zerv-count-") as folder:
        profile = os.path.join(folder, "profile")
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", "--quiet", "--dump-line=no",
             f"--dump-after={MARK}", f"--callgrind-out-file={profile}", *command],
            cwd=cwd, env=env, input=script.encode(), capture_output=True)
        dumps = sorted(glob.glob(profile + ".*"), key=lambda path: int(path.rpartition(".")[2])) + [profile]
        if run.returncode != 0 or not os.path.exists(profile) or len(dumps) != script.count("echo") + 1:
            said = (run.stdout + run.stderr).decode("utf-8", "replace")
            raise CountingFailed(f"{' '.join(command)}: {run.returncode}, {len(dumps)} parts\n{said}")
        return [read(path) for path in dumps]


def read(path):
    with open(path, encoding="utf-8", errors="replace") as lines:
        return Profile(lines).count()


def difference(more, less):
    """What the longer of two runs did besides."""
    return Count(*(a - b for a, b in zip(more, less)))


def share(whole, steps):
    """What each of so many steps did, as whole numbers."""
    return Count(*(round(each / steps) for each in whole))
