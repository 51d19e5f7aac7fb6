/* decoder_ogg: Ogg Vorbis. */
#include "platform/audio/audio_file.h"
#include "platform/audio/audio_id3.h"
#include "platform/audio/audio_mix.h"
#include "platform/audio/audio_stream.h"
#include "platform/audio/audio_tags.h"
#include "platform/audio/decoder.h"
#include "platform/audio/decoder_ogg_far.h"
#include "platform/audio/decoder_ogg_library.h"
#include "platform/audio/decoder_ogg_packet.h"
#include "platform/base/spare.h"
#include "platform/sound/sound.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

constexpr uint32_t buffer_bytes = 8192;
constexpr int64_t link_limit = static_cast<int64_t>(1)
                               << 40; /* samples; a longer link lies about its end */

constinit int64_t ogg_library_most = std::numeric_limits<long>::max();

struct ogg_state {
    audio_file *file;
    OggVorbis_File vorbis;
    bool is_far; /* longer than the library can tell */
    ogg_far far;
    uint32_t rate; /* of the first link: the clock of the whole stream */
    alignas(int16_t) char buffer[buffer_bytes];
};

static ogg_state *state_of(void *user)
{
    return static_cast<ogg_state *>(user);
}

static size_t on_read(void *to, size_t size, size_t count, void *user)
{
    const int64_t n = audio_file_read(static_cast<audio_file *>(user), to, size * count);
    return n > 0 ? static_cast<size_t>(n) / size : 0;
}

static int on_seek(void *user, ogg_int64_t offset, int whence)
{
    return audio_file_seek(static_cast<audio_file *>(user), offset, whence) < 0 ? -1 : 0;
}

static long on_tell(void *user)
{
    return static_cast<long>(audio_file_tell(static_cast<audio_file *>(user)));
}

static size_t on_far_read(void *to, size_t size, size_t count, void *user)
{
    ogg_state *state = state_of(user);
    const int64_t n = ogg_far_read(&state->far, state->file, to, size * count);
    return n > 0 ? static_cast<size_t>(n) / size : 0;
}

static int on_far_seek(void *, ogg_int64_t, int)
{
    return -1;
}

/* Links of a chain follow each other in time, each at its own rate; the stream counts all of them
 * in samples of the first. */
static int64_t link_length(ogg_state *state, int link)
{
    const vorbis_info *info = ov_info(&state->vorbis, link);
    const int64_t samples = ov_pcm_total(&state->vorbis, link);
    if (!info || info->rate <= 0 || samples <= 0 || samples > link_limit)
        return 0;
    return (samples * state->rate + info->rate / 2) / info->rate;
}

static int64_t whole_length(ogg_state *state)
{
    if (state->is_far)
        return std::min(state->far.samples, link_limit);
    int64_t length = 0;
    for (int link = 0; link < ov_streams(&state->vorbis); link++)
        length += link_length(state, link);
    return length;
}

/* Samples as the library counts them: each link in its own. */
struct library_place {
    int64_t sample;
    int64_t link_start;
};

static library_place place_of(ogg_state *state, int64_t sample)
{
    const int links = static_cast<int>(ov_streams(&state->vorbis));
    int64_t start = 0;
    for (int link = 0; link < links; link++) {
        const int64_t length = link_length(state, link);
        const vorbis_info *info = ov_info(&state->vorbis, link);
        if (info && (sample < length || link == links - 1))
            return {start + sample * info->rate / state->rate, start};
        sample -= length;
        start += std::max<int64_t>(ov_pcm_total(&state->vorbis, link), 0);
    }
    return {start, start};
}

