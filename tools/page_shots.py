#!/usr/bin/env python3
"""Makes the documentation's pictures of pages in a browser: page_shots.py BUILD_FOLDER

The player serves its page with the demo music, zerv-skin its studio with a skin; a headless browser shows
them and takes the pictures."""

import os
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "real"))
from browser import Browser  # noqa: E402
from shots import CONFIG, demo_tracks  # noqa: E402

PAUSE = "\ue007"
SHOTS = (
    # name, width, height, device pixels of one of the page, dark
    ("browser", 1160, 730, 1, False),
    ("browser_phone", 390, 700, 2, False),
)


def start(build, folder):
    player = os.path.join(folder, "player")
    shutil.copytree(os.path.join(build, "player"), player,
                    ignore=shutil.ignore_patterns("config.txt", "current.m3u", "library.db", "_tmp"))
    with open(os.path.join(player, "config.txt"), "w", encoding="utf-8", newline="") as config:
        config.write(CONFIG.format(skin="Aqua_Ver0.4"))
    music = os.path.abspath(os.path.join(build, "demo", "music"))
    tracks = [os.path.join(music, name) for name in demo_tracks(music)]
    environment = {**os.environ, "ZERV_DEVICE": "web", "ZERV_WEB_PORT": "0", "ZERV_WEB_UPLOADS": folder}
    return subprocess.Popen(["./zerv-player", *tracks], cwd=player, env=environment,
                            stdout=subprocess.PIPE, text=True)


def shoot(browser, address, out):
    browser.go(address)
    browser.wait_until("document.body.dataset.connection === 'open' && document.title.includes(' - Zerv')")
    browser.wait_until("performance.now() > 7000")  # the lyrics have begun
    browser.key(PAUSE)
    browser.wait_until("!document.body.classList.contains('muted')")
    for name, width, height, ratio, dark in SHOTS:
        browser.emulate(width, height, ratio, dark)
        browser.wait_until(f"innerWidth === {width} && devicePixelRatio === {ratio}")
        browser.run_async("requestAnimationFrame(() => requestAnimationFrame(arguments[0]))")
        browser.screenshot(os.path.join(out, name + ".png"))


STUDIO_SCENE = "play-1-playing"


def shoot_studio(browser, build, folder, out):
    # The build's own folder of the skin has its drawings as pictures.
    shutil.copytree(os.path.join(build, "skins", "Night"), os.path.join(folder, "Night"))
    studio = subprocess.Popen([os.path.abspath(os.path.join(build, "tools", "zerv-skin")), "studio", "Night"],
                              cwd=folder, stdout=subprocess.PIPE, text=True,
                              env={**os.environ, "ZERV_WEB_PORT": "0"})
    try:
        browser.go(studio.stdout.readline().split(" at ")[1].split(" ")[0])
        browser.emulate(1440, 900, 1)
        browser.wait_until("document.body.dataset.made")
        browser.run("const found = [...document.querySelectorAll('.row button')].find((each) =>"
                    " each.firstChild.src.includes(arguments[0])); found.click();"
                    "found.scrollIntoView({ block: 'center' });"
                    "document.querySelectorAll('#elements li')[7].click()", STUDIO_SCENE)
        browser.wait_until("[...document.querySelectorAll('.row img, #big')].every((each) => {"
                           " const box = each.getBoundingClientRect();"
                           " return box.bottom < 0 || box.top > innerHeight || each.complete && each.naturalWidth > 0; })")
        browser.screenshot(os.path.join(out, "studio.png"))
    finally:
        studio.terminate()
        studio.wait()
        studio.stdout.close()


def main():
    build, out = sys.argv[1], os.path.join(HERE, "..", "docs", "pictures")
    with tempfile.TemporaryDirectory() as folder:
        player = start(build, folder)
        browser = Browser(1280, 900)
        try:
            address = player.stdout.readline().split(" at ")[1].split(" ")[0]
            shoot(browser, address, out)
            shoot_studio(browser, build, folder, out)
        finally:
            browser.close()
            player.terminate()
            player.wait()
            player.stdout.close()


if __name__ == "__main__":
    main()
