"""What was built defends itself: the program and its modules, as files."""

import glob
import os
import platform
import re
import subprocess
import unittest

from player import PROGRAM, is_built_with

ENDBR64 = b"\xf3\x0f\x1e\xfa"
"""Where an indirect call may land."""


class HardeningTest(unittest.TestCase):
    def setUp(self):
        self.assertTrue(PROGRAM, "ZERV_PLAYER names no program")
        folder = os.path.dirname(os.path.abspath(PROGRAM))
        self.modules = sorted(glob.glob(os.path.join(folder, "*.so")))

    def each(self):
        for path in [PROGRAM, *self.modules]:
            with self.subTest(file=os.path.basename(path)):
                yield path

    def ask(self, path, *options):
        return subprocess.run(["readelf", "-W", *options, path], check=True, capture_output=True,
                              text=True, env={**os.environ, "LC_ALL": "C"}).stdout

    def segments(self, path, kind):
        """The rights of the segments of a kind, such as "RW"."""
        lines = [line.split() for line in self.ask(path, "-l").splitlines()]
        return ["".join(line[6:-1]) for line in lines if line[:1] == [kind]]

    def imports(self, path):
        return {line.split()[7].split("@")[0] for line in self.ask(path, "--dyn-syms").splitlines()
                if " UND " in line and len(line.split()) > 7}

    def test_program_is_loaded_anywhere(self):
        self.assertRegex(self.ask(PROGRAM, "-h"), r"Type:\s+DYN")
        self.assertRegex(self.ask(PROGRAM, "-d"), r"FLAGS_1.*PIE")

    def test_tables_of_addresses_are_filled_at_the_start_and_sealed(self):
        for path in self.each():
            self.assertRegex(self.ask(path, "-d"), r"BIND_NOW|FLAGS_1.*NOW")
            self.assertEqual(self.segments(path, "GNU_RELRO"), ["R"])

    def test_nothing_can_be_written_and_executed(self):
        for path in self.each():
            self.assertEqual(self.segments(path, "GNU_STACK"), ["RW"])
            parts = self.segments(path, "LOAD")
            self.assertIn("RE", parts)
            self.assertFalse([part for part in parts if "W" in part and "E" in part])
            self.assertNotIn("TEXTREL", self.ask(path, "-d"))

    def test_no_folder_of_the_build_is_searched_for_libraries(self):
        for path in self.each():
            self.assertNotRegex(self.ask(path, "-d"), r"\((RPATH|RUNPATH)\)")

    def test_stacks_are_guarded(self):
        for path in self.each():
            self.assertIn("__stack_chk_fail", self.imports(path))

    @unittest.skipIf(is_built_with("asan") or is_built_with("tsan"), "the sanitizers check instead")
    def test_copies_are_checked(self):
        checked = [name for name in self.imports(PROGRAM) if re.fullmatch(r"__\w+_chk", name)]
        self.assertGreater(len(checked), 5, "built with optimisation, and yet without checks")

    @unittest.skipIf(platform.machine() != "x86_64", "another kind of machine")
    def test_indirect_calls_land_where_a_function_begins(self):
        for path in self.each():
            functions = sum(1 for line in self.ask(path, "-s").splitlines()
                            if " FUNC " in line and " UND " not in line)
            with open(path, "rb") as file:
                marks = file.read().count(ENDBR64)
            self.assertGreater(marks, 5)
            self.assertGreater(marks, functions // 2)


if __name__ == "__main__":
    unittest.main()