static int ogg_read(void *user, audio_block *block, int16_t *direct, uint32_t frames)
{
    ogg_state *state = state_of(user);
    const vorbis_info *info = ov_info(&state->vorbis, -1);
    char *to = state->buffer;
    uint32_t room = buffer_bytes;
    /* The format of what comes next is only known when it has come; a link seldom has another. */
    if (direct && info && info->rate == static_cast<long>(sound_rate) && info->channels == 2) {
        to = reinterpret_cast<char *>(direct);
        room = std::min(frames * sound_frame_bytes, buffer_bytes);
    }
    long n;
    do {
        n = ogg_library_read(&state->vorbis, to, room);
    } while (n == OV_HOLE);
    if (n <= 0)
        return n == 0 && !audio_file_failed(state->file) ? 0 : -1;
    info = ov_info(&state->vorbis, -1);
    if (!info || info->channels < 1 || info->channels > audio_max_channels ||
        info->rate < static_cast<long>(audio_min_rate) ||
        info->rate > static_cast<long>(audio_max_rate))
        return -1;
    if (to != state->buffer &&
        (info->channels != 2 || info->rate != static_cast<long>(sound_rate))) {
        /* The new link is another format after all. */
        std::copy(to, to + n, state->buffer);
        to = state->buffer;
    }
    block->samples = to;
    block->layout = audio_layouts_vorbis[info->channels];
    block->rate = static_cast<uint32_t>(info->rate);
    block->frames =
        static_cast<uint32_t>(n) / static_cast<uint32_t>(info->channels) / sizeof(int16_t);
    return 1;
}

/* Decodes up to a sample of the link at hand. */
static void discard_until(ogg_state *state, int64_t sample)
{
    for (;;) {
        const vorbis_info *info = ov_info(&state->vorbis, -1);
        const int64_t left = sample - ov_pcm_tell(&state->vorbis);
        if (!info || left <= 0)
            return;
        const int64_t bytes = left * info->channels * static_cast<int64_t>(sizeof(int16_t));
        const long n =
            ogg_library_read(&state->vorbis, state->buffer,
                             static_cast<size_t>(std::min<int64_t>(bytes, buffer_bytes)));
        if (n <= 0 && n != OV_HOLE)
            return;
    }
}

/* Opens a stream anew at a page, or at the front, and decodes until the library knows which sample it is
 * at: it counts from 0 up to the end of a page. */
static int far_open_at(ogg_state *state, int64_t page)
{
    static constexpr ov_callbacks callbacks = {on_far_read, on_far_seek, nullptr, on_tell};
    (void)ov_clear(&state->vorbis);
    state->far.jump = page > state->far.headers_end ? page : -1;
    const bool jumps = state->far.jump >= 0;
    if (audio_file_seek(state->file, state->far.start, SEEK_SET) < 0 ||
        ov_open_callbacks(state, &state->vorbis, nullptr, 0, callbacks))
        return -1;
    for (int64_t count = 0; jumps && ov_pcm_tell(&state->vorbis) == count;) {
        const long n = ogg_library_read(&state->vorbis, state->buffer, buffer_bytes);
        const vorbis_info *info = ov_info(&state->vorbis, -1);
        if ((n <= 0 && n != OV_HOLE) || !info || info->channels < 1)
            return -1;
        count += std::max(n, 0L) / info->channels / static_cast<long>(sizeof(int16_t));
    }
    return 0;
}

static int far_seek(ogg_state *state, int64_t sample)
{
    if (state->far.samples <= 0)
        return -1;
    for (int64_t back = 16384;; back *= 4) {
        const int64_t page = back < sample ? ogg_far_page(&state->far, state->file, sample - back)
                                           : state->far.headers_end;
        const bool from_front = page == state->far.headers_end;
        /* One that is the last to tell is too late. */
        if (far_open_at(state, page) && from_front)
            return -1;
        const int64_t at = ov_pcm_tell(&state->vorbis);
        if (from_front || (at >= 0 && at <= sample))
            break;
    }
    discard_until(state, sample);
    return ov_pcm_tell(&state->vorbis) == sample ? 0 : -1;
}

static int ogg_seek(void *user, int64_t sample)
{
    ogg_state *state = state_of(user);
    if (state->is_far)
        return far_seek(state, sample);
    const library_place place = place_of(state, sample);
    /* In a link whose blocks are larger than those of the first one the library comes out too
     * late; then it is asked for an earlier place. */
    for (int64_t back = 0;; back = back ? back * 4 : 4096) {
        const int64_t from = std::max(place.sample - back, place.link_start);
        if (ov_pcm_seek(&state->vorbis, from))
            return -1;
        if (ov_pcm_tell(&state->vorbis) <= place.sample || from == place.link_start)
            break;
    }
    discard_until(state, place.sample);
    return ov_pcm_tell(&state->vorbis) == place.sample ? 0 : -1;
}

