"""The measuring itself: profiles are read right, and figures compared right."""

import os
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools/bench"))
import callgrind  # noqa: E402
import counts  # noqa: E402
import disk  # noqa: E402
import latency  # noqa: E402
import memory  # noqa: E402
import running  # noqa: E402
import table  # noqa: E402
from callgrind import Count  # noqa: E402

PROFILE = """events: Ir
ob=(1) /home/user/player/zerv-player
fn=(1) main
0 100
cob=(2) /usr/lib/libc.so.6
cfn=(2) malloc
calls=3 0
0 60
cob=(3) /usr/lib/libpng.so
cfn=(3) png_read
calls=1 0
0 500
+3 7

ob=(2)
fn=(2)
0 60

ob=(3)
fn=(3)
0 440
cob=(2)
cfn=(2)
calls=2 0
0 40
cfn=(4) realloc'2
calls=1 0
0 20
ob=(4) ???
fn=(5) 0x0000
* 5
totals: 612
""".splitlines(keepends=True)


class ProfileTest(unittest.TestCase):
    def test_costs_are_what_each_object_executed_itself(self):
        found = callgrind.Profile(PROFILE)
        self.assertEqual(found.costs["/home/user/player/zerv-player"], 107)
        self.assertEqual(found.costs["/usr/lib/libc.so.6"], 60)
        self.assertEqual(found.costs["/usr/lib/libpng.so"], 440)

    def test_own_code_is_what_no_system_folder_holds(self):
        self.assertEqual(callgrind.Profile(PROFILE).count(), Count(107, 612, 6))

    def test_a_difference_is_shared_among_the_steps(self):
        more = callgrind.difference(Count(50, 70, 9), Count(10, 30, 1))
        self.assertEqual(more, Count(40, 40, 8))
        self.assertEqual(callgrind.share(more, 4), Count(10, 10, 2))

    def test_a_command_that_fails_is_not_counted(self):
        with self.assertRaises(callgrind.CountingFailed):
            callgrind.parts(["/bin/false"], "/", {"PATH": "/usr/bin"})


HERE = {"build": "Release GNU 12.2.0 x86_64", "processor": "avx2", "libraries": {"libc6": "2.36"}}


class CompareTest(unittest.TestCase):
    def test_what_grew_by_more_than_a_twentieth_is_told(self):
        before = {"start": {"own": 1000, "all": 3000}}
        self.assertEqual(counts.compare(before, {"start": {"own": 1050, "all": 3000}}, ("own", "all")),
                         ([], []))
        grown, fallen = counts.compare(before, {"start": {"own": 1051, "all": 3000}}, ("own", "all"))
        self.assertEqual(grown, ["start, own: 1,051, recorded 1,000"])
        self.assertEqual(fallen, [])

    def test_only_the_units_that_hold_here_are_compared(self):
        grown, _ = counts.compare({"start": {"own": 10, "all": 10}},
                                  {"start": {"own": 10, "all": 99}}, ("own",))
        self.assertEqual(grown, [])

    def test_nothing_may_become_something(self):
        for unit, most in (("own", 0), ("allocations", 4)):
            self.assertEqual(counts.compare({"a": {unit: 0}}, {"a": {unit: most}}, (unit,))[0], [])
            self.assertEqual(len(counts.compare({"a": {unit: 0}}, {"a": {unit: most + 1}}, (unit,))[0]), 1)

    def test_what_fell_by_more_than_a_fifth_is_worth_recording(self):
        grown, fallen = counts.compare({"start": {"own": 1000}}, {"start": {"own": 799}}, ("own",))
        self.assertEqual((grown, fallen), ([], ["start, own: 799, recorded 1,000"]))
        self.assertEqual(counts.compare({"start": {"own": 1000}}, {"start": {"own": 800}}, ("own",)),
                         ([], []))

    def test_a_figure_without_a_record_is_a_fault(self):
        self.assertEqual(counts.compare({}, {"start": {"own": 1}}, ("own",))[0], ["start: measured only"])
        self.assertEqual(counts.compare({"start": {"own": 1}}, {}, ("own",))[0], ["start: recorded only"])

    def test_another_compiler_leaves_the_disk_and_other_libraries_leave_our_own_code(self):
        self.assertEqual(counts.units_compared(HERE, HERE), (("own", "all", "allocations", *counts.ALWAYS), ""))
        units, why = counts.units_compared(HERE, {**HERE, "build": "Release GNU 13.1.0 x86_64"})
        self.assertEqual(units, counts.ALWAYS)
        self.assertIn("13.1.0", why)
        units, why = counts.units_compared(HERE, {**HERE, "libraries": {"libc6": "2.37"}})
        self.assertEqual(units, ("own", *counts.ALWAYS))
        self.assertIn("libc6", why)


class LookingTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="zerv-looking-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def test_a_pipe_among_files_that_are_forgotten_is_not_waited_for(self):
        os.mkfifo(os.path.join(self.folder, "pipe"))
        with open(os.path.join(self.folder, "file"), "wb") as file:
            file.write(bytes(4096))
        disk.forget(self.folder)

    def test_a_screen_is_another_when_a_line_that_is_looked_at_changes(self):
        path = os.path.join(self.folder, "screen")
        with open(path, "wb") as file:
            file.write(bytes(1000))
        screen = latency.Screen(path, 10, 100)
        before = screen.picture()
        self.write(path, 50)
        self.assertEqual(screen.picture(), before)
        self.write(path, 105)
        self.assertLessEqual(screen.wait_for_other(before), time.monotonic())

    @staticmethod
    def write(path, at):
        with open(path, "r+b") as file:
            file.seek(at)
            file.write(b"x")


