"""Installing what is missing: the package tools of this machine, with a system of their own."""

import fcntl
import hashlib
import os
import shutil
import subprocess
import tempfile
import unittest

DEADLINE_S = 120
ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")

APT = """Dir "{root}";
Dir::State::status "{root}/var/lib/dpkg/status";
APT::Sandbox::User "root";
DPkg::Options {{ "--root={root}"; "--log={root}/dpkg.log"; }};
DPkg::Use-Pty "false";
"""

FOLDERS = ("root/etc/apt/apt.conf.d", "root/etc/apt/preferences.d", "root/etc/apt/trusted.gpg.d",
           "root/var/lib/dpkg/info", "root/var/lib/dpkg/updates", "root/var/lib/apt/lists/partial",
           "root/var/cache/apt/archives/partial", "root/var/log/apt", "repository", "tools")

CONTROL = """Package: {name}
Version: 1
Architecture: all
Maintainer: Nobody <nobody@localhost>
Description: nothing
"""


@unittest.skipIf(os.geteuid() != 0, "packages are installed by root")
@unittest.skipIf(shutil.which("apt-get") is None, "no apt-get here")
class PackagesTest(unittest.TestCase):
    """A repository of three empty packages, an empty system, and a list that names them."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="zerv-packages-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        for folder in FOLDERS:
            os.makedirs(self.path(folder))
        self.write("root/var/lib/dpkg/status", "")
        self.write("root/etc/apt/sources.list",
                   f"deb [trusted=yes] file:{self.path('repository')} ./\n")
        self.write("apt.conf", APT.format(root=self.path("root")))
        self.write("repository/Packages", "\n".join(self.make_package(name) for name in
                                                    ("zerv-one", "zerv-two", "zerv-three")))
        os.symlink(os.path.join(ROOT, "tools/common.sh"), self.path("tools/common.sh"))
        self.write("tools/packages.txt", "# words\n[play]\nzerv-one # more words\n\n"
                                         "[test]\nzerv-two\n[check]\nzerv-three\n")

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)

    def make_package(self, name):
        """Its paragraph for the list of the repository."""
        control = CONTROL.format(name=name)
        os.makedirs(self.path(f"{name}/DEBIAN"))
        self.write(f"{name}/DEBIAN/control", control)
        file = self.path(f"repository/{name}.deb")
        subprocess.run(["dpkg-deb", "--root-owner-group", "--build", self.path(name), file],
                       check=True, capture_output=True)
        with open(file, "rb") as package:
            content = package.read()
        digest = hashlib.sha256(content).hexdigest()
        return f"{control}Filename: ./{name}.deb\nSize: {len(content)}\nSHA256: {digest}\n"

    def environment(self):
        return {**os.environ, "APT_CONFIG": self.path("apt.conf"),
                "DPKG_ADMINDIR": self.path("root/var/lib/dpkg")}

    def start(self, *sections):
        process = subprocess.Popen(
            ["bash", "-eu", "-c", '. tools/common.sh; install_packages "$@"', "install", *sections],
            cwd=self.folder, env=self.environment(), stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def install(self, *sections):
        process = self.start(*sections)
        _, told = process.communicate(timeout=DEADLINE_S)
        self.assertEqual(process.returncode, 0, told)
        return told

    def installed(self):
        listed = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${db:Status-Status}\n"],
                                env=self.environment(), capture_output=True, text=True)
        return sorted(line.split()[0] for line in listed.stdout.splitlines()
                      if line.endswith(" installed"))

    def test_each_part_of_the_list_is_installed_where_it_is_needed(self):
        self.assertIn("zerv-one", self.install("play"))
        self.assertEqual(self.installed(), ["zerv-one"])
        self.assertEqual(self.install("play"), "", "nothing is missing, nothing is said")
        self.install("play", "test", "check")
        self.assertEqual(self.installed(), ["zerv-one", "zerv-three", "zerv-two"])

    def test_lock_that_somebody_holds_is_waited_for(self):
        for part, lock in (("play", "lib/apt/lists/lock"), ("test", "lib/dpkg/lock-frontend"),
                           ("check", "cache/apt/archives/lock")):
            with self.subTest(lock=lock), open(self.path("root/var/" + lock), "w") as held:
                fcntl.lockf(held, fcntl.LOCK_EX)
                process = self.start(part)
                lines = [process.stderr.readline(), process.stderr.readline()]
                self.assertRegex(lines[1], "^Another program .* Waiting")
                self.assertIsNone(process.poll())
                fcntl.lockf(held, fcntl.LOCK_UN)
                _, told = process.communicate(timeout=DEADLINE_S)
                self.assertEqual((process.returncode, told), (0, ""), "it says so once")
        self.assertEqual(len(self.installed()), 3)

    def test_package_that_does_not_exist_is_a_failure(self):
        self.write("tools/packages.txt", "[play]\nzerv-nothing\n")
        process = self.start("play")
        _, told = process.communicate(timeout=DEADLINE_S)
        self.assertEqual(process.returncode, 1)
        self.assertIn("could not be installed: zerv-nothing", told)

    def test_every_package_of_the_list_stands_in_one_part(self):
        parts = {}
        for part in ("play", "test", "locales", "check", "cross", "cross-armhf", "cross-arm64",
                     "cross-mipsel", "card", "handheld", "package", "site", "peers"):
            named = subprocess.run(
                ["bash", "-eu", "-c", '. tools/common.sh; named_packages "$1"', "list", part],
                cwd=ROOT, capture_output=True, text=True, check=True)
            parts[part] = set(named.stdout.split())
            self.assertTrue(parts[part])
        with open(os.path.join(ROOT, "tools/packages.txt"), encoding="utf-8") as file:
            lines = [line.split("#")[0].strip() for line in file]
        names = [line for line in lines if line and not line.startswith("[")]
        self.assertEqual(sorted(names), sorted(set().union(*parts.values())))
        self.assertEqual(len(names), len(set(names)))


if __name__ == "__main__":
    unittest.main()
