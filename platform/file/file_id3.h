/* file_id3: the head of an ID3v2 tag, which says how far the tag reaches. Any thread. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t file_id3_head_bytes = 10;

enum { file_id3_unsynchronised = 0x80, file_id3_extended = 0x40, file_id3_footer = 0x10 };

struct file_id3_head {
    int version; /* 2, 3, 4, or whatever stands there */
    unsigned flags;
    int64_t size;   /* bytes behind the head, without the ten of a footer */
    bool is_broken; /* a byte of the size is above 127; its top bit is not counted */
};

/* Reads a head. false, and nothing is written, when no tag begins with these bytes. */
bool file_id3_read(const uint8_t (&bytes)[file_id3_head_bytes], file_id3_head *head);
