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
key select
advance 100
screenshot {out}/settings.png
key vol_up
advance 20
screenshot {out}/volume.png
"""


WELCOME = """advance 400
screenshot {out}/welcome.png
key select
advance 50
screenshot {out}/welcome_library.png
"""

# Scans the demo music, then goes down the main menu: artists, albums, playlists, a setting, the battery.
LIBRARY = """advance 400
key up
key up
advance 20
key select
advance 20
settle
advance 100
key back
key down
key down
key select
advance 50
screenshot {out}/artists.png
key back
key down
key select
advance 50
key down
key down
advance 20
screenshot {out}/albums.png
key back
key down
key down
key down
key select
advance 50
screenshot {out}/playlists.png
key back
key down
key down
key select
advance 50
key down
key select
advance 50
screenshot {out}/choices.png
key back
battery 5
advance 1100
screenshot {out}/battery.png
"""


def demo_tracks(folder):
    return sorted(name for name in os.listdir(folder) if name.endswith((".mp3", ".ogg", ".flac")))


def make_program(program, build, skin, without, more):
    """A program folder with the demo music but the files `without`, and with the playlists `more`. Without a
    skin there are no settings either, as at the first start."""
    shutil.copytree(os.path.join(build, "player"), program,
                    ignore=shutil.ignore_patterns("config.txt", "current.m3u", "library.db", "_tmp"))
    demo = os.path.join(program, "demo")
    shutil.copytree(os.path.join(build, "demo", "music"), demo,
                    ignore=lambda path, names: [
                        name for name in names
                        if name in without or not name.endswith((".mp3", ".ogg", ".flac", ".lrc"))])
    for name in more:
        with open(os.path.join(demo, name), "w", encoding="utf-8") as file:
            file.write("\n".join(demo_tracks(demo)))
    if skin:
        with open(os.path.join(program, "config.txt"), "w", encoding="utf-8", newline="") as file:
            file.write(CONFIG.format(skin=skin))


def shoot(build, skin, script, last=None, without=(), more=()):
    """Plays the script in a program folder. The track `last` plays, the others are queued; without it none is."""
    # Always the same folder, because the file browser shows it; one that is there is not ours.
    folder = "/tmp/zerv-player"
    try:
        os.mkdir(folder)
    except FileExistsError:
        sys.exit(f"{folder} is in the way; the pictures need that name, so move it away")
    try:
        program = os.path.join(folder, "player")
        make_program(program, build, skin, without, more)
        tracks = demo_tracks(os.path.join(program, "demo")) if last else []
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
    # The demo music: an MP3 with cover and lyrics, an Ogg with lyrics, a FLAC with neither.
    both, lyrics, neither = "01-spring-walk.mp3", "02-street-lamps.ogg", "03-paper-boats.flac"
    for skin, name in (("Aqua_Ver0.4", ""), ("Night", "night_"), ("LargeType", "large_")):
        script = (PLAY + LIST).format(out=out, name=name)
        if not name:
            script += MORE.format(out=out)
        shoot(build, skin, script, both)
        shoot(build, skin, PLAY.format(out=out, name=name + "plain_"), neither)
    shoot(build, None, WELCOME.format(out=out))
    shoot(build, "Aqua_Ver0.4", LIBRARY.format(out=out), more=["evening.m3u", "road.m3u"])
    shoot(build, "Aqua_Ver0.4", PLAY.format(out=out, name="lyrics_"), lyrics)
    shoot(build, "Aqua_Ver0.4", PLAY.format(out=out, name="cover_"), both, without=["01-spring-walk.lrc"])
    print("\n".join(sorted(os.listdir(out))))


if __name__ == "__main__":
    main()
