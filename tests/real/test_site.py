"""The documentation's site, as it is made: every link and anchor, nothing from elsewhere, small windows, search."""

import functools
import html.parser
import http.server
import os
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.parse

from browser import BROWSER, DRIVER, Browser

HERE = os.path.dirname(os.path.abspath(__file__))
MAKER = os.path.join(HERE, "..", "..", "tools", "make_site.py")
# The tools' program stands in the build whose site is made.
BUILD = os.path.dirname(os.path.dirname(os.path.abspath(os.environ.get("ZERV_SKIN", "build/release/tools/zerv-skin"))))
THEME = "/usr/share/mkdocs/themes/material"
WIDTHS = (320, 768, 1280)
WHOLE = os.environ.get("ZERV_TEST_SITE") == "whole"
in_a_browser = unittest.skipUnless(BROWSER and DRIVER, "no browser is installed")

# Scripts for a page: what sticks out of it besides what scrolls or slides by itself; pictures that did not
# come; what was loaded from another place.
TOO_WIDE = """
const sliding = '.md-typeset__scrollwrap, pre, .md-sidebar, .md-search, .md-header, .md-tabs, .md-top';
return [...document.querySelectorAll('.md-content *')].filter((each) =>
    each.getBoundingClientRect().right > innerWidth + 1 && !each.closest(sliding)).map((each) => each.outerHTML.slice(0, 90))"""
LOST = "return [...document.images].filter((each) => !each.naturalWidth).map((each) => each.src)"
FROM_ELSEWHERE = """
return performance.getEntriesByType('resource').map((each) => each.name)
    .filter((each) => !each.startsWith(location.origin) && !/^(data|blob):/.test(each))"""


# Each page makes an index of the whole site for its search, and shows nothing of it.
WITHOUT_SEARCH = "window.Worker = class extends EventTarget { postMessage() {} terminate() {} }"


class Page(html.parser.HTMLParser):
    """What a page points to, and the places in it that can be pointed to."""

    def __init__(self, path):
        super().__init__()
        self.links, self.loaded, self.places = [], [], {""}
        with open(path, encoding="utf-8") as file:
            self.feed(file.read())

    def handle_starttag(self, tag, attributes):
        found = dict(attributes)
        self.places.update(filter(None, (found.get("id"), found.get("name"))))
        if tag == "a" and "href" in found:
            self.links.append(found["href"])
        elif tag != "a":
            self.loaded += filter(None, (found.get("src"), found.get("href")))


class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *words):
        pass


