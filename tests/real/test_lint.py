"""The lint of the house notices each fault once: a circle, an include that points up, a call that points
up, a private header. A small house of two floors is made for it, sound first."""

import os
import shutil
import subprocess
import tempfile
import unittest

from python_tool import run_python

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PLAN = "cellar | | open.h\nroof | cellar | roof.h\n<zlib.h> | cellar\n"
FILES = {
    "cellar/open.h": "#pragma once\nint cellar_ask();\n",
    "cellar/hidden.h": "#pragma once\n",
    "cellar/cellar.cpp": '#include "cellar/open.h"\n#include "cellar/hidden.h"\n'
                         "int cellar_ask() { return 1; }\n",
    "roof/roof.h": "#pragma once\nint roof_ask();\n",
    "roof/roof.cpp": '#include "roof/roof.h"\n#include "cellar/open.h"\n'
                     "int roof_ask() { return cellar_ask(); }\n",
}


class Lint(unittest.TestCase):
    def setUp(self):
        self.house = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.house)
        os.mkdir(os.path.join(self.house, "tools"))
        self.write("tools/layers.txt", PLAN)
        for name, text in FILES.items():
            self.write(name, text)
        subprocess.run(["git", "init", "-q"], cwd=self.house, check=True)

    def write(self, name, text):
        path = os.path.join(self.house, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def run_tool(self, *words):
        return run_python(os.path.join(ROOT, "tools", words[0]), *words[1:], cwd=self.house)

    def includes(self):
        return self.run_tool("lint_layers.py")

    def links(self):
        for folder in ("cellar", "roof"):
            place = os.path.join(self.house, "build/CMakeFiles", folder + ".dir", folder)
            os.makedirs(place, exist_ok=True)
            subprocess.run(["g++", "-I.", "-c", f"{folder}/{folder}.cpp", "-o", f"{place}/{folder}.cpp.o"],
                           cwd=self.house, check=True)
        return self.run_tool("lint_links.py", "build")

    def assert_fault(self, run, words):
        self.assertNotEqual(run.returncode, 0)
        self.assertIn(words, run.stderr)

    def test_a_sound_house_passes(self):
        for run in (self.includes(), self.links()):
            self.assertEqual((run.returncode, run.stderr), (0, ""))

    def compile(self, source):
        """An object of a source of the cellar, where the build would put it."""
        place = os.path.join(self.house, "build/CMakeFiles/cellar.dir", source + ".o")
        os.makedirs(os.path.dirname(place), exist_ok=True)
        subprocess.run(["g++", "-I.", "-c", source, "-o", place], cwd=self.house, check=True)

    def test_sources_of_a_folder_that_call_each_other_are_refused(self):
        self.write("cellar/wine.cpp", "int cellar_ask();\nint wine_drink() { return cellar_ask(); }\n")
        self.compile("cellar/wine.cpp")
        self.assertEqual(self.links().returncode, 0)
        self.write("cellar/cellar.cpp", "int wine_drink();\nint cellar_ask() { return wine_drink(); }\n")
        run = self.links()
        self.assert_fault(run, "circle in cellar: cellar.cpp calls wine_drink() of wine.cpp")
        self.assert_fault(run, "circle in cellar: wine.cpp calls cellar_ask() of cellar.cpp")
        self.assertNotIn("roof", run.stderr)

    def test_a_circle_of_folders_is_refused(self):
        self.write("tools/layers.txt", "cellar | roof | open.h\nroof | cellar | roof.h\n")
        self.assert_fault(self.includes(), "cellar names roof, which does not stand below it")

    def test_a_circle_of_files_is_refused(self):
        self.write("cellar/hidden.h", '#pragma once\n#include "cellar/deep.h"\n')
        self.write("cellar/deep.h", '#pragma once\n#include "cellar/hidden.h"\n')
        self.assert_fault(self.includes(), "circle: ")

    def test_an_include_that_points_up_is_refused(self):
        self.write("cellar/cellar.cpp", '#include "roof/roof.h"\n')
        self.assert_fault(self.includes(), "cellar must not include roof/roof.h")

    def test_a_private_header_of_another_folder_is_refused(self):
        self.write("roof/roof.cpp", '#include "cellar/hidden.h"\n')
        self.assert_fault(self.includes(), "cellar/hidden.h is private to cellar")

    def test_a_public_header_shows_no_private_one(self):
        self.write("cellar/open.h", '#pragma once\n#include "cellar/hidden.h"\nint cellar_ask();\n')
        self.assert_fault(self.includes(), "cellar/open.h is public")

    def test_a_library_stays_in_its_folder(self):
        self.write("roof/roof.cpp", "#include <zlib.h>\n")
        self.assert_fault(self.includes(), "roof/roof.cpp must not include <zlib.h>")

    def test_a_folder_outside_the_plan_is_refused(self):
        self.write("shed/shed.cpp", "int shed;\n")
        self.assert_fault(self.includes(), "its folder is not in tools/layers.txt")

    def test_a_call_that_points_up_is_refused(self):
        self.write("cellar/cellar.cpp", "int roof_ask();\nint cellar_ask();\n"
                   "int cellar_ask() { return roof_ask(); }\n")
        self.assert_fault(self.links(), "cellar must not call roof_ask() of roof")

    def test_an_object_whose_source_has_gone_is_nobodys(self):
        self.write("cellar/old.cpp", "int roof_ask();\nint cellar_old();\nint cellar_old() { return roof_ask(); }\n")
        self.links()
        subprocess.run(["g++", "-c", "cellar/old.cpp", "-o", "build/CMakeFiles/cellar.dir/cellar/old.cpp.o"],
                       cwd=self.house, check=True)
        self.assert_fault(self.run_tool("lint_links.py", "build"), "cellar must not call roof_ask() of roof")
        os.remove(os.path.join(self.house, "cellar/old.cpp"))
        self.assertEqual(self.run_tool("lint_links.py", "build").returncode, 0)

    def test_documents_and_records_agree(self):
        self.write("platform/base/device.h", "/* of one */\nstruct device {\n    const char *name;\n"
                   "    int (*show)(int part); /* once; then again */\n    void (*wake)() = nullptr;\n};\n")
        self.write("platform/sound/sound_device.h", "struct sound_speaker {\n    bool stepped = false;\n};\n")
        table = "| `device` | |\n|---|---|\n| `name`, `show` | `platform/base/device.h` |\n| `wake` | |\n\n" \
                "| `sound_speaker` | |\n|---|---|\n| `stepped` | |\n\n"
        self.write("docs/porting.md", table)
        run = self.run_tool("lint_docs.py")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        for text, words in (
                (table.replace("`wake`", ""), "does not tell of wake of device"),
                (table.replace("`stepped`", "`stepped`, `sunk`"), "names sunk, which sound_speaker does not have"),
                (table + "`key_event(mask)`", "names key_event(), which is not there"),
                (table + "`platform/base/clock.h`", "names platform/base/clock.h, which is not there"),
                (table + "`plattform/base/device.h`", "names plattform/base/device.h, which is not there"),
                (table + "`clock.h`", "names clock.h, which is not there")):
            self.write("docs/porting.md", text)
            self.assert_fault(self.run_tool("lint_docs.py"), words)

    def test_documents_and_commands_of_scripts_agree(self):
        self.write("platform/device/virtual/device_virtual_script.cpp",
                   'static const script_command commands[] = {\n    {"key", 1, run_key}, {"up", 1, run_up},\n};\n')
        self.write("platform/input/key_name.cpp",
                   'constinit const key_name key_names[] = {\n    {"left", key_left},\n};\n')
        tables = "`docs/scripting.md`\n\n| command | |\n|---|---|\n| `key KEYS`, `up KEYS` | |\n\n" \
                 "| name | |\n|---|---|\n| `left` | |\n\n"
        self.write("docs/scripting.md", tables)
        run = self.run_tool("lint_docs.py")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        for text, words in ((tables.replace(", `up KEYS`", ""), "does not tell of up"),
                            (tables.replace("`key ", "`kay "), "tells of kay"),
                            (tables.replace("`left`", "`left`, `lift`"), "tells of lift")):
            self.write("docs/scripting.md", text)
            self.assert_fault(self.run_tool("lint_docs.py"), words)

    def test_documents_and_what_can_be_typed_agree(self):
        self.write("dev", "#   build    builds\n#   week     a week\ncase $command in\nbuild | week) true ;;\nesac\n")
        self.write("run", "case $1 in --record) record=1 ;; esac\n")
        self.write("CMakePresets.json", '{"name": "release"}\n')
        self.write("CMakeLists.txt", "add_custom_target(shelf DEPENDS roof)\n")
        self.write("tools/zerv_skin/cli.cpp", 'commands[] = {{"check"}}; options[] = {{"json"}};\n')
        self.write("platform/net/sock.cpp", 'getenv("ZERV_HOST");\n')
        sound = "`./run --record`, `zerv-skin check --json FOLDER`\n\n" \
                "    ZERV_HOST=here ./dev build | week   # ./dev nothing\n    cmake --preset release --target shelf\n"
        self.write("README.md", sound)
        run = self.run_tool("lint_commands.py")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        for right, wrong, words in (("dev build", "dev built", "./dev built, which is none of its words"),
                                    ("--record", "--store", "./run --store, which it does not take"),
                                    ("skin check", "skin chuck", "zerv-skin chuck, which it does not take"),
                                    ("--json", "--jason", "zerv-skin jason, which it does not take"),
                                    ("--preset release", "--preset old", "--preset old, which is not there"),
                                    ("target shelf", "target self", "--target self, which the build does not"),
                                    ("ZERV_HOST", "ZERV_GHOST", "ZERV_GHOST, which nothing asks for"),
                                    ("ZERV_HOST=here ", "", "nothing of ZERV_HOST")):
            self.write("README.md", sound.replace(right, wrong))
            self.assert_fault(self.run_tool("lint_commands.py"), words)

    def test_the_list_of_daily_commands_is_whole(self):
        self.write("README.md", "`./dev build`\n")
        for text, words in (("#   build  builds\ncase $command in\nbuild | week) true ;;\nesac\n",
                             "./dev week, which the list at its top does not have"),
                            ("#   build  builds\n#   week  a week\ncase $command in\nbuild) true ;;\nesac\n",
                             "./dev week in the list at its top, which is none of its words")):
            self.write("dev", text)
            self.assert_fault(self.run_tool("lint_commands.py"), words)

    def test_a_cast_without_a_name_is_refused(self):
        sound = 'int ask(int (*of)(int), int a); /* int(a) */\nint b = static_cast<int>(2.5), c = int{3};\n'
        self.write("roof/roof.cpp", sound + 'const char *d = "int(a)";\nlong most() { return long{1}; }\n')
        run = self.run_tool("lint_casts.py")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        for cast in ("int(2.5)", "2 * size_t(b)", "float(uint8_t(b))", "(int)2.5", "2 * (size_t)b"):
            self.write("roof/roof.cpp", f"double e = {cast};\n")
            self.assert_fault(self.run_tool("lint_casts.py"), "roof/roof.cpp:1: a cast without a name")

    def doubles(self, test):
        self.links()
        self.write("tests/unit/roof/roof_test.cpp", test)
        place = os.path.join(self.house, "build/tests/CMakeFiles/roof_test.dir/unit/roof")
        os.makedirs(place, exist_ok=True)
        subprocess.run(["g++", "-I.", "-c", "tests/unit/roof/roof_test.cpp", "-o", f"{place}/roof_test.cpp.o"],
                       cwd=self.house, check=True)
        return self.run_tool("lint_doubles.py", "build")

    def test_a_double_by_link_order_is_refused(self):
        sound = "static int cellar_ask() { return 2; }\nint roof_test();\nint roof_test() { return cellar_ask(); }\n"
        run = self.doubles(sound)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assert_fault(self.doubles("int cellar_ask();\nint cellar_ask() { return 2; }\n"),
                          "tests/unit/roof/roof_test.cpp defines cellar_ask() of cellar")
        self.assert_fault(self.run_tool("lint_doubles.py", "nowhere"), "build it first")

    def test_a_build_without_objects_proves_nothing(self):
        self.assert_fault(self.run_tool("lint_links.py", "nowhere"), "build it first")

    def test_two_types_of_one_name(self):
        self.write("skin/one.cpp", "struct row {\n    int a;\n};\n")
        self.write("view/two.cpp", "struct row {\n    long b;\n};\n")
        run = self.run_tool("lint_types.py")
        self.assertNotEqual(run.returncode, 0)
        self.assertIn("row is defined at skin/one.cpp:1, view/two.cpp:1", run.stdout)

    def test_types_of_tests_may_share_their_names(self):
        self.write("tests/one.cpp", "struct row {\n};\n")
        self.write("tests/two.cpp", "struct row {\n};\nstruct other {\n};\n")
        self.assertEqual(self.run_tool("lint_types.py").returncode, 0)
        self.write("view/three.cpp", "struct other {\n};\n")
        self.assertNotEqual(self.run_tool("lint_types.py").returncode, 0)


if __name__ == "__main__":
    unittest.main()
