"""A disk that was cut off: what files may hold after each prefix of what a program did.

What a sync has covered is there. Of the rest anything may be missing: a write, a new name, the
removal of an old one, each by itself; a write may also be half there, or there as zeroes."""

import os
import struct

ENTRY = struct.Struct("<c3xIIIQQ")
"""struct entry of record.c."""

ALL, NONE, ZERO, PART = "all", "none", "zero", "part"


class Step:
    """One record. `number` is the file as we count them: the kernel's numbers come back."""

    def __init__(self, what, paths, data, mode, number, offset):
        self.what, self.paths, self.data, self.mode = what, paths, data, mode
        self.number, self.offset = number, offset
        self.covered_by = None  # index of the sync from which on it is there

    def is_name(self):
        return self.what in "crlud"


def apply_write(content, step, how):
    """Changes the bytearray."""
    data = step.data
    if how == ZERO:
        data = bytes(len(data))
    elif how == PART:
        data = data[:len(data) // 2]
    content.extend(bytes(max(0, step.offset - len(content))))
    content[step.offset:step.offset + len(data)] = data


def above_of(folder):
    """The folders that a folder lies in."""
    while folder:
        folder = os.path.dirname(folder)
        yield folder


class Disk:
    """A folder before a session, and the record of the session in it."""

    def __init__(self, before, stage, record, forgets_syncs=False):
        """before: the folder as it was. stage: where the session ran, from a copy of it."""
        self.before = before
        self.names, self.inodes, self.folders = {}, record.inodes, {""}
        self.steps = []
        self.stage = str(stage)
        for path, folders, files in os.walk(before):
            inside = os.path.relpath(path, before).removeprefix(".").removeprefix("/")
            links = [name for name in folders if os.path.islink(os.path.join(path, name))]
            self.folders |= {os.path.join(inside, name) for name in folders if name not in links}
            for name in files + links:
                self.names[os.path.join(inside, name)] = os.path.join(inside, name)
        self.now = dict(self.names)  # as the program sees it
        self.forgets_syncs = forgets_syncs
        self.read(record)
        self.cover()

    def inside(self, path):
        path = os.path.normpath(path)
        if path == self.stage:
            return ""
        return path[len(self.stage) + 1:] if path.startswith(self.stage + "/") else None

    def read(self, record):
        entries, at = record.bytes(), 0
        while at < len(entries):
            what, path_size, data_size, mode, inode, offset = ENTRY.unpack_from(entries, at)
            at += ENTRY.size
            names = entries[at:at + path_size].decode(errors="surrogateescape")
            at += path_size
            data = entries[at:at + data_size]
            at += data_size
            self.take(what.decode(), names, data, mode, inode, offset)

    def take(self, what, names, data, mode, inode, offset):
        paths = [self.inside(name) for name in names.split("\0")] if names else []
        if None in paths:
            return  # elsewhere
        number = None
        if what == "c":
            number = self.inodes[inode] = f"new {len(self.steps)}"
            self.now[paths[0]] = number
        elif what in "wtm" or what == "s" and not paths:
            number = self.inodes.get(inode)
            if number is None:
                return
        elif what in "rl":
            if paths[0] not in self.now:
                return  # a folder; the player renames none
            number = self.now[paths[0]]
            self.now[paths[1]] = number
            if what == "r":
                del self.now[paths[0]]
        elif what == "u":
            self.now.pop(paths[0], None)
        self.steps.append(Step(what, paths, data, mode, number, offset))

    def cover(self):
        """For each step the first sync behind it that brings it to the disk."""
        if self.forgets_syncs:
            return
        for at, sync in enumerate(self.steps):
            if sync.what not in "sS":
                continue
            for step in self.steps[:at]:
                if step.covered_by is None and self.covers(sync, step):
                    step.covered_by = at

    @staticmethod
    def covers(sync, step):
        if sync.what == "S":
            return True
        if step.is_name():
            return bool(sync.paths) and os.path.dirname(step.paths[-1]) == sync.paths[0]
        return sync.number is not None and step.number == sync.number

    def state(self, end, choose):
        """What a cut after `end` steps may leave: ({name: (file, content, mode)}, folders).
            choose   (step) -> ALL, NONE, ZERO or PART, asked for what is not covered
        A file that was never touched has the content None.
        """
        names, folders, touched, modes = dict(self.names), set(self.folders), {}, {}
        for step in self.steps[:end]:
            is_there = step.covered_by is not None and step.covered_by < end
            how = ALL if is_there else choose(step)
            if how == NONE or step.what in "sS":
                continue
            if step.is_name():
                self.apply_name(step, names, folders)
            else:
                self.apply_data(step, how, touched, modes)
        folders = {name for name in folders if all(above in folders for above in above_of(name))}
        files = {name: (number, touched.get(number, b"" if number.startswith("new ") else None),
                        modes.get(number))
                 for name, number in names.items() if os.path.dirname(name) in folders}
        return files, folders

    @staticmethod
    def apply_name(step, names, folders):
        if step.what == "d":
            folders.add(step.paths[0])
        elif step.what == "u":
            names.pop(step.paths[0], None)
            folders.discard(step.paths[0])
        else:
            names[step.paths[-1]] = step.number
            if step.what == "r":
                names.pop(step.paths[0], None)

    def apply_data(self, step, how, touched, modes):
        if step.what == "m":
            modes[step.number] = step.mode
            return
        content = touched.get(step.number)
        if content is None:
            is_new = step.number.startswith("new ")
            content = bytearray() if is_new else bytearray((self.before / step.number).read_bytes())
            touched[step.number] = content
        if step.what == "t":
            del content[step.offset:]
            content.extend(bytes(step.offset - len(content)))
        else:
            apply_write(content, step, how)
