"""What the player does for a start, a frame, a second of sound and a scan does not grow unnoticed:
instructions, allocations, bytes from the disk, and what it does while it idles; see counts.json."""

import os
import sys
import unittest
from concurrent.futures import ThreadPoolExecutor

from player import PROGRAM, is_built_with

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../../tools/bench"))
import counts  # noqa: E402
import idle  # noqa: E402
from bench import Bench  # noqa: E402

RECORD = os.path.join(HERE, "counts.json")
BUILD = os.environ.get("ZERV_BUILD", "")
"""The kind of the build: its type, its compiler and the machine it is for."""

HELP = """
More than 5 % above the record. If the change is worth it, record the new figures with

    ./dev counts --record

and say in the commit why they may grow."""


BUILT = os.path.join(os.path.dirname(PROGRAM), "..")


def watch_idle():
    bench = Bench(BUILT, quick=True)
    try:
        return idle.measure_all(bench)
    finally:
        bench.close()


def measure():
    """What is counted and what is waited for at a time: a busy machine changes neither."""
    bench = Bench(BUILT, quick=True)
    try:
        with ThreadPoolExecutor() as threads:
            waiting = threads.submit(watch_idle)
            return {**counts.measure_all(bench.folder), **waiting.result()}
    finally:
        bench.close()


class CountsTest(unittest.TestCase):
    @unittest.skipIf(is_built_with("asan") or is_built_with("tsan"),
                     "a sanitizer's instructions are not the program's")
    def test_no_figure_grew(self):
        record = counts.read_record(RECORD)
        units, why = counts.units_compared(record["machine"], counts.machine(BUILD))
        if why:
            print(f"compared: {', '.join(units)}; {why}")
        grown, fallen = counts.compare(record["figures"], measure(), units)
        if fallen:
            print("\n".join(["Worth recording anew (./dev counts --record):", *fallen]))
        self.assertFalse(grown, "\n".join(["", *grown, HELP]))


if __name__ == "__main__":
    if os.environ.get("ZERV_COUNTS") == "--record":
        counts.write_record(RECORD, counts.machine(BUILD), measure())
    else:
        unittest.main()
