"""zerv-skin studio in a real browser: pictures, elements, findings, changes on disk, export, the player."""

import io
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.error
import urllib.request
import zipfile

from browser import BROWSER, DRIVER, Browser
from player import DEADLINE_S, PROGRAM as PLAYER

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scenarios"))
from run_scenarios import read_png  # noqa: E402

PROGRAM = os.environ.get("ZERV_SKIN", "")
HAS_PAGE = os.path.exists(os.path.join(os.path.dirname(os.path.abspath(PLAYER)), "zerv-device-web.so"))


def ask(address, path, method="GET", **headers):
    request = urllib.request.Request(address + path, method=method, headers=headers,
                                     data=b"" if method == "POST" else None)
    try:
        with urllib.request.urlopen(request, timeout=DEADLINE_S) as answer:
            return answer.status, answer.read()
    except urllib.error.HTTPError as error:
        return error.code, error.read()


@unittest.skipUnless(HAS_PAGE and BROWSER and DRIVER, "no page, or no browser is installed")
class StudioTest(unittest.TestCase):
    """Each test has a studio with the skin "Mine", as zerv-skin makes it."""

    @classmethod
    def setUpClass(cls):
        cls.browser = Browser(1500, 1000)

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()

    def setUp(self):
        self.assertTrue(PROGRAM, "ZERV_SKIN names no program")
        self.folder = tempfile.mkdtemp(prefix="zerv-studio-test-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        subprocess.run([PROGRAM, "new", "Mine"], cwd=self.folder, check=True, capture_output=True)
        environment = {name: value for name, value in os.environ.items() if not name.startswith("ZERV_")}
        self.studio = subprocess.Popen([PROGRAM, "studio", "Mine"], cwd=self.folder, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, env={**environment, "ZERV_WEB_PORT": "0"})
        self.addCleanup(self.end)
        line = self.studio.stdout.readline().decode()
        self.assertIn("The studio is at http://127.0.0.1:", line)
        self.address = line.split(" at ")[1].split("/ ")[0]
        self.browser.go(self.address + "/")
        self.wait_for_made(1)

    def end(self):
        if self.studio.poll() is None:
            self.studio.kill()
            self.studio.wait()
        self.studio.stdout.close()
        self.studio.stderr.close()

    def test_a_port_that_is_none_is_refused(self):
        for text in ("page", "65536", "8330x", "-1"):
            run = subprocess.run([PROGRAM, "studio", "Mine"], cwd=self.folder, capture_output=True, text=True,
                                 env={**os.environ, "ZERV_WEB_PORT": text}, timeout=DEADLINE_S)
            self.assertEqual((run.returncode, run.stdout), (2, ""), text)
            self.assertEqual(run.stderr.splitlines()[-1], f"zerv-skin: ZERV_WEB_PORT is no port: {text}")

    def end_well(self):
        self.studio.terminate()
        self.assertEqual(self.studio.wait(DEADLINE_S), 0)
        self.assertEqual(self.studio.stderr.read(), b"")

    def path(self, name):
        return os.path.join(self.folder, "Mine", name)

    def change(self, name, old, new):
        with open(self.path(name), encoding="utf-8") as file:
            text = file.read()
        self.assertIn(old, text)
        with open(self.path(name) + ".new", "w", encoding="utf-8") as file:
            file.write(text.replace(old, new, 1))
        os.rename(self.path(name) + ".new", self.path(name))

    def wait_for_made(self, count):
        self.browser.wait_until(f"Number(document.body.dataset.made) >= {count}")

    def text_of(self, selector):
        return self.browser.run("return document.querySelector(arguments[0]).textContent", selector)

    def choose(self, scene):
        self.browser.run("[...document.querySelectorAll('.row button')].find((each) =>"
                         " each.firstChild.src.includes(`scene=${arguments[0]}&`)).click()", scene)
        self.browser.wait_until("document.getElementById('big').complete && "
                                "document.getElementById('big').naturalWidth === 320")

    def test_every_picture_is_the_one_of_preview(self):
        subprocess.run([PROGRAM, "preview", "Mine", "-o", "pictures"], cwd=self.folder, check=True,
                       capture_output=True)
        pictures = os.path.join(self.folder, "pictures")
        compared = 0
        for scene in self.browser.run("return fetch('skin.json').then((answer) => answer.json())")["scenes"]:
            path = os.path.join(pictures, scene["name"] + ".png")
            if os.path.exists(path):
                status, served = ask(self.address, "/picture?scene=" + scene["name"])
                self.assertEqual(status, 200)
                with open(os.path.join(self.folder, "served.png"), "wb") as file:
                    file.write(served)
                self.assertEqual(read_png(file.name), read_png(path), scene["name"])
                compared += 1
        self.assertEqual(compared, len(os.listdir(pictures)) - 1, "all but the sheet")
        self.browser.wait_until("[...document.querySelectorAll('.row img')].some((each) => each.naturalWidth === 320)")
        self.end_well()

    def test_change_on_disk_shows_at_once_with_what_is_wrong(self):
        self.assertEqual(self.text_of("#verdict"), "Nothing to complain about")
        self.choose("play-0-playing")
        self.change("play.xml", "<text", "<text bogus=\"1\"")
        self.browser.wait_until("document.getElementById('findings').textContent.includes('unknown-attribute')")
        self.assertIn("1 warning", self.text_of("#verdict"))
        self.browser.run("document.querySelector('#findings li').click()")
        marked = self.browser.run("return [...document.querySelectorAll('.on')].map((each) => each.className)")
        self.assertEqual(sorted(marked), ["box on", "on", "warning on"], "its box, its element, itself")
        self.assertIn("bogus", self.text_of("#elements .on"))
        under_mouse = self.browser.run("return document.querySelector('.box.on').title").splitlines()
        self.assertIn('bogus="1"', under_mouse)
        self.assertTrue(any(line.startswith("warning: ") for line in under_mouse), under_mouse)
        self.change("play.xml", "<text bogus=\"1\"", "<text")
        self.browser.wait_until("document.getElementById('verdict').textContent.startsWith('Nothing')")
        self.change("play.xml", "<", "broken <")
        self.browser.wait_until("document.querySelector('.refused')")
        self.assertIn("1 error", self.text_of("#verdict"))
        self.end_well()

    def test_the_contrast_of_each_text_is_told(self):
        self.choose("play-0-playing")
        told = self.browser.run("return [...document.querySelectorAll('.box')].map((each) =>"
                                " [each.title.split(',')[0], Number(each.dataset.contrast || 0)])")
        self.assertTrue(any(name == "text" for name, _ in told), told)
        for name, contrast in told:
            self.assertEqual(contrast >= 4.5, name in ("text", "lyrics"), f"{name}: {contrast}")
        colour = self.browser.run("return [...document.querySelectorAll('.box')].map((each) => each.title)"
                                  ".join().match(/font_color=\"(#[0-9a-fA-F]+)\"/)[1]")
        self.change("play.xml", f'font_color="{colour}"', 'font_color="#ffffff"')
        self.browser.wait_until("document.getElementById('findings').textContent.includes('low-contrast')")
        self.browser.click("#contrast")
        pale = self.browser.run("const box = document.querySelector('.box.pale'); return [Number(box.dataset.contrast),"
                                " getComputedStyle(box, '::before').content, box.title]")
        self.assertLess(pale[0], 3)
        self.assertEqual(pale[1], f'"{pale[0]:.1f}"', "it stands beside the text")
        self.assertIn(f"contrast of {pale[0]:.1f} to 1", pale[2], "and is what check found")
        self.end_well()

    def test_boxes_and_lists_are_linked(self):
        self.choose("list-0-menu")
        elements = self.browser.run("return document.querySelectorAll('#elements li').length")
        self.assertEqual(self.browser.run("return document.querySelectorAll('.box').length"), elements)
        self.assertGreater(elements, 3)
        for index in range(elements):
            self.browser.run("document.querySelectorAll('#elements li')[arguments[0]]"
                             ".dispatchEvent(new PointerEvent('pointerenter'))", index)
            self.assertEqual(self.browser.run("return document.querySelectorAll('.box.on').length"), 1)
        self.browser.click("#touch")
        self.assertTrue(self.browser.run("return document.querySelectorAll('.touching .touch').length"))
        self.end_well()

    def test_what_a_maker_takes_away(self):
        status, package = ask(self.address, "/package.zip")
        self.assertEqual(status, 200)
        self.assertIn("play.xml", zipfile.ZipFile(io.BytesIO(package)).namelist())
        self.assertTrue(ask(self.address, "/sheet.png")[1].startswith(b"\x89PNG"))
        self.browser.click("#gallery")
        self.browser.wait_until("document.getElementById('note').textContent.startsWith('Written')")
        gallery = os.path.join(self.folder, "Mine-gallery")
        with open(os.path.join(gallery, "index.html"), encoding="utf-8") as page:
            text = page.read()
        shown = {part.split('"')[0] for part in text.split('src="')[1:]}
        self.assertEqual(shown | {"sheet.png", "index.html"}, set(os.listdir(gallery)))
        self.change("play.xml", "<", "broken <")
        self.wait_for_made(2)
        status, why = ask(self.address, "/package.zip")
        self.assertEqual(status, 409)
        self.assertIn(b"errors", why)
        self.end_well()

    def test_play_with_it_is_the_real_player(self):
        before = set(os.listdir(tempfile.gettempdir()))
        self.browser.click("#play")
        self.browser.wait_until("document.querySelector('iframe')")
        frame = self.browser.find("iframe")
        self.browser.call("POST", "/frame", {"id": {"element-6066-11e4-a52e-4f735466cecf": frame}})
        self.browser.wait_until("document.body.dataset.connection === 'open'")
        # A change on the disk shows in the player, too. One that is refused does not: the player would take
        # another skin for good, and follow no longer.
        self.change("play.xml", "</skin>", '<rect x="0" y="0" width="320" height="240" color="#ff00ff"/></skin>')
        shown = "String(document.querySelector('canvas').getContext('2d').getImageData(5, 5, 1, 1).data)"
        self.browser.wait_until(f"{shown} === '255,0,255,255'")
        self.browser.call("POST", "/frame", {"id": None})
        self.change("play.xml", "<skin", "<broken")
        self.browser.wait_until("document.querySelector('.refused')")
        self.change("play.xml", "<broken", "<skin")
        self.change("play.xml", "#ff00ff", "#00ff00")
        self.browser.call("POST", "/frame", {"id": {"element-6066-11e4-a52e-4f735466cecf": frame}})
        self.browser.wait_until(f"{shown} === '0,255,0,255'")
        self.browser.call("POST", "/frame", {"id": None})
        self.browser.click("#leave")
        self.browser.wait_until("!document.querySelector('iframe')")
        self.end_well()
        left = [name for name in set(os.listdir(tempfile.gettempdir())) - before if "zerv-studio-" in name]
        self.assertEqual(left, [], "its folder goes with it")

    def test_nobody_else_asks(self):
        port = self.address.rsplit(":", 1)[1]
        self.assertEqual(ask(self.address, "/skin.json", Host=f"evil.example:{port}")[0], 403)
        for path in ("/play", "/gallery"):
            self.assertEqual(ask(self.address, path, "POST", Origin="http://evil.example")[0], 403)
            self.assertEqual(ask(self.address, path, "POST")[0], 403)
            self.assertEqual(ask(self.address, path)[0], 403, "asking changes nothing")
        self.assertEqual(ask(self.address, "/picture?scene=../../etc/passwd")[0], 404)
        self.assertFalse(os.path.exists(os.path.join(self.folder, "Mine-gallery")))
        self.end_well()


if __name__ == "__main__":
    unittest.main()
