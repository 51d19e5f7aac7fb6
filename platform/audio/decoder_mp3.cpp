/* decoder_mp3: MP3 files: their lengths, their tags, and the engine that decodes their frames. */
#include "platform/audio/audio_file.h"
#include "platform/audio/audio_stream.h"
#include "platform/audio/audio_tags.h"
#include "platform/audio/decoder.h"
#include "platform/audio/decoder_mp3_engine.h"
#include "platform/audio/decoder_mp3_frames.h"
#include "platform/base/clock.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

/* Opening a file without a length header looks through it for so long; the rest follows while it
 * plays, a piece at each read. */
constexpr int64_t open_bytes = 4 << 20;
constexpr int64_t open_ms = 40;
constexpr int64_t read_bytes = 256 << 10;

struct mp3_state {
    audio_file *file;
    mp3_engine *engine;
    mp3_layout layout;
    mp3_index index;
    int64_t told;   /* length by the header, 0 without one */
    bool trusted;   /* what was told fits the file */
    int64_t length; /* samples; an estimate while the index is incomplete and nothing is trusted */
};

static mp3_state *state_of(void *user)
{
    return static_cast<mp3_state *>(user);
}

/* value * of / to, all positive, near enough for an estimate. */
static int64_t proportion(int64_t value, int64_t of, int64_t to)
{
    while (to > INT64_MAX / std::max<int64_t>(of, 1)) {
        value /= 2;
        to /= 2;
    }
    return value / to * of + value % to * of / to;
}

/* The whole length when the index is complete, else an estimate that never lies behind it. */
static int64_t indexed_length(const mp3_state *state)
{
    const mp3_layout *layout = &state->layout;
    const mp3_index *index = &state->index;
    const int64_t trimmed =
        layout->has_info && layout->delay ? layout->delay + mp3_decoder_delay : 0;
    int64_t frames = index->frames;
    if (!index->complete && index->at > layout->first)
        frames += proportion(layout->end - index->at, index->frames, index->at - layout->first);
    /* Frames behind those that the header counts were attached later, and play after its end. */
    if (layout->info_frames && frames >= static_cast<int64_t>(layout->info_frames))
        return state->told + (frames - layout->info_frames) * layout->header.samples;
    return std::max<int64_t>(frames * layout->header.samples - trimmed, 0);
}

/* Goes on looking for the length of a file that does not tell it. */
static void look_further(mp3_state *state)
{
    if (state->trusted || state->index.complete)
        return;
    mp3_index_extend(&state->index, state->file, &state->layout, INT64_MAX, read_bytes);
    state->length = indexed_length(state);
    if (state->index.complete)
        mp3_engine_know(state->engine, &state->index);
}

static int mp3_read(void *user, audio_block *block, int16_t *direct, uint32_t frames)
{
    mp3_state *state = state_of(user);
    look_further(state);
    return mp3_engine_read(state->engine, block, direct, frames);
}

static int mp3_seek(void *user, int64_t sample)
{
    mp3_state *state = state_of(user);
    const uint32_t frame_samples = state->layout.header.samples;
    const int64_t frame = (sample + state->layout.delay + mp3_decoder_delay) / frame_samples;
    if (!state->index.complete) {
        mp3_index_extend(&state->index, state->file, &state->layout, frame, INT64_MAX / 2);
        if (!state->trusted)
            state->length = indexed_length(state);
        mp3_engine_know(state->engine, &state->index);
    }
    return mp3_engine_seek(state->engine, sample);
}

static int64_t mp3_length(void *user)
{
    return state_of(user)->length;
}

static void mp3_close(void *user)
{
    mp3_state *state = state_of(user);
    mp3_engine_free(state->engine);
    mp3_index_end(&state->index);
    audio_file_close(state->file);
    free(state);
}

static constexpr audio_source mp3_source = {
    .read = mp3_read,
    .seek = mp3_seek,
    .close = mp3_close,
    .length = mp3_length,
};

/* Five nulls when there is no block that can be read. Null when memory runs out. */
static audio_tags *read_tags(audio_file *file)
{
    audio_tags *tags;
    const audio_tags_found found = audio_tags_id3(file, &tags);
    return found == audio_tags_none || found == audio_tags_broken ? audio_tags_empty() : tags;
}

/* Whether the header's numbers fit the file: one that was cut, or had another attached, keeps the
 * header it was made with. */
static bool header_fits(const mp3_layout *layout)
{
    const int64_t bytes = layout->end - layout->first;
    if (!layout->info_frames || !layout->info_bytes)
        return false;
    /* Some encoders do not count the header itself. */
    return llabs(bytes - static_cast<int64_t>(layout->info_bytes)) <=
               static_cast<int64_t>(layout->header.bytes) &&
           static_cast<int64_t>(layout->info_frames) <= bytes / 24;
}

static void find_length(mp3_state *state)
{
    mp3_index_begin(&state->index, &state->layout);
    if (state->layout.info_frames)
        state->told = mp3_engine_told(state->engine);
    state->trusted = state->told > 0 && header_fits(&state->layout);
    state->length = state->told;
    if (state->trusted)
        return;
    /* Not the player's clock: that one stands still between two passes of a scripted device. */
    const int64_t until = clock_real_msec() + open_ms;
    do {
        mp3_index_extend(&state->index, state->file, &state->layout, INT64_MAX, open_bytes);
    } while (!state->index.complete && clock_real_msec() < until);
    state->length = indexed_length(state);
    mp3_engine_know(state->engine, &state->index);
}

static audio_stream *mp3_open(const char *path)
{
    audio_file *file = audio_file_open(path, audio_file_play);
    mp3_state *state = file ? static_cast<mp3_state *>(calloc(1, sizeof *state)) : nullptr;
    if (!state) {
        audio_file_close(file);
        return nullptr;
    }
    state->file = file;
    if (mp3_find_frames(file, &state->layout)) {
        mp3_close(state);
        return nullptr;
    }
    audio_tags *tags = read_tags(file);
    state->engine = mp3_engine_new(file, &state->layout);
    if (!state->engine) {
        audio_tags_free(tags);
        mp3_close(state);
        return nullptr;
    }
    find_length(state);
    return audio_stream_new(&mp3_source, state, mp3_engine_rate(state->engine), state->length,
                            tags);
}

/* A file with tags of this kind is one of ours; looking for its sound would cost as much again as
 * reading them. One whose tags cannot be read still belongs to the others when it plays. */
static audio_info *info_of(audio_file *file)
{
    audio_tags *tags;
    mp3_layout layout;
    const audio_tags_found found = audio_tags_id3(file, &tags);
    if (found == audio_tags_no_memory)
        return nullptr;
    if (found != audio_tags_read && mp3_find_frames(file, &layout) == 0) {
        tags = audio_tags_empty();
        return tags ? audio_info_new(tags) : nullptr;
    }
    return found == audio_tags_none ? nullptr : audio_info_new(tags);
}

static audio_info *mp3_read_info(const char *path)
{
    audio_file *file = audio_file_open(path, audio_file_look);
    audio_info *info = file ? info_of(file) : nullptr;
    audio_file_close(file);
    return info;
}

constinit const audio_decoder decoder_mp3 = {
    .name = "mp3",
    .open = mp3_open,
    .close = audio_stream_close,
    .read = audio_stream_read,
    .tell = audio_stream_tell,
    .seek = audio_stream_seek,
    .read_info = mp3_read_info,
    .release_info = audio_info_free,
};
