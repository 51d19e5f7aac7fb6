#!/usr/bin/env python3
"""Lets every n-th call of the player fail, n counted up.

    run_faults.py --build build/release --library libfail.so [--every K] [--most N] [--from N]
                  [KIND...] [SESSION...]
    run_faults.py --build build/release --library libfail.so --only KIND:N:ERROR SESSION

KIND:     alloc open read write rename sync lock thread sql net look make map
SESSION:  see sessions.py

After each life: no crash, no hang, no file of the user lost, and the next start succeeds.

    --every K   each K-th call only
    --most N    about N lives in all, spread evenly over what --every leaves of the calls that a life
                without faults has; else n goes up until none fires
    --from N    the first call to fail, 1 to K
    --lasting   the n-th call fails and so does every one after it
"""
import argparse
import concurrent.futures
import os
import shutil
import struct
import sys
import tempfile
from pathlib import Path

from sessions import SESSIONS, Fixture, Judge, fingerprint

KINDS = ("alloc", "open", "read", "write", "rename", "sync", "lock", "thread", "sql", "net", "look",
         "make", "map")
EIO, EAGAIN, ENOMEM, EACCES, EMFILE, ENOSPC = 5, 11, 12, 13, 24, 28
ENOLCK, ECONNRESET, ECONNREFUSED = 37, 104, 111
SQL_BUSY, SQL_NO_MEMORY, SQL_IO, SQL_FULL = 5, 7, 10, 13
ERRORS = {"alloc": (ENOMEM,), "open": (EMFILE, EIO, ENOMEM), "read": (EIO,),
          "write": (ENOSPC, EIO), "rename": (EIO, ENOSPC), "sync": (EIO,), "lock": (EAGAIN, ENOLCK),
          "thread": (EAGAIN,), "sql": (SQL_IO, SQL_FULL, SQL_BUSY, SQL_NO_MEMORY),
          "net": (ECONNRESET, ECONNREFUSED), "look": (EIO, EACCES), "make": (EIO, ENOSPC),
          "map": (ENOMEM,)}
SPREAD = 4  # a life has seldom more calls than the counted one and this part of them
UNTRIED = 99  # the library in front gave up before main()
TRIES = 3  # it does so where the system puts the C library across 4 GiB: once in some thousand lives


class Run:
    """One build's player under faults."""

    def __init__(self, options):
        self.fixture = Fixture(options.build)
        self.preload = str(Path(options.library).resolve())
        self.plus = "+" if options.lasting else ""
        self.judges, self.healthy = {}, set()

    def stage(self, session):
        """A fresh copy of the session's folder."""
        folder = Path(tempfile.mkdtemp(dir=self.fixture.root, prefix="stage-")) / "p"
        shutil.copytree(self.fixture.start_of(session), folder, symlinks=True)
        return folder

    def live(self, session, folder, wish, **more):
        """(status, stderr, counts, how many failed)"""
        tally = folder.parent / "tally"
        for _ in range(TRIES):
            tally.write_bytes(bytes(512))
            status, err = self.fixture.live(session, folder, LD_PRELOAD=self.preload, ZERV_FAIL=wish,
                                            ZERV_FAIL_TALLY=str(tally), **more)
            if status != UNTRIED:
                break
        words = struct.unpack("<128I", tally.read_bytes())
        return status, err, dict(zip(KINDS, words)), words[64]

    def count(self, session):
        """A life without faults: how many calls of each kind, and what there is to lose."""
        folder = self.stage(session)
        status, err, counts, _ = self.live(session, folder, "count")
        if status != 0:
            raise SystemExit(f"{session.name} fails without a fault: {status}\n{err}")
        judge = self.judges[session.name] = Judge(self.fixture.start_of(session), folder)
        wrong = judge.faults(folder) + self.next_start_fails(folder)
        if wrong:
            raise SystemExit(f"{session.name} loses something without a fault:\n" + "\n".join(wrong))
        return counts

    def next_start_fails(self, folder):
        mark = fingerprint(folder)
        if mark in self.healthy:
            return []
        status, err = self.fixture.live(SESSIONS["start"], folder)
        if status != 0:
            return [f"the next start ends with {status}: {err.strip()}"]
        self.healthy.add(mark)
        return []

    def attempt(self, session, wish, **more):
        """One life. Returns what is wrong with it, and whether something failed in it."""
        folder = self.stage(session)
        try:
            status, err, _, failed = self.live(session, folder, wish, **more)
            wrong = []
            if status == "hang" or status < 0 or status == UNTRIED:
                wrong.append(f"ended with {status}: {err.strip()[-3000:]}")
            wrong += self.judges[session.name].faults(folder)
            wrong += self.next_start_fails(folder)
            return wrong, failed, err
        finally:
            shutil.rmtree(folder.parent, ignore_errors=True)

    def wishes(self, kind, first, every, last):
        """Each n-th call."""
        for n in range(first, last + 1, every):
            yield f"{kind}:{n}{self.plus}:{ERRORS[kind][n // every % len(ERRORS[kind])]}"


