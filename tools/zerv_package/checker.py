"""Tells everything for which a player would refuse a package. The rules are those of
update/update_package.cpp and update/update_name.cpp."""

import mmap
import os
import stat

from .archive import ALL_ONES, DEFLATE, STORE, Archive, Bad

MOST_ENTRIES = 20000
LARGEST_PACKAGE = 256 << 20
LARGEST_CONTENT = 1 << 30
LONGEST_NAME = 511
LONGEST_COMPONENT = 255

SCRATCH = b"_tmp"
USERS_OWN = (b"config.txt", b"current.m3u", b"library.db", b"library.db-journal",
             b"library.db-wal", b"library.db-shm")

MISREAD = ("its size is where only large archives (zip64) keep it, which players misread. Pack it "
           "from a file, not from a pipe")


def clean_name(raw):
    """The path below the program folder that a name means; empty for the folder itself. A
    ValueError says why a player refuses it."""
    if len(raw) > LONGEST_NAME:
        raise ValueError("the name is too long")
    if b"\0" in raw:
        raise ValueError("the name contains a zero byte")
    parts = [part for part in raw.split(b"/") if part not in (b"", b".")]
    if b".." in parts:
        raise ValueError("the name leaves the folder")
    if any(len(part) > LONGEST_COMPONENT for part in parts):
        raise ValueError(f"a part of the name is longer than {LONGEST_COMPONENT} bytes")
    # A memory card knows no case, and no dots or blanks at the end.
    first = parts[0].rstrip(b". ").lower() if parts else b""
    if first == SCRATCH:
        raise ValueError("packages must not write to the scratch folder")
    if first in USERS_OWN:
        raise ValueError("the file belongs to the player's user")
    if not parts and not raw.endswith(b"/"):
        raise ValueError("the name is empty")
    return b"/".join(parts)


class Checker:
    """Walks through a package as the player does, and remembers what is wrong."""

    def __init__(self, folder=None):
        self.folder = os.fsencode(folder) if folder else None
        self.kinds = {}  # what the entries so far make: stat.S_IFREG or S_IFDIR by clean name
        self.total = 0
        self.faults = []

    def fault(self, entry, text):
        name = entry.name.decode("utf-8", "backslashreplace") if entry else ""
        self.faults.append(f"{name}: {text}" if name else text)

    def kind_of(self, name):
        """What stands under a clean name when an entry's turn comes."""
        if not name:
            return stat.S_IFDIR
        if name in self.kinds:
            return self.kinds[name]
        path = os.path.join(self.folder, name) if self.folder is not None else None
        if not path or not os.path.lexists(path):
            return None
        return stat.S_IFDIR if os.path.isdir(path) else stat.S_IFREG

    def has_parent(self, name):
        return self.kind_of(name.rpartition(b"/")[0]) == stat.S_IFDIR

    def check_name(self, entry):
        try:
            name = clean_name(entry.name)
        except ValueError as error:
            self.fault(entry, str(error))
            return
        kind = self.kind_of(name)
        if entry.is_folder:
            if self.has_parent(name) and kind is None:
                self.kinds[name] = stat.S_IFDIR
        elif not self.has_parent(name):
            self.fault(entry, "its folder has no entry before it")
        elif kind == stat.S_IFDIR:
            self.fault(entry, "there is a folder in its place")
        else:
            self.kinds[name] = stat.S_IFREG

    def check_kind(self, entry):
        if stat.S_IFMT(entry.mode) not in (0, stat.S_IFREG, stat.S_IFDIR):
            self.fault(entry, "neither a file nor a folder")
        if entry.flags & 1:
            self.fault(entry, "encrypted")
        elif entry.method not in (STORE, DEFLATE):
            self.fault(entry, "packed by a method other than store and deflate")

    def check_size(self, entry):
        self.total += entry.size
        if entry.size == ALL_ONES:
            self.fault(entry, MISREAD)

    def check_entries(self, archive):
        """The entries, as far as they can be read."""
        entries = []
        try:
            for entry in archive.entries():
                entries.append(entry)
                self.check_name(entry)
                self.check_kind(entry)
                self.check_size(entry)
        except Bad as error:
            self.fault(None, str(error))
        if self.total > LARGEST_CONTENT:
            self.fault(None, f"{self.total} bytes of contents; players accept {LARGEST_CONTENT}")
        return entries

    def check_contents(self, archive, entries):
        for entry in entries:
            try:
                if not entry.is_folder:
                    archive.check_data(entry)
            except Bad as error:
                self.fault(entry, MISREAD if ALL_ONES in (entry.packed, entry.offset)
                           else str(error))

    def check_bytes(self, data):
        try:
            archive = Archive(data)
        except Bad as error:
            self.fault(None, str(error))
            return
        if not 1 <= archive.count <= MOST_ENTRIES:
            self.fault(None, f"{archive.count} entries; players accept 1 to {MOST_ENTRIES}")
            return
        entries = self.check_entries(archive)
        if not self.faults:
            self.check_contents(archive, entries)

    def check(self, path):
        with open(path, "rb") as file:
            size = os.fstat(file.fileno()).st_size
            if size > LARGEST_PACKAGE:
                self.fault(None, f"{size} bytes; players accept {LARGEST_PACKAGE}")
            if size == 0:
                self.fault(None, "it is not a zip archive, or it is empty")
                return self.faults
            with mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as data:
                self.check_bytes(data)
        return self.faults
