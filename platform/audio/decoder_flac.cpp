/* decoder_flac: FLAC through libFLAC. */
#include "platform/audio/audio_file.h"
#include "platform/audio/audio_interleave.h"
#include "platform/audio/audio_mix.h"
#include "platform/audio/audio_stream.h"
#include "platform/audio/audio_tags.h"
#include "platform/audio/decoder.h"
#include "platform/audio/decoder_flac_head.h"

#include <FLAC/stream_decoder.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

constexpr size_t pending_limit = 32 << 20; /* bytes of sound between two reads */
/* Bytes of a frame besides its samples, generously. */
constexpr int64_t frame_extra_bytes = 8192;
/* Searched for the first frame of a stream whose head does not tell what it is. */
constexpr int64_t first_frame_bytes = 1 << 20;
constexpr uint32_t largest_block = 65535;

/* What the library sees is a made head and then the frames. */
struct flac_state {
    audio_file *file; /* its window begins with the frames */
    flac_head head;
    unsigned char made[flac_head_most];
    size_t made_size, made_at;
    int64_t read_left; /* bytes that may still be read */
    int64_t total;     /* samples as the made head tells, 0 when it does not */
    FLAC__StreamDecoder *decoder;
    FLAC__StreamMetadata_StreamInfo info; /* sample_rate 0 until it was read */
    bool measuring;                       /* frames are only counted */
    int64_t measured;                     /* sample after the last frame that was counted */
    void *samples;                        /* what was decoded, interleaved */
    size_t size;                          /* bytes there */
    bool failed;                          /* no memory for a frame */
    audio_block block;                    /* what `samples` holds; no frames once delivered */
};

static flac_state *state_of(void *user)
{
    return static_cast<flac_state *>(user);
}

static size_t read_made(flac_state *state, FLAC__byte to[], size_t size)
{
    const size_t part = std::min(size, state->made_size - state->made_at);
    memcpy(to, state->made + state->made_at, part);
    state->made_at += part;
    return part;
}

static FLAC__StreamDecoderReadStatus on_read(const FLAC__StreamDecoder *, FLAC__byte to[],
                                             size_t *size, void *user)
{
    flac_state *state = state_of(user);
    const size_t wanted =
        static_cast<size_t>(std::min(static_cast<int64_t>(*size), state->read_left));
    int64_t n = static_cast<int64_t>(read_made(state, to, *size));
    if (n == 0) {
        n = audio_file_read(state->file, to, wanted);
        state->read_left -= std::max<int64_t>(n, 0);
    }
    *size = n > 0 ? static_cast<size_t>(n) : 0;
    if (n > 0)
        return FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
    return n == 0 ? FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM
                  : FLAC__STREAM_DECODER_READ_STATUS_ABORT;
}

static FLAC__StreamDecoderSeekStatus on_seek(const FLAC__StreamDecoder *, FLAC__uint64 to,
                                             void *user)
{
    flac_state *state = state_of(user);
    const int64_t frames = static_cast<int64_t>(to) - static_cast<int64_t>(state->made_size);
    state->made_at = frames < 0 ? static_cast<size_t>(to) : state->made_size;
    return audio_file_seek(state->file, std::max<int64_t>(frames, 0), SEEK_SET) < 0
               ? FLAC__STREAM_DECODER_SEEK_STATUS_ERROR
               : FLAC__STREAM_DECODER_SEEK_STATUS_OK;
}

static FLAC__StreamDecoderTellStatus on_tell(const FLAC__StreamDecoder *, FLAC__uint64 *at,
                                             void *user)
{
    const flac_state *state = state_of(user);
    *at = static_cast<FLAC__uint64>(state->made_at) +
          static_cast<FLAC__uint64>(audio_file_tell(state->file));
    return FLAC__STREAM_DECODER_TELL_STATUS_OK;
}

