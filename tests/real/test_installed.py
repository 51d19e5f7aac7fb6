"""What cmake --install puts down: a player that starts from anywhere, in a folder of its user's."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

from make_flac import make_flac

PROGRAM = os.environ.get("ZERV_PLAYER", "")
BUILD = os.path.dirname(os.path.dirname(os.path.abspath(PROGRAM)))
ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
DEADLINE_S = 120
LAST_STATE = "advance 400\nstate\ntext\n"


class InstalledTest(unittest.TestCase):
    """One installation for all tests; each has a home of its own."""

    @classmethod
    def setUpClass(cls):
        # As the manual has it: the build of a player has not all that is put down.
        subprocess.run(["cmake", "--build", BUILD, "--target", "to-install"], check=True,
                       capture_output=True, timeout=DEADLINE_S * 5)
        cls.made = tempfile.mkdtemp(prefix="zerv-installed-")
        cls.addClassCleanup(shutil.rmtree, cls.made, ignore_errors=True)
        # Moved after it was put down: nothing of it may know where that was.
        subprocess.run(["cmake", "--install", BUILD, "--prefix", f"{cls.made}/first"], check=True,
                       capture_output=True)
        cls.prefix = f"{cls.made}/any where"
        os.rename(f"{cls.made}/first", cls.prefix)

    def setUp(self):
        self.home = tempfile.mkdtemp(prefix="zerv-home-")
        self.addCleanup(shutil.rmtree, self.home, ignore_errors=True)
        self.folder = f"{self.home}/.local/share/zerv-player"

    def run_installed(self, *words, script=LAST_STATE, cwd="/", **more):
        environment = {"HOME": self.home, "PATH": os.environ["PATH"], "ZERV_DEVICE": "virtual", **more}
        done = subprocess.run([f"{self.prefix}/bin/zerv-player", *words], input=script, cwd=cwd,
                              env=environment, capture_output=True, text=True, timeout=DEADLINE_S)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def shared(self, *names):
        return os.path.join(self.prefix, "share", *names)

    def read(self, name):
        with open(os.path.join(self.folder, name), encoding="utf-8") as file:
            return file.read()

    def test_the_first_start_greets_and_makes_the_folder_of_the_user(self):
        out = self.run_installed()
        self.assertIn("|English|", out)  # the choice of a language
        self.assertEqual(os.readlink(f"{self.folder}/skins/Aqua_Ver0.4.zip"),
                         self.shared("zerv-player", "skins", "Aqua_Ver0.4.zip"))
        self.assertIn(f"<library_path>{self.home}/Music</library_path>", self.read("config.txt"))
        self.assertIn("|Zerv Player", self.run_installed())  # the second start shows the main menu
        self.assertTrue(os.path.exists(f"{self.folder}/library.db"))

    def test_a_home_with_signs_of_xml(self):
        odd = f"{self.home}/a & <b>"
        os.mkdir(odd)
        self.run_installed(HOME=odd)
        with open(f"{odd}/.local/share/zerv-player/config.txt", encoding="utf-8") as file:
            self.assertIn("a &amp; &lt;b&gt;/Music<", file.read())

    def test_the_folder_follows_the_data_directory(self):
        self.run_installed(XDG_DATA_HOME=f"{self.home}/data")
        self.assertTrue(os.path.isdir(f"{self.home}/data/zerv-player/skins"))
        self.assertFalse(os.path.exists(self.folder))

    def test_files_are_named_from_where_the_user_stands(self):
        for name in ("one song.flac", "-odd.flac"):
            with open(f"{self.home}/{name}", "wb") as file:
                file.write(make_flac(1))
        out = self.run_installed("one song.flac", cwd=self.home)
        self.assertIn(f"playing={self.home}/one song.flac", out)
        out = self.run_installed("-c", "other.txt", "one song.flac", cwd=self.home)
        self.assertIn(f"playing={self.home}/one song.flac", out)
        out = self.run_installed("--", "-odd.flac", cwd=self.home)
        self.assertIn(f"playing={self.home}/-odd.flac", out)

    def test_own_skins_stay_and_those_of_the_program_follow_it(self):
        self.run_installed()
        skins = f"{self.folder}/skins"
        shutil.copy(f"{skins}/Night.zip", f"{skins}/Mine.zip")
        os.unlink(f"{skins}/LargeType.zip")
        shutil.copy(f"{skins}/Night.zip", f"{skins}/LargeType.zip")  # the user's own version of it
        mine = os.stat(f"{skins}/LargeType.zip").st_size
        os.symlink("/nowhere", f"{skins}/Elsewhere.zip")
        gone = self.shared("zerv-player", "skins", "Gone.zip")
        os.symlink(gone, f"{skins}/Gone.zip")  # as an upgrade leaves it that drops a skin
        self.run_installed()
        self.assertEqual(os.stat(f"{skins}/LargeType.zip").st_size, mine)
        self.assertFalse(os.path.islink(f"{skins}/LargeType.zip"))
        self.assertEqual(sorted(os.listdir(skins)),
                         ["Aqua_Ver0.4.zip", "Elsewhere.zip", "LargeType.zip", "Mine.zip", "Night.zip"])

    def test_the_tools_start(self):
        for tool in ("zerv-skin", "zerv-keys", "zerv-package", "zerv-services"):
            done = subprocess.run([f"{self.prefix}/bin/{tool}", "--help"], capture_output=True, text=True,
                                  cwd="/", timeout=DEADLINE_S)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertIn(tool, done.stdout)
        subprocess.run([f"{self.prefix}/bin/zerv-skin", "check",
                        self.shared("zerv-player", "skins", "Night.zip")], check=True, capture_output=True)

    def test_manual_pages_have_no_fault(self):
        pages = sorted(os.listdir(self.shared("man", "man1")))
        self.assertEqual(pages, [f"zerv-{name}.1" for name in ("keys", "package", "player", "services", "skin")])
        for page in pages:
            done = subprocess.run(["groff", "-man", "-ww", "-Tutf8", self.shared("man", "man1", page)],
                                  capture_output=True, text=True, check=True)
            self.assertEqual(done.stderr, "", page)
            self.assertNotIn("@", done.stdout)

    def test_manual_pages_name_every_option_of_the_tools(self):
        for tool, commands in (("zerv-package", ("build", "check", "keygen", "sign")),
                               ("zerv-services", ("", "export"))):
            with open(self.shared("man", "man1", f"{tool}.1"), encoding="utf-8") as file:
                page = file.read().replace("\\-", "-")
            for command in commands:
                told = subprocess.run([f"{self.prefix}/bin/{tool}", *command.split(), "--help"],
                                      capture_output=True, text=True, check=True).stdout
                for option in set(re.findall(r"--[a-z]+", told)) - {"--help"}:
                    self.assertIn(option, page, f"{tool} {command}")

    def test_the_desktop_finds_it(self):
        subprocess.run(["desktop-file-validate", self.shared("applications", "zerv-player.desktop")],
                       check=True)
        done = subprocess.run(["appstreamcli", "validate", "--no-net",
                               self.shared("metainfo", "org.zervplayer.ZervPlayer.metainfo.xml")],
                              capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stdout)
        for size in (16, 48, 256):
            self.assertTrue(os.path.exists(
                self.shared("icons", "hicolor", f"{size}x{size}", "apps", "zerv-player.png")))

    def complete(self, tool, *words):
        """What the shell offers for the last word."""
        quoted = " ".join(f"'{word}'" for word in (f"{self.prefix}/bin/{tool}", *words))
        script = (f". '{self.shared('bash-completion', 'completions', tool)}'; COMP_WORDS=({quoted}); "
                  "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); compopt() { :; }; "
                  f"$(complete -p {tool} | sed 's/.*-F //; s/ .*//'); printf '%s\\n' \"${{COMPREPLY[@]}}\"")
        done = subprocess.run(["bash", "-c", script], capture_output=True, text=True, check=True, cwd=self.home)
        return done.stdout.split("\n")[:-1]

    def test_shells_complete(self):
        for name in ("a b.flac", "notes.txt"):
            with open(f"{self.home}/{name}", "wb"):
                pass
        self.assertEqual(self.complete("zerv-player", ""), ["a b.flac"])
        self.assertEqual(self.complete("zerv-skin", "p"), ["preview", "pack"])
        self.assertIn("--json", self.complete("zerv-skin", "check", "--"))
        self.assertEqual(self.complete("zerv-keys", "--s"), ["--show", "--skip-after"])
        self.assertIn("--partial", self.complete("zerv-package", "build", "--"))
        self.assertIn("--lyrics", self.complete("zerv-services", "--"))


if __name__ == "__main__":
    unittest.main()
