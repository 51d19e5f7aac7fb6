/* audio_stream: makes 16-bit stereo at sound_rate of what the decoder of a format delivers. */
#include "platform/audio/audio_stream.h"

#include "platform/audio/audio_mix.h"
#include "platform/audio/audio_resample.h"
#include "platform/audio/audio_tags.h"
#include "platform/base/clock.h"
#include "platform/sound/sound.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <numeric>

constexpr uint32_t work_frames = 1024;
/* After a seek the filter hears this much of what comes before, or it would begin with a click. */
constexpr uint32_t lead_in_samples = 1024;
constexpr uint32_t lead_in_limit = 8192;

/* What is made ahead of its time must not keep a slow machine's speaker waiting: no longer than this,
 * but for the piece that is due anyway. */
constexpr int64_t ahead_ms = 8;
constexpr uint32_t ahead_piece_frames = 2048, ahead_most_frames = 16384;

/* Samples; beyond it only lies about lengths live, and the arithmetic of times would overflow. */
constexpr int64_t sample_limit = static_cast<int64_t>(1) << 43;

enum stream_end { end_none, end_clean, end_error };

struct stream_state {
    audio_stream shown; /* what the caller holds */
    const audio_source *source;
    void *source_state;
    audio_tags *tags;
    audio_block block;      /* what is left of the last piece */
    const char *mix_layout; /* what `mix` was made for */
    audio_mix mix;
    audio_resampler *resampler; /* null while the rates agree */
    uint32_t resampler_rate;
    bool draining;                  /* the resampler gets nothing more: its end is due */
    stream_end end;                 /* the source has ended */
    int64_t base;                   /* sample at which delivery began */
    int64_t delivered;              /* frames given out since */
    uint32_t drop;                  /* frames of the lead-in still to be dropped */
    int16_t *ahead;                 /* made, but not given out yet; null: nothing is */
    uint32_t ahead_at, ahead_count; /* frames of it */
    uint32_t work_at, work_count;   /* frames mixed but not resampled yet */
    int32_t work[work_frames * 2];
    int32_t resampled[work_frames * 2];
};

static stream_state *state_of(audio_stream *stream)
{
    return static_cast<stream_state *>(stream->priv);
}

audio_stream *audio_stream_new(const audio_source *source, void *source_state, uint32_t rate,
                               int64_t length, audio_tags *tags)
{
    stream_state *state = nullptr;
    if (rate >= audio_min_rate && rate <= audio_max_rate)
        state = static_cast<stream_state *>(calloc(1, sizeof *state));
    if (!state) {
        source->close(source_state);
        audio_tags_free(tags);
        return nullptr;
    }
    state->shown = {.sample_rate = rate,
                    .length = std::clamp<int64_t>(length, 0, sample_limit),
                    .tags = tags,
                    .priv = state};
    state->source = source;
    state->source_state = source_state;
    state->tags = tags;
    return &state->shown;
}

static void stop_resampler(stream_state *state)
{
    audio_resampler_free(state->resampler);
    state->resampler = nullptr;
    state->draining = false;
    state->work_at = state->work_count = 0;
}

int audio_stream_close(audio_stream *stream)
{
    if (!stream)
        return 0;
    stream_state *state = state_of(stream);
    state->source->close(state->source_state);
    stop_resampler(state);
    audio_tags_free(state->tags);
    free(state->ahead);
    free(state);
    return 0;
}

/* Brings up to a workload of the block to stereo of 32 bits. Returns its frames. */
static uint32_t mix_block(stream_state *state, int32_t *to, uint32_t frames)
{
    assert(state->block.layout && (state->block.samples || state->block.frames == 0));
    audio_block *block = &state->block;
    if (state->mix_layout != block->layout) {
        state->mix = audio_mix_for(block->layout);
        state->mix_layout = block->layout;
    }
    frames = std::min({frames, block->frames, work_frames});
    const size_t samples = static_cast<size_t>(frames) * static_cast<size_t>(state->mix.channels);
    if (block->wide) {
        const int32_t *from = static_cast<const int32_t *>(block->samples);
        audio_mix_32(&state->mix, from, to, frames);
        block->samples = from + samples;
    } else {
        const int16_t *from = static_cast<const int16_t *>(block->samples);
        audio_mix_16(&state->mix, from, to, frames);
        block->samples = from + samples;
    }
    block->frames -= frames;
    return frames;
}

