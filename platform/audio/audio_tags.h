/* audio_tags: the five texts that a file says about itself.
 *
 * The blocks are found here, and only what is wanted of them is read: a block may claim any size
 * and hold pictures of any size. What the texts mean is the tag library's knowledge. One file per
 * thread at a time; the place in the file is left anywhere. */
#pragma once

#include "platform/audio/audio.h"
#include "platform/audio/audio_file.h"

/* Null when memory runs out. Ended by audio_tags_free(). */
audio_tags *audio_tags_new(const char *const texts[5]);
/* Those of a file without any. Null when memory runs out. */
audio_tags *audio_tags_empty();
/* Accepts null. */
void audio_tags_free(audio_tags *tags);
/* Takes the tags over, which may be null for a block that cannot be read. Null when memory runs
 * out. */
audio_info *audio_info_new(audio_tags *tags);
int audio_info_free(audio_info *info);

enum audio_tags_found {
    audio_tags_none,     /* there is no block */
    audio_tags_read,     /* there is one, and it was read */
    audio_tags_broken,   /* there is one that cannot be read */
    audio_tags_no_memory /* memory ran out */
};

/* ID3v2 in front of the file and ID3v1 behind it. `out` is null unless the result is "read". */
audio_tags_found audio_tags_id3(audio_file *file, audio_tags **out);

/* Delivers the next bytes of a comment block; a null `to` skips. Returns the bytes, 0 at the
 * end. */
typedef size_t (*audio_tags_next)(void *user, void *to, size_t size);
/* Reads a block of comments as Vorbis and FLAC have it. Broken when it breaks off before its
 * texts; `out` is null unless the result is "read". */
audio_tags_found audio_tags_comments(audio_tags_next next, void *user, audio_tags **out);