@unittest.skipUnless(shutil.which("mkdocs") and os.path.isdir(THEME), "the packages of ./dev site are not installed")
class SiteTest(unittest.TestCase):
    """The site is made once. Those tests that need a browser are left out where there is none."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="zerv-site-test-")
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        done = subprocess.run([sys.executable, "-B", MAKER, BUILD, cls.folder], capture_output=True, text=True)
        if done.returncode != 0:
            raise AssertionError(done.stdout + done.stderr)
        cls.pages = {}
        for place, _, names in os.walk(cls.folder):
            for name in names:
                if name.endswith(".html"):
                    path = os.path.join(place, name)
                    cls.pages[os.path.relpath(path, cls.folder)] = Page(path)
        if BROWSER and DRIVER:
            cls.open_browser()

    @classmethod
    def open_browser(cls):
        handler = functools.partial(Quiet, directory=cls.folder)
        cls.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        threading.Thread(target=cls.server.serve_forever, daemon=True).start()
        cls.addClassCleanup(cls.server.server_close)
        cls.addClassCleanup(cls.server.shutdown)
        cls.address = f"http://127.0.0.1:{cls.server.server_port}/"
        cls.browser = Browser(1280, 900)
        cls.addClassCleanup(cls.browser.close)

    def test_every_link_leads_somewhere(self):
        followed = 0
        for name, page in self.pages.items():
            if name == "404.html":
                continue  # its links begin at the root of the server
            for link in page.links + page.loaded:
                parts = urllib.parse.urlsplit(link)
                self.assertEqual((parts.scheme, parts.netloc), ("", ""), f"{name} leads out of the site: {link}")
                target = os.path.normpath(os.path.join(os.path.dirname(name), urllib.parse.unquote(parts.path))) \
                    if parts.path else name
                target = "index.html" if target == "." else target
                self.assertTrue(os.path.isfile(os.path.join(self.folder, target)), f"{name}: nothing is at {link}")
                if parts.fragment and target in self.pages:
                    self.assertIn(urllib.parse.unquote(parts.fragment), self.pages[target].places, f"{name}: {link}")
                followed += 1
        self.assertGreater(followed, 1000)

    def test_headers_and_skins_have_their_pages(self):
        for place in ("platform-sound.html", "skin.html", "index.html"):
            self.assertIn(os.path.join("reference", place), self.pages)
        self.assertIn("sound_pull", self.pages["reference/platform-sound.html"].places)
        shown = [each for each in self.pages["gallery.html"].loaded if "gallery/" in each]
        for skin in ("Aqua_Ver0.4", "Night", "LargeType"):
            self.assertGreater(sum(skin in each for each in shown), 20, skin)

    def test_scripts_and_styles_load_nothing_from_elsewhere(self):
        for place, _, names in os.walk(self.folder):
            for name in names:
                if name.endswith(".css"):
                    with open(os.path.join(place, name), encoding="utf-8") as file:
                        self.assertNotRegex(file.read(), r"(?:@import|url\()\s*[\"']?(?:https?:)?//", name)

    # ---- in a browser ----

    def show(self, page, width, dark=False):
        self.browser.emulate(width, 900, 1, dark)
        self.browser.go(self.address + page)
        self.browser.wait_until("document.readyState === 'complete'")

    def check_width(self, name, width):
        self.browser.emulate(width, 900, 1)
        self.browser.wait_until(f"innerWidth === {width}")
        # What slides in a window that changes its size comes to rest first.
        self.browser.wait_until("document.documentElement.scrollWidth <= innerWidth", f"{name} fits into {width}")
        self.assertEqual(self.browser.run(TOO_WIDE), [], f"{name} at {width}")

    def check_loaded(self, name):
        self.browser.run("document.querySelectorAll('img').forEach((each) => each.loading = 'eager')")
        self.browser.wait_until("[...document.images].every((each) => each.complete)", f"pictures of {name}")
        self.assertEqual(self.browser.run(LOST), [], name)
        self.assertEqual(self.browser.run(FROM_ELSEWHERE), [], name)

    def pages_shown(self):
        """The documents, and of the pages that one form makes of the headers the first and the largest; or all."""
        made = {name for name in self.pages if name.startswith("reference/")}
        largest = max(made, key=lambda name: os.path.getsize(os.path.join(self.folder, name)))
        return sorted(self.pages if WHOLE else self.pages.keys() - made | {"reference/index.html", largest})

    @in_a_browser
    def test_pages_fit_into_every_window_and_load_what_is_theirs(self):
        script = self.browser.command("Page.addScriptToEvaluateOnNewDocument", source=WITHOUT_SEARCH)
        self.addCleanup(self.browser.command, "Page.removeScriptToEvaluateOnNewDocument", **script)
        for name in self.pages_shown():
            self.show(name, WIDTHS[0])
            for width in WIDTHS:
                self.check_width(name, width)
            self.check_loaded(name)

    def first_found(self, words):
        """The address of the first thing that a search gives."""
        self.show("index.html", 1280)
        self.browser.click(".md-search__input")
        field = self.browser.find(".md-search__input")
        self.browser.call("POST", f"/element/{field}/value", {"text": words})
        self.browser.wait_until("document.querySelector('.md-search-result__item a')", f"{words} is found")
        return self.browser.run("return document.querySelector('.md-search-result__item a').href")

    @in_a_browser
    def test_search_gives_an_answer(self):
        for words, place in (("falied", "manual.html"), ("library_path", "config.html"),
                             ("sound_pull", "reference/platform-sound.html")):
            self.assertIn(place, self.first_found(words), words)

    @in_a_browser
    def test_a_dark_display_gets_dark_pages(self):
        for dark, scheme in ((False, "default"), (True, "slate")):
            self.show("manual.html", 1280, dark)
            self.browser.run("localStorage.clear()")
            self.show("manual.html", 1280, dark)
            self.browser.wait_until(f"document.body.dataset.mdColorScheme === '{scheme}'")


if __name__ == "__main__":
    unittest.main()
