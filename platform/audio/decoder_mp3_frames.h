/* decoder_mp3_frames: where the frames of an MP3 file are. One thread a file. */
#pragma once

#include "platform/audio/audio_file.h"

struct mp3_header {
    uint32_t word;
    int layer;          /* 1..3 */
    bool lower_rates;   /* half or quarter of the first standard's rates */
    uint32_t rate;      /* Hz */
    uint32_t samples;   /* of a frame, per channel */
    uint32_t bytes;     /* of the frame; of a free-format one only its padding */
    bool free_format;   /* the size shows only in the distance of two frames */
    uint32_t side_info; /* bytes between the header and an info block */
};

/* What a file is made of: tags, frames, tags. */
struct mp3_layout {
    int64_t first;        /* place of the first frame, an info frame included */
    int64_t end;          /* place behind the last one, tags left out */
    mp3_header header;    /* of the first frame */
    uint32_t free_bytes;  /* size of a free-format frame without padding */
    bool has_info;        /* the first frame holds no sound but says: */
    uint32_t info_frames; /* sound frames, 0 when it does not tell */
    uint32_t info_bytes;  /* size of everything from that frame on, 0 when it does not tell */
    uint32_t delay;       /* samples that the encoder put in front, 0 when it does not tell */
    uint32_t padding;     /* and behind */
};

/* -1 when these four bytes begin no frame. */
int mp3_header_read(mp3_header *header, const unsigned char bytes[4]);
/* Size of the frame of this stream that these four bytes begin, 0 when they begin none. */
uint32_t mp3_frame_bytes(const mp3_layout *layout, mp3_header *header,
                         const unsigned char bytes[4]);
/* Reads 256 KiB behind the tags in front at most, and the last blocks of the file. -1 when no run of
 * frames begins there: a few patterns that look like some are not enough. */
int mp3_find_frames(audio_file *file, mp3_layout *layout);

/* Places of every `step`th sound frame, grown while the file is walked through. */
struct mp3_index {
    int64_t *places; /* counted from the first frame of the layout */
    uint32_t count, room;
    uint32_t step;
    int64_t frames; /* sound frames walked over */
    int64_t at;     /* place in the file where the walk goes on */
    bool complete;
};

void mp3_index_begin(mp3_index *index, const mp3_layout *layout);
void mp3_index_end(mp3_index *index);
/* Walks on until the index has that frame, or for about that many bytes, or to the end. */
void mp3_index_extend(mp3_index *index, audio_file *file, const mp3_layout *layout,
                      int64_t until_frame, int64_t bytes);
