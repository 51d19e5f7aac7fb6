#!/usr/bin/env python3
"""Draws the house of tools/layers.txt, floor by floor: house.py FILE.svg, or house.py --check FILE.svg,
which fails when the drawing is not the one of today's plan."""

import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from layers import read_layers  # noqa: E402

BOX, ROW, GAP, MARGIN = 24, 66, 14, 16
LETTER = 7.3  # pixels a letter of 12 px monospace takes
COLOURS = {"platform": "#dcecf5", "view": "#e6f2dd", "lists": "#f7ecd6", "core": "#f3dede"}


def floors_of(layers):
    """folder -> how many folders stand below it on the longest way down."""
    floors = {}
    for each in layers:  # the plan lists what is below first
        floors[each.folder] = 1 + max((floors[other] for other in each.below), default=-1)
    return floors


def direct(each, layers):
    """Folders below that are not below another one below: the arrows that say something."""
    below = {other.folder: other.below for other in layers}
    return [other for other in each.below if not any(other in below[third] for third in each.below)]


def place(layers):
    """folder -> (x, y, width), and the size of the drawing."""
    floors = floors_of(layers)
    rows = [[each.folder for each in layers if floors[each.folder] == floor]
            for floor in range(max(floors.values()), -1, -1)]
    widths = {each.folder: int(len(each.folder) * LETTER) + 16 for each in layers}
    total = max(sum(widths[name] + GAP for name in row) - GAP for row in rows) + 2 * MARGIN
    spots = {}
    for number, row in enumerate(rows):
        x = (total - (sum(widths[name] + GAP for name in row) - GAP)) // 2
        for name in row:
            spots[name] = (x, MARGIN + number * ROW, widths[name])
            x += widths[name] + GAP
    return spots, total, MARGIN * 2 + (len(rows) - 1) * ROW + BOX


def draw(layers):
    spots, width, height = place(layers)
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
             'font-family="monospace" font-size="12">',
             f'<rect width="{width}" height="{height}" fill="#ffffff"/>']
    for each in layers:
        x, y, w = spots[each.folder]
        for other in sorted(direct(each, layers)):
            to_x, to_y, to_w = spots[other]
            lines.append(f'<path d="M{x + w // 2} {y + BOX} L{to_x + to_w // 2} {to_y}" '
                         'stroke="#9aa5ad" fill="none"/>')
    for each in layers:
        x, y, w = spots[each.folder]
        colour = COLOURS.get(each.folder.split("/")[0], "#eeeeee")
        lines.append(f'<rect x="{x}" y="{y}" width="{w}" height="{BOX}" rx="4" fill="{colour}" '
                     'stroke="#5b6770"/>')
        lines.append(f'<text x="{x + w // 2}" y="{y + 16}" text-anchor="middle">{each.folder}</text>')
    return "\n".join(lines + ["</svg>", ""])


def main():
    drawing = draw(read_layers("tools/layers.txt"))
    if sys.argv[1] == "--check":
        with open(sys.argv[2], encoding="utf-8") as file:
            if file.read() != drawing:
                sys.exit(f"{sys.argv[2]} is not the house of tools/layers.txt. Draw it: ./dev shots")
        return
    with open(sys.argv[1], "w", encoding="utf-8") as file:
        file.write(drawing)


if __name__ == "__main__":
    main()
