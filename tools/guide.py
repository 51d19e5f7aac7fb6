#!/usr/bin/env python3
"""Makes the small pictures of the skin maker's guide with the player itself:

    guide.py BUILD_FOLDER [FOLDER_FOR_THE_PICTURES [NAME...]]

The guide is its own source. A row of a table that shows `pictures/guide/NAME.png` also holds, as
code, the elements that are drawn there, and the words in the brackets of the picture say what the
player is doing meanwhile (STATES below). So an example and its picture cannot drift apart."""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from png_file import read_png, write_png

ROOT = Path(__file__).resolve().parent.parent
GUIDE = ROOT / "docs" / "skins.md"
PICTURE = re.compile(r"!\[([^\]]*)\]\(pictures/guide/([a-z0-9_]+)\.png\)")
CODE = re.compile(r"`(<[^`]+>)`")
SCALE = 2   # so that single pixels can be seen
MARGIN = 8  # around the elements; they begin this far from the corner of the screen
ELEMENT_BOX = "#e3eaf0"  # lies behind each element, so that its place can be seen

TAGGED = "04-night-train.mp3"
BARE = "recording.mp3"  # the same music without tags, cover and lyrics
OTHERS = ["02-street-lamps.ogg", "03-paper-boats.flac"]
PLAY_19_SECONDS = "advance 300\nkey right\nkey right\nkey right\nadvance 3000\n"

# What the player does: the track, null for none, and the script.
STATES = {
    "playing": (TAGGED, PLAY_19_SECONDS),
    "playing without a cover": (BARE, PLAY_19_SECONDS),
    "playing without tags": (BARE, PLAY_19_SECONDS),
    "paused": (TAGGED, PLAY_19_SECONDS + "key select\n"),
    "stopped": (None, "key switch\nadvance 500\n"),
    "list screen": (TAGGED, "advance 300\nkey switch\nadvance 500\nkey up\n"),
}

CONFIG = """<?xml version="1.0" encoding="UTF-8"?>\r
\r
<cfg version="0.1">\r
\t<skin_play>skins/{play}</skin_play>\r
\t<skin_list>skins/{list}</skin_list>\r
\t<display_off_timeout>0</display_off_timeout>\r
\t<lang>en</lang>\r
\t<playback_order>normal</playback_order>\r
\t<library_path>demo</library_path>\r
</cfg>\r
"""


class Example:
    """One picture: its name, the state that it shows, and the part file that draws it."""

    def __init__(self, name, state, code):
        self.name, self.state = name, state
        if state not in STATES:
            raise SystemExit(f"{name}: no state is called \"{state}\"")
        self.part = "list" if state == "list screen" else "play"
        if not code.startswith("<skin"):
            code = '<skin version="0.1">' + code
        self.root = ElementTree.fromstring(code + "</skin>")

    def boxes(self, sizes):
        for element in self.root:
            size = sizes.get(element.get("src"), (0, 0))
            yield (element, int(element.get("x", 0)), int(element.get("y", 0)),
                   int(element.get("width", size[0])), int(element.get("height", size[1])))

    def crop(self, sizes):
        """Width and height of the piece of the screen that the picture shows."""
        right = max(x + width for _, x, _, width, _ in self.boxes(sizes))
        bottom = max(y + height for _, _, y, _, height in self.boxes(sizes))
        return min(320, right + MARGIN), min(240, bottom + MARGIN)

    def content(self, sizes):
        """The part file: the example, all of its boxes behind it."""
        root = ElementTree.Element("skin", self.root.attrib)
        for element, x, y, width, height in self.boxes(sizes):
            if element.tag != "rect":
                ElementTree.SubElement(root, "rect", x=str(x), y=str(y), width=str(width),
                                       height=str(height), color=ELEMENT_BOX)
        root.extend(self.root)
        return ElementTree.tostring(root, "unicode")


def read_examples():
    examples = []
    for line in GUIDE.read_text(encoding="utf-8").splitlines():
        pictures, code = PICTURE.findall(line), CODE.findall(line)
        if pictures and not code:
            raise SystemExit(f"no example stands in: {line}")
        # Several pictures of a row show the same elements in several states.
        examples += [Example(name, state, " ".join(code)) for state, name in pictures]
    return examples


def read_words(program):
    """What a part file may say, as zerv-skin tells it."""
    told = subprocess.run([program, "words", "--json"], check=True, capture_output=True)
    return json.loads(told.stdout)


