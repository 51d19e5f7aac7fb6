/* decoder_mp3_mpg123: frames through libmpg123, which sees nothing of the file but them. */
#include "platform/audio/audio_mix.h"
#include "platform/audio/decoder_mp3_engine.h"
#include "platform/sound/sound.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mpg123.h>

constexpr uint32_t buffer_bytes = 8192;

struct mp3_engine {
    audio_file *file;
    mpg123_handle *mpg;
    uint32_t rate; /* of the output at hand */
    alignas(int16_t) unsigned char buffer[buffer_bytes];
};

static ssize_t on_read(void *user, void *to, size_t size)
{
    return static_cast<ssize_t>(audio_file_read(static_cast<audio_file *>(user), to, size));
}

static off_t on_seek(void *user, off_t offset, int whence)
{
    return static_cast<off_t>(audio_file_seek(static_cast<audio_file *>(user), offset, whence));
}

void mp3_engine_know(mp3_engine *engine, const mp3_index *index)
{
    static_assert(sizeof(off_t) == sizeof *index->places);
    if (index->count)
        (void)mpg123_set_index(engine->mpg, index->places, static_cast<off_t>(index->step),
                               index->count); /* without it a seek only takes longer */
}

static int take_format(mp3_engine *engine)
{
    long rate;
    int channels, encoding;
    if (mpg123_getformat(engine->mpg, &rate, &channels, &encoding) != MPG123_OK || channels != 2 ||
        encoding != MPG123_ENC_SIGNED_16 || rate < static_cast<long>(audio_min_rate))
        return -1;
    engine->rate = static_cast<uint32_t>(rate);
    return 0;
}

int mp3_engine_read(mp3_engine *engine, audio_block *block, int16_t *direct, uint32_t frames)
{
    unsigned char *to = engine->buffer;
    size_t room = buffer_bytes;
    if (direct && engine->rate == sound_rate) {
        to = reinterpret_cast<unsigned char *>(direct);
        room = std::min<size_t>(frames * sound_frame_bytes, buffer_bytes);
    }
    size_t done = 0;
    const uint32_t rate = engine->rate;
    const int result = mpg123_read(engine->mpg, to, room, &done);
    if (result == MPG123_NEW_FORMAT && take_format(engine))
        return -1;
    if (done > 0 || result == MPG123_NEW_FORMAT || result == MPG123_OK) {
        block->samples = to;
        block->layout = audio_layouts_vorbis[2];
        block->rate = rate;
        block->frames = static_cast<uint32_t>(done / sound_frame_bytes);
        return 1;
    }
    if (audio_file_failed(engine->file))
        return -1;
    /* Nothing but rubbish follows: that is an end. */
    const int why = result == MPG123_ERR ? mpg123_errcode(engine->mpg) : MPG123_OK;
    return why == MPG123_OK || why == MPG123_RESYNC_FAIL || why == MPG123_OUT_OF_SYNC ? 0 : -1;
}

int mp3_engine_seek(mp3_engine *engine, int64_t sample)
{
    const auto place = static_cast<off_t>(sample);
    return mpg123_seek(engine->mpg, place, SEEK_SET) == place ? 0 : -1;
}

uint32_t mp3_engine_rate(const mp3_engine *engine)
{
    return engine->rate;
}

int64_t mp3_engine_told(const mp3_engine *engine)
{
    return std::max<int64_t>(mpg123_length(engine->mpg), 0);
}

void mp3_engine_free(mp3_engine *engine)
{
    if (!engine)
        return;
    mpg123_delete(engine->mpg);
    free(engine);
}

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

static int start_decoder(mp3_engine *engine, const mp3_layout *layout)
{
    engine->mpg = mpg123_new(nullptr, nullptr);
    if (!engine->mpg)
        return -1;
    const long flags = MPG123_QUIET | MPG123_SKIP_ID3V2 | MPG123_GAPLESS;
    if (mpg123_param(engine->mpg, MPG123_ADD_FLAGS, flags, 0) != MPG123_OK ||
        mpg123_param(engine->mpg, MPG123_REMOVE_FLAGS, MPG123_AUTO_RESAMPLE, 0) != MPG123_OK ||
        mpg123_param(engine->mpg, MPG123_PREFRAMES, mp3_frames_before_seek, 0) != MPG123_OK ||
        mpg123_param(engine->mpg, MPG123_RESYNC_LIMIT, mp3_resync_bytes, 0) != MPG123_OK ||
        set_formats(engine->mpg))
        return -1;
    audio_file_window(engine->file, layout->first, layout->end);
    if (mpg123_replace_reader_handle(engine->mpg, on_read, on_seek, nullptr) != MPG123_OK ||
        mpg123_open_handle(engine->mpg, engine->file) != MPG123_OK)
        return -1;
    return take_format(engine);
}

mp3_engine *mp3_engine_new(audio_file *file, const mp3_layout *layout)
{
    mp3_engine *engine = static_cast<mp3_engine *>(calloc(1, sizeof *engine));
    if (!engine)
        return nullptr;
    engine->file = file;
    if (start_decoder(engine, layout)) {
        mp3_engine_free(engine);
        return nullptr;
    }
    return engine;
}
