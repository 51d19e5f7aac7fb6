/* decoder_mp3: MP3 through libmpg123, which sees nothing of the file but its frames. */
#include "platform/audio/audio_file.h"
#include "platform/audio/audio_mix.h"
#include "platform/audio/audio_stream.h"
#include "platform/audio/audio_tags.h"
#include "platform/audio/decoder.h"
#include "platform/audio/decoder_mp3_frames.h"
#include "platform/base/clock.h"
#include "platform/sound/sound.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <mpg123.h>

constexpr uint32_t buffer_bytes = 8192;
/* Frames decoded before the place of a seek: low bit rates spread the bits of one frame over nine
 * others, and the filter bank looks back one more. */
constexpr long frames_before_seek = 12;
/* Rubbish between two frames that is skipped; more of it is the end. */
constexpr long resync_bytes = 256 << 10;
/* Opening a file without a length header looks through it for so long; the rest follows while it
 * plays, a piece at each read. */
constexpr int64_t open_bytes = 4 << 20;
constexpr int64_t open_ms = 40;
constexpr int64_t read_bytes = 256 << 10;
constexpr uint32_t decoder_delay = 529; /* samples that decoding itself puts in front */

struct mp3_state {
    audio_file *file;
    mpg123_handle *mpg;
    mp3_layout layout;
    mp3_index index;
    uint32_t rate;  /* of the output at hand */
    int64_t told;   /* length by the header, 0 without one */
    bool trusted;   /* what was told fits the file */
    int64_t length; /* samples; an estimate while the index is incomplete and nothing is trusted */
    alignas(int16_t) unsigned char buffer[buffer_bytes];
};

static mp3_state *state_of(void *user)
{
    return static_cast<mp3_state *>(user);
}

static ssize_t on_read(void *user, void *to, size_t size)
{
    return static_cast<ssize_t>(audio_file_read(static_cast<audio_file *>(user), to, size));
}

static off_t on_seek(void *user, off_t offset, int whence)
{
    return static_cast<off_t>(audio_file_seek(static_cast<audio_file *>(user), offset, whence));
}

/* The whole length when the index is complete, else an estimate that never lies behind it. */
static int64_t indexed_length(const mp3_state *state)
{
    const mp3_layout *layout = &state->layout;
    const mp3_index *index = &state->index;
    const int64_t trimmed = layout->has_info && layout->delay ? layout->delay + decoder_delay : 0;
    int64_t frames = index->frames;
    if (!index->complete && index->at > layout->first)
        frames += static_cast<int64_t>(static_cast<double>(layout->end - index->at) *
                                       static_cast<double>(index->frames) /
                                       static_cast<double>(index->at - layout->first));
    /* Frames behind those that the header counts were attached later, and play after its end. */
    if (layout->info_frames && frames >= static_cast<int64_t>(layout->info_frames))
        return state->told + (frames - layout->info_frames) * layout->header.samples;
    return std::max<int64_t>(frames * layout->header.samples - trimmed, 0);
}

static void use_index(mp3_state *state)
{
    static_assert(sizeof(off_t) == sizeof *state->index.places);
    if (state->index.count)
        (void)mpg123_set_index(state->mpg, state->index.places,
                               static_cast<off_t>(state->index.step),
                               state->index.count); /* without it a seek only takes longer */
}

/* Goes on looking for the length of a file that does not tell it. */
static void look_further(mp3_state *state)
{
    if (state->trusted || state->index.complete)
        return;
    mp3_index_extend(&state->index, state->file, &state->layout, INT64_MAX, read_bytes);
    state->length = indexed_length(state);
    if (state->index.complete)
        use_index(state);
}

static int take_format(mp3_state *state)
{
    long rate;
    int channels, encoding;
    if (mpg123_getformat(state->mpg, &rate, &channels, &encoding) != MPG123_OK || channels != 2 ||
        encoding != MPG123_ENC_SIGNED_16 || rate < static_cast<long>(audio_min_rate))
        return -1;
    state->rate = static_cast<uint32_t>(rate);
    return 0;
}

