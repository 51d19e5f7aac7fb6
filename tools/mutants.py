#!/usr/bin/env python3
"""Puts deliberate faults into the sources of folders and asks the tests whether they notice.

    tools/mutants.py FOLDER... [--file PATTERN] [--kind KIND] [--most N] [--seed N] [--tests REGEX]

One fault at a time: the changed source is compiled beside the release build and linked in front of
the build's own libraries, first into the tests that are named like it; of a folder that is a module,
into the module that lies beside them. What they let pass is asked again with the sanitizers of
`./dev check` in that source. A fault that no test of the folder notices is a survivor. Prints the survivors and the share that was noticed; neither the working tree
nor the build changes. docs/testing.md says how to read the list.

    FOLDER   a folder of tools/layers.txt, or `all`
    --file   only sources whose name contains this
    --kind   only faults of this kind (see tools/mutants_faults.py); without it, all but `lock`
    --most   so many faults a folder, picked by the seed
    --seed   of the choice; printed, so that a run can be repeated
    --tests  names of ctest instead of those that belong to the folder
    --log    also prints the faults that were noticed, and by which test
"""

import argparse
import collections
import fcntl
import json
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import time

import locks
from mutants_faults import KINDS, equals, faults_in, in_order, is_equal

BUILD = "build/release"
# What a test may take: a multiple of what it takes without a fault, and a few seconds besides. One
# that waits and does nothing gets more of them, for the machine may be busy.
TIMES, CPU_SECONDS = 10, 3
WAITS, SECONDS = 4, 60
MEMORY = 8 << 30  # bytes of addresses; a fault must not take the machine's memory
SANITIZERS = ["-fsanitize=address,undefined", "-fno-sanitize-recover=all"]
# Folders that the program loads: the tests take the changed one from beside their program.
MODULES = {
    "platform/audio/tag": "zerv-audio-tag.so",
    "platform/device/sdl": "zerv-device-sdl.so",
    "platform/device/web": "zerv-device-web.so",
}
BROWSED = ("real/web", "real/studio")  # a browser reserves more addresses than any limit

# Folders whose lines are also run by tests of other folders, or by the program.
MORE = {
    "core": "real/(restart|startup|signals)|scenario/(first_run|quit_keys|display_off)",
    "platform/audio": "unit/play_cover_tag_test",
    "platform/audio/tag": "unit/(play_cover_tag|audio_tag_library)_test",
    "platform/device": "unit/device_virtual_test",
    "platform/device/sdl": "real/window",
    "platform/device/web": "real/web",
    "play": "unit/list_cur_playlist(_queue)?_test",
    "skin": "unit/zerv_skin_(check|check_beginner|report)_test",
    "view/lyrics": "unit/(lyrics_fetch|play_lyrics)_test",
    "view/screen": "unit/(view_(list|list_frame|list_touch|play)|play_(draw|controls|text))_test",
}

test = collections.namedtuple("test", "name target command folder environment")


# ---- tests ----


def run(*command, **options):
    return subprocess.run(command, text=True, capture_output=True, **options)


def target_of(name):
    kind, _, rest = name.partition("/")
    return {"unit": rest, "fuzz": f"fuzz_{rest}"}.get(kind, "zerv-player")


def build(targets):
    os.makedirs("build/mutants", exist_ok=True)
    with open("build/mutants/lock", "w", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)  # another run may build as well
        done = run("ninja", "-C", BUILD, "-j2", *targets)
    if done.returncode != 0:
        sys.exit(done.stdout + done.stderr)


def tests_of(regex):
    """The tests of that name, built."""
    def ask():
        answer = run("ctest", "--test-dir", BUILD, "--show-only=json-v1", "-R", regex).stdout
        return json.loads(answer)["tests"]

    targets = {target_of(entry["name"]) for entry in ask()}
    if "zerv-player" in targets:
        targets |= {"zerv-skin", "player-folder", "demo-music", "media", "package_verdicts"}
    if targets:
        build(sorted(targets))
    found = []
    for entry in ask():  # ctest knows the command of a program once it is built
        properties = {each["name"]: each["value"] for each in entry["properties"]}
        environment = dict(each.split("=", 1) for each in properties.get("ENVIRONMENT", []))
        found.append(test(entry["name"], target_of(entry["name"]), entry["command"],
                          properties["WORKING_DIRECTORY"], environment))
    return found


