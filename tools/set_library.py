#!/usr/bin/env python3
"""Sets the music folder in a settings file and keeps every other setting.

    set_library.py [--unless-set] CONFIG FOLDER

With --unless-set a folder that the user chose stays; the one that every file starts with is no choice.
Prints one word: new (there were no settings), changed, unscanned (the same folder, and the library is
still empty), same, or kept.

The player writes and reads the folder's name as it is, so a name with signs that XML claims for itself
would make a file that cannot be read again. Such a folder gets a link with a plain name beside CONFIG,
and the link is what the settings name. CONFIG is replaced at once: it is whole at any moment.
"""

import contextlib
import os
import pathlib
import re
import sqlite3
import stat
import sys
from xml.parsers import expat

DEFAULT_FOLDER = b"/usr"
LINK_NAME = b"library-folder"
LONGEST = 511  # bytes that the player keeps of a path
ELEMENT = re.compile(rb"<library_path\s*>.*?</library_path\s*>|<library_path\s*/>", re.DOTALL)
NEW_FILE = b'<?xml version="1.0" encoding="UTF-8"?>\r\n\r\n<cfg version="0.1">\r\n</cfg>\r\n'


def read_setting(content):
    """What the player would take from the file: the folder, b"" without one, None for a file that it
    does not accept."""
    found = {"version": None, "name": None, "text": "", "folder": ""}

    def start(name, attributes):
        found["name"], found["text"] = name, ""
        if name == "cfg":
            found["version"] = attributes.get("version")

    def text(data):
        found["text"] += data

    def end(_name):
        if found["name"] == "library_path" and found["text"]:
            found["folder"] = found["text"]
        found["name"] = None

    parser = expat.ParserCreate()
    parser.StartElementHandler, parser.EndElementHandler, parser.CharacterDataHandler = start, end, text
    try:
        parser.Parse(content, True)
    except expat.ExpatError:
        return None
    return found["folder"].encode() if found["version"] == "0.1" else None


def is_plain(path):
    """Whether the player reads back what it wrote."""
    element = b'<cfg version="0.1"><library_path>' + path + b"</library_path></cfg>"
    return len(path) <= LONGEST and read_setting(element) == path


def replace_link(path, target):
    if os.path.lexists(path) and not os.path.islink(path):
        sys.exit(f"{os.fsdecode(path)} is in the way: it should be a link to the music folder.")
    beside = path + b".new"
    if os.path.lexists(beside):
        os.remove(beside)
    os.symlink(target, beside)
    os.replace(beside, path)


def plain_path(config, folder):
    """A path to the folder that the settings can carry."""
    if is_plain(folder):
        return folder
    link = os.path.join(os.path.dirname(config), LINK_NAME)
    replace_link(link, folder)
    return link if is_plain(link) else LINK_NAME  # the player runs in the folder of its settings


def with_setting(content, path):
    """The content with this folder set, or None when the rest of the file is damaged."""
    element = b"<library_path>" + path + b"</library_path>"
    changed = ELEMENT.sub(lambda _: element, content)
    if read_setting(changed) == path:
        return changed
    end = content.rfind(b"</cfg>")
    changed = content[:end] + b"\t" + element + b"\r\n" + content[end:]
    return changed if end >= 0 and read_setting(changed) == path else None


def replace_file(path, content, mode):
    beside = path + b".new"
    with open(beside, "wb") as file:
        file.write(content)
        file.flush()
        os.fsync(file.fileno())
    os.chmod(beside, mode)
    os.replace(beside, path)


def free_name(path):
    """Where the player, too, keeps settings that could not be read."""
    for name in (path + b".old" + end for end in (b"", *(b"%d" % i for i in range(2, 10)))):
        if not os.path.lexists(name):
            return name
    sys.exit(f"The settings cannot be read, and there is no name left to keep them: {os.fsdecode(path)}")


def read_file(path):
    """Content and mode; None for a file that does not exist."""
    try:
        with open(path, "rb") as file:
            return file.read(), stat.S_IMODE(os.fstat(file.fileno()).st_mode)
    except FileNotFoundError:
        return None, 0o644


def real_folder(config, path):
    return os.path.realpath(os.path.join(os.path.dirname(config), path))


def is_scanned(config):
    """Whether the library beside the settings holds tracks."""
    library = pathlib.Path(os.fsdecode(os.path.join(os.path.dirname(config), b"library.db")))
    try:
        with contextlib.closing(sqlite3.connect(library.as_uri() + "?mode=ro", uri=True)) as opened:
            return opened.execute("SELECT 1 FROM zervp_urls LIMIT 1").fetchone() is not None
    except sqlite3.Error:
        return False


def set_library(config, folder, unless_set):
    content, mode = read_file(config)
    before = read_setting(content) if content is not None else None
    if unless_set and content is not None and before not in (b"", DEFAULT_FOLDER):
        return "kept"
    # Looked at before the link moves: the name may stay while the folder changes.
    was_there = before is not None and real_folder(config, before) == folder
    path = plain_path(config, folder)
    if before == path and was_there:
        return "same" if is_scanned(config) else "unscanned"
    if before == path:
        return "changed"  # the link has moved
    changed = with_setting(content if content is not None else NEW_FILE, path)
    if changed is None:
        aside = free_name(config)
        replace_file(aside, content, mode)
        print(f"The settings could not be read; they are kept as {os.fsdecode(aside)}.", file=sys.stderr)
        changed = with_setting(NEW_FILE, path)
    replace_file(config, changed, mode)
    return "new" if before is None else "changed"


def main():
    words = sys.argv[1:]
    unless_set = words[:1] == ["--unless-set"]
    words = words[unless_set:]
    if len(words) != 2 or words[0].startswith("-"):
        sys.exit(__doc__.strip())
    config, folder = (os.path.realpath(os.fsencode(word)) for word in words)
    try:
        print(set_library(config, folder, unless_set))
    except OSError as error:
        sys.exit(f"The settings stay as they are: {error}")


if __name__ == "__main__":
    main()