static int mp3_read(void *user, audio_block *block, int16_t *direct, uint32_t frames)
{
    mp3_state *state = state_of(user);
    look_further(state);
    unsigned char *to = state->buffer;
    size_t room = buffer_bytes;
    if (direct && state->rate == sound_rate) {
        to = reinterpret_cast<unsigned char *>(direct);
        room = std::min<size_t>(frames * sound_frame_bytes, buffer_bytes);
    }
    size_t done = 0;
    const uint32_t rate = state->rate;
    const int result = mpg123_read(state->mpg, to, room, &done);
    if (result == MPG123_NEW_FORMAT && take_format(state))
        return -1;
    if (done > 0 || result == MPG123_NEW_FORMAT || result == MPG123_OK) {
        block->samples = to;
        block->layout = audio_layouts_vorbis[2];
        block->rate = rate;
        block->frames = static_cast<uint32_t>(done / sound_frame_bytes);
        return 1;
    }
    if (audio_file_failed(state->file))
        return -1;
    /* Nothing but rubbish follows: that is an end. */
    const int why = result == MPG123_ERR ? mpg123_errcode(state->mpg) : MPG123_OK;
    return why == MPG123_OK || why == MPG123_RESYNC_FAIL || why == MPG123_OUT_OF_SYNC ? 0 : -1;
}

static int mp3_seek(void *user, int64_t sample)
{
    mp3_state *state = state_of(user);
    const uint32_t frame_samples = state->layout.header.samples;
    const int64_t frame = (sample + state->layout.delay + decoder_delay) / frame_samples;
    if (!state->index.complete) {
        mp3_index_extend(&state->index, state->file, &state->layout, frame, INT64_MAX / 2);
        if (!state->trusted)
            state->length = indexed_length(state);
        use_index(state);
    }
    return mpg123_seek(state->mpg, static_cast<off_t>(sample), SEEK_SET) ==
                   static_cast<off_t>(sample)
               ? 0
               : -1;
}

static int64_t mp3_length(void *user)
{
    return state_of(user)->length;
}

static void mp3_close(void *user)
{
    mp3_state *state = state_of(user);
    mpg123_delete(state->mpg);
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

/* 16-bit stereo at whatever rate the file has. */
static int set_formats(mpg123_handle *mpg)
{
    const long *rates;
    size_t count;
    if (mpg123_format_none(mpg) != MPG123_OK)
        return -1;
    mpg123_rates(&rates, &count);
    for (size_t i = 0; i < count; i++)
        if (mpg123_format(mpg, rates[i], MPG123_STEREO, MPG123_ENC_SIGNED_16) != MPG123_OK)
            return -1;
    return 0;
}

static int start_decoder(mp3_state *state)
{
    state->mpg = mpg123_new(nullptr, nullptr);
    if (!state->mpg)
        return -1;
    const long flags = MPG123_QUIET | MPG123_SKIP_ID3V2 | MPG123_GAPLESS;
    if (mpg123_param(state->mpg, MPG123_ADD_FLAGS, flags, 0) != MPG123_OK ||
        mpg123_param(state->mpg, MPG123_REMOVE_FLAGS, MPG123_AUTO_RESAMPLE, 0) != MPG123_OK ||
        mpg123_param(state->mpg, MPG123_PREFRAMES, frames_before_seek, 0) != MPG123_OK ||
        mpg123_param(state->mpg, MPG123_RESYNC_LIMIT, resync_bytes, 0) != MPG123_OK ||
        set_formats(state->mpg))
        return -1;
    audio_file_window(state->file, state->layout.first, state->layout.end);
    if (mpg123_replace_reader_handle(state->mpg, on_read, on_seek, nullptr) != MPG123_OK ||
        mpg123_open_handle(state->mpg, state->file) != MPG123_OK)
        return -1;
    return take_format(state);
}

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
        state->told = std::max<int64_t>(mpg123_length(state->mpg), 0);
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
    use_index(state);
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
    if (start_decoder(state)) {
        audio_tags_free(tags);
        mp3_close(state);
        return nullptr;
    }
    find_length(state);
    return audio_stream_new(&mp3_source, state, state->rate, state->length, tags);
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
