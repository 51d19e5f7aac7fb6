/* audio_resample: stereo of 32 bits at another rate: through soxr, or by integers of our own in a
 * build without floating point. One thread at a time. */
#pragma once

#include <cstddef>
#include <cstdint>

struct audio_resampler;

/* Null when memory runs out or the library is not there. Rates in Hz, within those of audio_stream.h. */
audio_resampler *audio_resampler_new(uint32_t from_rate, uint32_t to_rate);
/* Accepts null. */
void audio_resampler_free(audio_resampler *resampler);
/* Takes frames in and gives as many out as it can. The first to come out belongs to the moment of
 * the first that went in.
 *   from   `ready` frames; null: nothing follows, and what is inside comes out
 *   used   how many of them it took
 *   to     room for `room` frames
 *   made   how many it gave; 0 with nothing taken: it needs more, or is empty
 * 0 or -1. */
int audio_resampler_run(audio_resampler *resampler, const int32_t *from, size_t ready, size_t *used,
                        int32_t *to, size_t room, size_t *made);