/* Where in the output the next frame stands. */
static uint64_t place(const stream_state *state)
{
    return static_cast<uint64_t>(state->base * sound_rate / state->shown.sample_rate +
                                 state->delivered + state->ahead_count);
}

/* Delivers from a block that has the right rate. Sixteen bits stay what they are. */
static uint32_t copy_block(stream_state *state, int16_t *to, uint32_t frames)
{
    audio_block *block = &state->block;
    const size_t channels = strlen(block->layout);
    if (block->wide || channels > 2) {
        frames = mix_block(state, state->work, frames);
        audio_dither_16(state->work, to, frames, place(state));
        return frames;
    }
    frames = std::min(frames, block->frames);
    const int16_t *from = static_cast<const int16_t *>(block->samples);
    if (channels == 2)
        memcpy(to, from, static_cast<size_t>(frames) * sound_frame_bytes);
    for (uint32_t i = 0; channels == 1 && i < frames; i++)
        to[2 * i] = to[2 * i + 1] = from[i];
    block->samples = from + frames * channels;
    block->frames -= frames;
    return frames;
}

/* Delivers through the filter. 0 when it needs another block or, while draining, is empty. */
static uint32_t resample(stream_state *state, int16_t *to, uint32_t frames)
{
    frames = std::min(frames, work_frames);
    for (;;) {
        if (state->work_at == state->work_count && !state->draining) {
            state->work_at = 0;
            state->work_count =
                state->block.frames ? mix_block(state, state->work, work_frames) : 0;
        }
        const uint32_t ready = state->work_count - state->work_at;
        if (ready == 0 && !state->draining)
            return 0;
        size_t used = 0, made = 0;
        const int32_t *from = ready ? state->work + 2 * state->work_at : nullptr;
        if (audio_resampler_run(state->resampler, from, ready, &used, state->resampled, frames,
                                &made))
            return 0;
        state->work_at += static_cast<uint32_t>(used);
        if (made > 0) {
            audio_dither_16(state->resampled, to, made, place(state));
            return static_cast<uint32_t>(made);
        }
        if (ready == 0)
            return 0;
    }
}

static int start_resampler(stream_state *state)
{
    state->resampler = audio_resampler_new(state->block.rate, sound_rate);
    state->resampler_rate = state->block.rate;
    state->work_at = state->work_count = 0;
    state->draining = false;
    return state->resampler ? 0 : -1;
}

/* Takes the next piece from the source. Returns the frames that went straight to the caller. */
static uint32_t fetch(stream_state *state, int16_t *to, uint32_t frames)
{
    audio_block *block = &state->block;
    *block = {};
    int16_t *direct = state->resampler ? nullptr : to;
    const int result = state->source->read(state->source_state, block, direct, frames);
    if (state->source->length)
        state->shown.length = state->source->length(state->source_state);
    if (result <= 0) {
        state->end = result == 0 ? end_clean : end_error;
        *block = {};
        return 0;
    }
    if (!block->frames || block->samples != to)
        return 0;
    const uint32_t done = block->frames;
    block->frames = 0;
    return done;
}

/* Frames delivered, 0 at the end of everything. */
static uint32_t produce(stream_state *state, int16_t *to, uint32_t frames)
{
    for (;;) {
        const bool rate_fits = state->block.rate == sound_rate;
        if (state->resampler) {
            if (state->block.frames && state->block.rate != state->resampler_rate)
                state->draining = true;
            if (const uint32_t made = resample(state, to, frames))
                return made;
            if (state->draining) {
                stop_resampler(state);
                continue;
            }
        } else if (state->block.frames && rate_fits) {
            return copy_block(state, to, frames);
        } else if (state->block.frames) {
            if (start_resampler(state) == 0)
                continue;
            state->block.frames = 0;
            state->end = end_error;
        }
        if (state->end != end_none) {
            if (!state->resampler)
                return 0;
            state->draining = true;
        } else if (const uint32_t made = fetch(state, to, frames)) {
            return made;
        }
    }
}

/* Makes what is due and more, while that is quick. The beginning, and that after a seek, waits for
 * nothing. */
static void make_ahead(stream_state *state, uint32_t room)
{
    const int64_t until = clock_real_msec() + ahead_ms;
    state->ahead_at = 0;
    do {
        int16_t *to = state->ahead + size_t{state->ahead_count} * 2;
        const uint32_t frames = std::min(ahead_piece_frames, room - state->ahead_count);
        const uint32_t made = produce(state, to, frames);
        if (made == 0)
            return;
        state->ahead_count += made;
    } while (state->ahead_count < room && clock_real_msec() < until);
}

