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

# The tables of the guide, by the section and the heading of their first column, and the table of
# `zerv-skin words` that must stand in it, with the screen whose words these are.
TABLES = {
    ("Attributes of the root", "attribute"): ("root_attributes", None),
    ("Attributes of elements", "attribute"): ("attributes", None),
    ("Attributes of elements", "word of `text_align`"): ("align", None),
    ("Elements", "element"): ("elements", None),
    ("Bars", "type"): ("types", None),
    ("Bars", "action of a bar"): ("bar_actions", None),
    ("Tokens of the list part", "token"): ("tokens", "list"),
    ("Tokens of the play part", "token"): ("tokens", "play"),
    ("Actions of the play part", "action"): ("actions", "play"),
    ("Show and hide", "word"): ("conditions", "play"),
}


def read_tables():
    """The rows that have a picture, by section and heading of the first column: the words of the
    first cell, and all cells by their headings."""
    tables, section, headings, rule = {}, None, None, re.compile(r"\|[-|]+\|")
    lines = guide.GUIDE.read_text(encoding="utf-8").splitlines()
    for line, following in zip(lines, lines[1:] + [""]):
        cells = [cell.strip() for cell in line.split("|")[1:-1]]
        if line.startswith("#"):
            section = line.strip("# ")
        if not line.startswith("|"):
            headings = None
        elif rule.fullmatch(following):
            headings = cells
        elif headings and guide.PICTURE.search(line):
            rows = tables.setdefault((section, headings[0]), {})
            for word in re.findall(r"`([^`]+)`", cells[0]):
                rows[word] = dict(zip(headings, cells))
    return tables


def part_cell(screens):
    return "both" if len(screens) == 2 else screens[0]


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

    @classmethod
    def setUpClass(cls):
        cls.words = guide.read_words(os.environ["ZERV_SKIN"])
        cls.tables = read_tables()

    def test_every_word_has_a_row_with_a_picture(self):
        self.assertLessEqual(set(TABLES), set(self.tables))
        for place, (name, screen) in TABLES.items():
            words = [entry["name"] for entry in self.words[name]
                     if screen is None or screen in entry["screens"]]
            self.assertEqual(sorted(self.tables[place]), sorted(words), place)

    def test_every_table_of_words_stands_in_the_guide(self):
        self.assertEqual({name for name, _ in TABLES.values()}, set(self.words))

    def test_the_columns_say_what_the_program_does(self):
        elements, types = self.tables["Elements", "element"], self.tables["Bars", "type"]
        actions = self.tables["Bars", "action of a bar"]
        attributes = self.tables["Attributes of elements", "attribute"]
        for entry in self.words["elements"]:
            self.assertEqual(elements[entry["name"]]["part"], part_cell(entry["screens"]), entry)
        for entry in self.words["types"]:
            dragged = "yes" if entry["draggable"] else "no"
            self.assertEqual(types[entry["name"]]["can be dragged"], dragged, entry)
        for entry in self.words["bar_actions"]:
            row = actions[entry["name"]]
            self.assertEqual(row["part"], part_cell(entry["screens"]), entry)
            self.assertEqual("can be dragged" in row["shows"], entry["dragged"], entry)
        for entry in self.words["attributes"]:
            if "standard" in entry:
                self.assertIn(f"{entry['standard']} when left out", attributes[entry["name"]]["value"])

    def test_examples_say_only_what_their_elements_read(self):
        reads = {entry["name"]: entry["attributes"] for entry in self.words["elements"]}
        for example in guide.read_examples():
            for element in example.root:
                self.assertLessEqual(set(element.keys()), set(reads[element.tag]), example.name)

    def test_every_picture_is_what_the_player_draws(self):
        build = Path(os.environ["ZERV_PLAYER"]).resolve().parents[1]
        with tempfile.TemporaryDirectory() as folder:
            made = guide.make(build, Path(folder))
            self.assertEqual(len(made), len(set(made)), "two pictures have one name")
            self.assertEqual({each.stem for each in PICTURES.iterdir()}, set(made))
            for name in made:
                new, kept = Path(folder) / f"{name}.png", PICTURES / f"{name}.png"
                if new.read_bytes() == kept.read_bytes():
                    continue  # decoded they are the same, too
                self.assertEqual(read_png(new), read_png(kept),
                                 f"{name}: if the new picture is right, remake them with ./dev shots")

    def test_check_finds_no_fault_in_an_example(self):
        # What an example alone may lack, what a screen with nothing else on it is short of, and the
        # boxes that lie behind the elements.
        harmless = {"no-variant", "debug", "small-target", "no-rows", "text-too-wide", "covered"}
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