static FLAC__StreamDecoderLengthStatus on_length(const FLAC__StreamDecoder *, FLAC__uint64 *length,
                                                 void *user)
{
    const flac_state *state = state_of(user);
    *length = static_cast<FLAC__uint64>(state->made_size) +
              static_cast<FLAC__uint64>(audio_file_length(state->file));
    return FLAC__STREAM_DECODER_LENGTH_STATUS_OK;
}

static FLAC__bool on_eof(const FLAC__StreamDecoder *, void *user)
{
    const flac_state *state = state_of(user);
    return state->made_at == state->made_size &&
           audio_file_tell(state->file) >= audio_file_length(state->file);
}

static void on_metadata(const FLAC__StreamDecoder *, const FLAC__StreamMetadata *metadata,
                        void *user)
{
    if (metadata->type == FLAC__METADATA_TYPE_STREAMINFO)
        state_of(user)->info = metadata->data.stream_info;
}

/* The library conceals damage and goes on; nothing here would know better. */
static void on_error(const FLAC__StreamDecoder *, FLAC__StreamDecoderErrorStatus, void *) {}

/* 16-bit sound stays that; all else is brought to the top of 32 bits.
 *   at  frames in front that stay */
static void interleave(flac_state *state, const FLAC__Frame *frame,
                       const FLAC__int32 *const planes[], size_t at)
{
    const uint32_t channels = frame->header.channels, bits = frame->header.bits_per_sample;
    const uint32_t frames = frame->header.blocksize;
    if (channels == 2 && bits <= 16) { /* nearly all music */
        audio_interleave_16(planes[0], planes[1], 16 - bits,
                            static_cast<int16_t *>(state->samples) + at * 2, frames);
        return;
    }
    for (uint32_t c = 0; c < channels; c++) {
        const FLAC__int32 *from = planes[c];
        const size_t start = at * channels + c;
        if (bits > 16) {
            int32_t *to = static_cast<int32_t *>(state->samples) + start;
            for (uint32_t i = 0; i < frames; i++)
                to[static_cast<size_t>(i) * channels] =
                    static_cast<int32_t>(static_cast<uint32_t>(from[i]) << (32 - bits));
        } else {
            int16_t *to = static_cast<int16_t *>(state->samples) + start;
            for (uint32_t i = 0; i < frames; i++)
                to[static_cast<size_t>(i) * channels] =
                    static_cast<int16_t>(static_cast<uint32_t>(from[i]) << (16 - bits));
        }
    }
}

static int make_room(flac_state *state, size_t size)
{
    if (size <= state->size)
        return 0;
    void *samples = size <= pending_limit ? realloc(state->samples, size) : nullptr;
    if (!samples)
        return -1;
    state->samples = samples;
    state->size = size;
    return 0;
}

static int64_t first_sample(const FLAC__FrameHeader *header)
{
    return header->number_type == FLAC__FRAME_NUMBER_TYPE_SAMPLE_NUMBER
               ? static_cast<int64_t>(header->number.sample_number)
               : static_cast<int64_t>(header->number.frame_number) * header->blocksize;
}

/* Called several times for one request where the library puts silence for frames that are lost: so
 * what follows stays where it belongs. */
