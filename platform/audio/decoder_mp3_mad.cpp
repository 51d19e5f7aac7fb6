/* decoder_mp3_mad: frames through libmad, which counts in integers. It is given one frame at a time:
 * where they are, which of their samples are heard, and how a seek gets there is decided here. */
#include "platform/audio/audio_mix.h"
#include "platform/audio/decoder_mp3_engine.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mad.h>

constexpr uint32_t frame_limit = 8192 + 8; /* the largest of the free format, padded */
constexpr uint32_t samples_limit = 1152;   /* of a frame, per channel */
constexpr int output_bits = 16;

/* The frame that comes next. */
struct next_frame {
    bool found;
    int64_t at;      /* counted from the first one of the layout */
    uint32_t length; /* bytes */
    mp3_header header;
    unsigned char start[MAD_BUFFER_GUARD]; /* of it; zeros behind the end of the file */
};

struct mp3_engine {
    audio_file *file;
    const mp3_layout *layout;
    const mp3_index *index; /* null until it is known */
    int64_t begin;          /* samples that encoder and decoder put in front */
    int64_t end, all; /* samples up to the padding and with it; `all` is 0 where nobody tells */
    next_frame next;
    int64_t frame;  /* number of that one */
    int64_t wanted; /* sample of the file, all counted, before which nothing is heard */
    mad_stream stream;
    mad_frame decoded;
    mad_synth synth;
    unsigned char bytes[frame_limit + MAD_BUFFER_GUARD];
    int16_t samples[2 * samples_limit];
};

/* Finds the next frame of the stream at or behind a place. */
static void find_next(mp3_engine *engine, int64_t at)
{
    next_frame *next = &engine->next;
    const int64_t size = engine->layout->end - engine->layout->first;
    for (const int64_t last = at + mp3_resync_bytes; at <= last; at++) {
        next->start[0] = 0;
        const int64_t n = audio_file_seek(engine->file, at, SEEK_SET) < 0
                              ? 0
                              : audio_file_read(engine->file, next->start, sizeof next->start);
        if (n < 4)
            break;
        memset(next->start + n, 0, sizeof next->start - static_cast<size_t>(n));
        next->at = at;
        next->length = next->start[0] == 0xFF
                           ? mp3_frame_bytes(engine->layout, &next->header, next->start)
                           : 0;
        next->found = next->length > 0 && next->length <= frame_limit && at + next->length <= size;
        if (next->length > 0)
            break; /* one that is cut short is the end */
    }
}

static void go_to(mp3_engine *engine, int64_t at, int64_t frame)
{
    engine->next = {};
    engine->frame = frame;
    find_next(engine, at);
}

static void go_on(mp3_engine *engine)
{
    const int64_t at = engine->next.at + engine->next.length;
    go_to(engine, at, engine->frame + 1);
}

/* Reads the frame at hand and what the library looks at behind it, the start of the frame that
 * follows. Returns its bytes, 0 when the storage fails. */
static uint32_t take_frame(mp3_engine *engine)
{
    const uint32_t length = engine->next.length;
    if (audio_file_seek(engine->file, engine->next.at, SEEK_SET) < 0 ||
        audio_file_read(engine->file, engine->bytes, length) != length)
        return 0;
    /* It refuses one of the values for emphasis, of which nothing else depends. */
    engine->bytes[3] &= 0xFC;
    go_on(engine);
    memcpy(engine->bytes + length, engine->next.start, MAD_BUFFER_GUARD);
    return length;
}

/* A frame that cannot be decoded lasts as long as another. */
static void silence(mp3_engine *engine, const mp3_header *header)
{
    mad_frame_mute(&engine->decoded);
    mad_header *to = &engine->decoded.header;
    to->layer = static_cast<mad_layer>(header->layer);
    to->mode = static_cast<mad_mode>(3 - (header->word >> 6 & 3));
    to->flags = header->lower_rates ? MAD_FLAG_LSF_EXT : 0;
    to->samplerate = header->rate;
}

/* Decodes the frame at hand. -1 when memory runs out or the storage fails. */
static int decode(mp3_engine *engine)
{
    const mp3_header header = engine->next.header;
    const uint32_t length = take_frame(engine);
    if (length == 0)
        return -1;
    mad_stream_buffer(&engine->stream, engine->bytes, length + MAD_BUFFER_GUARD);
    if (mad_frame_decode(&engine->decoded, &engine->stream)) {
        if (engine->stream.error == MAD_ERROR_NOMEM)
            return -1;
        silence(engine, &header);
    }
    mad_synth_frame(&engine->synth, &engine->decoded);
    return 0;
}

static int16_t reduce(mad_fixed_t sample)
{
    constexpr int shift = MAD_F_FRACBITS + 1 - output_bits;
    const mad_fixed_t value = (sample + (1 << (shift - 1))) >> shift;
    return static_cast<int16_t>(std::clamp<mad_fixed_t>(value, INT16_MIN, INT16_MAX));
}