static void ogg_close(void *user)
{
    ogg_state *state = state_of(user);
    (void)ov_clear(&state->vorbis);
    audio_file_close(state->file);
    free(state);
}

static constexpr audio_source ogg_source = {
    .read = ogg_read,
    .seek = ogg_seek,
    .close = ogg_close,
};

/* "None" for comments on more pages than are looked at: such a file is refused, because the library
 * would read all of them. */
static audio_tags_found read_tags(audio_file *file, int64_t at, audio_tags **out)
{
    ogg_packet_reader packet;
    *out = nullptr;
    if (ogg_packet_second(&packet, file, at))
        return audio_tags_broken;
    const audio_tags_found found = audio_tags_comments(ogg_packet_next, &packet, out);
    if (packet.pages < ogg_packet_pages)
        return found;
    audio_tags_free(*out);
    *out = nullptr;
    return audio_tags_none;
}

static bool is_playable(OggVorbis_File *vorbis)
{
    const vorbis_info *info = ov_info(vorbis, 0);
    return info && info->channels >= 1 && info->channels <= audio_max_channels &&
           info->rate >= static_cast<long>(audio_min_rate) &&
           info->rate <= static_cast<long>(audio_max_rate);
}

/* The library looks for its first page near the front only, where a tag may stand. */
static int open_library(ogg_state *state, int64_t start)
{
    static constexpr ov_callbacks callbacks = {on_read, on_seek, nullptr, on_tell};
    const int64_t from = audio_id3_size(state->file), size = audio_file_size(state->file);
    state->is_far = size - from > ogg_library_most;
    audio_file_window(state->file, state->is_far ? 0 : from, size);
    if (state->is_far)
        return ogg_far_look(&state->far, state->file, start) ? -1 : far_open_at(state, 0);
    return ov_open_callbacks(state->file, &state->vorbis, nullptr, 0, callbacks);
}

static audio_stream *ogg_open(const char *path)
{
    audio_file *file = audio_file_open(path, audio_file_play);
    const int64_t at = file ? ogg_find_vorbis(file) : -1;
    ogg_state *state = at >= 0 ? static_cast<ogg_state *>(calloc(1, sizeof *state)) : nullptr;
    if (!state) {
        audio_file_close(file);
        return nullptr;
    }
    state->file = file;
    audio_tags *tags;
    const audio_tags_found found = read_tags(file, at, &tags);
    if (found == audio_tags_broken)
        tags = audio_tags_empty();
    if (found == audio_tags_none || !spare_is_there() || open_library(state, at) ||
        !is_playable(&state->vorbis)) {
        audio_tags_free(tags);
        ogg_close(state);
        return nullptr;
    }
    /* A first link of a single page is passed over otherwise. */
    if (ov_streams(&state->vorbis) > 1)
        (void)ov_pcm_seek(&state->vorbis, 0); /* a read tells if it went wrong */
    state->rate = static_cast<uint32_t>(ov_info(&state->vorbis, 0)->rate);
    return audio_stream_new(&ogg_source, state, state->rate, whole_length(state), tags);
}

/* A file whose comments cannot be read still belongs to the others when it plays. */
static audio_tags *tags_if_it_plays(const char *path)
{
    audio_stream *stream = ogg_open(path);
    if (!stream)
        return nullptr;
    (void)audio_stream_close(stream); /* always succeeds */
    return audio_tags_empty();
}

static audio_info *ogg_read_info(const char *path)
{
    audio_file *file = audio_file_open(path, audio_file_look);
    const int64_t at = file ? ogg_find_vorbis(file) : -1;
    audio_tags *tags = nullptr;
    const audio_tags_found found = at >= 0 ? read_tags(file, at, &tags) : audio_tags_none;
    audio_file_close(file);
    if (found == audio_tags_none || found == audio_tags_no_memory)
        return nullptr;
    return audio_info_new(found == audio_tags_broken ? tags_if_it_plays(path) : tags);
}

constinit const audio_decoder decoder_ogg = {
    .name = "ogg",
    .open = ogg_open,
    .close = audio_stream_close,
    .read = audio_stream_read,
    .tell = audio_stream_tell,
    .seek = audio_stream_seek,
    .read_info = ogg_read_info,
    .release_info = audio_info_free,
};
