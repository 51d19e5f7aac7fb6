"""The package directory for Buildroot: its form, and that it asks for what the build asks for."""

import os
import re
import shutil
import subprocess
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
FOLDER = os.path.join(ROOT, "packaging", "buildroot")
# Modules of pkg-config and libraries that the build looks for, by Buildroot's packages.
MODULES = {"freetype2": "freetype", "harfbuzz": "harfbuzz", "fribidi": "libfribidi", "libpng": "libpng",
           "libjpeg": "jpeg", "libmpg123": "mpg123", "vorbisfile": "libvorbis", "flac": "flac", "soxr": "libsoxr",
           "taglib": "taglib", "sqlite3": "sqlite", "expat": "expat", "minizip": "minizip-zlib", "zlib": "zlib",
           "libmd": "libmd", "libcurl": "libcurl", "libsodium": "libsodium", "alsa": "alsa-lib"}
NOT_THERE = {"sdl2", "libwebsockets"}  # left out by its options
OTHER = {"mad": "libmad", "vorbisidec": "tremor"}  # of a build with ZERV_FIXED_POINT


def read(*names):
    with open(os.path.join(*names), encoding="utf-8") as file:
        return file.read()


@unittest.skipIf(shutil.which("make") is None, "no make here")
class BuildrootTest(unittest.TestCase):
    def setUp(self):
        self.config = read(FOLDER, "Config.in")
        # What Buildroot's make sees of the recipe.
        words = f"cmake-package =\nBR2_EXTERNAL_ZERV_PATH = {FOLDER}\ninclude {FOLDER}/external.mk\nall:\n"
        words += "".join(f"\t@echo '{name}=$(ZERV_PLAYER_{name})'\n" for name in (
            "SITE", "SITE_METHOD", "DEPENDENCIES", "CONF_OPTS", "LICENSE_FILES"))
        done = subprocess.run(["make", "-f", "-", "--warn-undefined-variables"], input=words, cwd=FOLDER,
                              capture_output=True, text=True, check=True)
        self.assertEqual(done.stderr, "")
        self.recipe = dict(line.split("=", 1) for line in done.stdout.splitlines())

    def dependencies(self):
        return [name for name in self.recipe["DEPENDENCIES"].split() if not name.startswith("host-")]

    def test_the_recipe_finds_the_sources_and_their_licence(self):
        self.assertEqual(self.recipe["SITE_METHOD"], "local")
        site = self.recipe["SITE"]
        for name in ("CMakeLists.txt", *self.recipe["LICENSE_FILES"].split()):
            self.assertTrue(os.path.exists(os.path.join(site, name)), name)

    def test_what_is_depended_on_is_selected(self):
        selected = re.findall(r"^\tselect BR2_PACKAGE_(\w+)$", self.config, re.M)
        self.assertEqual(selected, sorted(selected))
        self.assertEqual(selected, [name.upper().replace("-", "_") for name in self.dependencies()])

    def test_the_build_finds_all_that_it_looks_for(self):
        build = read(ROOT, "CMakeLists.txt")
        wanted = {module for line in re.findall(r"pkg_check_modules\(\w+ REQUIRED IMPORTED_TARGET ([^)]+)\)", build)
                  for module in line.split()} - NOT_THERE - set(OTHER)
        self.assertGreater(len(wanted), 15)
        self.assertEqual({MODULES[module] for module in wanted} | {"giflib"}, set(self.dependencies()))

    def test_its_options_are_the_builds(self):
        build = read(ROOT, "CMakeLists.txt")
        for option in re.findall(r"-D(\w+)=", self.recipe["CONF_OPTS"]):
            self.assertIn(f"option({option} ", build)

    def test_texts_have_the_form_that_its_checker_wants(self):
        for name in ("Config.in", "zerv-player.mk", "external.mk", "external.desc"):
            text = read(FOLDER, name)
            self.assertTrue(text.endswith("\n") and not text.endswith("\n\n"), name)
            self.assertNotRegex(text, r"[ \t]\n", name)
            self.assertNotIn("\n\n\n", text, name)
        recipe = read(FOLDER, "zerv-player.mk").splitlines()
        self.assertEqual(recipe[:5], ["#" * 80, "#", "# zerv-player", "#", "#" * 80])
        self.assertEqual(recipe[-1], "$(eval $(cmake-package))")
        help_text = self.config.split("\thelp\n", 1)[1].split("\ncomment", 1)[0]
        for line in help_text.splitlines():
            self.assertRegex(line, r"^(\t  \S.*)?$")
            self.assertLessEqual(len(line.expandtabs(8)), 80)


if __name__ == "__main__":
    unittest.main()