static FLAC__StreamDecoderWriteStatus on_write(const FLAC__StreamDecoder *,
                                               const FLAC__Frame *frame,
                                               const FLAC__int32 *const planes[], void *user)
{
    flac_state *state = state_of(user);
    const FLAC__FrameHeader *header = &frame->header;
    if (!state->info.sample_rate) {
        state->info.sample_rate = header->sample_rate;
        state->info.channels = header->channels;
        state->info.bits_per_sample = header->bits_per_sample;
        state->info.max_blocksize = largest_block;
    }
    if (state->measuring) {
        state->measured = first_sample(header) + header->blocksize;
        return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
    }
    audio_block block = {.samples = nullptr,
                         .wide = header->bits_per_sample > 16,
                         .layout = audio_layouts_flac[header->channels],
                         .rate = header->sample_rate,
                         .frames = header->blocksize};
    const audio_block *last = &state->block;
    const bool same =
        last->wide == block.wide && last->layout == block.layout && last->rate == block.rate;
    const size_t at = same ? last->frames : 0;
    const size_t bytes = block.wide ? sizeof(int32_t) : sizeof(int16_t);
    if (make_room(state, (at + block.frames) * header->channels * bytes)) {
        state->failed = true;
        return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
    }
    interleave(state, frame, planes, at);
    block.samples = state->samples;
    block.frames += static_cast<uint32_t>(at);
    state->block = block;
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

static int flac_read(void *user, audio_block *block, int16_t *, uint32_t)
{
    flac_state *state = state_of(user);
    while (!state->block.frames) {
        const FLAC__StreamDecoderState now = FLAC__stream_decoder_get_state(state->decoder);
        if (now == FLAC__STREAM_DECODER_END_OF_STREAM)
            return audio_file_failed(state->file) ? -1 : 0;
        if (now == FLAC__STREAM_DECODER_ABORTED || state->failed ||
            !FLAC__stream_decoder_process_single(state->decoder))
            return -1;
    }
    *block = state->block;
    state->block.frames = 0;
    return 1;
}

/* Begins anew with a head that tells that length. 0 or -1. */
static int tell_total(flac_state *state, int64_t total)
{
    state->total = total;
    state->made_size = flac_head_make(&state->head, total, state->made);
    state->block = {};
    return FLAC__stream_decoder_reset(state->decoder) &&
                   FLAC__stream_decoder_process_until_end_of_metadata(state->decoder)
               ? 0
               : -1;
}

static int flac_seek(void *user, int64_t sample)
{
    flac_state *state = state_of(user);
    state->block = {};
    /* The stream plays on behind what its head tells. */
    if (state->total > 0 && sample >= state->total && tell_total(state, 0) != 0)
        return -1;
    if (FLAC__stream_decoder_seek_absolute(state->decoder, static_cast<FLAC__uint64>(sample)))
        return 0;
    /* After a failed search the library reads no further until it is told to. */
    FLAC__stream_decoder_flush(state->decoder);
    state->block = {};
    return -1;
}

static void flac_close(void *user)
{
    flac_state *state = state_of(user);
    if (state->decoder)
        FLAC__stream_decoder_delete(state->decoder);
    audio_file_close(state->file);
    free(state->samples);
    free(state);
}

static constexpr audio_source flac_source = {
    .read = flac_read,
    .seek = flac_seek,
    .close = flac_close,
};

/* Decodes the last frames, whose numbers tell the length of the stream, and goes back to the
 * first. */
static int64_t measure(flac_state *state)
{
    const int64_t frame_bytes = static_cast<int64_t>(state->info.max_blocksize) *
                                    state->info.channels * ((state->info.bits_per_sample + 8) / 8) +
                                frame_extra_bytes;
    const int64_t from = std::max<int64_t>(0, audio_file_length(state->file) - 2 * frame_bytes);
    state->measuring = true;
    state->block = {};
    FLAC__stream_decoder_flush(state->decoder);
    if (audio_file_seek(state->file, from, SEEK_SET) >= 0)
        FLAC__stream_decoder_process_until_end_of_stream(state->decoder);
    state->measuring = false;
    FLAC__stream_decoder_flush(state->decoder);
    (void)audio_file_seek(state->file, 0, SEEK_SET); /* was there before */
    return state->measured;
}

static bool is_playable(const FLAC__StreamMetadata_StreamInfo *info)
{
    return info->sample_rate >= audio_min_rate && info->sample_rate <= audio_max_rate &&
           info->channels >= 1 && info->channels <= audio_max_channels &&
           info->bits_per_sample >= 4 && info->bits_per_sample <= 32;
}

/* Where no head tells what the stream is, or that there is one, the first frame does. */
static int find_first_frame(flac_state *state)
{
    state->read_left = first_frame_bytes;
    while (!state->block.frames && !state->failed &&
           FLAC__stream_decoder_get_state(state->decoder) < FLAC__STREAM_DECODER_END_OF_STREAM)
        if (!FLAC__stream_decoder_process_single(state->decoder))
            break;
    state->read_left = INT64_MAX;
    return state->block.frames ? 0 : -1;
}

static int start_decoder(flac_state *state)
{
    audio_file_window(state->file, state->head.frames, audio_file_size(state->file));
    state->read_left = INT64_MAX;
    state->decoder = FLAC__stream_decoder_new();
    if (!state->decoder)
        return -1;
    if (FLAC__stream_decoder_init_stream(state->decoder, on_read, on_seek, on_tell, on_length,
                                         on_eof, on_write, on_metadata, on_error,
                                         state) != FLAC__STREAM_DECODER_INIT_STATUS_OK ||
        !FLAC__stream_decoder_process_until_end_of_metadata(state->decoder))
        return -1;
    if ((!state->head.has_info || state->head.broken) && find_first_frame(state) != 0)
        return -1;
    return is_playable(&state->info) ? 0 : -1;
}

/* A head may tell less than there is; more bytes than the samples it tells could take show it. */
static int64_t find_length(flac_state *state)
{
    const int64_t told = static_cast<int64_t>(state->info.total_samples);
    const int64_t frame =
        static_cast<int64_t>(state->info.channels) * ((state->info.bits_per_sample + 7) / 8);
    if (told > 0 && audio_file_length(state->file) / frame <= told)
        return told;
    const int64_t length = std::max(measure(state), told);
    if (told > 0 && length > told)
        (void)tell_total(state, length); /* a stream that cannot begin anew ends at once */
    return length;
}

static audio_stream *flac_open(const char *path)
{
    audio_file *file = audio_file_open(path, audio_file_play);
    flac_state *state = file ? static_cast<flac_state *>(calloc(1, sizeof *state)) : nullptr;
    if (!state) {
        audio_file_close(file);
        return nullptr;
    }
    state->file = file;
    audio_tags *tags = nullptr;
    const bool is_flac = flac_head_read(&state->head, file) == 0;
    if (is_flac && flac_head_tags(&state->head, file, &tags) == audio_tags_broken)
        tags = audio_tags_empty();
    state->made_size = flac_head_make(&state->head, -1, state->made);
    if (!is_flac || start_decoder(state)) {
        audio_tags_free(tags);
        flac_close(state);
        return nullptr;
    }
    state->total = static_cast<int64_t>(state->info.total_samples);
    const int64_t length = find_length(state);
    return audio_stream_new(&flac_source, state, state->info.sample_rate, length, tags);
}

/* A file whose comments cannot be read still belongs to the others when it plays. */
static audio_tags *tags_if_it_plays(const char *path)
{
    audio_stream *stream = flac_open(path);
    if (!stream)
        return nullptr;
    (void)audio_stream_close(stream); /* always succeeds */
    return audio_tags_empty();
}

static audio_info *flac_read_info(const char *path)
{
    flac_head head;
    audio_file *file = audio_file_open(path, audio_file_look);
    audio_tags *tags = nullptr;
    const bool is_flac = file && flac_head_read(&head, file) == 0;
    const audio_tags_found found = is_flac ? flac_head_tags(&head, file, &tags) : audio_tags_none;
    audio_file_close(file);
    if (!is_flac || found == audio_tags_no_memory)
        return nullptr;
    if (found != audio_tags_broken)
        return audio_info_new(tags);
    tags = tags_if_it_plays(path);
    return tags || head.has_info ? audio_info_new(tags) : nullptr;
}

constinit const audio_decoder decoder_flac = {
    .name = "flac",
    .open = flac_open,
    .close = audio_stream_close,
    .read = audio_stream_read,
    .tell = audio_stream_tell,
    .seek = audio_stream_seek,
    .read_info = flac_read_info,
    .release_info = audio_info_free,
};
