/* decoder_flac: FLAC through libFLAC. */
#include "platform/audio/audio_file.h"
#include "platform/audio/audio_id3.h"
#include "platform/audio/audio_mix.h"
#include "platform/audio/audio_stream.h"
#include "platform/audio/audio_tags.h"
#include "platform/audio/decoder.h"

#include <FLAC/stream_decoder.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

constexpr int block_count_limit = 1024;    /* metadata blocks looked at for comments */
constexpr size_t pending_limit = 32 << 20; /* bytes of sound between two reads */
/* Bytes of a frame besides its samples, generously. */
constexpr int64_t frame_extra_bytes = 8192;

enum { metadata_info = 0, metadata_comment = 4, metadata_invalid = 127, metadata_last = 0x80 };

struct flac_state {
    audio_file *file;
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

static FLAC__StreamDecoderReadStatus on_read(const FLAC__StreamDecoder *, FLAC__byte to[],
                                             size_t *size, void *user)
{
    const int64_t n = audio_file_read(state_of(user)->file, to, *size);
    *size = n > 0 ? size_t(n) : 0;
    if (n > 0)
        return FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
    return n == 0 ? FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM
                  : FLAC__STREAM_DECODER_READ_STATUS_ABORT;
}

static FLAC__StreamDecoderSeekStatus on_seek(const FLAC__StreamDecoder *, FLAC__uint64 to,
                                             void *user)
{
    return audio_file_seek(state_of(user)->file, int64_t(to), SEEK_SET) < 0
               ? FLAC__STREAM_DECODER_SEEK_STATUS_ERROR
               : FLAC__STREAM_DECODER_SEEK_STATUS_OK;
}

static FLAC__StreamDecoderTellStatus on_tell(const FLAC__StreamDecoder *, FLAC__uint64 *at,
                                             void *user)
{
    *at = FLAC__uint64(audio_file_tell(state_of(user)->file));
    return FLAC__STREAM_DECODER_TELL_STATUS_OK;
}

static FLAC__StreamDecoderLengthStatus on_length(const FLAC__StreamDecoder *, FLAC__uint64 *length,
                                                 void *user)
{
    *length = FLAC__uint64(audio_file_length(state_of(user)->file));
    return FLAC__STREAM_DECODER_LENGTH_STATUS_OK;
}

static FLAC__bool on_eof(const FLAC__StreamDecoder *, void *user)
{
    const audio_file *file = state_of(user)->file;
    return audio_file_tell(file) >= audio_file_length(file);
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
    for (uint32_t c = 0; c < channels; c++) {
        const FLAC__int32 *from = planes[c];
        const size_t start = at * channels + c;
        if (bits > 16) {
            int32_t *to = static_cast<int32_t *>(state->samples) + start;
            for (uint32_t i = 0; i < frames; i++)
                to[size_t(i) * channels] = int32_t(uint32_t(from[i]) << (32 - bits));
        } else {
            int16_t *to = static_cast<int16_t *>(state->samples) + start;
            for (uint32_t i = 0; i < frames; i++)
                to[size_t(i) * channels] = int16_t(uint32_t(from[i]) << (16 - bits));
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
               ? int64_t(header->number.sample_number)
               : int64_t(header->number.frame_number) * header->blocksize;
}

/* Called several times for one request where the library puts silence for frames that are lost: so
 * what follows stays where it belongs. */
static FLAC__StreamDecoderWriteStatus on_write(const FLAC__StreamDecoder *,
                                               const FLAC__Frame *frame,
                                               const FLAC__int32 *const planes[], void *user)
{
    flac_state *state = state_of(user);
    const FLAC__FrameHeader *header = &frame->header;
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
    block.frames += uint32_t(at);
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

static int flac_seek(void *user, int64_t sample)
{
    flac_state *state = state_of(user);
    state->block = {};
    if (FLAC__stream_decoder_seek_absolute(state->decoder, FLAC__uint64(sample)))
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

/* Decodes the last frames of a stream whose header does not tell its length. */
static int64_t measure(flac_state *state)
{
    FLAC__uint64 start;
    if (!FLAC__stream_decoder_get_decode_position(state->decoder, &start))
        return 0;
    const int64_t length = audio_file_length(state->file);
    const int64_t frame_bytes = int64_t(state->info.max_blocksize) * state->info.channels *
                                    ((state->info.bits_per_sample + 8) / 8) +
                                frame_extra_bytes;
    const int64_t from = std::max(int64_t(start), length - 2 * frame_bytes);
    state->measuring = true;
    FLAC__stream_decoder_flush(state->decoder);
    if (audio_file_seek(state->file, from, SEEK_SET) >= 0)
        FLAC__stream_decoder_process_until_end_of_stream(state->decoder);
    state->measuring = false;
    FLAC__stream_decoder_flush(state->decoder);
    (void)audio_file_seek(state->file, int64_t(start), SEEK_SET); /* was there before */
    return state->measured;
}

static bool is_playable(const FLAC__StreamMetadata_StreamInfo *info)
{
    return info->sample_rate >= audio_min_rate && info->sample_rate <= audio_max_rate &&
           info->channels >= 1 && info->channels <= audio_max_channels &&
           info->bits_per_sample >= 4 && info->bits_per_sample <= 32;
}

static int start_decoder(flac_state *state)
{
    state->decoder = FLAC__stream_decoder_new();
    if (!state->decoder)
        return -1;
    if (FLAC__stream_decoder_init_stream(state->decoder, on_read, on_seek, on_tell, on_length,
                                         on_eof, on_write, on_metadata, on_error,
                                         state) != FLAC__STREAM_DECODER_INIT_STATUS_OK)
        return -1;
    return FLAC__stream_decoder_process_until_end_of_metadata(state->decoder) &&
                   is_playable(&state->info)
               ? 0
               : -1;
}

/* Place of the first metadata block, -1 when this is no FLAC file. */
static int64_t find_metadata(audio_file *file)
{
    unsigned char head[8];
    audio_file_window(file, 0, audio_file_size(file));
    const int64_t at = audio_id3_size(file);
    if (audio_file_peek(file, at, head, sizeof head) != sizeof head || memcmp(head, "fLaC", 4) ||
        (head[4] & ~metadata_last) != metadata_info)
        return -1;
    return at + 4;
}

struct comment_range {
    audio_file *file;
    int64_t left;
};

static size_t next_bytes(void *user, void *to, size_t size)
{
    comment_range *range = static_cast<comment_range *>(user);
    const size_t part = size_t(std::min<int64_t>(int64_t(size), range->left));
    range->left -= int64_t(part);
    if (!to)
        return audio_file_seek(range->file, int64_t(part), SEEK_CUR) < 0 ? 0 : part;
    return size_t(std::max<int64_t>(audio_file_read(range->file, to, part), 0));
}

static audio_tags_found read_tags(audio_file *file, int64_t at, audio_tags **out)
{
    *out = nullptr;
    for (int i = 0; i < block_count_limit; i++) {
        unsigned char head[4];
        if (audio_file_peek(file, at, head, sizeof head) != sizeof head)
            return audio_tags_broken;
        const int type = head[0] & ~metadata_last;
        const int64_t size = int64_t(head[1]) << 16 | int64_t(head[2]) << 8 | head[3];
        if (type == metadata_invalid)
            return audio_tags_broken;
        if (type == metadata_comment) {
            comment_range range = {file, size};
            if (audio_file_seek(file, at + 4, SEEK_SET) < 0)
                return audio_tags_broken;
            return audio_tags_comments(next_bytes, &range, out);
        }
        if (head[0] & metadata_last)
            break;
        at += 4 + size;
    }
    *out = audio_tags_empty();
    return *out ? audio_tags_read : audio_tags_no_memory;
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
    const int64_t at = find_metadata(file);
    audio_tags *tags = nullptr;
    if (at >= 0 && read_tags(file, at, &tags) == audio_tags_broken)
        tags = audio_tags_empty();
    if (at < 0 || audio_file_seek(file, 0, SEEK_SET) < 0 || start_decoder(state)) {
        audio_tags_free(tags);
        flac_close(state);
        return nullptr;
    }
    const int64_t length =
        state->info.total_samples ? int64_t(state->info.total_samples) : measure(state);
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
    audio_file *file = audio_file_open(path, audio_file_look);
    const int64_t at = file ? find_metadata(file) : -1;
    audio_tags *tags = nullptr;
    const audio_tags_found found = at >= 0 ? read_tags(file, at, &tags) : audio_tags_none;
    audio_file_close(file);
    if (at < 0 || found == audio_tags_no_memory)
        return nullptr;
    return audio_info_new(found == audio_tags_broken ? tags_if_it_plays(path) : tags);
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
