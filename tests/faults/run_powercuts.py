#!/usr/bin/env python3
"""Cuts the power behind every write of a session, and starts the player from what is left.

    run_powercuts.py --build build/release --library libzerv-record.so [--most N] [--more N]
                     [--seed N] [--forget-syncs] [SESSION...]

What a session writes and syncs is recorded. For every prefix of the record folders are made: with
all of it, with nothing that no sync has covered, with names but no content, with zeroes, and --more
mixtures by chance. What a session has done when it has ended is there for good. The player has to start in each, and settings, playlist, lyrics, library and
program are the old or the new ones, whole.

    --most N         about N folders in all, spread evenly
    --more N         mixtures by chance for each prefix (default 4)
    --seed N         chooses them; printed
    --forget-syncs   no sync counts: faults have to be found, or the test finds nothing
"""
import argparse
import concurrent.futures
import hashlib
import os
import random
import shutil
import sys
import tempfile
import time
from pathlib import Path

from disk import ALL, NONE, PART, ZERO, Disk
from sessions import SESSIONS, STATE, Fixture, Judge

WRITING = ("first", "scan", "words", "settings", "edit", "update", "shutdown")


def mark_of(files, folders):
    """The same for the same state."""
    mark = hashlib.md5(repr(sorted(folders)).encode())
    for name, (number, content, mode) in sorted(files.items()):
        size = None if content is None else len(content)
        mark.update(repr((name, number, size, mode)).encode())
        mark.update(content or b"")
    return mark.digest()


class Record:
    """A session's record, and the numbers of the files that it found."""

    def __init__(self, stage, path):
        self.path = path
        self.inodes = {file.stat().st_ino: str(file.relative_to(stage))
                       for file in stage.rglob("*") if file.is_file() and not file.is_symlink()}

    def bytes(self):
        return self.path.read_bytes()


class Cuts:
    """One session's record, and the folders that cuts leave of it."""

    def __init__(self, fixture, session, options):
        self.fixture, self.session, self.options = fixture, session, options
        self.before = fixture.start_of(session)
        self.after = Path(tempfile.mkdtemp(dir=fixture.root, prefix="after-")) / "p"
        shutil.copytree(self.before, self.after, symlinks=True)
        record = Record(self.after, self.after.parent / "record")
        status, err = fixture.live(session, self.after, LD_PRELOAD=str(Path(options.library).resolve()),
                                   ZERV_RECORD=str(record.path))
        if status != 0:
            raise SystemExit(f"{session.name} fails by itself: {status}\n{err}")
        self.disk = Disk(self.before, self.after, record, options.forget_syncs)
        self.judge = Judge(self.before, self.after, strict=True)
        self.last_judge = Judge(self.after, self.after, strict=True)
        self.seen = set()

    def names_and_data(self, names, data):
        return lambda step: names if step.is_name() else data

    def choices(self, end):
        """Ways to choose, each with a name that repeats it."""
        yield "all", self.names_and_data(ALL, ALL)
        yield "none", self.names_and_data(NONE, NONE)
        yield "names", self.names_and_data(ALL, NONE)
        yield "zeroes", self.names_and_data(ALL, ZERO)
        yield "contents", self.names_and_data(NONE, ALL)
        for number in range(self.options.more):
            chance = random.Random(f"{self.options.seed} {self.session.name} {end} {number}")
            yield f"chance {number}", lambda step, chance=chance: chance.choice(
                (ALL, NONE) if step.is_name() else (ALL, NONE, ZERO, PART))

    def states(self, most):
        """Each different state once, or about so many of them, as (what it is called, files, folders, judge)."""
        last = len(self.disk.steps)
        cuts = [(end, *choice) for end in range(last + 1) for choice in self.choices(end)]
        left = most - 1 if most else len(cuts)
        for at, (end, name, choose) in enumerate(cuts):
            if len(self.seen) * len(cuts) > at * left:
                continue  # as many as belong into the part of the session up to here
            files, folders = self.disk.state(end, choose)
            mark = mark_of(files, folders)
            if mark not in self.seen:
                self.seen.add(mark)
                yield f"{self.session.name} after {end} of {last}, {name}", files, folders, self.judge
        # What has ended well is on the disk.
        yield f"{self.session.name} when it has ended", \
            *self.disk.state(last, self.names_and_data(NONE, NONE)), self.last_judge

    def build(self, files, folders):
        folder = Path(tempfile.mkdtemp(dir=self.fixture.root, prefix="cut-")) / "p"
        for name in sorted(folders):
            (folder / name).mkdir(exist_ok=True)
        for name, (number, content, mode) in files.items():
            source, target = self.before / number, folder / name
            if content is not None:
                target.write_bytes(content)
            elif source.is_symlink() or name in STATE:
                shutil.copy(source, target, follow_symlinks=False)
            else:
                os.link(source, target)
            if mode is not None and not target.is_symlink():
                target.chmod(mode)
        return folder

    def wrong(self, files, folders, judge):
        """What is wrong in that state, a line each."""
        folder = self.build(files, folders)
        try:
            try:
                status, err = self.fixture.live(SESSIONS["start"], folder)
            except OSError as error:
                return [f"the program does not start: {error}"]
            found = [f"the start ends with {status}: {err.strip()}"] if status != 0 else []
            return found + judge.faults(folder)
        finally:
            shutil.rmtree(folder.parent, ignore_errors=True)


def arguments():
    parser = argparse.ArgumentParser(usage=__doc__, add_help=False)
    parser.add_argument("--build", required=True)
    parser.add_argument("--library", required=True)
    parser.add_argument("--most", type=int, default=0)
    parser.add_argument("--more", type=int, default=4)
    parser.add_argument("--seed", default=os.environ.get("ZERV_TEST_SEED"))
    parser.add_argument("--forget-syncs", action="store_true")
    parser.add_argument("sessions", nargs="*", metavar="SESSION")
    options = parser.parse_intermixed_args()
    options.seed = int(options.seed or time.time_ns() % 1000000)
    unknown = [name for name in options.sessions if name not in SESSIONS]
    if unknown:
        parser.error(f"no session: {' '.join(unknown)}")
    return options


def try_session(cuts, most):
    """Returns how many states were tried and how many were bad."""
    states = list(cuts.states(most))
    bad = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for (name, *_), wrong in zip(states, pool.map(lambda one: cuts.wrong(*one[1:]), states)):
            if wrong:
                bad += 1
                print(f"{name}:\n    " + "\n    ".join(wrong), flush=True)
    print(f"{cuts.session.name:10} {len(cuts.disk.steps):4} steps {len(states):5} folders "
          f"{bad:4} bad", flush=True)
    return len(states), bad


def main():
    options = arguments()
    print(f"ZERV_TEST_SEED={options.seed}", flush=True)
    sessions = [SESSIONS[name] for name in options.sessions or WRITING]
    fixture = Fixture(options.build)
    try:
        results = [try_session(Cuts(fixture, session, options), options.most // len(sessions))
                   for session in sessions]
        print(f"{sum(count for count, _ in results)} folders, {sum(bad for _, bad in results)} bad")
        return 1 if any(bad for _, bad in results) else 0
    finally:
        fixture.close()


if __name__ == "__main__":
    sys.exit(main())
