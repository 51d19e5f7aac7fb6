/* decoder_ogg_packet: the pages of an Ogg file, as far as tags need them. One thread a file.
 *
 * Looks at the heads of 64 pages for the first one of the stream and of ogg_packet_pages more for its
 * second packet, and reads what is asked for of that packet's content. */
#pragma once

#include "platform/audio/audio_file.h"

/* Pages of 64 KB and more: comments with the largest of pictures take a hundredth of them. */
constexpr int ogg_packet_pages = 4096;

struct ogg_page_head {
    int flags;
    int64_t
        samples; /* of the stream up to the end of the last packet that ends here; -1: none does */
    uint32_t serial;
    int segments;
    int64_t size; /* head and body */
    unsigned char lengths[255];
};

/* 0, or -1 when no page begins there. */
int ogg_page_head_read(audio_file *file, int64_t at, ogg_page_head *head);

/* The second packet of a stream while it is read, page by page. */
struct ogg_packet_reader {
    audio_file *file;
    uint32_t serial;
    int64_t page_end;           /* place behind the page at hand */
    unsigned char lengths[255]; /* of the segments of the page at hand */
    int segment, segments;      /* at hand, of all */
    uint32_t left;              /* bytes of the segment that are still to come */
    bool ended;                 /* the packet is */
    int pages;                  /* looked at so far */
};

/* Place of the page that begins a Vorbis stream with at least one channel; -1 when none does. */
int64_t ogg_find_vorbis(audio_file *file);
/* Goes to the content of the comment packet of the stream that begins there. 0 or -1. */
int ogg_packet_second(ogg_packet_reader *reader, audio_file *file, int64_t at);
/* Fits audio_tags_next; `user` is the reader. */
size_t ogg_packet_next(void *user, void *to, size_t size);
