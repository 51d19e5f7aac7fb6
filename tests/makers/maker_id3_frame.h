/* maker_id3_frame: ID3v2 blocks built frame by frame, in the ways that real and hostile files have.
 *
 * Any thread. */
#pragma once

#include <cstdint>
#include <string>

struct maker_id3_frame_options {
    int version = 24;            /* 22, 23, 24; the options below need 23 or 24 */
    bool compressed = false;     /* zlib, with the opened size in front */
    int group = -1;              /* 0..255: the byte of a group; -1: none */
    bool encrypted = false;      /* only the flag and its byte */
    bool unsynchronised = false; /* 24: a zero byte behind each 255 */
    bool told_size = false;      /* 24: the size without compression and zero bytes in front */
    int64_t claimed = -1;        /* the opened size as told; -1: the true one */
};

/* One frame. */
std::string maker_id3_frame(const std::string &id, const std::string &content,
                            const maker_id3_frame_options &options = {});
/* The block around frames.
 *   flags  of the head: 0x80 unsynchronised, 0x40 extended header; what they mean is in `frames` */
std::string maker_id3_block(const std::string &frames, int version = 24, int flags = 0);
/* A zero byte behind each 255 that a decoder of sound could mistake. */
std::string maker_id3_unsynchronise(const std::string &bytes);
/* As zlib packs them. */
std::string maker_deflated(const std::string &bytes);