/* Puts the samples from one up to another of those at hand side by side. */
static void interleave(mp3_engine *engine, uint32_t from, uint32_t to)
{
    const mad_pcm *pcm = &engine->synth.pcm;
    const mad_fixed_t *left = pcm->samples[0], *right = pcm->samples[1];
    int16_t *out = engine->samples;
    for (uint32_t i = from; i < to; i++) {
        *out++ = reduce(left[i]);
        if (pcm->channels == 2)
            *out++ = reduce(right[i]);
    }
}

int mp3_engine_read(mp3_engine *engine, audio_block *block, int16_t *, uint32_t)
{
    if (!engine->next.found)
        return audio_file_failed(engine->file) ? -1 : 0;
    const int64_t here = engine->frame * engine->layout->header.samples;
    if (decode(engine))
        return -1;
    const mad_pcm *pcm = &engine->synth.pcm;
    const int64_t stop = engine->all == 0 || here >= engine->all ? INT64_MAX : engine->end;
    const int64_t to = std::clamp<int64_t>(stop - here, 0, pcm->length);
    const int64_t from = std::clamp<int64_t>(engine->wanted - here, 0, to);
    interleave(engine, static_cast<uint32_t>(from), static_cast<uint32_t>(to));
    block->samples = engine->samples;
    block->layout = audio_layouts_vorbis[pcm->channels];
    block->rate = engine->layout->header.rate;
    block->frames = static_cast<uint32_t>(to - from);
    return 1;
}

/* To a frame that the index has, at or before the one that is meant. */
static void go_near(mp3_engine *engine, int64_t frame)
{
    const mp3_index *index = engine->index;
    if (!index || !index->count) {
        mp3_index fresh;
        mp3_index_begin(&fresh, engine->layout);
        go_to(engine, fresh.at - engine->layout->first, 0);
        return;
    }
    const int64_t entry = std::min<int64_t>(frame / index->step, index->count - 1);
    go_to(engine, index->places[entry], entry * index->step);
}

int mp3_engine_seek(mp3_engine *engine, int64_t sample)
{
    const int64_t told = mp3_engine_told(engine);
    const bool behind = told > 0 && sample >= told; /* in what was attached */
    engine->wanted = behind ? sample - told + engine->all : sample + engine->begin;
    const int64_t frame = engine->wanted / engine->layout->header.samples;
    const int64_t start = std::max<int64_t>(frame - mp3_frames_before_seek, 0);
    go_near(engine, start);
    while (engine->next.found && engine->frame < start)
        go_on(engine);
    /* Nothing of what was heard before is left in what comes. */
    mad_stream_finish(&engine->stream);
    mad_stream_init(&engine->stream);
    mad_stream_options(&engine->stream, MAD_OPTION_IGNORECRC);
    mad_frame_mute(&engine->decoded);
    mad_synth_mute(&engine->synth);
    return engine->next.found ? 0 : -1;
}

uint32_t mp3_engine_rate(const mp3_engine *engine)
{
    return engine->layout->header.rate;
}

int64_t mp3_engine_told(const mp3_engine *engine)
{
    return std::max<int64_t>(engine->end - engine->begin, 0);
}

void mp3_engine_know(mp3_engine *engine, const mp3_index *index)
{
    engine->index = index;
}

void mp3_engine_free(mp3_engine *engine)
{
    if (!engine)
        return;
    mad_synth_finish(&engine->synth);
    mad_frame_finish(&engine->decoded);
    mad_stream_finish(&engine->stream);
    free(engine);
}

/* What is heard of the samples that the info frame counts. */
static void find_gaps(mp3_engine *engine)
{
    const mp3_layout *layout = engine->layout;
    const bool told = layout->has_info && layout->delay;
    engine->begin = engine->wanted = told ? layout->delay + mp3_decoder_delay : 0;
    engine->all = static_cast<int64_t>(layout->info_frames) * layout->header.samples;
    engine->end = engine->all;
    if (told && layout->padding > mp3_decoder_delay)
        engine->end -= layout->padding - mp3_decoder_delay;
}

mp3_engine *mp3_engine_new(audio_file *file, const mp3_layout *layout)
{
    mp3_engine *engine = static_cast<mp3_engine *>(calloc(1, sizeof *engine));
    if (!engine)
        return nullptr;
    engine->file = file;
    engine->layout = layout;
    mad_stream_init(&engine->stream);
    mad_stream_options(&engine->stream, MAD_OPTION_IGNORECRC);
    mad_frame_init(&engine->decoded);
    mad_synth_init(&engine->synth);
    find_gaps(engine);
    audio_file_window(file, layout->first, layout->end);
    go_near(engine, 0);
    if (engine->next.found)
        return engine;
    mp3_engine_free(engine);
    return nullptr;
}
