#!/usr/bin/env python3
"""Checks that what the documents for developers name exists.

A path of the repository stands between backticks and begins with one of its folders, or is the name of
a source or a document, wherever that lies. In a recipe the file that is still to be made is an example:
such names stand in EXAMPLES. A function stands between
backticks with its parenthesis. The tables of docs/porting.md name the members of a device's records,
and those of docs/scripting.md the commands and keys of the scripted device, every one and no other."""

import glob
import os
import re
import sys

DOCUMENTS = ["CONTRIBUTING.md", "docs/architecture.md", "docs/porting.md", "docs/testing.md",
             "docs/performance.md", "docs/scripting.md"]
EXAMPLES = {
    "lists/list_genres.cpp", "tests/unit/lists/list_genres_test.cpp", "platform/audio/decoder_wav.cpp",
    "tests/unit/platform/audio/decoder_wav_test.cpp", "tests/scenarios/volume_limits/script",
    "platform/device/oven/device_oven.cpp", "name.cpp", "name.h",
}
RECORDS = {"device": "platform/base/device.h", "sound_speaker": "platform/sound/sound_device.h"}
PORTING = "docs/porting.md"
SCRIPTING = "docs/scripting.md"
# The table in a source; the head of the documents' tables that tell of its names.
WORDS = {
    "platform/device/virtual/device_virtual_script.cpp": ("commands", "command"),
    "platform/input/key_name.cpp": ("key_names", "name"),
}
MEMBER = re.compile(r"\(\*(\w+)\)\(|\b(\w+);")
NOISE = re.compile(r"/\*.*?\*/| = \w+", re.DOTALL)
FUNCTION = re.compile(r"`([a-z]\w+)\([^`]*`")
PATH = re.compile(r"`([A-Za-z_.]+/[A-Za-z0-9_./<>*-]*|[A-Za-z0-9_]+\.[a-z]+)`")
FILE = re.compile(r"\.(cpp|h|py|md)$")


def names_of(document):
    with open(document, encoding="utf-8") as text:
        for name in PATH.findall(text.read()):
            known = "/" in name and os.path.isdir(name.split("/")[0]) and not name.startswith(("build/", ".."))
            if (known or FILE.search(name)) and "<" not in name and "NAME" not in name:
                yield name


def functions_of(document):
    with open(document, encoding="utf-8") as text:
        return set(FUNCTION.findall(text.read()))


def words_of_program():
    """Every word of the program's sources and headers, the tools' and the tests' included."""
    words = set()
    for name in glob.glob("**/*.h", recursive=True) + glob.glob("**/*.cpp", recursive=True):
        if not name.startswith("build/"):
            with open(name, encoding="utf-8") as source:
                words.update(re.findall(r"\w+", source.read()))
    return words


def members_of(record, header):
    """Names of the members of a record, pointers to functions and plain ones."""
    with open(header, encoding="utf-8") as source:
        text = NOISE.sub("", source.read())
    found = re.search(rf"^struct {record} \{{\n(.*?)^\}};", text, re.DOTALL | re.MULTILINE)
    return {a or b for a, b in MEMBER.findall(found[1])} if found else set()


def rows_of(record, document):
    """Names in the first column of the table whose head is the record."""
    with open(document, encoding="utf-8") as source:
        table = re.search(rf"^\| `{record}` \|.*?(?=\n\n)", source.read(), re.DOTALL | re.MULTILINE)
    rows = table[0].split("\n")[2:] if table else []
    return {name for row in rows for name in re.findall(r"`(\w+)`", row.split("|")[1])}


def record_faults():
    for record, header in RECORDS.items():
        members, rows = members_of(record, header), rows_of(record, PORTING)
        if not members:
            yield f"{header} has no record {record}"
        for name in sorted(members - rows):
            yield f"{PORTING} does not tell of {name} of {record}"
        for name in sorted(rows - members):
            yield f"{PORTING} names {name}, which {record} does not have"


def words_of_table(source, table):
    """First words of the entries of a table in a source."""
    with open(source, encoding="utf-8") as text:
        found = re.search(rf"^[\w ]+ {table}\[\] = \{{\n(.*?)^\}};", text.read(), re.DOTALL | re.MULTILINE)
    return set(re.findall(r'\{"(\w+)"', found[1])) if found else set()


def words_of_rows(document, head):
    """First words between backticks in the first column of all tables with that head."""
    with open(document, encoding="utf-8") as source:
        tables = re.findall(rf"^\| {head} \|.*?(?=\n\n)", source.read(), re.DOTALL | re.MULTILINE)
    rows = [row for table in tables for row in table.split("\n")[2:]]
    return {name for row in rows for name in re.findall(r"`(\w+)[^`]*`", row.split("|")[1])}


def script_faults():
    for source, (table, head) in WORDS.items():
        known, told = words_of_table(source, table), words_of_rows(SCRIPTING, head)
        if not known:
            yield f"{source} has no table {table}"
        for name in sorted(known - told):
            yield f"{SCRIPTING} does not tell of {name}"
        for name in sorted(told - known):
            yield f"{SCRIPTING} tells of {name}, which {source} does not have"


def main():
    faults, checked, words = [], 0, words_of_program()
    for document in filter(os.path.exists, DOCUMENTS):
        for name in names_of(document):
            checked += 1
            if name not in EXAMPLES and not glob.glob(name if "/" in name else f"**/{name}", recursive=True):
                faults.append(f"{document} names {name}, which is not there")
        for name in sorted(functions_of(document) - words):
            faults.append(f"{document} names {name}(), which is not there")
    if os.path.exists(PORTING):
        faults += record_faults()
    if os.path.exists(SCRIPTING):
        faults += script_faults()
    for fault in faults:
        print(fault, file=sys.stderr)
    if checked == 0:
        sys.exit("no name was checked")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
