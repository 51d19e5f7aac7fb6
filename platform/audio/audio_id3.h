/* audio_id3: the ID3v2 block in front of a file, frame by frame.
 *
 * Nothing that a file claims is believed: content is opened here, up to what the caller allows, so
 * that no library is handed a frame whose opened size is not known. A walk looks at 4096 frames at
 * most, reading their heads and passing over their content; of a block whose zero bytes have to be
 * taken out it reads 16 MiB at most. One thread a file; the place in the file is left anywhere. */
#pragma once

#include "platform/audio/audio_file.h"

/* A block while it is walked through. */
struct audio_id3 {
    audio_file *file;
    int version;                /* 2, 3 or 4 */
    bool unsynchronised;        /* a zero byte was put behind each 255, in the whole block */
    bool frames_unsynchronised; /* the same inside each frame */
    bool after_255;
    int64_t left;       /* bytes of the block that are still to come, cut to the file */
    int64_t frame_left; /* of those, bytes of the frame at hand */
    int frames;         /* looked at so far */
    bool no_memory;     /* some content could not be had for want of it */
};

struct audio_id3_frame {
    char id[5];    /* three or four letters; a writer of old names in a new block ends them early */
    uint32_t size; /* bytes of the content as it is stored */
    unsigned flags;
};

/* Content of a frame: nothing packed, no zero bytes, no group. Ended by free(). */
struct audio_id3_content {
    unsigned char *bytes;
    size_t size;
};

/* Whether a block begins at the front of the file, readable or not. */
bool audio_id3_is_there(audio_file *file);
/* Bytes of the blocks in front of the file, as they claim, cut to the file. */
int64_t audio_id3_size(audio_file *file);
/* Goes to the first block that can be read. 0, or -1 when there is none. */
int audio_id3_open(audio_id3 *block, audio_file *file);
/* Goes to the next frame. false at the end of the frames. */
bool audio_id3_next(audio_id3 *block, audio_id3_frame *frame);
/* Takes the content of the frame at hand.
 *   limit  bytes, stored and opened
 * 0, or -1 when it is larger, encrypted or broken, or memory runs out, which the block tells. */
int audio_id3_take(audio_id3 *block, const audio_id3_frame *frame, size_t limit,
                   audio_id3_content *content);
