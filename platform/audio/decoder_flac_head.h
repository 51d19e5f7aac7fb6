/* decoder_flac_head: what stands in front of the frames of a FLAC file.
 *
 * The library is shown a head of its own making instead: it would read through pictures, and would
 * believe any length. Reads the heads of at most 1024 blocks, 34 bytes of one of them, and of the
 * comments what audio_tags_comments() takes. One thread a file; the place in the file is left
 * anywhere. */
#pragma once

#include "platform/audio/audio_tags.h"

constexpr size_t flac_info_bytes = 34;
constexpr size_t flac_head_most = 8 + flac_info_bytes;

struct flac_head {
    bool has_info;
    unsigned char info[flac_info_bytes]; /* the first stream info, wherever it stands */
    bool has_comments;
    int64_t comments, comments_size; /* place and bytes of the first comments */
    bool broken;                     /* the blocks end in something that is none, or not at all */
    int64_t frames;                  /* place behind the blocks */
};

/* 0, or -1 when this is no FLAC file: neither the mark nor the first bytes of a frame are there. */
int flac_head_read(flac_head *head, audio_file *file);
audio_tags_found flac_head_tags(const flac_head *head, audio_file *file, audio_tags **out);
/* Writes the mark and one block: the stream info with another length, or nothing.
 *   total  samples, 0 when unknown, -1 for what the file tells
 * Returns the bytes. */
size_t flac_head_make(const flac_head *head, int64_t total, unsigned char to[flac_head_most]);