class RunningTest(unittest.TestCase):
    def test_a_thread_that_ended_takes_nothing_away_and_a_new_one_counts_whole(self):
        before = {"main": (1_000_000, 10), "ended": (50_000_000, 500)}
        after = {"main": (21_000_000, 20), "new": (10_000_000, 5)}
        self.assertEqual(running.spent(before, after, 10),
                         {"% of a core": 0.3, "wake-ups a second": 1.5})

    def test_calls_count_where_they_began(self):
        log = ("12 100.5 poll([{fd=3}], 1, 1000 <unfinished ...>\n13 100.9 read(4, \"x\", 1) = 1\n"
               "12 101.2 <... poll resumed>) = 0\n12 101.5 read(3, \"y\", 1) = 1\n")
        self.assertEqual(running.calls_between(log, 100, 101), 2)
        self.assertEqual(running.calls_between(log, 101, 102), 1)


SMAPS = """55f6-55f8 r-xp 00000000 fe:00 247134   /tmp/a/zerv-player
Rss:                 100 kB
Anonymous:             8 kB
55f8-55fa rw-p 00000000 00:00 0        [heap]
Rss:                4000 kB
Anonymous:          4000 kB
7f00-7f01 r--p 00000000 fe:00 12       /usr/lib/libc.so.6
Rss:                  50 kB
Anonymous:             0 kB
7f02-7f03 r--p 00000000 fe:00 12       /tmp/a/QuenlyAquaEJ.ttf
Rss:                  70 kB
Anonymous:             0 kB
7f04-7f05 rw-p 00000000 00:00 0
Rss:                   9 kB
Anonymous:             9 kB
"""

MASSIF = """snapshot=1
heap_tree=empty
#-----------
snapshot=2
heap_tree=peak
n2: 4096 (heap allocation functions) malloc/new/new[], --alloc-fns, etc.
 n1: 3072 0x1: fb_surface_new(int) (in /tmp/a)
  n0: 3072 0x2: main (in /tmp/a)
 n1: 1024 0x3: operator new(unsigned long) (in /usr/lib)
  n1: 1024 0x4: list_cur_playlist_add(char const*) (in /tmp/a)
   n0: 1024 0x2: main (in /tmp/a)
#-----------
snapshot=3
heap_tree=empty
"""


class MemoryTest(unittest.TestCase):
    def test_mappings_are_told_by_what_they_are(self):
        found = memory.places(SMAPS)
        self.assertEqual(found["the program"], {"resident": 100, "own": 8})
        self.assertEqual(found["heap"], {"resident": 4000, "own": 4000})
        self.assertEqual(found["libraries"], {"resident": 50, "own": 0})
        self.assertEqual(found["fonts: pages of their files"], {"resident": 70, "own": 0})
        self.assertEqual(sum(each["own"] for each in found.values()), 4017)

    def test_the_heap_at_its_largest_is_told_by_who_asked(self):
        self.assertEqual(memory.kinds(MASSIF), {"surfaces and screens": 3.0, "playlist": 1.0})


class TableTest(unittest.TestCase):
    figures = {"ours": 8.0, "library": 10.0, "cmus": 0}

    def test_a_limit_is_a_number_or_so_many_times_a_column(self):
        self.assertEqual(table.limit(5, self.figures), 5)
        self.assertEqual(table.limit("1.5 library", self.figures), 15)
        self.assertIsNone(table.limit("1.5 mpd", self.figures))
        self.assertIsNone(table.limit("", self.figures))

    def test_the_verdict_needs_a_figure_and_a_limit(self):
        self.assertEqual(table.verdict(self.figures, 8), "yes")
        self.assertEqual(table.verdict(self.figures, 7.9), "NO")
        self.assertEqual(table.verdict(self.figures, "0.5 library"), "NO")
        self.assertEqual(table.verdict(self.figures, "1 cmus"), "NO")
        self.assertEqual(table.verdict({"cmus": 1}, 5), "")
        self.assertEqual(table.verdict(self.figures, ""), "")

    def test_columns_without_a_figure_are_left_out_and_a_row_is_named_once(self):
        results = {"idle": {"%": {"ours": 0.01}, "wakes": {"ours": 12}}}
        lines = list(table.layout(table.lines_of(results, {"idle": {"wakes": (5, 1)}})))
        self.assertEqual(lines, ["             ours  must       aim",
                                 "idle  %      0.01",
                                 "      wakes  12.0  5.00  NO  1.00"])

    def test_two_results_show_the_change_of_ours(self):
        before = {"start": {"ms": {"ours": 20.0, "cmus": 9}}}
        after = {"start": {"ms": {"ours": 15.0, "cmus": 1}, "M": {"ours": 3}, "none": {}}}
        self.assertEqual(list(table.compared(before, after))[1:],
                         [["start", "ms", "20.0", "15.0", "-25.0 %"], ["", "M", "", "3.00", ""]])


if __name__ == "__main__":
    unittest.main()