static uint32_t deliver(stream_state *state, int16_t *to, uint32_t frames)
{
    const uint32_t room = sound_at_once();
    if (state->ahead_count == 0 && frames < room && state->delivered > 0) {
        if (!state->ahead)
            state->ahead =
                static_cast<int16_t *>(malloc(size_t{ahead_most_frames} * sound_frame_bytes));
        if (state->ahead)
            make_ahead(state, std::min(room, ahead_most_frames));
    }
    if (state->ahead_count == 0)
        return produce(state, to, frames);
    frames = std::min(frames, state->ahead_count);
    memcpy(to, state->ahead + size_t{state->ahead_at} * 2, size_t{frames} * sound_frame_bytes);
    state->ahead_at += frames;
    state->ahead_count -= frames;
    return frames;
}

/* Samples by which the end of the output may miss that of the stream: output frames do not hit the
 * last sample exactly when the rates differ. */
static int64_t end_tolerance(const stream_state *state)
{
    return state->shown.sample_rate / sound_rate + 1;
}

static int64_t heard(const stream_state *state)
{
    const int64_t rate = state->shown.sample_rate;
    return state->base + (state->delivered * rate + sound_rate / 2) / sound_rate;
}

/* A stream that plays on behind the length it told is longer. */
static void grow_length(stream_state *state)
{
    if (state->shown.length > 0 && heard(state) > state->shown.length + end_tolerance(state))
        state->shown.length = heard(state);
}

int32_t audio_stream_read(audio_stream *stream, void *to, uint32_t bytes)
{
    stream_state *state = state_of(stream);
    const uint32_t frames = std::min<uint32_t>(bytes / sound_frame_bytes, 1 << 20);
    if (frames == 0)
        return -1;
    int16_t *out = static_cast<int16_t *>(to);
    while (state->drop > 0) {
        const uint32_t dropped = produce(state, out, std::min(frames, state->drop));
        state->drop = dropped ? state->drop - dropped : 0;
    }
    const uint32_t made = deliver(state, out, frames);
    state->delivered += made;
    grow_length(state);
    if (made > 0)
        return static_cast<int32_t>(made * sound_frame_bytes);
    return state->end == end_error ? -1 : 0;
}

int64_t audio_stream_tell(audio_stream *stream)
{
    const stream_state *state = state_of(stream);
    const int64_t now = heard(state);
    if (stream->length <= 0)
        return now;
    const bool over = state->end == end_clean && !state->resampler && !state->block.frames &&
                      state->ahead_count == 0;
    if (over && llabs(now - stream->length) <= end_tolerance(state))
        return stream->length;
    return std::min(now, stream->length);
}

/* How many samples before a place decoding begins: a number that gives whole frames of output, so
 * that dropping those leaves the place exactly first. */
static uint32_t lead_in(const stream_state *state, int64_t sample)
{
    const uint32_t rate = state->shown.sample_rate;
    if (rate == sound_rate)
        return 0;
    const uint32_t unit = rate / std::gcd(rate, sound_rate);
    if (unit > lead_in_limit)
        return 0;
    const int64_t wanted = (lead_in_samples + unit - 1) / unit * unit;
    return static_cast<uint32_t>(std::min<int64_t>(wanted, sample / unit * unit));
}

static int move_to(stream_state *state, int64_t sample)
{
    const uint32_t lead = lead_in(state, sample);
    if (state->source->seek(state->source_state, sample - lead))
        return -1;
    stop_resampler(state);
    state->block = {};
    state->ahead_count = 0;
    state->end = end_none;
    state->base = sample;
    state->delivered = 0;
    state->drop =
        static_cast<uint32_t>(static_cast<uint64_t>(lead) * sound_rate / state->shown.sample_rate);
    return 0;
}

int audio_stream_seek(audio_stream *stream, int64_t sample)
{
    stream_state *state = state_of(stream);
    const int64_t last = (stream->length > 0 ? stream->length : sample_limit) - 1;
    const int64_t now = audio_stream_tell(stream);
    const int result = move_to(state, std::clamp<int64_t>(sample, 0, last));
    if (state->source->length)
        stream->length = state->source->length(state->source_state);
    /* A place that the file does not have leaves the listener where he was. */
    if (result && move_to(state, now)) {
        stop_resampler(state);
        state->block = {};
        state->ahead_count = 0;
        state->end = end_clean;
    }
    return result;
}
