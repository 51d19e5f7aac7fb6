"""A player with a key built in: packages of its owner, of somebody else, of nobody."""

import os
import shutil
import unittest

import test_update
from player import PROGRAM
from services import run_tool
from test_update import CHECK_A, CHECK_B, Liar, pack

KEYED = os.path.join(os.path.dirname(os.path.abspath(PROGRAM)), "..", "tests", "real", "keyed_player")
# The other half of the key in CMakeLists.txt. It signs nothing but what is made here.
SECRET = ("84c657adb6d5a25220fcd1d48b3767c995727034e3ae4cab7ad905a4098c69de"
          "96fd81a9188ba63f455a9db6c22e257b276560d05adaf497bf3a1660cb58552a")


class BuiltInKeyTest(test_update.UpdateTest):
    def setUp(self):
        super().setUp()
        os.remove(self.program)
        shutil.copy(KEYED, self.program)
        self.a = self.read("zerv-player")
        self.b = self.a.replace(b"\x000.4\x00", b"\x000.5\x00")
        os.mkdir(self.path("keys"))
        self.write("keys/owner.secret", SECRET.encode() + b"\n")
        self.tool("keygen", self.path("keys/other"))
        self.liar = Liar(self)
        self.liar.answers = {CHECK_A: f"http://{self.liar.host}/p.zip".encode(), CHECK_B: b"none"}

    def tool(self, *arguments):
        result = run_tool("zerv-package", *arguments)
        self.assertEqual(result.returncode, 0, result.stderr)

    def signed_by(self, name, version="0.5"):
        place = self.path(f"keys/zerv-player-dingoo-{version}.zip")
        with open(place, "wb") as file:
            file.write(pack(("zerv-player", self.b)))
        self.tool("sign", place, "--secret", self.path(f"keys/{name}.secret"))
        with open(place, "rb") as file:
            return file.read()

    def take(self, package):
        self.liar.answers["/p.zip"] = package
        return self.update(self.liar.host, "song.flac")

    def assert_installed(self, run):
        self.assertIn("installed", run.err)
        self.assertEqual(self.read("zerv-player"), self.b)
        self.assertEqual(self.liar.asked, [CHECK_A, "/p.zip", CHECK_B])

    def test_a_package_of_the_owner_is_installed(self):
        self.assertNotEqual(self.b, self.a)
        self.assert_installed(self.take(self.signed_by("owner")))

    def test_packages_of_others_and_old_ones_are_refused(self):
        for why, package in (("of nobody", pack(("zerv-player", self.b))),
                             ("of another", self.signed_by("other")),
                             ("not newer", self.signed_by("owner", "0.4"))):
            with self.subTest(why):
                run = self.take(package)
                self.assert_alive_as_a(run)
                self.assertIn("is not signed with our key as a version above 0.4", run.err)

    def test_a_key_in_the_folder_counts_for_nothing(self):
        shutil.copy(self.path("keys/other.key"), self.path("update.key"))
        self.assert_alive_as_a(self.take(self.signed_by("other")))
        self.write("update.key", b"no key")
        self.liar.asked.clear()
        self.assert_installed(self.take(self.signed_by("owner")))


if __name__ == "__main__":
    unittest.main()
