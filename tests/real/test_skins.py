"""The skins that come with the player keep what they promise."""

import os
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
from png_file import read_png  # noqa: E402

SKINS = ("Aqua_Ver0.4", "Night", "LargeType")

# What the three use together: everything but $Album, whose word is English for all.
USED = {
    "element": "img button rect scroll text list item item_sel album_cover lyrics",
    "type": " ".join(f"{kind}-{axis}{end}" for kind in ("fill", "move", "part") for axis in "xy"
                     for end in ("", "-rev")),
    "show": "play pause album_cover lyrics",
    "hide": "play pause album_cover lyrics",
    "action": "play pause stop prev next list battery",
    "text_align": "left center right top middle bottom",
    "token of the list part": "$program_name $program_version $path $title $time $battery $Time $Battery",
    "token of the play part": "$title $artist $album $mins $secs $02mins $02secs $stopped $标题 $艺术家 "
                              "$time $battery $Time $Battery",
}
TOKENS = {part: "|".join(re.escape(token) for token in USED[f"token of the {part} part"].split())
          for part in ("list", "play")}


def part_files(skin):
    for file in sorted((ROOT / "skins" / skin).glob("*.xml")):
        yield file, ElementTree.parse(file).getroot()


def collect(file, root, used):
    part = "list" if file.name.startswith("list") else "play"
    for element in root:
        used["element"].add(element.tag)
        for name in ("type", "show", "hide", "action"):
            used[name].update({element.get(name)} - {None})
        used["text_align"].update(element.get("text_align", "").split())
        used[f"token of the {part} part"].update(re.findall(TOKENS[part], element.get("format", "")))


def light(colour):
    """Relative luminance of 0xRRGGBB bytes, after WCAG 2.1."""
    parts = [value / 255 for value in colour]
    linear = [part / 12.92 if part <= 0.03928 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(one, other):
    darker, lighter = sorted((light(one), light(other)))
    return (lighter + 0.05) / (darker + 0.05)


# Where messages appear: two lines of 18 pixels from the bottom, in these colours.
STRIP_TOP = 204
MESSAGE_COLOURS = ((b"\xff\0\0", 3), (b"\0\0\xff", 4.5))
STATES_WITH_MESSAGES = re.compile(r"battery-low|volume|sheet")


class SkinsTest(unittest.TestCase):
    def preview(self, skin):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        package = Path(os.environ["ZERV_PLAYER"]).parent / "skins" / f"{skin}.zip"
        subprocess.run([os.environ["ZERV_SKIN"], "preview", package, "-o", folder.name], check=True,
                       timeout=300)
        return Path(folder.name)

    def test_check_passes(self):
        for skin in SKINS:
            package = Path(os.environ["ZERV_PLAYER"]).parent / "skins" / f"{skin}.zip"
            done = subprocess.run([os.environ["ZERV_SKIN"], "check", package], capture_output=True,
                                  text=True, timeout=60, check=False)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            self.assertIn("0 errors, 0 warnings", done.stdout)

    def test_together_they_use_everything(self):
        used = {what: set() for what in USED}
        for skin in SKINS:
            for file, root in part_files(skin):
                collect(file, root, used)
        for what, words in USED.items():
            self.assertEqual(used[what], set(words.split()), what)

    def test_no_english_label_stands_beside_a_tag(self):
        """A missing tag reads (未知) in every language."""
        tags, words = re.compile(r"\$(title|artist|album)"), re.compile(r"[A-Za-z]")
        for skin in SKINS:
            for file, root in part_files(skin):
                if file.name.startswith("list"):
                    continue
                for element in root:
                    label, found = tags.subn("", element.get("format", ""))
                    if found:
                        self.assertNotRegex(label, words, f"{file.name} of {skin}")

    def test_each_has_a_variant_for_every_track(self):
        for skin in SKINS:
            roots = {(root.get("show"), root.get("hide")) for file, root in part_files(skin)
                     if file.name.startswith("play")}
            self.assertGreaterEqual(roots, {("album_cover", "lyrics"), ("lyrics", "album_cover"),
                                            ("album_cover", None), (None, None)}, skin)

    def test_every_screen_keeps_a_light_strip_for_messages(self):
        for skin in SKINS:
            strips = {}
            for picture in sorted(self.preview(skin).glob("*.png")):
                if STATES_WITH_MESSAGES.search(picture.stem):
                    continue
                strip = read_png(picture)[2][STRIP_TOP:]
                colours = {row[x:x + 3] for row in strip for x in range(0, len(row), 3)}
                for message, least in MESSAGE_COLOURS:
                    worst = min(contrast(message, colour) for colour in colours)
                    self.assertGreaterEqual(worst, least, f"{skin} {picture.stem}")
                # Whatever the player does, nothing appears there that a message would hide.
                screen = re.match(r"[a-z]+-\d+", picture.stem)[0]
                self.assertEqual(strips.setdefault(screen, strip), strip, f"{skin} {picture.stem}")
            self.assertGreaterEqual(len(strips), 5, skin)

    def test_large_type_has_large_rows_and_large_targets(self):
        for file, root in part_files("LargeType"):
            for element in root:
                if element.tag == "list":
                    self.assertGreaterEqual(int(element.get("font_size")), 20)
                elif element.tag == "button":
                    image = ElementTree.parse(file.parent / element.get("src").replace(".png", ".svg"))
                    for side in ("width", "height"):
                        self.assertGreaterEqual(int(image.getroot().get(side)), 44, element.attrib)

    def test_night_is_dark_and_its_texts_stand_out(self):
        pictures, measured = self.preview("Night"), 0
        for file, root in part_files("Night"):
            # In each variant's picture while it plays, or of a list of tracks.
            number = re.search(r"-(\d+)", file.name)
            name = f"play-{number[1] if number else 0}-playing" if "play" in file.name else "list-0-tracks"
            width, height, rows = read_png(pictures / f"{name}.png")
            pixels = Counter(row[x:x + 3] for row in rows for x in range(0, width * 3, 3))
            dark = sum(count for colour, count in pixels.items() if light(colour) < 0.05)
            self.assertGreater(dark, width * height / 2, name)
            slots = [element.get("y") for element in root if element.tag == "item"]
            for element in root:
                # The row under the cursor is in the middle slot, the plain ones are in the others.
                chosen = slots and element.get("y") == slots[(len(slots) - 1) // 2]
                if element.tag != ("item" if chosen else "item_sel"):
                    measured += self.measure(name, element, rows)
        self.assertGreater(measured, 30)

    def measure(self, name, element, rows):
        """Holds a text that is in the picture against what lies behind it; 0 when it is not."""
        if not element.get("font_color"):
            return 0
        x, y, width, height = (int(element.get(side)) for side in ("x", "y", "width", "height"))
        colours = Counter(row[at:at + 3] for row in rows[y:y + height]
                          for at in range(x * 3, (x + width) * 3, 3))
        ink = bytes.fromhex(element.get("font_color")[1:])
        # As the screen's 565 bits give it back.
        ink = bytes([(ink[0] & 0xF8) | ink[0] >> 5, (ink[1] & 0xFC) | ink[1] >> 6,
                     (ink[2] & 0xF8) | ink[2] >> 5])
        if ink not in colours:
            return 0
        behind = next(colour for colour, _ in colours.most_common() if colour != ink)
        self.assertGreaterEqual(contrast(ink, behind), 7, f"{name}: {element.attrib}")
        return 1


if __name__ == "__main__":
    unittest.main()
