#!/usr/bin/env python3
"""Makes the pictures of the documentation with the player itself: shots.py BUILD_FOLDER

Each shot is a script for the virtual device, played in a fresh copy of the program folder with the
demo music beside it."""

import os
import shutil
import subprocess
import sys

CONFIG = """<?xml version="1.0" encoding="UTF-8"?>\r
\r
<cfg version="0.1">\r
\t<skin_play>skins/{skin}.zip</skin_play>\r
\t<skin_list>skins/{skin}.zip</skin_list>\r
\t<display_off_timeout>0</display_off_timeout>\r
\t<playback_order>normal</playback_order>\r
\t<library_path>demo</library_path>\r
</cfg>\r
"""

PLAY = """advance 400
settle
advance 7600
settle
advance 100
battery 80
advance 1000
screenshot {out}/{name}play.png
"""

LIST = """advance 300
key back
advance 400
screenshot {out}/{name}main_menu.png
"""

MORE = """key select
advance 400
screenshot {out}/current_playlist.png
key back
advance 50
key down
advance 20
key select
advance 300
screenshot {out}/files.png
key back
advance 50
key up
key up
advance 20
screenshot {out}/main_menu_settings.png
key select
advance 100
screenshot {out}/settings.png
key vol_up
advance 20
screenshot {out}/volume.png
"""


def demo_tracks(folder):
    return sorted(name for name in os.listdir(folder) if name.endswith((".mp3", ".ogg", ".flac")))


def shoot(build, skin, out, script, last):
    # Always the same folder: the file browser shows it.
    folder = "/tmp/zerv-player"
    shutil.rmtree(folder, ignore_errors=True)
    try:
        program = os.path.join(folder, "player")
        shutil.copytree(os.path.join(build, "player"), program,
                        ignore=shutil.ignore_patterns("config.txt", "current.m3u", "library.db", "_tmp"))
        shutil.copytree(os.path.join(build, "demo"), os.path.join(program, "demo"),
                        ignore=lambda path, names: [n for n in names
                                                    if not n.endswith((".mp3", ".ogg", ".flac", ".lrc"))])
        with open(os.path.join(program, "config.txt"), "w", encoding="utf-8", newline="") as file:
            file.write(CONFIG.format(skin=skin))
        tracks = demo_tracks(os.path.join(program, "demo"))
        tracks.sort(key=lambda name: name == last)
        environment = dict(os.environ, ZERV_DEVICE="virtual", ZERV_VIRTUAL_SCRIPT="-", TZ="UTC")
        done = subprocess.run(["./zerv-player"] + ["demo/" + name for name in tracks], cwd=program,
                              input=script, text=True, env=environment, capture_output=True, timeout=120)
        if done.returncode != 0 or "error" in done.stdout:
            sys.exit(f"{skin}: status {done.returncode}\n{done.stdout}{done.stderr}")
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def main():
    build = os.path.abspath(sys.argv[1])
    out = os.path.abspath(sys.argv[2] if len(sys.argv) > 2 else "docs/pictures")
    os.makedirs(out, exist_ok=True)
    tracks = demo_tracks(os.path.join(build, "demo"))
    lyric = [t for t in tracks if os.path.exists(os.path.join(build, "demo", os.path.splitext(t)[0] + ".lrc"))]
    best = next((t for t in lyric if t.endswith(".mp3")), tracks[-1])
    plain = next((t for t in tracks if not t.endswith(".mp3") and t not in lyric), tracks[0])
    cover = next((t for t in tracks if t.endswith(".mp3") and t not in lyric), None)
    for skin, name in (("Aqua_Ver0.4", ""), ("Night", "night_"), ("LargeType", "large_")):
        script = (PLAY + LIST).format(out=out, name=name)
        if not name:
            script += MORE.format(out=out)
        shoot(build, skin, out, script, best)
        shoot(build, skin, out, PLAY.format(out=out, name=name + "plain_"), plain)
        if cover:
            shoot(build, skin, out, PLAY.format(out=out, name=name + "cover_"), cover)
    print("\n".join(sorted(os.listdir(out))))


if __name__ == "__main__":
    main()