def names_for(folder):
    """The tests beside each other in its own folder; of `view` not those of `view/list`."""
    root = os.path.join("tests/unit", folder)
    names = os.listdir(root) if os.path.isdir(root) else []
    own = [f"unit/{name[:-4]}" for name in sorted(names) if name.endswith("_test.cpp")]
    return "^(" + "|".join(own + ([MORE[folder]] if folder in MORE else [])) + ")$"


def is_namesake(each, path):
    stem = os.path.basename(path)[:-4]
    return each.target.startswith(stem) or stem.startswith(each.target.removesuffix("_test"))


class limits:
    """The time one test may take; taken from a run without a fault, which is_measured itself."""

    def __init__(self, cpu=0.0, wall=0.0, is_measured=False):
        self.is_measured = is_measured
        self.cpu, self.wall = int(cpu * TIMES + CPU_SECONDS), wall * WAITS + SECONDS

    def set(self, has_memory=False):
        resource.setrlimit(resource.RLIMIT_CPU, (self.cpu, self.cpu))
        if not has_memory:
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))


# ---- one fault after the other ----


class bench:
    """A folder of this run's own, in which changed sources are compiled, linked and run."""

    def __init__(self):
        self.place = os.path.abspath(f"build/mutants/{os.getpid()}")
        self.build = os.path.join(self.place, "release")  # as the tests of the program see it
        self.scratch = os.path.join(self.place, "scratch")
        os.makedirs(os.path.join(self.build, "player"))
        for folder in ("", "player"):
            for name in os.listdir(os.path.join(BUILD, folder)):
                if name not in ("player", "zerv-player", "scenarios"):
                    os.symlink(os.path.abspath(os.path.join(BUILD, folder, name)),
                               os.path.join(self.build, folder, name))
        with open(os.path.join(BUILD, "compile_commands.json"), encoding="utf-8") as commands:
            # Of a source that the fuzzers compile, too, the program's own command comes first.
            self.compilations = {os.path.relpath(entry["file"]): entry["command"]
                                 for entry in reversed(json.load(commands))}
        self.links = {}
        self.extra = []  # further words for compiler and linker

    def at(self, name):
        return os.path.join(self.place, name)

    def close(self):
        self.end_browsers()
        shutil.rmtree(self.place)

    def compiles(self, path, text):
        source = self.at(os.path.basename(path))
        with open(source, "w", encoding="utf-8") as changed:
            changed.write(text)
        words = shlex.split(self.compilations[path])
        words[words.index("-o"):] = ["-w", "-Wno-error", "-iquote", os.path.abspath(os.path.dirname(path)),
                                     *self.extra, "-o", self.at("changed.o"), "-c", source]
        done = run(*words, cwd=BUILD)
        os.remove(source)
        return done.returncode == 0

    def link_of(self, target):
        """(words, what it links: objects and members of libraries) of a program of the build."""
        if target not in self.links:
            lines = run("ninja", "-C", BUILD, "-t", "commands", target).stdout.splitlines()
            line = next(line for line in lines if re.search(rf" -o \S*/{target}\s", line))
            words = shlex.split(line.removeprefix(": && ").split(" && ")[0])
            del words[words.index("-o"):words.index("-o") + 2]
            traced = run(*words, "-Wl,-t,-t", "-o", self.at("traced"), cwd=BUILD)
            self.links[target] = (words, traced.stdout)
        return self.links[target]

    def links_it(self, target, path):
        return os.path.dirname(path) in MODULES or re.search(rf"[(/)]{re.escape(os.path.basename(path))}\.o", self.link_of(target)[1])

    def program_of(self, target):
        if target == "zerv-player":
            return os.path.join(self.build, "player/zerv-player")
        return self.at(target)

    def places_of(self, module):
        """Beside the tests, and beside the program."""
        return self.at(module), os.path.join(self.build, "player", module)

    def lay_modules(self):
        """Puts the build's own modules beside the programs."""
        for folder, at in (("tests", self.place), ("player", os.path.join(self.build, "player"))):
            for name in os.listdir(os.path.join(BUILD, folder)):
                if name.endswith(".so"):
                    if os.path.lexists(os.path.join(at, name)):
                        os.remove(os.path.join(at, name))
                    os.symlink(os.path.abspath(os.path.join(BUILD, folder, name)), os.path.join(at, name))

    def link_words(self, target, path, to):
        words = [word for word in self.link_of(target)[0] if not word.endswith(f".dir/{path}.o")]
        done = run(*words[:1], *([self.at("changed.o")] if path else []), *words[1:],
                   *self.extra, "-o", to, cwd=BUILD)
        if done.returncode != 0:
            sys.exit(done.stderr)

    def link(self, target, path):
        module = MODULES.get(os.path.dirname(path))
        self.link_words(target, "" if module else path, self.program_of(target))
        if module:
            for place in self.places_of(module):
                if os.path.lexists(place):
                    os.remove(place)
            self.link_words(module, path, self.at(module))
            os.symlink(*self.places_of(module))

    def end_browsers(self):
        """A browser has a session of its own: a test that is killed leaves it. What it inherited names
        this run's program."""
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{pid}/environ", "rb") as environment:
                    if f"ZERV_PLAYER={self.build}/".encode() in environment.read():
                        os.kill(int(pid), signal.SIGKILL)
            except OSError:
                continue  # gone, or another user's

    def run(self, each, most):
        """(passed, CPU seconds, seconds) of one test with the program linked last."""
        command = [word.replace(os.path.abspath(BUILD), self.build)
                   if word.endswith(os.path.normpath(BUILD)) else word for word in each.command]
        if each.target != "zerv-player":
            command[0] = self.program_of(each.target)
        environment = dict(os.environ, **each.environment, GTEST_FAIL_FAST="1")
        if "ZERV_PLAYER" in environment:
            environment["ZERV_PLAYER"] = self.program_of("zerv-player")
        folder = each.folder
        if each.name.startswith("unit/"):
            shutil.rmtree(self.scratch, ignore_errors=True)
            os.makedirs(self.scratch)
            folder = self.scratch
        has_memory = bool(self.extra) or each.name in BROWSED  # sanitizers reserve all addresses
        start, before = time.monotonic(), resource.getrusage(resource.RUSAGE_CHILDREN)
        with open(self.at("log"), "wb") as log:
            child = subprocess.Popen(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                                     stdout=log, stderr=log, start_new_session=True,
                                     preexec_fn=lambda: most.set(has_memory))
            try:
                passed = child.wait(most.wall) == 0
            except subprocess.TimeoutExpired:
                passed = False
            try:
                os.killpg(child.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            child.wait()
        if each.name in BROWSED:
            self.end_browsers()
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        return passed, cpu, time.monotonic() - start


def passes(table, each, most):
    """(passed, CPU seconds, seconds). One that drives the whole program is asked twice: what it waits for
    may come late on a busy machine. So is any that is run without a fault."""
    result = table.run(each, most)
    drives_all = each.target == "zerv-player" or most.is_measured
    return table.run(each, most) if drives_all and not result[0] else result


def without_fault(table, tests):
    """Each test's limits, the cheapest test first."""
    measured = []
    table.lay_modules()
    for each in tests:
        table.link(each.target, "")
        passed, cpu, wall = passes(table, each, limits(60, 60, True))
        if not passed:
            sys.exit(f"{each.name} fails without a fault: ctest --test-dir {BUILD} -R {each.name}")
        measured.append((cpu, each, limits(cpu, wall)))
    return [(each, most) for _, each, most in sorted(measured, key=lambda entry: entry[0])]


def first_that_fails(table, path, text, tests):
    """Its name, "" when all pass, None when the text does not compile."""
    if not table.compiles(path, text):
        return None
    for one, most in sorted(tests, key=lambda entry: not is_namesake(entry[0], path)):
        if table.links_it(one.target, path):
            table.link(one.target, path)
            if not passes(table, one, most)[0]:
                return one.name
    return ""


def first_that_fails_sanitized(table, each, tests):
    """The same with the sanitizers, for leaks and what reads too far. A test that they stop even
    without the fault, for one because it brings a heap of its own, says nothing."""
    with open(each.path, encoding="utf-8") as source:
        right = source.read()
    tests = [entry for entry in tests if entry[0].target != "zerv-player"]
    table.extra = SANITIZERS
    try:
        while name := first_that_fails(table, each.path, each.text, tests):
            one = [entry for entry in tests if entry[0].name == name]
            if first_that_fails(table, each.path, right, one) == "":
                return f"{name}, sanitized"
            tests = [entry for entry in tests if entry not in one]
    finally:
        table.extra = []
    return ""


def who_notices(table, each, tests):
    """The name of the first test that fails, "" when none does, None when it does not compile."""
    if each.kind == "lock":
        flags = locks.flags_of(BUILD)[each.path]
        return "" if locks.passes(each.path, each.text, flags) else "clang"
    who = first_that_fails(table, each.path, each.text, tests)
    return first_that_fails_sanitized(table, each, tests) if who == "" else who


def try_folder(table, folder, wanted, known):
    """(faults, noticed, equivalent) of one folder."""
    faults = [each for each in faults_in(folder, wanted.file, wanted.kind)
              if each.path in table.compilations]  # some builds leave some out
    if not faults:
        return 0, 0, 0
    regex = wanted.tests or names_for(folder)
    found = tests_of(regex)
    if wanted.tests and not found:
        sys.exit(f"no tests match {regex}")
    tests = without_fault(table, found)
    count = noticed = equivalent = 0
    for each in in_order(faults, wanted.seed, wanted.most < len(faults)):
        if count == wanted.most:
            break
        who = who_notices(table, each, tests)
        if who is None:
            continue
        count += 1
        if who:
            noticed += 1
        is_known = is_equal(each, known)
        equivalent += not who and is_known
        if wanted.log or not who:
            print(f"{each.path}:{each.line}: {each.kind}: {each.before}  ->  {each.after}"
                  + (f"  [{who}]" if who else "  [equivalent]" if is_known else ""), flush=True)
    print(f"{folder}: {noticed} of {count} noticed, {equivalent} equivalent", flush=True)
    return count, noticed, equivalent


def folders():
    with open("tools/layers.txt", encoding="utf-8") as plan:
        return [line.split("|")[0].strip() for line in plan if re.match(r"[a-z]", line)]


def parse():
    parser = argparse.ArgumentParser()
    parser.add_argument("folders", nargs="+")
    parser.add_argument("--file", default="")
    parser.add_argument("--kind", choices=KINDS)
    parser.add_argument("--most", type=int, default=60)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--tests", default="")
    parser.add_argument("--log", action="store_true")
    return parser.parse_args()


def main():
    os.chdir(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    wanted = parse()
    print(f"seed {wanted.seed}, at most {wanted.most} a folder", flush=True)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended"))  # and leaves nothing behind
    build(["player-folder", "zerv-player"])
    table = bench()
    chosen = folders() if wanted.folders == ["all"] else [each.strip("/") for each in wanted.folders]
    try:
        sums = [try_folder(table, folder, wanted, equals()) for folder in chosen]
    finally:
        table.close()
    count, noticed, equivalent = map(sum, zip(*sums))
    share = 100 * noticed / max(count - equivalent, 1)
    print(f"{noticed} of {count} noticed, {equivalent} equivalent: {share:.1f} % of the others")
    return 0


if __name__ == "__main__":
    sys.exit(main())
