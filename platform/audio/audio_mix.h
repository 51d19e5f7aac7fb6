/* audio_mix: from any number of channels to two, and from 32 bits to 16. Any thread. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int audio_max_channels = 8;

/* Where the channels of a stream belong, a letter each: L R front, C centre, l r surround, B back,
 * F low frequencies, M the only one. */
extern const char *const audio_layouts_flac[audio_max_channels + 1];   /* by channel count */
extern const char *const audio_layouts_vorbis[audio_max_channels + 1]; /* by channel count */

/* How loud each channel is on the left and on the right, of 32768. Together never above that, so a
 * mix of loud channels does not clip. */
struct audio_mix {
    int channels;
    int32_t left[audio_max_channels], right[audio_max_channels];
};

audio_mix audio_mix_for(const char *layout);
/* Interleaved frames in, left and right out, 32 bits each. */
void audio_mix_16(const audio_mix *mix, const int16_t *from, int32_t *to, size_t frames);
void audio_mix_32(const audio_mix *mix, const int32_t *from, int32_t *to, size_t frames);

/* Reduces stereo frames with triangular dither. The noise depends on nothing but the place, so the
 * same place sounds the same however it was reached.
 *   place  of the first frame in the stream */
void audio_dither_16(const int32_t *from, int16_t *to, size_t frames, uint64_t place);