def plan(run, sessions, kinds, options):
    """What is tried, as (session, kind, step): --most is shared in proportion to the lives."""
    lines = [(session, kind, counts[kind]) for session in sessions
             for counts in [run.count(session)] for kind in kinds]
    lives = sum(count // options.every + 1 for _, _, count in lines)
    stretch = max(1, -(-lives // options.most)) if options.most else 1
    return [(session, kind, options.every * (stretch if count > 7 * options.every else 1), count)
            for session, kind, count in lines]


def sweep(run, session, kind, step, count, options):
    """All of one kind in one session. Returns the failures, and how many lives there were."""
    bad, lives = [], 0
    # A sample spends no life on a call that there will not be; threads make lives a little different.
    last = count + count // SPREAD if options.most else sys.maxsize
    for wish in run.wishes(kind, min(options.first, step), step, last):
        wrong, failed, _ = run.attempt(session, wish)
        lives += 1
        if wrong:
            bad.append((wish, wrong))
            print(f"{session.name} {wish}:\n    " + "\n    ".join(wrong), flush=True)
        if not failed:
            return bad, lives
    return bad, lives


def arguments():
    parser = argparse.ArgumentParser(usage=__doc__, add_help=False)
    parser.add_argument("--build", required=True)
    parser.add_argument("--library", required=True)
    parser.add_argument("--every", type=int, default=1)
    parser.add_argument("--most", type=int, default=0)
    parser.add_argument("--from", dest="first", type=int, default=1)
    parser.add_argument("--lasting", action="store_true")
    parser.add_argument("--only")
    parser.add_argument("words", nargs="*")
    options = parser.parse_intermixed_args()
    unknown = [word for word in options.words if word not in KINDS and word not in SESSIONS]
    if unknown:
        parser.error(f"neither a kind nor a session: {' '.join(unknown)}")
    return options


def try_one(run, session, wish):
    run.count(session)
    wrong, failed, err = run.attempt(session, wish, ZERV_FAIL_TRACE="1")
    print(err, *wrong, f"{failed} calls failed", sep="\n")
    return 1 if wrong else 0


def main():
    options = arguments()
    sessions = [SESSIONS[name] for name in options.words if name in SESSIONS] or [*SESSIONS.values()]
    kinds = [name for name in options.words if name in KINDS] or KINDS
    run = Run(options)
    try:
        if options.only:
            return try_one(run, sessions[0], options.only)
        lines = plan(run, sessions, kinds, options)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            jobs = [(session, kind, count, pool.submit(sweep, run, session, kind, step, count, options))
                    for session, kind, step, count in lines]
            bad, total = 0, 0
            for session, kind, count, job in jobs:
                failures, lives = job.result()
                bad, total = bad + len(failures), total + lives
                print(f"{session.name:10} {kind:8} {count:6} calls {lives:6} lives "
                      f"{len(failures):4} bad", flush=True)
        print(f"{total} lives, {bad} bad")
        return 1 if bad else 0
    finally:
        run.fixture.close()


if __name__ == "__main__":
    sys.exit(main())
