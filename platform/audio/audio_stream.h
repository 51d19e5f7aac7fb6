/* audio_stream: makes 16-bit stereo at sound_rate of what the decoder of a format delivers.
 *
 * One thread at a time. */
#pragma once

#include "platform/audio/audio.h"

constexpr uint32_t audio_min_rate = 1000; /* Hz; below it only broken files live */
constexpr uint32_t audio_max_rate = 384000;

/* A piece of decoded sound, valid until the next call on its source. */
struct audio_block {
    const void *samples; /* interleaved: int16_t, or int32_t that uses all its bits */
    bool wide;           /* int32_t */
    const char *layout;  /* a letter a channel: audio_mix.h; static */
    uint32_t rate;       /* Hz */
    uint32_t frames;
};

/* What a format brings. */
struct audio_source {
    /* Decodes the next piece.
     *   direct  room for `frames` frames of 16-bit stereo, may be null: a source that has exactly
     *           that at sound_rate may decode there and name it as the block's samples
     * Returns 1, 0 at the end, -1 on an error that ends the stream. Empty blocks are allowed. */
    int (*read)(void *state, audio_block *block, int16_t *direct, uint32_t frames);
    /* To a sample of the stream, inside its length where that is known. 0 or -1. */
    int (*seek)(void *state, int64_t sample);
    void (*close)(void *state);
    /* For a length that becomes better known while the stream plays. */
    int64_t (*length)(void *state) = nullptr;
};

/* Makes a stream of a source and tags (may be null), both of which it takes over, also when it
 * fails. Null when memory runs out or the rate is no rate of music. */
audio_stream *audio_stream_new(const audio_source *source, void *state, uint32_t rate,
                               int64_t length, audio_tags *tags);
int audio_stream_close(audio_stream *stream);
int32_t audio_stream_read(audio_stream *stream, void *to, uint32_t bytes);
int64_t audio_stream_tell(audio_stream *stream);
int audio_stream_seek(audio_stream *stream, int64_t sample);
