/* audio_interleave: channels that a decoder keeps apart, side by side. Private to the decoders. */
#pragma once

#include <cstddef>
#include <cstdint>

/* Two channels of at most 16 bits as frames of 16.
 *   shift  brings the samples to the top of their 16 bits
 *   to     room for `frames` frames */
void audio_interleave_16(const int32_t *left, const int32_t *right, uint32_t shift, int16_t *to,
                         size_t frames);
