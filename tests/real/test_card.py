"""An update of a player that lives on a memory card: a real FAT image, which knows neither modes nor
links. Where the machine cannot mount one, the test is skipped; unit/update_unpack_test has the calls
refused instead."""

import os
import shutil
import subprocess
import tempfile
import unittest

from player import DEADLINE_S, PROGRAM
from test_update import CHECK_A, CHECK_B, Liar, UpdateTest, pack

TOOLS = ("mkfs.vfat", "fusefat", "fusermount")


class CardTest(UpdateTest):
    def setUp(self):
        super().setUp()
        path = os.environ.get("PATH", "") + ":/sbin:/usr/sbin"
        tools = [shutil.which(tool, path=path) for tool in TOOLS]
        if None in tools or os.getuid() != 0:
            self.skipTest("no FAT image can be mounted")
        make, mount, unmount = tools
        image = self.path("card.img")
        with open(image, "wb") as file:
            file.truncate(64 << 20)
        subprocess.run([make, image], check=True, capture_output=True)
        card = tempfile.mkdtemp(prefix="zerv-card-")
        self.addCleanup(os.rmdir, card)
        if subprocess.run([mount, "-o", "rw+", image, card], capture_output=True,
                          check=False).returncode != 0:
            self.skipTest("no FAT image can be mounted")
        self.addCleanup(subprocess.run, [unmount, "-u", "-z", card], check=True)
        self.install_on(card)

    def install_on(self, card):
        """The program folder moves to the card."""
        os.mkdir(os.path.join(card, "skins"))
        for name in os.listdir(self.folder) + [f"skins/{skin}" for skin in
                                               os.listdir(self.path("skins"))]:
            if os.path.isfile(self.path(name)) and not name.endswith(".img"):
                shutil.copyfile(self.path(name), os.path.join(card, name))
        self.folder = card
        self.program = os.path.join(card, "zerv-player")

    def test_a_card_knows_no_modes_and_no_links(self):
        with self.assertRaises(OSError):
            os.chmod(self.program, 0o700)
        with self.assertRaises(OSError):
            os.link(self.program, self.path("again"))

    def test_version_a_becomes_version_b(self):
        os.mkdir(self.path("music"))
        liar = Liar(self)
        liar.answers = {CHECK_A: f"http://{liar.host}/p.zip".encode(), CHECK_B: b"none",
                        "/p.zip": pack(("zerv-player", self.b), ("news/", b""),
                                       ("news/read.txt", b"new"), ("song.flac", b"other"))}
        run = self.update(liar.host)
        self.assertIn("installed", run.err)
        self.assertEqual(run.status, 0, run.err)
        self.assertEqual(run.out.count("state "), 1)
        self.assertEqual(self.read("zerv-player"), self.b)
        self.assertEqual(self.read("news/read.txt"), b"new")
        self.assertEqual(self.read("song.flac"), b"other")
        self.assertFalse(self.exists("_tmp"))
        self.assertEqual(liar.asked, [CHECK_A, "/p.zip", CHECK_B])


if __name__ == "__main__":
    unittest.main()
