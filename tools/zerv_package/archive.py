"""Reads zip archives exactly as the player's library does, its oddities included.

Another reader would not agree with players about archives that are a little wrong: where the
directory lies, how many entries count, which sizes hold, how much data a file needs."""

import zlib

STORE, DEFLATE = 0, 8
MASK = (1 << 64) - 1
END, LOCATOR_64 = b"PK\5\6", b"PK\6\7"  # looked for
ENTRY, LOCAL, END_64 = 0x02014B50, 0x04034B50, 0x06064B50
ENTRY_SIZE, LOCAL_SIZE = 46, 30
SEARCHED = 0xFFFF  # bytes at the end of the file
ALL_ONES = 0xFFFFFFFF
CHUNK = 16384  # packed bytes that the library reads at once
PIECE = 1023  # unpacked bytes that the player asks for at once


class Bad(Exception):
    """Why a player cannot read an archive or an entry."""


class Entry:
    """A line of the archive's directory."""

    def __init__(self, fields, name):
        (made, _, self.flags, self.method, _, self.crc, self.packed, self.size, self.name_size,
         self.extra_size, self.comment_size, _, _, self.attributes, self.offset) = fields
        self.system = made >> 8
        self.mode = self.attributes >> 16 if self.system == 3 else 0
        self.name = name
        self.is_folder = name.endswith(b"/")


class Archive:
    """`data` is anything that can be sliced: bytes, or a mapped file."""

    def __init__(self, data):
        self.data = data
        self.read_end()

    def cut(self, at, size):
        if at >= 1 << 63 or at + size > len(self.data):
            raise Bad("it ends too early")
        return self.data[at:at + size]

    def numbers(self, at, sizes):
        """Numbers of so many bytes each. Where the file ends the library goes on with the last byte
        of a number that has begun, and with zeros."""
        if at >= 1 << 63:
            raise Bad("it ends too early")
        found = []
        for size in sizes:
            taken = self.data[at:at + size]
            if len(taken) < size:
                taken = taken + (taken[-1:] or b"\0") * (size - len(taken))
            found.append(int.from_bytes(taken, "little"))
            at += size
        return found

    def last(self, mark):
        """Where the mark stands last, 0 when it stands nowhere."""
        if len(self.data) <= 4:
            return 0
        return max(0, self.data.rfind(mark, max(0, len(self.data) - SEARCHED)))

    def read_end_64(self):
        """The place and the fields of a large archive's end mark, or None."""
        at = self.last(LOCATOR_64)
        _, disk, at, disks = self.numbers(at, (4, 4, 8, 4)) if at else (0, 1, 0, 0)
        if disk != 0 or disks != 1 or at == 0 or at >= 1 << 63:
            return None
        mark, *fields = self.numbers(at, (4, 8, 2, 2, 4, 4, 8, 8, 8, 8))
        return (at, fields[3:]) if mark == END_64 else None

    def read_end(self):
        found = self.read_end_64()
        if not found:
            at = self.last(END)
            if at == 0:
                raise Bad("it is not a zip archive, or it is empty")
            found = at, self.numbers(at + 4, (2, 2, 2, 2, 4, 4))
        at, (disk, directory_disk, here, self.count, size, self.directory) = found
        if disk or directory_disk or here != self.count:
            raise Bad("it is one part of a split archive")
        end = (self.directory + size) & MASK
        if at < end:
            raise Bad("its directory does not fit into it")
        self.before = at - end  # bytes that were put before the archive

    def entries(self):
        at = self.directory
        for _ in range(self.count):
            entry = self.read_entry((at + self.before) & MASK)
            yield entry
            at += ENTRY_SIZE + entry.name_size + entry.extra_size + entry.comment_size

    def read_entry(self, at):
        mark, *fields = self.numbers(at, (4, 2, 2, 2, 2, 4, 4, 4, 4, 2, 2, 2, 2, 2, 4, 4))
        if mark != ENTRY:
            raise Bad("its directory is damaged")
        at += ENTRY_SIZE
        name_size, extra_size = fields[8:10]
        entry = Entry(fields, bytes(self.cut(at, name_size)))
        self.walk_extra(at + name_size, extra_size)
        return entry

    def walk_extra(self, at, size):
        """The library steps through these fields, and not over the contents of the large sizes'."""
        done = 0
        while done < size:
            kind, length = self.numbers(at, (2, 2))
            at += 4 + (0 if kind == 1 else length)
            done += 4 + length

    def data_place(self, entry):
        """Where the packed data begin."""
        at = (entry.offset + self.before) & MASK
        mark, _, flags, method, _, crc, packed, size, name_size, extra_size = self.numbers(
            at, (4, 2, 2, 2, 4, 4, 4, 4, 2, 2))
        if mark != LOCAL:
            raise Bad("its data is not where the directory says")
        if method != entry.method or name_size != entry.name_size:
            raise Bad("its header and the directory do not agree")
        if not flags & 8 and (crc != entry.crc or packed not in (ALL_ONES, entry.packed) or
                              size not in (ALL_ONES, entry.size)):
            raise Bad("its header and the directory do not agree")
        return at + LOCAL_SIZE + name_size + extra_size

    def chunks(self, entry):
        at, left = self.data_place(entry), entry.packed
        while left:
            chunk = self.cut(at, min(left, CHUNK))
            yield chunk
            at += len(chunk)
            left -= len(chunk)

    def pieces(self, entry):
        """The content, unpacked as far as it goes."""
        return self.inflated(entry) if entry.method == DEFLATE else self.stored(entry)

    def check_data(self, entry):
        """Raises Bad unless a player gets the whole content, with the checksum it declares."""
        crc = size = 0
        for piece in self.pieces(entry):
            crc = zlib.crc32(piece, crc)
            size += len(piece)
        if size != entry.size:
            raise Bad(f"{size} bytes; it declares {entry.size}")
        if crc != entry.crc:
            raise Bad("wrong checksum")

    def stored(self, entry):
        left = entry.size
        self.data_place(entry)
        chunks = self.chunks(entry)
        while left:
            chunk = next(chunks, b"")[:left]
            if not chunk:
                return
            yield chunk
            left -= len(chunk)

    def inflated(self, entry):
        """In the same steps as the player: whether damage behind the last byte is seen depends on
        them."""
        left = entry.size
        self.data_place(entry)
        chunks = self.chunks(entry)
        unpacker = zlib.decompressobj(-15)
        waiting = b""
        while left:
            room = min(left, PIECE)
            while room:
                waiting = waiting or next(chunks, b"")
                try:
                    piece = unpacker.decompress(waiting, room)
                except zlib.error:
                    raise Bad("damaged data") from None
                if not piece and not waiting and not unpacker.eof:
                    raise Bad("its data ends too early")
                waiting = unpacker.unconsumed_tail
                room -= len(piece)
                left -= len(piece)
                yield piece
                if unpacker.eof:
                    break
            if unpacker.eof:
                return
