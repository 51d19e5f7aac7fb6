"""The skin maker's guide shows every word of skins, and its pictures are what the player draws."""

import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
import guide  # noqa: E402
from png_file import read_png  # noqa: E402

PICTURES = ROOT / "docs" / "pictures" / "guide"

# The tables of the guide, by the heading of their first column, and what must stand in it.
WORDS = {
    "attribute": "version debug show hide x y width height src type font_size font_color font_color_2 "
                 "color origin_x origin_y format text_align action",
    "word of `text_align`": "left center right top middle bottom",
    "element": "img button rect scroll text list item item_sel album_cover lyrics",
    "type": " ".join(kind + axis + end for kind in ("fill", "move", "part") for axis in ("-x", "-y")
                     for end in ("", "-rev")),
    "action of a bar": "battery list play",
    "token": "$program_name $program_version $path $title $time $battery $Time $Battery $artist $album "
             "$mins $secs $02mins $02secs $stopped $标题 $艺术家 $Album",
    "action": "play pause stop prev next list",
    "word": "play pause album_cover lyrics",
}


def read_tables():
    """The words of the first columns that have a picture in their row, by the column's heading."""
    tables, heading, rule = {}, None, re.compile(r"\|[-|]+\|")
    lines = guide.GUIDE.read_text(encoding="utf-8").splitlines()
    for line, following in zip(lines, lines[1:] + [""]):
        cells = [cell.strip() for cell in line.split("|")[1:-1]]
        if not line.startswith("|"):
            heading = None
        elif rule.fullmatch(following):
            heading = cells[0]
        elif heading and guide.PICTURE.search(line):
            tables.setdefault(heading, set()).update(re.findall(r"`([^`]+)`", cells[0]))
    return tables


# What the table of limits must say, by the constant of the skin engine.
LIMITS = {
    "skin_limit_entries": "| {} |", "skin_limit_depth": "| {} |", "skin_name_size": "| {less} bytes |",
    "skin_limit_member": "| {mib} MiB |", "skin_limit_text": "| {mib} MiB |",
    "skin_limit_variants": "| {} |", "skin_plain_rows": "| {},", "skin_limit_rows": " {} |",
    "skin_limit_pixels": "| {} pixels", "skin_limit_image_bytes": "| {mib} MiB |",
}


def read_constants():
    """Numbers of the headers of skin/: products and shifts of plain numbers."""
    constants = {}
    for header in (ROOT / "skin").glob("*.h"):
        for name, value in re.findall(r"constexpr \w+ (\w+) = ([^;]+);", header.read_text()):
            value = re.sub(r"\b(\d+)u\b", r"\1", value)
            if re.fullmatch(r"[\w\s*<]+", value):
                constants[name] = eval(value, {}, dict(constants))  # our own headers
    return constants


class GuideTest(unittest.TestCase):
    def test_every_limit_stands_there_with_its_number(self):
        limits = guide.GUIDE.read_text(encoding="utf-8").split("## Limits")[1].split("\n## ")[0]
        constants = read_constants()
        for name, form in LIMITS.items():
            value = constants[name]
            self.assertIn(form.format(value, less=value - 1, mib=value >> 20), limits, name)

    def test_every_word_has_a_row_with_a_picture(self):
        tables = read_tables()
        for heading, words in WORDS.items():
            self.assertEqual(tables.get(heading), set(words.split()), heading)

    def test_every_picture_is_what_the_player_draws(self):
        build = Path(os.environ["ZERV_PLAYER"]).resolve().parents[1]
        with tempfile.TemporaryDirectory() as folder:
            made = guide.make(build, Path(folder))
            self.assertEqual(len(made), len(set(made)), "two pictures have one name")
            self.assertEqual({each.stem for each in PICTURES.iterdir()}, set(made))
            for name in made:
                self.assertEqual(read_png(Path(folder) / f"{name}.png"), read_png(PICTURES / f"{name}.png"),
                                 f"{name}: if the new picture is right, remake them with ./dev shots")

    def test_check_finds_no_fault_in_an_example(self):
        # What an example alone may lack, and what a screen with nothing else on it is short of.
        harmless = {"no-variant", "debug", "small-target", "no-rows", "text-too-wide"}
        with tempfile.TemporaryDirectory() as folder:
            sizes = guide.render_images(Path(folder))
            for example in guide.read_examples():
                part = Path(folder) / f"{example.part}.xml"
                part.write_text(example.content(sizes), encoding="utf-8")
                done = subprocess.run([os.environ["ZERV_SKIN"], "check", "--json", folder],
                                      capture_output=True, timeout=60, check=False)
                findings = json.loads(done.stdout)["findings"]
                faults = [each for each in findings if each["code"] not in harmless]
                self.assertEqual(faults, [], example.name)
                part.unlink()


if __name__ == "__main__":
    unittest.main()
