"""FLAC files, written without any encoder: a quiet tone, and next to nothing for hours."""

import functools
import hashlib
import math
import struct

RATE = 44100
BLOCK = 4096


def crc(data, width, polynomial):
    value, top, mask = 0, 1 << (width - 1), (1 << width) - 1
    for byte in data:
        value ^= byte << (width - 8)
        for _ in range(8):
            value = ((value << 1) ^ polynomial if value & top else value << 1) & mask
    return value


def frame(number, samples):
    assert number < 128  # one byte in the frame's number
    # Fixed block size, which stands in 16 bits at the end; 44.1 kHz; mono; 16 bits.
    head = bytes([0xFF, 0xF8, 0x79, 0x08, number]) + struct.pack(">H", len(samples) - 1)
    head += bytes([crc(head, 8, 0x07)])
    body = head + b"\x02" + struct.pack(f">{len(samples)}h", *samples)
    return body + struct.pack(">H", crc(body, 16, 0x8005))


def make_tone(seconds):
    return [int(2000 * math.sin(2 * math.pi * 441 * i / RATE)) for i in range(int(seconds * RATE))]


@functools.cache
def make_flac(seconds):
    """The bytes of a file; seconds below 11."""
    tone = make_tone(seconds)
    count = len(tone)
    digest = hashlib.md5(struct.pack(f"<{count}h", *tone)).digest()
    size = struct.pack(">HH", BLOCK, BLOCK) + b"\0" * 6
    rate = (RATE << 44 | 0 << 41 | 15 << 36 | count).to_bytes(8, "big")
    info = size + rate + digest
    frames = [frame(i // BLOCK, tone[i:i + BLOCK]) for i in range(0, count, BLOCK)]
    return b"fLaC" + b"\x80" + len(info).to_bytes(3, "big") + info + b"".join(frames)


def crc16_after(state, count):
    """What becomes of a checksum over so many zeroes."""
    for _ in range(count * 8):
        state = ((state << 1) ^ 0x8005 if state & 0x8000 else state << 1) & 0xFFFF
    return state


def make_long_tone(seconds):
    """The bytes of make_tone() as a file of any length up to 100 minutes; quick, because all frames but their
    numbers are the same: a checksum of two parts is that of either with zeroes for the other, combined."""
    block = 4400  # whole periods
    count = seconds * RATE // block
    body = b"\x02" + struct.pack(f">{block}h", *make_tone(block / RATE))
    of_body = crc(body, 16, 0x8005)
    carried = [crc16_after(1 << bit, len(body)) for bit in range(16)]
    frames = []
    for number in range(count):
        head = bytes([0xFF, 0xF8, 0x79, 0x08]) + coded(number) + struct.pack(">H", block - 1)
        head += bytes([crc(head, 8, 0x07)])
        state = crc(head, 16, 0x8005)
        check = of_body
        for bit in range(16):
            if state >> bit & 1:
                check ^= carried[bit]
        frames.append(head + body + struct.pack(">H", check))
    size = struct.pack(">HH", block, block) + b"\0" * 6
    info = size + (RATE << 44 | 0 << 41 | 15 << 36 | count * block).to_bytes(8, "big") + bytes(16)
    return b"fLaC" + b"\x80" + len(info).to_bytes(3, "big") + info + b"".join(frames)


def coded(number):
    """A frame's number, as its head holds it."""
    if number < 0x80:
        return bytes([number])
    if number < 0x800:
        return bytes([0xC0 | number >> 6, 0x80 | number & 0x3F])
    assert number < 0x10000
    return bytes([0xE0 | number >> 12, 0x80 | number >> 6 & 0x3F, 0x80 | number & 0x3F])


def still_frame(number, count, level):
    """One sample of each channel, which all others repeat: little work for whoever plays it."""
    head = b"\xFF\xF8\x79\x18" + coded(number) + struct.pack(">H", count - 1)
    head += bytes([crc(head, 8, 0x07)])
    body = head + b"".join(b"\0" + struct.pack(">h", each) for each in (level, -level))
    return body + struct.pack(">H", crc(body, 16, 0x8005))


def make_still(seconds, level=1):
    """The bytes of a stereo file that never moves; seconds below 6000."""
    count = int(seconds * RATE)
    info = (struct.pack(">HH", BLOCK, BLOCK) + bytes(6)
            + (RATE << 44 | 1 << 41 | 15 << 36 | count).to_bytes(8, "big") + bytes(16))
    frames = [still_frame(i // BLOCK, min(BLOCK, count - i), level) for i in range(0, count, BLOCK)]
    return b"fLaC\x80" + len(info).to_bytes(3, "big") + info + b"".join(frames)