def render_images(folder):
    """The images that examples may name, and their sizes."""
    drawings = sorted((ROOT / "docs" / "guide").glob("*.svg"))
    drawings += sorted((ROOT / "skins" / "Aqua_Ver0.4").glob("button_*.svg"))
    sizes = {}
    for drawing in drawings:
        image = folder / (drawing.stem + ".png")
        subprocess.run(["rsvg-convert", "-o", image, drawing], check=True)
        head = image.read_bytes()[16:24]
        sizes[image.name] = (int.from_bytes(head[:4], "big"), int.from_bytes(head[4:], "big"))
    return sizes


def without_tags(mp3):
    """The audio of an MP3 file; its ID3v2 tag tells its own length in 7-bit bytes."""
    if mp3[:3] != b"ID3":
        return mp3
    length = 0
    for byte in mp3[6:10]:
        length = length << 7 | byte
    return mp3[10 + length:]


def make_demo(build, folder):
    folder.mkdir()
    for name in [TAGGED, TAGGED.replace(".mp3", ".lrc"), *OTHERS]:
        shutil.copy(build / "demo" / "music" / name, folder)
    (folder / BARE).write_bytes(without_tags((folder / TAGGED).read_bytes()))


def make_program_folder(build, folder):
    """What all pictures share: the font, the music, the images, a skin for the other part."""
    (folder / "skins").mkdir(parents=True)
    for font in (build / "player").glob("*.ttf"):
        os.symlink(font, folder / font.name)
    shutil.copy(build / "player" / "skins" / "LargeType.zip", folder / "skins" / "other.zip")
    make_demo(build, folder / "demo")


def draw(build, folder, example, sizes, to):
    """Runs the player in a folder of its own beside the shared one."""
    place = folder / example.name
    skin = place / "skins" / "example"
    shutil.copytree(folder / "images", skin)
    (skin / f"{example.part}.xml").write_text(example.content(sizes), encoding="utf-8")
    for shared in (folder / "program").iterdir():
        if shared.name != "skins":
            os.symlink(shared, place / shared.name)
    os.symlink(folder / "program" / "skins" / "other.zip", place / "skins" / "other.zip")
    other = {"play": "other.zip", "list": "other.zip", example.part: "example"}
    (place / "config.txt").write_bytes(CONFIG.format(**other).encode())
    track, script = STATES[example.state]
    files = [f"demo/{name}" for name in [*OTHERS, track]] if track else []
    # A battery that is neither full nor empty; a fresh second is drawn only when something changes.
    script = f"battery 60\n{script}settle\nadvance 1100\nscreenshot shot.png\n"
    environment = {name: value for name, value in os.environ.items() if not name.startswith("ZERV_")}
    environment.update(ZERV_DEVICE="virtual", ZERV_VIRTUAL_SCRIPT="-", TZ="UTC", LC_ALL="C")
    done = subprocess.run([build / "player" / "zerv-player", *files], cwd=place, input=script.encode(),
                          env=environment, capture_output=True, timeout=300)
    answer = done.stdout.decode() + done.stderr.decode()
    if done.returncode != 0 or "error" in answer or "saved shot.png" not in answer:
        raise SystemExit(f"{example.name}: status {done.returncode}\n{answer}")
    width, height = example.crop(sizes)
    rows = read_png(place / "shot.png")[2][:height]
    enlarged = [b"".join(row[x * 3:x * 3 + 3] * SCALE for x in range(width)) for row in rows]
    write_png(to / f"{example.name}.png", width * SCALE, [row for row in enlarged for _ in range(SCALE)])


def make(build, to, names=()):
    """Makes the pictures of the guide, or those with these names. Returns their names."""
    examples = [each for each in read_examples() if not names or each.name in names]
    to.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as temporary, ThreadPoolExecutor(os.cpu_count()) as pool:
        folder = Path(temporary)
        (folder / "images").mkdir()
        sizes = render_images(folder / "images")
        make_program_folder(build, folder / "program")
        for _ in pool.map(lambda each: draw(build, folder, each, sizes, to), examples):
            pass
    return [each.name for each in examples]


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    to = Path(sys.argv[2]) if len(sys.argv) > 2 else ROOT / "docs" / "pictures" / "guide"
    made = make(Path(sys.argv[1]).resolve(), to, sys.argv[3:])
    print(f"{len(made)} pictures in {to}")


if __name__ == "__main__":
    main()
