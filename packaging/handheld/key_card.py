#!/usr/bin/env python3
"""Draws the card of keys: key_card.py MANUAL SVG

The buttons stand in the manual's table of keys, in its column "pad"; rows without a button are left out.
"""
import sys
from html import escape
from pathlib import Path

WIDTH, LEFT, ROW = 640, 24, 30
COLUMNS = (LEFT, 190, 420)  # the button, on the list screen, on the play screen


def rows_of(manual):
    """Button, meaning on the list screen, on the play screen."""
    section = manual.split("## Keys\n", 1)[1]
    first = section[section.index("|"):].split("\n\n", 1)[0]
    table = [[cell.strip() for cell in line.strip("|").split(" | ")] for line in first.splitlines()]
    head = table[0]
    columns = [head.index(name) for name in ("pad", "what it does on the list screen", "... on the play screen",
                                             "keyboard and mouse")]
    rows = [[plain(row[column].strip("| ")) for column in columns] for row in table[2:]]
    return [(button_of(pad, keyboard), in_list, playing) for pad, in_list, playing, keyboard in rows if pad != "-"]


def button_of(pad, keyboard):
    """A cross has four buttons of the names that the keyboard's have."""
    if pad.startswith("D-pad"):
        return " and ".join(word for word in keyboard.split(", ") if word in ("Up", "Down", "Left", "Right"))
    return pad


def plain(text):
    """Without links, remarks in brackets and second sentences."""
    while "(" in text and ")" in text:
        start, end = text.index("("), text.rindex(")")
        text = (text[:start] + text[end + 1:]).strip()
    return text.replace("[", "").replace("]", "").split(";")[0]


def text(x, y, words, size=14, more=""):
    return f'<text x="{x}" y="{y}" font-size="{size}" {more}>{escape(words)}</text>'


def button(y, words):
    width = 16 + 8 * len(words)
    return (f'<rect x="{LEFT}" y="{y - 16}" width="{width}" height="22" rx="11" fill="#2b4a6f"/>'
            + text(LEFT + 8 + 4 * len(words), y, words, 13, 'fill="#ffffff" text-anchor="middle"'))


def draw(rows):
    height = 96 + ROW * len(rows)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             'font-family="DejaVu Sans" fill="#1d2733">',
             f'<rect width="{WIDTH}" height="{height}" fill="#f4f7fa"/>',
             text(LEFT, 38, "Zerv Player: keys", 22, 'font-weight="bold"'),
             text(COLUMNS[1], 68, "in a list", 12, 'fill="#5b6b7c"'),
             text(COLUMNS[2], 68, "while playing", 12, 'fill="#5b6b7c"')]
    for number, (pad, in_list, playing) in enumerate(rows):
        y = 96 + ROW * number
        if number % 2 == 0:
            parts.append(f'<rect x="12" y="{y - 20}" width="{WIDTH - 24}" height="{ROW}" rx="6" fill="#e6edf4"/>')
        parts.append(button(y, pad))
        parts.append(text(COLUMNS[1], y, in_list))
        parts.append(text(COLUMNS[2], y, playing))
    return "\n".join([*parts, "</svg>\n"])


def main():
    rows = rows_of(Path(sys.argv[1]).read_text())
    if len(rows) < 8:
        print("key_card: the manual's table of keys is not what it was", file=sys.stderr)
        return 1
    Path(sys.argv[2]).write_text(draw(rows))
    return 0


if __name__ == "__main__":
    sys.exit(main())
