#!/usr/bin/env python3
"""Reads CHANGELOG.md: changes.py version | date | notes | debian

    version   the newest version
    date      its day, YYYY-MM-DD
    notes     what it brings, as Markdown
    debian    all versions, as the list of changes of a Debian package
"""
import datetime
import re
import sys
import textwrap
from pathlib import Path

HEADING = re.compile(r"^## (\S+) \((\d{4}-\d{2}-\d{2})\)$")
KEEPER = "The Zerv Player developers <zerv-player@localhost>"


def read_versions(text):
    """[(version, day, lines), ...], the newest first."""
    versions = []
    for line in text.splitlines():
        heading = HEADING.match(line)
        if heading:
            versions.append((heading[1], heading[2], []))
        elif line.startswith("## "):
            raise ValueError(f"not a version and its day: {line}")
        elif versions:
            versions[-1][2].append(line)
    if not versions:
        raise ValueError("no version")
    return versions


def items_of(lines):
    """The points of all lists, each in one line; what stands between lists is none."""
    text = "\n".join(lines)
    return [" ".join(item.split("\n\n")[0].split()) for item in re.split(r"^- ", text, flags=re.M)[1:]]


def debian_entry(version, day, lines):
    points = [textwrap.fill(item, 76, initial_indent="  * ", subsequent_indent="    ")
              for item in items_of(lines)]
    moment = datetime.datetime.fromisoformat(day).strftime("%a, %d %b %Y 00:00:00 +0000")
    return f"zerv-player ({version}) unstable; urgency=medium\n\n" + "\n".join(points) + \
        f"\n\n -- {KEEPER}  {moment}\n"


def main(what):
    path = Path(__file__).resolve().parent.parent / "CHANGELOG.md"
    versions = read_versions(path.read_text(encoding="utf-8"))
    version, day, lines = versions[0]
    answers = {
        "version": lambda: version,
        "date": lambda: day,
        "notes": lambda: f"# Zerv Player {version}\n\n" + "\n".join(lines).strip(),
        "debian": lambda: "\n".join(debian_entry(*each) for each in versions).rstrip("\n"),
    }
    print(answers[what]())


if __name__ == "__main__":
    main(*sys.argv[1:])
