"""The measuring itself: profiles are read right, and figures compared right."""

import os
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools/bench"))
import callgrind  # noqa: E402
import counts  # noqa: E402
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
        self.assertEqual(callgrind.difference(Count(50, 70, 9), Count(10, 30, 1), 4), Count(10, 10, 2))

    def test_a_command_that_fails_is_not_counted(self):
        with self.assertRaises(callgrind.CountingFailed):
            callgrind.count(["/bin/false"], "/", {"PATH": "/usr/bin"})


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
        self.assertEqual(counts.units_compared(HERE, HERE), (("own", "all", "allocations", "bytes"), ""))
        units, why = counts.units_compared(HERE, {**HERE, "build": "Release GNU 13.1.0 x86_64"})
        self.assertEqual(units, ("bytes",))
        self.assertIn("13.1.0", why)
        units, why = counts.units_compared(HERE, {**HERE, "libraries": {"libc6": "2.37"}})
        self.assertEqual(units, ("own", "bytes"))
        self.assertIn("libc6", why)


if __name__ == "__main__":
    unittest.main()
