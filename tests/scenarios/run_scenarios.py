#!/usr/bin/env python3
"""Runs scenarios: scripts for the virtual device, with the answers and pictures they must give.

    run_scenarios.py --build build/release [--media FOLDER] [NAME...]
    run_scenarios.py --build build/release --bless PATTERN

A scenario is a folder beside this file:

    script          the commands; script2, script3 ... start the program again in the same folder
    files/          what the program folder holds besides the program; optional
    setup.json      see below; optional
    expected        the answers, line by line; expected2, ... for further scripts
    NAME-*.png      what the script's "screenshot NAME-*.png" must show, every pixel

setup.json holds any of:

    "arguments"     command line, a list
    "environment"   variables, an object
    "media"         made media to copy: {"place in the program folder": "file or folder of media"}
    "folders"       empty folders to make, a list
    "status"        exit status, default 0 (a failed start or stop is 255)
    "stderr"        lines on standard error, default none
    "files"         afterwards: {"name": null (is absent), true (exists), "content" or
                    {"contains": "text"}}
    "sound"         afterwards: [[from ms, to ms, "silent" or "heard"], ...] of what was played
    "timeout"       seconds, default 120
    "flips"         true: "state" must show exactly so many frames. Without it the number counts
                    for nothing, because a worker's result may share a frame with something else
    "runs"          a list of such objects, one a script; "media", "folders" count in the first

"@" stands for the program folder in every text that is compared, and in "arguments",
"environment" and "files/" of text kind "*.txt", "*.m3u". That folder always has the same path, so
that pictures which show it are the same everywhere.
"""
import argparse
import fcntl
import fnmatch
import json
import os
import re
import shutil
import stat
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[1] / "tools"))
from png_file import BadPicture, read_png, write_png  # noqa: E402

STAGE = Path("/tmp/zerv-player-scenarios")
# What an earlier run in the program folder may have left there.
STATE = shutil.ignore_patterns("config.txt", "library.db*", "current.m3u", "_tmp", "*.wav", "*.lrc")
KEPT_VARIABLES = re.compile(r"(ASAN|UBSAN|TSAN|LSAN)_OPTIONS|LD_LIBRARY_PATH|PATH")


class Failed(Exception):
    """What does not hold, in words."""


# ---- pictures ----


# FreeType flattens curves another way where a word has 32 bits: of the same outline it gives a
# pixel on the edge another shade, and a few end one step of the screen's 5 or 6 bits apart.
EMULATED_PIXELS, STEP = 8, (9, 5, 9)


def is_step(wanted, actual):
    return all(abs(a - b) <= step for a, b, step in zip(wanted, actual, STEP))


def compare_pictures(wanted, actual, difference, steps=0):
    """Writes the difference picture and fails, or returns.
        steps   pixels that may be one step of their colour off
    """
    if wanted.read_bytes() == actual.read_bytes():
        return
    width, height, wanted_rows = read_png(wanted)
    actual_width, actual_height, actual_rows = read_png(actual)
    if (width, height) != (actual_width, actual_height):
        raise Failed(f"{actual.name} is {actual_width} x {actual_height}, not {width} x {height}")
    first, count, far, marked = None, 0, 0, []
    for y in range(height):
        row = bytearray(value // 4 for value in wanted_rows[y])
        for x in range(width if wanted_rows[y] != actual_rows[y] else 0):
            at = slice(x * 3, x * 3 + 3)
            if wanted_rows[y][at] == actual_rows[y][at]:
                continue
            row[at] = b"\xff\0\0"
            count += 1
            far += not is_step(wanted_rows[y][at], actual_rows[y][at])
            first = first or (x, y, wanted_rows[y][at].hex(), actual_rows[y][at].hex())
        marked.append(bytes(row))
    if far == 0 and count <= steps:
        return
    write_png(difference, width, marked)
    raise Failed(f"{actual.name}: {count} of {width * height} pixels differ, first at {first[0]}, "
                 f"{first[1]}: #{first[3]} instead of #{first[2]}")


# ---- texts, files, sound ----


def compare_lines(what, wanted, actual):
    if wanted == actual:
        return
    wanted_lines, actual_lines = wanted.splitlines(), actual.splitlines()
    count = sum(1 for a, b in zip(wanted_lines, actual_lines) if a != b)
    count += abs(len(wanted_lines) - len(actual_lines))
    if count == 0:
        raise Failed(f"{what}: only the line ends differ")
    for number in range(max(len(wanted_lines), len(actual_lines))):
        pair = [lines[number] if number < len(lines) else None
                for lines in (wanted_lines, actual_lines)]
        if pair[0] != pair[1]:
            shown = ["(nothing)" if line is None else line for line in pair]
            raise Failed(f"{what}: {count} lines differ, first line {number + 1}:\n"
                         f"    wanted: {shown[0]}\n    actual: {shown[1]}")


def check_file(folder, name, wanted):
    path = folder / name
    if wanted is None:
        if path.exists():
            raise Failed(f"{name} exists")
        return
    if not path.exists():
        raise Failed(f"{name} does not exist")
    if wanted is True:
        return
    content = path.read_bytes().decode("utf-8", "backslashreplace").replace(str(folder), "@")
    if isinstance(wanted, str):
        compare_lines(name, wanted, content)
    elif wanted["contains"] not in content:
        raise Failed(f"{name} does not contain: {wanted['contains']}")


def check_sound(path, start, end, wanted):
    data = path.read_bytes()
    samples = memoryview(data)[44:44 + (len(data) - 44) // 4 * 4].cast("h")
    span = samples[start * 441 // 10 * 2:end * 441 // 10 * 2]
    if len(span) == 0:
        raise Failed(f"no sound from {start} to {end} ms: the speaker played "
                     f"{len(samples) * 10 // 882} ms")
    loudest = max(max(span), -min(span))
    if (wanted == "silent") != (loudest == 0):
        raise Failed(f"sound from {start} to {end} ms: loudest sample {loudest}, wanted {wanted}")


# ---- one scenario ----


class Scenario:
    def __init__(self, folder, options):
        self.name = folder.name
        self.folder = folder
        self.options = options
        self.stage = STAGE / self.name
        self.kept = options.out / self.name
        self.problems = []
        self.blessed = []
        setup = folder / "setup.json"
        self.setup = json.loads(setup.read_text()) if setup.exists() else {}
        self.runs = self.setup.get("runs", [self.setup])

    def scripts(self):
        names = ["script"]
        while (self.folder / f"script{len(names) + 1}").exists():
            names.append(f"script{len(names) + 1}")
        return names

    def prepare(self):
        if self.stage.exists():
            make_writable(self.stage)
            shutil.rmtree(self.stage)
        shutil.copytree(self.options.build / "player", self.stage, ignore=STATE)
        first = {**self.setup, **self.runs[0]}
        for name in first.get("folders", []):
            (self.stage / name).mkdir(parents=True, exist_ok=True)
        for place, source in first.get("media", {}).items():
            found, target = self.options.media / source, self.stage / place
            if not found.exists():
                raise Failed(f"there is no {source} in {self.options.media}")
            target.parent.mkdir(parents=True, exist_ok=True)
            if found.is_dir():
                shutil.copytree(found, target, dirs_exist_ok=True)
            else:
                shutil.copy(found, target)
        if (self.folder / "files").is_dir():
            shutil.copytree(self.folder / "files", self.stage, dirs_exist_ok=True,
                            copy_function=self.copy_file)

    def copy_file(self, source, target):
        if Path(source).suffix in (".txt", ".m3u"):
            content = Path(source).read_bytes().replace(b"@", str(self.stage).encode())
            Path(target).write_bytes(content)
        else:
            shutil.copy(source, target)

    def check(self, function, *arguments):
        try:
            function(*arguments)
        except (Failed, BadPicture) as problem:
            self.problems.append(str(problem))

    def environment(self, run, script, sound):
        variables = {name: value for name, value in os.environ.items()
                     if KEPT_VARIABLES.fullmatch(name)}
        variables.update({
            "HOME": str(self.stage), "LANG": "C.UTF-8", "TZ": "UTC",
            "ZERV_DEVICE": "virtual",
            "ZERV_VIRTUAL_SCRIPT": str(self.folder / script), "ZERV_VIRTUAL_SOUND": str(sound)})
        for name, value in run.get("environment", {}).items():
            variables[name] = value.replace("@", str(self.stage))
        return variables

    def run_script(self, number, script):
        run = self.runs[number] if number < len(self.runs) else {}
        sound = self.kept / f"sound{number + 1}.wav"
        command = self.options.emulator + ["./zerv-player"]
        command += [argument.replace("@", str(self.stage)) for argument in run.get("arguments", [])]
        try:
            done = subprocess.run(command, cwd=self.stage, stdin=subprocess.DEVNULL,
                                  capture_output=True, timeout=run.get("timeout", 120) * self.options.patience,
                                  env=self.environment(run, script, sound))
        except subprocess.TimeoutExpired as late:
            self.keep("answers.txt", self.text_of(late.stdout or b""))
            self.keep("errors.txt", self.text_of(late.stderr or b""))
            raise Failed(f"{script}: not done after {late.timeout} s") from None
        self.compare_run(number, run, done)
        for span in run.get("sound", []):
            self.check(check_sound, sound, *span)
        for name, wanted in run.get("files", {}).items():
            self.check(check_file, self.stage, name, wanted)

    def text_of(self, data):
        return data.decode("utf-8", "backslashreplace").replace(str(self.stage), "@")

    def keep(self, name, text):
        (self.kept / name).write_text(text)

    def compare_run(self, number, run, done):
        suffix = str(number + 1) if number else ""
        answers, errors = self.text_of(done.stdout), self.text_of(done.stderr)
        if not run.get("flips"):
            answers = re.sub(r"(?m)^(state .*) flips=[0-9]+", r"\1 flips=*", answers)
        self.keep(f"answers{suffix}.txt", answers)
        self.keep(f"errors{suffix}.txt", errors)
        status = done.returncode if done.returncode >= 0 else f"signal {-done.returncode}"
        wanted_status = run.get("status", 0)
        if status != wanted_status:
            self.problems.append(f"script{suffix}: exit status {status}, not {wanted_status}")
        wanted_errors = "".join(line + "\n" for line in run.get("stderr", []))
        self.check(compare_lines, f"standard error of script{suffix}", wanted_errors, errors)
        expected = self.folder / f"expected{suffix}"
        if self.options.bless:
            self.bless_text(expected, answers)
        else:
            wanted = expected.read_text() if expected.exists() else ""
            self.check(compare_lines, f"answers to script{suffix}", wanted, answers)

    def bless_text(self, path, text):
        if text and (not path.exists() or path.read_text() != text):
            path.write_text(text)
            self.blessed.append(path)
        elif not text and path.exists():
            path.unlink()
            self.blessed.append(path)

    def compare_shots(self):
        pattern = self.name + "-*.png"
        wanted = {path.name: path for path in self.folder.glob(pattern)}
        actual = {path.name: path for path in self.stage.glob(pattern)}
        for name in sorted(wanted.keys() | actual.keys()):
            if self.options.bless:
                self.bless_picture(name, actual.get(name))
                continue
            if name in actual:
                shutil.copy(actual[name], self.kept / name)
            if name not in actual:
                self.problems.append(f"{name}: the script makes no such picture")
            elif name not in wanted:
                self.problems.append(f"{name}: there is no such picture to compare with")
            else:
                self.check(compare_pictures, wanted[name], actual[name],
                           self.kept / f"difference-{name}", self.options.steps)

    def bless_picture(self, name, actual):
        target = self.folder / name
        if actual is None:
            target.unlink()
        elif target.exists() and read_png(target) == read_png(actual):
            return
        else:
            shutil.copy(actual, target)
        self.blessed.append(target)

    def run_all(self):
        shutil.rmtree(self.kept, ignore_errors=True)
        self.kept.mkdir(parents=True)
        try:
            self.prepare()
            for number, script in enumerate(self.scripts()):
                self.run_script(number, script)
            self.compare_shots()
        except (Failed, BadPicture) as problem:
            self.problems.append(str(problem))
        if not self.options.keep:
            make_writable(self.stage)
            shutil.rmtree(self.stage, ignore_errors=True)

    def report(self):
        for path in self.blessed:
            print(("removed " if not path.exists() else "blessed ") + os.path.relpath(path))
        if not self.problems:
            print(f"passed  {self.name}")
            return
        print(f"FAILED  {self.name}")
        for problem in self.problems:
            print("  " + problem)
        print(f"  what it gave: {os.path.relpath(self.kept)}")
        print(f"  again: {sys.executable} {os.path.relpath(__file__)}"
              f" --build {os.path.relpath(self.options.build)}"
              f" --media {os.path.relpath(self.options.media)}"
              + (f" --emulator '{' '.join(self.options.emulator)}'" if self.options.emulator else "")
              + f" {self.name}")


def make_writable(folder):
    """A scenario may take rights away; removing needs them back."""
    for path, _, _ in os.walk(folder):
        os.chmod(path, stat.S_IRWXU)


def lock_stage(name):
    """Two builds share the fixed path: the second waits for the first."""
    STAGE.mkdir(parents=True, exist_ok=True)
    if STAGE.stat().st_uid != os.getuid():
        raise SystemExit(f"{STAGE} belongs to somebody else")
    lock = open(STAGE / f"{name}.lock", "w")
    fcntl.flock(lock, fcntl.LOCK_EX)
    return lock


def read_options():
    parser = argparse.ArgumentParser(description="Runs scenarios of the virtual device.")
    parser.add_argument("--build", type=Path, required=True, help="build folder, with player/ inside")
    parser.add_argument("--media", type=Path, help="folder of made media (default: BUILD/demo)")
    parser.add_argument("--scenarios", type=Path, default=HERE, help="where the scenarios are")
    parser.add_argument("--bless", metavar="PATTERN", help="remake answers and pictures")
    parser.add_argument("--emulator", type=str.split, default=[], metavar="COMMAND",
                        help="what runs a player of another machine, with its arguments")
    parser.add_argument("--keep", action="store_true", help=f"leave the folders below {STAGE}")
    parser.add_argument("names", nargs="*", help="patterns of scenario names (default: all)")
    options = parser.parse_args()
    options.build = options.build.resolve()
    options.media = (options.media or options.build / "demo").resolve()
    options.patience = 10 if options.emulator else 1
    options.steps = EMULATED_PIXELS if options.emulator else 0
    options.out = options.build / "scenarios"
    if options.bless:
        options.names = [options.bless]
    return options


def main():
    options = read_options()
    patterns = options.names or ["*"]
    folders = sorted(path.parent for path in options.scenarios.glob("*/script")
                     if any(fnmatch.fnmatch(path.parent.name, each) for each in patterns))
    if not folders:
        print("no scenario matches " + " ".join(patterns))
        return 1
    failed = 0
    for folder in folders:
        with lock_stage(folder.name):
            scenario = Scenario(folder, options)
            scenario.run_all()
        scenario.report()
        sys.stdout.flush()
        failed += bool(scenario.problems)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
